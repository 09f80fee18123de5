// Pfaff KSM: the markers that switch jump mode, written and read back; what other
// programs write, through the class and the library side by side; the real samples;
// truncated and scrambled files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <tuple>

#include "conversion/design_reader.h"
#include "tavlin/convert.h"
#include "tavlin/error.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::DstRecord;
using test::Rec;

const std::string kOpening = Bytes({0, 0, 0x87});
const std::string kJumpsAhead = Bytes({0, 0, 0x93});
const std::string kColour = Bytes({0, 0, 0x8B});
const std::string kStitchesAhead = Bytes({0, 0, 0x99});
const std::string kEnd = Bytes({0, 0, 0x88});
const std::string kDstEnd = Bytes({0, 0, 0xF3});

// A KSM record of a movement: |y|, |x|, then 0x80 with the signs of x (0x40) and y (0x20).
std::string Record(int x, int y, int code = 0) {
  int third = 0x80 | code;
  if (x < 0) third |= 0x40;
  if (y < 0) third |= 0x20;
  return Bytes({std::abs(y), std::abs(x), third});
}

// A DST of these records converted to KSM by the class and by the library, which
// write alike; gives what follows the 512-byte header.
std::string Written(const std::vector<Rec>& records) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / "class.KSM"), 0);
  EXPECT_EQ(Convert(dir / "a.DST", dir / "library.KSM").value(), 0);
  const std::string viaClass = test::ReadBytes(dir / "class.KSM");
  EXPECT_EQ(test::ReadBytes(dir / "library.KSM"), viaClass);
  EXPECT_GE(viaClass.size(), 512u);
  return viaClass.substr(512);
}

TEST(KsmWriting, MarkersSwitchJumpModeWhereTheKindChanges) {
  // One stitch: the opening leaves jump mode on, so 0x99 comes ahead of it.
  EXPECT_EQ(Written({{KindStitch, 3, -4}}),
            kOpening + kStitchesAhead + Bytes({4, 3, 0xA0}) + kJumpsAhead + kEnd);
  // Stitch, jump, jump, stitch: one 0x93 ahead of the jumps, none between them.
  EXPECT_EQ(Written({{KindStitch, 1, 1}, {KindJump, -121, 0}, {KindJump, 0, 121},
                     {KindStitch, -5, -6}}),
            kOpening + kStitchesAhead + Record(1, 1) + kJumpsAhead + Bytes({0, 121, 0xC0}) +
                Bytes({121, 0, 0x80}) + kStitchesAhead + Bytes({6, 5, 0xE0}) + kJumpsAhead +
                kEnd);
  // Jumps that open a design need no marker: the opening has switched the mode on.
  EXPECT_EQ(Written({{KindJump, 7, 8}, {KindStitch, 2, 0}}),
            kOpening + Record(7, 8) + kStitchesAhead + Record(2, 0) + kJumpsAhead + kEnd);
}

TEST(KsmWriting, AColourChangeHasItsMarkerAndKeepsItsMovement) {
  // After a stitch: 0x93, 0x8B, then the change's own record with its movement.
  EXPECT_EQ(Written({{KindStitch, 1, 0}, {KindColour, 5, 5}, {KindStitch, 0, 1}}),
            kOpening + kStitchesAhead + Record(1, 0) + kJumpsAhead + kColour + Record(5, 5) +
                kStitchesAhead + Record(0, 1) + kJumpsAhead + kEnd);
  // After jumps the mode is on already: 0x8B alone; two changes in a row, one each.
  EXPECT_EQ(Written({{KindJump, 1, 0}, {KindColour, 0, 0}, {KindColour, 0, 0}}),
            kOpening + Record(1, 0) + kColour + Record(0, 0) + kColour + Record(0, 0) +
                kJumpsAhead + kEnd);
  // A needle change from DSZ (code 5) is a colour change here.
  test::TempDir dir;
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') + Bytes({2, 2, 0x80, 0, 0, 0x85, 0, 0, 0x90}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "b.KSM"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.KSM").substr(512),
            kOpening + kStitchesAhead + Record(2, 2) + kJumpsAhead + kColour + Record(0, 0) +
                kJumpsAhead + kEnd);
}

TEST(KsmWriting, TheHeaderCarriesTheTagOnlyForAnUpperCaseM) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 10, 10}, {KindColour, 0, 0}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.KSM"), 0);
  ASSERT_EQ(convert(dir / "a.DST", dir / "c.ksm"), 0);
  const std::string upper = test::ReadBytes(dir / "b.KSM");
  EXPECT_EQ(upper.substr(0, 20), "LA:a.DST    DSC.PFA\r");
  EXPECT_EQ(test::ReadBytes(dir / "c.ksm").substr(12, 8), "DSC.   \r");
  EXPECT_EQ(test::Field(upper, 31, 7), "CO:  2\r");
  EXPECT_EQ(test::Field(upper, 38, 9), "+X:   10\r");
  EXPECT_EQ(upper.substr(512, 3), kOpening);
}

// Every movement either axis can take comes back from KSM as DST wrote it.
TEST(KsmWriting, EveryMovementRoundTripsThroughDst) {
  std::vector<Rec> records;
  for (int v = -121; v <= 121; ++v) {
    records.push_back({KindStitch, static_cast<int16_t>(v), static_cast<int16_t>(-v / 2)});
    records.push_back({KindStitch, static_cast<int16_t>(-v), static_cast<int16_t>(v / 2)});
    records.push_back({KindStitch, static_cast<int16_t>(v / 3), static_cast<int16_t>(v)});
    records.push_back({KindStitch, static_cast<int16_t>(-v / 3), static_cast<int16_t>(-v)});
  }
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.KSM"), 0);
  ASSERT_EQ(convert(dir / "b.KSM", dir / "c.DST"), 0);
  // The opening jump, the stitches as they were, and the end.
  EXPECT_EQ(test::ReadBytes(dir / "c.DST").substr(512),
            Bytes({0, 0, 0x83}) + DstFile(records).substr(512));
}

// A KSM file: a head of 512 bytes (zero, as other programs write it) and the records.
std::string KsmFile(const std::string& records) { return std::string(512, '\0') + records; }

using Read = test::Step;
using test::StepsOf;

TEST(KsmReading, TheEdgeCasesReadTheSameThroughBothFaces) {
  test::TempDir dir;
  // A colour change after a stitch, as this system writes it: the 0x93 is dropped, the
  // 0x8B is a change of no movement, and the change's own record is a jump.
  test::WriteBytes(dir / "a.KSM", KsmFile(kOpening + kStitchesAhead + Record(1, 2) +
                                          kJumpsAhead + kColour + Record(-3, 4) +
                                          kStitchesAhead + Record(0, 0) + kEnd));
  const std::vector<Read> want = {{KindStitch, 1, 2, 1},
                                  {KindColour, 0, 0, 2},
                                  {KindJump, -3, 4, 2},
                                  {KindStitch, 0, 0, 2}};  // 0x80 of no movement: a stitch here
  EXPECT_EQ(StepsOf(dir / "a.KSM", false), want);
  EXPECT_EQ(StepsOf(dir / "a.KSM", true), want);

  // 0x80 of no movement in jump mode is a jump; a colour code carries its movement; a
  // marker that moves is a step of the mode it sets; 0x88 ends whatever follows, and a
  // marker with sign bits (0xE8, as one sample ends) is no end.
  test::WriteBytes(dir / "b.KSM", KsmFile(kOpening + Record(0, 0) + Record(5, -5, 0x0C) +
                                          Record(2, 2, 0x19) + Bytes({0, 0, 0xE8}) +
                                          Record(1, 1) + Bytes({9, 9, 0x88}) + Record(4, 4)));
  const std::vector<Read> wantB = {{KindJump, 0, 0, 1},
                                   {KindColour, 5, -5, 2},
                                   {KindStitch, 2, 2, 2},
                                   {KindJump, 1, 1, 2}};
  EXPECT_EQ(StepsOf(dir / "b.KSM", false), wantB);
  EXPECT_EQ(StepsOf(dir / "b.KSM", true), wantB);

  // The dropped markers are cycles all the same: "ST:" counts them, and the end.
  Converter convert;
  ASSERT_EQ(convert(dir / "a.KSM", dir / "a.DST"), 0);
  const std::string dst = test::ReadBytes(dir / "a.DST");
  EXPECT_EQ(test::Field(dst, 20, 11), "ST:      9\r");
  EXPECT_EQ(dst.substr(512), Bytes({0, 0, 0x83}) + DstRecord(KindStitch, 1, 2) +
                                 DstRecord(KindColour, 0, 0) + DstRecord(KindJump, -3, 4) +
                                 DstRecord(KindStitch, 0, 0) + kDstEnd);
  ASSERT_EQ(Convert(dir / "a.KSM", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.DST"), dst);
}

TEST(KsmReading, OtherWritersEndJumpsWith0x18AndPairTheirColourChanges) {
  test::TempDir dir;
  // Jumps, stitches, the colour pair 9B 9C, a jump, 0x98 ending the jumps, a stitch.
  test::WriteBytes(dir / "a.KSM",
                   KsmFile(kOpening + Record(5, 5) + kStitchesAhead + Record(1, 2) +
                           Bytes({0, 0, 0x9B, 0, 0, 0x9C}) + Record(3, -4) +
                           Bytes({0, 0, 0x98}) + Record(1, 1) + kEnd));
  // The library: a colour change, and the last record a stitch.
  EXPECT_EQ(StepsOf(dir / "a.KSM", true),
            (std::vector<Read>{{KindJump, 5, 5, 1},
                               {KindStitch, 1, 2, 1},
                               {KindColour, 0, 0, 2},
                               {KindJump, 3, -4, 2},
                               {KindStitch, 1, 1, 2}}));
  // The class: every code but 0x19 switches jump mode on, and no change is counted.
  EXPECT_EQ(StepsOf(dir / "a.KSM", false),
            (std::vector<Read>{{KindJump, 5, 5, 1},
                               {KindStitch, 1, 2, 1},
                               {KindJump, 3, -4, 1},
                               {KindJump, 1, 1, 1}}));

  Converter convert;
  ASSERT_EQ(convert(dir / "a.KSM", dir / "class.DST"), 0);
  ASSERT_EQ(Convert(dir / "a.KSM", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.DST").substr(515),
            DstRecord(KindJump, 5, 5) + DstRecord(KindStitch, 1, 2) +
                DstRecord(KindColour, 0, 0) + DstRecord(KindJump, 3, -4) +
                DstRecord(KindStitch, 1, 1) + kDstEnd);
  EXPECT_EQ(test::ReadBytes(dir / "class.DST").substr(515),
            DstRecord(KindJump, 5, 5) + DstRecord(KindStitch, 1, 2) +
                DstRecord(KindJump, 3, -4) + DstRecord(KindJump, 1, 1) + kDstEnd);
}

TEST(KsmReading, ThisSystemsKsmReadsAlikeThroughBothFaces) {
  test::TempDir dir;
  // Jumps, stitches, the longest moves, and colour changes, each with stitches behind.
  std::vector<Rec> design{{KindJump, -40, 30}, {KindJump, 121, -121}};
  for (int i = 0; i < 6; ++i) {
    design.push_back({KindStitch, static_cast<int16_t>(i * 7 - 20), static_cast<int16_t>(5 - i)});
    design.push_back({KindStitch, static_cast<int16_t>(100 - i), static_cast<int16_t>(i * 20)});
    design.push_back({KindColour, 0, 0});
    design.push_back({KindJump, 0, 0});
    design.push_back({KindJump, 12, -30});
  }
  design.push_back({KindStitch, 3, 3});
  test::WriteBytes(dir / "a.DST", DstFile(design));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "ours.KSM"), 0);
  ASSERT_EQ(convert(dir / "ours.KSM", dir / "class.DST"), 0);
  ASSERT_EQ(Convert(dir / "ours.KSM", dir / "library.DST").value(), 0);
  const std::string viaClass = test::ReadBytes(dir / "class.DST");
  EXPECT_EQ(test::ReadBytes(dir / "library.DST"), viaClass);
  EXPECT_EQ(StepsOf(dir / "ours.KSM", true), StepsOf(dir / "ours.KSM", false));
  // Every stitch and colour change of the source where it was; a change's own record
  // comes back as a jump behind it.
  EXPECT_EQ(test::NeedlesOf(dir / "library.DST"), test::NeedlesOf(dir / "a.DST"));
}

TEST(KsmHostile, TruncatedFilesKeepEveryWholeRecordBeforeTheCut) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(40, 60, -70, 9));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "whole.KSM"), 0);
  const std::string whole = test::ReadBytes(dir / "whole.KSM");
  // The class's reading; the library's differs only where a cut leaves a colour change
  // with no stitch behind it, which it doesn't count.
  const std::vector<Read> all = StepsOf(dir / "whole.KSM", false);
  ASSERT_GT(all.size(), 40u);
  for (size_t cut = 0; cut < whole.size(); ++cut) {
    const std::string path = dir / "cut.KSM";
    test::WriteBytes(path, whole.substr(0, cut));
    const std::vector<Read> got = StepsOf(path, false);
    ASSERT_LE(got.size(), all.size()) << cut;
    EXPECT_TRUE(std::equal(got.begin(), got.end(), all.begin())) << cut;
    // A cut inside the head leaves no design: the library says so.
    if (cut < 512) {
      EXPECT_EQ(Convert(path, dir / "cut.DST"), ConvertErrc::UnsoundSource) << cut;
      continue;
    }
    EXPECT_EQ(Convert(path, dir / "cut.DST").value(), 0) << cut;
    EXPECT_EQ(test::NeedlesOf(dir / "cut.DST"), test::NeedlesOf(path)) << cut;
  }
}

TEST(KsmHostile, ScrambledRecordsConvertWithoutLosingTheirWay) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(200, 0, 0, 50));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "whole.KSM"), 0);
  const std::string whole = test::ReadBytes(dir / "whole.KSM");
  std::mt19937 random(3);
  for (int round = 0; round < 40; ++round) {
    std::string bytes = whole;
    for (int n = 0; n < 30; ++n) {
      bytes[512 + random() % (bytes.size() - 512)] = static_cast<char>(random() & 0xFF);
    }
    test::WriteBytes(dir / "s.KSM", bytes);
    for (bool library : {false, true}) {
      std::filesystem::remove(dir / "s.DST");
      const int result = library ? Convert(dir / "s.KSM", dir / "s.DST").value()
                                 : convert(dir / "s.KSM", dir / "s.DST");
      // Every record is read at most once, so nothing runs away; a run that fails (a
      // sum out of range) leaves no destination.
      if (result != 0) {
        EXPECT_FALSE(std::filesystem::exists(dir / "s.DST")) << round;
        continue;
      }
      // A record of up to 127 units is split in two; the opening jump is one more.
      EXPECT_LE(test::NeedlesOf(dir / "s.DST", true).size(), 2 * (bytes.size() - 512) / 3 + 1)
          << round;
      EXPECT_EQ(test::ReadBytes(dir / "s.DST").substr(test::ReadBytes(dir / "s.DST").size() - 3),
                kDstEnd)
          << round;
    }
    EXPECT_LE(StepsOf(dir / "s.KSM", true).size(), (bytes.size() - 512) / 3);
  }
}

}  // namespace
}  // namespace tavlin
