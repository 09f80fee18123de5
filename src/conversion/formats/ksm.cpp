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
// pair 0x1B, 0x1C with no movement. The library reads them so; the class keeps the
// reading that turns jump mode on at every code but 0x19 and counts colours only for
// 0x0B to 0x12, as the programs written against it expect.
constexpr int kOtherJumpsOff = 0x18;
constexpr int kOtherColourOpens = 0x1B;
constexpr int kOtherColourCloses = 0x1C;


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
  const bool otherWriters = run.settings.ReadsOtherWriters;
  const int code = r[2] & 0x1F;
  const int magnitudeY = r[0] & 0x7F;
  const int magnitudeX = r[1] & 0x7F;
  const bool moves = magnitudeX != 0 || magnitudeY != 0;
  const bool closesPair = otherWriters && code == kOtherColourCloses && run.KsmPairOpened;
  run.KsmPairOpened = otherWriters && code == kOtherColourOpens;
  const bool colour = (code >= kFirstColourCode && code <= kLastColourCode) || closesPair;
  if (code != 0) {
    run.KsmRead = !(code == kJumpsOffCode || (otherWriters && code == kOtherJumpsOff));
    // Markers carry nothing: the cycle is counted, but no step comes of it.
    if (!colour && !moves) return Decoded::NoStep;
  }
  ReadDszMovement(r, run.step);
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
