// Singer XXX: two signed bytes a step, a five-byte form for long movements, codes that
// start with 0x7F, and the thread colours in a trailer behind the stitches.
//
// Two readings. The class reads 0x7F 0x01 as a jump of no movement in two bytes, so the
// pair behind it is a stitch. The Singer programs write a jump as 0x7F 0x01 and its
// movement, and a trim as 0x7F 0x03 and its movement, four bytes each: the class's
// reading sews every one of those jumps. The library reads them for what they are.
// The rules don't agree even on this system's own files, whose stream opens with
// 0x7F 0x01 0x00 0x00: a jump and a stitch for the class, a jump for the library.
#include <cmath>
#include <cstdint>
#include <string>

#include "conversion/formats/design_threads.h"
#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr uint8_t kXxxLongStitch = 0x7D;
constexpr uint8_t kXxxLongJump = 0x7E;
constexpr uint8_t kXxxCode = 0x7F;
constexpr uint8_t kXxxJump = 0x01;
constexpr uint8_t kXxxTrim = 0x03;   // other writers', with a movement
constexpr uint8_t kXxxColour = 0x08;
constexpr uint8_t kXxxSkip = 0x18;   // two more bytes that carry nothing
constexpr uint8_t kXxxEnd = 0x7F;
constexpr int64_t kXxxStream = 256;
constexpr int64_t kXxxLengthField = 252;
// A byte from here up can't be a step: steps stay within 121.
constexpr uint8_t kXxxFirstReserved = 0x7A;

int16_t SignedByte(uint8_t byte) { return static_cast<int16_t>(static_cast<int8_t>(byte)); }
bool Reserved(uint8_t byte) { return byte >= kXxxFirstReserved && byte <= kXxxCode; }

void OpenXxx(ConversionRun& run) { run.source.Seek(kXxxStream); }

// The movement of a code's two bytes behind it; false at end of file.
bool ReadMovement(ConversionRun& run) {
  uint8_t xy[2];
  if (!run.ReadRecord(xy, 2)) return false;
  run.step.StepX = SignedByte(xy[0]);
  run.step.StepY = SignedByte(xy[1]);
  return true;
}

Decoded DecodeXxx(ConversionRun& run) {
  const bool otherWriters = run.settings.AsOtherProgramsDo;
  uint8_t pair[2];
  for (;;) {
    if (!run.ReadRecord(pair, 2)) return Decoded::End;
    if (pair[0] == kXxxLongStitch || pair[0] == kXxxLongJump) {
      uint8_t rest[3];
      if (!run.ReadRecord(rest, 3)) return Decoded::End;
      run.step.StepX = static_cast<int16_t>(pair[1] | (rest[0] << 8));
      run.step.StepY = static_cast<int16_t>(rest[1] | (rest[2] << 8));
      if (pair[0] == kXxxLongJump) run.step.StepKind = KindJump;
      return Decoded::Step;
    }
    if (pair[0] == kXxxCode) {
      switch (pair[1]) {
        case kXxxJump:
          run.step.StepKind = KindJump;
          if (otherWriters && !ReadMovement(run)) return Decoded::End;
          return Decoded::Step;
        case kXxxTrim:
          if (!otherWriters) continue;
          if (!ReadMovement(run)) return Decoded::End;
          // A trim that a destination with one of its own keeps, and DST draws.
          run.step.StepKind = KindTrim;
          run.TrimPending = true;
          return Decoded::Step;
        case kXxxColour:
          if (!ReadMovement(run)) return Decoded::End;
          run.NextColour();
          run.step.StepKind = KindColour;
          return Decoded::Step;
        case kXxxSkip: {
          uint8_t skipped[2];
          if (!run.ReadRecord(skipped, 2)) return Decoded::End;
          continue;
        }
        case kXxxEnd: return Decoded::End;
        default: continue;
      }
    }
    if (Reserved(pair[0]) || Reserved(pair[1])) continue;
    run.step.StepX = SignedByte(pair[0]);
    run.step.StepY = SignedByte(pair[1]);
    return Decoded::Step;
  }
}

void WritePair(ConversionRun& run, int16_t x, int16_t y) {
  const uint8_t pair[2] = {static_cast<uint8_t>(x & 0xFF), static_cast<uint8_t>(y & 0xFF)};
  run.WriteBytes(pair, 2);
}

void WriteCode(ConversionRun& run, uint8_t code, int16_t x, int16_t y) {
  const uint8_t record[4] = {kXxxCode, code, static_cast<uint8_t>(x & 0xFF),
                             static_cast<uint8_t>(y & 0xFF)};
  run.WriteBytes(record, 4);
}

// The jumps summed so far as one long movement. The class writes it as a long stitch
// and a stitch of no movement, which sews where the jumps went. The library writes a
// long jump, which both readings take for one.
void WriteSummedJumps(ConversionRun& run) {
  if (!run.XxxPending) return;
  const bool library = run.settings.AsOtherProgramsDo;
  if (library && (run.XxxSumX < INT16_MIN || run.XxxSumX > INT16_MAX ||
                  run.XxxSumY < INT16_MIN || run.XxxSumY > INT16_MAX)) {
    // The long form holds a signed 16-bit movement; more would come back the other way.
    throw RunTimeError(kOverflow);
  }
  std::string record(1, static_cast<char>(library ? kXxxLongJump : kXxxLongStitch));
  record += IntToBytes2(run.XxxSumX);
  record += IntToBytes2(run.XxxSumY);
  if (!library) record += std::string(2, '\0');
  run.WriteBytes(record);
  run.XxxSumX = 0;
  run.XxxSumY = 0;
  run.XxxPending = false;
}

// The working format's colour change goes out as a stitch to where it moves and a
// change of no movement (the source whose changes carry function codes and whose head
// holds an RGB table: QEP).
bool ChangesAsQep(const Codec& source) {
  return source.keepsFunctionCodes && source.threadTable.Present();
}

void EncodeXxx(ConversionRun& run) {
  const StitchStep& step = run.step;
  const int16_t kind = step.StepKind;
  if (kind == KindJump) {
    run.XxxSumX += step.StepX;
    run.XxxSumY += step.StepY;
    run.XxxPending = true;
    return;
  }
  WriteSummedJumps(run);
  if (run.settings.AsOtherProgramsDo) {
    // Every change is written as one, a needle's too, and a trim as the Singer
    // programs write it.
    if (ChangesColourKind(kind)) {
      WriteCode(run, kXxxColour, step.StepX, step.StepY);
    } else if (kind == KindTrim) {
      WriteCode(run, kXxxTrim, step.StepX, step.StepY);
    } else {
      WritePair(run, step.StepX, step.StepY);
    }
    return;
  }
  if (kind != KindColour) {
    WritePair(run, step.StepX, step.StepY);
  } else if (run.PrevKind == KindColour) {
    // A second change in a row doesn't count: it goes out as a step.
    run.ColourIndex -= 1;
    WritePair(run, step.StepX, step.StepY);
  } else if (ChangesAsQep(*run.Source)) {
    if (step.StepX != 0 || step.StepY != 0) WritePair(run, step.StepX, step.StepY);
    run.WriteBytes(std::string_view("\x00\x00\x7F\x08", 4));
  } else {
    WriteCode(run, kXxxColour, step.StepX, step.StepY);
  }
}

// Behind the stitches: the trailer's start, a record (0, r, g, b) for each colour, and
// 100 zero bytes. The head's length field points 4 bytes into the trailer, at its end
// code. The class drops a jump still being summed; the library writes where the
// needle goes.
void EndXxx(ConversionRun& run) {
  if (run.settings.AsOtherProgramsDo) WriteSummedJumps(run);
  const int64_t trailerAt = run.dest.Position();
  std::string trailer("\x7F\x18\x00\x00\x7F\x7F\x00\x00\x00\x00", 10);
  for (const ThreadColour& thread : ColoursOfTheDesign(run)) {
    trailer += '\0';
    trailer += static_cast<char>(thread.red);
    trailer += static_cast<char>(thread.green);
    trailer += static_cast<char>(thread.blue);
  }
  trailer += std::string(100, '\0');
  run.WriteBytes(trailer);

  run.dest.Seek(23);
  run.WriteBytes(IntToBytes4(run.StitchCount));
  run.dest.Seek(39);
  run.WriteBytes(IntToBytes2(run.ColourIndex));
  run.dest.Seek(45);
  run.WriteBytes(IntToBytes2(std::abs(run.MinPosX) + std::abs(run.MaxPosX)) +
                 IntToBytes2(std::abs(run.MinPosY) + std::abs(run.MaxPosY)));
  run.dest.Seek(50);
  run.WriteBytes(IntToBytes2(run.EndX) + IntToBytes2(run.EndY));
  run.dest.Seek(kXxxLengthField);
  run.WriteBytes(IntToBytes4(static_cast<double>(trailerAt + 4)));
}

void WriteXxxHead(ConversionRun& run) {
  std::string head(kXxxStream, '\0');
  // The stream opens with a jump of no movement.
  head += std::string_view("\x7F\x01\x00\x00", 4);
  run.WriteBytes(head);
}

}  // namespace

const Codec kXxxCodec = {
    .code = kCodeXxx,
    .fileEnd = "XXX",
    .extension = ".XXX",
    .family = "Singer",
    .decode = DecodeXxx,
    .encode = EncodeXxx,
    .openSource = OpenXxx,
    .writeHead = WriteXxxHead,
    .writeEnd = EndXxx,
    .threadSource = ThreadSource::Xxx,
    .writesTrims = true,
};

}  // namespace tavlin
