// Pfaff PCM and PCS: heads, records and counts byte by byte as the class and the
// library write them; the range of the tables; the PCS walk over codes off the rule
// and PCM's failure at one; both readings of the same bytes; colours from a QEP's
// thread table; round trips; and the samples of another program.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <utility>

#include "conversion/design_reader.h"
#include "tables/coordinate_tables.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::Needle;
using test::Rec;

const std::string kEndRecord(9, '\0');
const std::string kPcsStartTable =
    Bytes({0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0xFF, 0, 0, 0x80, 0x80, 0, 0, 0xFF, 0xFF, 0, 0x80,
           0, 0x80, 0, 0xFF, 0, 0xFF, 0, 0x80, 0, 0, 0, 0xFF, 0, 0, 0, 0, 0x80, 0, 0, 0, 0xFF, 0,
           0, 0x80, 0x80, 0, 0, 0xFF, 0xFF, 0, 0, 0x80, 0x80, 0x80, 0, 0xC0, 0xC0, 0xC0, 0, 0xFF,
           0xFF, 0xFF});

std::string PcsHead(int count, int firstColour = 0) {
  return Bytes({0x32, 0x03, 0x10}) + kPcsStartTable + Bytes({0, count & 0xFF, (count >> 8) & 0xFF}) +
         Bytes({firstColour, 0, 0, 0, 0, 0, 0, 0, 3});
}

// A PCM head whose palette bytes are all zero, with the first colour record's bytes 0
// and 3.
std::string PcmHead(int count, int colour0 = 0, int colour3 = 0) {
  return Bytes({0x32, 0x03, 0x00, 0x10}) + std::string(32, '\0') +
         Bytes({(count >> 8) & 0xFF, count & 0xFF, colour0, 0, 0, colour3, 0, 0, 0, 0, 3});
}

// Records built through the tables, whose bytes are shown on their own.
std::string PcsAt(int x, int y, int flag = 0) {
  const CoordCode cx = *CoordBytesX(x), cy = *CoordBytesY(y);
  return Bytes({cx.fraction, cx.middle, cx.high, 0, cy.fraction, cy.middle, cy.high, 0, flag});
}
std::string PcmAt(int x, int y, int flag = 0) {
  const CoordCode cx = *CoordBytesX(x), cy = *CoordBytesY(y);
  return Bytes({0, cx.high, cx.middle, cx.fraction, 0, cy.high, cy.middle, cy.fraction, flag});
}

constexpr int16_t S = KindStitch, J = KindJump, C = KindColour;

struct Written {
  std::string viaClass, viaLibrary;
};

// A DST of these records written as `end` (".PCS", ".PCM") by the class and the library.
Written WriteBoth(const std::vector<Rec>& records, const std::string& end) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / ("class" + end)), 0);
  EXPECT_EQ(Convert(dir / "a.DST", dir / ("library" + end)).value(), 0);
  return {test::ReadBytes(dir / ("class" + end)), test::ReadBytes(dir / ("library" + end))};
}

TEST(PcmPcsWriting, HeadsRecordsColourChangesAndEndsOfASmallDesign) {
  // A stitch at the start, a jump, a stitch at (61, 16), a change there, one more.
  const std::vector<Rec> design = {
      {S, 0, 0}, {J, 50, 20}, {S, 11, -4}, {C, 0, 0}, {S, 1, 1}};
  const std::string originPcs = Bytes({0x00, 0x68, 0x01, 0x00, 0x00, 0x59, 0x01, 0x00, 0x00});
  const std::string at61Pcs = Bytes({0x99, 0x8C, 0x01, 0x00, 0x99, 0x62, 0x01, 0x00, 0x00});
  const std::string at62Pcs = Bytes({0x33, 0x8D, 0x01, 0x00, 0x33, 0x63, 0x01, 0x00, 0x00});
  const std::string jumpPcs = Bytes({0x00, 0x86, 0x01, 0x00, 0x00, 0x65, 0x01, 0x00, 0x04});
  const std::string colour = Bytes({0, 0, 0, 0, 0, 0, 0, 0, 3});
  const Written pcs = WriteBoth(design, ".PCS");
  // The class: no record for the jump, and three stitches less one counted.
  EXPECT_EQ(pcs.viaClass,
            PcsHead(2) + originPcs + at61Pcs + colour + at62Pcs + kEndRecord);
  // The library: the jump with flag 4, and the records other than colour changes counted.
  EXPECT_EQ(pcs.viaLibrary,
            PcsHead(4) + originPcs + jumpPcs + at61Pcs + colour + at62Pcs + kEndRecord);

  const std::string originPcm = Bytes({0x00, 0x01, 0x68, 0x00, 0x00, 0x01, 0x59, 0x00, 0x00});
  const std::string at61Pcm = Bytes({0x00, 0x01, 0x8C, 0x99, 0x00, 0x01, 0x62, 0x99, 0x00});
  const std::string at62Pcm = Bytes({0x00, 0x01, 0x8D, 0x33, 0x00, 0x01, 0x63, 0x33, 0x00});
  const std::string jumpPcm = Bytes({0x00, 0x01, 0x86, 0x00, 0x00, 0x01, 0x65, 0x00, 0x04});
  const Written pcm = WriteBoth(design, ".PCM");
  // The count is big-endian; a DST has no thread table, so every palette byte is 0.
  EXPECT_EQ(pcm.viaClass, PcmHead(2) + originPcm + at61Pcm + colour + at62Pcm + kEndRecord);
  EXPECT_EQ(pcm.viaLibrary,
            PcmHead(4) + originPcm + jumpPcm + at61Pcm + colour + at62Pcm + kEndRecord);

  // A change that moves: the library takes the needle there first, the class doesn't.
  const Written moved = WriteBoth({{S, 0, 0}, {C, 61, 16}, {S, 1, 1}}, ".PCS");
  EXPECT_EQ(moved.viaClass, PcsHead(1) + originPcs + colour + at62Pcs + kEndRecord);
  EXPECT_EQ(moved.viaLibrary, PcsHead(3) + originPcs +
                                  at61Pcs.substr(0, 8) + Bytes({4}) + colour + at62Pcs +
                                  kEndRecord);
}

TEST(PcmPcsWriting, TheStitchCountIsTheCyclesLessTheColoursAndOne) {
  // 97 stitches and two changes: StitchCount 100 with the end's cycle, ColourIndex 3.
  std::vector<Rec> design;
  for (int i = 0; i < 97; ++i) {
    design.push_back({S, static_cast<int16_t>(i % 2 == 0 ? 1 : -1), 0});
    if (i == 30 || i == 60) design.push_back({C, 0, 0});
  }
  const Written pcs = WriteBoth(design, ".PCS");
  EXPECT_EQ(pcs.viaClass.substr(68, 2), Bytes({96, 0}));
  EXPECT_EQ(pcs.viaLibrary.substr(68, 2), Bytes({97, 0}));
  const Written pcm = WriteBoth(design, ".PCM");
  EXPECT_EQ(pcm.viaClass.substr(36, 2), Bytes({0, 96}));
  EXPECT_EQ(pcm.viaLibrary.substr(36, 2), Bytes({0, 97}));
}

// The flag bytes of a file's records, the end record left out.
std::string Flags(const std::string& file, size_t head) {
  std::string flags;
  for (size_t at = head; at + 18 <= file.size(); at += 9) flags += file[at + 8];
  return flags;
}

TEST(PcmPcsWriting, ATrimIsAStitchOfNoLengthToTheClassAndAJumpToTheLibrary) {
  test::TempDir dir;
  // Five jumps after a stitch: the QEP gets a trim ahead of them.
  std::vector<Rec> design = {{S, 1, 0}};
  design.insert(design.end(), 5, {J, 10, 0});
  design.push_back({S, 1, 0});
  test::WriteBytes(dir / "trim.DST", DstFile(design));
  ASSERT_EQ(Convert(dir / "trim.DST", dir / "trim.QEP").value(), 0);
  Converter convert;
  ASSERT_EQ(convert(dir / "trim.QEP", dir / "class.PCS"), 0);
  ASSERT_EQ(Convert(dir / "trim.QEP", dir / "library.PCS").value(), 0);
  const std::string viaClass = test::ReadBytes(dir / "class.PCS");
  EXPECT_EQ(Flags(viaClass, 79), Bytes({0, 0, 0}));
  EXPECT_EQ(viaClass.substr(79 + 9, 9), viaClass.substr(79, 9));
  EXPECT_EQ(Flags(test::ReadBytes(dir / "library.PCS"), 79), Bytes({0, 4, 4, 4, 4, 4, 4, 0}));
}

TEST(PcmPcsWriting, TheTablesRangeBoundsTheDesign) {
  test::TempDir dir;
  std::vector<Rec> right(5, {S, 120, 0}), up(5, {S, 0, 115}), down(5, {S, 0, -115});
  for (const std::string end : {".PCS", ".PCM"}) {
    const bool pcs = end == ".PCS";
    // The last record before the end: X at 600, Y at 575 up and 575 down.
    auto lastX = [&](const std::string& file) {
      const std::string r = file.substr(file.size() - 18, 9);
      return pcs ? Bytes({r[2], r[1], r[0]}) : r.substr(1, 3);
    };
    auto lastY = [&](const std::string& file) {
      const std::string r = file.substr(file.size() - 18, 9);
      return pcs ? Bytes({r[6], r[5], r[4]}) : r.substr(5, 3);
    };
    EXPECT_EQ(lastX(WriteBoth(right, end).viaClass), Bytes({0x02, 0xD0, 0x00})) << end;
    EXPECT_EQ(lastY(WriteBoth(up, end).viaLibrary), Bytes({0x02, 0xB2, 0x00})) << end;
    EXPECT_EQ(lastY(WriteBoth(down, end).viaClass), Bytes({0x00, 0x00, 0x00})) << end;

    // One unit more, on either axis: -17005, and no destination.
    for (const Rec& last : {Rec{S, 120, 0}, Rec{S, -120, 0}, Rec{S, 0, 115}, Rec{S, 0, -115}}) {
      std::vector<Rec> beyond(5, last);
      beyond.push_back({S, static_cast<int16_t>(last.x / 120), static_cast<int16_t>(last.y / 115)});
      test::WriteBytes(dir / "beyond.DST", DstFile(beyond));
      Converter convert;
      EXPECT_EQ(convert(dir / "beyond.DST", dir / ("class" + end)), -17005) << end;
      EXPECT_FALSE(std::filesystem::exists(dir / ("class" + end))) << end;
      test::WriteBytes(dir / ("library" + end), "before");
      EXPECT_EQ(Convert(dir / "beyond.DST", dir / ("library" + end)).value(), -17005) << end;
      EXPECT_EQ(test::ReadBytes(dir / ("library" + end)), "before") << end;
    }

    // Jumps may go beyond: the class writes none of them, the library those within.
    const std::vector<Rec> outAndBack = {{S, 0, 0}, {J, 121, 0}, {J, 121, 0}, {J, 121, 0},
                                         {J, 121, 0}, {J, 121, 0}, {J, 121, 0}, {J, -121, 0},
                                         {J, -121, 0}, {J, -121, 0}, {J, -121, 0},
                                         {J, -121, 0}, {J, -121, 0}, {S, 5, 5}};
    const Written jumps = WriteBoth(outAndBack, end);
    const size_t head = pcs ? 79 : 47;
    EXPECT_EQ(jumps.viaClass.size(), head + 3 * 9) << end;
    // Out to 121 ... 484 within and 605, 726 beyond; back by 605 beyond and 484 ... 0.
    EXPECT_EQ(jumps.viaLibrary.size(), head + (1 + 4 + 5 + 1 + 1) * 9) << end;

    // Where both codes are zero, a stitch would read as the end record: the class
    // writes it, the library refuses it.
    test::WriteBytes(dir / "corner.DST", DstFile(std::vector<Rec>(5, {S, -120, -115})));
    Converter convert;
    ASSERT_EQ(convert(dir / "corner.DST", dir / ("corner" + end)), 0);
    const std::string cornered = test::ReadBytes(dir / ("corner" + end));
    EXPECT_EQ(cornered.substr(cornered.size() - 18), kEndRecord + kEndRecord) << end;
    EXPECT_EQ(Convert(dir / "corner.DST", dir / ("library" + end)).value(), -17005) << end;
  }
}

TEST(PcsReading, ACodeOffTheRuleIsReadByTheWalkBelowIt) {
  test::TempDir dir;
  const auto pcs = [](std::array<int, 3> x, std::array<int, 3> y) {
    return Bytes({x[2], x[1], x[0], 0, y[2], y[1], y[0], 0, 0});
  };
  const std::array<int, 3> zeroY = {0x01, 0x59, 0x00};
  test::WriteBytes(dir / "off.PCS",
                   PcsHead(5) +
                       // 0x34 read as 0x33, which is a key: -173.
                       pcs({0x01, 0x00, 0x34}, zeroY) +
                       // 0x33 is none at 0x168: on to 0x99, which is 1.
                       pcs({0x01, 0x68, 0x34}, zeroY) +
                       // 0x16A has only 0x66: down to 0x169 and its 0x66, 0xCC: 3.
                       pcs({0x01, 0x6A, 0x00}, zeroY) +
                       // Down from a middle byte of 0 to 0xFF of the high byte below: -174.
                       pcs({0x01, 0x00, 0x00}, zeroY) +
                       // Beyond both axes: their last positions.
                       pcs({0xFF, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF}) + kEndRecord);
  const std::vector<Needle> expected = {
      {-173, 0, S, 1}, {1, 0, S, 1}, {3, 0, S, 1}, {-174, 0, S, 1}, {600, -575, S, 1}};
  EXPECT_EQ(test::ReadNeedles(dir / "off.PCS", false), expected);
  EXPECT_EQ(test::ReadNeedles(dir / "off.PCS", true), expected);
}

TEST(PcsReading, TheClassEndsAtTheHeadsCountTheLibraryAtTheEndRecord) {
  test::TempDir dir;
  const std::string records = PcsAt(10, 0) + PcsAt(20, 0) + PcsAt(30, 0);
  const std::vector<Needle> three = {{10, 0, S, 1}, {20, 0, S, 1}, {30, 0, S, 1}};
  auto both = [&](const std::string& bytes) {
    test::WriteBytes(dir / "a.PCS", bytes);
    return std::pair{test::ReadNeedles(dir / "a.PCS", false), test::ReadNeedles(dir / "a.PCS", true)};
  };
  // A count of 2: the class stops there.
  auto [short2, whole2] = both(PcsHead(2) + records + kEndRecord);
  EXPECT_EQ(short2, std::vector<Needle>(three.begin(), three.begin() + 2));
  EXPECT_EQ(whole2, three);
  // A count beyond the records: the class reads the end record as a stitch in the
  // corner and stops at the end of the file.
  auto [long9, whole9] = both(PcsHead(9) + records + kEndRecord);
  std::vector<Needle> withCorner = three;
  withCorner.push_back({-600, 575, S, 1});
  EXPECT_EQ(long9, withCorner);
  EXPECT_EQ(whole9, three);
  // Another program's file without an end record ends with the file; a cut record
  // is dropped.
  auto [cut, cutWhole] = both(PcsHead(3) + records + PcsAt(40, 0).substr(0, 5));
  EXPECT_EQ(cut, three);
  EXPECT_EQ(cutWhole, three);
  // Heads cut short, or claiming a negative table, give an empty design.
  for (const std::string& head :
       {PcsHead(3).substr(0, 40), Bytes({0x32, 0x03, 0xFF, 0xFF}) + records}) {
    auto [a, b] = both(head);
    EXPECT_TRUE(a.empty());
    EXPECT_TRUE(b.empty());
    Converter convert;
    EXPECT_EQ(convert(dir / "a.PCS", dir / "a.DST"), 0);
  }
}

TEST(PcsReading, AColourRecordTakesTheNextRecordInTheClassAndTheNeedlesPlaceInTheLibrary) {
  test::TempDir dir;
  // A stitch, a change, a jump (flag 4) and a stitch.
  test::WriteBytes(dir / "a.PCS", PcsHead(3) + PcsAt(10, 0) +
                                      Bytes({7, 0, 0, 0, 0, 0, 0, 0, 3}) + PcsAt(20, 5, 4) +
                                      PcsAt(30, 5) + kEndRecord);
  EXPECT_EQ(test::ReadNeedles(dir / "a.PCS", false),
            (std::vector<Needle>{{10, 0, S, 1}, {20, -5, C, 2}, {30, -5, S, 2}}));
  EXPECT_EQ(test::ReadNeedles(dir / "a.PCS", true),
            (std::vector<Needle>{{10, 0, S, 1}, {10, 0, C, 2}, {20, -5, J, 2}, {30, -5, S, 2}}));
  // Flag 5 jumps too; any other flag sews.
  test::WriteBytes(dir / "b.PCS", PcsHead(3) + PcsAt(1, 1, 5) + PcsAt(2, 2, 7) + PcsAt(3, 3, 0x80) +
                                      kEndRecord);
  const std::vector<Needle> flags = {{1, -1, J, 1}, {2, -2, S, 1}, {3, -3, S, 1}};
  EXPECT_EQ(test::ReadNeedles(dir / "b.PCS", false), flags);
  EXPECT_EQ(test::ReadNeedles(dir / "b.PCS", true), flags);
}

TEST(PcmReading, JumpsEndsColourBytesAndCodesOffTheRule) {
  test::TempDir dir;
  // Another program's opening jump with flag 4, flag 5, flag 7: one reading for both,
  // the class's own files having neither.
  test::WriteBytes(dir / "jumps.PCM", PcmHead(4) + PcmAt(-72, 186, 4) + PcmAt(-70, 180) +
                                          PcmAt(-60, 170, 5) + PcmAt(-50, 160, 7) + kEndRecord);
  const std::vector<Needle> jumps = {
      {-72, -186, J, 1}, {-70, -180, S, 1}, {-60, -170, J, 1}, {-50, -160, S, 1}};
  EXPECT_EQ(test::ReadNeedles(dir / "jumps.PCM", false), jumps);
  EXPECT_EQ(test::ReadNeedles(dir / "jumps.PCM", true), jumps);

  // The class ends at a record whose X and flag are zero, X at -600 among them; the
  // library at nine zero bytes.
  test::WriteBytes(dir / "left.PCM", PcmHead(3) + PcmAt(10, 0) + PcmAt(-600, 10) + PcmAt(0, 0) +
                                         kEndRecord + kEndRecord);
  EXPECT_EQ(test::ReadNeedles(dir / "left.PCM", false), (std::vector<Needle>{{10, 0, S, 1}}));
  EXPECT_EQ(test::ReadNeedles(dir / "left.PCM", true),
            (std::vector<Needle>{{10, 0, S, 1}, {-600, -10, S, 1}, {0, 0, S, 1}}));

  // Colour numbers: the class takes byte 0 of a colour record, the library byte 3,
  // where this system's writer and other programs put it. A PCS destination shows
  // them: its changes carry the colour of the slot before.
  test::WriteBytes(dir / "colours.PCM", PcmHead(3, 5, 9) + PcmAt(10, 0) +
                                            Bytes({6, 0, 0, 10, 0, 0, 0, 0, 3}) + PcmAt(20, 0) +
                                            Bytes({11, 0, 0, 12, 0, 0, 0, 0, 3}) + PcmAt(30, 0) +
                                            kEndRecord);
  auto colourBytes = [](const std::string& pcs) {
    std::string colours;
    for (size_t at = 79; at + 9 <= pcs.size(); at += 9) {
      if (pcs[at + 8] == 3) colours += pcs[at];
    }
    return colours;
  };
  Converter convert;
  ASSERT_EQ(convert(dir / "colours.PCM", dir / "class.PCS"), 0);
  ASSERT_EQ(Convert(dir / "colours.PCM", dir / "library.PCS").value(), 0);
  EXPECT_EQ(colourBytes(test::ReadBytes(dir / "class.PCS")), Bytes({5, 6}));
  EXPECT_EQ(colourBytes(test::ReadBytes(dir / "library.PCS")), Bytes({9, 10}));

  // No second guess in PCM: a code off the rule ends the run, the class's destination
  // is gone and the library's stays as it was.
  test::WriteBytes(dir / "off.PCM", PcmHead(2) + PcmAt(10, 0) +
                                        Bytes({0, 0, 0, 1, 0, 0x01, 0x59, 0x00, 0}) + kEndRecord);
  int16_t result = 0;
  test::ReadNeedles(dir / "off.PCM", false, &result);
  EXPECT_EQ(result, kInvalidCall);
  EXPECT_EQ(convert(dir / "off.PCM", dir / "off.DST"), kInvalidCall);
  EXPECT_FALSE(std::filesystem::exists(dir / "off.DST"));
  test::WriteBytes(dir / "kept.DST", "before");
  EXPECT_NE(Convert(dir / "off.PCM", dir / "kept.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "kept.DST"), "before");
}

// A QEP made from a DST of four colours, with a thread table of these triples.
std::string QepOfColours(const test::TempDir& dir, const std::vector<std::array<int, 3>>& threads,
                         int changes) {
  std::vector<Rec> design = {{S, 1, 0}};
  for (int c = 0; c < changes; ++c) {
    design.push_back({C, 0, 0});
    design.push_back({S, static_cast<int16_t>(c % 2 == 0 ? -1 : 1), 0});
  }
  test::WriteBytes(dir / "colours.DST", DstFile(design));
  EXPECT_EQ(Convert(dir / "colours.DST", dir / "colours.QEP").value(), 0);
  std::string qep = test::ReadBytes(dir / "colours.QEP");
  qep.replace(103, 2, Bytes({static_cast<int>(threads.size()), 0}));
  std::string table;
  for (const auto& t : threads) table += Bytes({t[0], t[1], t[2]});
  qep.replace(113, table.size(), table);
  test::WriteBytes(dir / "colours.QEP", qep);
  return dir / "colours.QEP";
}

TEST(PcmPcsColours, ThreadsOfAQepBecomeUniqueColoursAndPaletteBytes) {
  test::TempDir dir;
  const std::string qep =
      QepOfColours(dir, {{255, 0, 0}, {0, 255, 0}, {255, 0, 0}, {0, 0, 255}}, 3);
  auto changes = [](const std::string& file, size_t head, size_t at) {
    std::string bytes;
    for (size_t r = head; r + 9 <= file.size(); r += 9) {
      if (file[r + 8] == 3) bytes += file[r + at];
    }
    return bytes;
  };
  for (bool library : {false, true}) {
    Converter convert;
    const std::string pcs = dir / "out.PCS", pcm = dir / "out.PCM";
    ASSERT_EQ(library ? Convert(qep, pcs).value() : convert(qep, pcs), 0);
    ASSERT_EQ(library ? Convert(qep, pcm).value() : convert(qep, pcm), 0);
    // PCS: three unique colours over the start table, the rest of it as it was; each
    // change names its thread's place among them.
    const std::string p = test::ReadBytes(pcs);
    EXPECT_EQ(p.substr(3, 64), Bytes({0, 255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255}) +
                                   kPcsStartTable.substr(12));
    EXPECT_EQ(changes(p, 79, 0), Bytes({1, 0, 2}));
    // PCM: the palette bytes of red, green, red, blue, padded with zeros, the first in
    // the head's colour record and the others in the changes.
    const std::string m = test::ReadBytes(pcm);
    EXPECT_EQ(m.substr(4, 32), Bytes({0, 8, 0, 10, 0, 8, 0, 2}) + std::string(24, '\0'));
    EXPECT_EQ(m.substr(38, 9), Bytes({0, 0, 0, 8, 0, 0, 0, 0, 3}));
    EXPECT_EQ(changes(m, 47, 3), Bytes({10, 8, 2}));
  }

  // Seventeen colours: the class writes all 68 bytes, over the count; the library
  // keeps to the table, whose sixteen places are all there are.
  std::vector<std::array<int, 3>> seventeen;
  for (int i = 1; i <= 17; ++i) seventeen.push_back({i, 2 * i, 3 * i});
  const std::string many = QepOfColours(dir, seventeen, 16);
  Converter convert;
  ASSERT_EQ(convert(many, dir / "class.PCS"), 0);
  ASSERT_EQ(Convert(many, dir / "library.PCS").value(), 0);
  const std::string viaClass = test::ReadBytes(dir / "class.PCS");
  const std::string viaLibrary = test::ReadBytes(dir / "library.PCS");
  EXPECT_EQ(viaClass.substr(63, 8), Bytes({0, 16, 32, 48, 0, 17, 34, 51}));
  // The library counts the seventeen stitches.
  EXPECT_EQ(viaLibrary.substr(63, 8), Bytes({0, 16, 32, 48, 0, 17, 0, 0}));
}

// A design that runs to the four edges of the tables, with jumps and colour changes,
// one of which moves.
std::vector<Rec> EdgeToEdge() {
  std::vector<Rec> records;
  auto go = [&records](int16_t kind, int dx, int dy, int pieces) {
    for (int i = 0; i < pieces; ++i) {
      records.push_back({kind, static_cast<int16_t>(dx / pieces), static_cast<int16_t>(dy / pieces)});
    }
  };
  go(J, 600, 0, 5);
  go(S, 0, 575, 5);     // (600, 575 up)
  records.push_back({C, 0, 0});
  go(S, -1200, 0, 10);  // (-600, 575 up)
  go(J, 0, -480, 4);    // (-600, 95)
  records.push_back({C, 30, 30});
  go(S, 0, -700, 7);    // (-570, 575 down)
  go(S, 1170, 0, 10);   // (600, 575 down)
  go(J, -480, 480, 4);
  return records;
}

TEST(PcmPcsRoundTrips, TheLibraryKeepsEveryNeedleAndTheClassItsPositions) {
  test::TempDir dir;
  test::WriteBytes(dir / "edges.DST", DstFile(EdgeToEdge()));
  const std::vector<Needle> source = test::NeedlesOf(dir / "edges.DST");
  ASSERT_EQ(Convert(dir / "edges.DST", dir / "edges.QEP").value(), 0);
  ASSERT_EQ(test::NeedlesOf(dir / "edges.QEP"), source);
  for (const auto& [from, via] : {std::pair{"edges.DST", "edges.PCS"}, {"edges.QEP", "edges.PCM"},
                                  {"edges.DST", "edges.PCM"}, {"edges.QEP", "edges.PCS"}}) {
    const std::string back = dir / (std::string(via) + ".back" + std::string(from).substr(5));
    ASSERT_EQ(Convert(dir / from, dir / via).value(), 0) << via;
    ASSERT_EQ(Convert(dir / via, back).value(), 0) << via;
    EXPECT_EQ(test::NeedlesOf(back), source) << from << " through " << via;
  }
  // The class: a stitch behind each change becomes the change, the count leaves out
  // the last stitch, and every other stitch keeps its position.
  std::vector<Needle> expected;
  for (size_t i = 0; i < source.size(); ++i) {
    if (i > 0 && source[i - 1].kind == C) {
      expected.back().x = source[i].x;
      expected.back().y = source[i].y;
      continue;
    }
    expected.push_back(source[i]);
  }
  expected.pop_back();
  Converter convert;
  ASSERT_EQ(convert(dir / "edges.DST", dir / "class.PCS"), 0);
  ASSERT_EQ(convert(dir / "class.PCS", dir / "class.DST"), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "class.DST"), expected);
}

// The same design moved: the other program stores PCM and PCS about the design's
// centre, its DST from the first stitch.
std::vector<Needle> Moved(std::vector<Needle> needles, long dx, long dy) {
  for (Needle& n : needles) {
    n.x += dx;
    n.y += dy;
  }
  return needles;
}

TEST(PcmPcsSamples, TheOtherProgramsFilesHoldTheNeedlesOfItsDsts) {
  const std::string samples = test::Samples();
  const std::vector<Needle> shamrock = test::NeedlesOf(samples + "/shamrockin.dst");
  ASSERT_EQ(shamrock.size(), 1473u);
  // The shamrock's PCS and PCM: the DST's needles, moved, less the stitch of no length
  // on which the DST's opening jumps end.
  std::vector<Needle> expected = Moved(shamrock, -1, 39);
  expected.erase(expected.begin());
  for (const char* name : {"shamrockin.pcs", "shamrockin.pcm"}) {
    const std::vector<Needle> library = test::ReadNeedles(samples + "/" + name, true);
    ASSERT_FALSE(library.empty());
    // Its opening jump from the origin, read as a jump by both.
    EXPECT_EQ(library.front(), (Needle{-72, 186, J, 1})) << name;
    EXPECT_EQ(test::ReadNeedles(samples + "/" + name, false), library) << name;
    EXPECT_EQ(test::NeedlesOf(samples + "/" + name), expected) << name;
  }
  // The star's PCS: its DST's needles, moved, with a stitch of no length more behind the
  // jumps that follow the colour change. It brings the needle to its start with a stitch
  // record, which the next repeats: the library reads the first as the way there, the
  // class sews both.
  const std::vector<Needle> star = test::NeedlesOf(samples + "/Star.DST");
  ASSERT_EQ(star.size(), 2551u);
  expected = Moved(star, -1, 0);
  const auto change = std::find_if(expected.begin(), expected.end(),
                                   [](const Needle& n) { return n.kind == C; });
  ASSERT_NE(change, expected.end());
  expected.insert(change + 1, *(change + 1));
  EXPECT_EQ(test::NeedlesOf(samples + "/Star.PCS"), expected);
  // The class puts the colour change where the jump behind it ends, which is where the
  // needle stands: the same needles, and the first twice.
  auto sewn = [](std::vector<Needle> steps) {
    std::erase_if(steps, [](const Needle& n) { return n.kind == J; });
    return steps;
  };
  expected.insert(expected.begin(), expected.front());
  EXPECT_EQ(sewn(test::ReadNeedles(samples + "/Star.PCS", false)), expected);
  // Star.PCM is another digitising of the star: fewer stitches, moved, and its satin
  // points set otherwise, so that few of them fall where the DST's do.
  const std::vector<Needle> starPcm = test::NeedlesOf(samples + "/Star.PCM");
  EXPECT_EQ(starPcm.size(), 2447u);
  std::set<std::pair<long, long>> dstPoints;
  for (const Needle& n : Moved(star, -199, 175)) dstPoints.insert({n.x, n.y});
  size_t shared = 0;
  for (const Needle& n : starPcm) shared += dstPoints.count({n.x, n.y});
  EXPECT_LT(shared, starPcm.size() / 10);
}

}  // namespace
}  // namespace tavlin
