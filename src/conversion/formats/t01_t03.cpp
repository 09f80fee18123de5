// T01 and T03: DST and DSB record streams behind a small wrapper of 468 zero bytes
// and a block count, padded to a multiple of 12 bytes. Other programs write a shorter
// wrapper (records from offset 12, no fill when none is needed), which reads alike.
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
// Where a reader looks for the first record: behind the block count and ten zeros, up
// to the first offset past a head of 512 bytes.
constexpr int64_t kSearchFrom = 12;
constexpr int64_t kSearchEnd = 513;

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
  // The records begin at the first byte that isn't zero from offset 12 on, on a
  // multiple of 3. This system's files hold zeros up to their opening record at 468;
  // other programs begin the records at 12, behind the count and ten zeros. On every
  // file this system writes, and on a head of zeros, this finds what a search of
  // 255..512 alone finds, so the class reads by it too. Zeros through 512 put the
  // records at 513.
  uint8_t probe[kSearchEnd - kSearchFrom];
  run.source.Seek(kSearchFrom);
  const size_t got = run.source.Read(probe, sizeof probe);
  const auto first = std::find_if(probe, probe + got, [](uint8_t b) { return b != 0; });
  const int64_t at = first == probe + got ? kSearchEnd : kSearchFrom + (first - probe);
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
