// Elna EMD: two signed bytes a step behind a 50-byte head, with control pairs that
// start with 0x80. The thread colours stand in a text file beside it, named like the
// design with the file end "COL".
#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "conversion/formats/design_threads.h"
#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "platform/files.h"

namespace tavlin {

namespace {

constexpr uint8_t kEmdControl = 0x80;
constexpr uint8_t kEmdColour = 0x2A;
constexpr uint8_t kEmdFirstJump = 0x7D;  // the jump mark that closes the head
constexpr uint8_t kEmdJump = 0x80;
constexpr uint8_t kEmdEnd = 0xFD;
constexpr int64_t kEmdStream = 48;       // the head's last pair is the stream's first

int16_t SignedByte(uint8_t byte) { return static_cast<int16_t>(static_cast<int8_t>(byte)); }

void OpenEmd(ConversionRun& run) { run.source.Seek(kEmdStream); }

Decoded DecodeEmd(ConversionRun& run) {
  uint8_t pair[2];
  for (;;) {
    if (!run.ReadRecord(pair, 2)) return Decoded::End;
    if (pair[0] != kEmdControl) break;
    switch (pair[1]) {
      case kEmdColour:
        // A change where the needle stands; the pair behind it is a record of its own.
        run.NextColour();
        run.step.StepKind = KindColour;
        return Decoded::Step;
      case kEmdFirstJump:
      case kEmdJump: run.step.StepKind = KindJump; break;
      case kEmdEnd: return Decoded::End;
      default: break;  // a control this system doesn't know: passed over
    }
  }
  run.step.StepX = SignedByte(pair[0]);
  run.step.StepY = SignedByte(pair[1]);
  return Decoded::Step;
}

void WriteControl(ConversionRun& run, uint8_t code) {
  const uint8_t control[2] = {kEmdControl, code};
  run.WriteBytes(control, 2);
}

void WriteStep(ConversionRun& run) {
  const uint8_t pair[2] = {static_cast<uint8_t>(run.step.StepX & 0xFF),
                           static_cast<uint8_t>(run.step.StepY & 0xFF)};
  run.WriteBytes(pair, 2);
}

// The head up to its closing jump mark; the sizes and counts are filled in at the end.
void WriteEmdHead(ConversionRun& run) {
  std::string head(kEmdStream + 2, '\0');
  head.replace(0, 5, "JEMD0");
  head[kEmdStream] = static_cast<char>(kEmdControl);
  head[kEmdStream + 1] = static_cast<char>(kEmdFirstJump);
  // The class's jump mark takes the next pair for its movement. A source with a thread
  // table in its head (VST, QEP) gives a step of no movement first, so that its first
  // record keeps its kind.
  if (run.Source->threadTable.Present() && !run.settings.AsOtherProgramsDo) {
    run.step = StitchStep{};
    run.FirstStepReady = true;
  }
  run.WriteBytes(head);
}

// Nothing is written behind the head's jump mark yet.
bool AtTheMark(const ConversionRun& run) { return run.dest.Length() == kEmdStream + 2; }

// The class writes a colour change ahead of the step's own pair, which a reader takes
// for a stitch behind the change, and a needle, a trim or any other kind as a plain
// step. The library keeps what the design is: the movement of a change goes ahead of it
// as a jump, a needle is a change, a trim moves as a jump. Its head's mark is followed
// by a control, as other programs write it: their readers pass over the mark, and a
// pair of no movement behind it would be a stitch far from the design. A design that
// opens with a stitch gets a jump of no movement ahead of it.
void EncodeEmd(ConversionRun& run) {
  const int16_t kind = run.step.StepKind;
  if (run.settings.AsOtherProgramsDo) {
    if (ChangesColourKind(kind)) {
      if (run.step.StepX != 0 || run.step.StepY != 0) {
        WriteControl(run, kEmdJump);
        WriteStep(run);
      }
      WriteControl(run, kEmdColour);
      return;
    }
    if (kind == KindJump || kind == KindTrim) {
      WriteControl(run, kEmdJump);
    } else if (AtTheMark(run)) {
      WriteControl(run, kEmdJump);
      WriteRepeated(run, 0, 2);
    }
  } else if (kind == KindJump) {
    WriteControl(run, kEmdJump);
  } else if (kind == KindColour) {
    WriteControl(run, kEmdColour);
  }
  WriteStep(run);
}

std::string UpperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// "count", then "i,r,g,b" for each colour, each line ended by CR LF.
void WriteColFile(ConversionRun& run) {
  const std::string& dest = run.ResolvedDest;
  // A run without a destination path (one that only measures) has nothing beside it.
  if (dest.empty()) return;
  const std::string path = dest.substr(0, dest.size() - std::min<size_t>(dest.size(), 3)) + "COL";
  // A design named with the end "COL" itself would be written over by its colours.
  if (UpperCase(path) == UpperCase(dest)) return;
  std::string text = std::to_string(run.ColourIndex) + "\r\n";
  int colour = 0;
  for (const ThreadColour& thread : ColoursOfTheDesign(run)) {
    text += std::to_string(++colour) + "," + std::to_string(thread.red) + "," +
            std::to_string(thread.green) + "," + std::to_string(thread.blue) + "\r\n";
  }
  PlatformState& platform = run.settings.platform;
  DeleteFile(platform, path);
  BufferedFile col(OpenFile(platform, path));
  col.Write(text);
  col.Close();
}

void EndEmd(ConversionRun& run) {
  WriteControl(run, kEmdEnd);
  std::string sizes;
  sizes += IntToBytes2(std::abs(run.MinPosX) + std::abs(run.MaxPosX));
  sizes += IntToBytes2(std::abs(run.MinPosY) + std::abs(run.MaxPosY));
  sizes += static_cast<char>(run.ColourIndex & 0xFF);
  sizes += '\0';
  sizes += IntToBytes4(run.StitchCount);
  run.dest.Seek(10);
  run.WriteBytes(sizes);
  run.dest.Seek(28);
  run.WriteBytes(std::string_view("\xE8\xFF", 2));
  WriteColFile(run);
}

}  // namespace

const Codec kEmdCodec = {
    .code = kCodeEmd,
    .fileEnd = "EMD",
    .extension = ".EMD",
    .family = "Elna",
    .decode = DecodeEmd,
    .encode = EncodeEmd,
    .openSource = OpenEmd,
    .writeHead = WriteEmdHead,
    .writeEnd = EndEmd,
    .threadSource = ThreadSource::EmdColFile,
    .writesTrims = true,
};

}  // namespace tavlin
