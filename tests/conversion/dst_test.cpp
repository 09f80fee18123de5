// DST records, the text header and the T01/T03 wrapper, as golden bytes.
#include <gtest/gtest.h>

#include <memory>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/text_header.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::DstFile;
using test::DstRecord;
using test::Rec;

using test::Converter;

TEST(DstRecords, EncodeToTheirGoldenBytes) {
  EXPECT_EQ(DstRecord(KindStitch, 1, 0), Bytes({0x01, 0x00, 0x03}));
  EXPECT_EQ(DstRecord(KindStitch, 121, 0), Bytes({0x05, 0x05, 0x07}));
  EXPECT_EQ(DstRecord(KindStitch, -2, 0), Bytes({0x01, 0x02, 0x03}));
  EXPECT_EQ(DstRecord(KindStitch, 41, 0), Bytes({0x0A, 0x0A, 0x07}));
  EXPECT_EQ(DstRecord(KindStitch, 0, 1), Bytes({0x80, 0x00, 0x03}));
  EXPECT_EQ(DstRecord(KindStitch, 0, -1), Bytes({0x40, 0x00, 0x03}));
  EXPECT_EQ(DstRecord(KindJump, 0, 0), Bytes({0x00, 0x00, 0x83}));
  // A colour change keeps its movement; a needle change is written as one.
  EXPECT_EQ(DstRecord(KindColour, 5, 5), DstRecord(KindStitch, 5, 5).substr(0, 2) + "\xC3");
  EXPECT_EQ(DstRecord(24, 5, 5), DstRecord(KindColour, 5, 5));
  // A mark carries no movement.
  EXPECT_EQ(DstRecord(KindMark, 7, 9), Bytes({0x00, 0x00, 0x43}));
  // Function codes and trims are stitches in DST.
  EXPECT_EQ(DstRecord(KindTrim, 3, 0), DstRecord(KindStitch, 3, 0));
  // Beyond the reach of the five digits an axis is written as no movement.
  EXPECT_EQ(DstRecord(KindStitch, 122, -1), DstRecord(KindStitch, 0, -1));
}

TEST(DstRecords, EveryValueSurvivesDecodingAndEncoding) {
  for (int x = -121; x <= 121; ++x) {
    for (int y : {-121, -41, -40, -14, -13, -5, -4, -2, -1, 0, 1, 2, 4, 5, 13, 14, 40, 41, 121}) {
      const std::string bytes = DstRecord(KindStitch, static_cast<int16_t>(x),
                                          static_cast<int16_t>(y));
      const TernaryStep s = DecodeTernary(reinterpret_cast<const uint8_t*>(bytes.data()));
      ASSERT_EQ(s.x, x);
      ASSERT_EQ(s.y, y);
    }
  }
}

TEST(DstConversion, AnEmptySourceGivesHeaderOpeningAndEnd) {
  test::TempDir dir;
  test::WriteBytes(dir / "empty.DST", "");
  Converter convert;
  ASSERT_EQ(convert(dir / "empty.DST", dir / "out.DST"), 0);
  const std::string out = test::ReadBytes(dir / "out.DST");
  ASSERT_EQ(out.size(), 518u);
  EXPECT_EQ(out.substr(512), Bytes({0x00, 0x00, 0x83, 0x00, 0x00, 0xF3}));
  EXPECT_EQ(out.substr(0, 20), "LA:empty.DS DSC.TAJ\r");
  // The cycle that met the end of the file is counted.
  EXPECT_EQ(test::Field(out, 20, 11), "ST:      1\r");
  EXPECT_EQ(test::Field(out, 31, 7), "CO:  1\r");
  EXPECT_EQ(test::Field(out, 38, 56),
            "+X:    0\r-X:    0\r+Y:    0\r-Y:    0\rAX:+    0\rAY:+    0\r");
  EXPECT_EQ(out.substr(94, 405), std::string(405, ' '));
  EXPECT_EQ(out.substr(499, 4), Bytes({0, 0, 0, 0}));
  EXPECT_EQ(out.substr(503, 9), std::string(9, ' '));
}

TEST(DstConversion, TheHeaderDescribesTheDesign) {
  test::TempDir dir;
  std::vector<Rec> records;
  for (int i = 0; i < 10; ++i) records.push_back({KindStitch, 100, 0});   // right to 1000
  for (int i = 0; i < 3; ++i) records.push_back({KindStitch, 0, -100});   // down to -300
  records.push_back({KindStitch, -50, 50});                              // end at (950, -250)
  test::WriteBytes(dir / "LONGNAMEDDESIGN.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "LONGNAMEDDESIGN.DST", dir / "out.DST"), 0);
  const std::string out = test::ReadBytes(dir / "out.DST");
  // The first eight characters of the name, no dot.
  EXPECT_EQ(out.substr(0, 20), "LA:LONGNAME DSC.TAJ\r");
  // 14 records and the end record each take a cycle.
  EXPECT_EQ(test::Field(out, 20, 11), "ST:     15\r");
  EXPECT_EQ(test::Field(out, 38, 56),
            "+X: 1000\r-X:    0\r+Y:    0\r-Y:  300\rAX:+  950\rAY:-  250\r");
  // Centre offsets: |min| - (|min| + |max|) / 2, truncated.
  EXPECT_EQ(out.substr(499, 4), IntToBytes2(-500) + IntToBytes2(-150));
  // The records come through unchanged behind the opening jump.
  EXPECT_EQ(out.substr(512, 3), Bytes({0x00, 0x00, 0x83}));
  EXPECT_EQ(out.substr(515, 14 * 3), DstFile(records, false).substr(512));
  EXPECT_EQ(out.substr(out.size() - 3), Bytes({0x00, 0x00, 0xF3}));
}

TEST(DstConversion, ColourChangesAndTheMachineTag) {
  test::TempDir dir;
  std::vector<Rec> records(12, Rec{KindStitch, 1, 1});
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "one.DST"), 0);
  EXPECT_EQ(test::Field(test::ReadBytes(dir / "one.DST"), 31, 7), "CO:  1\r");
  records.push_back({KindColour, 5, 5});
  records.push_back({KindColour, 0, 0});
  test::WriteBytes(dir / "b.DST", DstFile(records));
  // Only an upper-case last character gives a tag.
  ASSERT_EQ(convert(dir / "b.DST", dir / "three.dst"), 0);
  const std::string out = test::ReadBytes(dir / "three.dst");
  EXPECT_EQ(test::Field(out, 31, 7), "CO:  3\r");
  EXPECT_EQ(out.substr(12, 8), "DSC.   \r");
  EXPECT_EQ(MachineTag("X.DSB"), "BAR");
  EXPECT_EQ(MachineTag("X.DSZ"), "ZSK");
  EXPECT_EQ(MachineTag("X.KSM"), "PFA");
  EXPECT_EQ(MachineTag("$TEMP.TMP"), "QEP");
  EXPECT_EQ(MachineTag("X.EXP"), "QEP");
  EXPECT_EQ(MachineTag("X.JEF"), "   ");
}

TEST(DstConversion, HeaderNumbersAreRightAlignedAndCut) {
  EXPECT_EQ(HeaderNumber(1, 7), "      1");
  EXPECT_EQ(HeaderNumber(-5, 5), "   -5");
  EXPECT_EQ(HeaderNumber(0, 3), "  0");
  // Too long for the field: the leading digits go.
  EXPECT_EQ(HeaderNumber(1234567, 5), "34567");
  EXPECT_EQ(HeaderNumber(12.5, 6), "  12.5");
  EXPECT_EQ(HeaderNumber(0.5, 4), "  .5");
}

TEST(DstConversion, TheEndRecordEndsTheDesignWhateverItsBits) {
  test::TempDir dir;
  std::string source = DstFile({{KindStitch, 3, 3}}, false);
  source += Bytes({0x55, 0x00, 0xF3});
  source += DstRecord(KindStitch, 9, 9);  // never read
  test::WriteBytes(dir / "a.DST", source);
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "out.DST"), 0);
  const std::string out = test::ReadBytes(dir / "out.DST");
  EXPECT_EQ(out.size(), 512u + 3 * 3);
  EXPECT_EQ(out.substr(515, 3), DstRecord(KindStitch, 3, 3));
}

TEST(DstConversion, ATruncatedSourceKeepsWhatCameBeforeTheCut) {
  test::TempDir dir;
  std::string source = DstFile({{KindStitch, 3, 3}, {KindJump, -4, 2}}, false);
  source += Bytes({0x01, 0x00});  // half a record
  test::WriteBytes(dir / "a.DST", source);
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "out.DST"), 0);
  const std::string out = test::ReadBytes(dir / "out.DST");
  EXPECT_EQ(out.substr(515), DstRecord(KindStitch, 3, 3) + DstRecord(KindJump, -4, 2) +
                                 Bytes({0x00, 0x00, 0xF3}));
  // A source shorter than its header is an empty design.
  test::WriteBytes(dir / "short.DST", std::string(100, 'x'));
  ASSERT_EQ(convert(dir / "short.DST", dir / "out2.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "out2.DST").size(), 518u);
}

TEST(T01Wrapper, WritingPadsToBlocksAndCountsThem) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 1, 0}, {KindStitch, 2, 0}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "out.T01"), 0);
  const std::string out = test::ReadBytes(dir / "out.T01");
  // 468 + two opening records + two stitches + end = 483: padded to 492.
  ASSERT_EQ(out.size(), 492u);
  EXPECT_EQ(out.substr(0, 2), IntToBytes2(41));
  EXPECT_EQ(out.substr(2, 466), std::string(466, '\0'));
  EXPECT_EQ(out.substr(468, 15), Bytes({0x00, 0x00, 0x83, 0x00, 0x00, 0x83}) +
                                     DstRecord(KindStitch, 1, 0) + DstRecord(KindStitch, 2, 0) +
                                     Bytes({0x00, 0x00, 0xF3}));
  EXPECT_EQ(out.substr(483), std::string(9, '\0'));

  // Records that end on a block boundary get a whole block more: 468 + 6 + 3 x 1 + 3.
  test::WriteBytes(dir / "b.DST", DstFile({{KindStitch, 1, 0}}));
  ASSERT_EQ(convert(dir / "b.DST", dir / "b.T01"), 0);
  const std::string b = test::ReadBytes(dir / "b.T01");
  ASSERT_EQ(b.size(), 480u + 12u);
  EXPECT_EQ(b.substr(0, 2), IntToBytes2(41));
  EXPECT_EQ(b.substr(480), std::string(12, '\0'));
}

TEST(T01Wrapper, ReadsBackAsTheSameDesign) {
  test::TempDir dir;
  const std::vector<Rec> records = {{KindJump, 10, 10}, {KindStitch, -7, 3},
                                    {KindColour, 0, 0}, {KindStitch, 121, -121}};
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.T01"), 0);
  ASSERT_EQ(convert(dir / "a.T01", dir / "back.DST"), 0);
  const std::string back = test::ReadBytes(dir / "back.DST");
  // Both opening records of the wrapper are read as jumps of no length.
  EXPECT_EQ(back.substr(512), Bytes({0x00, 0x00, 0x83, 0x00, 0x00, 0x83, 0x00, 0x00, 0x83}) +
                                  DstFile(records).substr(512));
  EXPECT_EQ(test::Field(back, 31, 7), "CO:  2\r");
}

TEST(T01Wrapper, RecordsStartAtTheFirstByteThatIsNotZero) {
  test::TempDir dir;
  // A wrapper of another writer whose records start at 300, on a multiple of 3.
  std::string source(300, '\0');
  source += DstRecord(KindStitch, 5, 0) + Bytes({0, 0, 0xF3});
  test::WriteBytes(dir / "a.T01", source);
  Converter convert;
  ASSERT_EQ(convert(dir / "a.T01", dir / "out.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "out.DST").substr(515, 3), DstRecord(KindStitch, 5, 0));
  // All zero up to 513: the records begin at 513.
  std::string zeros(513, '\0');
  zeros += DstRecord(KindStitch, 7, 0);
  test::WriteBytes(dir / "b.T01", zeros);
  ASSERT_EQ(convert(dir / "b.T01", dir / "b.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").substr(515, 3), DstRecord(KindStitch, 7, 0));
}

TEST(T01Wrapper, AFileBeyondSixteenBitsIsAnOverflow) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(std::vector<Rec>(11000, Rec{KindStitch, 1, 0})));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / "a.T01"), kOverflow);
  EXPECT_FALSE(std::filesystem::exists(dir / "a.T01"));
}

}  // namespace
}  // namespace tavlin
