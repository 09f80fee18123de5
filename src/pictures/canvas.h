// The off-screen 1-bit surface on which the PES and SEW pictures are drawn: black
// where nothing is drawn, white where a line passed. Pixels only; what a picture means
// is the business of the codec that stores it.
#pragma once

#include <array>
#include <cstdint>

namespace tavlin {

enum class Ink : uint8_t { Black = 0, White = 1 };

struct Canvas {
  // Large enough for the SEW drawing area stacked over its three smaller pictures.
  static constexpr int kWidth = 256;
  static constexpr int kHeight = 256;

  std::array<uint8_t, kWidth * kHeight> pixels{};  // 0 black, 1 white
  int penX = 0, penY = 0;
};

// Everything black; the pen goes to the origin.
void CanvasClear(Canvas& canvas);
// A filled black box from (x1, y1) to (x2, y2), both corners included; the pen stands at
// (x2, y2).
void CanvasFillBox(Canvas& canvas, int x1, int y1, int x2, int y2);
// One pixel; the pen stands there. Pixels off the surface are not drawn.
void CanvasSetPixel(Canvas& canvas, int x, int y, Ink ink);
// A one-pixel-wide line (Bresenham) from the pen to (x, y), both ends included; the pen
// stands at (x, y).
void CanvasLineTo(Canvas& canvas, int x, int y, Ink ink);
// True unless the pixel is black; off the surface is black.
bool CanvasGetPixel(const Canvas& canvas, int x, int y);

}  // namespace tavlin
