// The four 1-bit pictures a SEW file carries. The design is drawn at 128 x 90 pixels
// on the canvas; at each colour change that drawing is shrunk into three smaller areas
// below it, all four are ORed into their byte buffers, and the drawing starts again.
// Pixels only: where the buffers stand in a file is the codec's business.
#pragma once

#include <array>
#include <cstdint>

#include "pictures/canvas.h"

namespace tavlin {

// The drawing area, and the pixel a design's origin is drawn on.
constexpr int kSewDrawingWidth = 128;
constexpr int kSewDrawingHeight = 90;
constexpr int kSewOriginX = 64;
constexpr int kSewOriginY = 45;

// Each buffer opens with two bytes, bytes per row and rows; then the rows, the leftmost
// pixel of a byte in its bit 7. Buffers are only ever ORed into: a bit once set stays.
struct SewPictures {
  static constexpr int kColours = 12;
  std::array<uint8_t, 194> medium{};                          // 48 x 32, the whole design
  std::array<std::array<uint8_t, 68>, kColours> small{};      // 24 x 22, one a colour
  std::array<std::array<uint8_t, 386>, kColours + 1> large{}; // 64 x 48: the whole, then one a colour
  std::array<uint8_t, 1442> full{};                           // 128 x 90, the whole design
};

// Clears the canvas, blackens the drawing area and puts the pen on the origin's pixel.
void StartSewDrawing(Canvas& canvas);

// Stores the drawing: slot k + 1 belongs to colour k (2 to 13; a thirteenth colour joins
// the twelfth). Shrinks it into the medium, small and large areas, ORs those and the
// drawing into the pictures, and blackens the drawing area for the next colour. A slot
// outside 2 to 13 is a subscript failure.
void StoreSewPictures(Canvas& canvas, SewPictures& pictures, int slot);

}  // namespace tavlin
