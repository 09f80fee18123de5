// PES and PEC sources. A PES file carries its design twice: as absolute points in the
// stitch blocks behind its head, and as relative records in the PEC block that the
// machines read. A run into PES reads the stitch blocks; every other run reads the PEC
// stream, and so does a standalone PEC file, which is that block alone.
//
// The class trusts the two layouts this system writes: blocks at 104 in a "PES0001"
// file and at 137 in any other, and a PEC block whose first record is always taken
// for a jump. Other programs write heads of many versions, begin the PEC stream with a
// real stitch and store long values as plain 12-bit numbers, so the library reads them
// by those rules instead (`ReadsOtherWriters`): always the PEC stream, the first
// record as its bytes say, and the start as a jump from the centre and a stitch there.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "conversion/formats/formats.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int64_t kVersionAt = 1;     // "PES0001" behind the '#'
constexpr int64_t kBlocksOfVersion1 = 104;
constexpr int64_t kBlocksOtherwise = 137;
constexpr int64_t kPecOffsetAt = 8;
constexpr int64_t kTurnAt = 23;       // hoop width, height and the turn flag of "PES0040"
constexpr int64_t kStitchHeadAt = 511;  // in the PEC block: its head's last byte, then 20 more
constexpr int kStitchHeadBytes = 21;
constexpr uint8_t kSeparatorMark = 0x80;  // second byte of a block separator

using PesReading = PassCounters::PesReading;

bool ReadAt(BufferedFile& file, int64_t at, uint8_t* out, size_t n) {
  file.Seek(at);
  return file.Read(out, n) == n;
}

// A count read from the file is never trusted beyond the bytes that follow it.
int32_t WithinFile(const BufferedFile& file, int64_t bytes) {
  const int64_t left = file.Length() - file.Position();
  return static_cast<int32_t>(std::max<int64_t>(0, std::min(bytes, left)));
}

int16_t Rounded16(double value) {
  const double r = std::nearbyint(value);
  if (!(r >= INT16_MIN && r <= INT16_MAX)) throw RunTimeError(kOverflow);
  return static_cast<int16_t>(r);
}

int16_t Checked16(int32_t value) {
  if (value < INT16_MIN || value > INT16_MAX) throw RunTimeError(kOverflow);
  return static_cast<int16_t>(value);
}

// This system turns a design across the 260 x 160 hoop only in a "PES0040" file, and
// says so there with the hoop's width, height and the turn flag. Other versions hold
// other fields at these offsets ("#PES0111" files the design's name), and another
// program's 260 x 160 hoop without the flag holds a design laid as it is.
bool TurnedInHead(BufferedFile& file) {
  static constexpr uint8_t kTurned[6] = {0x04, 0x01, 0xA0, 0x00, 0x01, 0x00};
  uint8_t version[7];
  uint8_t hoop[6];
  return ReadAt(file, kVersionAt, version, 7) && std::memcmp(version, "PES0040", 7) == 0 &&
         ReadAt(file, kTurnAt, hoop, 6) && std::memcmp(hoop, kTurned, 6) == 0;
}

// --- The stitch blocks -------------------------------------------------------------

void OpenStitchBlocks(ConversionRun& run) {
  PesReading& r = run.pesReader;
  r.Blocks = true;
  uint8_t version[7];
  const bool first = ReadAt(run.source, kVersionAt, version, 7) &&
                     std::memcmp(version, "PES0001", 7) == 0;
  // Kind, palette byte and point count of the first block.
  uint8_t head[6];
  if (!ReadAt(run.source, first ? kBlocksOfVersion1 : kBlocksOtherwise, head, 6)) {
    r.StreamBytes = -1;  // nothing there: the design is empty
    return;
  }
  r.JumpBlock = head[0] == 1;
  r.BlockColour = head[2];
  r.StreamBytes = WithinFile(run.source, (int64_t{head[5]} * 256 + head[4]) * 4);
}

Decoded DecodeBlockRecord(ConversionRun& run) {
  PesReading& r = run.pesReader;
  StitchStep& step = run.step;
  for (;;) {
    if (r.JumpBlock && step.StepKind != KindColour) step.StepKind = KindJump;
    if (r.BytesRead > r.StreamBytes) return Decoded::End;
    uint8_t point[4];
    if (!run.ReadRecord(point, 4)) return Decoded::End;
    r.BytesRead += 4;
    if (point[1] != kSeparatorMark) {
      if (r.BytesRead > r.StreamBytes) return Decoded::End;
      r.AbsX = static_cast<int16_t>(point[0] | point[1] << 8);
      r.AbsY = -static_cast<int16_t>(point[2] | point[3] << 8);
      step.StepX = Checked16(r.AbsX - r.PrevAbsX);
      step.StepY = Checked16(r.AbsY - r.PrevAbsY);
      r.PrevAbsX = r.AbsX;
      r.PrevAbsY = r.AbsY;
      return Decoded::Step;
    }
    // A separator and the next block's head: kind, then palette byte and point count.
    r.JumpBlock = point[2] == 1;
    uint8_t head[4];
    if (!run.ReadRecord(head, 4)) return Decoded::End;
    r.StreamBytes = WithinFile(run.source, (int64_t{head[3]} * 256 + head[2]) * 4);
    r.BytesRead = 0;
    if (head[0] != r.BlockColour) {
      run.NextColour();
      step.StepKind = KindColour;
      r.BlockColour = head[0];
    }
  }
}

// --- The PEC stream ----------------------------------------------------------------

// A start field of the stitch head: a high byte over 0x90 (over 0xA0 where a writer set
// that bit too), then the low byte.
int32_t StartField(uint8_t high, uint8_t low) {
  return (high - (high >= 160 ? 160 : 144)) * 256 + low;
}

// Reads the stitch head of the PEC block at `pecOffset` and leaves the file at the
// stream's first byte; places the needle at the first stitch.
void OpenPecStream(ConversionRun& run, int64_t pecOffset) {
  PesReading& r = run.pesReader;
  r.PecOffset = pecOffset;
  uint8_t h[kStitchHeadBytes];
  if (pecOffset < 0 || pecOffset + kStitchHeadAt + kStitchHeadBytes > run.source.Length() ||
      !ReadAt(run.source, pecOffset + kStitchHeadAt, h, kStitchHeadBytes)) {
    r.StreamBytes = 0;  // no stream there: the design is empty
    return;
  }
  // The byte count runs from the head's last byte; the stream starts 21 bytes on.
  r.StreamBytes = WithinFile(run.source,
                             int64_t{h[5]} * 65536 + h[4] * 256 + h[3] - kStitchHeadBytes);
  r.PecWidth = h[10] * 256 + h[9];
  r.PecHeight = h[12] * 256 + h[11];
  const int32_t startX = StartField(h[17], h[18]);
  const int32_t startY = StartField(h[19], h[20]);
  // The start counts from the design's corner; the needle's position from its centre.
  const int16_t ax = Rounded16(startX - r.PecWidth / 2.0);
  const int16_t bx = Rounded16(startY - r.PecHeight + r.PecHeight / 2.0);
  const bool away = ax != 0 || bx != 0;
  if (r.OtherWriters) {
    // A step from the centre, so that any destination keeps where the design lies;
    // the turn, if any, comes with the other steps.
    r.StartPending = away;
    r.StartX = ax;
    r.StartY = Checked16(-int32_t{bx});
    // The start is the first stitch. This system's writer leaves it to the head; other
    // programs sew it again with a record of no length, or leave it to the head too.
    uint8_t opening[2];
    const int64_t streamAt = run.source.Position();
    r.StartStitch = r.StreamBytes > 0 && !(run.source.Read(opening, 2) == 2 &&
                                           opening[0] == 0x00 && opening[1] == 0x00);
    run.source.Seek(streamAt);
    return;
  }
  StitchStep& step = run.step;
  const bool handOver = away && run.Dest->takesStartStep;
  if (!run.PesTurned) {
    run.PosX = step.StepX = ax;
    run.PosY = step.StepY = bx;
    if (handOver) {
      step.StepY = Checked16(-int32_t{bx});
      run.PosY = step.StepY;
      run.FirstStepReady = true;
    }
  } else {
    run.PosX = step.StepX = bx;
    run.PosY = step.StepY = Checked16(-int32_t{ax});
    if (handOver) {
      step.StepX = ax;
      step.StepY = Checked16(-int32_t{bx});
      run.PosY = ax;
      run.FirstStepReady = true;
    }
  }
}

bool ReadStreamByte(ConversionRun& run, uint8_t& byte) {
  if (run.source.Read(&byte, 1) != 1) return false;
  run.pesReader.BytesRead += 1;
  return true;
}

// A two-byte value: the low nibble of the first byte and the second byte. Nibbles up to
// `lastPositive` count up from 0, the others down from -1 (15).
int16_t LongValue(uint8_t first, uint8_t second, int lastPositive) {
  const int nibble = first & 0x0F;
  if (nibble <= lastPositive) return static_cast<int16_t>(nibble * 256 + second);
  return static_cast<int16_t>(-((15 - nibble) * 256 + 256 - second));
}

// Where the reference reading puts the sign of a two-byte value: its own writer's
// 0x80 group counts up to 0x89 on both axes, its 0xA0 group up to 0xA9 on X. Other
// programs, and the library with them, read every group as a 12-bit number.
int LastPositiveNibble(uint8_t first, bool onX, bool otherWriters) {
  if (otherWriters) return 7;
  switch (first & 0xF0) {
    case 0x80: return 9;
    case 0xA0: return onX ? 9 : 7;
    default: return 7;
  }
}

enum class Field { Value, Meaningless, End };

// One field of a record, its value in the stream's own direction (Y down). 0x90 to
// 0xAF mark the step as a jump.
Field ReadField(ConversionRun& run, uint8_t first, bool onX, int16_t& value) {
  if (first < 0x40) {
    value = first;
  } else if (first < 0x80) {
    value = static_cast<int16_t>(first - 128);
  } else if (first <= 0xAF) {
    uint8_t second;
    if (!ReadStreamByte(run, second)) return Field::End;
    value = LongValue(first, second, LastPositiveNibble(first, onX, run.pesReader.OtherWriters));
    if (first >= 0x90 && run.step.StepKind != KindColour) run.step.StepKind = KindJump;
  } else {
    return Field::Meaningless;
  }
  return Field::Value;
}

constexpr uint8_t kChangeFirst = 0xFE;
constexpr uint8_t kChangeSecond = 0xB0;
constexpr uint8_t kOtherEnd = 0xFF;

Decoded DecodePecRecord(ConversionRun& run) {
  PesReading& r = run.pesReader;
  StitchStep& step = run.step;
  if (r.StartPending) {
    r.StartPending = false;
    step = {r.StartX, r.StartY, KindJump};
    return Decoded::Step;
  }
  if (r.StartStitch) {
    r.StartStitch = false;
    step = {0, 0, KindStitch};
    return Decoded::Step;
  }
  for (;;) {
    if (r.BytesRead >= r.StreamBytes) return Decoded::End;
    if (r.LeadIn) {
      r.LeadIn = false;
      // The reference writer puts the first stitch in the head: whatever the stream
      // begins with only leads to the next.
      if (!r.OtherWriters) step.StepKind = KindJump;
    }
    uint8_t first;
    if (!ReadStreamByte(run, first)) return Decoded::End;
    if (first == kChangeFirst) {
      uint8_t second;
      if (!ReadStreamByte(run, second)) return Decoded::End;
      if (second == kChangeSecond) {
        run.NextColour();
        step.StepKind = KindColour;
        uint8_t toggle;
        if (!ReadStreamByte(run, toggle)) return Decoded::End;
        // Other programs change the thread where the needle is and go on with records of
        // their own kinds; the reference reading gives the next record the change.
        if (r.OtherWriters) {
          step.StepX = step.StepY = 0;
          return Decoded::Step;
        }
        continue;
      }
      // Any other second byte leaves X as it stands.
    } else {
      // Other programs close the stream with 0xFF; the reference reading ends by count.
      if (first == kOtherEnd && r.OtherWriters) return Decoded::End;
      int16_t x = 0;
      const Field field = ReadField(run, first, true, x);
      if (field == Field::End) return Decoded::End;
      if (field == Field::Meaningless) {
        step.StepX = 0;
        continue;
      }
      step.StepX = x;
    }
    if (!ReadStreamByte(run, first)) return Decoded::End;
    int16_t y = 0;
    const Field field = ReadField(run, first, false, y);
    if (field == Field::End) return Decoded::End;
    if (field == Field::Meaningless) {
      step.StepY = 0;
      continue;
    }
    step.StepY = static_cast<int16_t>(-y);
    return Decoded::Step;
  }
}

// --- The standalone PEC file --------------------------------------------------------

// "#PEC0001" and the block behind it; a file without the signature is the block alone.
constexpr std::string_view kPecSignature = "#PEC";
constexpr int64_t kPecBehindSignature = 8;

bool BeginsWith(BufferedFile& file, std::string_view text) {
  uint8_t bytes[8];
  if (text.size() > sizeof bytes || !ReadAt(file, 0, bytes, text.size())) return false;
  return std::memcmp(bytes, text.data(), text.size()) == 0;
}

// Only the library reads a PEC file, so always as other programs write it.
void OpenPecSource(ConversionRun& run) {
  run.pesReader.OtherWriters = true;
  run.PesTurned = false;
  OpenPecStream(run, BeginsWith(run.source, kPecSignature) ? kPecBehindSignature : 0);
}

// The eight bytes of a signature such as "#PES0001", when they are printable.
std::string Signature(const uint8_t* head, size_t n) {
  if (n < 8) return {};
  for (size_t i = 0; i < 8; ++i) {
    if (head[i] < 0x20 || head[i] > 0x7E) return {};
  }
  return std::string(reinterpret_cast<const char*>(head), 8);
}

HeadFacts DescribePec(BufferedFile& file) {
  HeadFacts facts;
  uint8_t head[8];
  file.Seek(0);
  const std::string signature = Signature(head, file.Read(head, sizeof head));
  if (signature.rfind(kPecSignature, 0) == 0) facts.version = signature;
  return facts;
}

}  // namespace

void OpenPesSource(ConversionRun& run) {
  PesReading& r = run.pesReader;
  r.OtherWriters = run.settings.ReadsOtherWriters;
  // The library reads the stream every file of every version has where it always is;
  // the stitch blocks lie where the head's version puts them.
  if (run.settings.PESAbosulteFlag && !r.OtherWriters) {
    OpenStitchBlocks(run);
    return;
  }
  if (TurnedInHead(run.source)) run.PesTurned = true;
  // Three bytes of the offset; the fourth is not read.
  uint8_t offset[3];
  const int64_t pecOffset = ReadAt(run.source, kPecOffsetAt, offset, 3)
                                ? offset[0] | offset[1] << 8 | offset[2] << 16
                                : -1;
  OpenPecStream(run, pecOffset);
}

Decoded DecodePesRecord(ConversionRun& run) {
  return run.pesReader.Blocks ? DecodeBlockRecord(run) : DecodePecRecord(run);
}

HeadFacts DescribePes(BufferedFile& file) {
  HeadFacts facts;
  uint8_t head[27] = {};
  file.Seek(0);
  const size_t n = file.Read(head, sizeof head);
  const std::string signature = Signature(head, n);
  if (signature.rfind("#PES", 0) != 0) return facts;
  facts.version = signature;
  if (signature == "#PES0001" && n >= 14) {
    // 0 for the 100 x 100 hoop, 1 for the 130 x 180.
    const int hoop = head[12] | head[13] << 8;
    if (hoop == 0) facts.hoop = "100x100";
    if (hoop == 1) facts.hoop = "130x180";
  } else if (signature == "#PES0040" && n >= 27) {
    const int width = head[23] | head[24] << 8;
    const int height = head[25] | head[26] << 8;
    if (width > 0 && width <= 1000 && height > 0 && height <= 1000) {
      facts.hoop = std::to_string(width) + "x" + std::to_string(height);
    }
  }
  return facts;
}

const Codec kPecCodec = {
    .code = kCodePec,
    .fileEnd = "PEC",
    .extension = ".PEC",
    .family = "PEC (Brother)",
    .decode = DecodePesRecord,
    .openSource = OpenPecSource,
    .describeHead = DescribePec,
    .libraryOnly = true,
    .centresDesign = true,
};

}  // namespace tavlin
