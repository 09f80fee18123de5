#include "pictures/canvas.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

namespace tavlin {

namespace {

bool OnSurface(int x, int y) {
  return x >= 0 && y >= 0 && x < Canvas::kWidth && y < Canvas::kHeight;
}

void Put(Canvas& canvas, int x, int y, Ink ink) {
  if (OnSurface(x, y)) canvas.pixels[static_cast<size_t>(y) * Canvas::kWidth + x] = static_cast<uint8_t>(ink);
}

// 2^32 / (2 major) rounded up, for every length a line on the surface can have.
constexpr size_t kLongestLine = std::max(Canvas::kWidth, Canvas::kHeight);
constexpr std::array<uint32_t, kLongestLine> MakeReciprocals() {
  std::array<uint32_t, kLongestLine> reciprocals{};
  for (uint64_t major = 1; major < reciprocals.size(); ++major) {
    reciprocals[major] = static_cast<uint32_t>(((uint64_t{1} << 32) + 2 * major - 1) / (2 * major));
  }
  return reciprocals;
}
constexpr std::array<uint32_t, kLongestLine> kReciprocals = MakeReciprocals();

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
    // Every pixel between two ends on the surface is on it. The walk below moves the
    // minor axis when its error says so; here the minor axis's offset at pixel i of the
    // major one is taken outright, (2 minor i + major) / (2 major) without its fraction,
    // which gives the same pixels with no chain from one pixel to the next (a SEW
    // picture draws a line a step). The division is a multiplication by
    // 2^32 / (2 major) rounded up, exact for numerators this small (below 2^17).
    const int dx = std::abs(x - cx), dy = std::abs(y - cy);
    const int sx = cx < x ? 1 : -1, sy = cy < y ? Canvas::kWidth : -Canvas::kWidth;
    const bool alongX = dx >= dy;
    const int major = alongX ? dx : dy, minor = alongX ? dy : dx;
    const int majorStep = alongX ? sx : sy, minorStep = alongX ? sy : sx;
    uint8_t* const first = canvas.pixels.data() + static_cast<size_t>(cy) * Canvas::kWidth + cx;
    const auto value = static_cast<uint8_t>(ink);
    *first = value;
    if (major > 0) {
      const uint64_t reciprocal = kReciprocals[static_cast<size_t>(major)];
      uint64_t numerator = static_cast<uint64_t>(major);
      for (int i = 1; i <= major; ++i) {
        numerator += 2 * static_cast<uint64_t>(minor);
        const auto j = static_cast<int>((numerator * reciprocal) >> 32);
        first[i * majorStep + j * minorStep] = value;
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
