// DST records, the text header and the T01/T03 wrapper, as golden bytes; the wrapper
// both as this system writes it and as other programs do.
#include <gtest/gtest.h>

#include <memory>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/text_header.h"
#include "tavlin/convert.h"
#include "tavlin/error.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin::test {
// Steps read compare as (kind, x, y); internal to this file, found by argument lookup.
static bool operator==(const Rec& a, const Rec& b) {
  return a.kind == b.kind && a.x == b.x && a.y == b.y;
}
static void PrintTo(const Rec& r, std::ostream* out) {
  *out << "(kind " << r.kind << ", " << r.x << ", " << r.y << ")";
}
}  // namespace tavlin::test

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

// A T01 or T03 as other programs write it: the block count, ten zeros, the records
// from offset 12 with no second opening record, and zeros up to a multiple of 12
// (none when the records end on one).
std::string OtherWritersWrapper(const std::string& records) {
  const size_t length = 12 + records.size();
  const size_t padded = (length + 11) / 12 * 12;
  return IntToBytes2(static_cast<double>(padded / 12)) + std::string(10, '\0') + records +
         std::string(padded - length, '\0');
}

// The steps a file reads as through the library, each as (kind, x, y).
std::vector<Rec> StepsOf(const std::string& path) {
  std::vector<Rec> steps;
  EXPECT_EQ(ReadDesign(path,
                       [&steps](const DesignStep& s) {
                         steps.push_back({static_cast<int16_t>(s.kind), s.x, s.y});
                       })
                .value(),
            0)
      << path;
  return steps;
}

// The file a wrapped source converts to through the class, and through the library.
struct BothFaces {
  std::string viaClass;
  std::string viaLibrary;
};

BothFaces ToDstBothWays(const test::TempDir& dir, const std::string& source) {
  Converter convert;
  EXPECT_EQ(convert(source, dir / "class.DST"), 0) << source;
  EXPECT_EQ(Convert(source, dir / "library.DST").value(), 0) << source;
  return {test::ReadBytes(dir / "class.DST"), test::ReadBytes(dir / "library.DST")};
}

TEST(T01Wrapper, BothLayoutsReadToTheirDesignThroughBothFaces) {
  test::TempDir dir;
  const std::vector<Rec> design = {{KindJump, 0, 0},     {KindStitch, 5, -3},
                                   {KindColour, 0, 0},   {KindStitch, -121, 40},
                                   {KindJump, 30, 30},   {KindStitch, 1, 1}};
  std::string records;
  for (const Rec& r : design) records += DstRecord(r.kind, r.x, r.y);
  const std::string end = Bytes({0x00, 0x00, 0xF3});
  const std::string opening = Bytes({0x00, 0x00, 0x83});

  // Other programs' layout: the first record, a jump of no length, has its first
  // non-zero byte at 14, and the records start at 12. The whole file is 36 bytes, so
  // no search from 255 on could find it.
  const std::string theirs = OtherWritersWrapper(records + end);
  ASSERT_EQ(theirs.size(), 36u);
  ASSERT_EQ(theirs.substr(0, 2), Bytes({3, 0}));
  test::WriteBytes(dir / "theirs.T01", theirs);
  EXPECT_EQ(StepsOf(dir / "theirs.T01"), design);
  BothFaces faces = ToDstBothWays(dir, dir / "theirs.T01");
  EXPECT_EQ(faces.viaClass.substr(512), opening + records + end);
  EXPECT_EQ(faces.viaLibrary, faces.viaClass);
  EXPECT_EQ(test::Field(faces.viaClass, 31, 7), "CO:  2\r");

  // This system's layout, from its own writer: the two opening records at 468 and
  // 471 read as jumps of no length ahead of the design, on both faces alike.
  test::WriteBytes(dir / "a.DST", test::DstFile(design));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "ours.T01"), 0);
  ASSERT_EQ(test::ReadBytes(dir / "ours.T01").substr(468, 6), opening + opening);
  std::vector<Rec> withOpenings = {{KindJump, 0, 0}, {KindJump, 0, 0}};
  withOpenings.insert(withOpenings.end(), design.begin(), design.end());
  EXPECT_EQ(StepsOf(dir / "ours.T01"), withOpenings);
  faces = ToDstBothWays(dir, dir / "ours.T01");
  EXPECT_EQ(faces.viaClass.substr(512), opening + opening + opening + records + end);
  EXPECT_EQ(faces.viaLibrary, faces.viaClass);
}

TEST(T01Wrapper, EmptyDesignsInBothLayoutsAndT03) {
  test::TempDir dir;
  const std::string opening = Bytes({0x00, 0x00, 0x83});
  // Empty designs from this system's writer: only the opening records.
  test::WriteBytes(dir / "empty.DST", "");
  Converter convert;
  ASSERT_EQ(convert(dir / "empty.DST", dir / "ours.T01"), 0);
  ASSERT_EQ(convert(dir / "empty.DST", dir / "ours.T03"), 0);
  EXPECT_EQ(StepsOf(dir / "ours.T01"), (std::vector<Rec>{{KindJump, 0, 0}, {KindJump, 0, 0}}));
  EXPECT_EQ(StepsOf(dir / "ours.T03"), (std::vector<Rec>{{KindJump, 0, 0}}));
  BothFaces faces = ToDstBothWays(dir, dir / "ours.T01");
  EXPECT_EQ(faces.viaClass.substr(512), opening + opening + opening + Bytes({0, 0, 0xF3}));
  EXPECT_EQ(faces.viaLibrary, faces.viaClass);

  // Other programs' empty T01: the end record alone at 12.
  test::WriteBytes(dir / "theirs.T01", OtherWritersWrapper(Bytes({0x00, 0x00, 0xF3})));
  EXPECT_TRUE(StepsOf(dir / "theirs.T01").empty());
  faces = ToDstBothWays(dir, dir / "theirs.T01");
  EXPECT_EQ(faces.viaClass.substr(512), opening + Bytes({0, 0, 0xF3}));
  EXPECT_EQ(faces.viaLibrary, faces.viaClass);

}

TEST(T03Wrapper, OtherProgramsDsbRecordsFromTwelveWithOrWithoutFill) {
  test::TempDir dir;
  // A jump of (-36, -93), stitches of (3, 5) and (-2, 1), the end: 12 + 12 bytes, so
  // there is no fill at all; with a colour change behind them, 9 bytes of fill.
  const std::string dsb = Bytes({0xE1, 0x5D, 0x24, 0x80, 0x05, 0x03, 0xA0, 0x01, 0x02});
  const std::string end = Bytes({0xF8, 0x00, 0x00});
  const std::vector<Rec> design = {{KindJump, -36, -93}, {KindStitch, 3, 5}, {KindStitch, -2, 1}};
  std::string dst;
  for (const Rec& r : design) dst += DstRecord(r.kind, r.x, r.y);
  const std::string opening = Bytes({0x00, 0x00, 0x83});
  const std::string dstEnd = Bytes({0x00, 0x00, 0xF3});

  const std::string bare = OtherWritersWrapper(dsb + end);
  ASSERT_EQ(bare.size(), 24u);
  ASSERT_EQ(bare.substr(0, 2), Bytes({2, 0}));
  test::WriteBytes(dir / "bare.T03", bare);
  EXPECT_EQ(StepsOf(dir / "bare.T03"), design);
  BothFaces faces = ToDstBothWays(dir, dir / "bare.T03");
  EXPECT_EQ(faces.viaClass.substr(512), opening + dst + dstEnd);
  EXPECT_EQ(faces.viaLibrary, faces.viaClass);

  const std::string filled = OtherWritersWrapper(dsb + Bytes({0x8A, 0, 0}) + end);
  ASSERT_EQ(filled.size(), 36u);
  test::WriteBytes(dir / "filled.T03", filled);
  // The colour change at the end: the class's; the library's none, as no stitch follows.
  EXPECT_EQ(StepsOf(dir / "filled.T03"), design);
  faces = ToDstBothWays(dir, dir / "filled.T03");
  EXPECT_EQ(faces.viaClass.substr(512), opening + dst + DstRecord(KindColour, 0, 0) + dstEnd);
  EXPECT_EQ(faces.viaLibrary.substr(512), opening + dst + dstEnd);
}

TEST(T01Wrapper, AHeadOfZerosNeitherHangsNorReadsPastTheEnd) {
  test::TempDir dir;
  // Zeros through 512 put the records at 513, where they are zero stitches too; files
  // that end before that are empty designs.
  for (const size_t length : {0u, 2u, 12u, 254u, 511u, 513u, 600u, 30000u}) {
    const std::string name = dir / ("z" + std::to_string(length) + ".T01");
    test::WriteBytes(name, std::string(length, '\0'));
    const size_t zeroStitches = length > 513 ? (length - 513) / 3 : 0;
    EXPECT_EQ(StepsOf(name), std::vector<Rec>(zeroStitches, Rec{KindStitch, 0, 0})) << length;
    // An empty file is no design to the library.
    if (length == 0) {
      EXPECT_EQ(Convert(name, dir / "library.DST"), ConvertErrc::UnsoundSource);
      continue;
    }
    const BothFaces faces = ToDstBothWays(dir, name);
    EXPECT_EQ(faces.viaClass.size(), 512u + 3u * (zeroStitches + 2)) << length;
    EXPECT_EQ(faces.viaLibrary, faces.viaClass) << length;
  }
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
