// Elna EMD with its COL file, and Singer XXX: heads, control pairs and codes byte by
// byte, both readings on the same bytes, the thread colours they carry, designs through
// them and back, the real samples, and damaged files.
#include <gtest/gtest.h>

#include <filesystem>

#include <algorithm>
#include <random>

#include "conversion/design_reader.h"
#include "tables/palettes.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::Rec;

constexpr int16_t kStitch = KindStitch, kJump = KindJump, kColour = KindColour, kTrim = KindTrim;

using test::Step;
using test::StepsOf;

std::string Le2(int value) { return Bytes({value & 0xFF, (value >> 8) & 0xFF}); }
std::string Le4(int64_t value) {
  return Le2(static_cast<int>(value & 0xFFFF)) + Le2(static_cast<int>((value >> 16) & 0xFFFF));
}

std::string EmdHead(int width, int height, int colours, int stitches) {
  std::string head = "JEMD0" + std::string(5, '\0') + Le2(width) + Le2(height) +
                     Bytes({colours, 0}) + Le4(stitches) + std::string(8, '\0') +
                     Bytes({0xE8, 0xFF}) + std::string(18, '\0') + Bytes({0x80, 0x7D});
  EXPECT_EQ(head.size(), 50u);
  return head;
}

struct XxxHeadFields {
  int stitches, colours, width, height, endX, endY;
  int64_t lengthField;
};

std::string XxxHead(const XxxHeadFields& f) {
  std::string head = std::string(23, '\0') + Le4(f.stitches) + std::string(12, '\0') +
                     Le2(f.colours) + std::string(4, '\0') + Le2(f.width) + Le2(f.height) +
                     std::string(1, '\0') + Le2(f.endX) + Le2(f.endY) + std::string(198, '\0') +
                     Le4(f.lengthField) + Bytes({0x7F, 0x01, 0x00, 0x00});
  EXPECT_EQ(head.size(), 260u);
  return head;
}

// The trailer of a design whose colours are the first keys of the PES palette.
std::string XxxTrailer(int colours) {
  std::string trailer = Bytes({0x7F, 0x18, 0, 0, 0x7F, 0x7F, 0, 0, 0, 0});
  for (int i = 0; i < colours; ++i) {
    const PaletteEntry& e = PesPalette().entries[i];
    trailer += Bytes({0, e.red, e.green, e.blue});
  }
  return trailer + std::string(100, '\0');
}

std::string ColLine(int i, const PaletteEntry& e) {
  return std::to_string(i) + "," + std::to_string(e.red) + "," + std::to_string(e.green) + "," +
         std::to_string(e.blue) + "\r\n";
}

// A DST of these records converted by the class and by the library.
struct Written {
  std::string byClass, byLibrary;
  std::string col;  // the class's EMD's file beside it
};

Written Write(const std::vector<Rec>& records, const std::string& end, const test::TempDir& dir) {
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / ("class." + end)), 0);
  EXPECT_EQ(Convert(dir / "a.DST", dir / ("library." + end)).value(), 0);
  return {test::ReadBytes(dir / ("class." + end)), test::ReadBytes(dir / ("library." + end)),
          test::ReadBytes(dir / "class.COL")};
}

// Step (1, -1); a jump (2, 3); a colour change with the step (2, 3); a stitch (-4, 5).
// Needle X 1, 3, 5, 1; Y down 1, -2, -5, -10: 5 wide, 11 high, two colours, five cycles
// with the one that meets the end.
TEST(EmdWriting, HeadControlPairsAndEndByteForByte) {
  test::TempDir dir;
  const Written w = Write({{kStitch, 1, -1}, {kJump, 2, 3}, {kColour, 2, 3}, {kStitch, -4, 5}},
                          "EMD", dir);
  // The head's closing jump mark takes the first pair, here a stitch, for its movement.
  EXPECT_EQ(w.byClass, EmdHead(5, 11, 2, 5) + Bytes({0x01, 0xFF, 0x80, 0x80, 0x02, 0x03, 0x80,
                                                      0x2A, 0x02, 0x03, 0xFC, 0x05, 0x80, 0xFD}));
  // The library follows the mark with a control, as other programs do (their readers
  // pass over the mark, and would sew a pair behind it): a first stitch gets a jump of no
  // movement ahead, a first jump goes as it is. It moves ahead of a change.
  EXPECT_EQ(w.byLibrary,
            EmdHead(5, 11, 2, 5) + Bytes({0x80, 0x80, 0x00, 0x00, 0x01, 0xFF, 0x80, 0x80, 0x02, 0x03,
                                          0x80, 0x80, 0x02, 0x03, 0x80, 0x2A, 0xFC, 0x05, 0x80, 0xFD}));
  // EMD has one reading: both faces read each file alike.
  const std::vector<Step> classFile = {{kJump, 1, -1, 1}, {kJump, 2, 3, 1}, {kColour, 0, 0, 2},
                                       {kStitch, 2, 3, 2}, {kStitch, -4, 5, 2}};
  const std::vector<Step> libraryFile = {{kJump, 0, 0, 1},  {kStitch, 1, -1, 1}, {kJump, 2, 3, 1},
                                         {kJump, 2, 3, 1},  {kColour, 0, 0, 2},  {kStitch, -4, 5, 2}};
  for (const bool library : {false, true}) {
    EXPECT_EQ(StepsOf(dir / "class.EMD", library), classFile) << library;
    EXPECT_EQ(StepsOf(dir / "library.EMD", library), libraryFile) << library;
  }
  // The colours of a source without any: the PES palette's first keys, one a line.
  const Palette pes = PesPalette();
  EXPECT_EQ(w.col, "2\r\n" + ColLine(1, pes.entries[0]) + ColLine(2, pes.entries[1]));
  const Written jumpFirst = Write({{kJump, 2, 3}, {kStitch, 1, -1}}, "EMD", dir);
  EXPECT_EQ(jumpFirst.byLibrary.substr(48), Bytes({0x80, 0x7D, 0x80, 0x80, 0x02, 0x03, 0x01, 0xFF,
                                                   0x80, 0xFD}));
}

TEST(EmdReading, ControlPairsSignedBytesAndTheEnd) {
  test::TempDir dir;
  const std::string path = dir / "a.EMD";
  test::WriteBytes(path, std::string(48, '\x55') +  // the head is passed over, whatever it holds
                             Bytes({0x80, 0x7D, 0x80, 0x80, 0x05, 0x06,  // two marks, one jump
                                    0x80, 0x33, 0x80, 0x01, 0x7F, 0x81,  // unknown controls: passed over
                                    0x80, 0x80, 0x80, 0x2A, 0x02, 0x02,  // a change wins over the mark
                                    0x80, 0xFD, 0x09, 0x09}));           // the end; nothing behind it
  const std::vector<Step> expected = {{kJump, 5, 6, 1}, {kStitch, 127, -127, 1},
                                      {kColour, 0, 0, 2}, {kStitch, 2, 2, 2}};
  EXPECT_EQ(StepsOf(path, false), expected);
  EXPECT_EQ(StepsOf(path, true), expected);
  // Without an end record the file ends where it ends; half a pair is dropped.
  test::WriteBytes(path, std::string(48, '\0') + Bytes({0x80, 0x7D, 0x80, 0x80, 0x01}));
  EXPECT_TRUE(StepsOf(path, false).empty());
  test::WriteBytes(path, std::string(48, '\0') + Bytes({0x03, 0xFD, 0x80}));
  EXPECT_EQ(StepsOf(path, true), (std::vector<Step>{{kStitch, 3, -3, 1}}));
}

// A QEP source, whose head holds its threads: the head's jump mark gets a pair of no
// movement, and the COL file the source's own colours. One colour: two lines.
TEST(EmdWriting, AOneColourSourceWithAThreadTableGivesTwoLinesOfItsOwnColour) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{kStitch, 7, 8}, {kStitch, -3, 2}}));
  ASSERT_EQ(Convert(dir / "a.DST", dir / "a.QEP").value(), 0);
  std::string qep = test::ReadBytes(dir / "a.QEP");
  qep.replace(103, 2, Le2(1));
  qep.replace(113, 3, Bytes({12, 200, 7}));
  test::WriteBytes(dir / "a.QEP", qep);
  // An old COL file beside the destination is replaced.
  test::WriteBytes(dir / "b.COL", "9\r\n");
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.EMD"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.COL"), "1\r\n1,12,200,7\r\n");
  const std::string emd = test::ReadBytes(dir / "b.EMD");
  ASSERT_GE(emd.size(), 52u);
  EXPECT_EQ(emd.substr(48, 4), Bytes({0x80, 0x7D, 0x00, 0x00}));
  // The QEP's stitches arrive behind it.
  std::vector<Step> steps = StepsOf(dir / "b.EMD", false);
  ASSERT_GE(steps.size(), 3u);
  EXPECT_EQ(steps.front(), (Step{kJump, 0, 0, 1}));
  EXPECT_EQ(steps[steps.size() - 2], (Step{kStitch, 7, 8, 1}));
  EXPECT_EQ(steps.back(), (Step{kStitch, -3, 2, 1}));
  // A destination named in lower case has its colours beside it all the same.
  ASSERT_EQ(convert(dir / "a.QEP", dir / "c.emd"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "c.COL"), "1\r\n1,12,200,7\r\n");
  // The library writes beside the destination and moves the colours with the design:
  // nothing of its working files stays.
  ASSERT_EQ(Convert(dir / "a.QEP", dir / "d.EMD").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "d.COL"), "1\r\n1,12,200,7\r\n");
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
  }
}

// Three jumps (100, 0), (100, 0), (50, 10) summed into one long record; a stitch (1, 1)
// and (1, -1); two changes in a row; a stitch; a jump at the end. Needle X up to 262, Y
// down from 0 to -15; ten cycles.
TEST(XxxWriting, SummedJumpsColourChangesTrailerAndHeadByteForByte) {
  test::TempDir dir;
  const Written w = Write({{kJump, 100, 0},
                           {kJump, 100, 0},
                           {kJump, 50, 10},
                           {kStitch, 1, 1},
                           {kStitch, 1, -1},
                           {kColour, 3, -2},
                           {kColour, 0, 0},
                           {kStitch, 2, 2},
                           {kJump, 5, 5}},
                          "XXX", dir);
  // The class: the jumps as a long stitch and a pair of no movement; the second change a
  // plain step that doesn't count; the last jump dropped.
  const std::string classStream = Bytes({0x7D, 0xFA, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x01,
                                         0x01, 0xFF, 0x7F, 0x08, 0x03, 0xFE, 0x00, 0x00, 0x02,
                                         0x02});
  // The length field points behind the stitches and four bytes into the trailer.
  const int64_t classTrailerAt = 260 + static_cast<int64_t>(classStream.size());
  EXPECT_EQ(w.byClass, XxxHead({10, 2, 262, 15, 262, -15, classTrailerAt + 4}) + classStream +
                           XxxTrailer(2));
  // The library: a long jump, every change, and the needle's way to the end.
  const std::string libraryStream =
      Bytes({0x7E, 0xFA, 0x00, 0x0A, 0x00, 0x01, 0x01, 0x01, 0xFF, 0x7F, 0x08, 0x03, 0xFE, 0x7F,
             0x08, 0x00, 0x00, 0x02, 0x02, 0x7E, 0x05, 0x00, 0x05, 0x00});
  const int64_t libraryTrailerAt = 260 + static_cast<int64_t>(libraryStream.size());
  EXPECT_EQ(w.byLibrary, XxxHead({10, 3, 262, 15, 262, -15, libraryTrailerAt + 4}) +
                             libraryStream + XxxTrailer(3));

  // Read back. The stream opens with 7F 01 00 00: a jump and a stitch of no movement for
  // the class, one jump for the library.
  EXPECT_EQ(StepsOf(dir / "class.XXX", false),
            (std::vector<Step>{{kJump, 0, 0, 1}, {kStitch, 0, 0, 1}, {kStitch, 250, 10, 1},
                               {kStitch, 0, 0, 1}, {kStitch, 1, 1, 1}, {kStitch, 1, -1, 1},
                               {kColour, 3, -2, 2}, {kStitch, 0, 0, 2}, {kStitch, 2, 2, 2}}));
  const std::vector<Step> libraryFile = {{kJump, 0, 0, 1},    {kJump, 250, 10, 1},
                                         {kStitch, 1, 1, 1},  {kStitch, 1, -1, 1},
                                         {kColour, 3, -2, 2}, {kColour, 0, 0, 3},
                                         {kStitch, 2, 2, 3},  {kJump, 5, 5, 3}};
  EXPECT_EQ(StepsOf(dir / "library.XXX", true), libraryFile);
  std::vector<Step> byClass = libraryFile;
  byClass.insert(byClass.begin() + 1, Step{kStitch, 0, 0, 1});
  EXPECT_EQ(StepsOf(dir / "library.XXX", false), byClass);
}

TEST(XxxWriting, AnEmptyDesignAndTheChangesOfAQepSource) {
  test::TempDir dir;
  const Written empty = Write({}, "XXX", dir);
  // One cycle, one colour; the trailer right behind the opening jump.
  EXPECT_EQ(empty.byClass, XxxHead({1, 1, 0, 0, 0, 0, 264}) + XxxTrailer(1));
  EXPECT_EQ(empty.byLibrary, empty.byClass);

  // A QEP source: the class writes a change's movement as a stitch and then a change
  // 0x00 0x00 0x7F 0x08, whose movement the reader takes from the pair behind it.
  test::WriteBytes(dir / "a.DST", DstFile({{kStitch, 4, 4}, {kColour, 6, -2}, {kStitch, 1, 2}}));
  ASSERT_EQ(Convert(dir / "a.DST", dir / "a.QEP").value(), 0);
  std::string qep = test::ReadBytes(dir / "a.QEP");
  qep.replace(103, 2, Le2(2));
  qep.replace(113, 6, Bytes({1, 2, 3, 250, 251, 252}));
  test::WriteBytes(dir / "a.QEP", qep);
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "class.XXX"), 0);
  ASSERT_EQ(Convert(dir / "a.QEP", dir / "library.XXX").value(), 0);
  const std::string byClass = test::ReadBytes(dir / "class.XXX");
  const std::string byLibrary = test::ReadBytes(dir / "library.XXX");
  const std::string threads = Bytes({0, 1, 2, 3, 0, 250, 251, 252});
  ASSERT_GE(byClass.size(), 260u + 10 + 4 + 8 + 100);
  ASSERT_GE(byLibrary.size(), 260u + 10 + 4 + 8 + 100);
  EXPECT_EQ(byClass.substr(260, byClass.size() - 260 - 118),
            Bytes({4, 4, 6, 0xFE, 0, 0, 0x7F, 0x08, 1, 2}));
  EXPECT_EQ(byLibrary.substr(260, byLibrary.size() - 260 - 118),
            Bytes({4, 4, 0x7F, 0x08, 6, 0xFE, 1, 2}));
  // Both trailers carry the source's threads.
  EXPECT_EQ(byClass.substr(byClass.size() - 108, 8), threads);
  EXPECT_EQ(byLibrary.substr(byLibrary.size() - 108, 8), threads);
  EXPECT_EQ(StepsOf(dir / "class.XXX", false),
            (std::vector<Step>{{kJump, 0, 0, 1}, {kStitch, 0, 0, 1}, {kStitch, 4, 4, 1},
                               {kStitch, 6, -2, 1}, {kStitch, 0, 0, 1}, {kColour, 1, 2, 2}}));
}

// The reading table on one file, by both readings.
TEST(XxxReading, EveryRecordFormByBothReadings) {
  test::TempDir dir;
  const std::string path = dir / "a.XXX";
  test::WriteBytes(path, std::string(256, '\x11') +  // the head is passed over
                             Bytes({0x7F, 0x01, 0xE8, 0xC2,        // other writers' jump
                                    0x7F, 0x03, 0x00, 0x05,        // other writers' trim
                                    0x7A, 0x05, 0x05, 0x7C,        // reserved bytes: dropped
                                    0x80, 0x05,                    // a step (-128, 5)
                                    0x7F, 0x18, 0x01, 0x02,        // dropped with its two bytes
                                    0x7F, 0x09,                    // an unknown code: dropped
                                    0x7D, 0x2C, 0x01, 0x38, 0xFF,  // long stitch (300, -200)
                                    0x7E, 0x00, 0x80, 0xFF, 0x7F,  // long jump (-32768, 32767)
                                    0x7F, 0x08, 0xFB, 0x04,        // change with (-5, 4)
                                    0x7F, 0x7F, 0x01, 0x01}));     // the end; nothing behind it
  const std::vector<Step> rest = {{kStitch, -128, 5, 1}, {kStitch, 300, -200, 1},
                                  {kJump, -32768, 32767, 1}, {kColour, -5, 4, 2}};
  std::vector<Step> byLibrary = {{kJump, -24, -62, 1}, {kTrim, 0, 5, 1}};
  byLibrary.insert(byLibrary.end(), rest.begin(), rest.end());
  EXPECT_EQ(StepsOf(path, true), byLibrary);
  // The class: a jump of no movement whose movement is a stitch, and an unknown code
  // whose movement is another.
  std::vector<Step> byClass = {{kJump, 0, 0, 1}, {kStitch, -24, -62, 1}, {kStitch, 0, 5, 1}};
  byClass.insert(byClass.end(), rest.begin(), rest.end());
  EXPECT_EQ(StepsOf(path, false), byClass);

  // Cut inside a long form or a code: what stands ahead of the cut is read.
  for (const std::string& cut : {Bytes({0x01, 0x02, 0x7D, 0x01, 0x00, 0x02}),
                                 Bytes({0x01, 0x02, 0x7F, 0x08, 0x05}),
                                 Bytes({0x01, 0x02, 0x7F, 0x18, 0x05}), Bytes({0x01, 0x02, 0x03})}) {
    test::WriteBytes(path, std::string(256, '\0') + cut);
    for (const bool library : {false, true}) {
      EXPECT_EQ(StepsOf(path, library), (std::vector<Step>{{kStitch, 1, 2, 1}})) << library;
    }
  }
  test::WriteBytes(path, std::string(256, '\0') + Bytes({0x01, 0x02, 0x7F, 0x01, 0x05}));
  EXPECT_EQ(StepsOf(path, true), (std::vector<Step>{{kStitch, 1, 2, 1}}));
  EXPECT_EQ(StepsOf(path, false), (std::vector<Step>{{kStitch, 1, 2, 1}, {kJump, 0, 0, 1}}));
}

// Where the needle stops and what it does there, with each movement; the opening jump
// of no movement that a DST written by this system starts with is left out.
struct Move {
  long x, y;
  int16_t kind;
  long dx, dy;
};

std::vector<Move> MovesOf(const std::string& dst) {
  std::vector<Move> moves;
  long x = 0, y = 0;
  for (const test::Needle& n : test::NeedlesOf(dst, true)) {
    moves.push_back({n.x, n.y, n.kind, n.x - x, n.y - y});
    x = n.x;
    y = n.y;
  }
  return moves;
}

std::vector<test::Needle> Sewn(const std::vector<Move>& moves) {
  std::vector<test::Needle> needles;
  int16_t colour = 1;
  for (const Move& m : moves) {
    if (m.kind == kJump) continue;
    if (m.kind == kColour) ++colour;
    needles.push_back({m.x, m.y, m.kind, colour});
  }
  return needles;
}

// Stitches, a long move in several jumps, colour changes with and without movement.
std::vector<Rec> RoundTripDesign() {
  std::vector<Rec> records = {{kJump, 60, -40}};
  for (int colour = 0; colour < 4; ++colour) {
    for (int i = 0; i < 25; ++i) {
      records.push_back({kStitch, static_cast<int16_t>(i % 2 == 0 ? 41 - colour : -37),
                         static_cast<int16_t>(i % 5 - 2)});
    }
    for (int j = 0; j < 3; ++j) {
      records.push_back({kJump, -110, static_cast<int16_t>(90 - 40 * colour)});
    }
    records.push_back({kColour, static_cast<int16_t>(colour == 1 ? 0 : 12), -7});
  }
  records.push_back({kStitch, 121, 121});
  records.push_back({kJump, -121, 5});
  return records;
}

// The library keeps every needle and colour change of a design; EMD writes a change's
// movement as a jump ahead of it, XXX sums the jumps into one long jump.
TEST(EmdAndXxx, ADesignRoundTripsThroughTheLibraryWithEveryNeedleKept) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(RoundTripDesign()));
  const std::vector<test::Needle> expected = test::NeedlesOf(dir / "a.DST");
  ASSERT_EQ(expected.size(), 25u * 4 + 4 + 1);
  const std::vector<Move> source = MovesOf(dir / "a.DST");
  for (const std::string end : {"EMD", "XXX"}) {
    ASSERT_EQ(Convert(dir / "a.DST", dir / ("b." + end)).value(), 0) << end;
    ASSERT_EQ(Convert(dir / ("b." + end), dir / ("back" + end + ".DST")).value(), 0) << end;
    EXPECT_EQ(test::NeedlesOf(dir / ("back" + end + ".DST")), expected) << end;
    // The needle comes back to where the source left it, jumps and all.
    const std::vector<Move> back = MovesOf(dir / ("back" + end + ".DST"));
    EXPECT_EQ(back.back().x, source.back().x) << end;
    EXPECT_EQ(back.back().y, source.back().y) << end;
  }
  // The long move is one record in the XXX: (-330, 270) for the first colour.
  const std::string xxx = test::ReadBytes(dir / "b.XXX");
  EXPECT_NE(xxx.find(Bytes({0x7E, 0xB6, 0xFE, 0x0E, 0x01})), std::string::npos);
}

// The class folds kinds as its rules say. EMD: a colour change's movement becomes a
// stitch behind a change of no movement. XXX: the stream opens with a stitch of no
// movement, each run of jumps becomes a long stitch and a stitch of no movement, and
// the jumps at the end are dropped. Colour changes in a row are kept apart here.
TEST(EmdAndXxx, ADesignThroughTheClassFoldsTheKindsItsRulesFold) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(RoundTripDesign()));
  const std::vector<Move> source = MovesOf(dir / "a.DST");

  std::vector<Move> emd;
  for (const Move& m : source) {
    if (m.kind == kColour && (m.dx != 0 || m.dy != 0)) {
      emd.push_back({m.x - m.dx, m.y - m.dy, kColour, 0, 0});
      emd.push_back({m.x, m.y, kStitch, m.dx, m.dy});
    } else {
      emd.push_back(m);
    }
  }
  std::vector<Move> xxx = {{0, 0, kStitch, 0, 0}};
  for (size_t i = 0; i < source.size(); ++i) {
    const Move& m = source[i];
    if (m.kind != kJump) {
      xxx.push_back(m);
    } else if (i + 1 < source.size() && source[i + 1].kind != kJump) {
      xxx.push_back({m.x, m.y, kStitch, 0, 0});
      xxx.push_back({m.x, m.y, kStitch, 0, 0});
    }
  }
  for (const auto& [end, expected] : {std::pair{std::string("EMD"), emd}, {"XXX", xxx}}) {
    Converter convert;
    ASSERT_EQ(convert(dir / "a.DST", dir / ("b." + end)), 0) << end;
    ASSERT_EQ(convert(dir / ("b." + end), dir / ("back" + end + ".DST")), 0) << end;
    EXPECT_EQ(test::NeedlesOf(dir / ("back" + end + ".DST")), Sewn(expected)) << end;
  }
}

// Star.XXX holds the stitching of Star.DST: the same 2,538 stitches that move the
// needle, at the same needle points, with the colour change between the same two; the
// DST has 12 stitches of no movement, the XXX 2. Its head counts 2,545: the 2,540
// stitches and 5 jumps. The class sews the 4 jumps that carry a movement in 7F 01.
TEST(XxxReading, TheStarReadsAsItsDstAndTheClassSewsItsJumps) {
  const std::string samples = test::Samples();
  const std::string xxx = samples + "/Star.XXX";
  const std::string head = test::ReadBytes(xxx).substr(0, 256);
  ASSERT_EQ(head.size(), 256u);
  auto sewn = [](const std::vector<test::Needle>& needles) {
    std::vector<test::Needle> moved;
    long x = 0, y = 0;
    for (const test::Needle& n : needles) {
      if (n.kind == kColour || (n.kind == kStitch && (n.x != x || n.y != y))) moved.push_back(n);
      x = n.x;
      y = n.y;
    }
    return moved;
  };
  DesignSummary library;
  ASSERT_EQ(SummariseDesign(xxx, library).value(), 0);
  EXPECT_EQ(library.stitches, 2540);
  EXPECT_EQ(library.jumps, 5);
  EXPECT_EQ(library.colourChanges, 1);
  EXPECT_EQ(library.stitches + library.jumps, Bytes4ToInt(head.substr(23, 4)));
  EXPECT_EQ(library.colourChanges + 1, Bytes2ToInt(head.substr(39, 2)));
  EXPECT_EQ(library.plusX + library.minusX, Bytes2ToInt(head.substr(45, 2)));
  EXPECT_EQ(library.plusY + library.minusY, Bytes2ToInt(head.substr(47, 2)));
  DesignSummary dst;
  ASSERT_EQ(SummariseDesign(samples + "/Star.DST", dst).value(), 0);
  EXPECT_EQ(library.plusX, dst.plusX);
  EXPECT_EQ(library.minusX, dst.minusX);
  EXPECT_EQ(library.plusY, dst.plusY);
  EXPECT_EQ(library.minusY, dst.minusY);
  // The DST changes colour ahead of a jump, the XXX behind it: the change is compared
  // by the stitches around it.
  std::vector<test::Needle> fromXxx = sewn(test::NeedlesOf(xxx, true));
  std::vector<test::Needle> fromDst = sewn(test::NeedlesOf(samples + "/Star.DST", true));
  ASSERT_EQ(fromXxx.size(), 2538u + 1);
  ASSERT_EQ(fromDst.size(), 2538u + 1);
  for (size_t i = 0; i < fromXxx.size(); ++i) {
    if (fromXxx[i].kind == kColour || fromDst[i].kind == kColour) {
      EXPECT_EQ(fromXxx[i].kind, fromDst[i].kind) << i;
      continue;
    }
    ASSERT_EQ(fromXxx[i], fromDst[i]) << i;
  }

  test::TempDir dir;
  Converter convert;
  ASSERT_EQ(convert(xxx, dir / "class.DST"), 0);
  DesignSummary byClass;
  ASSERT_EQ(SummariseDesign(dir / "class.DST", byClass).value(), 0);
  EXPECT_EQ(byClass.stitches, 2540 + 4);
  EXPECT_EQ(byClass.colourChanges, 1);
}

// The shamrock: the same stitches as its DST from another start point, two trims the
// library keeps (the class sews their movements and its jumps'), and an EMD that both
// faces read alike.
TEST(EmdAndXxx, TheShamrockSamplesHoldTheirDstsStitches) {
  const std::string base = test::Samples() + "/shamrockin.";
  auto moved = [](const std::string& path) {
    std::vector<std::pair<long, long>> points;
    long x = 0, y = 0;
    for (const test::Needle& n : test::NeedlesOf(path, true)) {
      if (n.kind == kStitch && (n.x != x || n.y != y)) points.push_back({n.x, n.y});
      x = n.x;
      y = n.y;
    }
    return points;
  };
  const auto dst = moved(base + "dst");
  ASSERT_EQ(dst.size(), 1471u);
  for (const std::string end : {"xxx", "emd"}) {
    const auto points = moved(base + end);
    ASSERT_EQ(points.size(), dst.size()) << end;
    const long dx = points[0].first - dst[0].first, dy = points[0].second - dst[0].second;
    for (size_t i = 0; i < points.size(); ++i) {
      ASSERT_EQ(points[i], std::make_pair(dst[i].first + dx, dst[i].second + dy)) << end << i;
    }
  }
  DesignSummary xxx;
  ASSERT_EQ(SummariseDesign(base + "xxx", xxx).value(), 0);
  EXPECT_EQ(xxx.stitches, 1472);
  EXPECT_EQ(xxx.others, 2);
  // The class: a stitch behind each of the six 7F 01 and the two 7F 03, and six jumps.
  EXPECT_EQ(StepsOf(base + "xxx", false).size(), 1472u + 8 + 6);
  EXPECT_EQ(StepsOf(base + "emd", false), StepsOf(base + "emd", true));
}

// A length or count in a source's head is not trusted: an XXX whose length field points
// anywhere, and a QEP that claims thousands of threads, still give one colour line
// and one trailer record for each colour of the stream.
TEST(EmdAndXxx, CountsInASourcesHeadDontSizeTheColoursWritten) {
  test::TempDir dir;
  const std::string stream = Bytes({0x01, 0x01, 0x7F, 0x08, 0x00, 0x00, 0x02, 0x02, 0x7F, 0x7F});
  for (const int64_t field : {int64_t{0x7FFFFFFF}, int64_t{-6}, int64_t{-1}, int64_t{0}, int64_t{100},
                              int64_t{263}, int64_t{0x10000}}) {
    std::string xxx = std::string(256, '\0') + stream + Bytes({1, 2, 3, 4, 5, 6, 7, 8});
    xxx.replace(252, 4, Le4(field));
    xxx.replace(39, 2, Le2(0x7FFF));
    test::WriteBytes(dir / "a.XXX", xxx);
    for (const bool library : {false, true}) {
      Converter convert;
      const std::string out = dir / (library ? "library" : "class");
      ASSERT_EQ(library ? Convert(dir / "a.XXX", out + ".EMD").value()
                        : convert(dir / "a.XXX", out + ".EMD"),
                0)
          << field;
      if (!library) {
        const std::string col = test::ReadBytes(out + ".COL");
        EXPECT_EQ(std::count(col.begin(), col.end(), '\n'), 3) << col;
        EXPECT_EQ(col.substr(0, 3), "2\r\n");
      }
      ASSERT_EQ(library ? Convert(dir / "a.XXX", out + ".XXX").value()
                        : convert(dir / "a.XXX", out + ".XXX"),
                0)
          << field;
      const std::string back = test::ReadBytes(out + ".XXX");
      ASSERT_GE(back.size(), 260u);
      EXPECT_EQ(Bytes4ToInt(back.substr(252, 4)) + 6 + 2 * 4 + 100,
                static_cast<int32_t>(back.size()))
          << field;
    }
  }
  // A QEP whose head claims 30,000 threads: the XXX still has two records.
  test::WriteBytes(dir / "a.DST", DstFile({{kStitch, 1, 1}, {kColour, 0, 0}, {kStitch, 1, 1}}));
  ASSERT_EQ(Convert(dir / "a.DST", dir / "a.QEP").value(), 0);
  std::string qep = test::ReadBytes(dir / "a.QEP");
  qep.replace(103, 2, Le2(30000));
  test::WriteBytes(dir / "a.QEP", qep);
  ASSERT_EQ(Convert(dir / "a.QEP", dir / "q.XXX").value(), 0);
  const std::string back = test::ReadBytes(dir / "q.XXX");
  EXPECT_EQ(Bytes4ToInt(back.substr(252, 4)) + 6 + 2 * 4 + 100, static_cast<int32_t>(back.size()));
}

// Cut at every length and scrambled, both formats on both faces end with a result; a
// cut file keeps the steps ahead of the cut.
TEST(EmdAndXxx, TruncatedAndScrambledFilesEndCleanly) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(RoundTripDesign()));
  std::mt19937 random(13);
  for (const std::string end : {".EMD", ".XXX"}) {
    const std::string whole = dir / ("whole" + end);
    ASSERT_EQ(Convert(dir / "a.DST", whole).value(), 0);
    const std::string bytes = test::ReadBytes(whole);
    const size_t wholeSteps = StepsOf(whole, true).size();
    size_t previous = 0;
    for (size_t cut = 0; cut <= bytes.size(); ++cut) {
      const std::string path = dir / ("cut" + end);
      test::WriteBytes(path, bytes.substr(0, cut));
      const size_t steps = StepsOf(path, true).size();
      EXPECT_GE(steps, previous) << end << " cut at " << cut;
      previous = steps;
      if (cut % 7 != 0) continue;
      Converter convert;
      EXPECT_EQ(convert(path, dir / "cut.DST"), 0) << end << " cut at " << cut;
    }
    EXPECT_EQ(previous, wholeSteps) << end;
    for (int round = 0; round < 40; ++round) {
      std::string scrambled = bytes;
      for (int n = 0; n < 10; ++n) {
        scrambled[random() % scrambled.size()] = static_cast<char>(random() & 0xFF);
      }
      const std::string path = dir / ("scrambled" + end);
      test::WriteBytes(path, scrambled);
      for (const std::string& to : {std::string(".DST"), end}) {
        test::WriteBytes(dir / ("out" + to), "before");
        if (Convert(path, dir / ("out" + to)).value() != 0) {
          EXPECT_EQ(test::ReadBytes(dir / ("out" + to)), "before");
        }
        Converter convert;
        convert(path, dir / ("class" + to));
      }
    }
  }
}

}  // namespace
}  // namespace tavlin
