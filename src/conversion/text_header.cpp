#include "conversion/text_header.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "conversion/numbers.h"

namespace tavlin {

std::string MachineTag(std::string_view destPath) {
  if (destPath.empty()) return "   ";
  switch (destPath.back()) {
    case 'T': return "TAJ";
    case 'B': return "BAR";
    case 'Z': return "ZSK";
    case 'M': return "PFA";
    case 'P': return "QEP";
    default: return "   ";
  }
}

std::string HeaderNumber(double value, size_t width) {
  char digits[64];
  if (value == std::trunc(value) && std::fabs(value) < 1e15) {
    std::snprintf(digits, sizeof digits, "%.0f", value);
  } else {
    std::snprintf(digits, sizeof digits, "%.15g", value);
  }
  std::string text = digits;
  // A fraction below one is shown without its leading zero: " .5", "-.5".
  if (text.rfind("0.", 0) == 0) text.erase(0, 1);
  if (text.rfind("-0.", 0) == 0) text.erase(1, 1);
  if (value >= 0) text.insert(0, " ");
  const std::string padded = std::string(width, ' ') + text;
  return padded.substr(padded.size() - width);
}

namespace {

std::string Field(const char* label, const std::string& value) {
  return label + value + '\r';
}

}  // namespace

HeaderExtents ReadHeaderExtents(const std::string& header) {
  auto field = [&header](size_t offset) {
    return offset < header.size()
               ? static_cast<int>(std::strtol(header.substr(offset, 5).c_str(), nullptr, 10))
               : 0;
  };
  return {field(41), field(50), field(59), field(68)};
}

std::string DiscReadHeader(const std::string& destName, const std::string& tag, int plusX,
                           int minusX, int plusY, int minusY) {
  std::string name = destName.substr(0, 8);
  name.resize(8, ' ');
  return "LA:" + name + " " + tag + "DSC.\r" + Field("ST:", HeaderNumber(0, 7)) +
         Field("CO:", HeaderNumber(0, 3)) + Field("+X:", HeaderNumber(plusX, 5)) +
         Field("-X:", HeaderNumber(minusX, 5)) + Field("+Y:", HeaderNumber(plusY, 5)) +
         Field("-Y:", HeaderNumber(minusY, 5));
}

void WriteTextHeader(ConversionRun& run) {
  const std::string& labelled =
      run.settings.LabelSource.empty() ? run.ResolvedSource : run.settings.LabelSource;
  std::string name = FileNameOf(labelled).substr(0, 8);
  name.resize(8, ' ');
  std::string tag =
      MachineTag(run.settings.LabelDest.empty() ? run.ResolvedDest : run.settings.LabelDest);

  std::string header;
  header.reserve(94);
  header += "LA:" + name + " DSC." + tag + '\r';
  header += Field("ST:", HeaderNumber(run.StitchCount, 7));
  header += Field("CO:", HeaderNumber(run.ColourIndex, 3));
  header += Field("+X:", HeaderNumber(std::fabs(run.MaxPosX), 5));
  header += Field("-X:", HeaderNumber(std::fabs(run.MinPosX), 5));
  header += Field("+Y:", HeaderNumber(std::fabs(run.MinPosY), 5));
  header += Field("-Y:", HeaderNumber(std::fabs(run.MaxPosY), 5));
  header += Field(run.EndX < 0 ? "AX:-" : "AX:+", HeaderNumber(std::abs(run.EndX), 5));
  header += Field(-run.EndY < 0 ? "AY:-" : "AY:+", HeaderNumber(std::abs(run.EndY), 5));
  run.dest.Seek(0);
  run.WriteBytes(header);

  const double minX = std::abs(run.MinSumX), maxX = std::abs(run.MaxSumX);
  const double minY = std::abs(run.MinSumY), maxY = std::abs(run.MaxSumY);
  run.dest.Seek(499);
  run.WriteBytes(IntToBytes2(minX - (minX + maxX) / 2));
  run.WriteBytes(IntToBytes2(maxY - (minY + maxY) / 2));
}

}  // namespace tavlin
