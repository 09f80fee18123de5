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

// A QEP source with a thread table of these colours.
std::string QepWithThreads(const std::vector<std::string>& triples) {
  std::string bytes(512, ' ');
  bytes.replace(103, 2, IntToBytes2(static_cast<double>(triples.size())));
  size_t at = 113;
  for (const std::string& t : triples) {
    bytes.replace(at, 3, t);
    at += 3;
  }
  return bytes;
}

TEST(Matching, ThePaletteOfADestinationFromASourcesThreadTable) {
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "a.QEP", QepWithThreads({Bytes({0, 0, 0}), Bytes({255, 0, 0})}));
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
  std::string vst(1024, '\0');
  vst.replace(78, 2, IntToBytes2(static_cast<double>(colours.size())));
  for (size_t i = 0; i < colours.size(); ++i) vst.replace(123 + 3 * i, 3, colours[i]);
  test::WriteBytes(dir / "a.VST", vst);
  BufferedFile source(OpenFile(platform, dir / "a.VST"));
  std::array<int16_t, 129> list{};
  const std::string unique = BuildUniqueColours(kCodeVst, source, list);
  EXPECT_EQ(unique.size(), 68u);
  EXPECT_EQ(unique.substr(4, 4), Bytes({0, 1, 2, 3}));
  EXPECT_EQ(list[15], 15);
  EXPECT_EQ(list[16], 0);  // the seventeenth shares 0
  EXPECT_EQ(list[17], 1);  // a colour seen before keeps its place
  EXPECT_EQ(source.Position(), 1024);
  // More threads than the list holds is a subscript failure.
  vst.replace(78, 2, IntToBytes2(130));
  test::WriteBytes(dir / "b.VST", vst);
  BufferedFile big(OpenFile(platform, dir / "b.VST"));
  EXPECT_THROW(BuildUniqueColours(kCodeVst, big, list), RunTimeError);
}

}  // namespace
}  // namespace tavlin
