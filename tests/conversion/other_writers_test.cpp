// One design that another program saved in several formats: each file must read as
// the design its DST holds, and convert to a DST that does too.
#include <gtest/gtest.h>

#include <cstdlib>
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

TEST(OtherWriters, ShamrockReadsAsItsDstInEveryDstFamilyFormat) {
  const std::string base = test::Samples() + "/shamrockin.";
  const Shape dst = ShapeOf(base + "dst");
  // What the DST holds, so that a wrong reading of it can't pass for agreement.
  ASSERT_EQ(dst.stitches, 1473);
  ASSERT_EQ(dst.colourChanges, 0);
  ASSERT_EQ(dst.width, 499);
  ASSERT_EQ(dst.height, 493);

  test::TempDir dir;
  for (const std::string end : {"t01", "t03", "dsb", "dsz"}) {
    ExpectSameDesign(ShapeOf(base + end), dst, "shamrockin." + end);
    const std::string out = dir / ("from-" + end + ".DST");
    ASSERT_EQ(Convert(base + end, out).value(), 0) << end;
    ExpectSameDesign(ShapeOf(out), dst, "shamrockin." + end + " as DST");
  }
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
