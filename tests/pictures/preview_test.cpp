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
int CountOf(const Picture& p, Rgb c) { return Census(p)[{c.red, c.green, c.blue}]; }

TEST(Preview, FrameKeepsTheProportionWithinTheSize) {
  // 100 x 50 mm: the width fills 400 pixels less the margins; the height keeps the half.
  const PreviewFrame wide = FramePreview({-500, -200, 500, 300}, 400);
  EXPECT_EQ(std::tuple(wide.width, wide.margin), std::tuple(400, 10));
  EXPECT_NEAR(wide.scale, 379.0 / 1000, 1e-9);
  EXPECT_EQ(wide.height, static_cast<int>(std::ceil(500 * wide.scale)) + 21);
  EXPECT_EQ(std::tuple(wide.X(-500), wide.X(500), wide.Y(-200)), std::tuple(10.0, 389.0, 10.0));
  const PreviewFrame tall = FramePreview({0, 0, 100, 800}, 200);
  EXPECT_TRUE(tall.height == 200 && tall.width < 60);
  // A design that never moves is a point in the middle of a square.
  const PreviewFrame point = FramePreview({0, 0, 0, 0}, 100);
  EXPECT_EQ(std::tuple(point.width, point.height, point.X(0), point.Y(0)), std::tuple(100, 100, 50.0, 50.0));
  EXPECT_EQ(FramePreview({0, 0, 10, 10}, 1).width, kPreviewMinSize);
  EXPECT_EQ(FramePreview({0, 0, 10, 10}, 1 << 20).width, kPreviewMaxSize);
}

TEST(Preview, ADesignInTheDefaultPaletteOnWhiteWithinItsExtents) {
  test::TempDir dir;
  // A 20 x 10 mm box in one colour, then a zigzag in a second after a 15 mm jump.
  std::vector<test::Rec> records = {{KindStitch, 100, 0},  {KindStitch, 100, 0}, {KindStitch, 0, -100},
                                    {KindStitch, -100, 0}, {KindStitch, -100, 0}, {KindStitch, 0, 100},
                                    {KindJump, 0, 121},    {KindJump, 0, 29},    {KindColour, 0, 0}};
  for (int i = 0; i < 8; ++i) records.push_back({KindStitch, 25, static_cast<int16_t>(i % 2 == 0 ? 40 : -40)});
  test::WriteBytes(dir / "two.DST", test::DstFile(records));
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(dir / "two.DST", summary).value(), 0);
  Picture picture, dashed, grid;
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300}, picture).value(), 0);
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .jumps = JumpLines::Dashed}, dashed).value(), 0);
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .grid = true}, grid).value(), 0);
  EXPECT_EQ(picture.height, 300);  // 10 mm of box, 15 of jump and 8 of zigzag: taller than wide
  EXPECT_EQ(picture.rgb.size(), static_cast<size_t>(picture.width * picture.height * 3));
  EXPECT_EQ(picture.background, (ThreadColour{255, 255, 255, -1}));
  // Nothing but the ground and the first two colours of the PES palette: jumps are left out.
  EXPECT_EQ(Census(picture).size(), 3u);
  EXPECT_GT(CountOf(picture, PesColour(1)), 300);
  EXPECT_GT(CountOf(picture, PesColour(2)), 100);
  // Every drawn pixel lies within the extents, give or take half a thread; the box's
  // corner (its start point) is drawn in the first colour, its middle is empty.
  const PreviewFrame frame = FramePreview({-summary.minusX, -summary.plusY, summary.plusX, summary.minusY}, 300);
  const double slack = ThreadWidth(frame) / 2.0 + 1;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      if (PixelOf(picture, x, y) == kWhite) continue;
      EXPECT_TRUE(x >= frame.X(-summary.minusX) - slack && x <= frame.X(summary.plusX) + slack &&
                  y >= frame.Y(-summary.plusY) - slack && y <= frame.Y(summary.minusY) + slack) << x << "," << y;
    }
  }
  EXPECT_EQ(PixelOf(picture, frame.X(0), frame.Y(0)), PesColour(1));
  EXPECT_EQ(PixelOf(picture, frame.X(100), frame.Y(50)), kWhite);
  // Dashed jumps: grey pixels on the jump's line, with gaps.
  int grey = 0, gaps = 0;
  for (int y = static_cast<int>(frame.Y(-140)); y < static_cast<int>(frame.Y(-10)); ++y) {
    grey += PixelOf(dashed, frame.X(0), y) == kPreviewJumpInk ? 1 : 0;
    gaps += PixelOf(dashed, frame.X(0), y) == kWhite ? 1 : 0;
  }
  EXPECT_TRUE(grey > 10 && gaps > 10) << grey << " " << gaps;
  EXPECT_EQ(CountOf(picture, kPreviewJumpInk), 0);
  // The grid adds its lines: one runs through the start point, from edge to edge.
  EXPECT_GT(Census(grid).size(), 3u);
  EXPECT_FALSE(PixelOf(grid, frame.X(0), 0) == kWhite || PixelOf(grid, frame.X(0), grid.height - 1) == kWhite);
}

// The middle of the star is red in every format that stores its colours, red and white:
// white thread is drawn on a grey ground. The PCM's table holds all sixteen of its
// palette's colours, but the stitching uses black and navy: the ground stays white.
TEST(Preview, TheStarInTheColoursItsFilesStore) {
  for (const char* name : {"Star.PCS", "Star.JEF", "Star.SEW", "Star.XXX", "Star.PCM"}) {
    Picture p;
    ASSERT_EQ(DrawDesign(test::Samples() + "/" + name, {.size = 200}, p).value(), 0) << name;
    EXPECT_EQ(ColourWords(PixelOf(p, p.width / 2, p.height / 2)), std::string(name) == "Star.PCM" ? "black" : "red") << name;
    EXPECT_EQ(PixelOf(p, 0, 0) == kWhite, std::string(name) == "Star.PCM") << name;
  }
}

TEST(Preview, SvgHoldsTheSameDrawingAndBadRequestsGiveCodes) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 100, 0}, {KindStitch, 0, 100}, {KindJump, 100, 0},
                                                 {KindColour, 0, 0}, {KindStitch, 0, -100}}));
  std::string svg, plain;
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200, .jumps = JumpLines::Dashed, .grid = true}, svg).value(), 0);
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200}, plain).value(), 0);
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  // One polyline a colour: the two stitches join, the jump parts them; dashes and the
  // grid's path only where asked for.
  for (const std::string& part : std::vector<std::string>{"width=\"200\" height=\"106\"", "stroke-dasharray", "<path d=\"M",
                                 "<polyline stroke=\"" + HexColour(PesColour(1)) + "\" points=\"5,99.5 99.5,99.5 99.5,5\"/>",
                                 "<polyline stroke=\"" + HexColour(PesColour(2)) + "\""}) {
    EXPECT_NE(svg.find(part), std::string::npos) << part << "\n" << svg;
    EXPECT_EQ(plain.find(part) != std::string::npos, part.find("stroke-dasharray") == std::string::npos &&
                                                         part.find("<path") == std::string::npos) << part;
  }
  Picture picture;
  EXPECT_EQ(DrawDesign(dir / "none.DST", {}, picture).value(), 53);
  EXPECT_EQ(DrawDesign(dir / "a.DST", {.size = 8}, picture).value(), 5);
  EXPECT_EQ(DrawDesign(dir / "a.DST", {.size = 5000}, picture).value(), 5);
}

TEST(Preview, ColoursAreNamedByHowTheyLookAndGroundsChosenToShowThem) {
  const std::pair<Rgb, const char*> words[] = {
      {{14, 31, 124}, "dark blue"}, {{10, 85, 163}, "blue"},  {{255, 0, 0}, "red"},           {{255, 255, 255}, "white"},
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
