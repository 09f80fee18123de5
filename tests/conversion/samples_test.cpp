// Real files that nobody on this project wrote: what the design is must survive.
#include <gtest/gtest.h>

#include <cmath>

#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Needle;

// A number field of the sample's own text header, e.g. "+X:".
long HeaderValue(const std::string& header, const std::string& label) {
  const size_t at = header.find(label);
  EXPECT_NE(at, std::string::npos) << label;
  return std::stol(header.substr(at + label.size(), header.find('\r', at) - at - label.size()));
}

TEST(Samples, StarDstGoesToDstAndBackUnchanged) {
  test::TempDir dir;
  Tavlin tavlin;
  const std::string star = test::Samples() + "/Star.DST";
  ASSERT_EQ(Convert(star, dir / "star.DST").value(), 0);
  std::vector<Needle> source = test::NeedlesOf(star, true);
  const std::vector<Needle> copy = test::NeedlesOf(dir / "star.DST", true);
  // The copy opens with a jump of no length of its own.
  ASSERT_FALSE(copy.empty());
  EXPECT_EQ(copy.front(), (Needle{0, 0, KindJump, 1}));
  EXPECT_EQ(std::vector<Needle>(copy.begin() + 1, copy.end()), source);
  ASSERT_EQ(Convert(dir / "star.DST", dir / "again.T01").value(), 0);
  ASSERT_EQ(Convert(dir / "again.T01", dir / "again.DST").value(), 0);
  const std::vector<Needle> again = test::NeedlesOf(dir / "again.DST", true);
  // Through the wrapper: each conversion's opening jump and the wrapper's own, before
  // the copy's: four jumps of no length, and nothing else.
  ASSERT_GT(again.size(), 4u);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(again[i], (Needle{0, 0, KindJump, 1}));
  EXPECT_EQ(std::vector<Needle>(again.begin() + 4, again.end()), source);
}

TEST(Samples, StarDstExtentsAgreeWithItsOwnHeader) {
  const std::string star = test::Samples() + "/Star.DST";
  const std::string header = test::ReadBytes(star).substr(0, 512);
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(star, summary).value(), 0);
  EXPECT_EQ(summary.plusX, HeaderValue(header, "+X:"));
  EXPECT_EQ(summary.minusX, HeaderValue(header, "-X:"));
  EXPECT_EQ(summary.plusY, HeaderValue(header, "+Y:"));
  EXPECT_EQ(summary.minusY, HeaderValue(header, "-Y:"));
  EXPECT_EQ(summary.colourChanges, HeaderValue(header, "CO:"));
  // The header counts every record, the end record among them.
  EXPECT_EQ(summary.records + 1, HeaderValue(header, "ST:"));
}

}  // namespace
}  // namespace tavlin
