// Janome JEF and SEW: one stream of two signed bytes a step (X, then Y up) behind two
// heads. A pair that opens with 0x80 is a control pair: 0x01 a colour change and 0x02 a
// jump, each followed by the pair of its step, and 0x10 the end.
//
// JEF's head says where the stream begins, the hoop, the counts, the extents and two
// colour tables; SEW's is a fixed block of 7544 bytes of colours, counts per colour and
// four 1-bit pictures. Both writers need the design's size before the first stitch, and
// take it, with the colours, from the head of a QEP or VST source.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "conversion/thread_colours.h"
#include "pictures/canvas.h"
#include "pictures/sew_pictures.h"
#include "platform/drives.h"
#include "platform/run_time_error.h"

namespace tavlin {

// What the JEF and SEW writers keep over a pass, made by their heads.
struct JanomeWriter {
  std::string palette;      // a JEF palette key a thread of the source, in order
  bool headWritten = false; // the pass start wrote this format's head

  // JEF: where the stream begins (116 and 8 bytes a colour the head has room for), and
  // the jumps held back until something else comes: a design's last jumps are dropped.
  int64_t dataStart = 0;
  int32_t headColours = 0;
  std::string heldJumps;
  int32_t heldCount = 0;      // what the held jumps add to the stitch count
  int64_t spilledFrom = -1;   // where held jumps went to the file once too many to hold

  // SEW: the picture's scale, the canvas it is drawn on, and the pictures.
  double scale = 0;
  Canvas canvas;
  SewPictures pictures;
};

namespace {

constexpr uint8_t kControl = 0x80;
constexpr uint8_t kColourCode = 0x01;
constexpr uint8_t kJumpCode = 0x02;
constexpr uint8_t kEndCode = 0x10;
constexpr auto kColourPair = std::string_view("\x80\x01", 2);
constexpr auto kJumpPair = std::string_view("\x80\x02", 2);
constexpr auto kEndPair = std::string_view("\x80\x10", 2);
constexpr auto kNoMove = std::string_view("\x00\x00", 2);
constexpr auto kOpeningJump = std::string_view("\x80\x02\x00\x00", 4);

constexpr int kJefTables = 116;            // where the colour tables begin
constexpr int kSewHead = 7544;
constexpr int kSewColours = SewPictures::kColours;
// Held-back jumps beyond this go to the file, so that memory stays flat.
constexpr size_t kHeldJumpBytes = 64 * 1024;

int16_t Signed(uint8_t byte) { return static_cast<int8_t>(byte); }
uint8_t Low(int value) { return static_cast<uint8_t>(value & 0xFF); }

// A writer whose pass start wrote no head of its own (a wrapped, Emnet or CND source)
// still gets its state.
JanomeWriter& MakeWriter(ConversionRun& run) {
  run.Janome = std::make_shared<JanomeWriter>();
  return *run.Janome;
}

inline JanomeWriter& WriterOf(ConversionRun& run) {
  return run.Janome ? *run.Janome : MakeWriter(run);
}

// ColourCounts' slot, or the subscript failure beyond it.
int32_t& CountOf(ConversionRun& run, int colour) {
  if (colour < 0 || colour >= static_cast<int>(run.ColourCounts.size())) {
    throw RunTimeError(kSubscriptOutOfRange);
  }
  return run.ColourCounts[static_cast<size_t>(colour)];
}

// The palette key of colour i (from 1). A source that names fewer threads than the
// stream has colours gets the palette's keys in order for the rest, as the thread-colour
// writer does for a source without colours.
uint8_t PaletteKey(const JanomeWriter& writer, int colour) {
  const size_t at = static_cast<size_t>(colour - 1);
  if (at < writer.palette.size()) return ByteAt(writer.palette, at);
  return static_cast<uint8_t>((colour - 1) % 78 + 1);
}

// The palette bytes and the design's size from the source's head; the source is left
// where its stitch data begins, or where it stood for a source whose head gives none.
DesignSize ScanSource(ConversionRun& run, JanomeWriter& writer) {
  const int64_t at = run.source.Position();
  writer.palette = ChooseThreadPalette(run.SourceType, run.DestType, run.source);
  run.source.Seek(at);
  return ScanDesignSize(run.source, run.SourceType);
}

// The class writes a colour change of a QEP source, whose record holds the place of the
// change, as a stitch there and a change of no movement. The library writes it as any
// other, the change carrying its movement, so that no stitch is added to the design.
bool StitchesQepColourMove(const ConversionRun& run) {
  return run.Source == &kQepCodec && !run.settings.AsOtherProgramsDo;
}

void WritePair(ConversionRun& run, const StitchStep& step) {
  const uint8_t pair[2] = {Low(step.StepX), Low(step.StepY)};
  run.WriteBytes(pair, 2);
}

// ---- Reading --------------------------------------------------------------------

// One step of the stream; a control pair cut off before its step ends the design.
Decoded DecodeStream(ConversionRun& run) {
  uint8_t pair[2];
  if (!run.ReadRecord(pair, 2)) return Decoded::End;
  StitchStep& step = run.step;
  if (pair[0] == kControl) {
    if (pair[1] == kEndCode) return Decoded::End;
    if (pair[1] == kColourCode || pair[1] == kJumpCode) {
      const uint8_t code = pair[1];
      if (!run.ReadRecord(pair, 2)) return Decoded::End;
      if (code == kColourCode) {
        run.NextColour();
        step.StepKind = KindColour;
      } else {
        step.StepKind = KindJump;
      }
    } else {
      // 0x80 and any other byte: a step of the two bytes read unsigned.
      step.StepX = pair[0];
      step.StepY = pair[1];
      return Decoded::Step;
    }
  }
  step.StepX = Signed(pair[0]);
  step.StepY = Signed(pair[1]);
  return Decoded::Step;
}

// The offset of the stream is the head's first two bytes, signed; nothing else of the
// head is read. A negative offset reads as an empty design.
void OpenJef(ConversionRun& run) {
  uint8_t offset[2] = {0, 0};
  run.source.Seek(0);
  const size_t got = run.source.Read(offset, 2);
  const int16_t start = got == 2 ? static_cast<int16_t>(offset[0] | (offset[1] << 8)) : 0;
  run.source.Seek(start >= 0 ? start : run.source.Length());
}

void OpenSew(ConversionRun& run) {
  run.source.Seek(kSewHead);
  run.SewStartRead = false;
}

// The SEW needle starts at a fixed place, which the head's opening jump leaves: the
// first step read has that place taken back off.
Decoded DecodeSew(ConversionRun& run) {
  const Decoded decoded = DecodeStream(run);
  if (decoded == Decoded::Step && !run.SewStartRead) {
    run.SewStartRead = true;
    run.step.StepX = static_cast<int16_t>(run.step.StepX - 170);
    run.step.StepY = static_cast<int16_t>(run.step.StepY + 97);
  }
  return decoded;
}

// ---- JEF writing ----------------------------------------------------------------

void WriteJefHead(ConversionRun& run) {
  JanomeWriter& writer = MakeWriter(run);
  const DesignSize size = ScanSource(run, writer);
  const int width = size.DesignWidth, height = size.DesignHeight;
  if (width > 2000 || height > 2000 || (width > 1400 && height > 1400)) {
    throw RunTimeError(kResultHoopTooSmall);
  }
  const int widest = std::max({size.PlusX, size.MinusX, size.PlusY, size.MinusY});
  uint8_t hoop = 2;
  if (width < 500 && height < 500 && widest <= 250) {
    hoop = 1;
  } else if ((width > 500 || height > 500) && width < 1100 && height < 1100 && widest <= 550) {
    hoop = 0;
  }
  if (width > 1400) run.TurnDesign = true;

  // Room for the colour tables of as many colours as the source's head names; the end
  // of the run makes more if the stream brings more.
  writer.headColours = std::max<int>(size.DesignColours, 0);
  writer.dataStart = kJefTables + 8 * int64_t{writer.headColours};
  std::string head(static_cast<size_t>(writer.dataStart), '\0');
  head.replace(0, 2, IntToBytes2(static_cast<double>(writer.dataStart)));
  head[4] = 0x0A;
  head.replace(8, 14, "20020207223337");
  head[32] = static_cast<char>(hoop);
  head.replace(52, 32, std::string(32, '\xFF'));
  const std::string_view block("\x2F\x01\x00\x00\xA8\x02\x00\x00\x67\x00\x00\x00\xE0\x01\x00\x00", 16);
  head.replace(84, 16, block);
  head.replace(100, 16, block);
  run.WriteBytes(head);
  run.WriteBytes(kOpeningJump);
  writer.headWritten = true;
}

// A jump waits until a step of another kind comes; past kHeldJumpBytes the waiting
// jumps go to the file, and the end of the stream writes over them if nothing came.
void HoldJump(ConversionRun& run, JanomeWriter& writer) {
  const uint8_t jump[4] = {kControl, kJumpCode, Low(run.step.StepX), Low(run.step.StepY)};
  if (writer.spilledFrom < 0 && writer.heldJumps.size() + 4 > kHeldJumpBytes) {
    writer.spilledFrom = run.dest.Position();
    run.WriteBytes(writer.heldJumps);
    writer.heldJumps.clear();
  }
  if (writer.spilledFrom >= 0) {
    run.WriteBytes(jump, 4);
  } else {
    writer.heldJumps.append(reinterpret_cast<const char*>(jump), 4);
  }
}

void ReleaseJumps(ConversionRun& run, JanomeWriter& writer) {
  run.StitchCount += writer.heldCount;
  run.WriteBytes(writer.heldJumps);
  writer.heldJumps.clear();
  writer.heldCount = 0;
  writer.spilledFrom = -1;
}

void EncodeJef(ConversionRun& run) {
  JanomeWriter& writer = WriterOf(run);
  const StitchStep& step = run.step;
  if (step.StepKind == KindJump) {
    writer.heldCount += 2;
    run.StitchCount -= 1;
    HoldJump(run, writer);
    return;
  }
  if (writer.heldCount != 0) ReleaseJumps(run, writer);
  if (step.StepKind == KindColour) {
    run.StitchCount += 1;
    if (StitchesQepColourMove(run)) {
      run.StitchCount += 1;
      WritePair(run, step);
      run.WriteBytes(kColourPair);
      run.WriteBytes(kNoMove);
      return;
    }
    run.WriteBytes(kColourPair);
    run.PendingStop = false;
  }
  // JEF has no trim: the trim's own step is dropped.
  if (run.TrimPending) {
    run.TrimPending = false;
    run.StitchCount -= 1;
    return;
  }
  WritePair(run, step);
}

// Moves everything from `from` to the end of the destination `by` bytes on, a window
// at a time from the end, and zeroes the gap.
void MakeRoom(ConversionRun& run, int64_t from, int64_t by) {
  std::vector<uint8_t> window(64 * 1024);
  for (int64_t end = run.dest.Length(); end > from;) {
    const auto n = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(window.size()), end - from));
    const int64_t at = end - static_cast<int64_t>(n);
    run.dest.Seek(at);
    run.dest.Read(window.data(), n);
    run.dest.Seek(at + by);
    run.dest.Write(window.data(), n);
    end = at;
  }
  run.dest.Seek(from);
  WriteRepeated(run, 0, static_cast<size_t>(by));
}

void EndJef(ConversionRun& run) {
  JanomeWriter& writer = WriterOf(run);
  // Jumps still held are dropped; spilled ones are written over and zeroed.
  if (writer.spilledFrom >= 0) {
    const int64_t end = run.dest.Position();
    run.dest.Seek(writer.spilledFrom);
    run.WriteBytes(kEndPair);
    WriteRepeated(run, 0, static_cast<size_t>(end - writer.spilledFrom - 2));
  } else {
    run.WriteBytes(kEndPair);
  }
  writer.heldJumps.clear();
  // A pass start that wrote spaces in place of the head (a wrapped, Emnet or CND
  // source) leaves no head to fill.
  if (!writer.headWritten) return;

  const int colours = run.ColourIndex;
  if (colours > writer.headColours) {
    // A source whose head gave fewer colours (none, for a format without sizes): the
    // stream moves on so that the tables never fall on its first steps.
    const int64_t more = 8 * int64_t{colours - writer.headColours};
    MakeRoom(run, writer.dataStart, more);
    writer.dataStart += more;
    run.dest.Seek(0);
    run.WriteBytes(IntToBytes2(static_cast<double>(writer.dataStart)));
  }
  run.dest.Seek(24);
  const uint8_t colourCount[2] = {Low(colours), 0};
  run.WriteBytes(colourCount, 2);
  run.dest.Seek(28);
  run.WriteBytes(IntToBytes4(static_cast<double>(run.StitchCount) + 2));
  const std::string zero(2, '\0');
  run.dest.Seek(36);
  run.WriteBytes(IntToBytes2(std::fabs(run.MinPosX)) + zero + IntToBytes2(std::fabs(run.MinPosY)) +
                 zero + IntToBytes2(std::fabs(run.MaxPosX)) + zero +
                 IntToBytes2(std::fabs(run.MaxPosY)));
  std::string tables;
  for (int colour = 1; colour <= colours; ++colour) {
    tables += static_cast<char>(PaletteKey(writer, colour));
    tables += std::string(3, '\0');
  }
  for (int colour = 1; colour <= colours; ++colour) tables += std::string_view("\x0D\x00\x00\x00", 4);
  run.dest.Seek(kJefTables);
  run.WriteBytes(tables);
}

// The hoop the head names, by the sizes its codes are chosen for.
HeadFacts DescribeJef(BufferedFile& file) {
  HeadFacts facts;
  uint8_t hoop = 0;
  file.Seek(32);
  if (file.Read(&hoop, 1) != 1) return facts;
  switch (hoop) {
    case 0: facts.hoop = "110x110"; break;
    case 1: facts.hoop = "50x50"; break;
    case 2: facts.hoop = "140x200"; break;
    default: facts.hoop = "code " + std::to_string(hoop); break;
  }
  return facts;
}

// ---- SEW writing ----------------------------------------------------------------

[[noreturn]] void ThrowOverflow() { throw RunTimeError(kOverflow); }

// A needle position on the picture, the scaled position without its fraction; beyond a
// 16-bit number it is an overflow.
inline int PixelOf(double position, double scale, int origin) {
  const double scaled = position * scale;
  if (!(scaled > -65536.0 && scaled < 65536.0)) ThrowOverflow();
  const int pixel = static_cast<int>(scaled) + origin;  // the cast drops the fraction
  if (pixel < INT16_MIN || pixel > INT16_MAX) ThrowOverflow();
  return pixel;
}

void WriteSewHead(ConversionRun& run) {
  JanomeWriter& writer = MakeWriter(run);
  const DesignSize size = ScanSource(run, writer);
  const int width = size.DesignWidth, height = size.DesignHeight;
  if (width > 1250 || height > 1250 || (width > 900 && height > 900)) {
    throw RunTimeError(kResultHoopTooSmall);
  }
  const bool turned = height > 900;
  if (turned) run.TurnDesign = true;

  // The fixed start of the needle, which the QEP reader takes as its previous position
  // and a VST reader adds to its first step. Turned, it is given before the turn, and
  // the class also starts the needle's position there, which moves the picture; the
  // library starts it where the turned start lies, so that the picture shows the design.
  run.PosX = turned ? 97 : -170;
  run.PosY = turned ? -170 : -97;
  run.QepPrevX = static_cast<int32_t>(run.PosX);
  run.QepPrevY = static_cast<int32_t>(run.PosY);
  run.SewStartPending = true;
  run.SewStartX = static_cast<int16_t>(turned ? -97 : 170);
  run.SewStartY = static_cast<int16_t>(turned ? -170 : -97);
  if (turned && run.settings.AsOtherProgramsDo) {
    run.PosX = -170;
    run.PosY = -97;
  }

  // The design fills the 128 x 90 picture on its longer side. A source without sizes
  // fails here as a division by zero; the library draws a design of no size (an empty
  // one) at the scale 1.
  const bool byHeight = 90.0 / 128.0 * width < height;
  const int across = byHeight ? height : width;
  if (across != 0) {
    writer.scale = (byHeight ? 90.0 : 128.0) / across;
  } else if (run.settings.AsOtherProgramsDo && run.Source->scanSize != nullptr) {
    writer.scale = 1;
  } else {
    throw RunTimeError(kDivisionByZero);
  }
  StartSewDrawing(writer.canvas);
  WriteRepeated(run, 0, kSewHead);
  run.WriteBytes(kOpeningJump);
  writer.headWritten = true;
}

// Shrinks the drawing into the pictures; slot k + 1 is colour k's.
void StorePictures(ConversionRun& run, JanomeWriter& writer, int slot) {
  PumpMessages(run.settings.platform);
  StoreSewPictures(writer.canvas, writer.pictures, slot);
}

// A colour change: the ending colour's pictures, and the change written unless it is
// one too many; true when it has written the whole cycle.
[[gnu::noinline]] bool WriteSewChange(ConversionRun& run, JanomeWriter& writer, int pixX, int pixY) {
  StorePictures(run, writer, run.ColourIndex);
  CanvasSetPixel(writer.canvas, pixX, pixY, Ink::Black);
  if (run.PrevKind == KindColour || run.ColourIndex > kSewColours) {
    // Two changes in a row are one; a thirteenth colour is sewn as the twelfth, which
    // the library, whose designs arrive whole or not at all, refuses.
    if (run.ColourIndex > kSewColours && run.settings.AsOtherProgramsDo) {
      throw RunTimeError(kSubscriptOutOfRange);
    }
    run.ColourIndex = static_cast<int16_t>(run.ColourIndex - 1);
    return false;
  }
  run.StitchCount += 1;
  const bool stitched = StitchesQepColourMove(run);
  if (stitched) {
    WritePair(run, run.step);
    CountOf(run, run.ColourIndex) += 1;
    run.StitchCount += 1;
  }
  run.WriteBytes(kColourPair);
  CountOf(run, run.ColourIndex - 1) += 1;
  if (stitched) run.WriteBytes(kNoMove);
  return stitched;
}

void EncodeSew(ConversionRun& run) {
  JanomeWriter& writer = WriterOf(run);
  const int16_t kind = run.step.StepKind;
  const int pixX = PixelOf(run.PosX, writer.scale, kSewOriginX);
  const int pixY = PixelOf(run.PosY, writer.scale, kSewOriginY);
  Canvas& canvas = writer.canvas;
  // A line that stays on a lit pixel draws nothing new.
  if (pixX != canvas.penX || pixY != canvas.penY || !CanvasGetPixel(canvas, pixX, pixY)) {
    CanvasLineTo(canvas, pixX, pixY, Ink::White);
  }
  if (kind == KindJump) {
    run.StitchCount += 1;
    // A run of jumps opens with a jump of no movement.
    if (run.PrevKind != KindJump) {
      run.WriteBytes(kOpeningJump);
      run.StitchCount += 2;
      CountOf(run, run.ColourIndex) += 2;
    }
    run.WriteBytes(kJumpPair);
    CountOf(run, run.ColourIndex) += 1;
  } else if (kind == KindColour && WriteSewChange(run, writer, pixX, pixY)) {
    return;
  }
  WritePair(run, run.step);
}

void EndSew(ConversionRun& run) {
  JanomeWriter& writer = WriterOf(run);
  run.WriteBytes(kEndPair);
  if (!writer.headWritten) return;
  const int colours = run.ColourIndex;
  // The last colour's pictures; beyond twelve colours a subscript failure.
  StorePictures(run, writer, colours + 1);

  std::string head(74, '\0');
  head[0] = static_cast<char>(Low(colours));
  for (int colour = 1; colour <= colours; ++colour) {
    head[static_cast<size_t>(2 * colour)] = static_cast<char>(PaletteKey(writer, colour));
    const int32_t count = CountOf(run, colour) + (colour == 1 ? 2 : 0);
    head.replace(static_cast<size_t>(48 + 2 * colour), 2, IntToBytes2(count));
  }
  run.dest.Seek(0);
  run.WriteBytes(head);
  const SewPictures& pictures = writer.pictures;
  auto write = [&run](const auto& buffer) {
    run.WriteBytes(buffer.data(), buffer.size());
  };
  write(pictures.medium);
  for (int slot = 0; slot < colours; ++slot) write(pictures.small[static_cast<size_t>(slot)]);
  run.dest.Seek(1084);
  for (int slot = 0; slot <= colours; ++slot) write(pictures.large[static_cast<size_t>(slot)]);
  run.dest.Seek(6102);
  write(pictures.full);
}

}  // namespace

// JEF's head needs the design's size and colours, which only a QEP or VST head gives:
// the library writes JEF from those alone and goes by way of QEP from any other. The
// class writes it from any source. One without sizes gets the hoop of the smallest
// design and is never turned; the colour tables always get their room: where the stream
// brings more colours than the source's head named, the end of the run moves the stream
// on by eight bytes a colour and says so in the head's first two bytes, so that a JEF is
// never corrupted by its own tables.
const Codec kJefCodec = {
    .code = kCodeJef,
    .fileEnd = "JEF",
    .extension = ".JEF",
    .family = "Janome",
    .writtenOnlyFrom = "QEP VST",
    .decode = DecodeStream,
    .encode = EncodeJef,
    .openSource = OpenJef,
    .writeHead = WriteJefHead,
    .writeEnd = EndJef,
    .countsQepOpening = false,
    .palette = ThreadPalette::Jef,
    .threadSource = ThreadSource::JefKeys,
    .describeHead = DescribeJef,
    .writesTrims = true,
};

// SEW's pictures are scaled by the design's size, which only a QEP or VST head gives:
// from any other source the class fails with a division by zero, and the library goes
// by way of QEP. It holds twelve colours at most.
const Codec kSewCodec = {
    .code = kCodeSew,
    .fileEnd = "SEW",
    .extension = ".SEW",
    .family = "Janome",
    .writtenOnlyFrom = "QEP VST",
    .decode = DecodeSew,
    .encode = EncodeSew,
    .openSource = OpenSew,
    .writeHead = WriteSewHead,
    .writeEnd = EndSew,
    .palette = ThreadPalette::Jef,
    .threadSource = ThreadSource::SewKeys,
};

}  // namespace tavlin
