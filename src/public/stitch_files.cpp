#include "tavlin/stitch_files.h"

#include <cmath>

#include "conversion/convert.h"
#include "conversion/design_reader.h"
#include "conversion/format_table.h"
#include "platform/run_time_error.h"
#include "state/shared_record.h"
#include "services/design_file_service.h"

namespace tavlin {

std::vector<FormatInfo> StitchFormats() {
  std::vector<FormatInfo> formats;
  for (const Codec* const* at = CodecsBegin(); at != CodecsEnd(); ++at) {
    const Codec& codec = **at;
    const bool named = IsNamedFormat(codec);
    formats.push_back({codec.code, std::string(codec.fileEnd), std::string(codec.extension),
                       std::string(codec.family), named && codec.Reads(), named && codec.Writes()});
  }
  return formats;
}

int16_t ConvertStitchFiles(const std::string& sourceFile, const std::string& destFile,
                           std::shared_ptr<Progress> progress) {
  SharedRecord& shared = ThreadSharedRecord();
  int16_t sourceType = FindFormatCode(sourceFile);
  int16_t destType = FindFormatCode(destFile);
  std::string resolved;
  return ConvertStitchFileReporting(shared, sourceType, destType, sourceFile, destFile, resolved,
                                    std::move(progress));
}

int16_t ReadDesign(const std::string& path,
                   const std::function<void(const DesignStep&)>& visit) {
  return ReadDesignSteps(ThreadSharedRecord().platform, path, visit);
}

int16_t SummariseDesign(const std::string& path, DesignSummary& summary) {
  summary = DesignSummary{};
  summary.format = FindFormatCode(path);
  return ReadDesign(path, [&summary](const DesignStep& step) {
    summary.records += 1;
    switch (step.kind) {
      case 0: summary.stitches += 1; break;
      case 1: summary.jumps += 1; break;
      case 2: summary.colourChanges += 1; break;
      default:
        if (step.kind >= 23 && step.kind <= 30) {
          summary.colourChanges += 1;
        } else {
          summary.others += 1;
        }
        break;
    }
    summary.plusX = std::max(summary.plusX, step.posX);
    summary.minusX = std::max(summary.minusX, -step.posX);
    summary.plusY = std::max(summary.plusY, -step.posY);
    summary.minusY = std::max(summary.minusY, step.posY);
  });
}

std::string ResultText(int code) {
  switch (code) {
    case 0: return "done";
    case 1: return "a file name is empty";
    case kResultHoopTooSmall: return "the design does not fit the format's largest hoop";
    case kResultOutOfRange: return "a position lies outside the format's coordinate range";
    case kServiceCannotConvert: return "no conversion between these two formats";
    default: return RunTimeCodeText(code);
  }
}

}  // namespace tavlin
