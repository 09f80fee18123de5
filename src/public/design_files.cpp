// The library API for stitch files: formats, reading a design, converting. Every call
// owns its state: it sees none of the thread's drives or settings.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>

#include "conversion/convert.h"
#include "conversion/design_reader.h"
#include "conversion/format_table.h"
#include "platform/run_time_error.h"
#include "public/api_support.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"
#include "tavlin/progress.h"

#ifdef _WIN32
#include <process.h>
#define getpid _getpid
#else
#include <unistd.h>
#endif

namespace tavlin {

std::vector<FormatInfo> StitchFormats() {
  std::vector<FormatInfo> formats;
  for (const Codec* const* at = CodecsBegin(); at != CodecsEnd(); ++at) {
    const Codec& codec = **at;
    const bool named = IsNamedFormat(codec);
    std::string typicalEnd(codec.nameEnd);
    if (typicalEnd.empty()) {
      typicalEnd = codec.fileEnd.empty() || codec.fileEnd == "   " ? std::string(codec.extension)
                                                                   : "." + std::string(codec.fileEnd);
    }
    formats.push_back({codec.code, std::string(codec.fileEnd), std::string(codec.extension),
                       std::string(codec.family), named && codec.Reads(), named && codec.Writes(),
                       typicalEnd, std::string(codec.readOnlyInto), codec.maxFileBytes,
                       std::string(codec.Name())});
  }
  return formats;
}

namespace {

std::error_code ReadResolved(const StitchFile& file,
                             const std::function<void(const DesignStep&)>& visit) {
  // A name that gives no format is not read as one.
  if (!IsNamedFormat(*file.codec)) return ResultCode(kInvalidCall);
  PlatformState platform;
  return ResultCode(ReadDesignSteps(platform, file, visit, true));
}

}  // namespace

std::error_code ReadDesign(const std::string& path,
                           const std::function<void(const DesignStep&)>& visit) {
  return ReadResolved(ResolveStitchFile(path), visit);
}

std::error_code SummariseDesign(const std::string& path, DesignSummary& summary) {
  const StitchFile file = ResolveStitchFile(path);
  summary = DesignSummary{};
  summary.format = file.Code();
  int16_t colours = 1;
  const std::error_code ec = ReadResolved(file, [&summary, &colours](const DesignStep& step) {
    colours = step.colour;
    summary.records += 1;
    if (step.kind == StepKind::Stitch) {
      summary.stitches += 1;
    } else if (step.kind == StepKind::Jump) {
      summary.jumps += 1;
    } else if (ChangesColour(step.kind)) {
      summary.colourChanges += 1;
    } else {
      summary.others += 1;
    }
    summary.plusX = std::max(summary.plusX, step.posX);
    summary.minusX = std::max(summary.minusX, -step.posX);
    summary.plusY = std::max(summary.plusY, -step.posY);
    summary.minusY = std::max(summary.minusY, step.posY);
  });
  if (ec) return ec;
  PlatformState platform;
  SourceFacts facts = ReadSourceFacts(platform, file, colours);
  summary.threads = std::move(facts.threads);
  summary.hoop = std::move(facts.head.hoop);
  summary.version = std::move(facts.head.version);
  return ec;
}

std::string WorkingPathBeside(const std::string& dest, const std::string& ending) {
  namespace fs = std::filesystem;
  const fs::path destPath(dest);
  const std::string name = destPath.filename().string();
  const std::string end =
      !ending.empty() ? ending : name.size() >= 3 ? name.substr(name.size() - 3) : name;
  return (destPath.parent_path() /
          ("." + name + ".tavlin-" + std::to_string(getpid()) + "." + end))
      .string();
}

bool PutInPlace(const std::string& working, const std::string& dest) {
  std::error_code ec;
  std::filesystem::rename(working, dest, ec);
  if (!ec) return true;
  std::filesystem::remove(working, ec);
  return false;
}

std::string WhyNotConvertible(const std::string& source, const std::string& dest) {
  std::string why;
  RouteOf(ResolveStitchFile(source).Code(), ResolveStitchFile(dest).Code(), why);
  return why;
}

std::vector<std::string> ConversionRoute(const std::string& source, const std::string& dest) {
  std::string why;
  std::vector<std::string> names;
  for (const int16_t code : RouteOf(ResolveStitchFile(source).Code(), ResolveStitchFile(dest).Code(), why)) {
    const Codec& codec = CodecOf(code);
    names.emplace_back(codec.Name());
  }
  return names;
}

namespace {

// Whether a source that keeps CND's machine functions holds any: a destination that
// doesn't keep them would sew their parameters as positions.
bool HoldsFunctionRecords(const StitchFile& file) {
  bool found = false;
  ReadResolved(file, [&found](const DesignStep& step) {
    const auto kind = static_cast<int16_t>(step.kind);
    if ((kind >= 4 && kind <= 19) || kind == 31) found = true;
  });
  return found;
}

}  // namespace

std::string WhySourceUnsound(const std::string& source) {
  PlatformState platform;
  return WhyUnsound(platform, ResolveStitchFile(source));
}

std::error_code Convert(const std::string& source, const std::string& dest,
                        const ConvertOptions& options) {
  // The class converts a missing source as an empty design; here it is said.
  std::error_code missing;
  if (!std::filesystem::is_regular_file(source, missing)) return ResultCode(kFileNotFound);
  // The frame divides by it: a length the class would not take is refused here.
  if (options.maxStitchLength < 20 || options.maxStitchLength > 121) {
    return ResultCode(kInvalidCall);
  }
  const StitchFile file = ResolveStitchFile(source);
  std::string why;
  const std::vector<int16_t> route = RouteOf(file.Code(), ResolveStitchFile(dest).Code(), why);
  if (route.size() < 2) return ConvertErrc::NoRoute;
  PlatformState platform;
  if (!WhyUnsound(platform, file).empty()) return ConvertErrc::UnsoundSource;
  if (file.codec->keepsFunctionCodes && !CodecOf(route.back()).keepsFunctionCodes &&
      HoldsFunctionRecords(file)) {
    return ConvertErrc::FunctionRecords;
  }
  ConversionSettings settings(platform);
  settings.MaxStitchLength = options.maxStitchLength;
  // A head that names its design (PES, VST) takes the destination's file name, as the
  // class takes its host's.
  settings.DesignName = dest;
  settings.LabelSource = source;
  settings.LabelDest = dest;
  settings.AsOtherProgramsDo = true;
  CallbackProgress progress(options.progress);
  settings.progress = &progress;
  // Each step of the route writes a working file beside the destination; the last one
  // takes the destination's place.
  std::vector<std::string> made;
  std::string from = source;
  int16_t result = 0;
  for (size_t step = 1; step < route.size() && result == 0; ++step) {
    const Codec& to = CodecOf(route[step]);
    const bool last = step + 1 == route.size();
    const std::string ending =
        to.fileEnd.empty() || to.fileEnd == "   " ? std::string() : std::string(to.fileEnd);
    made.push_back(last ? WorkingPathBeside(dest) : WorkingPathBeside(dest + "." + ending, ending));
    int16_t sourceType = route[step - 1];
    int16_t destType = route[step];
    std::string resolved;
    result = ConvertStitchFile(settings, sourceType, destType, from, made.back(), resolved);
    if (result == 0 && settings.TurnedToFit && options.turnedToFit) options.turnedToFit();
    from = made.back();
  }
  // A companion file that a writer put beside its working file (EMD's thread list) goes
  // beside the destination with it; those of the working steps go.
  auto companion = [](const std::string& path) { return path.substr(0, path.size() - 3) + "COL"; };
  std::error_code ignored;
  const bool placed = result == 0 && PutInPlace(made.back(), dest);
  if (placed && std::filesystem::exists(companion(made.back()), ignored) && dest.size() >= 3) {
    PutInPlace(companion(made.back()), companion(dest));
  }
  for (const std::string& path : made) {
    std::filesystem::remove(path, ignored);
    if (path.size() >= 3) std::filesystem::remove(companion(path), ignored);
  }
  if (result != 0) return ResultCode(result);
  return placed ? std::error_code() : ResultCode(kPathFileAccess);
}

}  // namespace tavlin
