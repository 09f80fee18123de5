// Janome JEF and SEW: their heads byte by byte (hoops, limits, turns, colour tables,
// counts), the stream both ways, the class's and the library's writings of a QEP colour
// change, the SEW start and colour cap, round trips, and the samples of another program.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "conversion/text_header.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

struct QepRecord {
  int code;
  int x;  // absolute, Y down
  int y;
};

std::string Le16(int value) {
  return Bytes({value & 0xFF, (value >> 8) & 0xFF});
}

// A QEP whose head gives the extents and the threads, with an opening record, the
// records and the end record.
std::string QepFile(int plusX, int minusX, int plusY, int minusY,
                    const std::vector<std::array<int, 3>>& threads,
                    const std::vector<QepRecord>& records) {
  std::string bytes(512, ' ');
  bytes.replace(41, 5, HeaderNumber(plusX, 5));
  bytes.replace(50, 5, HeaderNumber(minusX, 5));
  bytes.replace(59, 5, HeaderNumber(plusY, 5));
  bytes.replace(68, 5, HeaderNumber(minusY, 5));
  bytes.replace(103, 2, Le16(static_cast<int>(threads.size())));
  for (size_t i = 0; i < threads.size(); ++i) {
    bytes.replace(113 + 3 * i, 3, Bytes({threads[i][0], threads[i][1], threads[i][2]}));
  }
  bytes += Bytes({5, 0, 0, 0, 0});
  for (const QepRecord& r : records) bytes += Bytes({r.code}) + Le16(r.x) + Le16(r.y);
  return bytes + Bytes({6, 0, 0, 0, 0});
}

// A design of one stitch at (10, 20 up) behind a head of the given size.
std::string SizedQep(int plusX, int minusX, int plusY, int minusY) {
  return QepFile(plusX, minusX, plusY, minusY, {{0, 0, 0}}, {{0, 10, -20}});
}

// The needles turned as the Janome writers turn a design: (x, y) up becomes (-y, x).
std::vector<test::Needle> Turned(std::vector<test::Needle> needles) {
  for (test::Needle& n : needles) n = {n.y, -n.x, n.kind, n.colour};
  return needles;
}

// The class writes a QEP colour change as a stitch to its place and a change there:
// the stitch in front of each change, at the change's own place, is taken out.
std::vector<test::Needle> WithoutStitchesAtChanges(const std::vector<test::Needle>& needles) {
  std::vector<test::Needle> kept;
  for (size_t i = 0; i < needles.size(); ++i) {
    const bool atChange = i + 1 < needles.size() && needles[i].kind == 0 &&
                          needles[i + 1].kind == 2 && needles[i].x == needles[i + 1].x &&
                          needles[i].y == needles[i + 1].y;
    if (!atChange) kept.push_back(needles[i]);
  }
  return kept;
}

size_t Count(const std::string& bytes, const std::string& what, size_t from) {
  size_t n = 0;
  for (size_t at = from; at + what.size() <= bytes.size(); at += 2) {
    if (bytes.compare(at, what.size(), what) == 0) ++n;
  }
  return n;
}

TEST(Jef, HoopsLimitsAndTurnsAtEveryBoundary) {
  test::TempDir dir;
  struct Case {
    int plusX, minusX, plusY, minusY;
    int result;  // 0, or -100
    int hoop;
    bool turned;
  };
  const Case cases[] = {
      {250, 250, 250, 250, 0, 2, false},      // 500 x 500: neither smaller hoop
      {250, 249, 250, 249, 0, 1, false},      // 499 x 499, extents 250
      {251, 248, 250, 249, 0, 2, false},      // 499 x 499 with an extent of 251
      {550, 549, 400, 400, 0, 0, false},      // 1099 x 800, extents 550
      {550, 550, 400, 400, 0, 2, false},      // 1100 x 800
      {1001, 1000, 0, 0, -100, 0, false},     // 2001 wide
      {0, 0, 1001, 1000, -100, 0, false},     // 2001 high
      {701, 700, 701, 700, -100, 0, false},   // 1401 x 1401
      {701, 700, 700, 700, 0, 2, true},       // 1401 x 1400: turned
      {700, 700, 1000, 1000, 0, 2, false},    // 1400 x 2000
  };
  for (const Case& c : cases) {
    const std::string what = std::to_string(c.plusX + c.minusX) + " x " +
                             std::to_string(c.plusY + c.minusY);
    test::WriteBytes(dir / "s.QEP", SizedQep(c.plusX, c.minusX, c.plusY, c.minusY));
    test::WriteBytes(dir / "d.JEF", "what stood");
    test::Converter convert;
    ASSERT_EQ(convert(dir / "s.QEP", dir / "d.JEF"), c.result) << what;
    if (c.result != 0) {
      EXPECT_FALSE(std::filesystem::exists(dir / "d.JEF")) << what;
      EXPECT_EQ(Convert(dir / "s.QEP", dir / "lib.JEF").value(), c.result) << what;
      continue;
    }
    const std::string jef = test::ReadBytes(dir / "d.JEF");
    ASSERT_EQ(jef.size(), 124u + 4 + 2 + 2) << what;
    EXPECT_EQ(ByteAt(jef, 32), c.hoop) << what;
    // Behind the opening jump the stitch (10, 20), or turned (-20, 10).
    EXPECT_EQ(jef.substr(124), Bytes({0x80, 0x02, 0, 0}) +
                                   (c.turned ? Bytes({0xEC, 0x0A}) : Bytes({0x0A, 0x14})) +
                                   Bytes({0x80, 0x10}))
        << what;
  }
}

// The whole file for a QEP of two threads: jumps held back until a stitch, the trim's
// step dropped, the colour change as the class and as the library write it, the last
// jump dropped, and the head filled at the end.
TEST(Jef, TheWholeFileByteForByteBothWays) {
  test::TempDir dir;
  // Red and a dark blue: JEF keys 10 (255 0 0) and 12 (11 47 132), the nearest by 7.2.
  test::WriteBytes(dir / "s.QEP", QepFile(100, 0, 0, 20, {{250, 0, 0}, {10, 50, 130}},
                                          {{1, 30, 0},
                                           {1, 60, 0},
                                           {0, 60, 10},
                                           {31, 9, 0},
                                           {0, 70, 10},
                                           {2, 80, 10},
                                           {0, 80, 20},
                                           {1, 100, 20}}));
  const std::string block = Bytes({0x2F, 0x01, 0, 0, 0xA8, 0x02, 0, 0, 0x67, 0, 0, 0, 0xE0, 0x01, 0, 0});
  auto head = [&block](int stitchCountPlus2) {
    return Bytes({132, 0, 0, 0, 0x0A, 0, 0, 0}) + "20020207223337" + Bytes({0, 0, 2, 0, 0, 0}) +
           Le16(stitchCountPlus2) + Bytes({0, 0}) + Bytes({1, 0, 0, 0}) +
           Bytes({0, 0, 0, 0, 0, 0, 0, 0, 100, 0, 0, 0, 20, 0, 0, 0}) + std::string(32, '\xFF') +
           block + block + Bytes({10, 0, 0, 0, 12, 0, 0, 0, 0x0D, 0, 0, 0, 0x0D, 0, 0, 0}) +
           Bytes({0x80, 0x02, 0, 0});
  };
  const std::string jumps = Bytes({0x80, 0x02, 30, 0, 0x80, 0x02, 30, 0});
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.QEP", dir / "class.JEF"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.JEF"),
            head(13) + jumps + Bytes({0, 0xF6, 10, 0}) + Bytes({10, 0, 0x80, 0x01, 0, 0}) +
                Bytes({0, 0xF6, 0x80, 0x10}));
  ASSERT_EQ(Convert(dir / "s.QEP", dir / "library.JEF").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.JEF"),
            head(12) + jumps + Bytes({0, 0xF6, 10, 0}) + Bytes({0x80, 0x01, 10, 0}) +
                Bytes({0, 0xF6, 0x80, 0x10}));
  // The library's file reads as the source's design, the trim and the last jump aside.
  std::vector<test::Needle> want = test::NeedlesOf(dir / "s.QEP");
  want.erase(want.begin() + 1);  // the trim
  EXPECT_EQ(test::NeedlesOf(dir / "library.JEF"), want);
  EXPECT_EQ(WithoutStitchesAtChanges(test::NeedlesOf(dir / "class.JEF")), want);
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(dir / "library.JEF", summary).value(), 0);
  EXPECT_EQ(summary.hoop, "50x50");
}

// A source whose head names fewer colours than its stream has (none, for a DST): the
// stream moves on so that the tables get their room, and the file reads whole.
TEST(Jef, TheColourTablesAlwaysGetTheirRoom) {
  test::TempDir dir;
  test::WriteBytes(dir / "s.DST", test::ZigzagDst(25, 20, 10, 10));
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.DST", dir / "d.JEF"), 0);
  const std::string jef = test::ReadBytes(dir / "d.JEF");
  // Three colours: 116 + 24 bytes of head, the tables with keys in order.
  EXPECT_EQ(jef.substr(0, 2), Le16(140));
  EXPECT_EQ(ByteAt(jef, 24), 3);
  EXPECT_EQ(ByteAt(jef, 32), 1);  // no sizes: the hoop of the smallest design
  EXPECT_EQ(jef.substr(116, 28), Bytes({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0x0D, 0, 0, 0, 0x0D, 0,
                                        0, 0, 0x0D, 0, 0, 0, 0x80, 0x02, 0, 0}));
  EXPECT_EQ(test::NeedlesOf(dir / "d.JEF"), test::NeedlesOf(dir / "s.DST"));

  // A QEP that names one thread for a stream of two colours.
  test::WriteBytes(dir / "one.QEP", QepFile(50, 0, 0, 0, {{0, 0, 0}},
                                            {{0, 10, 0}, {2, 20, 0}, {0, 30, 0}}));
  ASSERT_EQ(convert(dir / "one.QEP", dir / "one.JEF"), 0);
  const std::string one = test::ReadBytes(dir / "one.JEF");
  EXPECT_EQ(one.substr(0, 2), Le16(132));
  EXPECT_EQ(one.substr(116, 20),
            Bytes({1, 0, 0, 0, 2, 0, 0, 0, 0x0D, 0, 0, 0, 0x0D, 0, 0, 0, 0x80, 0x02, 0, 0}));
  EXPECT_EQ(WithoutStitchesAtChanges(test::NeedlesOf(dir / "one.JEF")),
            test::NeedlesOf(dir / "one.QEP"));
}

// Jumps wait for the next step of another kind; a run too long to hold goes to the file
// as it comes, and when the design ends in it, the end record is written over it and the
// rest zeroed: the same design either way.
TEST(Jef, RunsOfJumpsTooLongToHoldStillWaitOrAreDropped) {
  test::TempDir dir;
  std::vector<test::Rec> records(20000, {KindJump, 1, 0});
  records.push_back({KindStitch, 0, 5});
  records.insert(records.end(), 20000, {KindJump, -1, 0});
  test::WriteBytes(dir / "s.DST", test::DstFile(records));
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.DST", dir / "d.JEF"), 0);
  const std::string jef = test::ReadBytes(dir / "d.JEF");
  const size_t stream = 124 + 4;
  ASSERT_EQ(jef.size(), stream + 20000 * 4 + 2 + 20000 * 4);
  EXPECT_EQ(jef.substr(stream, 4), Bytes({0x80, 0x02, 1, 0}));
  EXPECT_EQ(jef.substr(stream + 20000 * 4, 4), Bytes({0, 5, 0x80, 0x10}));
  EXPECT_EQ(jef.substr(stream + 20000 * 4 + 4), std::string(20000 * 4 - 2, '\0'));
  const std::vector<test::Needle> needles = test::NeedlesOf(dir / "d.JEF", true);
  ASSERT_EQ(needles.size(), 1u + 20000 + 1);
  EXPECT_EQ(needles.back(), (test::Needle{20000, -5, 0, 1}));
  // Held, not spilled: a short last run leaves nothing behind the end record.
  test::WriteBytes(dir / "short.DST", test::DstFile({{KindStitch, 3, 3}, {KindJump, 9, 9}}));
  ASSERT_EQ(convert(dir / "short.DST", dir / "short.JEF"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "short.JEF").substr(stream), Bytes({3, 3, 0x80, 0x10}));
}

// Reading needs the head's first two bytes and nothing else; the stream's own rules.
TEST(Jef, ReadsOnlyTheOffsetOfItsHeadAndTheStreamAsItStands) {
  test::TempDir dir;
  const std::string stream = Bytes({0x80, 0x02, 0, 0, 5, 6, 0x80, 0x01, 0xFB, 0xFA, 0x80, 0x05,
                                    0x7F, 0x81, 0x80, 0x10, 9, 9});
  std::mt19937 random(7);
  // An offset of 40 over a head of noise: what lies between is never read.
  test::WriteBytes(dir / "noise.JEF", Le16(40) + test::RandomBytes(random, 38) + stream);
  std::vector<std::pair<int, int>> steps;
  std::vector<StepKind> kinds;
  ASSERT_EQ(ReadDesign(dir / "noise.JEF", [&](const DesignStep& s) {
              steps.push_back({s.x, s.y});
              kinds.push_back(s.kind);
            }).value(),
            0);
  // 0x80 with another byte is a step of both bytes unsigned; nothing behind the end.
  EXPECT_EQ(steps, (std::vector<std::pair<int, int>>{{0, 0}, {5, 6}, {-5, -6}, {128, 5}, {127, -127}}));
  EXPECT_EQ(kinds, (std::vector<StepKind>{StepKind::Jump, StepKind::Stitch, StepKind::ColourChange,
                                          StepKind::Stitch, StepKind::Stitch}));
  // The same stream behind a head this system wrote reads the same.
  test::WriteBytes(dir / "ours.JEF", Le16(116) + std::string(114, '\0') + stream);
  EXPECT_EQ(test::NeedlesOf(dir / "ours.JEF", true), test::NeedlesOf(dir / "noise.JEF", true));

  // A negative offset, a cut control pair, a file of one byte: empty or cut designs.
  test::WriteBytes(dir / "negative.JEF", Bytes({0x00, 0x90}) + stream);
  EXPECT_TRUE(test::NeedlesOf(dir / "negative.JEF", true).empty());
  test::WriteBytes(dir / "cut.JEF", Le16(2) + Bytes({3, 4, 0x80, 0x01, 0x05}));
  EXPECT_EQ(test::NeedlesOf(dir / "cut.JEF", true).size(), 1u);
  test::WriteBytes(dir / "byte.JEF", Bytes({0x04}));
  EXPECT_TRUE(test::NeedlesOf(dir / "byte.JEF", true).empty());
}

TEST(Sew, LimitsTurnsAndTheSourcesItTakes) {
  test::TempDir dir;
  struct Case {
    int plusX, minusX, plusY, minusY;
    int result;
    bool turned;
  };
  const Case cases[] = {
      {626, 625, 0, 0, -100, false},  // 1251 wide
      {451, 450, 451, 450, -100, false},  // 901 x 901
      {451, 450, 450, 450, 0, false},     // 901 x 900
      {250, 250, 451, 450, 0, true},      // 500 x 901: turned
      {625, 625, 450, 450, 0, false},     // 1250 x 900
  };
  for (const Case& c : cases) {
    const std::string what = std::to_string(c.plusX + c.minusX) + " x " +
                             std::to_string(c.plusY + c.minusY);
    const std::string qep = QepFile(c.plusX, c.minusX, c.plusY, c.minusY, {{0, 0, 0}},
                                    {{0, 10, -20}, {0, 40, -30}, {1, 0, 0}, {0, -30, 30}});
    test::WriteBytes(dir / "s.QEP", qep);
    test::Converter convert;
    ASSERT_EQ(convert(dir / "s.QEP", dir / "d.SEW"), c.result) << what;
    if (c.result != 0) {
      EXPECT_FALSE(std::filesystem::exists(dir / "d.SEW")) << what;
      continue;
    }
    // Read back, the start taken off: the design, or the design turned.
    const std::vector<test::Needle> want = test::NeedlesOf(dir / "s.QEP");
    EXPECT_EQ(test::NeedlesOf(dir / "d.SEW"), c.turned ? Turned(want) : want) << what;
  }
  // Without sizes, the class divides by zero; the library goes by way of QEP.
  test::WriteBytes(dir / "s.DST", test::ZigzagDst(20, 0, 0, 5));
  test::Converter convert;
  EXPECT_EQ(convert(dir / "s.DST", dir / "d.SEW"), kDivisionByZero);
  EXPECT_FALSE(std::filesystem::exists(dir / "d.SEW"));
  std::string why;
  EXPECT_EQ(RouteOf(kCodeDst, kCodeSew, why), (std::vector<int16_t>{kCodeDst, kCodeQep, kCodeSew}));
  EXPECT_EQ(RouteOf(kCodeDst, kCodeJef, why), (std::vector<int16_t>{kCodeDst, kCodeQep, kCodeJef}));
  ASSERT_EQ(Convert(dir / "s.DST", dir / "lib.SEW").value(), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "lib.SEW"), test::NeedlesOf(dir / "s.DST"));
  // An empty design has no size: the library still writes it.
  test::WriteBytes(dir / "empty.DST", test::DstFile({}));
  ASSERT_EQ(Convert(dir / "empty.DST", dir / "empty.SEW").value(), 0);
  EXPECT_TRUE(test::NeedlesOf(dir / "empty.SEW").empty());
}

// Two colours: the head's colours, palette pairs and counts, the pictures' first bytes
// in the slots the two colours fill, and the stream from the fixed start.
TEST(Sew, TheHeadOfTwoColoursByteForByteBothWays) {
  test::TempDir dir;
  test::WriteBytes(dir / "s.QEP", QepFile(50, 0, 0, 30, {{250, 0, 0}, {10, 50, 130}},
                                          {{0, -160, -90},
                                           {0, -150, -90},
                                           {1, -140, -90},
                                           {2, -130, -90},
                                           {0, -130, -80}}));
  auto head = [](int first, int second) {
    std::string bytes = Bytes({2, 0, 10, 0, 12, 0}) + std::string(44, '\0') + Le16(first) +
                        Le16(second) + std::string(20, '\0');
    return bytes;
  };
  auto stream = [](const std::string& change) {
    // From (-170, -97): (10, 7 down), (10, 0), a run of jumps opened by one of no
    // movement, the change, a stitch 10 down.
    return Bytes({0x80, 0x02, 0, 0, 10, 0xF9, 10, 0, 0x80, 0x02, 0, 0, 0x80, 0x02, 10, 0}) + change +
           Bytes({0, 0xF6, 0x80, 0x10});
  };
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.QEP", dir / "class.SEW"), 0);
  const std::string sew = test::ReadBytes(dir / "class.SEW");
  ASSERT_EQ(sew.size(), 7544u + 26);
  EXPECT_EQ(sew.substr(0, 74), head(11, 3));
  EXPECT_EQ(sew.substr(7544), stream(Bytes({10, 0, 0x80, 0x01, 0, 0})));
  // Two colours fill small slots 0 and 1 and large slots 0 to 2; the rest stays zero.
  EXPECT_EQ(sew.substr(74, 2), Bytes({6, 32}));
  EXPECT_EQ(sew.substr(268, 2), Bytes({3, 22}));
  EXPECT_EQ(sew.substr(268 + 68, 2), Bytes({3, 22}));
  EXPECT_EQ(sew.substr(268 + 2 * 68, 1084 - 268 - 2 * 68), std::string(1084 - 268 - 2 * 68, '\0'));
  for (int slot = 0; slot < 3; ++slot) EXPECT_EQ(sew.substr(1084 + 386 * slot, 2), Bytes({8, 48}));
  EXPECT_EQ(sew.substr(1084 + 3 * 386, 6102 - 1084 - 3 * 386), std::string(6102 - 1084 - 3 * 386, '\0'));
  EXPECT_EQ(sew.substr(6102, 2), Bytes({16, 90}));

  ASSERT_EQ(Convert(dir / "s.QEP", dir / "library.SEW").value(), 0);
  const std::string library = test::ReadBytes(dir / "library.SEW");
  EXPECT_EQ(library.substr(0, 74), head(11, 2));
  EXPECT_EQ(library.substr(7544), stream(Bytes({0x80, 0x01, 10, 0})));
  EXPECT_EQ(test::NeedlesOf(dir / "library.SEW"), test::NeedlesOf(dir / "s.QEP"));
}

TEST(Sew, ThirteenColoursAreTwelveForTheClassAndRefusedByTheLibrary) {
  test::TempDir dir;
  std::vector<QepRecord> records;
  std::vector<std::array<int, 3>> threads(13, {0, 0, 0});
  for (int colour = 0; colour < 13; ++colour) {
    if (colour > 0) records.push_back({2, colour * 10, 0});
    records.push_back({0, colour * 10 + 5, 5});
  }
  test::WriteBytes(dir / "s.QEP", QepFile(200, 0, 0, 10, threads, records));
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.QEP", dir / "d.SEW"), 0);
  const std::string sew = test::ReadBytes(dir / "d.SEW");
  EXPECT_EQ(ByteAt(sew, 0), 12);
  // Eleven changes are written; the twelfth change of the stream writes none.
  EXPECT_EQ(Count(sew, Bytes({0x80, 0x01}), 7544), 11u);
  // JEF has no such cap.
  ASSERT_EQ(convert(dir / "s.QEP", dir / "d.JEF"), 0);
  EXPECT_EQ(ByteAt(test::ReadBytes(dir / "d.JEF"), 24), 13);
  EXPECT_EQ(Convert(dir / "s.QEP", dir / "lib.SEW").value(), kSubscriptOutOfRange);
  EXPECT_FALSE(std::filesystem::exists(dir / "lib.SEW"));
}

// A turned SEW: the class starts the needle's position before the turn, so its picture
// lies elsewhere; the library's stands on the origin. The streams are the same.
TEST(Sew, TheTurnedStartAsTheClassAndAsTheLibraryDrawIt) {
  test::TempDir dir;
  test::WriteBytes(dir / "s.QEP", QepFile(5, 5, 500, 450, {{0, 0, 0}}, {{0, 0, 0}, {0, 5, 0}}));
  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.QEP", dir / "class.SEW"), 0);
  ASSERT_EQ(Convert(dir / "s.QEP", dir / "library.SEW").value(), 0);
  const std::string byClass = test::ReadBytes(dir / "class.SEW");
  const std::string byLibrary = test::ReadBytes(dir / "library.SEW");
  EXPECT_EQ(byClass.substr(7544), byLibrary.substr(7544));
  // The lit pixels of the full picture (scale 90 / 950): the library's needle ends on
  // the origin's pixel (64, 45), and no line goes right of it; the class's stands 267
  // units right and 73 up, at (89, 39).
  auto lit = [](const std::string& sew) {
    std::vector<std::pair<int, int>> pixels;
    for (int y = 0; y < 90; ++y) {
      for (int x = 0; x < 128; ++x) {
        if ((ByteAt(sew, 6104 + static_cast<size_t>(y) * 16 + static_cast<size_t>(x) / 8) &
             (0x80 >> (x % 8))) != 0) {
          pixels.push_back({x, y});
        }
      }
    }
    return pixels;
  };
  const auto library = lit(byLibrary);
  const auto byTheClass = lit(byClass);
  ASSERT_FALSE(library.empty());
  EXPECT_NE(std::find(library.begin(), library.end(), std::make_pair(64, 45)), library.end());
  for (const auto& [x, y] : library) EXPECT_LE(x, 64);
  EXPECT_NE(std::find(byTheClass.begin(), byTheClass.end(), std::make_pair(89, 39)), byTheClass.end());
}

// QEP -> JEF -> QEP and QEP -> SEW -> DST, the QEP made by the library from a DST: the
// needles and colour changes come back, and the palette bytes are the nearest keys.
TEST(JefSew, RoundTripsKeepNeedlesAndColours) {
  test::TempDir dir;
  test::WriteBytes(dir / "s.DST", test::ZigzagDst(400, 30, -20, 90));
  ASSERT_EQ(Convert(dir / "s.DST", dir / "s.QEP").value(), 0);
  // Five threads: green, white, black, yellow and a purple, in the QEP's table.
  std::string qep = test::ReadBytes(dir / "s.QEP");
  ASSERT_EQ(ByteAt(qep, 103), 5);
  qep.replace(113, 15, Bytes({10, 140, 20, 250, 250, 250, 5, 5, 5, 250, 250, 30, 100, 50, 185}));
  test::WriteBytes(dir / "s.QEP", qep);
  const std::vector<test::Needle> want = test::NeedlesOf(dir / "s.QEP");
  ASSERT_EQ(want, test::NeedlesOf(dir / "s.DST"));
  const std::string keys = Bytes({67, 2, 1, 73, 59});

  test::Converter convert;
  ASSERT_EQ(convert(dir / "s.QEP", dir / "c.JEF"), 0);
  ASSERT_EQ(convert(dir / "c.JEF", dir / "c.QEP"), 0);
  EXPECT_EQ(WithoutStitchesAtChanges(test::NeedlesOf(dir / "c.QEP")), want);
  const std::string jef = test::ReadBytes(dir / "c.JEF");
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(jef[116 + 4 * i], keys[i]) << i;
  ASSERT_EQ(Convert(dir / "s.QEP", dir / "l.JEF").value(), 0);
  ASSERT_EQ(Convert(dir / "l.JEF", dir / "l.QEP").value(), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "l.QEP"), want);

  ASSERT_EQ(convert(dir / "s.QEP", dir / "c.SEW"), 0);
  ASSERT_EQ(convert(dir / "c.SEW", dir / "c.DST"), 0);
  EXPECT_EQ(WithoutStitchesAtChanges(test::NeedlesOf(dir / "c.DST")), want);
  const std::string sew = test::ReadBytes(dir / "c.SEW");
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(sew[2 + 2 * i], keys[i]) << i;
  ASSERT_EQ(Convert(dir / "s.QEP", dir / "l.SEW").value(), 0);
  ASSERT_EQ(Convert(dir / "l.SEW", dir / "l.DST").value(), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "l.DST"), want);
}

// The needles without the stitches of no length that the other program leaves out, and
// moved by (dx, dy).
std::vector<test::Needle> Moved(const std::vector<test::Needle>& needles, long dx, long dy) {
  std::vector<test::Needle> kept;
  for (const test::Needle& n : needles) {
    if (!kept.empty() && n.kind == 0 && n.x + dx == kept.back().x && n.y + dy == kept.back().y) {
      continue;
    }
    kept.push_back({n.x + dx, n.y + dy, n.kind, n.colour});
  }
  return kept;
}

// Another program's star and shamrock read stitch for stitch as their DSTs, the stitches
// of no length it leaves out aside. Only where the design stands differs: that program
// centres the shamrock in its files, and starts its SEW needle elsewhere than (-170, -97)
// (11 units left of it for the star), which the reading takes off as the format says.
TEST(JefSew, AnotherProgramsSamplesReadAsTheirDst) {
  const std::string samples = test::Samples() + "/";
  struct Case {
    std::string file, dst;
    long dx, dy;
    std::string hoop;
  };
  const Case cases[] = {{"Star.JEF", "Star.DST", 0, 0, "140x200"},
                        {"Star.SEW", "Star.DST", -11, 0, ""},
                        {"shamrockin.jef", "shamrockin.dst", -1, 39, "110x110"},
                        {"shamrockin.sew", "shamrockin.dst", 4, 41, ""}};
  for (const Case& c : cases) {
    const std::vector<test::Needle> dst = test::NeedlesOf(samples + c.dst);
    const std::vector<test::Needle> got = Moved(test::NeedlesOf(samples + c.file), 0, 0);
    EXPECT_EQ(got, Moved(dst, c.dx, c.dy)) << c.file;
    EXPECT_GE(got.size(), c.dst == "Star.DST" ? 2541u : 1472u) << c.file;
    DesignSummary summary;
    ASSERT_EQ(SummariseDesign(samples + c.file, summary).value(), 0);
    EXPECT_EQ(summary.hoop, c.hoop) << c.file;
  }
}

}  // namespace
}  // namespace tavlin
