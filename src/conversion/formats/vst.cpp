// Midwest VST: a head of 1024 bytes that holds the design's name, size, centre, colour
// count and thread table, then three-byte records of two signed steps (Y down) and a
// function code, up to the end of the file.
#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int64_t kVstHeadBytes = 1024;
constexpr size_t kVstNameAt = 16;
constexpr size_t kVstNameLength = 15;

constexpr uint8_t kVstStitch = 0x0A;
constexpr uint8_t kVstJump = 0x1E;
constexpr uint8_t kVstColour = 0x3C;
constexpr uint8_t kVstStop = 0x28;
constexpr uint8_t kVstTrim = 0x14;
constexpr uint8_t kVstSeven = 0x47;

// The function records that stand for VST's trim and its code 0x47 in the working
// format of disc reads, the destination that keeps needles: the decoder writes them
// there itself, and the step goes on as a stitch.
constexpr auto kQepTrimRecord = std::string_view("\x1F\x09\x00\x00\x00", 5);
constexpr auto kQepSevenRecord = std::string_view("\x1F\x0A\x00\x00\x00", 5);

int16_t SignedByte(uint8_t byte) { return static_cast<int16_t>(static_cast<int8_t>(byte)); }

int16_t Checked16(int32_t value) {
  if (value < INT16_MIN || value > INT16_MAX) throw RunTimeError(kOverflow);
  return static_cast<int16_t>(value);
}

// A field of the head as a SHORT: a 32-bit size beyond its range stands as the
// nearest value it has, so that the hoop tests refuse it rather than the run failing.
int16_t Clamped16(int32_t value) {
  return static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX));
}

// The head's size and colour count, for the destinations that need them before the
// first record; a field the file doesn't hold whole reads as 0.
DesignSize ScanVstSize(BufferedFile& source) {
  uint8_t head[80] = {};
  source.Seek(0);
  const size_t got = source.Read(head, sizeof head);
  auto field32 = [&head, got](size_t at) -> int32_t {
    if (got < at + 4) return 0;
    const uint32_t v = uint32_t{head[at]} | uint32_t{head[at + 1]} << 8 |
                       uint32_t{head[at + 2]} << 16 | uint32_t{head[at + 3]} << 24;
    return static_cast<int32_t>(v);
  };
  DesignSize size;
  size.DesignWidth = Clamped16(field32(32));
  size.DesignHeight = Clamped16(field32(36));
  if (got >= 80) size.DesignColours = static_cast<int16_t>(head[78] | head[79] << 8);
  source.Seek(kVstHeadBytes);
  return size;
}

void OpenVst(ConversionRun& run) { run.source.Seek(kVstHeadBytes); }

// The head as the run starts it: the tag and the design's name; the rest of it is
// filled in at the end, and the thread table by the thread-colour writer.
void WriteVstHead(ConversionRun& run) {
  std::string head(static_cast<size_t>(kVstHeadBytes), '\0');
  head.replace(0, 3, "VST");
  const std::string name = FileNameOf(run.DesignName).substr(0, kVstNameLength);
  head.replace(kVstNameAt, name.size(), name);
  run.WriteBytes(head);
}

Decoded DecodeVst(ConversionRun& run) {
  uint8_t r[3];
  if (!run.ReadRecord(r, 3)) return Decoded::End;
  const bool otherWriters = run.settings.AsOtherProgramsDo;
  const std::string_view ownTrim = run.Dest->drawnTrim.record;
  if (otherWriters && r[2] == kVstTrim && r[0] == 0 && r[1] == 0 && !ownTrim.empty()) {
    // The library gives a destination with a trim record of its own (VST, QEP) that
    // record alone: the class's stitch of no length behind it would come back from
    // every VST to VST or QEP as one more stitch.
    run.WriteBytes(ownTrim);
    return Decoded::NoStep;
  }
  int32_t x = SignedByte(r[0]);
  int32_t y = -SignedByte(r[1]);
  if (run.VstFirstRead) {
    // The origin of a three-pass destination moves the first step of each pass.
    run.VstFirstRead = false;
    x += run.OriginX;
    y -= run.OriginY;
  }
  if (run.SewStartPending) {
    // A SEW destination starts its needle at a fixed place: the first step is taken from
    // there.
    run.SewStartPending = false;
    x += run.SewStartX;
    y += run.SewStartY;
  }
  run.step.StepX = Checked16(x);
  run.step.StepY = Checked16(y);
  // The destination that keeps needles takes the stop as one, and VST's trim and 0x47
  // as its own function records.
  const bool keepsNeedles = run.Dest->keepsNeedles;
  // The library reads a trim and a 0x47 for what they are, where no function record
  // has been written for them; the class reads both as stitches.
  const bool asWhatTheyAre = otherWriters && !keepsNeedles;
  switch (r[2]) {
    case kVstJump: run.step.StepKind = KindJump; break;
    case kVstColour:
      run.step.StepKind = KindColour;
      run.NextColour();
      break;
    case kVstStop:
      run.PendingStop = true;
      run.step.StepKind = keepsNeedles ? int16_t{KindNeedle} : int16_t{KindColour};
      run.NextColour();
      break;
    case kVstSeven:
      if (keepsNeedles) run.WriteBytes(kQepSevenRecord);
      if (asWhatTheyAre) run.step.StepKind = KindSeven;
      break;
    case kVstTrim:
      if (keepsNeedles) run.WriteBytes(kQepTrimRecord);
      run.TrimPending = true;
      if (asWhatTheyAre) run.step.StepKind = KindTrim;
      break;
    default: break;  // 0x0A and any code VST doesn't have: a stitch
  }
  return Decoded::Step;
}

void WriteVstRecord(ConversionRun& run, uint8_t x, uint8_t y, uint8_t code) {
  const uint8_t r[3] = {x, y, code};
  run.WriteBytes(r, 3);
}

void EncodeVst(ConversionRun& run) {
  int16_t kind = run.step.StepKind;
  uint8_t x = static_cast<uint8_t>(run.step.StepX & 0xFF);
  uint8_t y = static_cast<uint8_t>(-run.step.StepY & 0xFF);
  uint8_t code = kind == KindJump ? kVstJump : kVstStitch;
  if (kind == KindNeedle || run.PendingStop) {
    // A stop goes ahead of its step, which is then sewn.
    WriteVstRecord(run, 0, 0, kVstStop);
    run.PendingStop = false;
    kind = KindStitch;
  }
  if (kind == KindColour) {
    if (x != 0 || y != 0) {
      // The change itself has no movement: the needle moves there first.
      WriteVstRecord(run, x, y, kVstJump);
      x = y = 0;
    }
    code = kVstColour;
  } else if (kind == KindTrim) {
    WriteVstRecord(run, 0, 0, kVstTrim);
    // The class sews the trim's step behind it; the library moves it, if at all.
    if (run.settings.AsOtherProgramsDo) {
      if (x == 0 && y == 0) return;
      code = kVstJump;
    }
  } else if (kind == KindSeven) {
    code = kVstSeven;
  } else if (IsNeedleKind(kind)) {
    WriteVstRecord(run, 0, 0, kVstColour);
  }
  WriteVstRecord(run, x, y, code);
}

// |a| - (|a| + |b|) / 2: how far the design's centre lies from its start, measured from
// the extreme a (the least X, the greatest Y).
double CentreOf(int32_t a, int32_t b) {
  const double from = std::abs(static_cast<double>(a));
  return from - (from + std::abs(static_cast<double>(b))) / 2;
}

// The fields of the head that depend on the whole design, and the moment of writing.
void EndVst(ConversionRun& run) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &now);
#else
  localtime_r(&now, &local);
#endif
  std::string sizeAndDate;
  sizeAndDate += IntToBytes4(run.MaxSumX + std::abs(static_cast<double>(run.MinSumX)));
  sizeAndDate += IntToBytes4(run.MaxSumY + std::abs(static_cast<double>(run.MinSumY)));
  sizeAndDate += IntToBytes2(local.tm_year + 1900);
  sizeAndDate += static_cast<char>(local.tm_mon + 1);
  sizeAndDate += static_cast<char>(local.tm_mday);
  sizeAndDate += static_cast<char>(local.tm_hour);
  sizeAndDate += static_cast<char>(local.tm_min);
  sizeAndDate += "VELMO";
  run.dest.Seek(32);
  run.WriteBytes(sizeAndDate);

  std::string counts;
  counts += IntToBytes2(run.ColourIndex);
  counts += IntToBytes2(CentreOf(run.MinSumX, run.MaxSumX));
  counts += IntToBytes2(CentreOf(run.MaxSumY, run.MinSumY));
  counts += IntToBytes2(run.EndX);
  counts += IntToBytes2(run.EndY);
  run.dest.Seek(78);
  run.WriteBytes(counts);
  run.dest.Seek(run.dest.Length());
}

}  // namespace

// The library takes designs that carry needle codes (DSZ), trims with a movement
// (DSB, 10O) or no head for VST to write (Emnet) by way of DST, whose writer keeps
// them whole; QEP and VST come straight, with their thread colours.
const Codec kVstCodec = {
    .code = kCodeVst,
    .fileEnd = "VST",
    .extension = ".VST",
    .family = "Midwest",
    .writtenOnlyFrom = "DST KSM QEP EXP VST",
    .decode = DecodeVst,
    .encode = EncodeVst,
    .openSource = OpenVst,
    .writeHead = WriteVstHead,
    .writeEnd = EndVst,
    .drawnTrim = {.record = std::string_view("\x00\x00\x14", 3), .back = 12},
    .namesDesign = true,
    .threadTable = {.count = 78, .table = 123, .resume = 1024, .capacity = 300},
    .scanSize = ScanVstSize,
    .threadSource = ThreadSource::Triples,
    .takesStartStep = true,
    .writesTrims = true,
};

}  // namespace tavlin
