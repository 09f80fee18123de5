#include "pictures/sew_pictures.h"

#include <cstddef>

#include "platform/run_time_error.h"

namespace tavlin {

namespace {

// An area of the canvas, and the steps across and down the drawing that shrink it
// there. The steps are single precision, which gives each area its column and row
// counts exactly.
struct Area {
  int left = 0, top = 0, width = 0, height = 0;
  float across = 0, down = 0;
};

constexpr Area kDrawing = {0, 0, kSewDrawingWidth, kSewDrawingHeight, 1.0f, 1.0f};
constexpr Area kMedium = {0, 100, 48, 32, 2.6666f, 2.8125f};
constexpr Area kSmall = {0, 150, 24, 22, 5.333f, 4.0909f};
constexpr Area kLarge = {0, 180, 64, 48, 2.0f, 1.875f};

// Blackens the area (its far corner included) and sets each of its pixels whose sample
// point in the drawing is set. A sample point falls on the pixel that contains it.
void Shrink(Canvas& canvas, const Area& area) {
  CanvasFillBox(canvas, area.left, area.top, area.left + area.width, area.top + area.height);
  int toY = area.top;
  for (float y = 0; y <= kSewDrawingHeight - 1; y += area.down) {
    int toX = area.left;
    for (float x = 0; x <= kSewDrawingWidth - 1; x += area.across) {
      if (CanvasGetPixel(canvas, static_cast<int>(x), static_cast<int>(y))) {
        CanvasSetPixel(canvas, toX, toY, Ink::White);
      }
      ++toX;
    }
    ++toY;
  }
}

// ORs the area's pixels into a buffer's rows, behind its two first bytes, which it
// writes.
void ReadArea(const Canvas& canvas, const Area& area, uint8_t* buffer) {
  buffer[0] = static_cast<uint8_t>(area.width / 8);
  buffer[1] = static_cast<uint8_t>(area.height);
  size_t at = 2;
  for (int y = area.top; y < area.top + area.height; ++y) {
    for (int x = 0; x < area.width; x += 8) {
      uint8_t byte = 0;
      for (int bit = 0; bit < 8; ++bit) {
        if (CanvasGetPixel(canvas, area.left + x + bit, y)) byte |= static_cast<uint8_t>(0x80 >> bit);
      }
      buffer[at++] |= byte;
    }
  }
}

}  // namespace

void StartSewDrawing(Canvas& canvas) {
  CanvasClear(canvas);
  CanvasFillBox(canvas, 0, 0, kSewDrawingWidth, kSewDrawingHeight);
  CanvasSetPixel(canvas, kSewOriginX, kSewOriginY, Ink::Black);
}

void StoreSewPictures(Canvas& canvas, SewPictures& pictures, int slot) {
  if (slot < 2 || slot > SewPictures::kColours + 1) throw RunTimeError(kSubscriptOutOfRange);
  Shrink(canvas, kMedium);
  Shrink(canvas, kSmall);
  Shrink(canvas, kLarge);
  ReadArea(canvas, kMedium, pictures.medium.data());
  ReadArea(canvas, kSmall, pictures.small[static_cast<size_t>(slot - 2)].data());
  // The whole design's large picture gathers every colour's.
  ReadArea(canvas, kLarge, pictures.large[0].data());
  ReadArea(canvas, kLarge, pictures.large[static_cast<size_t>(slot - 1)].data());
  ReadArea(canvas, kDrawing, pictures.full.data());
  CanvasFillBox(canvas, 0, 0, kSewDrawingWidth, kSewDrawingHeight);
}

}  // namespace tavlin
