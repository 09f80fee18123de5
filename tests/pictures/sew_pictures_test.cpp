// The 1-bit canvas and the SEW pictures shrunk from it: each colour's slots, where the
// samples fall, the areas the shrinking draws in, and lines that are walks of one pixel.
// (The PEC pictures' bytes are checked in the PES files they go into.)
#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <random>
#include <set>

#include "pictures/pec_pictures.h"
#include "pictures/sew_pictures.h"
#include "platform/run_time_error.h"

namespace tavlin {
namespace {

void Line(Canvas& canvas, int x1, int y1, int x2, int y2) {
  CanvasSetPixel(canvas, x1, y1, Ink::White);
  CanvasLineTo(canvas, x2, y2, Ink::White);
}

// Pixel (x, y) of a picture of the given bytes per row, behind its two size bytes.
template <typename Picture>
bool Lit(const Picture& picture, int bytesPerRow, int x, int y) {
  return (picture[static_cast<size_t>(2 + y * bytesPerRow + x / 8)] & (0x80 >> (x % 8))) != 0;
}

template <typename Picture>
int LitCount(const Picture& picture) {
  int n = 0;
  for (size_t at = 2; at < picture.size(); ++at) n += std::popcount(picture[at]);
  return n;
}

// Two colours, a line along the top then one down the left edge, and a thirteenth that
// joins the twelfth: each colour's slots hold its own, the whole design's gather all.
TEST(SewPictures, EachColourFillsItsSlotsAndTheWholeGathersThem) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  Line(canvas, 0, 0, 127, 0);
  StoreSewPictures(canvas, pictures, 2);
  EXPECT_FALSE(CanvasGetPixel(canvas, 5, 0));  // the drawing starts again
  Line(canvas, 0, 0, 0, 89);
  StoreSewPictures(canvas, pictures, 3);
  Line(canvas, 0, 0, 127, 0);
  StoreSewPictures(canvas, pictures, 13);
  Line(canvas, 0, 0, 0, 89);
  StoreSewPictures(canvas, pictures, 13);
  const std::pair<int, int> counts[] = {
      {LitCount(pictures.small[0]), 24},  {LitCount(pictures.small[1]), 22},       {LitCount(pictures.large[1]), 64},
      {LitCount(pictures.large[2]), 48},  {LitCount(pictures.large[0]), 64 + 48 - 1}, {LitCount(pictures.medium), 48 + 32 - 1},
      {LitCount(pictures.full), 128 + 90 - 1}, {LitCount(pictures.small[11]), 24 + 22 - 1}, {LitCount(pictures.large[12]), 64 + 48 - 1},
      // Each picture's bytes a row and rows.
      {pictures.small[0][0], 3}, {pictures.small[0][1], 22}, {pictures.large[0][0], 8}, {pictures.large[0][1], 48},
      {pictures.medium[0], 6},   {pictures.full[0], 16},     {pictures.full[1], 90}};
  for (size_t k = 0; k < std::size(counts); ++k) EXPECT_EQ(counts[k].first, counts[k].second) << k;
  for (int x = 0; x < 24; ++x) EXPECT_TRUE(Lit(pictures.small[0], 3, x, 0)) << x;
  for (int y = 0; y < 22; ++y) EXPECT_TRUE(Lit(pictures.small[1], 3, 0, y)) << y;
  EXPECT_EQ(pictures.small[2], (std::array<uint8_t, 68>{}));  // slots no colour reached stay as they were
  EXPECT_EQ(pictures.large[3], (std::array<uint8_t, 386>{}));
  // Slots 2 to 13 of a SEW, 0 to 128 of a PEC.
  const auto code = [](const auto& store) -> int {
    try {
      store();
    } catch (const RunTimeError& e) {
      return e.Code();
    }
    return 0;
  };
  auto pec = std::make_unique<PecPictures>();
  StorePecPicture(*pec, 128);
  for (const int slot : {0, 1, 14}) EXPECT_EQ(code([&] { StoreSewPictures(canvas, pictures, slot); }), kSubscriptOutOfRange);
  EXPECT_EQ(code([&] { StorePecPicture(*pec, 129); }) + code([&] { FramedPecPicture(*pec, -1); }), 2 * kSubscriptOutOfRange);
}

// The shrinking samples the drawing at steps of 2.6666 and more: a pixel no sample point
// falls on reaches the full picture alone; (2, 15) is column 1, row 8 of the large one.
TEST(SewPictures, SamplesFallWhereTheyShould) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  CanvasSetPixel(canvas, 1, 1, Ink::White);
  StoreSewPictures(canvas, pictures, 2);
  EXPECT_EQ(LitCount(pictures.medium) + LitCount(pictures.small[0]) + LitCount(pictures.large[0]), 0);
  EXPECT_EQ(LitCount(pictures.full), 1);
  EXPECT_EQ(pictures.full[2 + 16], 0x40);  // row 1, bit 6: the second pixel
  CanvasSetPixel(canvas, 2, 15, Ink::White);
  StoreSewPictures(canvas, pictures, 3);
  EXPECT_TRUE(Lit(pictures.large[2], 8, 1, 8));
  EXPECT_EQ(LitCount(pictures.large[2]), 1);

}

// A line goes from where the pen stands and lights the pixels of the one-pixel walk,
// for every direction and length; off the surface nothing is drawn, everything reads
// black, and a pen far away stays cheap; a box blackens its corners inclusive.
TEST(Canvas, LinesAreWalksOfOnePixelAndBoxesBlacken) {
  auto walk = [](int cx, int cy, int tx, int ty) {
    std::set<std::pair<int, int>> pixels;
    const int dx = std::abs(tx - cx), sx = cx < tx ? 1 : -1, dy = -std::abs(ty - cy), sy = cy < ty ? 1 : -1;
    for (int error = dx + dy;;) {
      pixels.insert({cx, cy});
      if (cx == tx && cy == ty) break;
      const int twice = 2 * error;
      if (twice >= dy) error += dy, cx += sx;
      if (twice <= dx) error += dx, cy += sy;
    }
    return pixels;
  };
  std::mt19937 random(11);
  Canvas canvas;
  for (int line = 0; line < 600; ++line) {
    const int x1 = static_cast<int>(random() % 256), y1 = static_cast<int>(random() % 256);
    const int x2 = static_cast<int>(random() % 256), y2 = line % 3 == 0 ? y1 : static_cast<int>(random() % 256);
    CanvasClear(canvas);
    CanvasSetPixel(canvas, x1, y1, Ink::Black);
    CanvasLineTo(canvas, x2, y2, Ink::White);
    std::set<std::pair<int, int>> lit;
    for (int at = 0; at < Canvas::kWidth * Canvas::kHeight; ++at) {
      if (CanvasGetPixel(canvas, at % Canvas::kWidth, at / Canvas::kWidth)) lit.insert({at % Canvas::kWidth, at / Canvas::kWidth});
    }
    ASSERT_EQ(lit, walk(x1, y1, x2, y2)) << x1 << "," << y1 << " to " << x2 << "," << y2;
    ASSERT_EQ(canvas.penX, x2);
  }
  CanvasSetPixel(canvas, -5, 4000, Ink::White);
  EXPECT_FALSE(CanvasGetPixel(canvas, -5, 4000));
  CanvasLineTo(canvas, 30000, -30000, Ink::White);
  EXPECT_EQ(canvas.penX, 30000);
  Line(canvas, 0, 0, 40, 40);
  CanvasFillBox(canvas, 0, 0, 32, 34);
  for (int at = 0; at <= 32; ++at) EXPECT_FALSE(CanvasGetPixel(canvas, at, at));
  EXPECT_TRUE(CanvasGetPixel(canvas, 33, 33));
}

}  // namespace
}  // namespace tavlin
