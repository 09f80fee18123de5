// Pfaff PCM and PCS: nine-byte records of an absolute position, each coordinate in the
// three-byte code of the coordinate tables, and a flag. PCS orders the code's bytes low
// to high and PCM high to low; they differ in their heads and in how a design ends.
//
// Other programs write a jump as a record with the flag 4 in both formats, put the
// colour number of a PCM colour record in its fourth byte, count in the head the
// records that aren't colour changes, and end a design with nine zero bytes. The
// library reads and writes that layout, so that a design comes back as it went in: a
// colour change where the needle stands, jumps kept, the end at the end record. The
// class keeps its own: a colour record takes the position of the record behind it,
// PCS ends at the head's count and PCM at a record whose X and flag are zero, a jump
// is no record at all, and the count is the cycles less the colours and one. Both read
// a PCM jump flag as a jump: the class's own writer never writes one, and read as a
// stitch it would sew a thread from the origin to where another program's design
// begins.
#include <algorithm>

#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/numbers.h"
#include "conversion/thread_colours.h"
#include "platform/run_time_error.h"
#include "tables/coordinate_tables.h"

namespace tavlin {

namespace {

constexpr size_t kRecordBytes = 9;
constexpr uint8_t kFlagColour = 3;
constexpr uint8_t kFlagJump = 4;

// PCS head: the table's entry count, sixteen entries of 0x00, red, green, blue, a zero,
// the stitch count, and the first colour record.
constexpr std::string_view kPcsHead(
    "\x32\x03\x10"
    "\x00\x00\x00\x00"
    "\x00\x00\x00\x80"
    "\x00\x00\x00\xFF"
    "\x00\x00\x80\x80"
    "\x00\x00\xFF\xFF"
    "\x00\x80\x00\x80"
    "\x00\xFF\x00\xFF"
    "\x00\x80\x00\x00"
    "\x00\xFF\x00\x00"
    "\x00\x00\x80\x00"
    "\x00\x00\xFF\x00"
    "\x00\x80\x80\x00"
    "\x00\xFF\xFF\x00"
    "\x00\x80\x80\x80"
    "\x00\xC0\xC0\xC0"
    "\x00\xFF\xFF\xFF"
    "\x00"
    "\x00\x00"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x03",
    79);
constexpr int64_t kPcsCountAt = 68;
constexpr int64_t kPcsTableAt = 3;
constexpr size_t kPcsTableBytes = 64;
constexpr int64_t kPcmCountAt = 36;
constexpr int64_t kPcmFirstColourAt = 38;
constexpr size_t kPcmPaletteBytes = 16;

constexpr uint8_t kEndRecord[kRecordBytes] = {};

bool IsEndRecord(const uint8_t r[kRecordBytes]) {
  return std::all_of(r, r + kRecordBytes, [](uint8_t b) { return b == 0; });
}

// 4 and 5 are the jumps of PCS and of other programs' PCM.
bool IsJumpFlag(uint8_t flag) { return flag == 4 || flag == 5; }

int16_t Signed16(const uint8_t bytes[2]) {
  return static_cast<int16_t>(bytes[0] | (bytes[1] << 8));
}

bool OtherWriters(const ConversionRun& run) { return run.settings.AsOtherProgramsDo; }

// A colour record read: its colour byte goes to the slot of the colour it starts.
void TakeColour(ConversionRun& run, uint8_t colour) {
  const int slot = run.ColourIndex + 1;
  if (slot >= 0 && slot < static_cast<int>(run.ColourList.size())) {
    run.ColourList[static_cast<size_t>(slot)] = colour;
  } else if (!OtherWriters(run)) {
    throw RunTimeError(kSubscriptOutOfRange);
  }
  // The library reads on: beyond the list there is nothing a destination takes.
  run.NextColour();
  run.step.StepKind = KindColour;
}

void StepTo(ConversionRun& run, int16_t x, int16_t y) {
  run.step.StepX = static_cast<int16_t>(x - run.PcPrevX);
  run.step.StepY = static_cast<int16_t>(y - run.PcPrevY);
  run.PcPrevX = x;
  run.PcPrevY = y;
}

using KeyLookup = std::optional<int16_t> (*)(CoordCode);

int32_t WholeOf(CoordCode code) { return code.high * 256 + code.middle; }

CoordCode WithWhole(int32_t whole, uint8_t fraction) {
  return {static_cast<uint8_t>(whole / 256), static_cast<uint8_t>(whole % 256), fraction};
}

// PCS files hold codes off the rule too. Such a code is read as one in the table below
// it: the fraction first down to a fifth of 255, then through the fractions in the
// order the rule gives them, one whole number after the other downwards. Every code of
// a whole number above the axis's last misses, so the walk is taken up again there at
// once: a few lookups at most, whatever the bytes.
int16_t WalkedPosition(CoordCode code, KeyLookup lookup, CoordCode last) {
  if (const auto position = lookup(code)) return *position;
  constexpr uint8_t kFifth = 0x33;
  code.fraction = static_cast<uint8_t>(std::min(code.fraction / kFifth, 4) * kFifth);
  for (;;) {
    if (const auto position = lookup(code)) return *position;
    const int32_t whole = WholeOf(code);
    if (whole > WholeOf(last)) {
      code = WithWhole(WholeOf(last), 0x66);
      continue;
    }
    switch (code.fraction) {
      case 0x99: code.fraction = 0x00; break;
      case 0x33: code.fraction = 0x99; break;
      case 0xCC: code.fraction = 0x33; break;
      case 0x66: code.fraction = 0xCC; break;
      default:
        // 0x00 0x00 0x00 is the first position of both axes: the walk ends before.
        if (whole == 0) throw RunTimeError(kInternalError);
        code = WithWhole(whole - 1, 0x66);
        break;
    }
  }
}

const CoordCode kLastX = *CoordBytesX(kCoordLastX);
const CoordCode kLastY = *CoordBytesY(kCoordLastY);

// Reading PCS.

void OpenPcs(ConversionRun& run) {
  uint8_t two[2] = {0, 0};
  run.source.Seek(2);
  run.source.Read(two, 2);
  const int16_t entries = Signed16(two);
  if (entries < 0) {
    // No head has a negative table: nothing of the file is read as records.
    run.source.Seek(run.source.Length());
    return;
  }
  const int64_t countAt = 4 * int64_t{entries} + 4;
  two[0] = two[1] = 0;
  run.source.Seek(countAt);
  run.source.Read(two, 2);
  run.ExpectedStitches = Signed16(two);
  uint8_t first[kRecordBytes];
  if (run.ReadRecord(first, kRecordBytes)) run.ColourList[1] = first[0];
}

// Some programs bring the needle to a design's first place with a stitch record, and
// sew there with the next: the first of two records at one place, ahead of any other,
// is the way there. (A design that itself opens with two stitches in one place reads
// back with one: the same needle point.)
bool BringsTheNeedle(ConversionRun& run, const uint8_t r[kRecordBytes]) {
  if (run.DecodedStitches != 0 || IsJumpFlag(r[8])) return false;
  const int64_t behind = run.source.Position();
  uint8_t next[kRecordBytes];
  const bool same = run.ReadRecord(next, kRecordBytes) && !IsEndRecord(next) &&
                    next[8] != kFlagColour && std::equal(r, r + 3, next) &&
                    std::equal(r + 4, r + 7, next + 4);
  run.source.Seek(behind);
  return same;
}

Decoded DecodePcs(ConversionRun& run) {
  const bool otherWriters = OtherWriters(run);
  uint8_t r[kRecordBytes];
  for (;;) {
    if (!run.ReadRecord(r, kRecordBytes)) return Decoded::End;
    if (otherWriters ? IsEndRecord(r) : run.ExpectedStitches == run.DecodedStitches) {
      return Decoded::End;
    }
    if (r[8] != kFlagColour) break;
    TakeColour(run, r[0]);
    if (otherWriters) return Decoded::Step;
  }
  if ((IsJumpFlag(r[8]) || (otherWriters && BringsTheNeedle(run, r))) &&
      run.step.StepKind != KindColour) {
    run.step.StepKind = KindJump;
  }
  StepTo(run, WalkedPosition({r[2], r[1], r[0]}, CoordKeysX, kLastX),
         WalkedPosition({r[6], r[5], r[4]}, CoordKeysY, kLastY));
  run.DecodedStitches += 1;
  return Decoded::Step;
}

// Reading PCM.

void OpenPcm(ConversionRun& run) {
  uint8_t first[kRecordBytes];
  run.source.Seek(kPcmFirstColourAt);
  if (run.ReadRecord(first, kRecordBytes)) run.ColourList[1] = first[OtherWriters(run) ? 3 : 0];
}

int16_t PcmPosition(CoordCode code, KeyLookup lookup) {
  const auto position = lookup(code);
  // PCM has no second guess: a code off the rule ends the run.
  if (!position) throw RunTimeError(kInvalidCall);
  return *position;
}

Decoded DecodePcm(ConversionRun& run) {
  const bool otherWriters = OtherWriters(run);
  uint8_t r[kRecordBytes];
  for (;;) {
    if (!run.ReadRecord(r, kRecordBytes)) return Decoded::End;
    if (otherWriters ? IsEndRecord(r) : (r[1] | r[2] | r[3] | r[8]) == 0) return Decoded::End;
    if (r[8] != kFlagColour) break;
    TakeColour(run, r[otherWriters ? 3 : 0]);
    if (otherWriters) return Decoded::Step;
  }
  if (IsJumpFlag(r[8]) && run.step.StepKind != KindColour) run.step.StepKind = KindJump;
  StepTo(run, PcmPosition({r[1], r[2], r[3]}, CoordKeysX),
         PcmPosition({r[5], r[6], r[7]}, CoordKeysY));
  return Decoded::Step;
}

// Writing both.

bool InRange(const ConversionRun& run) {
  return run.PosX >= kCoordFirstX && run.PosX <= kCoordLastX && run.PosY >= kCoordFirstY &&
         run.PosY <= kCoordLastY;
}

// The needle's position in the record, X as it is and Y up; outside the tables the
// run ends with the result of a position out of range.
void PlacePosition(const ConversionRun& run, bool pcs, uint8_t r[kRecordBytes]) {
  if (!InRange(run)) throw RunTimeError(kResultOutOfRange);
  const int x = static_cast<int>(run.PosX);
  const int y = -static_cast<int>(run.PosY);
  // Steps are whole numbers, so positions are: a fraction would be no key.
  if (x != run.PosX || y != -run.PosY) throw RunTimeError(kInvalidCall);
  const CoordCode cx = *CoordBytesX(x);
  const CoordCode cy = *CoordBytesY(y);
  if (pcs) {
    r[0] = cx.fraction, r[1] = cx.middle, r[2] = cx.high;
    r[4] = cy.fraction, r[5] = cy.middle, r[6] = cy.high;
  } else {
    r[1] = cx.high, r[2] = cx.middle, r[3] = cx.fraction;
    r[5] = cy.high, r[6] = cy.middle, r[7] = cy.fraction;
  }
}

void WritePositioned(ConversionRun& run, bool pcs, uint8_t flag) {
  uint8_t r[kRecordBytes] = {};
  PlacePosition(run, pcs, r);
  r[8] = flag;
  // A stitch in the corner where both codes are zero would read as the design's end.
  if (OtherWriters(run) && IsEndRecord(r)) throw RunTimeError(kResultOutOfRange);
  run.PcRecords += 1;
  run.PcWrittenX = run.PosX;
  run.PcWrittenY = run.PosY;
  run.WriteBytes(r, kRecordBytes);
}

uint8_t PcsColourByte(ConversionRun& run) {
  const int slot = run.ColourIndex - 1;
  if (slot >= 0 && slot < static_cast<int>(run.ColourList.size())) {
    return static_cast<uint8_t>(run.ColourList[static_cast<size_t>(slot)] & 0xFF);
  }
  if (!OtherWriters(run)) throw RunTimeError(kSubscriptOutOfRange);
  return 0;
}

// The palette byte of the colour now begun; the palette holds sixteen.
uint8_t PcmColourByte(const ConversionRun& run) {
  const int at = run.ColourIndex - 1;
  if (at < 0 || at >= static_cast<int>(run.PaletteText.size())) return 0;
  return static_cast<uint8_t>(run.PaletteText[static_cast<size_t>(at)]);
}

void EncodeCoded(ConversionRun& run, bool pcs) {
  const int16_t kind = run.step.StepKind;
  const bool otherWriters = OtherWriters(run);
  // Neither format has a trim: the class sews it as a stitch of no length, the library
  // moves there without sewing, as other machines take a run of jumps.
  if (kind == KindJump || (kind == KindTrim && otherWriters)) {
    if (otherWriters && InRange(run)) {
      WritePositioned(run, pcs, kFlagJump);
    } else if (!otherWriters) {
      // A jump is only the way to the next absolute position.
      run.StitchCount -= 1;
    }
    // The library's jump beyond the tables leaves the way to the next record too.
    return;
  }
  // Everything but a change of colour or needle is sewn.
  if (!ChangesColourKind(kind)) {
    WritePositioned(run, pcs, 0);
    return;
  }
  // A colour record has no position. The library reads the change where the last
  // record left the needle, so it first takes the needle to where the change is.
  if (otherWriters && (run.PosX != run.PcWrittenX || run.PosY != run.PcWrittenY)) {
    WritePositioned(run, pcs, kFlagJump);
  }
  uint8_t r[kRecordBytes] = {};
  r[8] = kFlagColour;
  if (pcs) {
    r[0] = PcsColourByte(run);
  } else {
    r[3] = PcmColourByte(run);
  }
  run.WriteBytes(r, kRecordBytes);
}

void EncodePcs(ConversionRun& run) { EncodeCoded(run, true); }
void EncodePcm(ConversionRun& run) { EncodeCoded(run, false); }

void WritePcsHead(ConversionRun& run) {
  run.WriteBytes(kPcsHead);
  run.UniqueColours = BuildUniqueColours(run.SourceType, run.source, run.ColourList);
}

void WritePcmHead(ConversionRun& run) {
  run.PaletteText = ChooseThreadPalette(run.SourceType, run.DestType, run.source);
  run.PaletteText.resize(kPcmPaletteBytes, '\0');
  run.source.Seek(run.Source->threadTable.resume);
  std::string head("\x32\x03\x00\x10", 4);
  for (char colour : run.PaletteText) {
    head += '\0';
    head += colour;
  }
  head.append(2, '\0');
  head.append(3, '\0');
  head += run.PaletteText[0];
  head.append(4, '\0');
  head += static_cast<char>(kFlagColour);
  run.WriteBytes(head);
}

// What the head counts: the class's rule, or the library's records other than colour
// changes, which is what other programs count and read.
int32_t StitchCountField(const ConversionRun& run) {
  return OtherWriters(run) ? run.PcRecords : run.StitchCount - (run.ColourIndex + 1);
}

void EndPcs(ConversionRun& run) {
  run.WriteBytes(kEndRecord, kRecordBytes);
  const std::string count = IntToBytes2(StitchCountField(run));
  run.dest.Seek(kPcsCountAt);
  run.WriteBytes(count);
  // The class writes every unique colour, over the head's count and beyond when there
  // are more than sixteen; the library keeps to the table.
  std::string_view unique = run.UniqueColours;
  if (OtherWriters(run)) unique = unique.substr(0, std::min(unique.size(), kPcsTableBytes));
  run.dest.Seek(kPcsTableAt);
  run.WriteBytes(unique);
  run.dest.Seek(run.dest.Length());
}

void EndPcm(ConversionRun& run) {
  run.WriteBytes(kEndRecord, kRecordBytes);
  const std::string count = IntToBytes2(StitchCountField(run));
  const uint8_t bigEndian[2] = {ByteAt(count, 1), ByteAt(count, 0)};
  run.dest.Seek(kPcmCountAt);
  run.WriteBytes(bigEndian, 2);
  run.dest.Seek(run.dest.Length());
}

}  // namespace

const Codec kPcsCodec = {
    .code = kCodePcs,
    .fileEnd = "PCS",
    .extension = ".PCS",
    .family = "Pfaff",
    .decode = DecodePcs,
    .encode = EncodePcs,
    .openSource = OpenPcs,
    .writeHead = WritePcsHead,
    .writeEnd = EndPcs,
    .threadSource = ThreadSource::PcsTable,
    .writesTrims = true,
};

// The PCM head puts the source back at its start (a VST's records at 1024), so only a
// source that is read from there arrives whole; others go by way of QEP.
const Codec kPcmCodec = {
    .code = kCodePcm,
    .fileEnd = "PCM",
    .extension = ".PCM",
    .family = "Pfaff",
    .writtenOnlyFrom = "QEP DST DSB DSZ KSM EXP 10O VST",
    .decode = DecodePcm,
    .encode = EncodePcm,
    .openSource = OpenPcm,
    .writeHead = WritePcmHead,
    .writeEnd = EndPcm,
    .palette = ThreadPalette::Pcm,
    .threadSource = ThreadSource::PcmKeys,
    .writesTrims = true,
};

}  // namespace tavlin
