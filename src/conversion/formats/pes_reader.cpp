// PES and PEC sources. A PES file carries its design twice: as absolute points in the
// stitch blocks behind its head, and as relative records in the PEC block that the
// machines read. A run into PES reads the stitch blocks; every other run reads the PEC
// stream, and so does a standalone PEC file, which is that block alone.
//
// The class trusts the two layouts this system writes: blocks at 104 in a "PES0001"
// file and at 137 in any other, a PEC block where three bytes at 8 say, a start in the
// stitch head counted from the design's corner, and a first record always taken for a
// jump. Other programs write heads of many versions, fill the start fields by rules of
// their own, begin the stream with a real stitch and store long values as plain 12-bit
// numbers, so the library reads them by those rules instead (`AsOtherProgramsDo`):
// always the PEC stream, found by its opening where the offset misses it, the design
// counted from the start with the stream's own first record, and turned back where
// the PES section says the design lies otherwise.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "conversion/convert.h"
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

// The stitch head of the PEC block at `pecOffset`: the stream's byte count (which runs
// from the head's last byte) and the size into the reader, the four bytes of the start
// into `start`. Leaves the file at the stream's first byte; false where the block has no
// room for the head, which leaves an empty design.
bool ReadStitchHead(ConversionRun& run, int64_t pecOffset, uint8_t start[4]) {
  PesReading& r = run.pesReader;
  r.PecOffset = pecOffset;
  r.StreamBytes = 0;  // no stream there: the design is empty
  uint8_t h[kStitchHeadBytes];
  if (pecOffset < 0 || pecOffset + kStitchHeadAt + kStitchHeadBytes > run.source.Length() ||
      !ReadAt(run.source, pecOffset + kStitchHeadAt, h, kStitchHeadBytes)) {
    return false;
  }
  r.StreamBytes =
      WithinFile(run.source, int64_t{h[5]} * 65536 + h[4] * 256 + h[3] - kStitchHeadBytes);
  r.PecWidth = h[10] * 256 + h[9];
  r.PecHeight = h[12] * 256 + h[11];
  std::memcpy(start, h + 17, 4);
  return true;
}

// The class's opening: the needle placed at the first stitch the head's start names.
void OpenPecStream(ConversionRun& run, int64_t pecOffset) {
  PesReading& r = run.pesReader;
  uint8_t start[4];
  if (!ReadStitchHead(run, pecOffset, start)) return;
  const int32_t startX = StartField(start[0], start[1]);
  const int32_t startY = StartField(start[2], start[3]);
  // The start counts from the design's corner; the needle's position from its centre.
  const int16_t ax = Rounded16(startX - r.PecWidth / 2.0);
  const int16_t bx = Rounded16(startY - r.PecHeight + r.PecHeight / 2.0);
  const bool away = ax != 0 || bx != 0;
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

// --- The library's opening ------------------------------------------------------------

// How the stream leaves its start: by its first record that isn't a colour change, read
// by the decoder itself; then the file and the reader are put back.
enum class Opening { Nothing, Move, StitchInPlace, Stitch };

Opening OpeningOfStream(ConversionRun& run) {
  const PesReading reading = run.pesReader;
  const int16_t colour = run.ColourIndex;
  const int64_t at = run.source.Position();
  Opening opening = Opening::Nothing;
  for (;;) {
    run.step = StitchStep{};
    if (DecodePecRecord(run) == Decoded::End) break;
    const StitchStep& step = run.step;
    if (step.StepKind == KindColour) continue;
    opening = step.StepKind == KindJump                   ? Opening::Move
              : step.StepX == 0 && step.StepY == 0 ? Opening::StitchInPlace
                                                          : Opening::Stitch;
    break;
  }
  run.pesReader = reading;
  run.ColourIndex = colour;
  run.step = StitchStep{};
  run.source.Seek(at);
  return opening;
}

// Other programs' files, and this system's as the library writes them. The stream is
// read from the start the stitch head names, which is where the needle stands first:
// the design's positions count from there, as a DST's count from its first record.
// The head's start fields themselves are left alone, since programs fill them by rules
// of their own (from the corner, from the middle, as plain numbers, some beyond 12
// bits): the stream alone says where the needle goes.
//
// The start is a move. A stitch is sewn there only where the stream's first record is
// a stitch that leaves it: a record of no length sews it itself, and a first move
// leaves it unsewn.
void OpenPecForOtherWriters(ConversionRun& run, int64_t pecOffset) {
  uint8_t start[4];
  if (ReadStitchHead(run, pecOffset, start)) {
    run.pesReader.StartStitch = OpeningOfStream(run) == Opening::Stitch;
  }
}

// Every PEC block opens with "LA:" and the design's name, closed by 0x0D at 19.
constexpr std::string_view kPecBlockOpens = "LA:";
constexpr int kNameEndsAt = 19;

bool PecBlockAt(BufferedFile& file, int64_t at) {
  uint8_t head[3];
  return at >= 0 && ReadAt(file, at, head, sizeof head) &&
         std::memcmp(head, kPecBlockOpens.data(), kPecBlockOpens.size()) == 0;
}

// The PEC block where the offset at 8 says; where no block opens there, the first one
// in the file whose name is closed where it should be.
int64_t FindPecBlock(BufferedFile& file, int64_t claimed) {
  if (PecBlockAt(file, claimed)) return claimed;
  constexpr size_t kChunk = 64 * 1024;
  std::string window;
  uint8_t chunk[kChunk];
  int64_t windowAt = 0;
  file.Seek(0);
  for (;;) {
    const size_t n = file.Read(chunk, kChunk);
    window.append(reinterpret_cast<const char*>(chunk), n);
    for (size_t at = window.find(kPecBlockOpens); at != std::string::npos;
         at = window.find(kPecBlockOpens, at + 1)) {
      if (at + kNameEndsAt >= window.size()) break;  // the rest comes with the next chunk
      if (window[at + kNameEndsAt] == '\x0D') return windowAt + static_cast<int64_t>(at);
    }
    if (n < kChunk) return claimed;
    // Keep what a block opening across the chunks' border needs.
    const size_t keep = std::min(window.size(), size_t{kNameEndsAt});
    windowAt += static_cast<int64_t>(window.size() - keep);
    window.erase(0, window.size() - keep);
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
  const int64_t block = BeginsWith(run.source, kPecSignature) ? kPecBehindSignature : 0;
  OpenPecForOtherWriters(run, FindPecBlock(run.source, block));
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

// What the PES section says of how the design lies: the size at 61 and 63 behind the
// section's start and the transform of its blocks (floats a, b, c, d at 31: a block
// point (x, y), Y down, goes to (a x + c y, b x + d y)). Its place differs by version;
// its name says where it is.
struct PesSection {
  bool found = false;
  int width = 0, height = 0;
  float a = 1, b = 0, c = 0, d = 1;
};

constexpr std::string_view kSectionName = "CEmbOne";
constexpr int kSectionNameAt = 8;  // behind the section's start

PesSection ReadPesSection(BufferedFile& file, int64_t before) {
  PesSection section;
  constexpr size_t kChunk = 64 * 1024;
  const size_t span = static_cast<size_t>(std::clamp<int64_t>(before, 0, int64_t{kChunk}));
  std::string head(span, '\0');
  file.Seek(0);
  head.resize(file.Read(reinterpret_cast<uint8_t*>(head.data()), span));
  const size_t name = head.find(kSectionName);
  uint8_t fields[36];
  if (name == std::string::npos || name < kSectionNameAt ||
      !ReadAt(file, static_cast<int64_t>(name - kSectionNameAt) + 31, fields, sizeof fields)) {
    return section;
  }
  auto number = [&fields](size_t at) {
    float f = 0;
    std::memcpy(&f, fields + at, 4);
    return std::isfinite(f) ? f : 0.0f;
  };
  section.found = true;
  section.a = number(0), section.b = number(4), section.c = number(8), section.d = number(12);
  section.width = static_cast<int16_t>(fields[30] | fields[31] << 8);
  section.height = static_cast<int16_t>(fields[32] | fields[33] << 8);
  return section;
}

// +1 where the transform turns the blocks clockwise (as seen, Y down), -1 the other way,
// 0 for any other transform.
int QuarterTurnOf(const PesSection& s) {
  auto near = [](float v, float want) { return std::fabs(v - want) < 0.01f; };
  if (!near(s.a, 0) || !near(s.d, 0)) return 0;
  if (near(s.b, 1) && near(s.c, -1)) return 1;
  if (near(s.b, -1) && near(s.c, 1)) return -1;
  return 0;
}

// Whether the PEC stream lies turned against the design, and which way it goes back.
// The PES section says how the design lies: a stream whose size is the section's
// turned is turned back. Where the sizes can't tell (a square design, a section
// without sizes, none at all), a transform that turns by a quarter, or this system's
// turn flag in a "PES0040" head, says it.
void TakePesTurn(ConversionRun& run, const PesSection& section, int pecWidth, int pecHeight) {
  auto near = [](int a, int b) { return std::abs(a - b) <= std::max(2, std::max(a, b) / 100); };
  const bool square = near(pecWidth, pecHeight);
  const bool same = near(section.width, pecWidth) && near(section.height, pecHeight);
  const bool swapped = near(section.width, pecHeight) && near(section.height, pecWidth);
  const int turn = QuarterTurnOf(section);
  const bool told = section.found && !square && (same || swapped);
  run.PesTurned = told ? swapped : turn != 0 || TurnedInHead(run.source);
  // A stream turned clockwise goes back the other way; this system turns clockwise.
  run.PesTurnsClockwise = run.PesTurned && turn < 0;
}

// A PES file is read from its PEC block; what is no PES is refused.
void OpenPesForOtherWriters(ConversionRun& run) {
  uint8_t head[12];
  if (!ReadAt(run.source, 0, head, sizeof head) || std::memcmp(head, "#PES", 4) != 0) {
    throw RunTimeError(kResultNotThisFormat);
  }
  const int64_t claimed = int64_t{head[8]} | int64_t{head[9]} << 8 | int64_t{head[10]} << 16 |
                          int64_t{head[11]} << 24;
  const int64_t block = FindPecBlock(run.source, claimed);
  OpenPecForOtherWriters(run, block);
  const int64_t stream = run.source.Position();
  TakePesTurn(run, ReadPesSection(run.source, block), run.pesReader.PecWidth,
              run.pesReader.PecHeight);
  run.source.Seek(stream);
}

}  // namespace

void OpenPesSource(ConversionRun& run) {
  PesReading& r = run.pesReader;
  r.OtherWriters = run.settings.AsOtherProgramsDo;
  if (r.OtherWriters) {
    OpenPesForOtherWriters(run);
    return;
  }
  if (run.settings.PESAbosulteFlag) {
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
};

}  // namespace tavlin
