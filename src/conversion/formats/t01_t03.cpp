// T01 and T03: DST and DSB record streams behind a small wrapper of 468 zero bytes
// and a block count, padded to a multiple of 12 bytes.
#include "conversion/formats/formats.h"

#include <algorithm>

#include "conversion/numbers.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int64_t kWrapperHead = 468;
constexpr int64_t kBlock = 12;
// The length is read into a 16-bit number: a longer file is an overflow.
constexpr int64_t kMaxBytes = 32767;

}  // namespace

const Codec kT01Codec = {
    .code = kCodeT01,
    .fileEnd = "T01",
    .extension = ".T01",
    .family = "DST records in a wrapper",
    .wraps = kCodeDst,
    .wrapperOpening = std::string_view("\x00\x00\x83", 3),
    .maxFileBytes = kMaxBytes,
};

const Codec kT03Codec = {
    .code = kCodeT03,
    .fileEnd = "T03",
    .extension = ".T03",
    .family = "DSB records in a wrapper",
    .wraps = kCodeDsb,
    .wrapperOpening = std::string_view("\x81\x00\x00", 3),
    .maxFileBytes = kMaxBytes,
};

void PositionWrappedSource(ConversionRun& run) {
  // The records begin at the first byte that isn't zero in 255..512, on a multiple of 3.
  uint8_t probe[258];
  run.source.Seek(255);
  const size_t got = run.source.Read(probe, sizeof probe);
  const auto first = std::find_if(probe, probe + got, [](uint8_t b) { return b != 0; });
  const int64_t at = first == probe + got ? 513 : 255 + (first - probe);
  run.source.Seek(at / 3 * 3);
  run.SetTypes(run.Source->wraps, run.DestType);
  run.SourceWrapped = true;
}

void WriteWrapperHead(ConversionRun& run) {
  WriteRepeated(run, 0, kWrapperHead);
  run.WriteBytes(run.Dest->wrapperOpening);
  run.SetTypes(run.SourceType, run.Dest->wraps);
  run.DestWrapped = true;
}

void FinishWrapper(ConversionRun& run) {
  const int64_t length = run.dest.Length();
  if (length > kMaxBytes) throw RunTimeError(kOverflow);
  const int64_t padded = (length / kBlock + 1) * kBlock;
  run.dest.Seek(length);
  WriteRepeated(run, 0, static_cast<size_t>(padded - length));
  run.dest.Seek(0);
  run.WriteBytes(IntToBytes2(static_cast<double>(padded / kBlock)));
}

}  // namespace tavlin
