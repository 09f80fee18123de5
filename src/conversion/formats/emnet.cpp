// Emnet: files without an extension, a text head of 358 bytes, then two-byte records
// whose bytes hold twice the magnitude with the sign in the lowest bit, Y first. Control
// pairs 0xFF n name the kind of a step that follows them; 0xFF 0x18 ends the design.
#include <cstdlib>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

constexpr int64_t kEmnetHeadBytes = 358;
constexpr uint8_t kEmnetControl = 0xFF;
constexpr uint8_t kEmnetJump = 0x01;
constexpr uint8_t kEmnetNeedle = 0x08;  // the needle code that is told apart from a change
constexpr uint8_t kEmnetFirstColour = 0x09;
constexpr uint8_t kEmnetLastColour = 0x0D;
constexpr uint8_t kEmnetEnd = 0x18;

uint8_t EncodedByte(int16_t value) {
  return static_cast<uint8_t>((2 * std::abs(value) + (value < 0 ? 1 : 0)) & 0xFF);
}

int16_t DecodedByte(uint8_t byte) {
  const auto magnitude = static_cast<int16_t>(byte / 2);
  return (byte & 1) != 0 ? static_cast<int16_t>(-magnitude) : magnitude;
}

// Blanks and the closing 0x01 at the start; the text goes in over them at the end.
void WriteEmnetHead(ConversionRun& run) {
  WriteRepeated(run, ' ', kEmnetHeadBytes - 1);
  run.WriteBytes(std::string_view("\x01", 1));
}

// The count as the head shows it: a leading blank where a sign would stand.
std::string CountText(int32_t count) {
  return count < 0 ? std::to_string(count) : " " + std::to_string(count);
}

// The end record, three bytes that no reader looks at, and the head's text.
void EndEmnet(ConversionRun& run) {
  run.WriteBytes(std::string_view("\xFF\x18\x00\x00\x00", 5));
  std::string text;
  for (char line = '1'; line <= '9'; ++line) text += line + std::string(14, ' ');
  text += "Hoop" + std::string(11, ' ');
  text += std::string(18, ' ');
  text += CountText(run.StitchCount);
  run.dest.Seek(0);
  run.WriteBytes(text);
  run.dest.Seek(run.dest.Length());
}

Decoded DecodeEmnet(ConversionRun& run) {
  uint8_t pair[2];
  for (;;) {
    if (!run.ReadRecord(pair, 2)) return Decoded::End;
    if (pair[0] != kEmnetControl) break;
    const uint8_t code = pair[1];
    if (code == kEmnetEnd) return Decoded::End;
    if (code == kEmnetJump) {
      run.EmnetJumps += 1;
    } else if (code == kEmnetNeedle) {
      run.EmnetNeedles += 1;
    } else if (code >= kEmnetFirstColour && code <= kEmnetLastColour) {
      run.EmnetColours += 1;
    }
  }
  run.step.StepY = DecodedByte(pair[0]);
  run.step.StepX = DecodedByte(pair[1]);
  // Codes that came together are used up one step after the other.
  if (run.EmnetJumps > 0) {
    run.EmnetJumps -= 1;
    run.step.StepKind = KindJump;
  } else if (run.EmnetColours > 0) {
    run.EmnetColours -= 1;
    run.NextColour();
    run.step.StepKind = KindColour;
  } else if (run.EmnetNeedles > 0) {
    run.EmnetNeedles -= 1;
    run.step.StepKind = KindNeedle;
    // The needle is a change of colour too: the library counts it, as DSZ's is counted,
    // unless the destination keeps needles and counts it when it reads them back. The
    // class leaves the count as it stands.
    if (run.settings.AsOtherProgramsDo && !run.Dest->keepsNeedles) run.NextColour();
  }
  return Decoded::Step;
}

void EncodeEmnet(ConversionRun& run) {
  const StitchStep& step = run.step;
  if (step.StepKind == KindJump) {
    run.WriteBytes(std::string_view("\xFF\x01", 2));
  } else if (step.StepKind == KindColour) {
    run.NeedleRotor = static_cast<int16_t>(run.NeedleRotor + 1);
    if (run.NeedleRotor > 5) run.NeedleRotor = 1;
    const uint8_t control[2] = {kEmnetControl, static_cast<uint8_t>(8 + run.NeedleRotor)};
    run.WriteBytes(control, 2);
  } else if (step.StepKind >= KindNeedle && step.StepKind <= KindNeedle + 5) {
    // 0x17 to 0x1C as 0x08 to 0x0D; the two needles beyond have no code.
    const uint8_t control[2] = {kEmnetControl, static_cast<uint8_t>(step.StepKind - 15)};
    run.WriteBytes(control, 2);
  }
  const uint8_t pair[2] = {EncodedByte(step.StepY), EncodedByte(step.StepX)};
  run.WriteBytes(pair, 2);
}

}  // namespace

// A file of the format is named with three blanks at its end.
//
// An Emnet source passes its head over, and no destination head or opening record is
// written behind it: the library reads it only into the formats of the text header that
// need no opening (KSM needs one for its jump mode), and into others by way of those.
// Tools read a file of such a format back through the first of the list: CND, whose
// machine codes, seen through QEP, keep each stitch and change.
//
// Into Emnet the library writes straight only from formats without trims: Emnet has no
// code for one, and DST draws it as jumps that Emnet keeps.
const Codec kEmnetCodec = {
    .code = kCodeEmnet,
    .fileEnd = "   ",
    .extension = ".",
    .family = "Emnet",
    .nameEnd = "   ",
    .readOnlyInto = "DST DSB DSZ QEP QCD CND 10O VST T01 T03",
    .writtenOnlyFrom = "DST KSM EXP",
    .decode = DecodeEmnet,
    .encode = EncodeEmnet,
    .writeHead = WriteEmnetHead,
    .writeEnd = EndEmnet,
};

}  // namespace tavlin
