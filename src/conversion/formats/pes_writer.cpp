// Brother PES: a container of absolute stitch blocks with a PEC block of relative
// records and small pictures behind it. The source is run three times: the first pass
// measures the design and chooses the hoop, the second writes the container and the
// PEC head, the third the PEC stream and the pictures.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/formats/pec_block.h"
#include "conversion/numbers.h"
#include "conversion/thread_colours.h"
#include "conversion/transforms.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int16_t kHoop100 = 4;  // 100 x 100 mm, "PES0001"
constexpr int16_t kHoop130 = 5;  // 130 x 180 mm, "PES0001"
constexpr int16_t kHoop160 = 6;  // 160 x 260 mm, "PES0040" with the hoop in its head

constexpr double kThumbnailSize = 30;
constexpr int kQepJump = 1;
constexpr uint8_t kVstJump = 0x1E;

// Where the CEmbOne section starts: behind the short or the long version head.
int64_t SectionsAt(const ConversionRun& run) { return run.HoopCode == kHoop160 ? 49 : 16; }

void Put2(std::string& out, double value) { out += IntToBytes2(value); }

void PutFloat(std::string& out, float value) {
  uint32_t bits = 0;
  std::memcpy(&bits, &value, 4);
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>((bits >> shift) & 0xFF);
}

int16_t RoundedShort(double value) {
  const double r = RoundHalfEven(value);
  if (!(r >= INT16_MIN && r <= INT16_MAX)) throw RunTimeError(kOverflow);
  return static_cast<int16_t>(r);
}

// Whether this pass turns the steps clockwise: always in the third, in the first two
// only where the blocks hold the design turned.
bool TurnsThisPass(const ConversionRun& run) {
  return run.DesignTurned && (!run.settings.PESAbosulteFlag || run.PesBlocksTurned);
}

// The hoops by size, 0.1 mm, as they lie: the hoop code each is written with.
struct Hoop {
  int16_t code;
  int width, height;
};
constexpr Hoop kHoops[] = {
    {kHoop100, 1000, 1000}, {kHoop130, 1300, 1800}, {kHoop160, 1600, 2600}, {kHoop160, 2000, 3000}};

// The library's hoop: the smallest that holds the design's box as it lies; only where
// none does, the smallest that holds it turned. The file places the design by the
// middle of its box, so where it starts doesn't matter. False where none holds it.
bool ChooseHoopByBox(ConversionRun& run, int width, int height) {
  for (const bool turned : {false, true}) {
    for (const Hoop& hoop : kHoops) {
      if ((turned ? height : width) <= hoop.width && (turned ? width : height) <= hoop.height) {
        run.HoopCode = hoop.code;
        run.DesignTurned = turned;
        return true;
      }
    }
  }
  return false;
}

// The first pass's head: the palette, the size from the source's head, the picture's
// scale, the hoop, and the size limit.
void ChooseHoop(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  pes = PesWriterState{};
  pes.PaletteText = ChooseThreadPalette(run.SourceType, run.DestType, run.source);
  const DesignSize size = ScanDesignSize(run.source, run.SourceType);
  pes.DesignWidth = size.DesignWidth;
  pes.DesignHeight = size.DesignHeight;
  pes.PlusX = size.PlusX;
  pes.MinusX = size.MinusX;
  pes.PlusY = size.PlusY;
  pes.MinusY = size.MinusY;
  const double width = size.DesignWidth, height = size.DesignHeight;

  // The picture's scale divides by the head's larger side: a head without sizes
  // (any source but QEP and VST) is a division by zero. The library takes one only
  // for a design of no extent, which the end of this pass checks.
  const bool sized = width != 0 || height != 0;
  if (height > width) {
    pes.Scale = kThumbnailSize / height;
    pes.ThumbOffsetX = static_cast<float>((kThumbnailSize - width * pes.Scale) / 2);
  } else {
    if (width == 0 && !(run.settings.AsOtherProgramsDo && !sized)) {
      throw RunTimeError(kDivisionByZero);
    }
    pes.Scale = width == 0 ? 0 : kThumbnailSize / width;
    pes.ThumbOffsetY = static_cast<float>((kThumbnailSize - height * pes.Scale) / 2);
  }
  pes.pictures = std::make_unique<PecPictures>();
  PreparePecCanvas(pes.pictures->canvas);

  const int16_t plusX = pes.PlusX, minusX = pes.MinusX, plusY = pes.PlusY, minusY = pes.MinusY;
  // The class sizes the hoop by twice the extents from the start as well, and turns a
  // design that doesn't start in its middle where it would fit as it lies; its 130 x
  // 180 blocks hold the design turned. The library's blocks always hold it as it is,
  // and the PES section's transform says it is turned.
  run.PesBlocksTurned = false;
  if (run.settings.AsOtherProgramsDo) {
    if (!ChooseHoopByBox(run, pes.DesignWidth, pes.DesignHeight)) {
      throw RunTimeError(kResultHoopTooSmall);
    }
    run.settings.TurnedToFit = run.DesignTurned;
  } else {
    run.HoopCode = kHoop160;
    run.DesignTurned = width / 10 > 160;
    if (height <= 1800 && width <= 1300 && plusX <= 650 && minusX <= 650 && plusY <= 900 &&
        minusY <= 900) {
      run.HoopCode = kHoop130;
      run.DesignTurned = false;
    } else if (width <= 1800 && height <= 1300 && plusX <= 900 && minusX <= 900 && plusY <= 650 &&
               minusY <= 650) {
      run.HoopCode = kHoop130;
      run.DesignTurned = true;
    }
    if (width <= 1000 && height <= 1000 && plusX <= 500 && minusX <= 500 && plusY <= 500 &&
        minusY <= 500) {
      run.HoopCode = kHoop100;
    }
    const bool fits = (width <= 2000 && height <= 3000) || (width <= 3000 && height <= 2000);
    if (!fits) throw RunTimeError(kResultHoopTooSmall);
    run.PesBlocksTurned = run.DesignTurned && run.HoopCode == kHoop130;
  }
  std::string& text = run.settings.HoopSizeText;
  switch (run.HoopCode) {
    case kHoop100: text = "100x100"; break;
    case kHoop130: text = run.DesignTurned ? "130x180" : "180x130"; break;
    default: {
      text = run.DesignTurned ? "160x260" : "260x160";
      if (run.DesignTurned ? (width > 2600 || height > 1600) : (width > 1600 || height > 2600)) {
        text = "200x300";
      }
      break;
    }
  }
  pes.HeadChosen = true;
  run.MeasuringPass = true;
}

std::string VersionHead(const ConversionRun& run) {
  std::string head = "#PES00";
  if (run.HoopCode != kHoop160) {
    head += "01";
    head.append(4, '\0');  // the PEC block's offset, at the end of the pass
    Put2(head, run.HoopCode == kHoop130 ? 1 : 0);
    Put2(head, 1);
    return head;
  }
  head += "40";
  head.append(4, '\0');
  Put2(head, 1);
  head += "01";
  head.append(7, '\0');
  Put2(head, run.DesignTurned ? 260 : 160);
  Put2(head, run.DesignTurned ? 160 : 260);
  Put2(head, run.DesignTurned ? 1 : 0);
  for (int value : {7, 19, 0, 1, 1, 25, 1}) Put2(head, value);
  head.append(6, '\0');
  return head;
}

// The CEmbOne section and the CSewSeg section's head; the box, translation, size and
// block count are filled in at the end of the pass. The transform takes a block point
// (x, y), Y down, to (a x + c y, b x + d y): the library's turned design is turned by it
// a quarter clockwise, as the PEC stream holds it.
std::string SectionHeads(bool turned) {
  std::string s;
  Put2(s, 1);
  Put2(s, 0xFFFF);
  Put2(s, 0);
  Put2(s, 7);
  s += "CEmbOne";
  s.append(16, '\0');
  const float a = turned ? 0.0f : 1.0f, b = turned ? 1.0f : 0.0f, c = turned ? -1.0f : 0.0f;
  for (float f : {a, b, c, a, 1000.0f, 1000.0f}) PutFloat(s, f);
  Put2(s, 1);
  s.append(8 + 8, '\0');  // translation, size; eight bytes of zeros
  Put2(s, 50);
  Put2(s, 0xFFFF);
  Put2(s, 0);
  Put2(s, 7);
  s += "CSewSeg";
  return s;
}

void StartStitchBlocks(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  pes.BlockCount = 0;
  pes.BlockPoints = 1;
  pes.CountPosition = 0;
  pes.BlockOfColour.fill(0);
  pes.InJumpBlock = false;
  pes.FirstBlockPending = true;
  pes.PrevPesX = pes.PrevPesY = 0;
  pes.UndoStep = false;
  pes.HaveOutput = false;
  // The third pass turns a design the second's blocks hold upright.
  pes.PassesDrawAlike = !(run.DesignTurned && !run.PesBlocksTurned);
  run.dest.Seek(0);
  run.WriteBytes(VersionHead(run) +
                 SectionHeads(run.settings.AsOtherProgramsDo && run.DesignTurned));
}

// The library's PEC stream starts where the source starts, so that a reader counts the
// design from the same place: the needle stands at the source's start, the decoders
// add no origin, and every step, the first jumps too, goes into the stream.
void StartAtTheSourcesStart(ConversionRun& run) {
  // Where the source's start lies in this pass's centred (and turned) positions.
  StitchStep origin{run.OriginX, static_cast<int16_t>(-run.OriginY), KindJump};
  std::swap(run.step, origin);
  Rotate(run);
  std::swap(run.step, origin);
  run.OriginX = run.OriginY = 0;
  run.PosX = origin.StepX;
  run.PosY = -origin.StepY;
  const PesWriterState& pes = run.Pes;
  const bool across = TurnsThisPass(run);
  StartPecStream(run, across ? pes.MeasuredHeight : pes.MeasuredWidth,
                 across ? pes.MeasuredWidth : pes.MeasuredHeight);
}

void WritePesHead(ConversionRun& run) {
  switch (run.Pass) {
    case 1: ChooseHoop(run); break;
    case 2: StartStitchBlocks(run); break;
    default: {
      // The whole design's picture starts from the middle, as each colour's did.
      if (run.Pes.pictures) CanvasSetPixel(run.Pes.pictures->canvas, 15, 15, Ink::Black);
      run.dest.Seek(run.dest.Length());
      if (run.settings.AsOtherProgramsDo) StartAtTheSourcesStart(run);
      break;
    }
  }
}

// A source whose pass start wrote no PES head (a wrapped or Emnet source) has no scale
// for its pictures: the same failure as a head without sizes.
void RequireHead(const ConversionRun& run) {
  if (!run.Pes.HeadChosen) throw RunTimeError(kDivisionByZero);
}

void WritePoint(ConversionRun& run, double x, double y) {
  uint8_t point[4];
  if (!PutBytes2(point, x) || !PutBytes2(point + 2, y)) throw RunTimeError(kOverflow);
  run.WriteBytes(point, 4);
}

void WriteBlockHead(ConversionRun& run, bool later, bool jumps) {
  const uint8_t palette = PesPaletteByte(run.Pes, run.ColourIndex);
  const uint8_t head[8] = {0x03, 0x80, static_cast<uint8_t>(jumps ? 1 : 0), 0, palette, 0, 0, 0};
  run.WriteBytes(later ? head : head + 2, later ? 8 : 6);
  run.Pes.CountPosition = run.dest.Length();
}

// The step's pixel, and the line to it from where the pen stands.
struct Pixel {
  int x = 0, y = 0;
};
// Without its fraction, by the conversion instruction rather than a library call: the
// picture's coordinate of every step of two passes goes through here.
inline double Truncated(double value) {
  if (!(value > -9.0e18 && value < 9.0e18)) return value;
  return static_cast<double>(static_cast<int64_t>(value));
}

inline int PictureCoordinate(double at, float least, double scale, float offset) {
  const double r = RoundHalfEven(Truncated((std::fabs(double{least}) + at) * scale) + double{offset});
  if (!(r >= INT16_MIN && r <= INT16_MAX)) throw RunTimeError(kOverflow);
  return static_cast<int>(r);
}

// Only the picture's corner of the canvas is ever stored. A line with an end far
// beyond it (a source whose head understates its design) is drawn only over the part
// that lies near it, so that a hostile file can't make every step a walk over
// thousands of pixels; the pen still goes to the far end.
void DrawLineNear(Canvas& canvas, int x, int y) {
  constexpr double kNearLow = -64, kNearHigh = 96;
  auto near = [](int v) { return v >= kNearLow && v <= kNearHigh; };
  if (near(canvas.penX) && near(canvas.penY) && near(x) && near(y)) {
    CanvasLineTo(canvas, x, y, Ink::White);
    return;
  }
  // Liang-Barsky: the part of the segment inside the near square, if any.
  const double x0 = canvas.penX, y0 = canvas.penY, dx = x - x0, dy = y - y0;
  double t0 = 0, t1 = 1;
  auto clip = [&t0, &t1](double p, double q) {
    if (p == 0) return q >= 0;
    const double t = q / p;
    if (p < 0) {
      if (t > t1) return false;
      if (t > t0) t0 = t;
    } else {
      if (t < t0) return false;
      if (t < t1) t1 = t;
    }
    return true;
  };
  if (clip(-dx, x0 - kNearLow) && clip(dx, kNearHigh - x0) && clip(-dy, y0 - kNearLow) &&
      clip(dy, kNearHigh - y0)) {
    canvas.penX = static_cast<int>(RoundHalfEven(x0 + t0 * dx));
    canvas.penY = static_cast<int>(RoundHalfEven(y0 + t0 * dy));
    CanvasLineTo(canvas, static_cast<int>(RoundHalfEven(x0 + t1 * dx)),
                 static_cast<int>(RoundHalfEven(y0 + t1 * dy)), Ink::White);
  }
  canvas.penX = x;
  canvas.penY = y;
}

Pixel DrawStep(ConversionRun& run) {
  const PesWriterState& pes = run.Pes;
  const Pixel pixel{PictureCoordinate(run.PosX, pes.MeasuredMinX, pes.Scale, pes.ThumbOffsetX),
                    PictureCoordinate(run.PosY, pes.MeasuredMinY, pes.Scale, pes.ThumbOffsetY)};
  Canvas& canvas = pes.pictures->canvas;
  // Most steps stay on the pixel the pen lit, or go to one beside it: a line there
  // lights its two ends, and the first is lit already.
  const int dx = pixel.x - canvas.penX, dy = pixel.y - canvas.penY;
  if (dx >= -1 && dx <= 1 && dy >= -1 && dy <= 1 && CanvasGetPixel(canvas, canvas.penX, canvas.penY)) {
    if (dx != 0 || dy != 0) CanvasSetPixel(canvas, pixel.x, pixel.y, Ink::White);
  } else {
    DrawLineNear(canvas, pixel.x, pixel.y);
  }
  return pixel;
}

int16_t Signed16(const uint8_t* bytes) { return static_cast<int16_t>(bytes[0] | (bytes[1] << 8)); }

// The look-ahead over the jumps behind the one that opened a jump block: each goes
// into the block at once, so a run of jumps stays one block, and the block ends where
// the needle lands.
void SkipQepJumps(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  for (;;) {
    const int64_t at = run.source.Position();
    uint8_t r[5];
    const bool whole = run.source.Read(r, 5) == 5;
    const int code = r[0] & 0x1F;
    // The records of no position (no meaning, opening, end, machine functions) and the
    // end of the file end the run where the last jump landed.
    if (!whole || code == 4 || code == 5 || code == 6 || code == 31) {
      run.source.Seek(at);
      run.QepPrevX = static_cast<int32_t>(run.PosX);
      run.QepPrevY = static_cast<int32_t>(run.PosY);
      return;
    }
    const int32_t x = Signed16(r + 1) + run.OriginX;
    const int32_t y = Signed16(r + 3) + run.OriginY;
    if (code != kQepJump) {
      run.source.Seek(at);
      run.PosX = x;
      run.PosY = y;
      run.QepPrevX = x;
      run.QepPrevY = y;
      return;
    }
    run.PosX = x;
    run.PosY = y;
    WritePoint(run, x, y);
    pes.BlockPoints += 1;
    pes.PassesDrawAlike = false;  // the third pass draws to this jump, the second didn't
  }
}

void SkipVstJumps(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  StitchStep& step = run.step;
  const double beforeX = run.PosX - step.StepX, beforeY = run.PosY + step.StepY;
  int32_t sumA = step.StepX, sumB = step.StepY;
  for (;;) {
    const int64_t at = run.source.Position();
    uint8_t r[3];
    if (run.source.Read(r, 3) != 3) {
      run.source.Seek(at);
      run.PosX = beforeX + sumA;
      run.PosY = beforeY - sumB;
      step.StepX = step.StepY = 0;
      pes.UndoStep = true;
      return;
    }
    const int x = static_cast<int8_t>(r[0]);
    const int y = -static_cast<int8_t>(r[1]);
    sumA += x;
    sumB += y;
    if (r[2] != kVstJump) {
      // The main loop reads this record again; the step is undone once it is written.
      run.source.Seek(at);
      run.PosX = beforeX + sumA;
      run.PosY = beforeY - sumB;
      step.StepX = static_cast<int16_t>(x);
      step.StepY = static_cast<int16_t>(y);
      pes.UndoStep = true;
      return;
    }
    WritePoint(run, beforeX + sumA, beforeY - sumB);
    pes.BlockPoints += 1;
    pes.PassesDrawAlike = false;
  }
}

void SkipJumpRun(ConversionRun& run) {
  if (run.SourceType == kCodeQep) SkipQepJumps(run);
  if (run.SourceType == kCodeVst) SkipVstJumps(run);
}

// A step of the second pass into the stitch blocks. True when the step is finished
// without a point of its own.
bool EncodePesStep(ConversionRun& run, const Pixel& pixel) {
  PesWriterState& pes = run.Pes;
  StitchStep& step = run.step;
  if (step.StepKind == KindStitch && !run.PendingStop && !pes.FirstBlockPending &&
      !pes.InJumpBlock && !pes.UndoStep) {
    // The common step, a stitch in an open stitch block: only its point.
    if (!PutBytes2(pes.PesOutput.data(), run.PosX) || !PutBytes2(pes.PesOutput.data() + 2, run.PosY)) {
      throw RunTimeError(kOverflow);
    }
    pes.PrevPesX = run.PosX;
    pes.PrevPesY = run.PosY;
    return false;
  }
  if (run.PendingStop) {
    // A stop repeats the last point and changes colour; a VST stop's colour is a
    // thread of its own.
    if (pes.HaveOutput) {
      run.WriteBytes(pes.PesOutput.data(), 4);
      pes.BlockPoints += 1;
    }
    run.PendingStop = false;
    if (run.SourceType == kCodeVst) {
      const size_t at = std::min(pes.PaletteText.size(),
                                 static_cast<size_t>(std::max(run.ColourIndex - 1, 0)));
      pes.PaletteText.insert(at, 1, '\x01');
    }
    step.StepKind = KindColour;
  }
  if (step.StepKind == KindColour) {
    if (run.ColourIndex < 0 || run.ColourIndex >= static_cast<int>(pes.BlockOfColour.size())) {
      throw RunTimeError(kSubscriptOutOfRange);
    }
    pes.BlockOfColour[static_cast<size_t>(run.ColourIndex)] = static_cast<int16_t>(pes.BlockCount + 1);
    StorePecThumbnail(run, run.ColourIndex - 1);
    // The next colour's lines start where the needle is.
    CanvasSetPixel(pes.pictures->canvas, pixel.x, pixel.y, Ink::Black);
  }
  if (pes.FirstBlockPending) {
    pes.InJumpBlock = step.StepKind == KindJump;
    WriteBlockHead(run, false, pes.InJumpBlock);
    pes.BlockPoints = 1;
    pes.FirstBlockPending = false;
  }
  // Kinds other than a jump and a colour change are sewn as stitches.
  if (step.StepKind != KindJump && step.StepKind != KindColour) step.StepKind = KindStitch;
  const int16_t kind = step.StepKind;
  if (kind == KindColour && run.PrevKind == KindColour) {
    // Two colour changes in a row are one.
    run.ColourIndex = static_cast<int16_t>(run.ColourIndex - 1);
    return true;
  }
  const bool staysInBlock =
      (kind == KindStitch && !pes.InJumpBlock) || (kind == KindJump && pes.InJumpBlock);
  if (!staysInBlock) {
    if (pes.BlockCount == INT16_MAX) throw RunTimeError(kOverflow);
    pes.BlockCount = static_cast<int16_t>(pes.BlockCount + 1);
    run.dest.Seek(pes.CountPosition - 2);
    run.WriteBytes(IntToBytes2(pes.BlockPoints - 1));
    pes.BlockPoints = 1;
    run.dest.Seek(run.dest.Length());
    WriteBlockHead(run, true, kind == KindJump);
    if (kind == KindJump) {
      WritePoint(run, pes.PrevPesX, pes.PrevPesY);
      WritePoint(run, run.PosX, run.PosY);
      pes.BlockPoints += 2;
      // Absolute points can be read ahead only where the blocks are not turned; a
      // long jump's first half leaves its second half to come.
      if (!run.PesBlocksTurned && !run.Splitting) SkipJumpRun(run);
      pes.InJumpBlock = true;
    }
  }
  if (kind == KindStitch || kind == KindColour) pes.InJumpBlock = false;
  if (!PutBytes2(pes.PesOutput.data(), run.PosX) || !PutBytes2(pes.PesOutput.data() + 2, run.PosY)) {
    throw RunTimeError(kOverflow);
  }
  if (pes.UndoStep) {
    pes.UndoStep = false;
    run.PosX -= step.StepX;
    run.PosY += step.StepY;
  }
  pes.PrevPesX = run.PosX;
  pes.PrevPesY = run.PosY;
  return false;
}

void EncodePes(ConversionRun& run) {
  if (run.Pass == 1) return;  // the first pass only measures
  RequireHead(run);
  // The class writes both halves of a long step in the step's own kind: a long stitch
  // gains a needle in its middle, a long colour change becomes two. The library moves
  // the first half as a jump, as every other format moves the pieces before the last.
  if (run.settings.AsOtherProgramsDo && run.Splitting) run.step.StepKind = KindJump;
  if (run.Pass == 3 && run.Pes.PassesDrawAlike) {
    EncodePecStep(run);
    return;
  }
  const Pixel pixel = DrawStep(run);
  if (run.Pass == 2) {
    if (EncodePesStep(run, pixel)) return;
    run.WriteBytes(run.Pes.PesOutput.data(), 4);
    run.Pes.BlockPoints += 1;
    run.Pes.HaveOutput = true;
  } else {
    EncodePecStep(run);
  }
}

// The end of the first pass: the origin that centres the later passes' points on the
// middle of the measured extent.
void EndMeasuring(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  if (run.settings.AsOtherProgramsDo && pes.HeadChosen && pes.Scale == 0 &&
      (run.MaxPosX != run.MinPosX || run.MaxPosY != run.MinPosY)) {
    // The library took a head without sizes for an empty design only.
    throw RunTimeError(kDivisionByZero);
  }
  pes.MeasuredWidth = run.MaxPosX - run.MinPosX;
  pes.MeasuredHeight = run.MaxPosY - run.MinPosY;
  auto centre = [](double a, double b) { return (std::fabs(a) + std::fabs(b)) / 2 - b; };
  auto rounded = [](double v) { return RoundedShort(v + 0.1); };
  if (!TurnsThisPass(run)) {
    run.OriginX = rounded(centre(run.MinPosX, run.MaxPosX));
    run.OriginY = rounded(centre(run.MinPosY, run.MaxPosY));
  } else {
    run.OriginY = static_cast<int16_t>(-rounded(centre(run.MinPosX, run.MaxPosX)));
    run.OriginX = rounded(centre(run.MinPosY, run.MaxPosY));
  }
  // The pictures place the centred points from the first pass's least extent: the
  // class takes it as measured, which leaves a design that doesn't start in its middle
  // off the picture; the library takes it centred as the points are.
  const bool centred = run.settings.AsOtherProgramsDo;
  pes.MeasuredMinX = static_cast<float>(run.MinPosX + (centred && !TurnsThisPass(run) ? run.OriginX : 0));
  pes.MeasuredMinY = static_cast<float>(run.MinPosY + (centred && !TurnsThisPass(run) ? run.OriginY : 0));
  if (centred && TurnsThisPass(run)) {
    pes.MeasuredMinX = static_cast<float>(run.MinPosX - run.OriginY);
    pes.MeasuredMinY = static_cast<float>(run.MinPosY + run.OriginX);
  }
  run.MeasuringPass = false;
}

// The end of the second pass: the last colour's picture, the colour log, the PEC
// block's offset, the box, block count, translation and size, the last block's count,
// and the PEC head.
void WritePecHead(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  StorePecThumbnail(run, run.ColourIndex);
  run.dest.Seek(run.dest.Length());
  if (pes.FirstBlockPending) {
    // A design without a step still has its one block, of no points.
    WriteBlockHead(run, false, false);
    pes.BlockPoints = 1;
    pes.FirstBlockPending = false;
  }
  pes.ColourCount = run.ColourIndex;
  const int colours = pes.ColourCount;

  std::string log;
  Put2(log, colours & 0xFF);
  Put2(log, 0);
  for (int colour = 1; colour < colours; ++colour) {
    Put2(log, PesPaletteByte(pes, colour));
    Put2(log, pes.BlockOfColour[static_cast<size_t>(colour + 1)]);
  }
  Put2(log, PesPaletteByte(pes, colours));
  Put2(log, 0);
  log.append(7, '\0');  // the last of them is the PEC block's first byte
  run.WriteBytes(log);
  pes.PecAt = run.dest.Length() - 1;
  run.dest.Seek(8);
  run.WriteBytes(IntToBytes4(static_cast<double>(pes.PecAt)));

  const int64_t sections = SectionsAt(run);
  std::string box;
  for (double v : {run.MinPosX, -run.MaxPosY, run.MaxPosX, -run.MinPosY}) Put2(box, v + 1000);
  run.dest.Seek(sections + 15);
  run.WriteBytes(box + box);
  run.dest.Seek(sections + 73);
  run.WriteBytes(IntToBytes2(pes.BlockCount + 1));

  const double width = std::fabs(run.MinPosX) + std::fabs(run.MaxPosX);
  const double height = std::fabs(run.MinPosY) + std::fabs(run.MaxPosY);
  double translation = 65536 - width / 2;
  // A design of no width has a translation of 65536, which the class can't write; the
  // library writes its 16 bits.
  if (run.settings.AsOtherProgramsDo && translation >= 65536) translation -= 65536;
  std::string placed;
  Put2(placed, translation);
  Put2(placed, height / 2);
  Put2(placed, width);
  Put2(placed, height);
  run.dest.Seek(sections + 57);
  run.WriteBytes(placed);
  run.dest.Seek(pes.CountPosition - 2);
  run.WriteBytes(IntToBytes2(pes.BlockPoints - 1));

  WritePecBlockHead(run);
  run.settings.PESAbosulteFlag = false;
}

void EndPes(ConversionRun& run) {
  switch (run.Pass) {
    case 1: EndMeasuring(run); break;
    case 2: {
      RequireHead(run);
      WritePecHead(run);
      break;
    }
    default: {
      RequireHead(run);
      if (run.Pes.PassesDrawAlike) {
        PumpMessages(run.settings.platform);
        ComposePecPicture(*run.Pes.pictures, 0, 1, run.Pes.ColourCount);
      } else {
        StorePecThumbnail(run, 0);
      }
      WritePecTail(run);
      break;
    }
  }
}

}  // namespace

// Written only from QEP and VST, whose heads give the design's size before the first
// record; the library and the command route any other source through a QEP working
// file. The class converts any source: one whose head gives no size fails with 11
// (division by zero), since the pictures' scale divides by the head's larger side, and
// so does one whose pass start writes no head (a T01, T03 or Emnet source). A design
// beyond both size limits gives -100, one of more than 128 colours 9, and a design name
// of fewer than four characters 5. Colours beyond the source's thread table are black.
const Codec kPesCodec = {
    .code = kCodePes,
    .fileEnd = "PES",
    .extension = ".PES",
    .family = "PES",
    .writtenOnlyFrom = "QEP VST",
    .decode = DecodePesRecord,
    .encode = EncodePes,
    .openSource = OpenPesSource,
    .writeHead = WritePesHead,
    .writeEnd = EndPes,
    .passes = 3,
    .countsColours = false,
    .halvesLongSteps = true,
    .threadSource = ThreadSource::PecKeys,
    .describeHead = DescribePes,
};

}  // namespace tavlin
