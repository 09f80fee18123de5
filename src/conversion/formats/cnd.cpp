// Melco CND (Premier, condensed): five-byte records from offset 0 to the end of the
// file, absolute positions in sixths of a unit, and macro records for the functions.
// It is read into QEP and QCD and written from them, whose codes it carries.
#include <cmath>
#include <cstdlib>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

constexpr uint8_t kMacroType = 7;

// Sixths to units: a fraction of a half or more is pushed a half further out first.
double FromSixths(int sixths) {
  double value = sixths / 6.0;
  const double fraction = value - std::trunc(value);
  if (std::fabs(fraction) >= 0.5) value += value < 0 ? -0.5 : 0.5;
  return std::nearbyint(value);
}

// A 14-bit number split over the low seven bits of two bytes, high part first.
void Split14(int value, uint8_t& high, uint8_t& low) {
  high = static_cast<uint8_t>((value & 0x3F80) / 128);
  low = static_cast<uint8_t>(value & 0x7F);
}

int Rounded(double value) { return static_cast<int>(std::nearbyint(value)); }

void WriteMacro(ConversionRun& run, uint8_t code) {
  const uint8_t r[5] = {0x80 | kMacroType, code, 0, 0, 0};
  run.WriteBytes(r, 5);
}

Decoded DecodeCnd(ConversionRun& run) {
  uint8_t b[5];
  if (!run.ReadRecord(b, 5)) return Decoded::End;
  run.CndParam = 0;
  int x = (b[2] & 0x7F) + 128 * (b[1] & 0x7F);
  int y = (b[4] & 0x7F) + 128 * (b[3] & 0x7F);
  if ((b[0] & 0x10) != 0) x += 16384;
  if ((b[0] & 0x08) != 0) y += 16384;
  if ((b[0] & 0x40) != 0) x = -x;
  if ((b[0] & 0x20) != 0) y = -y;
  run.PosX = FromSixths(x);
  run.PosY = -FromSixths(y);
  const int type = b[0] & 7;
  if (type != kMacroType) {
    run.step.StepKind = static_cast<int16_t>(type + 6);
    return Decoded::Step;
  }
  const double v = (b[4] & 0x7F) + 128 * (b[3] & 0x7F);
  int16_t kind = 0;
  switch (b[1]) {
    case 0x07:
      kind = 17;
      run.CndParam = -v / 10;
      run.CndNeedle = static_cast<int16_t>(b[2] & 0x1F);
      break;
    case 0x09: kind = 18; break;
    case 0x0A: kind = 14; break;
    case 0x0B: kind = 13; break;
    case 0x0C:
      kind = 31;
      run.PosX = 2;
      break;
    case 0x0D:
    case 0x2D:
      kind = 19;
      run.NextColour();
      break;
    case 0x13:
      kind = 15;
      run.CndParam = -v / 10;
      break;
    case 0x14:
      kind = 16;
      run.CndParam = -v / 10;
      break;
    case 0x15:
      kind = 31;
      run.PosX = 1;
      break;
    case 0x1A: kind = b[4] == 1 ? 11 : 12; break;
    case 0x20:
      kind = 20;
      run.CndParam = 100 - v / 10;
      break;
    default: return Decoded::NoStep;
  }
  run.step.StepKind = kind;
  return Decoded::Step;
}

void EncodeCnd(ConversionRun& run) {
  int code = run.QepCode;
  uint8_t b[5] = {0x80, 0, 0, 0, 0};
  if (code < 11 && code != 2) {
    const int y = -run.QepY;
    if (run.QepX < 0) b[0] |= 0x40;
    if (y < 0) b[0] |= 0x20;
    const int x6 = std::abs(6 * run.QepX);
    const int y6 = std::abs(6 * y);
    Split14(x6, b[1], b[2]);
    Split14(y6, b[3], b[4]);
    if ((x6 & 0x4000) != 0) b[0] |= 0x10;
    if ((y6 & 0x4000) != 0) b[0] |= 0x08;
    if (code != 1 && run.CndJumpMode) {
      WriteMacro(run, 0x0A);
      run.CndJumpMode = false;
    }
    if (code == 1 && !run.CndJumpMode) {
      WriteMacro(run, 0x09);
      code = 0;
      run.CndJumpMode = true;
    }
    if (code == 1 || code == 0) b[0] |= 1;
    if (code >= 7 && code <= 10) b[0] |= static_cast<uint8_t>(code - 6);
    run.WriteBytes(b, 5);
    return;
  }
  b[0] |= kMacroType;
  // A QEP's needle codes change the colour too: the class writes them as a macro of no
  // meaning, which a reader skips; the library as the colour change they are.
  if (IsNeedleKind(static_cast<int16_t>(code)) && run.settings.AsOtherProgramsDo) code = 19;
  switch (code) {
    case 2:
    case 19: b[1] = 0x2D; break;
    case 11:
      b[1] = 0x1A;
      b[4] = 1;
      break;
    case 12: b[1] = 0x1A; break;
    case 13: b[1] = 0x0B; break;
    case 14: b[1] = 0x0A; break;
    case 15:
    case 16:
    case 17:
      b[1] = code == 15 ? 0x13 : code == 16 ? 0x14 : 0x07;
      if (code == 17) b[2] = static_cast<uint8_t>(run.QepX);
      Split14(Rounded(-(run.QepY / 100.0) * 10), b[3], b[4]);
      break;
    case 18: b[1] = 0x09; break;
    case 20:
      b[1] = 0x20;
      Split14(Rounded((100 - run.QepY / 100.0) * 10), b[3], b[4]);
      break;
    case 31:
      if (run.QepX == 1) b[1] = 0x15;
      if (run.QepX == 2) b[1] = 0x0C;
      break;
    default: break;
  }
  run.WriteBytes(b, 5);
}

}  // namespace

const Codec kCndCodec = {
    .code = kCodeCnd,
    .fileEnd = "CND",
    .extension = ".CND",
    .family = "Melco Premier, condensed",
    .readOnlyInto = "QEP QCD",
    .writtenOnlyFrom = "QEP QCD",
    .decode = DecodeCnd,
    .encode = EncodeCnd,
    .carriesQepRecords = true,
    .keepsFunctionCodes = true,
};

}  // namespace tavlin
