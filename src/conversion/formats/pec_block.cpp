#include "conversion/formats/pec_block.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "conversion/numbers.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr uint8_t kBlackKey = 20;
constexpr int kHeadBytes = 512;
constexpr int kStitchHeadBytes = 20;
constexpr int kNameAt = 3, kNameEnd = 19, kNameCarriesOnTo = 32;
// Jumps are gathered until a sum reaches this, then written as one long jump.
constexpr int kJumpGather = 1200;
// A first stitch this far from the centre is reached half by the head, half by a jump.
constexpr double kHeadReach = 800;

int32_t Rounded(double value) {
  const double r = std::nearbyint(value);
  if (!(r >= INT32_MIN && r <= INT32_MAX)) throw RunTimeError(kOverflow);
  return static_cast<int32_t>(r);
}

// A start coordinate of the stitch head: the value less its low eight bits, over 256,
// plus 0x90, then the low eight bits.
void PutStart(std::string& out, int32_t value) {
  out += static_cast<char>(static_cast<uint8_t>((value - (value & 0xFF)) / 256 + 0x90));
  out += static_cast<char>(static_cast<uint8_t>(value & 0xFF));
}

// The 16 characters of the name, and behind the 0x0D those of a longer one as far as
// the size fields; upper case.
std::string DesignNameOf(const ConversionRun& run) {
  const std::string file = FileNameOf(run.settings.DesignName);
  if (file.size() < 4) throw RunTimeError(kInvalidCall);
  std::string name = file.substr(0, file.size() - 4);
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return name;
}

}  // namespace

namespace {

constexpr int kTwelveBitLeast = -2048, kTwelveBitMost = 2047;

// The 12 bits of a value under a group's high nibble.
void PutTwelveBits(uint8_t* out, int value, uint8_t group) {
  out[0] = static_cast<uint8_t>(group | ((value >> 8) & 0x0F));
  out[1] = static_cast<uint8_t>(value & 0xFF);
}

}  // namespace

size_t PutPecValue(uint8_t* out, int value, PecGroups groups) {
  if (value >= 0 && value <= 63) {
    out[0] = static_cast<uint8_t>(value);
    return 1;
  }
  if (value >= -64 && value < 0) {
    out[0] = static_cast<uint8_t>(value + 128);
    return 1;
  }
  if (value >= 64 && value <= 126) {
    out[0] = 0x80;
    out[1] = static_cast<uint8_t>(value);
    return 2;
  }
  if (value >= -126 && value <= -65) {
    out[0] = 0x8F;
    out[1] = static_cast<uint8_t>(value + 256);
    return 2;
  }
  if (groups == PecGroups::TwelveBit) {
    PutTwelveBits(out, value, 0x80);
  } else {
    PutPecLongValue(out, value);
  }
  return 2;
}

void PutPecLongValue(uint8_t* out, int value, PecGroups groups) {
  if (groups == PecGroups::TwelveBit) {
    PutTwelveBits(out, value, 0x90);
    return;
  }
  // Every 16-bit value has a form; beyond the twelve bits a reader takes, the high
  // byte runs past 0xAF and is kept to its low eight bits.
  if (value >= 0) {
    out[0] = static_cast<uint8_t>(0xA0 + value / 256);
    out[1] = static_cast<uint8_t>(value % 256);
  } else {
    const int magnitude = -value - 1;
    out[0] = static_cast<uint8_t>(0xAF - magnitude / 256);
    out[1] = static_cast<uint8_t>(255 - magnitude % 256);
  }
}

uint8_t PesPaletteByte(const PesWriterState& pes, int colour) {
  if (colour < 1 || static_cast<size_t>(colour) > pes.PaletteText.size()) return kBlackKey;
  return ByteAt(pes.PaletteText, static_cast<size_t>(colour - 1));
}

void StorePecThumbnail(ConversionRun& run, int slot) {
  PumpMessages(run.settings.platform);
  StorePecPicture(*run.Pes.pictures, slot);
}

void WritePecBlockHead(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  const std::string name = DesignNameOf(run);
  const int colours = pes.ColourCount;
  pes.PecColours.clear();
  for (int colour = 1; colour <= colours; ++colour) {
    pes.PecColours += static_cast<char>(PesPaletteByte(pes, colour));
  }

  std::string head(kHeadBytes, ' ');
  head.replace(0, 3, "LA:");
  // Sixteen characters up to the 0x0D; a longer name goes on behind it.
  size_t at = kNameAt;
  for (char c : name) {
    if (at == kNameEnd) ++at;
    if (at >= kNameCarriesOnTo) break;
    head[at++] = c;
  }
  head[kNameEnd] = '\x0D';
  head.replace(32, 4, std::string("\xFF\x00\x06\x26", 4));  // 6 bytes by 38 rows
  head[48] = static_cast<char>(colours - 1);
  head.replace(49, pes.PecColours.size(), pes.PecColours);

  run.dest.Seek(pes.PecAt);
  run.WriteBytes(head);
  pes.StitchHeadAt = pes.PecAt + kHeadBytes;
  WriteRepeated(run, 0, kStitchHeadBytes);
}

namespace {

PecGroups GroupsOf(const ConversionRun& run) {
  return run.settings.AsOtherProgramsDo ? PecGroups::TwelveBit : PecGroups::Reference;
}

void WriteLongJump(const ConversionRun& run, uint8_t* out, int x, int y) {
  PutPecLongValue(out, x, GroupsOf(run));
  PutPecLongValue(out + 2, y, GroupsOf(run));
}

// Half the size, without its fraction: what the stitch head's start counts from.
int32_t HalfOf(double size) { return static_cast<int32_t>(std::trunc(size / 2)); }

// The first stitch ends the lead-in: its position goes into the stitch head, and one
// that lies too far for the head alone is reached half by the head, half by a jump.
void TakeFirstStitch(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  pes.PecLeadIn = false;
  if (run.PosX <= kHeadReach && run.PosY <= kHeadReach) {
    pes.PecStartX = Rounded(run.PosX);
    pes.PecStartY = Rounded(run.PosY);
    return;
  }
  pes.PecStartX = Rounded(run.PosX / 2);
  pes.PecStartY = static_cast<int32_t>(std::trunc(run.PosY / 2));
  const int32_t x = Rounded(run.PosX), y = Rounded(run.PosY);
  int32_t across = pes.PecStartX;
  int32_t e = -pes.PecStartY;
  if (y % 2 != 0 && y > 0) e -= 1;
  if (x % 2 != 0 && x > 0) across += 1;
  const int32_t down = -e;
  uint8_t out[4];
  WriteLongJump(run, out, across, down);
  run.WriteBytes(out, 4);
  pes.PecByteCount += 4;
}

// Kinds other than a jump and a colour change are sewn as stitches.
int16_t PecKindOf(int16_t kind) {
  return kind == KindJump || kind == KindColour ? kind : int16_t{KindStitch};
}

void WriteChange(ConversionRun& run, uint8_t* out, size_t& n) {
  PesWriterState& pes = run.Pes;
  pes.ColourToggle = static_cast<int16_t>(pes.ColourToggle == 2 ? 1 : 2);
  out[n++] = 0xFE;
  out[n++] = 0xB0;
  out[n++] = static_cast<uint8_t>(pes.ColourToggle);
}

// The library's colour change, as other programs write one: the waiting jumps land where
// they go, the thread changes there, and a movement the change carries goes on as a
// jump. The class folds the change's movement and the next step into the jumps' long
// jump, or writes the movement as a stitch ahead of the change.
void WriteChangeAsItStands(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  const StitchStep& step = run.step;
  if (run.PrevKind == KindColour) {
    // Two colour changes in a row are one, in both readings.
    run.ColourIndex = static_cast<int16_t>(run.ColourIndex - 1);
    return;
  }
  uint8_t out[11];
  size_t n = 0;
  if (pes.JumpPending) {
    WriteLongJump(run, out, pes.PendingJumpX, -pes.PendingJumpY);
    n = 4;
    pes.PendingJumpX = pes.PendingJumpY = 0;
    pes.JumpPending = false;
  }
  WriteChange(run, out, n);
  if (step.StepX != 0 || step.StepY != 0) {
    WriteLongJump(run, out + n, step.StepX, -step.StepY);
    n += 4;
  }
  run.WriteBytes(out, n);
  pes.PecByteCount += static_cast<int32_t>(n);
}

}  // namespace

void StartPecStream(ConversionRun& run, double width, double height) {
  PesWriterState& pes = run.Pes;
  pes.PecLeadIn = false;
  pes.PecOpening = true;
  auto within = [](double at, double size) {
    const int32_t start = Rounded(at), half = HalfOf(size);
    return std::clamp(start + half, kTwelveBitLeast, kTwelveBitMost) - half;
  };
  pes.PecStartX = within(run.PosX, width);
  pes.PecStartY = within(run.PosY, height);
  if (pes.PecStartX != run.PosX || pes.PecStartY != run.PosY) {
    pes.JumpPending = true;
    pes.PendingJumpX = Rounded(run.PosX) - pes.PecStartX;
    pes.PendingJumpY = pes.PecStartY - Rounded(run.PosY);
  }
}

void EncodePecStep(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  StitchStep& step = run.step;
  if (run.PendingStop) {
    // A stop is a stitch of no movement and then a colour change.
    WriteRepeated(run, 0, 2);
    pes.PecByteCount += 2;
    run.PendingStop = false;
    step.StepKind = KindColour;
  }
  const int16_t kind = PecKindOf(step.StepKind);
  if (pes.PecOpening) {
    // A first stitch that leaves the start would sew the start as well: it goes as a
    // move to where it lands and a stitch of no length there.
    pes.PecOpening = false;
    if (kind == KindStitch && (step.StepX != 0 || step.StepY != 0)) pes.JumpPending = true;
  }
  if (pes.PecLeadIn) {
    if (kind == KindJump) return;
    if (kind == KindStitch) {
      TakeFirstStitch(run);
      return;
    }
  }
  if (kind == KindColour && !pes.PecLeadIn && run.settings.AsOtherProgramsDo) {
    WriteChangeAsItStands(run);
    return;
  }
  if (kind == KindColour && pes.JumpPending) {
    // The change waits behind the jumps and goes out after their long jump.
    pes.PendingJumpX += step.StepX;
    pes.PendingJumpY += step.StepY;
    pes.ChangePending = true;
    return;
  }
  if (kind == KindJump) {
    pes.JumpPending = true;
    if (std::abs(step.StepX + pes.PendingJumpX) < kJumpGather &&
        std::abs(step.StepY + pes.PendingJumpY) < kJumpGather) {
      pes.PendingJumpX += step.StepX;
      pes.PendingJumpY += step.StepY;
      return;
    }
  }
  int x = step.StepX, y = step.StepY;
  if (pes.JumpPending) {
    x += pes.PendingJumpX;
    y += pes.PendingJumpY;
    pes.PendingJumpX = pes.PendingJumpY = 0;
  }
  if (kind == KindColour && run.PrevKind == KindColour) {
    // Two colour changes in a row are one.
    run.ColourIndex = static_cast<int16_t>(run.ColourIndex - 1);
    return;
  }
  uint8_t out[12];
  size_t n = 0;
  if (pes.JumpPending) {
    // The long jump lands with a stitch of no movement. The class writes one also
    // behind a run of jumps that reached the limit; the library lets that run go on
    // without a stitch, which a reader would take for one the design doesn't have.
    pes.LongJumpWritten = kind != KindJump || !run.settings.AsOtherProgramsDo;
    pes.JumpPending = false;
    WriteLongJump(run, out, x, -y);
    n = 4;
  } else {
    pes.PecLeadIn = false;
    n = PutPecValue(out, x, GroupsOf(run));
    n += PutPecValue(out + n, -y, GroupsOf(run));
  }
  if (pes.ChangePending || kind == KindColour) {
    WriteChange(run, out, n);
    pes.ChangePending = false;
  }
  run.WriteBytes(out, n);
  pes.PecByteCount += static_cast<int32_t>(n);
  if (pes.LongJumpWritten) {
    pes.LongJumpWritten = false;
    WriteRepeated(run, 0, 2);
    pes.PecByteCount += 2;
  }
}

void WritePecTail(ConversionRun& run) {
  PesWriterState& pes = run.Pes;
  run.dest.Seek(run.dest.Length());
  run.WriteBytes(std::string_view("\xFF\x00\x00\x00\x00\x00\x00", 7));
  const int colours = pes.ColourCount;
  for (int slot = 0; slot <= colours; ++slot) {
    std::string picture = FramedPecPicture(*pes.pictures, slot);
    if (slot == colours) {
      // The last picture carries the colour table in place of its two zero rows.
      picture.resize(PecPictures::kPictureBytes - 12);
      picture.append(6, '\0');
      picture += static_cast<char>(colours - 1);
      picture += pes.PecColours;
      picture.append(126, ' ');
    }
    run.WriteBytes(picture);
  }

  const double width = std::fabs(run.MinPosX) + std::fabs(run.MaxPosX);
  const double height = std::fabs(run.MinPosY) + std::fabs(run.MaxPosY);
  // The start is the first stitch seen from the top left: half the size, without its
  // fraction, added, and the sum rounded to 16 bits.
  auto start = [](int32_t at, double size) {
    const double sum = at + HalfOf(size);
    const double r = std::nearbyint(sum);
    if (!(r >= INT16_MIN && r <= INT16_MAX)) throw RunTimeError(kOverflow);
    return static_cast<int32_t>(r);
  };
  const uint32_t count = static_cast<uint32_t>(pes.PecByteCount + 21);
  std::string head;
  head += static_cast<char>(count & 0xFF);
  head += static_cast<char>((count >> 8) & 0xFF);
  head += static_cast<char>((count >> 16) & 0xFF);
  head += std::string_view("\x31\xFF\xF0", 3);
  head += IntToBytes2(width);
  head += IntToBytes2(height);
  head += std::string_view("\xE0\x01\xB0\x01", 4);
  for (const int32_t at : {start(pes.PecStartX, width), start(pes.PecStartY, height)}) {
    if (run.settings.AsOtherProgramsDo) {
      uint8_t field[2];
      PutTwelveBits(field, at, 0x90);
      head.append(reinterpret_cast<const char*>(field), 2);
    } else {
      PutStart(head, at);
    }
  }
  run.dest.Seek(pes.StitchHeadAt + 2);
  run.WriteBytes(head);
}

}  // namespace tavlin
