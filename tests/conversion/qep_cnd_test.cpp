// QEP, QCD and CND: absolute records, function codes, the header block, drawn trims,
// and the round trips between the three.
#include <gtest/gtest.h>

#include <cmath>

#include "conversion/format_table.h"
#include "platform/files.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::DstRecord;
using test::Rec;

std::string Qep(int code, int x, int y) {
  return static_cast<char>(code) + IntToBytes2(x) + IntToBytes2(y);
}

std::string QepFile(const std::vector<std::string>& records) {
  std::string bytes(512, ' ');
  bytes += Qep(5, 0, 0);
  for (const std::string& r : records) bytes += r;
  return bytes + Qep(6, 0, 0);
}

struct QepRecord {
  int code, x, y;
  bool operator==(const QepRecord& o) const { return code == o.code && x == o.x && y == o.y; }
};

void PrintTo(const QepRecord& r, std::ostream* out) {
  *out << "{" << r.code << ", " << r.x << ", " << r.y << "}";
}

std::vector<QepRecord> QepRecordsOf(const std::string& file) {
  std::vector<QepRecord> records;
  for (const std::string& r : test::RecordsOf(file, 512, 5)) {
    records.push_back({static_cast<uint8_t>(r[0]), Bytes2ToInt(r.substr(1, 2)),
                       Bytes2ToInt(r.substr(3, 2))});
  }
  return records;
}

TEST(Qep, RecordsHoldAbsolutePositionsWithYDown) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST",
                   DstFile({{KindJump, 16, 16}, {KindStitch, 10, -20}, {KindColour, 0, 0}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.QEP"), 0);
  const std::string qep = test::ReadBytes(dir / "b.QEP");
  EXPECT_EQ(QepRecordsOf(qep), (std::vector<QepRecord>{
                                   {5, 0, 0}, {1, 16, -16}, {0, 26, 4}, {2, 26, 4}, {6, 0, 0}}));
  EXPECT_EQ(qep.substr(0, 20), "LA:a.DST    DSC.QEP\r");
  // The block at 95: the pixel box, colours, records, and where the last record is.
  const int pixMaxX = static_cast<int>(std::nearbyint(26 / 3.8 + 320));  // 327
  const std::string block = IntToBytes2(pixMaxX) + IntToBytes2(320) + IntToBytes2(241) +
                            IntToBytes2(236) + IntToBytes2(2) + IntToBytes4(6) +
                            IntToBytes4(512 + 4 * 5 - 4);
  EXPECT_EQ(qep.substr(95, 18), block);
  // The text header's own fields around it stay; the thread table follows, two PES
  // colours for a DST's two.
  EXPECT_EQ(qep[94], ' ');
  EXPECT_EQ(qep.substr(113, 7), Bytes({14, 31, 124, 10, 85, 163, ' '}));
  // QCD has the same bytes but the thread table, and no machine tag.
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.QCD"), 0);
  const std::string qcd = test::ReadBytes(dir / "b.QCD");
  EXPECT_EQ(qcd.substr(12, 8), "DSC.   \r");
  EXPECT_EQ(qcd.substr(94, 19), qep.substr(94, 19));
  EXPECT_EQ(qcd.substr(113, 6), std::string(6, ' '));
  EXPECT_EQ(qcd.substr(119), qep.substr(119));
}

TEST(Qep, ItsHeadGivesTheDesignSizeBeforeTheFirstRecord) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 30, -20}, {KindColour, 0, 0},
                                           {KindStitch, -50, 45}}));
  ASSERT_EQ(Converter()(dir / "a.DST", dir / "b.QEP"), 0);
  PlatformState platform;
  BufferedFile qep(OpenFile(platform, dir / "b.QEP"));
  qep.Seek(300);
  const DesignSize size = ScanDesignSize(qep, kCodeQep);
  EXPECT_EQ(qep.Position(), 0);
  EXPECT_EQ(size.PlusX, 30);
  EXPECT_EQ(size.MinusX, 20);
  EXPECT_EQ(size.PlusY, 25);
  EXPECT_EQ(size.MinusY, 20);
  EXPECT_EQ(size.DesignWidth, 50);
  EXPECT_EQ(size.DesignHeight, 45);
  EXPECT_EQ(size.DesignColours, 2);
  // A head without sizes gives zeros and leaves the file where it was.
  BufferedFile dst(OpenFile(platform, dir / "a.DST"));
  dst.Seek(300);
  EXPECT_EQ(ScanDesignSize(dst, kCodeDst).DesignWidth, 0);
  EXPECT_EQ(dst.Position(), 300);
}

TEST(Qep, ReadingGivesStepsFromThePreviousPosition) {
  test::TempDir dir;
  Converter convert;
  // A jump to (16, -16) from (0, 0) is the step (16, 16), Y up. Bit 5 of the code is
  // ignored: 0x21 is a jump. The opening record moves nothing.
  test::WriteBytes(dir / "a.QEP", QepFile({Bytes({0x01, 0x10, 0x00, 0xF0, 0xFF}),
                                           Qep(0x20, 20, -10), Qep(0x21, 20, -10),
                                           Qep(4, 500, 500), Qep(2, 21, -10)}));
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.DST"), 0);
  const std::string dst = test::ReadBytes(dir / "b.DST");
  EXPECT_EQ(dst.substr(515), DstRecord(KindJump, 16, 16) + DstRecord(KindStitch, 4, -6) +
                                 DstRecord(KindJump, 0, 0) + DstRecord(KindColour, 1, 0) +
                                 Bytes({0, 0, 0xF3}));
  // The opening record and the record of code 4 are counted cycles that give no step.
  EXPECT_EQ(test::Field(dst, 20, 11), "ST:      7\r");
}

TEST(Qep, LongStepsAreSplitIntoJumpsWithRisingPositions) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP", QepFile({Qep(0, 200, 0)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.QEP"), 0);
  EXPECT_EQ(QepRecordsOf(test::ReadBytes(dir / "b.QEP")),
            (std::vector<QepRecord>{{5, 0, 0}, {1, 40, 0}, {1, 80, 0}, {1, 120, 0}, {1, 160, 0},
                                    {0, 200, 0}, {6, 0, 0}}));
}

TEST(Qep, ARunOfDstJumpsBecomesATrim) {
  test::TempDir dir;
  std::vector<Rec> records(5, Rec{KindJump, 1, 0});  // the first run: no trim
  records.push_back({KindStitch, 1, 1});
  for (int i = 0; i < 6; ++i) records.push_back({KindJump, 0, 2});  // a sixth adds nothing
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.QEP"), 0);
  std::vector<int> codes;
  for (const QepRecord& r : QepRecordsOf(test::ReadBytes(dir / "b.QEP"))) codes.push_back(r.code);
  EXPECT_EQ(codes, (std::vector<int>{5, 1, 1, 1, 1, 1, 0, 31, 1, 1, 1, 1, 1, 1, 6}));
  const std::vector<QepRecord> all = QepRecordsOf(test::ReadBytes(dir / "b.QEP"));
  EXPECT_EQ(all[7], (QepRecord{31, 9, 0}));
}

TEST(Qep, ATrimIsDrawnInDstAsSixJumps) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP", QepFile({Qep(0, 5, 0), Qep(31, 9, 0), Qep(0, 15, -3)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.DST"), 0);
  std::string expected = DstRecord(KindStitch, 5, 0);
  // The trim record is itself the next step written: the zigzag comes ahead of it,
  // and it goes as a jump of no movement.
  for (int i = 0; i < 6; ++i) expected += DstRecord(KindJump, 0, i % 2 == 0 ? 3 : -3);
  expected += DstRecord(KindJump, 0, 0);
  expected += DstRecord(KindStitch, 10, 3) + Bytes({0, 0, 0xF3});
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").substr(515), expected);
}

TEST(Qep, KeepsTheNeedleOfADszColourChange) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') + Bytes({2, 3, 0x85, 1, 1, 0x82}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "b.QEP"), 0);
  const std::string qep = test::ReadBytes(dir / "b.QEP");
  EXPECT_EQ(QepRecordsOf(qep), (std::vector<QepRecord>{
                                   {5, 0, 0}, {0x18, 3, -2}, {0x17, 4, -3}, {6, 0, 0}}));
  // Code 5 raises the colour index; code 2 doesn't with a QEP destination.
  EXPECT_EQ(test::Field(qep, 31, 7), "CO:  2\r");
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "b.DST"), 0);
  EXPECT_EQ(test::Field(test::ReadBytes(dir / "b.DST"), 31, 7), "CO:  3\r");
}

TEST(Cnd, PositionsInSixthsAndTheHighBits) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP", QepFile({Qep(0, 2731, -1), Qep(8, -3, 4)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.CND"), 0);
  const std::string cnd = test::ReadBytes(dir / "b.CND");
  // No header, no end record: two position records.
  ASSERT_EQ(cnd.size(), 10u);
  // X6 = 16386: bit 14 in bit 4 of b0, 0 and 2 in b1 and b2; Y is up, 6 x 1.
  EXPECT_EQ(cnd.substr(0, 5), Bytes({0x80 | 0x10 | 0x01, 0, 2, 0, 6}));
  // Code 8 is type 2; X negative in bit 6, Y (-4 up) negative in bit 5.
  EXPECT_EQ(cnd.substr(5, 5), Bytes({0x80 | 0x40 | 0x20 | 0x02, 0, 18, 0, 24}));
}

// A QEP's needle code (a DSZ's colour change) is a colour change in CND for the library;
// the class writes it as a macro of no meaning, which a reader skips.
TEST(Cnd, ANeedleCodeIsAColourChangeForTheLibraryAndNothingForTheClass) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP", QepFile({Qep(7, 10, 0), Qep(0x18, 10, 0), Qep(7, 20, 0)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "class.CND"), 0);
  ASSERT_EQ(Convert(dir / "a.QEP", dir / "library.CND").value(), 0);
  const std::string byClass = test::ReadBytes(dir / "class.CND");
  const std::string byLibrary = test::ReadBytes(dir / "library.CND");
  ASSERT_EQ(byClass.size(), 15u);
  ASSERT_EQ(byLibrary.size(), 15u);
  EXPECT_EQ(byClass.substr(0, 5), byLibrary.substr(0, 5));
  EXPECT_EQ(byClass[6], '\0');
  EXPECT_EQ(static_cast<uint8_t>(byLibrary[6]), 0x2D);
  EXPECT_EQ(byClass.substr(7), byLibrary.substr(7));
  // Read back, the macro is CND's colour change, code 19, between the two positions.
  ASSERT_EQ(Convert(dir / "library.CND", dir / "back.QEP").value(), 0);
  std::vector<int> codes;
  for (const QepRecord& r : QepRecordsOf(test::ReadBytes(dir / "back.QEP"))) codes.push_back(r.code);
  EXPECT_EQ(codes, (std::vector<int>{5, 7, 19, 7, 6}));
}

TEST(Cnd, FiveSixthsRoundUpToOne) {
  test::TempDir dir;
  // Positions 5, 3, 2 and -9 sixths: 0.83 and 0.5 go up to 1, 0.33 stays 0, -1.5 is -2.
  test::WriteBytes(dir / "a.CND", Bytes({0x81, 0, 5, 0, 3, 0x81, 0, 2, 0, 0, 0xC1, 0, 9, 0, 0}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.CND", dir / "b.QEP"), 0);
  EXPECT_EQ(QepRecordsOf(test::ReadBytes(dir / "b.QEP")),
            (std::vector<QepRecord>{{5, 0, 0}, {7, 1, -1}, {7, 0, 0}, {7, -2, 0}, {6, 0, 0}}));
}

TEST(Cnd, QepToCndAndBackKeepsCodesParametersAndPositions) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP",
                   QepFile({Qep(1, 100, -50), Qep(0, 120, -40), Qep(8, 130, -30),
                            Qep(15, 0, -500), Qep(16, 0, -300), Qep(11, 0, 0), Qep(12, 0, 0),
                            Qep(13, 0, 0), Qep(20, 0, 5000), Qep(2, 130, -30)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.CND"), 0);
  const std::string cnd = test::ReadBytes(dir / "b.CND");
  // The code 15 record: macro 0x13 with 50 in b4.
  const std::vector<std::string> records = test::RecordsOf(cnd, 0, 5);
  ASSERT_EQ(records.size(), 12u);
  EXPECT_EQ(records[0], Bytes({0x87, 0x09, 0, 0, 0}));  // jump mode on
  EXPECT_EQ(records[2], Bytes({0x87, 0x0A, 0, 0, 0}));  // and off again
  EXPECT_EQ(records[5], Bytes({0x87, 0x13, 0, 0, 50}));
  EXPECT_EQ(records[11], Bytes({0x87, 0x2D, 0, 0, 0}));

  ASSERT_EQ(convert(dir / "b.CND", dir / "c.QEP"), 0);
  std::vector<QepRecord> back = QepRecordsOf(test::ReadBytes(dir / "c.QEP"));
  ASSERT_EQ(back.size(), 14u);
  // Positions come back; stitches and jumps are CND position records, read as 7.
  EXPECT_EQ(back[2], (QepRecord{7, 100, -50}));
  EXPECT_EQ(back[4], (QepRecord{7, 120, -40}));
  EXPECT_EQ(back[5], (QepRecord{8, 130, -30}));
  // Function codes come back with their parameters in Y.
  EXPECT_EQ(back[6].code, 15);
  EXPECT_EQ(back[6].y, -500);
  EXPECT_EQ(back[7].code, 16);
  EXPECT_EQ(back[7].y, -300);
  EXPECT_EQ(back[8].code, 11);
  EXPECT_EQ(back[9].code, 12);
  EXPECT_EQ(back[10].code, 13);
  EXPECT_EQ(back[11].code, 20);
  EXPECT_EQ(back[11].y, 5000);
  EXPECT_EQ(back[12].code, 19);
}

TEST(Cnd, OtherFormatsGetStepsOfNoMovement) {
  test::TempDir dir;
  Converter convert;
  test::WriteBytes(dir / "a.CND", Bytes({0x81, 1, 0, 1, 0, 0x81, 2, 0, 2, 0}));
  ASSERT_EQ(convert(dir / "a.CND", dir / "b.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").substr(512),
            Bytes({0, 0, 0x83}) + DstRecord(KindStitch, 0, 0) + DstRecord(KindStitch, 0, 0) +
                Bytes({0, 0, 0xF3}));
  test::WriteBytes(dir / "c.DST", DstFile({{KindStitch, 50, 50}}));
  ASSERT_EQ(convert(dir / "c.DST", dir / "d.CND"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "d.CND"), Bytes({0x81, 0, 0, 0, 0}));
}

TEST(Qcd, FeedsOnlyACndDestination) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QCD", QepFile({Qep(0, 10, -10), Qep(15, 0, -500)}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QCD", dir / "b.CND"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.CND"),
            Bytes({0x81, 0, 60, 0, 60, 0x87, 0x13, 0, 0, 50}));
  ASSERT_EQ(convert(dir / "a.QCD", dir / "b.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").substr(515),
            DstRecord(KindStitch, 0, 0) + DstRecord(KindStitch, 0, 0) + Bytes({0, 0, 0xF3}));
}

using test::Needle;

TEST(RoundTrips, DstThroughDsbDszAndQepComesBackTheSame) {
  test::TempDir dir;
  std::vector<Rec> design;
  for (int i = 0; i < 30; ++i) {
    design.push_back({KindStitch, static_cast<int16_t>(i * 7 % 121 - 60),
                      static_cast<int16_t>(i * 13 % 97 - 48)});
    if (i % 7 == 6) design.push_back({KindColour, 0, 0});
    if (i % 11 == 10) design.push_back({KindJump, 121, -121});
  }
  test::WriteBytes(dir / "a.DST", DstFile(design));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.DSB"), 0);
  ASSERT_EQ(convert(dir / "b.DSB", dir / "c.DSZ"), 0);
  ASSERT_EQ(convert(dir / "c.DSZ", dir / "d.QEP"), 0);
  ASSERT_EQ(convert(dir / "d.QEP", dir / "e.DST"), 0);
  const std::vector<Needle> source = test::NeedlesOf(dir / "a.DST", true);
  for (const char* name : {"b.DSB", "c.DSZ", "d.QEP"}) {
    EXPECT_EQ(test::NeedlesOf(dir / name, true), source) << name;
  }
  // The end has the opening jump of no length that every DST gets.
  const std::vector<Needle> back = test::NeedlesOf(dir / "e.DST", true);
  ASSERT_EQ(back.size(), source.size() + 1);
  EXPECT_EQ(back.front(), (Needle{0, 0, KindJump, 1}));
  EXPECT_EQ(std::vector<Needle>(back.begin() + 1, back.end()), source);
  const std::string header = test::ReadBytes(dir / "e.DST").substr(0, 94);
  EXPECT_EQ(header.substr(0, 20), "LA:d.QEP    DSC.TAJ\r");
  EXPECT_EQ(header.substr(31, 7), test::ReadBytes(dir / "b.DSB").substr(31, 7));
}

}  // namespace
}  // namespace tavlin
