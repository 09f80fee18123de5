#include <gtest/gtest.h>

#include "pictures/canvas.h"

namespace tavlin {
namespace {

TEST(Canvas, LinesAreOnePixelWideAndEndWhereThePenStands) {
  Canvas canvas;
  CanvasClear(canvas);
  CanvasSetPixel(canvas, 2, 3, Ink::Black);
  CanvasLineTo(canvas, 9, 6, Ink::White);  // shallow: one pixel a column
  for (int x = 2; x <= 9; ++x) {
    int lit = 0;
    for (int y = 0; y < 12; ++y) lit += CanvasGetPixel(canvas, x, y);
    EXPECT_EQ(lit, 1) << "column " << x;
  }
  EXPECT_TRUE(CanvasGetPixel(canvas, 2, 3));
  EXPECT_TRUE(CanvasGetPixel(canvas, 9, 6));
  CanvasLineTo(canvas, 9, 20, Ink::White);  // continues from the pen
  for (int y = 6; y <= 20; ++y) EXPECT_TRUE(CanvasGetPixel(canvas, 9, y));
  EXPECT_FALSE(CanvasGetPixel(canvas, 10, 20));
}

TEST(Canvas, BoxesBlackenTheirCornersInclusiveAndTheEdgeIsBlack) {
  Canvas canvas;
  CanvasClear(canvas);
  CanvasSetPixel(canvas, 0, 0, Ink::White);
  CanvasLineTo(canvas, 40, 40, Ink::White);
  CanvasFillBox(canvas, 0, 0, 32, 34);
  for (int at = 0; at <= 32; ++at) EXPECT_FALSE(CanvasGetPixel(canvas, at, at));
  EXPECT_TRUE(CanvasGetPixel(canvas, 33, 33));
  // Off the surface nothing is drawn and everything reads black; far pens stay cheap.
  CanvasSetPixel(canvas, -5, 4000, Ink::White);
  EXPECT_FALSE(CanvasGetPixel(canvas, -5, 4000));
  CanvasLineTo(canvas, 30000, -30000, Ink::White);
  EXPECT_EQ(canvas.penX, 30000);
  CanvasClear(canvas);
  EXPECT_FALSE(CanvasGetPixel(canvas, 40, 40));
}

}  // namespace
}  // namespace tavlin
