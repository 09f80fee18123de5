// EXP and 10O: their records byte by byte, read and written through the class and the
// library, the layouts other programs write, the real samples, and damaged files.
#include <gtest/gtest.h>

#include <random>

#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::DstRecord;
using test::Rec;

struct Step {
  int x, y, kind, colour;
  bool operator==(const Step&) const = default;
};

void PrintTo(const Step& s, std::ostream* out) {
  *out << "(" << s.x << ", " << s.y << " kind " << s.kind << " colour " << s.colour << ")";
}

// The steps the library reads from a file.
std::vector<Step> LibrarySteps(const std::string& path) {
  std::vector<Step> steps;
  EXPECT_EQ(ReadDesign(path,
                       [&steps](const DesignStep& s) {
                         steps.push_back({s.x, s.y, static_cast<int>(s.kind), s.colour});
                       }).value(),
            0)
      << path;
  return steps;
}

// The steps the class reads from a file: converted by the class to DST, whose records
// say every kind that matters here, and read from there behind the DST's opening jump.
// A DST keeps no colour on a jump: a colour raised by a jump shows at the next change.
std::vector<Step> ClassSteps(const std::string& path) {
  const std::string dst = path + ".class.DST";
  Converter convert;
  EXPECT_EQ(convert(path, dst), 0) << path;
  std::vector<Step> steps = LibrarySteps(dst);
  EXPECT_FALSE(steps.empty());
  if (!steps.empty()) steps.erase(steps.begin());
  return steps;
}

constexpr int kStitch = KindStitch, kJump = KindJump, kColour = KindColour, kTrim = KindTrim;

// Converts a DST of these records with the class, and with the library, and gives both
// destinations' bytes.
std::pair<std::string, std::string> Written(const std::vector<Rec>& records, const std::string& dest) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / ("class" + dest)), 0);
  EXPECT_EQ(Convert(dir / "a.DST", dir / ("library" + dest)).value(), 0);
  return {test::ReadBytes(dir / ("class" + dest)), test::ReadBytes(dir / ("library" + dest))};
}

TEST(Exp, WritesControlPairsAndSignedBytesWithNothingAtTheEnd) {
  const auto [byClass, byLibrary] =
      Written({{KindStitch, 3, -2}, {KindJump, 10, 5}, {KindColour, 5, -5}, {KindMark, 0, 0},
               {KindStitch, -121, 121}},
              ".EXP");
  const std::string expected = Bytes({0x03, 0xFE, 0x80, 0x04, 0x0A, 0x05, 0x80, 0x01, 0x05, 0xFB,
                                      0x80, 0x80, 0x00, 0x00, 0x87, 0x79});
  EXPECT_EQ(byClass, expected);
  EXPECT_EQ(byLibrary, expected);
}

TEST(Exp, AnEmptyDesignIsAnEmptyFile) {
  const auto [byClass, byLibrary] = Written({}, ".EXP");
  EXPECT_EQ(byClass, "");
  EXPECT_EQ(byLibrary, "");
}

// EXP has one reading: other programs write it as this system does.
TEST(Exp, ControlPairsGiveTheKindOfTheStepBehindThemAlikeOnBothFaces) {
  test::TempDir dir;
  struct Case {
    std::string bytes;
    std::vector<Step> steps;
    std::vector<Step> throughDst{};  // where a DST can't hold what was read
  };
  const std::vector<Case> cases = {
      // A colour change with the step (5, -5).
      {Bytes({0x80, 0x01, 0x05, 0xFB}), {{5, -5, kColour, 2}}},
      // The pair behind a mark is gone: one step (2, 2).
      {Bytes({0x80, 0x80, 0x01, 0x01, 0x02, 0x02}), {{2, 2, kStitch, 1}}},
      // The dropped pair is dropped even when it is a control pair.
      {Bytes({0x80, 0x80, 0x80, 0x01, 0x02, 0x02}), {{2, 2, kStitch, 1}}},
      // Every code of each kind.
      {Bytes({0x80, 0x03, 1, 1, 0x80, 0x05, 1, 1, 0x80, 0x07, 1, 1, 0x80, 0x09, 1, 1}),
       {{1, 1, kColour, 2}, {1, 1, kColour, 3}, {1, 1, kColour, 4}, {1, 1, kColour, 5}}},
      {Bytes({0x80, 0x02, 1, 1, 0x80, 0x04, 1, 1, 0x80, 0x06, 1, 1}),
       {{1, 1, kJump, 1}, {1, 1, kJump, 1}, {1, 1, kJump, 1}}},
      // The last control pair decides: a colour change then a jump is a jump of the
      // next colour; a mark after a colour leaves a stitch.
      {Bytes({0x80, 0x01, 0x80, 0x04, 0x03, 0x04}), {{3, 4, kJump, 2}}, {{3, 4, kJump, 1}}},
      {Bytes({0x80, 0x01, 0x80, 0x80, 0x09, 0x09, 0x03, 0x04}), {{3, 4, kStitch, 2}},
       {{3, 4, kStitch, 1}}},
      // A second byte that is no control: a step with -128 on X, which the frame splits
      // on its way to a DST.
      {Bytes({0x80, 0x08}), {{-128, 8, kStitch, 1}},
       {{-42, 2, kJump, 1}, {-42, 2, kJump, 1}, {-44, 4, kStitch, 1}}},
      // A control pair, a mark or half a pair at the end of the file: nothing.
      {Bytes({0x05, 0x06, 0x80, 0x01}), {{5, 6, kStitch, 1}}},
      {Bytes({0x05, 0x06, 0x80, 0x80, 0x01, 0x01}), {{5, 6, kStitch, 1}}},
      {Bytes({0x05, 0x06, 0x07}), {{5, 6, kStitch, 1}}},
  };
  int n = 0;
  for (const Case& c : cases) {
    const std::string path = dir / ("case" + std::to_string(n++) + ".EXP");
    test::WriteBytes(path, c.bytes);
    EXPECT_EQ(LibrarySteps(path), c.steps) << "case " << n - 1;
    EXPECT_EQ(ClassSteps(path), c.throughDst.empty() ? c.steps : c.throughDst) << "case " << n - 1;
  }
}

// The class closes with three zero bytes, which other programs' readers sew as a stitch
// behind the last jump; the library with their end code 0x87, which the class reads as a
// colour change.
TEST(TenO, WritesSignsMagnitudesAndFlagsAndClosesWithThreeZeroBytes) {
  const auto [byClass, byLibrary] =
      Written({{KindStitch, -3, -2}, {KindColour, 0, 0}, {KindJump, 0, 0},
               {KindStitch, 121, -121}, {KindColour, -7, 9}, {KindJump, 5, 5}},
              ".10O");
  const std::string records = Bytes({0xE0, 0x02, 0x03, 0x84, 0x00, 0x00, 0x90, 0x00, 0x00,
                                     0xC0, 0x79, 0x79, 0xA4, 0x09, 0x07, 0x90, 0x05, 0x05});
  EXPECT_EQ(byClass, records + Bytes({0x00, 0x00, 0x00}));
  EXPECT_EQ(byLibrary, records + Bytes({0x87, 0x00, 0x00}));
  // An empty design is the closing record alone.
  EXPECT_EQ(Written({}, ".10O").first, Bytes({0, 0, 0}));
  EXPECT_EQ(Written({}, ".10O").second, Bytes({0x87, 0, 0}));
  // Read back, the library's file ends at its end code; the class's gains a change there,
  // and a stitch of no length behind the class's own last jump.
  test::TempDir dir;
  test::WriteBytes(dir / "library.10O", byLibrary);
  test::WriteBytes(dir / "class.10O", byClass);
  const size_t steps = 6;
  EXPECT_EQ(test::StepsOf(dir / "library.10O", true).size(), steps);
  EXPECT_EQ(test::StepsOf(dir / "library.10O", false).back(), (test::Step{KindColour, 0, 0, 4}));
  EXPECT_EQ(test::StepsOf(dir / "class.10O", false).back(), (test::Step{KindStitch, 0, 0, 3}));
}

// 10O sews a colour change that names a needle. A DSZ names the needle at every change:
// the class writes those as stitches, the library goes by way of DST and keeps them.
TEST(TenO, NeedleChangesOfADszAreStitchesForTheClassAndChangesForTheLibrary) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') + Bytes({4, 3, 0x80, 2, 1, 0x85, 1, 1, 0x80}) +
                                      Bytes({0, 0, 0x90}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "class.10O"), 0);
  ASSERT_EQ(Convert(dir / "a.DSZ", dir / "library.10O").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.10O"),
            Bytes({0x80, 4, 3, 0x80, 2, 1, 0x80, 1, 1, 0, 0, 0}));
  // The DST's opening jump comes along.
  EXPECT_EQ(test::ReadBytes(dir / "library.10O"),
            Bytes({0x90, 0, 0, 0x80, 4, 3, 0x84, 2, 1, 0x80, 1, 1, 0x87, 0, 0}));
}

TEST(TenO, FlagBitsSignsAndAPartialRecordReadAlikeOnBothFaces) {
  test::TempDir dir;
  const std::string path = dir / "a.10O";
  test::WriteBytes(path, Bytes({0xE0, 0x02, 0x03,   // (-3, -2)
                                0x84, 0x00, 0x00,   // a colour change
                                0x90, 0x00, 0x00,   // a jump
                                0x94, 0x01, 0x01,   // both bits: the jump wins, the colour is raised
                                0xF0, 0x79, 0x79,   // a jump (-121, -121)
                                0x84, 0x00, 0x00,   // a colour change
                                0x80, 0x05}));      // half a record: dropped
  EXPECT_EQ(LibrarySteps(path),
            (std::vector<Step>{{-3, -2, kStitch, 1}, {0, 0, kColour, 2}, {0, 0, kJump, 2},
                               {1, 1, kJump, 3}, {-121, -121, kJump, 3}, {0, 0, kColour, 4}}));
  EXPECT_EQ(ClassSteps(path),
            (std::vector<Step>{{-3, -2, kStitch, 1}, {0, 0, kColour, 2}, {0, 0, kJump, 2},
                               {1, 1, kJump, 2}, {-121, -121, kJump, 2}, {0, 0, kColour, 3}}));
}

// Other programs open with 0x8A, trim with 0x81 and end with 0x87; this system closes
// with three zero bytes. The library reads both for what they are; the class reads the
// flag bits alone, so the codes are stitches of no length and the end a colour change.
TEST(TenO, OpeningTrimAndEndOfOtherWritersAndTheClosingRecordByFace) {
  test::TempDir dir;
  const std::string theirs = dir / "theirs.10O";
  test::WriteBytes(theirs, Bytes({0x8A, 0, 0, 0x80, 1, 1, 0x81, 0, 0, 0x90, 5, 5, 0x85, 0, 0,
                                  0x80, 2, 2, 0x87, 0, 0}));
  EXPECT_EQ(LibrarySteps(theirs),
            (std::vector<Step>{{1, 1, kStitch, 1}, {0, 0, kTrim, 1}, {5, 5, kJump, 1},
                               {0, 0, kColour, 2}, {2, 2, kStitch, 2}}));
  EXPECT_EQ(ClassSteps(theirs),
            (std::vector<Step>{{0, 0, kStitch, 1}, {1, 1, kStitch, 1}, {0, 0, kStitch, 1},
                               {5, 5, kJump, 1}, {0, 0, kColour, 2}, {2, 2, kStitch, 2},
                               {0, 0, kColour, 3}}));
  // The trim reaches a DST drawn as six jumps ahead of the next step, which is a jump.
  ASSERT_EQ(Convert(theirs, dir / "theirs.DST").value(), 0);
  const std::vector<std::string> records = test::RecordsOf(test::ReadBytes(dir / "theirs.DST"), 515);
  ASSERT_GE(records.size(), 10u);
  EXPECT_EQ(records[1], DstRecord(KindJump, 0, 3));
  EXPECT_EQ(records[6], DstRecord(KindJump, 0, -3));
  EXPECT_EQ(records[7], DstRecord(KindJump, 0, 0));
  EXPECT_EQ(records[8], DstRecord(KindJump, 5, 5));

  const std::string ours = dir / "ours.10O";
  test::WriteBytes(ours, Bytes({0x80, 1, 1, 0xA0, 2, 2, 0, 0, 0}));
  EXPECT_EQ(LibrarySteps(ours), (std::vector<Step>{{1, 1, kStitch, 1}, {-2, 2, kStitch, 1}}));
  EXPECT_EQ(ClassSteps(ours), (std::vector<Step>{{1, 1, kStitch, 1}, {-2, 2, kStitch, 1},
                                                  {0, 0, kStitch, 1}}));
}

// The needles of a DST this system wrote, behind its opening jump of no movement.
std::vector<test::Needle> NeedlesBehindOpening(const std::string& path) {
  std::vector<test::Needle> needles = test::NeedlesOf(path, true);
  EXPECT_FALSE(needles.empty()) << path;
  if (!needles.empty()) needles.erase(needles.begin());
  return needles;
}

// A design with stitches, jumps, long moves and colours: through each format and back to
// DST with every needle position and colour change kept.
TEST(ExpAndTenO, ADesignRoundTripsThroughDstWithEveryNeedleKept) {
  test::TempDir dir;
  std::vector<Rec> records = {{KindJump, 100, 60}};
  for (int colour = 0; colour < 4; ++colour) {
    for (int i = 0; i < 30; ++i) {
      records.push_back({KindStitch, static_cast<int16_t>(i % 2 == 0 ? 40 - colour : -35),
                         static_cast<int16_t>(i % 3 - 1)});
    }
    records.push_back({KindJump, -110, static_cast<int16_t>(90 - 40 * colour)});
    records.push_back({KindColour, 12, -7});
  }
  records.push_back({KindStitch, 121, 121});
  test::WriteBytes(dir / "a.DST", DstFile(records));
  // The DST splits nothing: a 121 step stays whole.
  const std::vector<test::Needle> expected = test::NeedlesOf(dir / "a.DST", true);
  ASSERT_EQ(expected.size(), records.size());
  for (const std::string end : {".EXP", ".10O"}) {
    ASSERT_EQ(Convert(dir / "a.DST", dir / ("b" + end)).value(), 0) << end;
    ASSERT_EQ(Convert(dir / ("b" + end), dir / ("back" + end + ".DST")).value(), 0) << end;
    EXPECT_EQ(NeedlesBehindOpening(dir / ("back" + end + ".DST")), expected) << end;
    // The class, too, where its reading of this system's files agrees.
    Converter convert;
    ASSERT_EQ(convert(dir / ("b" + end), dir / ("class" + end + ".DST")), 0) << end;
    std::vector<test::Needle> byClass = NeedlesBehindOpening(dir / ("class" + end + ".DST"));
    // For the class the 10O's closing record is one more stitch of no length.
    if (std::string(end) == ".10O") {
      ASSERT_FALSE(byClass.empty());
      EXPECT_EQ(byClass.back().x, expected.back().x);
      EXPECT_EQ(byClass.back().y, expected.back().y);
      byClass.pop_back();
    }
    EXPECT_EQ(byClass, expected) << end;
  }
}

// The class reads the shamrock's opening and trim as stitches and its end as a colour
// change; the library's reading stands with every other sample's.
TEST(TenO, TheClassReadsAnotherProgramsFileByTheReferenceRules) {
  test::TempDir dir;
  Converter convert;
  ASSERT_EQ(convert(test::Samples() + "/shamrockin.10o", dir / "class.DST"), 0);
  DesignSummary byClass;
  ASSERT_EQ(SummariseDesign(dir / "class.DST", byClass).value(), 0);
  EXPECT_EQ(byClass.stitches, 1473 + 2);
  EXPECT_EQ(byClass.colourChanges, 1);
}

// Damaged files: cut at every length and with records scrambled, both faces end with a
// result, and a cut file keeps the steps ahead of the cut.
TEST(ExpAndTenO, TruncatedAndScrambledRecordsEndCleanly) {
  test::TempDir dir;
  std::vector<Rec> records;
  for (int i = 0; i < 40; ++i) {
    records.push_back({static_cast<int16_t>(i % 7 == 0 ? KindJump : i % 11 == 0 ? KindColour
                                                                                 : KindStitch),
                       static_cast<int16_t>(i - 20), static_cast<int16_t>(15 - i)});
  }
  test::WriteBytes(dir / "a.DST", DstFile(records));
  std::mt19937 random(7);
  for (const std::string end : {".EXP", ".10O"}) {
    const std::string whole = dir / ("whole" + end);
    ASSERT_EQ(Convert(dir / "a.DST", whole).value(), 0);
    const std::string bytes = test::ReadBytes(whole);
    const size_t wholeSteps = LibrarySteps(whole).size();
    size_t previous = 0;
    for (size_t cut = 0; cut <= bytes.size(); ++cut) {
      const std::string path = dir / ("cut" + end);
      test::WriteBytes(path, bytes.substr(0, cut));
      const size_t steps = LibrarySteps(path).size();
      EXPECT_GE(steps, previous) << end << " cut at " << cut;
      EXPECT_LE(steps, wholeSteps) << end << " cut at " << cut;
      previous = steps;
      Converter convert;
      EXPECT_EQ(convert(path, dir / "cut.DST"), 0) << end << " cut at " << cut;
    }
    EXPECT_EQ(previous, wholeSteps) << end;
    for (int round = 0; round < 50; ++round) {
      std::string scrambled = bytes;
      for (int n = 0; n < 8; ++n) {
        scrambled[random() % scrambled.size()] = static_cast<char>(random() & 0xFF);
      }
      const std::string path = dir / ("scrambled" + end);
      test::WriteBytes(path, scrambled);
      test::WriteBytes(dir / "out.DST", "before");
      const int result = Convert(path, dir / "out.DST").value();
      if (result != 0) {
        EXPECT_EQ(test::ReadBytes(dir / "out.DST"), "before");
      }
      Converter convert;
      convert(path, dir / "class.DST");
    }
  }
}

}  // namespace
}  // namespace tavlin
