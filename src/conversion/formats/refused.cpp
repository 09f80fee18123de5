// A file name whose format is refused (-2): a disc routine may still pass one on.
// Its records are three bytes that stand for steps of no movement.
#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

constexpr uint8_t kZeroRecord[3] = {0, 0, 0};

Decoded DecodeRefused(ConversionRun& run) {
  uint8_t record[3];
  if (!run.ReadRecord(record, 3)) return Decoded::End;
  run.step.StepX = 0;
  run.step.StepY = 0;
  return Decoded::Step;
}

void EncodeRefused(ConversionRun& run) { run.WriteBytes(kZeroRecord, 3); }

void EndRefused(ConversionRun& run) { run.WriteBytes(kZeroRecord, 3); }

}  // namespace

const Codec kRefusedCodec = {
    .code = kCodeRefused,
    .family = "refused",
    .decode = DecodeRefused,
    .encode = EncodeRefused,
    .writeEnd = EndRefused,
    .textHeader = true,
};

}  // namespace tavlin
