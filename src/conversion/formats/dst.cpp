// Tajima DST: three-byte records whose axes are balanced-ternary digits spread over
// the bits of all three bytes.
#include <array>
#include <cstring>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

// One bit of a record: which byte, which bit, what it adds to x and to y.
struct TernaryBit {
  int byte;
  int bit;
  int x;
  int y;
};

constexpr std::array<TernaryBit, 20> kTernaryBits = {{
    {0, 7, 0, 1},   {0, 6, 0, -1},   {0, 5, 0, 9},   {0, 4, 0, -9},   {0, 3, -9, 0},
    {0, 2, 9, 0},   {0, 1, -1, 0},   {0, 0, 1, 0},   {1, 7, 0, 3},    {1, 6, 0, -3},
    {1, 5, 0, 27},  {1, 4, 0, -27},  {1, 3, -27, 0}, {1, 2, 27, 0},   {1, 1, -3, 0},
    {1, 0, 3, 0},   {2, 5, 0, 81},   {2, 4, 0, -81}, {2, 3, -81, 0},  {2, 2, 81, 0},
}};

// What each value of each byte adds to the two axes, so decoding is three lookups.
struct DecodeTables {
  int8_t x[3][256];
  int8_t y[3][256];
};

constexpr DecodeTables MakeDecodeTables() {
  DecodeTables t{};
  for (int byte = 0; byte < 3; ++byte) {
    for (int value = 0; value < 256; ++value) {
      int x = 0, y = 0;
      for (const TernaryBit& b : kTernaryBits) {
        if (b.byte == byte && ((value >> b.bit) & 1) != 0) {
          x += b.x;
          y += b.y;
        }
      }
      t.x[byte][value] = static_cast<int8_t>(x);
      t.y[byte][value] = static_cast<int8_t>(y);
    }
  }
  return t;
}

constexpr DecodeTables kDecode = MakeDecodeTables();

// The bits that write a value on one axis, the three bytes packed low byte first, by
// the bands of balanced ternary: 41..121 take 81, 14..40 take 27, 5..13 take 9, 2..4
// take 3, 1 takes 1. A value beyond +-121 falls into no band: no movement.
constexpr uint32_t EncodeAxis(int value, bool isX) {
  struct Band {
    int low, high, weight;
  };
  constexpr Band kBands[] = {{41, 121, 81}, {14, 40, 27}, {5, 13, 9}, {2, 4, 3}, {1, 1, 1}};
  uint32_t bits = 0;
  int magnitude = value < 0 ? -value : value;
  int sign = value < 0 ? -1 : 1;
  for (const Band& band : kBands) {
    if (magnitude < band.low || magnitude > band.high) continue;
    magnitude -= band.weight;
    const int wanted = sign * band.weight;
    for (const TernaryBit& b : kTernaryBits) {
      if ((isX ? b.x : b.y) == wanted) bits |= uint32_t{1} << (8 * b.byte + b.bit);
    }
    if (magnitude < 0) {
      magnitude = -magnitude;
      sign = -sign;
    }
  }
  return bits;
}

struct EncodeTables {
  uint32_t x[243];  // value + 121
  uint32_t y[243];
};

constexpr EncodeTables MakeEncodeTables() {
  EncodeTables t{};
  for (int v = -121; v <= 121; ++v) {
    t.x[v + 121] = EncodeAxis(v, true);
    t.y[v + 121] = EncodeAxis(v, false);
  }
  return t;
}

constexpr EncodeTables kEncode = MakeEncodeTables();

void WriteDstRecord(ConversionRun& run, int16_t kind, int16_t stepY, int16_t stepX) {
  // One four-byte store of the packed record, read back whole by the copy: building
  // the bytes one by one here costs a stalled load on every record.
  uint8_t record[4];
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  const uint32_t bits = TernaryBits(kind, stepY, stepX);
  std::memcpy(record, &bits, 4);
#else
  EncodeTernary(kind, stepY, stepX, record);
#endif
  run.WriteBytes(record, 3);
}

}  // namespace

TernaryStep DecodeTernary(const uint8_t bytes[3]) {
  TernaryStep s;
  s.x = static_cast<int16_t>(kDecode.x[0][bytes[0]] + kDecode.x[1][bytes[1]] +
                             kDecode.x[2][bytes[2]]);
  s.y = static_cast<int16_t>(kDecode.y[0][bytes[0]] + kDecode.y[1][bytes[1]] +
                             kDecode.y[2][bytes[2]]);
  return s;
}

uint32_t TernaryBits(int16_t kind, int16_t stepY, int16_t stepX) {
  uint32_t flags = 0x03;
  switch (kind) {
    case KindJump: flags = 0x83; break;
    case KindColour: flags = 0xC3; break;
    case KindMark: return 0x430000;  // a mark carries no movement
    default:
      if (IsNeedleKind(kind)) flags = 0xC3;
      break;
  }
  uint32_t bits = flags << 16;
  if (stepX >= -121 && stepX <= 121) bits |= kEncode.x[stepX + 121];
  if (stepY >= -121 && stepY <= 121) bits |= kEncode.y[stepY + 121];
  return bits;
}

void EncodeTernary(int16_t kind, int16_t stepY, int16_t stepX, uint8_t out[3]) {
  const uint32_t bits = TernaryBits(kind, stepY, stepX);
  out[0] = static_cast<uint8_t>(bits);
  out[1] = static_cast<uint8_t>(bits >> 8);
  out[2] = static_cast<uint8_t>(bits >> 16);
}

namespace {

Decoded DecodeDst(ConversionRun& run) {
  uint8_t record[3];
  if (!run.ReadRecord(record, 3) || record[2] == 0xF3) return Decoded::End;
  const TernaryStep s = DecodeTernary(record);
  run.step.StepX = s.x;
  run.step.StepY = s.y;
  switch (record[2] >> 6) {
    case 0: run.step.StepKind = KindStitch; break;
    case 1: run.step.StepKind = KindMark; break;
    case 2: run.step.StepKind = KindJump; break;
    default:
      run.step.StepKind = KindColour;
      run.NextColour();
      break;
  }
  return Decoded::Step;
}

void EncodeDst(ConversionRun& run) {
  if (run.TrimPending) {
    // A trim read from a format that has one is drawn as a zigzag of six jumps.
    for (int i = 0; i < 6; ++i) {
      WriteDstRecord(run, KindJump, static_cast<int16_t>(i % 2 == 0 ? 3 : -3), 0);
    }
    run.TrimPending = false;
    run.step.StepKind = KindJump;
  }
  WriteDstRecord(run, run.step.StepKind, run.step.StepY, run.step.StepX);
}

void EndDst(ConversionRun& run) {
  static constexpr uint8_t kEnd[3] = {0x00, 0x00, 0xF3};
  run.WriteBytes(kEnd, 3);
}

}  // namespace

const Codec kDstCodec = {
    .code = kCodeDst,
    .fileEnd = "DST",
    .extension = ".DST",
    .family = "Tajima",
    .decode = DecodeDst,
    .encode = EncodeDst,
    .writeEnd = EndDst,
    .textHeader = true,
    .endsInRecord = true,
    .openingRecord = std::string_view("\x00\x00\x83", 3),
    .opening = Opening::BehindHead,
    .drawsTrimsAsJumps = true,
    .writesTrims = true,
};

}  // namespace tavlin
