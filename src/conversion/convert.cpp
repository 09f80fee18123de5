#include "conversion/convert.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "conversion/format_table.h"
#include "conversion/formats/formats.h"
#include "conversion/text_header.h"
#include "conversion/transforms.h"
#include "platform/files.h"
#include "platform/run_time_error.h"

namespace tavlin {

void ConversionRun::NextColour() {
  if (ColourIndex == INT16_MAX) throw RunTimeError(kOverflow);
  ++ColourIndex;
}

void WriteRepeated(ConversionRun& run, uint8_t byte, size_t n) {
  const std::string bytes(n, static_cast<char>(byte));
  run.WriteBytes(bytes);
}

namespace {

bool IsWrapper(int16_t code) { return code == kCodeT01 || code == kCodeT03; }

int16_t Unwrapped(int16_t code) {
  if (code == kCodeT01) return kCodeDst;
  if (code == kCodeT03) return kCodeDsb;
  return code;
}

bool CanConvert(int16_t sourceType, int16_t destType) {
  const FormatRow* source = FindFormatRow(Unwrapped(sourceType));
  const FormatRow* dest = FindFormatRow(Unwrapped(destType));
  return source != nullptr && source->decode != nullptr && dest != nullptr &&
         dest->encode != nullptr;
}

const FormatRow& RowOf(int16_t code) {
  const FormatRow* row = FindFormatRow(code);
  if (row == nullptr) throw RunTimeError(kInvalidCall);
  return *row;
}

// How a pass begins, by the first case that applies.
enum class PassCase { EmnetSource, Wrapper, CndSource, Ordinary };

PassCase PassCaseOf(const ConversionRun& run) {
  if (run.SourceType == kCodeEmnet) return PassCase::EmnetSource;
  if (IsWrapper(run.SourceType) || IsWrapper(run.DestType)) return PassCase::Wrapper;
  if (run.SourceType == kCodeCnd && run.DestType != kCodeCnd) return PassCase::CndSource;
  return PassCase::Ordinary;
}

void WriteSpaces(ConversionRun& run, size_t n) { WriteRepeated(run, ' ', n); }

void SkipSourceHeader(ConversionRun& run) {
  run.source.Seek(run.source.Position() + 512);
}

// Writes the destination's head and positions the source: the start of every pass.
void StartPass(ConversionRun& run) {
  run.SourceType = run.OriginalSourceType;
  run.DestType = run.OriginalDestType;
  run.source.Seek(0);
  const PassCase passCase = PassCaseOf(run);
  if (passCase == PassCase::EmnetSource) {
    WriteSpaces(run, 512);
    run.source.Seek(358);
  } else {
    if (run.DestType == kCodeEmnet && RowOf(kCodeEmnet).writeHead != nullptr) {
      RowOf(kCodeEmnet).writeHead(run);
    }
    switch (passCase) {
      case PassCase::Wrapper: {
        if (IsWrapper(run.SourceType)) {
          PositionWrappedSource(run);
        } else {
          run.source.Seek(512);
        }
        if (IsWrapper(run.DestType)) {
          WriteWrapperHead(run);
        } else if (run.DestType != kCodeCnd && run.DestType != kCodeExp) {
          WriteSpaces(run, 512);
        }
        break;
      }
      case PassCase::CndSource: WriteSpaces(run, 512); break;
      default: {
        const FormatRow& source = RowOf(run.SourceType);
        const FormatRow& dest = RowOf(run.DestType);
        if (source.openSource != nullptr) source.openSource(run);
        if (dest.writeHead != nullptr && run.DestType != kCodeEmnet) dest.writeHead(run);
        if (source.sourceHeader512) SkipSourceHeader(run);
        if (dest.destHeader512) WriteSpaces(run, 512);
        break;
      }
    }
    if (run.DestType == kCodeDst || run.DestType == kCodeKsm) {
      run.WriteBytes(RowOf(run.DestType).openingRecord);
    }
  }
  if (run.DestType == kCodeQep || run.DestType == kCodeQcd) {
    run.WriteBytes(RowOf(run.DestType).openingRecord);
  }
  run.RecordCount = 2;
  run.StitchCount = 0;
}

[[noreturn]] void ThrowOverflow() { throw RunTimeError(kOverflow); }

inline int16_t Checked16(int32_t value) {
  if (value < INT16_MIN || value > INT16_MAX) ThrowOverflow();
  return static_cast<int16_t>(value);
}

int32_t Rounded32(double value) {
  const double r = std::nearbyint(value);
  if (!(r >= INT32_MIN && r <= INT32_MAX)) throw RunTimeError(kOverflow);
  return static_cast<int32_t>(r);
}

void UpdateExtents(ConversionRun& run) {
  run.SumX = Checked16(int32_t{run.SumX} + run.step.StepX);
  run.SumY = Checked16(int32_t{run.SumY} + run.step.StepY);
  run.MaxSumX = std::max(run.MaxSumX, int32_t{run.SumX});
  run.MinSumX = std::min(run.MinSumX, int32_t{run.SumX});
  run.MaxSumY = std::max(run.MaxSumY, int32_t{run.SumY});
  run.MinSumY = std::min(run.MinSumY, int32_t{run.SumY});
  run.MaxPosX = std::max(run.MaxPosX, run.PosX);
  run.MinPosX = std::min(run.MinPosX, run.PosX);
  run.MaxPosY = std::max(run.MaxPosY, run.PosY);
  run.MinPosY = std::min(run.MinPosY, run.PosY);
  run.RecordCount += 1;
}

// EndX and EndY follow the needle at every step; only their last values are ever
// read, so they are taken once, at the end of the stream.
void RefreshEnd(ConversionRun& run) {
  run.EndX = Rounded32(run.PosX);
  run.EndY = Rounded32(run.PosY);
}

void ReportProgress(ConversionRun& run, Progress& progress) {
  const double done = static_cast<double>(run.source.Position());
  const double before = static_cast<double>(run.source.Length()) * (run.Pass - 1);
  progress.Value(before + done);
}

// The cycles of one pass, from the first record to the end of the stitch stream.
void RunStream(ConversionRun& run, Progress& progress) {
  const FormatRow& source = RowOf(run.SourceType);
  const FormatRow& dest = RowOf(run.DestType);
  const bool countColours = run.DestType != kCodePes;
  const bool moves = run.SourceType != kCodeCnd && run.DestType != kCodeCnd;
  // The turns are chosen when the pass starts.
  const bool turns = run.PesTurned || run.TurnDesign || run.DesignTurned;
  bool haveStep = run.FirstStepReady;
  run.FirstStepReady = false;
  int32_t untilReport = 1000 - run.LoopCycles % 1000;
  for (;;) {
    if (!haveStep) {
      run.LoopCycles += 1;
      if (--untilReport == 0) {
        ReportProgress(run, progress);
        untilReport = 1000;
      }
      run.StitchCount += 1;
      if (countColours) {
        if (run.ColourIndex < 0 || run.ColourIndex >= static_cast<int>(run.ColourCounts.size())) {
          throw RunTimeError(kSubscriptOutOfRange);
        }
        run.ColourCounts[static_cast<size_t>(run.ColourIndex)] += 1;
      }
      run.PassRecords += 1;
      if (!run.Splitting) {
        run.PrevKind = run.step.StepKind;
        run.step = StitchStep{};
        const Decoded decoded = source.decode(run);
        if (decoded == Decoded::End) return;
        if (decoded == Decoded::NoStep) continue;
      }
    }
    haveStep = false;
    if (moves) {
      if (run.Splitting || std::abs(run.step.StepX) > kStepLimit ||
          std::abs(run.step.StepY) > kStepLimit) {
        SplitLongStep(run);
      }
      if (turns) Rotate(run);
      run.PosX += run.step.StepX;
      run.PosY -= run.step.StepY;
    }
    UpdateExtents(run);
    dest.encode(run);
  }
}

void FinishRun(ConversionRun& run) {
  const FormatRow& dest = RowOf(run.DestType);
  if (dest.textHeader && !run.DestWrapped) WriteTextHeader(run);
  if (run.DestWrapped) FinishWrapper(run);
  run.dest.Close();
  run.source.Close();
}

void Convert(ConversionRun& run) {
  PlatformState& platform = run.shared.platform;
  DeleteFile(platform, run.ResolvedDest);
  run.source = BufferedFile(OpenFile(platform, run.ResolvedSource));
  run.dest = BufferedFile(OpenFile(platform, run.ResolvedDest));
  run.PassCount = run.DestType == kCodePes ? 3 : 1;

  Progress* progress = run.shared.CurrentPB.get();
  if (progress == nullptr) throw RunTimeError(kNoObject);
  progress->Max(static_cast<double>(run.source.Length()) * run.PassCount);

  for (run.Pass = 1; run.Pass <= run.PassCount; ++run.Pass) {
    if (run.Pass > 1) {
      static_cast<PassCounters&>(run) = PassCounters{};
      run.source.Close();
      run.source = BufferedFile(OpenFile(platform, run.ResolvedSource));
    }
    StartPass(run);
    RunStream(run, *progress);
    RefreshEnd(run);
    const FormatRow& dest = RowOf(run.DestType);
    if (dest.writeEnd != nullptr) dest.writeEnd(run);
  }
  FinishRun(run);
}

}  // namespace

int16_t ConvertStitchFile(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                          const std::string& sourceFile, const std::string& destFile,
                          std::string& resolvedSource) {
  ConversionRun run(shared);
  shared.PESAbosulteFlag = destType == kCodePes;
  if (destType == kCodeVst) run.DesignName = shared.LastDestFile;
  shared.HoopSizeText.clear();
  if (sourceFile.empty() || destFile.empty()) return 1;
  if (!CanConvert(sourceType, destType)) return kInvalidCall;

  run.SourceType = run.OriginalSourceType = sourceType;
  run.DestType = run.OriginalDestType = destType;
  int16_t result = 0;
  try {
    run.ResolvedSource = resolvedSource = ResolvePath(sourceFile, sourceType);
    run.ResolvedDest = ResolvePath(destFile, destType);
    Convert(run);
  } catch (const RunTimeError& e) {
    result = e.Code();
  } catch (const std::bad_alloc&) {
    result = kOutOfMemory;
  } catch (const std::exception&) {
    result = kInternalError;
  }
  sourceType = run.SourceType;
  destType = run.DestType;
  if (result != 0) {
    run.source = BufferedFile();
    run.dest = BufferedFile();
    try {
      if (!run.ResolvedDest.empty()) DeleteFile(shared.platform, run.ResolvedDest);
    } catch (const RunTimeError&) {
      // The destination can't be reached any more; the code already says why.
    }
  }
  return result;
}

namespace {

class SilentProgress final : public Progress {
 public:
  void Max(double) override {}
  void Value(double) override {}
};

}  // namespace

int16_t ConvertStitchFileReporting(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                                   const std::string& sourceFile, const std::string& destFile,
                                   std::string& resolvedSource,
                                   std::shared_ptr<Progress> progress) {
  std::shared_ptr<Progress> host = std::move(shared.CurrentPB);
  shared.CurrentPB = progress ? std::move(progress) : std::make_shared<SilentProgress>();
  const int16_t result =
      ConvertStitchFile(shared, sourceType, destType, sourceFile, destFile, resolvedSource);
  shared.CurrentPB = std::move(host);
  return result;
}

}  // namespace tavlin
