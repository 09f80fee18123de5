// The read-only tables: nearest-colour matching of thread colours against the four
// palettes, a source's unique colours, and the three-byte coordinates of PCM and PCS.
#include <gtest/gtest.h>

#include "conversion/thread_colours.h"
#include "tables/coordinate_tables.h"
#include "tables/palettes.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

TEST(Matching, FindsTheNearestEntryAndTheLowerKeyOnATie) {
  EXPECT_EQ(MatchPesColour(0, 0, 0), 20);
  EXPECT_EQ(MatchHusColour(255, 0, 0), 3);
  EXPECT_EQ(MatchHusColour(0, 0, 0), 0);  // key 1, stored as 0
  EXPECT_EQ(MatchJefColour(0, 0, 0), 1);
  EXPECT_EQ(MatchPcmColour(255, 255, 255), 15);
  // (0, 0, 64) lies 64 from PCM's 0 (black) and 64 from 1 (0, 0, 128): the lower key.
  EXPECT_EQ(MatchPcmColour(0, 0, 64), 0);
  EXPECT_EQ(MatchPcmColour(0, 0, 65), 1);
  // City-block distance: (250, 10, 10) is 30 from red and nearer than any other.
  EXPECT_EQ(MatchPcmColour(250, 10, 10), 8);
}

// A VST's thread table (its count at 78, its colours from 123) of 17 colours and the
// second again: the first sixteen get a place of their own, the seventeenth shares 0, a
// colour seen before keeps its place. More threads than the list holds is a subscript failure.
TEST(Matching, UniqueColoursGiveTheFirstSixteenAPlaceOfTheirOwn) {
  test::TempDir dir;
  PlatformState platform;
  std::string vst(1024, '\0');
  for (int i = 0; i < 18; ++i) vst.replace(123 + 3 * static_cast<size_t>(i), 3, i == 17 ? Bytes({1, 2, 3}) : Bytes({i, 2 * i, 3 * i}));
  test::WriteBytes(dir / "a.VST", vst.replace(78, 2, IntToBytes2(18)));
  test::WriteBytes(dir / "b.VST", vst.replace(78, 2, IntToBytes2(130)));
  BufferedFile source(OpenFile(platform, dir / "a.VST")), big(OpenFile(platform, dir / "b.VST"));
  std::array<int16_t, 129> list{};
  const std::string unique = BuildUniqueColours(kCodeVst, source, list);
  EXPECT_EQ(unique.size(), 68u);
  EXPECT_EQ(unique.substr(4, 4), Bytes({0, 1, 2, 3}));
  EXPECT_EQ(std::vector<int16_t>(list.begin() + 15, list.begin() + 18), (std::vector<int16_t>{15, 0, 1}));
  EXPECT_EQ(source.Position(), 1024);
  EXPECT_THROW(BuildUniqueColours(kCodeVst, big, list), RunTimeError);
}

// Known positions with their bytes, then every position there and back: one step is 0.6
// of the middle byte with the fraction cycling 0, 153, 51, 204, 102; of all sixteen
// million codes only those of positions are keys.
TEST(CoordinateTables, OnlyTheRulesCodesAreKeys) {
  EXPECT_EQ(CoordBytesX(-599), (CoordCode{0x00, 0x00, 0x99}));
  EXPECT_EQ(CoordBytesX(254), (CoordCode{0x02, 0x00, 0x66}));
  EXPECT_EQ(CoordBytesY(575), (CoordCode{0x02, 0xB2, 0x00}));
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
