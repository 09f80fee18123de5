// Barudan DSB (and its U files) and ZSK DSZ: three-byte records with a sign-and-
// magnitude step and a function code, the one the mirror of the other.
#include <cstdlib>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

constexpr int kSignX = 0x20;  // DSB byte 0
constexpr int kSignY = 0x40;

// Other programs write a trim as DSB code 7 and DSZ code 27, and end a DSZ with 0x91.
// The library reads them for what they are; the class reads all three as stitches,
// as the programs written against it expect.
constexpr int kDsbTrimCode = 7;
constexpr int kDszTrimCode = 27;
constexpr uint8_t kDszOtherEnd = 0x91;

// A trim that a destination with a trim of its own keeps, and DST draws.
void ReadTrim(ConversionRun& run) {
  run.step.StepKind = KindTrim;
  run.TrimPending = true;
}

// The five colour-change codes of DSZ, by needle rotor 1 to 5, and the needle kinds
// 0x17 to 0x1C.
constexpr uint8_t kDszRotorCodes[6] = {0, 5, 7, 9, 11, 13};
constexpr uint8_t kDszNeedleCodes[6] = {2, 5, 7, 9, 11, 13};

int16_t Signed(int magnitude, bool negative) {
  return static_cast<int16_t>(negative ? -magnitude : magnitude);
}

uint8_t Magnitude(int16_t value) { return static_cast<uint8_t>(std::abs(value) & 0x7F); }


// What a DSB record is to the library: any code but a stitch's, a jump's and a trim's
// names a needle or a stop; 0xF8 alone ends.
RecordRole DsbRole(const uint8_t r[3], bool&) {
  if (r[0] == 0xF8) return RecordRole::End;
  switch (r[0] & 0x1F) {
    case 0: return RecordRole::Stitch;
    case 1: case kDsbTrimCode: return RecordRole::Move;
    default: return RecordRole::NeedleOrStop;
  }
}

RecordRole DszRole(const uint8_t r[3], bool&) {
  if (r[2] == 0x90 || r[2] == kDszOtherEnd) return RecordRole::End;
  switch (r[2] & 0x1F) {
    case 0: return RecordRole::Stitch;
    case 1: case kDszTrimCode: return RecordRole::Move;
    default: return RecordRole::NeedleOrStop;
  }
}

// A needle or stop record that changes no colour: its movement, if any, as a jump.
Decoded MoveOrNothing(ConversionRun& run) {
  if (run.step.StepX == 0 && run.step.StepY == 0) return Decoded::NoStep;
  run.step.StepKind = KindJump;
  return Decoded::Step;
}

// The needle rotor goes 2, 3, 4, 5, 1, 2 ... through a design's colour changes.
int16_t TurnRotor(ConversionRun& run) {
  run.NeedleRotor = static_cast<int16_t>(run.NeedleRotor + 1);
  if (run.NeedleRotor > 5) run.NeedleRotor = 1;
  return run.NeedleRotor;
}

Decoded DecodeDsb(ConversionRun& run) {
  uint8_t r[3];
  if (!run.ReadRecord(r, 3) || r[0] == 0xF8) return Decoded::End;
  run.step.StepY = Signed(r[1] & 0x7F, (r[0] & 0x40) != 0);
  run.step.StepX = Signed(r[2] & 0x7F, (r[0] & 0x20) != 0);
  const int code = r[0] & 0x1F;
  bool none = false;
  if (run.settings.AsOtherProgramsDo && DsbRole(r, none) == RecordRole::NeedleOrStop) {
    if (!ChangesColourHere(run, DsbRole, false)) return MoveOrNothing(run);
    run.NextColour();
    // A destination that keeps needles gets 23 to 30 for needles 1 to 8.
    run.step.StepKind = run.Dest->keepsNeedles && code >= 8 && code <= 15
                            ? static_cast<int16_t>((r[0] & 0x0F) + 15)
                            : int16_t{KindColour};
    return Decoded::Step;
  }
  if (code == 1) {
    run.step.StepKind = KindJump;
  } else if (code >= 8 && code <= 15) {
    run.NextColour();
    // A destination that keeps needles gets 23 to 30.
    run.step.StepKind = run.Dest->keepsNeedles ? static_cast<int16_t>((r[0] & 0x0F) + 15)
                                                 : int16_t{KindColour};
  } else if (code == kDsbTrimCode && run.settings.AsOtherProgramsDo) {
    ReadTrim(run);
  }
  return Decoded::Step;
}

void EncodeDsb(ConversionRun& run) {
  const StitchStep& step = run.step;
  uint8_t r[3] = {0x80, Magnitude(step.StepY), Magnitude(step.StepX)};
  if (step.StepY < 0) r[0] |= kSignY;
  if (step.StepX < 0) r[0] |= kSignX;
  if (step.StepKind == KindJump) {
    r[0] |= 1;
  } else if (step.StepKind == KindColour) {
    r[0] |= static_cast<uint8_t>(TurnRotor(run) + 8);
  } else if (IsNeedleKind(step.StepKind)) {
    r[0] |= static_cast<uint8_t>(step.StepKind - 15);
  }
  run.WriteBytes(r, 3);
}

void EndDsb(ConversionRun& run) { run.WriteBytes(std::string_view("\xF8\x00\x00", 3)); }

void OpenUFile(ConversionRun& run) { run.source.Seek(256); }

void WriteUFileHead(ConversionRun& run) { WriteRepeated(run, 0, 256); }

Decoded DecodeDsz(ConversionRun& run) {
  uint8_t r[3];
  if (!run.ReadRecord(r, 3) || r[2] == 0x90) return Decoded::End;
  const bool otherWriters = run.settings.AsOtherProgramsDo;
  if (otherWriters && r[2] == kDszOtherEnd) return Decoded::End;
  ReadDszMovement(r, run.step);
  const int code = r[2] & 0x1F;
  bool none = false;
  if (otherWriters && DszRole(r, none) == RecordRole::NeedleOrStop) {
    if (!ChangesColourHere(run, DszRole, false)) return MoveOrNothing(run);
    // Codes beyond the table are changes of their own.
    if (code > 14) {
      run.step.StepKind = KindColour;
      run.NextColour();
      return Decoded::Step;
    }
  }
  switch (code) {
    case 0: break;
    case 1: run.step.StepKind = KindJump; break;
    case 2:
      run.step.StepKind = KindNeedle;
      if (!run.Dest->keepsNeedles) run.NextColour();
      break;
    case 5: case 7: case 9: case 11: case 13:
      run.step.StepKind = static_cast<int16_t>(KindNeedle + (code - 3) / 2);
      run.NextColour();
      break;
    case 3: case 4: case 6: case 8: case 10: case 12: case 14:
      run.step.StepKind = KindColour;
      run.NextColour();
      break;
    case kDszTrimCode:
      if (otherWriters) ReadTrim(run);
      break;
    default: break;  // 15 and above: a stitch
  }
  return Decoded::Step;
}

void EncodeDsz(ConversionRun& run) {
  const StitchStep& step = run.step;
  uint8_t r[3];
  PutDszMovement(step, r);
  if (step.StepKind == KindJump) {
    r[2] |= 1;
  } else if (step.StepKind == KindColour) {
    r[2] |= kDszRotorCodes[TurnRotor(run)];
  } else if (step.StepKind >= KindNeedle && step.StepKind <= KindNeedle + 5) {
    r[2] |= kDszNeedleCodes[step.StepKind - KindNeedle];
  }
  run.WriteBytes(r, 3);
}

void EndDsz(ConversionRun& run) { run.WriteBytes(std::string_view("\x00\x00\x90", 3)); }

}  // namespace

bool ChangesColourHere(ConversionRun& run, ClassifyRecord classify, bool jumpMode) {
  BufferedFile& file = run.source;
  const int64_t behind = file.Position();
  uint8_t r[3];
  bool mode = jumpMode;
  // Another needle or stop record at once: that one is the change.
  if (file.Read(r, 3) == 3 && classify(r, mode) == RecordRole::NeedleOrStop) {
    file.Seek(behind);
    return false;
  }
  // An earlier look that went past this record saw what comes behind it.
  if (behind <= run.StitchLookedTo) {
    file.Seek(behind);
    return run.StitchAhead;
  }
  mode = jumpMode;
  file.Seek(behind);
  run.StitchAhead = false;
  for (;;) {
    if (file.Read(r, 3) != 3) break;
    const RecordRole role = classify(r, mode);
    if (role == RecordRole::End) break;
    if (role == RecordRole::Stitch) {
      run.StitchAhead = true;
      break;
    }
  }
  run.StitchLookedTo = file.Position();
  file.Seek(behind);
  return run.StitchAhead;
}

void ReadDszMovement(const uint8_t r[3], StitchStep& step) {
  step.StepY = Signed(r[0] & 0x7F, (r[2] & 0x20) != 0);
  step.StepX = Signed(r[1] & 0x7F, (r[2] & 0x40) != 0);
}

void PutDszMovement(const StitchStep& step, uint8_t r[3]) {
  r[0] = Magnitude(step.StepY);
  r[1] = Magnitude(step.StepX);
  r[2] = 0x80;
  if (step.StepX < 0) r[2] |= 0x40;
  if (step.StepY < 0) r[2] |= 0x20;
}

const Codec kDsbCodec = {
    .code = kCodeDsb,
    .fileEnd = "DSB",
    .extension = ".DSB",
    .family = "Barudan",
    .decode = DecodeDsb,
    .encode = EncodeDsb,
    .writeEnd = EndDsb,
    .textHeader = true,
    .endsInRecord = true,
};

// A U file holds DSB records behind a head of 256 bytes.
const Codec kUFileCodec = {
    .code = kCodeUFile,
    .extension = ".DSB",
    .family = "Barudan DOS/2HD",
    .nameEnd = ".U01",
    .decode = DecodeDsb,
    .encode = EncodeDsb,
    .openSource = OpenUFile,
    .writeHead = WriteUFileHead,
    .writeEnd = EndDsb,
    .endsInRecord = true,
};

const Codec kDszCodec = {
    .code = kCodeDsz,
    .fileEnd = "DSZ",
    .extension = ".DSZ",
    .family = "ZSK",
    .decode = DecodeDsz,
    .encode = EncodeDsz,
    .writeEnd = EndDsz,
    .textHeader = true,
    .endsInRecord = true,
};

}  // namespace tavlin
