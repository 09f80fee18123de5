// The three-byte coordinates of PCM and PCS, both ways.
#include <gtest/gtest.h>

#include "tables/coordinate_tables.h"

namespace tavlin {
namespace {

// Known positions with their bytes, then every position there and back: one step is 0.6
// of the middle byte with the fraction cycling 0, 153, 51, 204, 102; of all sixteen
// million codes only those of positions are keys.
TEST(CoordinateTables, OnlyTheRulesCodesAreKeys) {
  for (const auto& [position, code] : {std::pair{-600, CoordCode{0x00, 0x00, 0x00}}, {-599, {0x00, 0x00, 0x99}},
                                       {-598, {0x00, 0x01, 0x33}}, {-173, {0x01, 0x00, 0x33}}, {254, {0x02, 0x00, 0x66}},
                                       {600, {0x02, 0xD0, 0x00}}, {0, {0x01, 0x68, 0x00}}}) {
    EXPECT_EQ(CoordBytesX(position), code) << position;
  }
  EXPECT_EQ(CoordBytesY(-575), (CoordCode{0x00, 0x00, 0x00}));
  EXPECT_EQ(CoordBytesY(575), (CoordCode{0x02, 0xB2, 0x00}));
  EXPECT_EQ(CoordBytesY(0), (CoordCode{0x01, 0x59, 0x00}));
  for (const int beyond : {601, -601}) EXPECT_EQ(CoordBytesX(beyond), std::nullopt);
  for (const int beyond : {576, -576}) EXPECT_EQ(CoordBytesY(beyond), std::nullopt);
  const uint8_t cycle[5] = {0, 153, 51, 204, 102};
  for (int p = -600; p <= 600; ++p) ASSERT_EQ(CoordBytesX(p)->fraction, cycle[(p + 600) % 5]) << p;
  int keysX = 0, keysY = 0;
  for (int bytes = 0; bytes < (1 << 24); ++bytes) {
    const CoordCode code{static_cast<uint8_t>(bytes >> 16), static_cast<uint8_t>(bytes >> 8), static_cast<uint8_t>(bytes)};
    if (const auto p = CoordKeysX(code)) {
      ++keysX;
      ASSERT_EQ(CoordBytesX(*p), code);
    }
    if (const auto p = CoordKeysY(code)) {
      ++keysY;
      ASSERT_EQ(CoordBytesY(*p), code);
    }
  }
  EXPECT_EQ(keysX, 1201);  // -600 to 600
  EXPECT_EQ(keysY, 1151);  // -575 to 575
}

}  // namespace
}  // namespace tavlin
