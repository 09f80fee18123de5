// One design that another program saved in several formats: each file must read as
// the design its DST holds, and convert to a DST that does too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

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

}  // namespace
}  // namespace tavlin
