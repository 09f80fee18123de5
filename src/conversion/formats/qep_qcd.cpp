// Velmo QEP (Quick Expanded) and QCD (Quick Condensed): five-byte records of a function
// code and an absolute position, Y down, behind the DST-family text header.
#include <algorithm>
#include <cmath>

#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "conversion/text_header.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int kFunctionRecord = 31;
constexpr int16_t kFunctionTrim = 9;
constexpr int16_t kFunctionSeven = 10;

int16_t Signed16(const uint8_t* bytes) {
  return static_cast<int16_t>(bytes[0] | (bytes[1] << 8));
}

// The extents of the text header, sign dropped, and the colour count at 103.
DesignSize ScanQepSize(BufferedFile& source) {
  std::string head(512, ' ');
  source.Seek(0);
  head.resize(source.Read(reinterpret_cast<uint8_t*>(head.data()), head.size()));
  const HeaderExtents extents = ReadHeaderExtents(head);
  DesignSize size;
  size.PlusX = static_cast<int16_t>(std::abs(extents.plusX));
  size.MinusX = static_cast<int16_t>(std::abs(extents.minusX));
  size.PlusY = static_cast<int16_t>(std::abs(extents.plusY));
  size.MinusY = static_cast<int16_t>(std::abs(extents.minusY));
  // Sums of two 16-bit numbers, which overflow as such.
  const int width = size.PlusX + size.MinusX, height = size.PlusY + size.MinusY;
  if (width > 32767 || height > 32767) throw RunTimeError(kOverflow);
  size.DesignWidth = static_cast<int16_t>(width);
  size.DesignHeight = static_cast<int16_t>(height);
  if (head.size() >= 105) size.DesignColours = Signed16(reinterpret_cast<const uint8_t*>(head.data()) + 103);
  source.Seek(0);
  return size;
}

void WriteRecord(ConversionRun& run, int code, double x, double y) {
  uint8_t record[5] = {static_cast<uint8_t>(code)};
  if (!PutBytes2(record + 1, x) || !PutBytes2(record + 3, y)) throw RunTimeError(kOverflow);
  run.WriteBytes(record, 5);
}

// The design on a 640 x 480 screen centred at (320, 240). A pixel grows with its
// position, so the box is that of the extreme positions, placed once at the end.
int32_t PixelX(double x) { return static_cast<int32_t>(RoundHalfEven(x / 3.8 + 320)); }
int32_t PixelY(double y) { return static_cast<int32_t>(RoundHalfEven(y / 4 + 240)); }

void UpdatePixelBox(ConversionRun& run) {
  run.QepMaxX = std::max(run.QepMaxX, run.PosX);
  run.QepMinX = std::min(run.QepMinX, run.PosX);
  run.QepMaxY = std::max(run.QepMaxY, run.PosY);
  run.QepMinY = std::min(run.QepMinY, run.PosY);
}

Decoded DecodeQep(ConversionRun& run) {
  uint8_t r[5];
  if (!run.ReadRecord(r, 5)) return Decoded::End;
  const int code = r[0] & 0x1F;
  if (code == 4 || code == 5) {
    // A record of no meaning, or the opening record: no step.
    run.PassRecords -= 1;
    if (code == 5 && !run.Dest->countsQepOpening) run.StitchCount -= 1;
    return Decoded::NoStep;
  }
  int32_t x = Signed16(r + 1);
  int32_t y = Signed16(r + 3);
  if (code != kFunctionRecord) {
    x += run.OriginX;
    y += run.OriginY;
  }
  if (code == 6) return Decoded::End;
  run.QepCode = static_cast<int16_t>(code);
  run.QepX = static_cast<int16_t>(x);
  run.QepY = static_cast<int16_t>(y);
  // QCD is read only for a CND destination, which works from the record itself.
  if (run.Source->code == kCodeQcd) return Decoded::Step;
  if (code == kFunctionRecord) {
    if (x == kFunctionTrim) {
      run.step.StepKind = KindTrim;
      run.TrimPending = true;
    } else if (x == kFunctionSeven) {
      run.step.StepKind = KindSeven;
    }
    return Decoded::Step;
  }
  run.step.StepX = static_cast<int16_t>(x - run.QepPrevX);
  run.step.StepY = static_cast<int16_t>(-(y - run.QepPrevY));
  run.QepPrevX = x;
  run.QepPrevY = y;
  run.step.StepKind = static_cast<int16_t>(code);
  if (ChangesColourKind(static_cast<int16_t>(code))) {
    if (code == KindNeedle) run.PendingStop = true;
    run.step.StepKind = KindColour;
    run.NextColour();
  }
  return Decoded::Step;
}

void EncodeQep(ConversionRun& run) {
  const int16_t kind = run.step.StepKind;
  if (kind == KindSeven) {
    WriteRecord(run, kFunctionRecord, kFunctionSeven, 0);
    return;
  }
  // The class writes a trim's step kind as its code, which reads back as a stitch; the
  // library writes the trim function QEP reads.
  if (kind == KindTrim && run.settings.AsOtherProgramsDo) {
    WriteRecord(run, kFunctionRecord, kFunctionTrim, 0);
    return;
  }
  if (run.Source->carriesQepRecords && run.CndParam != 0) {
    // A CND function with a parameter carries it in place of the position.
    WriteRecord(run, kind, run.CndNeedle, run.CndParam * 100);
  } else {
    WriteRecord(run, kind, run.PosX, run.PosY);
  }
  if (kind < 11) UpdatePixelBox(run);
}

void EndQep(ConversionRun& run) {
  const int64_t lastRecord = run.dest.Length() - 4;
  run.dest.Seek(run.dest.Length());
  run.WriteBytes(std::string_view("\x06\x00\x00\x00\x00", 5));
  run.RecordCount += 1;
  // The pixel box and the counts inside the text header.
  std::string block;
  block += IntToBytes2(PixelX(run.QepMaxX));
  block += IntToBytes2(PixelX(run.QepMinX));
  block += IntToBytes2(PixelY(run.QepMaxY));
  block += IntToBytes2(PixelY(run.QepMinY));
  block += IntToBytes2(run.ColourIndex);
  block += IntToBytes4(run.RecordCount);
  block += IntToBytes4(static_cast<double>(lastRecord));
  run.dest.Seek(95);
  run.WriteBytes(block);
}

}  // namespace

constexpr auto kQepOpening = std::string_view("\x05\x00\x00\x00\x00", 5);

const Codec kQepCodec = {
    .code = kCodeQep,
    .fileEnd = "QEP",
    .extension = ".QEP",
    .family = "Velmo Quick Expanded",
    .decode = DecodeQep,
    .encode = EncodeQep,
    .writeEnd = EndQep,
    .textHeader = true,
    .openingRecord = kQepOpening,
    .opening = Opening::Always,
    .drawnTrim = {.record = std::string_view("\x1F\x09\x00\x00\x00", 5), .back = 20},
    // The Barudan and ZSK needle codes survive only into the working format of disc reads.
    .keepsNeedles = true,
    .keepsFunctionCodes = true,
    .threadTable = {.count = 103, .table = 113, .resume = 0},
    .scanSize = ScanQepSize,
    .threadSource = ThreadSource::Triples,
    .writesTrims = true,
};

// QCD is read only into CND, which works from the record itself.
const Codec kQcdCodec = {
    .code = kCodeQcd,
    .fileEnd = "QCD",
    .extension = ".QCD",
    .family = "Velmo Quick Condensed",
    .readOnlyInto = "CND",
    .decode = DecodeQep,
    .encode = EncodeQep,
    .writeEnd = EndQep,
    .textHeader = true,
    .openingRecord = kQepOpening,
    .opening = Opening::Always,
    .keepsFunctionCodes = true,
};

}  // namespace tavlin
