#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "pictures/sew_pictures.h"
#include "platform/run_time_error.h"

namespace tavlin {
namespace {

void Line(Canvas& canvas, int x1, int y1, int x2, int y2) {
  CanvasSetPixel(canvas, x1, y1, Ink::White);
  CanvasLineTo(canvas, x2, y2, Ink::White);
}

// Pixel (x, y) of a buffer of the given bytes per row, behind its two first bytes.
template <typename Buffer>
bool Lit(const Buffer& buffer, int bytesPerRow, int x, int y) {
  return (buffer[static_cast<size_t>(2 + y * bytesPerRow + x / 8)] & (0x80 >> (x % 8))) != 0;
}

template <typename Buffer>
int LitCount(const Buffer& buffer) {
  int n = 0;
  for (size_t at = 2; at < buffer.size(); ++at) n += std::popcount(buffer[at]);
  return n;
}

// Two colours: a line along the top, then one down the left edge. Each colour's slots
// hold its own; the whole design's pictures gather both.
TEST(SewPictures, TwoColoursFillTheirSlotsAndTheWholeGathersBoth) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  Line(canvas, 0, 0, 127, 0);
  StoreSewPictures(canvas, pictures, 2);
  EXPECT_FALSE(CanvasGetPixel(canvas, 5, 0));  // the drawing starts again
  Line(canvas, 0, 0, 0, 89);
  StoreSewPictures(canvas, pictures, 3);

  EXPECT_EQ(pictures.small[0][0], 3);
  EXPECT_EQ(pictures.small[0][1], 22);
  EXPECT_EQ(LitCount(pictures.small[0]), 24);  // the top row only
  for (int x = 0; x < 24; ++x) EXPECT_TRUE(Lit(pictures.small[0], 3, x, 0));
  EXPECT_EQ(LitCount(pictures.small[1]), 22);  // the left column only
  for (int y = 0; y < 22; ++y) EXPECT_TRUE(Lit(pictures.small[1], 3, 0, y));
  EXPECT_EQ(LitCount(pictures.large[1]), 64);
  EXPECT_EQ(LitCount(pictures.large[2]), 48);
  EXPECT_EQ(LitCount(pictures.large[0]), 64 + 48 - 1);
  EXPECT_EQ(pictures.large[0][0], 8);
  EXPECT_EQ(pictures.large[0][1], 48);
  EXPECT_EQ(LitCount(pictures.medium), 48 + 32 - 1);
  EXPECT_EQ(pictures.medium[0], 6);
  EXPECT_EQ(LitCount(pictures.full), 128 + 90 - 1);
  EXPECT_EQ(pictures.full[0], 16);
  EXPECT_EQ(pictures.full[1], 90);
  // Slots no colour reached stay as they were.
  EXPECT_EQ(pictures.small[2], (std::array<uint8_t, 68>{}));
  EXPECT_EQ(pictures.large[3], (std::array<uint8_t, 386>{}));
}

// The shrinking samples the drawing at steps of 2.6666 and more: a pixel no sample
// point falls on reaches the full picture alone.
TEST(SewPictures, APixelNoSampleFallsOnReachesOnlyTheFullPicture) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  CanvasSetPixel(canvas, 1, 1, Ink::White);
  StoreSewPictures(canvas, pictures, 2);
  EXPECT_EQ(LitCount(pictures.medium), 0);
  EXPECT_EQ(LitCount(pictures.small[0]), 0);
  EXPECT_EQ(LitCount(pictures.large[0]), 0);
  EXPECT_EQ(LitCount(pictures.full), 1);
  EXPECT_EQ(pictures.full[2 + 16], 0x40);  // row 1, bit 6: the second pixel
  // One that sample points fall on: (2, 15) is column 1, row 8 of the large picture.
  CanvasSetPixel(canvas, 2, 15, Ink::White);
  StoreSewPictures(canvas, pictures, 3);
  EXPECT_TRUE(Lit(pictures.large[2], 8, 1, 8));
  EXPECT_EQ(LitCount(pictures.large[2]), 1);
}

// A drawing lit all over shrinks into exactly the areas' columns and rows, and nothing
// lands beside them.
TEST(SewPictures, EachAreaHoldsItsColumnsAndRowsExactly) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  for (int y = 0; y < 90; ++y) Line(canvas, 0, y, 127, y);
  StoreSewPictures(canvas, pictures, 2);
  EXPECT_EQ(LitCount(pictures.medium), 48 * 32);
  EXPECT_EQ(LitCount(pictures.small[0]), 24 * 22);
  EXPECT_EQ(LitCount(pictures.large[1]), 64 * 48);
  EXPECT_EQ(LitCount(pictures.full), 128 * 90);
  struct Area {
    int left, top, width, height;
  };
  for (const Area& a : {Area{0, 100, 48, 32}, Area{0, 150, 24, 22}, Area{0, 180, 64, 48}}) {
    for (int y = a.top; y <= a.top + a.height; ++y) {
      EXPECT_FALSE(CanvasGetPixel(canvas, a.left + a.width, y)) << a.top;
    }
    for (int x = 0; x <= a.width; ++x) EXPECT_FALSE(CanvasGetPixel(canvas, x, a.top + a.height)) << a.top;
  }
  for (int y = 0; y < 90; ++y) EXPECT_FALSE(CanvasGetPixel(canvas, 64, y));
}

TEST(SewPictures, AThirteenthColourJoinsTheTwelfthAndNoSlotLiesBeyond) {
  Canvas canvas;
  SewPictures pictures;
  StartSewDrawing(canvas);
  Line(canvas, 0, 0, 127, 0);
  StoreSewPictures(canvas, pictures, 13);
  Line(canvas, 0, 0, 0, 89);
  StoreSewPictures(canvas, pictures, 13);
  EXPECT_EQ(LitCount(pictures.small[11]), 24 + 22 - 1);
  EXPECT_EQ(LitCount(pictures.large[12]), 64 + 48 - 1);
  for (int slot : {0, 1, 14}) {
    try {
      StoreSewPictures(canvas, pictures, slot);
      ADD_FAILURE() << slot;
    } catch (const RunTimeError& e) {
      EXPECT_EQ(e.Code(), kSubscriptOutOfRange);
    }
  }
}

// A SEW picture draws a line a step, so lines with both ends on the surface take a walk
// of their own: it covers the pixels of the one-pixel walk lines off the surface take,
// for every direction and length.
TEST(SewPictures, LinesOnTheSurfaceCoverTheOnePixelWalk) {
  auto walk = [](int cx, int cy, int tx, int ty) {
    std::set<std::pair<int, int>> pixels;
    const int dx = std::abs(tx - cx), sx = cx < tx ? 1 : -1;
    const int dy = -std::abs(ty - cy), sy = cy < ty ? 1 : -1;
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
    for (int y = 0; y < Canvas::kHeight; ++y) {
      for (int x = 0; x < Canvas::kWidth; ++x) {
        if (CanvasGetPixel(canvas, x, y)) lit.insert({x, y});
      }
    }
    ASSERT_EQ(lit, walk(x1, y1, x2, y2)) << x1 << "," << y1 << " to " << x2 << "," << y2;
    ASSERT_EQ(canvas.penX, x2);
  }
}

}  // namespace
}  // namespace tavlin
