// Melco's expanded EXP and Toyota's 10O: two formats of bare stitch records, with no
// head and no end record of their own.
//
// EXP: two signed bytes a step; a pair that starts with 0x80 is a control pair that
// gives the kind of the step behind it, and the mark 0x80 0x80 swallows the pair that
// follows it.
//
// 10O: three bytes a record, a flag byte and the two magnitudes, Y first.
#include <cstdlib>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

constexpr uint8_t kExpControl = 0x80;

int16_t SignedByte(uint8_t byte) { return static_cast<int16_t>(static_cast<int8_t>(byte)); }

// The control pairs that other writers use too: 1, 3, 5, 7 and 9 change colour, 2, 4
// and 6 jump. Any other second byte is no control: the pair is a step.
bool IsExpColour(uint8_t second) { return second <= 9 && (second & 1) != 0; }
bool IsExpJump(uint8_t second) { return second == 2 || second == 4 || second == 6; }

Decoded DecodeExp(ConversionRun& run) {
  uint8_t pair[2];
  bool marked = false;
  for (;;) {
    if (!run.ReadRecord(pair, 2)) return Decoded::End;
    if (marked) {
      // The pair behind a mark belongs to the mark, whatever it holds.
      marked = false;
      continue;
    }
    if (pair[0] != kExpControl) break;
    if (pair[1] == kExpControl) {
      marked = true;
      run.step.StepKind = KindStitch;
    } else if (IsExpColour(pair[1])) {
      run.NextColour();
      run.step.StepKind = KindColour;
    } else if (IsExpJump(pair[1])) {
      run.step.StepKind = KindJump;
    } else {
      break;  // 0x80 as a step byte: -128 on X
    }
  }
  run.step.StepX = SignedByte(pair[0]);
  run.step.StepY = SignedByte(pair[1]);
  return Decoded::Step;
}


void EncodeExp(ConversionRun& run) {
  const StitchStep& step = run.step;
  if (ChangesColourKind(step.StepKind)) {
    run.WriteBytes(std::string_view("\x80\x01", 2));
  } else if (step.StepKind == KindMark) {
    run.WriteBytes(std::string_view("\x80\x80", 2));
  } else if (step.StepKind == KindJump) {
    run.WriteBytes(std::string_view("\x80\x04", 2));
  }
  const uint8_t pair[2] = {static_cast<uint8_t>(step.StepX & 0xFF),
                           static_cast<uint8_t>(step.StepY & 0xFF)};
  run.WriteBytes(pair, 2);
}

constexpr uint8_t k10oWritten = 0x80;
constexpr uint8_t k10oNegativeY = 0x40;
constexpr uint8_t k10oNegativeX = 0x20;
constexpr uint8_t k10oJump = 0x10;
constexpr uint8_t k10oColour = 0x04;

// Other programs put a code in the low bits of the flag byte: an opening record 0x8A,
// a trim 0x81 and an end 0x87 (which the class reads as a colour change, its bit 2
// being set, and the others as stitches of no length). A record without the top bit
// is none that a stitch writer makes: this system closes its files with one.
constexpr uint8_t k10oOtherCodeBits = 0x0F;
constexpr uint8_t k10oOtherOpening = 0x0A;
constexpr uint8_t k10oOtherTrim = 0x01;
constexpr uint8_t k10oOtherEnd = 0x07;

Decoded Decode10o(ConversionRun& run) {
  uint8_t r[3];
  const bool otherWriters = run.settings.AsOtherProgramsDo;
  for (;;) {
    if (!run.ReadRecord(r, 3)) return Decoded::End;
    if (!otherWriters) break;
    const int code = r[0] & k10oOtherCodeBits;
    if ((r[0] & k10oWritten) == 0 || code == k10oOtherEnd) return Decoded::End;
    if (code != k10oOtherOpening) break;
  }
  run.step.StepY = static_cast<int16_t>((r[0] & k10oNegativeY) != 0 ? -r[1] : r[1]);
  run.step.StepX = static_cast<int16_t>((r[0] & k10oNegativeX) != 0 ? -r[2] : r[2]);
  if ((r[0] & k10oColour) != 0) {
    run.NextColour();
    run.step.StepKind = KindColour;
  }
  if ((r[0] & k10oJump) != 0) run.step.StepKind = KindJump;
  if (otherWriters && (r[0] & k10oOtherCodeBits) == k10oOtherTrim) {
    // A trim that a destination with a trim of its own keeps, and DST draws.
    run.step.StepKind = KindTrim;
    run.TrimPending = true;
  }
  return Decoded::Step;
}

void Encode10o(ConversionRun& run) {
  const StitchStep& step = run.step;
  uint8_t r[3] = {k10oWritten, static_cast<uint8_t>(std::abs(step.StepY) & 0xFF),
                  static_cast<uint8_t>(std::abs(step.StepX) & 0xFF)};
  if (step.StepY < 0) r[0] |= k10oNegativeY;
  if (step.StepX < 0) r[0] |= k10oNegativeX;
  if (step.StepKind == KindJump) {
    r[0] |= k10oJump;
  } else if (step.StepKind == KindColour) {
    r[0] |= k10oColour;
  }
  run.WriteBytes(r, 3);
}

// The class closes with three zero bytes: a stitch of no length, so a reader that takes
// it for a record moves the needle nowhere, and no colour is added as a repeat of a
// colour change would add one; the library reads it as the end. The library closes as
// other programs do, with their end code, which their readers and the library take for
// the end, and the class for a colour change.
void End10o(ConversionRun& run) {
  run.WriteBytes(run.settings.AsOtherProgramsDo ? std::string_view("\x87\x00\x00", 3)
                                                : std::string_view("\x00\x00\x00", 3));
}

}  // namespace

const Codec kExpCodec = {
    .code = kCodeExp,
    .fileEnd = "EXP",
    .extension = ".EXP",
    .family = "Melco Premier, expanded",
    .decode = DecodeExp,
    .encode = EncodeExp,
};

// 10O sews a colour change that names a needle, and a DSZ source names the needle at
// every change: the library takes DSZ designs through DST, whose writer keeps them as
// changes. The class writes them as the machine's programs expect.
const Codec k10oCodec = {
    .code = kCode10o,
    .fileEnd = "10O",
    .extension = ".10O",
    .family = "Toyota",
    .writtenOnlyFrom = "DST DSB QEP QCD EXP 10O",
    .decode = Decode10o,
    .encode = Encode10o,
    .writeEnd = End10o,
};

}  // namespace tavlin
