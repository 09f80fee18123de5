// The three-byte coordinates of PCM and PCS, both ways.
#include <gtest/gtest.h>

#include "tables/coordinate_tables.h"

namespace tavlin {
namespace {

TEST(CoordinateTables, ThePositionsWithTheirBytes) {
  struct Known {
    int position;
    CoordCode code;
  };
  for (const Known& k : {Known{-600, {0x00, 0x00, 0x00}}, Known{-599, {0x00, 0x00, 0x99}},
                         Known{-598, {0x00, 0x01, 0x33}}, Known{-173, {0x01, 0x00, 0x33}},
                         Known{254, {0x02, 0x00, 0x66}}, Known{600, {0x02, 0xD0, 0x00}},
                         Known{0, {0x01, 0x68, 0x00}}}) {
    EXPECT_EQ(CoordBytesX(k.position), k.code) << k.position;
    EXPECT_EQ(CoordKeysX(k.code), k.position) << k.position;
  }
  EXPECT_EQ(CoordBytesY(-575), (CoordCode{0x00, 0x00, 0x00}));
  EXPECT_EQ(CoordBytesY(575), (CoordCode{0x02, 0xB2, 0x00}));
  EXPECT_EQ(CoordBytesY(0), (CoordCode{0x01, 0x59, 0x00}));
  EXPECT_EQ(CoordKeysY({0x02, 0xB2, 0x00}), 575);
  // 2, 208, 0 is 600 on X and lies beyond Y's last.
  EXPECT_EQ(CoordKeysX({2, 208, 0}), 600);
  EXPECT_EQ(CoordKeysY({2, 208, 0}), std::nullopt);
  // Bytes the rule never gives.
  EXPECT_EQ(CoordKeysX({0, 0, 1}), std::nullopt);
  EXPECT_EQ(CoordKeysY({0, 0, 1}), std::nullopt);
  EXPECT_EQ(CoordKeysX({0, 0, 0xFF}), std::nullopt);
  // Beyond the ends.
  EXPECT_EQ(CoordBytesX(601), std::nullopt);
  EXPECT_EQ(CoordBytesX(-601), std::nullopt);
  EXPECT_EQ(CoordBytesY(576), std::nullopt);
  EXPECT_EQ(CoordBytesY(-576), std::nullopt);
}

// Every position goes there and back, one step is 0.6 of the middle byte with the
// fraction cycling 0, 153, 51, 204, 102; and of all sixteen million codes only those
// of positions are keys.
TEST(CoordinateTables, OnlyTheRulesCodesAreKeys) {
  const uint8_t cycle[5] = {0, 153, 51, 204, 102};
  for (int p = -600; p <= 600; ++p) {
    const CoordCode code = *CoordBytesX(p);
    ASSERT_EQ(CoordKeysX(code), p);
    ASSERT_EQ(code.fraction, cycle[(p + 600) % 5]) << p;
  }
  for (int p = -575; p <= 575; ++p) ASSERT_EQ(CoordKeysY(*CoordBytesY(p)), p);
  int keysX = 0, keysY = 0;
  for (int bytes = 0; bytes < (1 << 24); ++bytes) {
    const CoordCode code{static_cast<uint8_t>(bytes >> 16), static_cast<uint8_t>(bytes >> 8),
                         static_cast<uint8_t>(bytes)};
    if (const auto p = CoordKeysX(code)) {
      ++keysX;
      ASSERT_EQ(CoordBytesX(*p), code);
    }
    if (const auto p = CoordKeysY(code)) {
      ++keysY;
      ASSERT_EQ(CoordBytesY(*p), code);
    }
  }
  EXPECT_EQ(keysX, 1201);
  EXPECT_EQ(keysY, 1151);
}

}  // namespace
}  // namespace tavlin
