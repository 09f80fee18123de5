#include "conversion/design_reader.h"

#include <new>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/thread_colours.h"
#include "conversion/transforms.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

// A destination that keeps nothing: the pass start writes its head there, and the
// decoders that write straight to their destination in a few cases may do so.
class NullFile final : public FileBackend {
 public:
  size_t ReadAt(int64_t, void*, size_t) override { return 0; }
  void WriteAt(int64_t, const void*, size_t) override {}
  int64_t Length() override { return 0; }
  void Flush() override {}
};

}  // namespace

int16_t ReadDesignSteps(PlatformState& platform, const StitchFile& file,
                        const std::function<void(const DecodedStep&)>& visit,
                        bool asOtherProgramsDo, bool* ranOut) {
  const std::string& path = file.path;
  ConversionSettings settings(platform);
  settings.AsOtherProgramsDo = asOtherProgramsDo;
  ConversionRun run(settings);
  run.OriginalSourceType = file.Code();
  // A destination that asks nothing of the decoders.
  run.OriginalDestType = RefusedNameCodec().code;
  try {
    if (!FileExists(platform, path)) return kFileNotFound;
    if (!CanConvert(run.OriginalSourceType, run.OriginalDestType)) return kInvalidCall;
    run.ResolvedSource = path;
    run.source = BufferedFile(OpenFile(platform, path));
    run.dest = BufferedFile(std::make_unique<NullFile>());
    StartPass(run);
    const Codec& reader = *run.Source;
    DecodedStep out;
    for (;;) {
      run.step = StitchStep{};
      const Decoded decoded = reader.decode(run);
      if (decoded == Decoded::End) break;
      if (decoded == Decoded::NoStep) continue;
      if (!reader.carriesQepRecords) {
        // A source's own turn (a PES file's design laid across its hoop) is undone here
        // as the frame undoes it.
        if (run.PesTurned) Rotate(run);
        run.PosX += run.step.StepX;
        run.PosY -= run.step.StepY;
      }
      out.x = run.step.StepX;
      out.y = run.step.StepY;
      out.kind = static_cast<StepKind>(run.step.StepKind);
      out.posX = run.PosX;
      out.posY = run.PosY;
      out.colour = run.ColourIndex;
      visit(out);
    }
    if (ranOut != nullptr) *ranOut = run.RanOut;
  } catch (const RunTimeError& e) {
    return e.Code();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  return 0;
}

int64_t CountStitches(PlatformState& platform, const StitchFile& file) {
  const Codec& codec = *file.codec;
  if (&codec == &RefusedNameCodec() || !codec.Reads()) return -1;
  int64_t stitches = 0;
  const int16_t result = ReadDesignSteps(
      platform, file, [&stitches](const DecodedStep& step) { stitches += step.kind == StepKind::Stitch; },
      true);
  return result == 0 ? stitches : -1;
}

std::string WhyUnsound(PlatformState& platform, const StitchFile& source) {
  const Codec& codec = *source.codec;
  const std::string name(codec.Name());
  try {
    if (!FileExists(platform, source.path)) return "file not found";
    const int64_t length = BufferedFile(OpenFile(platform, source.path)).Length();
    if (length == 0) return "the file is empty";
    if (codec.textHeader && length < 512) {
      return "the file has " + std::to_string(length) + " bytes, fewer than a " + name +
             " head's 512";
    }
  } catch (const RunTimeError& e) {
    return RunTimeCodeText(e.Code());
  }
  if (!codec.endsInRecord) return {};
  // A failure of the reading itself is the conversion's to say.
  bool ranOut = false;
  const int16_t result = ReadDesignSteps(platform, source, [](const DecodedStep&) {}, true, &ranOut);
  if (result == 0 && ranOut) {
    return "the file is cut short: its " + name + " stream ends before its end record";
  }
  return {};
}

SourceFacts ReadSourceFacts(PlatformState& platform, const StitchFile& source, int16_t colourIndex) {
  SourceFacts facts;
  const std::string& path = source.path;
  const int16_t type = source.Code();
  const Codec& codec = *source.codec;
  try {
    if (!FileExists(platform, path)) return facts;
    BufferedFile file(OpenFile(platform, path));
    if (codec.describeHead != nullptr) facts.head = codec.describeHead(file);
    facts.threads = ReadThreadColours(platform, file, path, type, colourIndex);
  } catch (const RunTimeError&) {
    facts = SourceFacts{};
  } catch (const std::bad_alloc&) {
    facts = SourceFacts{};
  }
  return facts;
}

}  // namespace tavlin
