// The PEC pictures: 32 x 30 pixels taken from the canvas, bit 0 left, and framed.
#include <gtest/gtest.h>

#include "pictures/pec_pictures.h"
#include "platform/run_time_error.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

TEST(PecPictures, AStoreTakesThe32By30PixelsBitZeroLeftAndBlackensThem) {
  auto pictures = std::make_unique<PecPictures>();
  Canvas& canvas = pictures->canvas;
  PreparePecCanvas(canvas);
  EXPECT_TRUE(canvas.penX == 15 && canvas.penY == 15);
  // Pixels at (0, 0) and (9, 0), a line down column 31, one pixel outside the picture at
  // (32, 5) and one on the row below the last at (3, 30).
  for (const auto& [x, y] : {std::pair{0, 0}, {9, 0}, {32, 5}, {3, 30}}) CanvasSetPixel(canvas, x, y, Ink::White);
  CanvasSetPixel(canvas, 31, 0, Ink::White);
  CanvasLineTo(canvas, 31, 29, Ink::White);
  StorePecPicture(*pictures, 7);
  std::string rows(pictures->rows[7].begin(), pictures->rows[7].end());
  std::string expected = Bytes({0x40, 0x02, 0x01, 0x02, 0x00, 0x80});
  for (int y = 1; y < 29; ++y) expected += Bytes({0x40, 0x02, 0x00, 0x00, 0x00, 0x80});
  EXPECT_EQ(rows, expected + Bytes({0x40, 0x04, 0x00, 0x00, 0x00, 0x80}));
  // The store blackens the picture's area and leaves the pen at its corner.
  EXPECT_FALSE(CanvasGetPixel(canvas, 31, 10) || CanvasGetPixel(canvas, 3, 30));
  EXPECT_TRUE(canvas.penX == 32 && canvas.penY == 34);
  const std::string framed = FramedPecPicture(*pictures, 7);
  ASSERT_EQ(framed.size(), 228u);
  EXPECT_EQ(framed.substr(0, 36), Bytes({0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x08, 0, 0, 0, 0, 0x10, 0x04, 0, 0, 0, 0, 0x20,
                                         0x02, 0, 0, 0, 0, 0x40, 0x02, 0x01, 0x02, 0x00, 0x80, 0x40, 0x02, 0x00, 0x00, 0x00, 0x80, 0x40}));
  EXPECT_EQ(framed.substr(198), Bytes({0x04, 0x00, 0x00, 0x00, 0x80, 0x20, 0x08, 0, 0, 0, 0, 0x10, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF,
                                       0x0F}) + std::string(12, '\0'));
  // There are 129 slots.
  StorePecPicture(*pictures, 128);
  EXPECT_THROW(StorePecPicture(*pictures, 129), RunTimeError);
  EXPECT_THROW(FramedPecPicture(*pictures, -1), RunTimeError);
}

}  // namespace
}  // namespace tavlin
