// Pictures of designs: size and mapping, the ground, the threads' colours, where drawn
// pixels may fall, jumps, the grid, and the SVG form.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>

#include "pictures/preview.h"
#include "tables/palettes.h"
#include "tavlin/picture.h"
#include "test_support.h"

namespace tavlin {
namespace {

Rgb PixelOf(const Picture& p, int x, int y) {
  const size_t at = (static_cast<size_t>(y) * static_cast<size_t>(p.width) + static_cast<size_t>(x)) * 3;
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

TEST(Preview, FrameKeepsTheProportionWithinTheSize) {
  // 100 x 50 mm: the width fills 400 pixels less the margins; the height keeps the half.
  const PreviewFrame wide = FramePreview({-500, -200, 500, 300}, 400);
  EXPECT_EQ(wide.width, 400);
  EXPECT_EQ(wide.margin, 10);
  EXPECT_NEAR(wide.scale, 379.0 / 1000, 1e-9);
  EXPECT_EQ(wide.height, static_cast<int>(std::ceil(500 * wide.scale)) + 21);
  EXPECT_DOUBLE_EQ(wide.X(-500), 10);
  EXPECT_DOUBLE_EQ(wide.X(500), 389);
  EXPECT_DOUBLE_EQ(wide.Y(-200), 10);
  // Tall: the height is the longer side.
  const PreviewFrame tall = FramePreview({0, 0, 100, 800}, 200);
  EXPECT_EQ(tall.height, 200);
  EXPECT_LT(tall.width, 60);
  // A design that never moves is a point in the middle of a square.
  const PreviewFrame point = FramePreview({0, 0, 0, 0}, 100);
  EXPECT_EQ(point.width, 100);
  EXPECT_EQ(point.height, 100);
  EXPECT_DOUBLE_EQ(point.X(0), 50);
  EXPECT_DOUBLE_EQ(point.Y(0), 50);
  // Sizes are kept within what a picture may take.
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
  ASSERT_TRUE(summary.threads.empty());

  Picture picture;
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300}, picture).value(), 0);
  EXPECT_EQ(std::max(picture.width, picture.height), 300);
  EXPECT_EQ(picture.height, 300);  // 10 mm of box, 15 of jump and 8 of zigzag: taller than wide
  EXPECT_EQ(picture.rgb.size(), static_cast<size_t>(picture.width * picture.height * 3));
  EXPECT_EQ(picture.background, (ThreadColour{255, 255, 255, -1}));
  for (const auto& [x, y] : std::vector<std::pair<int, int>>{
           {0, 0}, {picture.width - 1, 0}, {0, picture.height - 1}, {picture.width - 1, picture.height - 1}}) {
    EXPECT_EQ(PixelOf(picture, x, y), (Rgb{255, 255, 255})) << x << "," << y;
  }
  // Nothing but the ground and the first two colours of the PES palette: jumps are left out.
  const auto census = Census(picture);
  const Rgb first = PesColour(1), second = PesColour(2);
  EXPECT_EQ(census.size(), 3u);
  EXPECT_GT((census.count({first.red, first.green, first.blue}) ? census.at({first.red, first.green, first.blue}) : 0), 300);
  EXPECT_GT((census.count({second.red, second.green, second.blue}) ? census.at({second.red, second.green, second.blue}) : 0), 100);

  // Every drawn pixel lies within the extents, give or take half a thread.
  const PreviewFrame frame = FramePreview({-summary.minusX, -summary.plusY, summary.plusX, summary.minusY}, 300);
  const double slack = ThreadWidth(frame) / 2.0 + 1;
  int drawn = 0;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      if (PixelOf(picture, x, y) == Rgb{255, 255, 255}) continue;
      ++drawn;
      EXPECT_GE(x, frame.X(-summary.minusX) - slack);
      EXPECT_LE(x, frame.X(summary.plusX) + slack);
      EXPECT_GE(y, frame.Y(-summary.plusY) - slack);
      EXPECT_LE(y, frame.Y(summary.minusY) + slack);
    }
  }
  EXPECT_GT(drawn, 400);
  // The box's corner (its start point) is drawn in the first colour; the middle of the
  // box is empty.
  EXPECT_EQ(PixelOf(picture, static_cast<int>(std::lround(frame.X(0))), static_cast<int>(std::lround(frame.Y(0)))), first);
  EXPECT_EQ(PixelOf(picture, static_cast<int>(std::lround(frame.X(100))), static_cast<int>(std::lround(frame.Y(50)))),
            (Rgb{255, 255, 255}));

  // Dashed jumps: grey pixels on the jump's line, with gaps; the grid adds its lines.
  Picture dashed;
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .jumps = JumpLines::Dashed}, dashed).value(), 0);
  const int column = static_cast<int>(std::lround(frame.X(0)));
  int grey = 0, gaps = 0;
  for (int y = static_cast<int>(frame.Y(-140)); y < static_cast<int>(frame.Y(-10)); ++y) {
    const Rgb p = PixelOf(dashed, column, y);
    grey += p == kPreviewJumpInk ? 1 : 0;
    gaps += p == Rgb{255, 255, 255} ? 1 : 0;
  }
  EXPECT_GT(grey, 10);
  EXPECT_GT(gaps, 10);
  EXPECT_EQ(Census(picture).count({kPreviewJumpInk.red, kPreviewJumpInk.green, kPreviewJumpInk.blue}), 0u);
  Picture grid;
  ASSERT_EQ(DrawDesign(dir / "two.DST", {.size = 300, .grid = true}, grid).value(), 0);
  EXPECT_GT(Census(grid).size(), 3u);
  // A 10 mm line runs through the start point, from edge to edge.
  EXPECT_NE(PixelOf(grid, column, 0), (Rgb{255, 255, 255}));
  EXPECT_NE(PixelOf(grid, column, grid.height - 1), (Rgb{255, 255, 255}));
}

TEST(Preview, TheStarInTheColoursItsFilesStore) {
  const std::string samples = test::Samples();
  // The PCS stores red and white: white thread is drawn on a grey ground.
  Picture pcs;
  ASSERT_EQ(DrawDesign(samples + "/Star.PCS", {.size = 200}, pcs).value(), 0);
  EXPECT_EQ(std::max(pcs.width, pcs.height), 200);
  EXPECT_NE(pcs.background, (ThreadColour{255, 255, 255, -1}));
  const auto census = Census(pcs);
  EXPECT_GT(census.at({255, 0, 0}), 2000);
  EXPECT_GT(census.at({255, 255, 255}), 1000);
  EXPECT_EQ(PixelOf(pcs, 0, 0), (Rgb{pcs.background.red, pcs.background.green, pcs.background.blue}));
  // The PCM's table holds all sixteen of its palette's colours, white among them; the
  // stitching uses black and navy, so the ground stays white.
  Picture pcm;
  ASSERT_EQ(DrawDesign(samples + "/Star.PCM", {.size = 200}, pcm).value(), 0);
  EXPECT_EQ(pcm.background, (ThreadColour{255, 255, 255, -1}));
  EXPECT_GT(Census(pcm).at({0, 0, 0}), 2000);
  // The middle of the star is red, in every format that stores its colours.
  for (const char* name : {"Star.PCS", "Star.JEF", "Star.SEW", "Star.XXX"}) {
    Picture p;
    ASSERT_EQ(DrawDesign(samples + "/" + name, {.size = 200}, p).value(), 0) << name;
    const Rgb middle = PixelOf(p, p.width / 2, p.height / 2);
    EXPECT_EQ(ColourWords(middle), "red") << name << " " << HexColour(middle);
  }
}

TEST(Preview, SvgHoldsTheSameDrawing) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 100, 0}, {KindStitch, 0, 100}, {KindJump, 100, 0},
                                                 {KindColour, 0, 0}, {KindStitch, 0, -100}}));
  std::string svg;
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200, .jumps = JumpLines::Dashed, .grid = true}, svg).value(), 0);
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  EXPECT_NE(svg.find("width=\"200\" height=\"106\""), std::string::npos) << svg;
  // One polyline a colour: the two stitches join, the jump parts them.
  EXPECT_NE(svg.find("<polyline stroke=\"" + HexColour(PesColour(1)) + "\" points=\"5,99.5 99.5,99.5 99.5,5\"/>"),
            std::string::npos)
      << svg;
  EXPECT_NE(svg.find("<polyline stroke=\"" + HexColour(PesColour(2)) + "\""), std::string::npos) << svg;
  EXPECT_NE(svg.find("stroke-dasharray"), std::string::npos);
  EXPECT_NE(svg.find("<path d=\"M"), std::string::npos);  // the grid
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  std::string plain;
  ASSERT_EQ(DrawDesignSvg(dir / "a.DST", {.size = 200}, plain).value(), 0);
  EXPECT_EQ(plain.find("stroke-dasharray"), std::string::npos);
  EXPECT_EQ(plain.find("<path"), std::string::npos);
}

TEST(Preview, BadRequestsGiveCodes) {
  test::TempDir dir;
  Picture picture;
  EXPECT_EQ(DrawDesign(dir / "none.DST", {}, picture).value(), 53);
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 10, 10}}));
  EXPECT_EQ(DrawDesign(dir / "a.DST", {.size = 8}, picture).value(), 5);
  EXPECT_EQ(DrawDesign(dir / "a.DST", {.size = 5000}, picture).value(), 5);
  // A file cut short in its head still draws what it holds, or says why not.
  test::WriteBytes(dir / "cut.DST", test::DstFile({{KindStitch, 10, 10}}).substr(0, 100));
  const std::error_code cut = DrawDesign(dir / "cut.DST", {}, picture);
  if (!cut) {
    EXPECT_EQ(picture.width, 600);
  }
}

TEST(Preview, ColoursAreNamedByHowTheyLook) {
  EXPECT_EQ(ColourWords({14, 31, 124}), "dark blue");
  EXPECT_EQ(ColourWords({10, 85, 163}), "blue");
  EXPECT_EQ(ColourWords({255, 0, 0}), "red");
  EXPECT_EQ(ColourWords({255, 255, 255}), "white");
  EXPECT_EQ(ColourWords({0, 0, 0}), "black");
  EXPECT_EQ(ColourWords({128, 128, 128}), "grey");
  EXPECT_EQ(ColourWords({255, 255, 220}), "light yellow");
  EXPECT_EQ(ColourWords({0, 170, 0}), "green");
  EXPECT_EQ(ColourWords({120, 60, 10}), "brown");
  EXPECT_EQ(ColourWords({252, 187, 196}), "pink");
  EXPECT_EQ(ColourWords({145, 54, 151}), "magenta");
  EXPECT_EQ(ColourName({0, 135, 119, -1}), "dark teal");
  EXPECT_EQ(ChooseBackground({{14, 31, 124}, {255, 0, 0}}), (Rgb{255, 255, 255}));
  EXPECT_EQ(ChooseBackground({{255, 0, 0}, {250, 250, 250}}), (Rgb{90, 90, 90}));
  EXPECT_EQ(ChooseBackground({{0, 0, 0}, {250, 250, 250}}), (Rgb{90, 90, 90}));
  EXPECT_EQ(ChooseBackground({{90, 90, 100}, {250, 250, 250}}), (Rgb{200, 200, 200}));
}

}  // namespace
}  // namespace tavlin
