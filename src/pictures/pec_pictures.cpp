#include "pictures/pec_pictures.h"

#include <initializer_list>

#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int kPixelColumns = 32;
constexpr int kPixelRows = 30;
constexpr int kAreaRight = 32, kAreaBottom = 34;  // what a store blackens

void RequireSlot(int slot) {
  if (slot < 0 || slot >= PecPictures::kSlots) throw RunTimeError(kSubscriptOutOfRange);
}

}  // namespace

void PreparePecCanvas(Canvas& canvas) {
  CanvasClear(canvas);
  CanvasFillBox(canvas, 0, 0, kAreaRight, kAreaBottom);
  CanvasSetPixel(canvas, 15, 15, Ink::Black);
}

void StorePecPicture(PecPictures& pictures, int slot) {
  RequireSlot(slot);
  auto& out = pictures.rows[static_cast<size_t>(slot)];
  size_t at = 0;
  for (int y = 0; y < kPixelRows; ++y) {
    out[at++] = 0x40;
    out[at++] = y == kPixelRows - 1 ? 0x04 : 0x02;
    for (int x = 0; x < kPixelColumns; x += 8) {
      uint8_t byte = 0;
      for (int bit = 0; bit < 8; ++bit) {
        if (CanvasGetPixel(pictures.canvas, x + bit, y)) byte = static_cast<uint8_t>(byte | 1u << bit);
      }
      out[at++] = byte;
    }
  }
  CanvasFillBox(pictures.canvas, 0, 0, kAreaRight, kAreaBottom);
}

void ComposePecPicture(PecPictures& pictures, int slot, int first, int last) {
  RequireSlot(slot);
  auto& out = pictures.rows[static_cast<size_t>(slot)];
  out.fill(0);
  for (int from = first; from <= last; ++from) {
    RequireSlot(from);
    const auto& rows = pictures.rows[static_cast<size_t>(from)];
    for (size_t at = 0; at < out.size(); ++at) out[at] = static_cast<uint8_t>(out[at] | rows[at]);
  }
}

std::string FramedPecPicture(const PecPictures& pictures, int slot) {
  RequireSlot(slot);
  const auto& rows = pictures.rows[static_cast<size_t>(slot)];
  auto bytes = [](std::initializer_list<int> values) {
    std::string text;
    for (int v : values) text += static_cast<char>(v);
    return text;
  };
  std::string picture;
  picture.reserve(PecPictures::kPictureBytes);
  picture += bytes({0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F});
  picture += bytes({0x08, 0x00, 0x00, 0x00, 0x00, 0x10});
  picture += bytes({0x04, 0x00, 0x00, 0x00, 0x00, 0x20});
  // Each stored row opens with the byte that closes the row above (0x40) and the one
  // that opens its own: the frame's row 3 leaves its closing byte to the first, and
  // 0x20 closes the last.
  picture += bytes({0x02, 0x00, 0x00, 0x00, 0x00});
  picture.append(reinterpret_cast<const char*>(rows.data()), rows.size());
  picture += static_cast<char>(0x20);
  picture += bytes({0x08, 0x00, 0x00, 0x00, 0x00, 0x10});
  picture += bytes({0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F});
  picture.append(12, '\0');
  return picture;
}

}  // namespace tavlin
