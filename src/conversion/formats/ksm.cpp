// Pfaff KSM: three-byte sign-and-magnitude records with no jump flag of their own.
// Marker records switch a jump mode on and off, so the writer and the reader each keep
// that mode from one record to the next.
#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

// The markers, whole third bytes as this system writes them; bytes 0 and 1 are zero.
constexpr uint8_t kKsmJumpsAhead = 0x93;   // jumps or a colour change follow stitches
constexpr uint8_t kKsmColour = 0x8B;       // a colour change follows
constexpr uint8_t kKsmStitchesAhead = 0x99;
constexpr uint8_t kKsmEnd = 0x88;

// Function codes as read (the third byte's low five bits).
constexpr int kJumpsOffCode = 0x19;
constexpr int kFirstColourCode = 0x0B;
constexpr int kLastColourCode = 0x12;
// Other programs also end a run of jumps with 0x18, and write a colour change as the
// needle codes 0x0B to 0x12 or the stop codes 0x1B and 0x1C, alone or as a pair, and one
// at the end of the design that no stitch follows. The library reads them so; the class
// keeps the reading that turns jump mode on at every code but 0x19 and counts a colour
// for every 0x0B to 0x12, as the programs written against it expect.
constexpr int kOtherJumpsOff = 0x18;
constexpr int kOtherStop = 0x1B;
constexpr int kOtherStopToo = 0x1C;

bool IsColourCode(int code) { return code >= kFirstColourCode && code <= kLastColourCode; }

// What a record is to the library, with the jump mode it leaves.
RecordRole KsmRole(const uint8_t r[3], bool& jumpMode) {
  if (r[2] == kKsmEnd) return RecordRole::End;
  const int code = r[2] & 0x1F;
  if (code != 0) jumpMode = !(code == kJumpsOffCode || code == kOtherJumpsOff);
  if (IsColourCode(code) || code == kOtherStop || code == kOtherStopToo) return RecordRole::NeedleOrStop;
  // A marker that moves is a step of the mode it sets; one that doesn't is no step.
  const bool moves = (r[0] & 0x7F) != 0 || (r[1] & 0x7F) != 0;
  if (code != 0 && !moves) return RecordRole::Move;
  return jumpMode ? RecordRole::Move : RecordRole::Stitch;
}

void WriteMarker(ConversionRun& run, uint8_t third) {
  const uint8_t marker[3] = {0x00, 0x00, third};
  run.WriteBytes(marker, 3);
}


void EncodeKsm(ConversionRun& run) {
  const StitchStep& step = run.step;
  if (step.StepKind == KindStitch) run.KsmSewn = true;
  if (step.StepKind == KindJump || ChangesColourKind(step.StepKind)) {
    // Jumps after stitches need the mode switched on; the first jumps of a design
    // have it on from the opening record.
    if (!run.KsmJumpMode && run.KsmSewn) {
      run.KsmJumpMode = true;
      WriteMarker(run, kKsmJumpsAhead);
    }
    if (step.StepKind != KindJump) WriteMarker(run, kKsmColour);
  } else if (step.StepKind == KindStitch && run.KsmJumpMode) {
    run.KsmJumpMode = false;
    WriteMarker(run, kKsmStitchesAhead);
  }
  uint8_t r[3];
  PutDszMovement(step, r);
  run.WriteBytes(r, 3);
}

void EndKsm(ConversionRun& run) {
  WriteMarker(run, kKsmJumpsAhead);
  WriteMarker(run, kKsmEnd);
}

Decoded DecodeKsm(ConversionRun& run) {
  uint8_t r[3];
  if (!run.ReadRecord(r, 3) || r[2] == kKsmEnd) return Decoded::End;
  const int code = r[2] & 0x1F;
  const bool moves = (r[0] & 0x7F) != 0 || (r[1] & 0x7F) != 0;
  ReadDszMovement(r, run.step);
  if (run.settings.AsOtherProgramsDo) {
    bool jumpMode = run.KsmRead;
    const RecordRole role = KsmRole(r, jumpMode);
    run.KsmRead = jumpMode;
    if (role == RecordRole::NeedleOrStop && ChangesColourHere(run, KsmRole, jumpMode)) {
      run.step.StepKind = KindColour;
      run.NextColour();
      return Decoded::Step;
    }
    if (code != 0 && !moves) return Decoded::NoStep;
    if (jumpMode) run.step.StepKind = KindJump;
    return Decoded::Step;
  }
  const bool colour = IsColourCode(code);
  if (code != 0) {
    run.KsmRead = code != kJumpsOffCode;
    // Markers carry nothing: the cycle is counted, but no step comes of it.
    if (!colour && !moves) return Decoded::NoStep;
  }
  if (run.KsmRead) {
    run.step.StepKind = KindJump;
    if (colour) {
      run.step.StepKind = KindColour;
      run.NextColour();
    }
  }
  return Decoded::Step;
}

}  // namespace

const Codec kKsmCodec = {
    .code = kCodeKsm,
    .fileEnd = "KSM",
    .extension = ".KSM",
    .family = "Pfaff",
    .decode = DecodeKsm,
    .encode = EncodeKsm,
    .writeEnd = EndKsm,
    .textHeader = true,
    .openingRecord = std::string_view("\x00\x00\x87", 3),
    .opening = Opening::BehindHead,
};

}  // namespace tavlin
