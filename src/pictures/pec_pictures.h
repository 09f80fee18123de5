// The small 1-bit pictures of a PEC block: the canvas a design is drawn on, the rows
// of each stored picture, and the picture with its frame of rounded corners. Pixels
// only: which picture is which colour is the writer's business.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "pictures/canvas.h"

namespace tavlin {

struct PecPictures {
  static constexpr int kSlots = 129;      // the whole design and 128 colours
  static constexpr int kRowBytes = 180;   // 30 pixel rows of two frame bytes and four pixel bytes
  static constexpr int kPictureBytes = 228;  // 38 rows of six bytes: 48 x 38 pixels

  Canvas canvas{};
  std::array<std::array<uint8_t, kRowBytes>, kSlots> rows{};
};

// The canvas a drawing starts on: blackened over the picture's area, with the pen in
// its middle at (15, 15).
void PreparePecCanvas(Canvas& canvas);

// Stores the 32 x 30 pixels at the canvas's top left into a slot, each row behind the
// frame bytes that close the row above and open this one, and blackens the area again
// (the pen is left at (32, 34)). A slot beyond 128 is a subscript failure.
void StorePecPicture(PecPictures& pictures, int slot);

// Stores into a slot what the canvas would hold had the drawings of the slots from
// `first` to `last` been made on it together: their pixels, or'ed.
void ComposePecPicture(PecPictures& pictures, int slot, int first, int last);

// The 228 bytes of a slot's picture: its rows inside the frame, then two rows of zeros.
std::string FramedPecPicture(const PecPictures& pictures, int slot);

}  // namespace tavlin
