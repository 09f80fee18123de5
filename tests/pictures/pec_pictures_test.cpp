#include <gtest/gtest.h>

#include "pictures/pec_pictures.h"
#include "platform/run_time_error.h"

namespace tavlin {
namespace {

std::string Row(std::initializer_list<int> values) {
  std::string bytes;
  for (int v : values) bytes += static_cast<char>(v);
  return bytes;
}

TEST(PecPictures, AStoreTakesThe32By30PixelsBitZeroLeftAndBlackensThem) {
  auto pictures = std::make_unique<PecPictures>();
  PreparePecCanvas(pictures->canvas);
  EXPECT_EQ(pictures->canvas.penX, 15);
  EXPECT_EQ(pictures->canvas.penY, 15);
  // A pixel at (0, 0), one at (9, 0), a line down column 31, one pixel outside the
  // picture at (32, 5) and one on the row below the last at (3, 30).
  CanvasSetPixel(pictures->canvas, 0, 0, Ink::White);
  CanvasSetPixel(pictures->canvas, 9, 0, Ink::White);
  CanvasSetPixel(pictures->canvas, 31, 0, Ink::White);
  CanvasLineTo(pictures->canvas, 31, 29, Ink::White);
  CanvasSetPixel(pictures->canvas, 32, 5, Ink::White);
  CanvasSetPixel(pictures->canvas, 3, 30, Ink::White);
  StorePecPicture(*pictures, 7);
  const auto& rows = pictures->rows[7];
  EXPECT_EQ(std::string(rows.begin(), rows.begin() + 6), Row({0x40, 0x02, 0x01, 0x02, 0x00, 0x80}));
  for (int y = 1; y < 29; ++y) {
    EXPECT_EQ(std::string(rows.begin() + 6 * y, rows.begin() + 6 * y + 6),
              Row({0x40, 0x02, 0x00, 0x00, 0x00, 0x80}))
        << y;
  }
  EXPECT_EQ(std::string(rows.begin() + 174, rows.end()), Row({0x40, 0x04, 0x00, 0x00, 0x00, 0x80}));
  // The store blackens the picture's area and leaves the pen at its corner; (33, 5)
  // lies outside it.
  EXPECT_FALSE(CanvasGetPixel(pictures->canvas, 31, 10));
  EXPECT_FALSE(CanvasGetPixel(pictures->canvas, 3, 30));
  EXPECT_EQ(pictures->canvas.penX, 32);
  EXPECT_EQ(pictures->canvas.penY, 34);

  const std::string framed = FramedPecPicture(*pictures, 7);
  ASSERT_EQ(framed.size(), 228u);
  EXPECT_EQ(framed.substr(0, 24), Row({0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x08, 0, 0, 0, 0, 0x10,
                                       0x04, 0, 0, 0, 0, 0x20, 0x02, 0, 0, 0, 0, 0x40}));
  EXPECT_EQ(framed.substr(24, 6), Row({0x02, 0x01, 0x02, 0x00, 0x80, 0x40}));
  EXPECT_EQ(framed.substr(30, 6), Row({0x02, 0x00, 0x00, 0x00, 0x80, 0x40}));
  EXPECT_EQ(framed.substr(198, 6), Row({0x04, 0x00, 0x00, 0x00, 0x80, 0x20}));
  EXPECT_EQ(framed.substr(204, 24), Row({0x08, 0, 0, 0, 0, 0x10, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F,
                                         0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(PecPictures, ThereAre129Slots) {
  auto pictures = std::make_unique<PecPictures>();
  StorePecPicture(*pictures, 128);
  try {
    StorePecPicture(*pictures, 129);
    ADD_FAILURE() << "slot 129 stored";
  } catch (const RunTimeError& e) {
    EXPECT_EQ(e.Code(), kSubscriptOutOfRange);
  }
  EXPECT_THROW(FramedPecPicture(*pictures, -1), RunTimeError);
}

}  // namespace
}  // namespace tavlin
