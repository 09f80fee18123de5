// Nearest-colour matching of thread colours against the four palettes.
#include <gtest/gtest.h>

#include "conversion/thread_colours.h"
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

// A source's thread table, as a QEP holds it (count at 103, colours from 113) or a VST
// (count at 78, colours from 123).
std::string WithThreads(std::string head, size_t countAt, size_t from, const std::vector<std::string>& colours) {
  head.replace(countAt, 2, IntToBytes2(static_cast<double>(colours.size())));
  for (size_t i = 0; i < colours.size(); ++i) head.replace(from + 3 * i, 3, colours[i]);
  return head;
}

TEST(Matching, ThePaletteOfADestinationFromASourcesThreadTable) {
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "a.QEP", WithThreads(std::string(512, ' '), 103, 113, {Bytes({0, 0, 0}), Bytes({255, 0, 0})}));
  BufferedFile source(OpenFile(platform, dir / "a.QEP"));
  // Red is 71 from PES 28 (254, 55, 15) and 72 from 5 (237, 23, 31).
  EXPECT_EQ(ChooseThreadPalette(kCodeQep, kCodePes, source), Bytes({20, 28}));
  EXPECT_EQ(source.Position(), 113 + 6);
  EXPECT_EQ(ChooseThreadPalette(kCodeQep, kCodeHus, source), Bytes({0, 3}));
  EXPECT_EQ(ChooseThreadPalette(kCodeQep, kCodeSew, source), Bytes({1, 10}));
  EXPECT_EQ(ChooseThreadPalette(kCodeQep, kCodePcm, source), Bytes({0, 8}));
  // No thread table: nothing, and the file where it was.
  source.Seek(77);
  EXPECT_EQ(ChooseThreadPalette(kCodeDst, kCodePes, source), "");
  EXPECT_EQ(source.Position(), 77);
}

TEST(Matching, UniqueColoursGiveTheFirstSixteenAPlaceOfTheirOwn) {
  test::TempDir dir;
  PlatformState platform;
  std::vector<std::string> colours;
  for (int i = 0; i < 17; ++i) colours.push_back(Bytes({i, 2 * i, 3 * i}));
  colours.push_back(Bytes({1, 2, 3}));  // the second colour again
  test::WriteBytes(dir / "a.VST", WithThreads(std::string(1024, '\0'), 78, 123, colours));
  colours.resize(130, Bytes({9, 9, 9}));  // more threads than the list holds
  test::WriteBytes(dir / "b.VST", WithThreads(std::string(1024, '\0'), 78, 123, colours));
  BufferedFile source(OpenFile(platform, dir / "a.VST")), big(OpenFile(platform, dir / "b.VST"));
  std::array<int16_t, 129> list{};
  const std::string unique = BuildUniqueColours(kCodeVst, source, list);
  EXPECT_EQ(unique.size(), 68u);
  EXPECT_EQ(unique.substr(4, 4), Bytes({0, 1, 2, 3}));
  EXPECT_EQ(std::vector<int16_t>(list.begin() + 15, list.begin() + 18), (std::vector<int16_t>{15, 0, 1}));  // the 17th shares 0
  EXPECT_EQ(source.Position(), 1024);
  EXPECT_THROW(BuildUniqueColours(kCodeVst, big, list), RunTimeError);
}

}  // namespace
}  // namespace tavlin
