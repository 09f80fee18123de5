#include "conversion/design_reader.h"

#include <new>

#include "conversion/conversion_run.h"
#include "conversion/format_table.h"
#include "conversion/formats/formats.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

// A destination that keeps nothing: the decoders that write straight to their
// destination in a few cases may do so here.
class NullFile final : public FileBackend {
 public:
  size_t ReadAt(int64_t, void*, size_t) override { return 0; }
  void WriteAt(int64_t, const void*, size_t) override {}
  int64_t Length() override { return 0; }
  void Flush() override {}
};

void PositionSource(ConversionRun& run) {
  const FormatRow* row = FindFormatRow(run.SourceType);
  if (run.SourceType == kCodeEmnet) {
    run.source.Seek(358);
  } else if (run.SourceType == kCodeT01 || run.SourceType == kCodeT03) {
    PositionWrappedSource(run);
  } else if (run.SourceType != kCodeCnd) {
    if (row->openSource != nullptr) row->openSource(run);
    if (row->sourceHeader512) run.source.Seek(run.source.Position() + 512);
  }
}

}  // namespace

int16_t ReadDesignSteps(SharedRecord& shared, const std::string& path,
                        const std::function<void(const DecodedStep&)>& visit) {
  ConversionRun run(shared);
  run.SourceType = run.OriginalSourceType = FindFormatCode(path);
  // A destination that asks nothing of the decoders.
  run.DestType = run.OriginalDestType = kCodeRefused;
  try {
    if (!FileExists(shared.platform, path)) return kFileNotFound;
    const FormatRow* row = FindFormatRow(run.SourceType);
    int16_t readAs = run.SourceType;
    if (readAs == kCodeT01) readAs = kCodeDst;
    if (readAs == kCodeT03) readAs = kCodeDsb;
    const FormatRow* reader = FindFormatRow(readAs);
    if (row == nullptr || reader == nullptr || reader->decode == nullptr) return kInvalidCall;
    run.ResolvedSource = path;
    run.source = BufferedFile(OpenFile(shared.platform, path));
    run.dest = BufferedFile(std::make_unique<NullFile>());
    PositionSource(run);
    DecodedStep out;
    for (;;) {
      run.step = StitchStep{};
      const Decoded decoded = reader->decode(run);
      if (decoded == Decoded::End) break;
      if (decoded == Decoded::NoStep) continue;
      if (run.SourceType != kCodeCnd) {
        run.PosX += run.step.StepX;
        run.PosY -= run.step.StepY;
      }
      out.x = run.step.StepX;
      out.y = run.step.StepY;
      out.kind = run.step.StepKind;
      out.posX = run.PosX;
      out.posY = run.PosY;
      out.colour = run.ColourIndex;
      visit(out);
    }
  } catch (const RunTimeError& e) {
    return e.Code();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  return 0;
}

}  // namespace tavlin
