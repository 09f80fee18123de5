#include "conversion/convert.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "conversion/format_table.h"
#include "conversion/formats/formats.h"
#include "state/shared_record.h"
#include "conversion/drawn_trims.h"
#include "conversion/text_header.h"
#include "conversion/thread_colours.h"
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

void ConversionRun::SetTypes(int16_t sourceType, int16_t destType) {
  SourceType = sourceType;
  DestType = destType;
  Source = &CodecOf(sourceType);
  Dest = &CodecOf(destType);
}

namespace {

// How a pass begins, by the first case that applies. These are decided here, not by
// the codecs, because each is a rule about the pair of formats.
enum class PassCase {
  EmnetSource,  // its head is passed over whole, and no destination head is written
  Wrapper,      // the T01/T03 wrapper positions the source and writes the head
  CndSource,    // CND has no header to skip; the destination still gets its spaces
  Ordinary,
};

PassCase PassCaseOf(const ConversionRun& run) {
  if (run.SourceType == kCodeEmnet) return PassCase::EmnetSource;
  if (run.Source->Wrapper() || run.Dest->Wrapper()) return PassCase::Wrapper;
  if (run.Source->carriesQepRecords && !run.Dest->carriesQepRecords) return PassCase::CndSource;
  return PassCase::Ordinary;
}

// Emnet's head goes ahead of whatever the other cases write.
bool HeadFirst(const ConversionRun& run) { return run.DestType == kCodeEmnet; }

// Under a wrapper every destination gets the text header's spaces but CND and EXP,
// which have no place for them.
bool SpacesUnderWrapper(const ConversionRun& run) {
  return run.DestType != kCodeCnd && run.DestType != kCodeExp;
}

void WriteSpaces(ConversionRun& run, size_t n) { WriteRepeated(run, ' ', n); }

}  // namespace

void StartPass(ConversionRun& run) {
  run.SetTypes(run.OriginalSourceType, run.OriginalDestType);
  run.source.Seek(0);
  const PassCase passCase = PassCaseOf(run);
  if (passCase == PassCase::EmnetSource) {
    WriteSpaces(run, 512);
    run.source.Seek(358);
  } else {
    if (HeadFirst(run) && run.Dest->writeHead != nullptr) run.Dest->writeHead(run);
    switch (passCase) {
      case PassCase::Wrapper: {
        if (run.Source->Wrapper()) {
          PositionWrappedSource(run);
        } else {
          run.source.Seek(512);
        }
        if (run.Dest->Wrapper()) {
          WriteWrapperHead(run);
        } else if (SpacesUnderWrapper(run)) {
          WriteSpaces(run, 512);
        }
        break;
      }
      case PassCase::CndSource: WriteSpaces(run, 512); break;
      default: {
        if (run.Source->openSource != nullptr) run.Source->openSource(run);
        if (run.Dest->writeHead != nullptr && !HeadFirst(run)) run.Dest->writeHead(run);
        if (run.Source->textHeader) run.source.Seek(run.source.Position() + 512);
        if (run.Dest->textHeader) WriteSpaces(run, 512);
        break;
      }
    }
    if (run.Dest->opening == Opening::BehindHead) run.WriteBytes(run.Dest->openingRecord);
  }
  if (run.Dest->opening == Opening::Always) run.WriteBytes(run.Dest->openingRecord);
  run.RecordCount = 2;
  run.StitchCount = 0;
}

namespace {

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
  const Codec& source = *run.Source;
  const Codec& dest = *run.Dest;
  const bool countColours = dest.countsColours;
  const bool moves = !source.carriesQepRecords && !dest.carriesQepRecords;
  const bool movesTrims = moves && !dest.writesTrims && run.settings.AsOtherProgramsDo;
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
        if (source.drawsTrimsAsJumps) CountJumpRun(run);
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
    if (movesTrims && run.step.StepKind == KindTrim) run.step.StepKind = KindJump;
    dest.encode(run);
  }
}

void FinishRun(ConversionRun& run) {
  if (run.Dest->textHeader && !run.DestWrapped) WriteTextHeader(run);
  if (run.DestWrapped) FinishWrapper(run);
  WriteThreadColours(run);
  run.dest.Close();
  run.source.Close();
}

void Convert(ConversionRun& run) {
  PlatformState& platform = run.settings.platform;
  DeleteFile(platform, run.ResolvedDest);
  run.source = BufferedFile(OpenFile(platform, run.ResolvedSource));
  run.dest = BufferedFile(OpenFile(platform, run.ResolvedDest));
  run.PassCount = run.Dest->passes;

  Progress* progress = run.settings.progress;
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
    if (run.Dest->writeEnd != nullptr) run.Dest->writeEnd(run);
  }
  FinishRun(run);
}

}  // namespace

int16_t ConvertStitchFile(ConversionSettings& settings, int16_t& sourceType, int16_t& destType,
                          const std::string& sourceFile, const std::string& destFile,
                          std::string& resolvedSource) {
  ConversionRun run(settings);
  // The three-pass destination is the one whose second pass writes absolute positions.
  settings.PESAbosulteFlag = CodecOf(destType).passes > 1;
  if (CodecOf(destType).namesDesign) run.DesignName = settings.DesignName;
  settings.HoopSizeText.clear();
  settings.TurnedToFit = false;
  if (sourceFile.empty() || destFile.empty()) return 1;
  if (!CanConvert(sourceType, destType)) return kInvalidCall;

  run.OriginalSourceType = sourceType;
  run.OriginalDestType = destType;
  run.SetTypes(sourceType, destType);
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
      if (!run.ResolvedDest.empty()) DeleteFile(settings.platform, run.ResolvedDest);
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

// The record's fields that a conversion reads, and the ones it hands back.
int16_t ConvertForRecord(SharedRecord& shared, Progress* progress, int16_t& sourceType,
                         int16_t& destType, const std::string& sourceFile,
                         const std::string& destFile, std::string& resolvedSource) {
  ConversionSettings settings(shared.platform);
  settings.MaxStitchLength = shared.MaxStitchLength;
  settings.PESAbosulteFlag = shared.PESAbosulteFlag;
  settings.DesignName = shared.LastDestFile;
  settings.LabelSource = shared.LabelSource;
  settings.LabelDest = shared.LabelDest;
  settings.progress = progress;
  settings.AsOtherProgramsDo = shared.AsOtherProgramsDo;
  settings.LastDosReadName = shared.LastDosReadName;
  settings.HusSourceName = shared.HusSourceName;
  const int16_t result =
      ConvertStitchFile(settings, sourceType, destType, sourceFile, destFile, resolvedSource);
  shared.PESAbosulteFlag = settings.PESAbosulteFlag;
  shared.HoopSizeText = settings.HoopSizeText;
  return result;
}

}  // namespace

int16_t ConvertStitchFile(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                          const std::string& sourceFile, const std::string& destFile,
                          std::string& resolvedSource) {
  return ConvertForRecord(shared, shared.CurrentPB.get(), sourceType, destType, sourceFile,
                          destFile, resolvedSource);
}

int16_t ConvertStitchFileReporting(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                                   const std::string& sourceFile, const std::string& destFile,
                                   std::string& resolvedSource,
                                   std::shared_ptr<Progress> progress) {
  SilentProgress silent;
  return ConvertForRecord(shared, progress ? progress.get() : &silent, sourceType, destType,
                          sourceFile, destFile, resolvedSource);
}

}  // namespace tavlin
