// One design that another program saved in several formats: each file must read as
// the design its DST holds, and convert to a DST that does too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "conversion/convert.h"
#include "pes_files.h"
#include "tables/coordinate_tables.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

struct Shape {
  int64_t stitches = 0;
  int64_t colourChanges = 0;
  double width = 0;   // 0.1 mm
  double height = 0;
};

Shape ShapeOf(const std::string& path) {
  DesignSummary s;
  EXPECT_EQ(SummariseDesign(path, s).value(), 0) << path;
  return {s.stitches, s.colourChanges, s.plusX + s.minusX, s.plusY + s.minusY};
}

// The other program splits a few long stitches its own way per format: the stitches
// agree within 3 %, the colour changes exactly, the size within 0.5 mm.
void ExpectSameDesign(const Shape& got, const Shape& want, const std::string& what) {
  EXPECT_LE(std::abs(static_cast<double>(got.stitches - want.stitches)),
            0.03 * static_cast<double>(want.stitches))
      << what << ": " << got.stitches << " stitches, the DST has " << want.stitches;
  EXPECT_EQ(got.colourChanges, want.colourChanges) << what;
  EXPECT_NEAR(got.width, want.width, 5.0) << what;
  EXPECT_NEAR(got.height, want.height, 5.0) << what;
}

// Every sample another program wrote, in every format this build reads, reads as the
// design of the same program's DST and converts to a DST that does too: a format that
// lands is covered here the day it reads.
TEST(OtherWriters, EverySampleReadsAsItsDst) {
  const std::string samples = test::Samples();
  const Shape shamrock = ShapeOf(samples + "/shamrockin.dst");
  // What the DSTs hold, so that a wrong reading of them can't pass for agreement.
  ASSERT_EQ(shamrock.stitches, 1473);
  ASSERT_EQ(shamrock.colourChanges, 0);
  ASSERT_EQ(shamrock.width, 499);
  ASSERT_EQ(shamrock.height, 493);
  const Shape star = ShapeOf(samples + "/Star.DST");
  ASSERT_EQ(star.stitches, 2550);
  ASSERT_EQ(star.colourChanges, 1);
  // The star's Barudan files hold another stitching of it, read below against their own
  // heads and records. Star.PCM holds another digitising of the star, not its DST's:
  // 2,446 stitches, satin points set otherwise, the whole moved by (-199, 175)
  // (pcm_pcs_test.cpp shows it).
  const std::set<std::string> readApart = {"Star.DSB", "Star.DSZ", "Star.u01", "Star.PCM"};
  test::TempDir dir;
  int compared = 0;
  for (const auto& entry : std::filesystem::directory_iterator(samples)) {
    const std::string name = entry.path().filename().string();
    const bool ofShamrock = name.rfind("shamrockin.", 0) == 0;
    if (!ofShamrock && name.rfind("Star.", 0) != 0) continue;
    if (name == "shamrockin.dst" || name == "Star.DST" || readApart.count(name) != 0) continue;
    if (!WhyNotConvertible(entry.path().string(), dir / "x.DST").empty()) continue;
    const Shape& want = ofShamrock ? shamrock : star;
    ExpectSameDesign(ShapeOf(entry.path().string()), want, name);
    const std::string out = dir / (name + ".DST");
    ASSERT_EQ(Convert(entry.path().string(), out).value(), 0) << name;
    ExpectSameDesign(ShapeOf(out), want, name + " as DST");
    ++compared;
  }
  EXPECT_GE(compared, 9);
}

// Star.DSB and Star.DSZ are another digitising of the star than Star.DST: after the
// first jumps their needle points differ from the DST's (1,213 of 2,443 are nowhere in
// it). They read as what they hold: the 2,448 records their headers announce ("ST:"
// counts the end record too), the same colour change and the DST's size. Star.u01 is
// the DST's stitching but for ten stitches, and ends with a needle change (code 9) that
// only two jumps follow: no colour change, as nothing is sewn behind it.
TEST(OtherWriters, TheStarsBarudanFilesReadAsTheyStand) {
  const std::string samples = test::Samples();
  const Shape star = ShapeOf(samples + "/Star.DST");
  for (const std::string name : {"Star.DSB", "Star.DSZ"}) {
    DesignSummary s;
    ASSERT_EQ(SummariseDesign(samples + "/" + name, s).value(), 0) << name;
    const std::string head = test::ReadBytes(samples + "/" + name).substr(0, 512);
    EXPECT_EQ(head.substr(20, 11), "ST:   2449\r") << name;
    EXPECT_EQ(s.records + 1, 2449) << name;
    EXPECT_EQ(s.stitches, 2443) << name;
    EXPECT_EQ(s.colourChanges, star.colourChanges) << name;
    EXPECT_NEAR(s.plusX + s.minusX, star.width, 5.0) << name;
    EXPECT_NEAR(s.plusY + s.minusY, star.height, 5.0) << name;
  }
  ExpectSameDesign(ShapeOf(samples + "/Star.u01"), star, "Star.u01");
}

TEST(OtherWriters, ShamrockThroughTheClassWhereTheRulesMeetAndWhereTheyPart) {
  const std::string base = test::Samples() + "/shamrockin.";
  test::TempDir dir;
  test::Converter convert;
  // The wrapper's rule is one: the class reads the T01 to the same file.
  ASSERT_EQ(convert(base + "t01", dir / "class.DST"), 0);
  ASSERT_EQ(Convert(base + "t01", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.DST").substr(512),
            test::ReadBytes(dir / "library.DST").substr(512));
  EXPECT_EQ(ShapeOf(dir / "class.DST").stitches, 1473);
  // DSB's and DSZ's trims and DSZ's end are two rules. The library reads exactly the
  // DST's stitches and the trims (one in the DSB, two in the DSZ and the T03, whose
  // records are DSB's); the class reads trims and end as stitches of no length.
  for (const auto& [end, trims] : {std::pair<std::string, int>{"dsb", 1}, {"dsz", 2}, {"t03", 2}}) {
    DesignSummary library;
    ASSERT_EQ(SummariseDesign(base + end, library).value(), 0);
    EXPECT_EQ(library.stitches, 1473) << end;
    EXPECT_EQ(library.others, trims) << end;
    ASSERT_EQ(convert(base + end, dir / "class.DST"), 0);
    // The DSZ's end record is a third stitch of no length for the class.
    EXPECT_EQ(ShapeOf(dir / "class.DST").stitches, 1473 + trims + (end == "dsz" ? 1 : 0)) << end;
  }
}

// Files of other programs, built from what their bytes were seen to hold, read by the
// library as their makers write them and by the class by its own rules: a row each.
struct FileCase {
  const char* what;
  std::string name;  // its extension chooses the reader
  std::string bytes;
  std::vector<test::Needle> library;  // every step: where it leaves the needle, its kind
  int16_t classResult = 0;
  std::optional<std::vector<test::Needle>> byClass;  // where the class's steps are shown
};

std::string PesWith(const std::string& pec, const std::string& version = "#PES0001",
                    const std::string& sections = "") {
  using namespace test::pes;
  return PesFile(version, version == "#PES0001" ? "" : kTallHoop, {}, pec, 0, sections);
}

// The head's colour byte 0xFF: no colours.
std::string NoColours(std::string pec) { return pec.replace(48, 1, test::Bytes({0xFF})); }

std::string PcsAt(int x, int y) {
  const CoordCode cx = *CoordBytesX(x), cy = *CoordBytesY(y);
  return test::Bytes({cx.fraction, cx.middle, cx.high, 0, cy.fraction, cy.middle, cy.high, 0, 0});
}

TEST(OtherWriters, FilesOfOtherProgramsReadAsTheyWereWritten) {
  using namespace test::pes;
  using test::Bytes;
  constexpr int16_t S = KindStitch, J = KindJump, C = KindColour;
  const std::string plainStart = Bytes({0, 0, 0, 0});
  const std::string tallStream = Bytes({0x00, 0x80, 0x64, 0x00, 0x80, 0x64});  // 100 down, twice
  const std::string blank(512, ' ');
  const std::string pcsHead = Bytes({0x32, 0x03, 0x10}) + std::string(64, '\0') + Bytes({0, 3, 0}) +
                              Bytes({0, 0, 0, 0, 0, 0, 0, 0, 3});
  const std::vector<FileCase> cases = {
      {"a PEC start of 9F 06 9F 06 is (-250, -250): the class reads 3,846", "neg.PES",
       PesWith(WithStart(PecBlock(Bytes({0x80, 0xFA, 0x00, 0x80, 0xFA, 0x00, 0x00, 0x81, 0xF4}), 500, 500),
                         Bytes({0x9F, 0x06, 0x9F, 0x06}))),
       {{0, 0, S, 1}, {250, 0, S, 1}, {500, 0, S, 1}, {500, 500, S, 1}}, 0,
       std::vector<test::Needle>{{3846, 3596, J, 1}, {4096, 3596, S, 1}, {4096, 4096, S, 1}}},
      {"90 02 9F BA is (+2, -70)", "up.PES",
       PesWith(WithStart(PecBlock(Bytes({0x90, 0x0A, 0x90, 0x50, 0x05, 0x05, 0x7B, 0x05}), 100, 100),
                         Bytes({0x90, 0x02, 0x9F, 0xBA}))),
       {{10, 80, J, 1}, {15, 85, S, 1}, {10, 90, S, 1}}, 0,
       std::vector<test::Needle>{{-38, 4056, J, 1}, {-33, 4061, S, 1}, {-38, 4066, S, 1}}},
      {"the maker's empty design: no colours, no stitches, start fields of nothing", "empty.PES",
       PesWith(WithStart(NoColours(PecBlock("")), plainStart), "#PES0060"), {}, kOverflow, {}},
      {"a converter's start fields as plain numbers", "plain.PES",
       PesWith(WithStart(PecBlock(Bytes({0x05, 0x05, 0x05, 0x05}), 100, 100), plainStart)),
       {{0, 0, S, 1}, {5, 5, S, 1}, {10, 10, S, 1}}, kOverflow, {}},
      {"a head whose offset misses its PEC block", "v10.PES",
       [] {
         std::string file = PesWith(PecBlock(Bytes({0x05, 0x05})), "#PES0100");
         return file.replace(8, 4, Le16(16) + Le16(0));
       }(),
       {{0, 0, S, 1}, {5, 5, S, 1}}, 0, {}},
      {"a stream that opens with a move sews nothing at its start", "move.PES",
       PesWith(PecBlock(Bytes({0x90, 0x0A, 0x90, 0x0A, 0x05, 0x00, 0x05, 0x00}))),
       {{10, 10, J, 1}, {15, 10, S, 1}, {20, 10, S, 1}}, 0,
       std::vector<test::Needle>{{10, 10, J, 1}, {15, 10, S, 1}, {20, 10, S, 1}}},
      {"a first record of no length is the stitch at the start", "zero.PES",
       PesWith(PecBlock(Bytes({0x00, 0x00, 0x05, 0x00}))), {{0, 0, S, 1}, {5, 0, S, 1}}, 0,
       std::vector<test::Needle>{{0, 0, J, 1}, {5, 0, S, 1}}},
      {"a PEC block turned against its PES section reads as the section lies", "turned.PES",
       PesWith(PecBlock(tallStream, 50, 200), "#PES0060", Sections(0, 200, 50)),
       {{0, 0, S, 1}, {100, 0, S, 1}, {200, 0, S, 1}}, 0,
       std::vector<test::Needle>{{-25, 0, J, 1}, {-25, 100, S, 1}}},
      {"the section's transform says which way it was turned", "back.PES",
       PesWith(PecBlock(tallStream, 50, 200), "#PES0060", Sections(0, 200, 50, {0, -1, 1, 0})),
       {{0, 0, S, 1}, {-100, 0, S, 1}, {-200, 0, S, 1}}, 0,
       std::vector<test::Needle>{{-25, 0, J, 1}, {-25, 100, S, 1}}},
      {"a file that is not PES is refused", "gif.PES", "GIF89a" + std::string(600, '\x55'), {}, 0, {}},
      {"DSB needle and stop codes beyond 8 to 15 change colour where stitches follow", "a.DSB",
       blank + Bytes({0x80, 1, 1, 0x90, 0, 0, 0x81, 5, 5, 0x80, 2, 2, 0x83, 0, 0, 0x80, 3, 3,
                      0x89, 0, 0, 0x81, 4, 4, 0xF8, 0, 0}),
       {{1, -1, S, 1}, {1, -1, C, 2}, {6, -6, J, 2}, {8, -8, S, 2}, {8, -8, C, 3}, {11, -11, S, 3},
        {15, -15, J, 3}},
       0,
       std::vector<test::Needle>{{1, -1, S, 1}, {1, -1, S, 1}, {6, -6, J, 1}, {8, -8, S, 1},
                                 {8, -8, S, 1}, {11, -11, S, 1}, {11, -11, C, 2}, {15, -15, J, 2}}},
      {"DSZ codes of 15 and above too; a change at the end is none", "a.DSZ",
       blank + Bytes({1, 1, 0x80, 0, 0, 0x8F, 2, 2, 0x80, 0, 0, 0x86, 4, 4, 0x81, 0, 0, 0x90}),
       {{1, -1, S, 1}, {1, -1, C, 2}, {3, -3, S, 2}, {7, -7, J, 2}}, 0,
       std::vector<test::Needle>{{1, -1, S, 1}, {1, -1, S, 1}, {3, -3, S, 1}, {3, -3, C, 2},
                                 {7, -7, J, 2}}},
      {"a KSM stop alone changes colour where stitches follow", "a.KSM",
       std::string(512, '\0') + Bytes({0, 0, 0x87, 0, 0, 0x99, 1, 1, 0x80, 0, 0, 0x9B, 2, 2, 0x80,
                                       0, 0, 0x99, 3, 3, 0x80, 0, 0, 0x8C, 0, 0, 0x93, 0, 0, 0x88}),
       {{1, -1, S, 1}, {1, -1, C, 2}, {3, -3, J, 2}, {6, -6, S, 2}}, 0,
       std::vector<test::Needle>{{1, -1, S, 1}, {3, -3, J, 1}, {6, -6, S, 1}, {6, -6, C, 2}}},
      {"a PCS whose first stitch record only brings the needle", "a.PCS",
       pcsHead + PcsAt(10, 20) + PcsAt(10, 20) + PcsAt(15, 25) + std::string(9, '\0'),
       {{10, -20, J, 1}, {10, -20, S, 1}, {15, -25, S, 1}}, 0,
       std::vector<test::Needle>{{10, -20, S, 1}, {10, -20, S, 1}, {15, -25, S, 1}}},
  };
  test::TempDir dir;
  for (const FileCase& c : cases) {
    test::WriteBytes(dir / c.name, c.bytes);
    int16_t result = 0;
    const std::vector<test::Needle> library = test::ReadNeedles(dir / c.name, true, &result);
    EXPECT_EQ(result, c.name == "gif.PES" ? kResultNotThisFormat : 0) << c.what;
    EXPECT_EQ(library, c.library) << c.what;
    const std::vector<test::Needle> byClass = test::ReadNeedles(dir / c.name, false, &result);
    EXPECT_EQ(result, c.classResult) << c.what;
    if (c.byClass) {
      EXPECT_EQ(byClass, *c.byClass) << c.what;
    }
  }
}

}  // namespace
}  // namespace tavlin
