// Pictures of designs: size and mapping, the ground, the threads' colours, where drawn
// pixels may fall, jumps, the grid, the SVG form, and colours named by how they look.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "pictures/preview.h"
#include "tables/palettes.h"
#include "tavlin/picture.h"
#include "test_support.h"

namespace tavlin {
namespace {

constexpr Rgb kWhite{255, 255, 255};

Rgb PixelOf(const Picture& p, double x, double y) {
  const size_t at = (static_cast<size_t>(std::lround(y)) * static_cast<size_t>(p.width) + static_cast<size_t>(std::lround(x))) * 3;
  return {p.rgb[at], p.rgb[at + 1], p.rgb[at + 2]};
}

Rgb PesColour(int key) {
  const PaletteEntry* e = FindKey(PesPalette(), key);
  return {e->red, e->green, e->blue};
}

// How many pixels of each colour.
std::map<std::tuple<int, int, int>, int> Census(const Picture& p) {
  std::map<std::tuple<int, int, int>, int> counts;
  for (size_t at = 0; at < p.rgb.size(); at += 3) counts[{p.rgb[at], p.rgb[at + 1], p.rgb[at + 2]}] += 1;
  return counts;
}

// 100 x 50 mm: the width fills 400 pixels less the margins; the height keeps the half. A
// design that never moves is a point in the middle of a square.
TEST(Preview, FrameKeepsTheProportionWithinTheSize) {
  const PreviewFrame wide = FramePreview({-500, -200, 500, 300}, 400), point = FramePreview({0, 0, 0, 0}, 100);
  EXPECT_EQ(std::tuple(wide.width, wide.height, wide.margin), std::tuple(400, static_cast<int>(std::ceil(500 * 0.379)) + 21, 10));
  EXPECT_EQ(std::tuple(wide.X(-500), wide.X(500), wide.Y(-200)), std::tuple(10.0, 389.0, 10.0));
  EXPECT_EQ(std::tuple(point.width, point.height, point.X(0), point.Y(0)), std::tuple(100, 100, 50.0, 50.0));
}

// A 20 x 10 mm box in one colour, then a zigzag in a second after a 15 mm jump: the
// ground and the first two colours of the PES palette, jumps left out or dashed, every
// drawn pixel within the extents give or take half a thread.
TEST(Preview, ADesignInTheDefaultPaletteOnWhiteWithinItsExtents) {
  test::TempDir dir;
  std::vector<test::Rec> records = {{KindStitch, 100, 0},  {KindStitch, 100, 0}, {KindStitch, 0, -100},
                                    {KindStitch, -100, 0}, {KindStitch, -100, 0}, {KindStitch, 0, 100},
                                    {KindJump, 0, 121},    {KindJump, 0, 29},    {KindColour, 0, 0}};
  for (int i = 0; i < 8; ++i) records.push_back({KindStitch, 25, static_cast<int16_t>(i % 2 == 0 ? 40 : -40)});
  test::WriteBytes(dir / "two.DST", test::DstFile(records));
  DesignSummary summary;
  Picture picture, dashed, grid;
  ASSERT_EQ(SummariseDesign(dir / "two.DST", summary).value(), 0);
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300}, picture).value(), 0);
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .jumps = JumpLines::Dashed}, dashed).value(), 0);
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .grid = true}, grid).value(), 0);
  EXPECT_EQ(picture.height, 300);  // 10 mm of box, 15 of jump and 8 of zigzag: taller than wide
  EXPECT_EQ(picture.rgb.size(), static_cast<size_t>(picture.width * picture.height * 3));
  EXPECT_EQ(picture.background, (ThreadColour{255, 255, 255, -1}));
  std::map<std::tuple<int, int, int>, int> census = Census(picture);
  const auto count = [&census](Rgb c) { return census[std::tuple<int, int, int>(c.red, c.green, c.blue)]; };
  EXPECT_TRUE(count(PesColour(1)) > 300 && count(PesColour(2)) > 100);
  EXPECT_EQ(census.size(), 3u);
  const PreviewFrame frame = FramePreview({-summary.minusX, -summary.plusY, summary.plusX, summary.minusY}, 300);
  const double slack = ThreadWidth(frame) / 2.0 + 1;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      EXPECT_TRUE(PixelOf(picture, x, y) == kWhite || (x >= frame.X(-summary.minusX) - slack && x <= frame.X(summary.plusX) + slack &&
                                                       y >= frame.Y(-summary.plusY) - slack && y <= frame.Y(summary.minusY) + slack))
          << x << "," << y;
    }
  }
  // The box's corner, its start point, in the first colour; its middle empty.
  EXPECT_EQ(PixelOf(picture, frame.X(0), frame.Y(0)), PesColour(1));
  EXPECT_EQ(PixelOf(picture, frame.X(100), frame.Y(50)), kWhite);
  // Dashed jumps: grey pixels on the jump's line, with gaps.
  std::map<bool, int> grey;
  for (int y = static_cast<int>(frame.Y(-140)); y < static_cast<int>(frame.Y(-10)); ++y) ++grey[PixelOf(dashed, frame.X(0), y) == kPreviewJumpInk];
  EXPECT_TRUE(grey[true] > 10 && grey[false] > 10) << grey[true] << " " << grey[false];
  // The grid adds its lines: one runs through the start point, from edge to edge.
  EXPECT_GT(Census(grid).size(), 3u);
  EXPECT_FALSE(PixelOf(grid, frame.X(0), 0) == kWhite || PixelOf(grid, frame.X(0), grid.height - 1) == kWhite);
}

// One polyline a colour: the two stitches join, the jump parts them; dashes and the
// grid's path only where asked for. Requests it can't draw give codes.
TEST(Preview, SvgHoldsTheSameDrawingAndBadRequestsGiveCodes) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 100, 0}, {KindStitch, 0, 100}, {KindJump, 100, 0},
                                                 {KindColour, 0, 0}, {KindStitch, 0, -100}}));
  std::string svg, plain;
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200, .jumps = JumpLines::Dashed, .grid = true}, svg).value(), 0);
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200}, plain).value(), 0);
  EXPECT_TRUE(svg.rfind("<?xml", 0) == 0 && svg.substr(svg.size() - 7) == "</svg>\n") << svg;
  for (const std::string& part : {std::string("width=\"200\" height=\"106\""), std::string("stroke-dasharray"), std::string("<path d=\"M"),
                                  "<polyline stroke=\"" + HexColour(PesColour(1)) + "\" points=\"5,99.5 99.5,99.5 99.5,5\"/>",
                                  "<polyline stroke=\"" + HexColour(PesColour(2)) + "\""}) {
    EXPECT_NE(svg.find(part), std::string::npos) << part << "\n" << svg;
    EXPECT_EQ(plain.find(part) != std::string::npos, part.find("dash") == std::string::npos && part.find("<path") != 0) << part;
  }
  Picture picture;
  EXPECT_EQ(DrawDesign(dir / "none.DST", {}, picture).value(), 53);
  for (const int size : {kPreviewMinSize - 1, kPreviewMaxSize + 1}) EXPECT_EQ(DrawDesign(dir / "a.DST", {.size = size}, picture).value(), 5);
}

TEST(Preview, ColoursAreNamedByHowTheyLookAndGroundsChosenToShowThem) {
  const std::pair<Rgb, const char*> words[] = {
      {{14, 31, 124}, "dark blue"}, {{10, 85, 163}, "blue"},   {{255, 0, 0}, "red"},             {{255, 255, 255}, "white"},
      {{0, 0, 0}, "black"},         {{128, 128, 128}, "grey"}, {{255, 255, 220}, "light yellow"}, {{0, 170, 0}, "green"},
      {{120, 60, 10}, "brown"},     {{252, 187, 196}, "pink"}, {{145, 54, 151}, "magenta"}};
  for (const auto& [rgb, name] : words) EXPECT_EQ(ColourWords(rgb), name);
  EXPECT_EQ(ColourName({0, 135, 119, -1}), "dark teal");
  EXPECT_EQ(ChooseBackground({{14, 31, 124}, {255, 0, 0}}), kWhite);
  EXPECT_EQ(ChooseBackground({{255, 0, 0}, {250, 250, 250}}), (Rgb{90, 90, 90}));
  EXPECT_EQ(ChooseBackground({{0, 0, 0}, {250, 250, 250}}), (Rgb{90, 90, 90}));
  EXPECT_EQ(ChooseBackground({{90, 90, 100}, {250, 250, 250}}), (Rgb{200, 200, 200}));
}

}  // namespace
}  // namespace tavlin
