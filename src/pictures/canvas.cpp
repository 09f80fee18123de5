#include "pictures/canvas.h"

#include <algorithm>
#include <cstdlib>

namespace tavlin {

namespace {

bool OnSurface(int x, int y) {
  return x >= 0 && y >= 0 && x < Canvas::kWidth && y < Canvas::kHeight;
}

void Put(Canvas& canvas, int x, int y, Ink ink) {
  if (OnSurface(x, y)) canvas.pixels[static_cast<size_t>(y) * Canvas::kWidth + x] = static_cast<uint8_t>(ink);
}

}  // namespace

void CanvasClear(Canvas& canvas) {
  canvas.pixels.fill(0);
  canvas.penX = canvas.penY = 0;
}

void CanvasFillBox(Canvas& canvas, int x1, int y1, int x2, int y2) {
  const int left = std::max(std::min(x1, x2), 0), right = std::min(std::max(x1, x2), Canvas::kWidth - 1);
  const int top = std::max(std::min(y1, y2), 0), bottom = std::min(std::max(y1, y2), Canvas::kHeight - 1);
  for (int y = top; y <= bottom; ++y)
    for (int x = left; x <= right; ++x) Put(canvas, x, y, Ink::Black);
  canvas.penX = x2;
  canvas.penY = y2;
}

void CanvasSetPixel(Canvas& canvas, int x, int y, Ink ink) {
  Put(canvas, x, y, ink);
  canvas.penX = x;
  canvas.penY = y;
}

void CanvasLineTo(Canvas& canvas, int x, int y, Ink ink) {
  int cx = canvas.penX, cy = canvas.penY;
  if (OnSurface(cx, cy) && OnSurface(x, y)) {
    // Every pixel between two ends on the surface is on it: the same walk as below
    // without a test per pixel, counted along the axis that moves at every pixel (a
    // SEW picture draws a line for every step of a design).
    const int dx = std::abs(x - cx), sx = cx < x ? 1 : -1;
    const int dy = -std::abs(y - cy), sy = cy < y ? 1 : -1;
    int error = dx + dy;
    uint8_t* pixel = canvas.pixels.data() + static_cast<size_t>(cy) * Canvas::kWidth + cx;
    const auto value = static_cast<uint8_t>(ink);
    const int down = sy * Canvas::kWidth;
    if (dx >= -dy) {
      for (int left = dx;; --left) {
        *pixel = value;
        if (left == 0) break;
        const int twice = 2 * error;
        error += dy;
        pixel += sx;
        if (twice <= dx) {
          error += dx;
          pixel += down;
        }
      }
    } else {
      for (int left = -dy;; --left) {
        *pixel = value;
        if (left == 0) break;
        const int twice = 2 * error;
        if (twice >= dy) {
          error += dy;
          pixel += sx;
        }
        error += dx;
        pixel += down;
      }
    }
    canvas.penX = x;
    canvas.penY = y;
    return;
  }
  // A line from far off the surface would walk many pixels for nothing; the pen's
  // coordinates come from design positions scaled to a picture, so they stay small,
  // but a hostile file must not make this loop long: clamp both ends to a margin.
  auto clamp = [](int v) { return std::clamp(v, -4096, 4096); };
  cx = clamp(cx), cy = clamp(cy);
  const int tx = clamp(x), ty = clamp(y);
  const int dx = std::abs(tx - cx), sx = cx < tx ? 1 : -1;
  const int dy = -std::abs(ty - cy), sy = cy < ty ? 1 : -1;
  int error = dx + dy;
  for (;;) {
    Put(canvas, cx, cy, ink);
    if (cx == tx && cy == ty) break;
    const int twice = 2 * error;
    if (twice >= dy) {
      error += dy;
      cx += sx;
    }
    if (twice <= dx) {
      error += dx;
      cy += sy;
    }
  }
  canvas.penX = x;
  canvas.penY = y;
}

bool CanvasGetPixel(const Canvas& canvas, int x, int y) {
  return OnSurface(x, y) && canvas.pixels[static_cast<size_t>(y) * Canvas::kWidth + x] != 0;
}

}  // namespace tavlin
