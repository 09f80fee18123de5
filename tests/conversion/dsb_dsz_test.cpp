// Barudan DSB, U files and ZSK DSZ: records, colour codes, the codes other programs
// write, and the real samples.
#include <gtest/gtest.h>

#include <map>

#include "conversion/design_reader.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::Rec;

// Converts a DST of these records and gives the destination's records behind `from`.
std::vector<std::string> Through(const std::vector<Rec>& records, const std::string& dest,
                                 size_t from = 512) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  EXPECT_EQ(convert(dir / "a.DST", dir / dest), 0);
  return test::RecordsOf(test::ReadBytes(dir / dest), from);
}

TEST(DsbDsz, StepsInSignAndMagnitude) {
  EXPECT_EQ(Through({{KindStitch, -3, 5}}, "b.DSB"),
            (std::vector<std::string>{Bytes({0xA0, 0x05, 0x03}), Bytes({0xF8, 0, 0})}));
  EXPECT_EQ(Through({{KindStitch, -3, 5}}, "b.DSZ"),
            (std::vector<std::string>{Bytes({0x05, 0x03, 0xC0}), Bytes({0, 0, 0x90})}));
  EXPECT_EQ(Through({{KindJump, 0, 0}, {KindStitch, 121, -121}}, "b.DSB"),
            (std::vector<std::string>{Bytes({0x81, 0, 0}), Bytes({0xC0, 121, 121}),
                                      Bytes({0xF8, 0, 0})}));
  EXPECT_EQ(Through({{KindJump, 0, 0}, {KindStitch, 121, -121}}, "b.DSZ"),
            (std::vector<std::string>{Bytes({0, 0, 0x81}), Bytes({121, 121, 0xA0}),
                                      Bytes({0, 0, 0x90})}));
}

TEST(DsbDsz, ColourChangesTurnTheNeedleRotor) {
  std::vector<Rec> six(6, Rec{KindColour, 0, 0});
  std::vector<int> dsb, dsz;
  for (const std::string& r : Through(six, "b.DSB")) dsb.push_back(static_cast<uint8_t>(r[0]) & 0x1F);
  for (const std::string& r : Through(six, "b.DSZ")) dsz.push_back(static_cast<uint8_t>(r[2]) & 0x1F);
  EXPECT_EQ(dsb, (std::vector<int>{10, 11, 12, 13, 9, 10, 0x18}));  // and the end record
  EXPECT_EQ(dsz, (std::vector<int>{7, 9, 11, 13, 5, 7, 0x10}));
}

TEST(DsbDsz, TheHeaderCarriesTheMachineTag) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 10, 10}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.DSB"), 0);
  ASSERT_EQ(convert(dir / "a.DST", dir / "c.DSZ"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DSB").substr(12, 8), "DSC.BAR\r");
  EXPECT_EQ(test::ReadBytes(dir / "c.DSZ").substr(12, 8), "DSC.ZSK\r");
  EXPECT_EQ(test::Field(test::ReadBytes(dir / "b.DSB"), 38, 9), "+X:   10\r");
}

TEST(DsbDsz, ReadingEndsAtTheirOwnEndRecords) {
  test::TempDir dir;
  Converter convert;
  // 0xF8 ends a DSB whatever follows; 0x78 is a stitch with code 0x18, read as a stitch.
  test::WriteBytes(dir / "a.DSB", std::string(512, ' ') + Bytes({0x78, 2, 3, 0xF8, 9, 9}) +
                                      Bytes({0x80, 1, 1}));
  ASSERT_EQ(convert(dir / "a.DSB", dir / "a.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "a.DST").substr(515),
            test::DstRecord(KindStitch, -3, -2) + Bytes({0, 0, 0xF3}));
  // A DSZ ends at a third byte of 0x90.
  test::WriteBytes(dir / "b.DSZ", std::string(512, ' ') + Bytes({4, 4, 0x80, 9, 9, 0x90}));
  ASSERT_EQ(convert(dir / "b.DSZ", dir / "b.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").substr(515),
            test::DstRecord(KindStitch, 4, 4) + Bytes({0, 0, 0xF3}));
}

TEST(UFiles, HaveA256ByteHeadAndAreResolvedAsDsb) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 3, -4}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.U01"), 0);
  const std::string u = test::ReadBytes(dir / "b.U01");
  EXPECT_EQ(u, std::string(256, '\0') + Bytes({0xC0, 4, 3, 0xF8, 0, 0}));
  // Read from offset 256, whatever the head holds.
  test::WriteBytes(dir / "c.U02", std::string(256, '0') + Bytes({0x81, 5, 6, 0xF8, 0, 0}));
  ASSERT_EQ(convert(dir / "c.U02", dir / "c.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "c.DST").substr(515, 3), test::DstRecord(KindJump, 6, 5));
}

// The kinds a file's steps read as: through the class's reading, or the library's.
std::vector<int16_t> KindsOf(const std::string& path, bool otherWriters) {
  PlatformState platform;
  std::vector<int16_t> kinds;
  EXPECT_EQ(ReadDesignSteps(
                platform, ResolveStitchFile(path, otherWriters),
                [&kinds](const DesignStep& s) { kinds.push_back(static_cast<int16_t>(s.kind)); },
                otherWriters),
            0);
  return kinds;
}

// The six jumps a trim is drawn with in DST, and the trim's own step, a jump.
std::string DrawnTrim() {
  std::string jumps;
  for (int i = 0; i < 6; ++i) jumps += test::DstRecord(KindJump, 0, i % 2 == 0 ? 3 : -3);
  return jumps + test::DstRecord(KindJump, 0, 0);
}

TEST(DsbDszOtherWriters, DsbCodeSevenIsATrimForTheLibraryAndAStitchForTheClass) {
  test::TempDir dir;
  using test::DstRecord;
  // A stitch of (3, 5), the trim E7 00 00, a jump of (0, 10), a stitch of (1, 1).
  const std::string records = Bytes({0x80, 0x05, 0x03, 0xE7, 0x00, 0x00, 0x81, 0x0A, 0x00,
                                     0x80, 0x01, 0x01, 0xF8, 0x00, 0x00});
  test::WriteBytes(dir / "a.DSB", std::string(512, ' ') + records);
  test::WriteBytes(dir / "a.U01", std::string(256, '\0') + records);
  const std::string opening = Bytes({0, 0, 0x83});
  const std::string before = opening + DstRecord(KindStitch, 3, 5);
  const std::string after =
      DstRecord(KindJump, 0, 10) + DstRecord(KindStitch, 1, 1) + Bytes({0, 0, 0xF3});

  Converter convert;
  ASSERT_EQ(convert(dir / "a.DSB", dir / "class.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.DST").substr(512),
            before + DstRecord(KindStitch, 0, 0) + after);
  ASSERT_EQ(Convert(dir / "a.DSB", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.DST").substr(512), before + DrawnTrim() + after);
  ASSERT_EQ(Convert(dir / "a.U01", dir / "u.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "u.DST").substr(512), before + DrawnTrim() + after);

  EXPECT_EQ(KindsOf(dir / "a.DSB", false),
            (std::vector<int16_t>{KindStitch, KindStitch, KindJump, KindStitch}));
  EXPECT_EQ(KindsOf(dir / "a.DSB", true),
            (std::vector<int16_t>{KindStitch, KindTrim, KindJump, KindStitch}));
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(dir / "a.DSB", summary).value(), 0);
  EXPECT_EQ(summary.stitches, 2);
  EXPECT_EQ(summary.others, 1);

  // A QEP destination keeps the trim on the library's side as the function record that
  // QEP reads as a trim (a record of code 0x14 would be a stitch to the class's reader).
  ASSERT_EQ(convert(dir / "a.DSB", dir / "class.QEP"), 0);
  ASSERT_EQ(Convert(dir / "a.DSB", dir / "library.QEP").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.QEP").substr(522, 5), Bytes({0x00, 3, 0, 0xFB, 0xFF}));
  EXPECT_EQ(test::ReadBytes(dir / "library.QEP").substr(522, 5), Bytes({0x1F, 9, 0, 0, 0}));
}

TEST(DsbDszOtherWriters, DszTrimsAndTheirEndForTheLibraryStitchesForTheClass) {
  test::TempDir dir;
  using test::DstRecord;
  // A stitch of (3, 5), two trims 00 00 9B, a jump of (0, 10), a stitch of (1, 1), the
  // end 00 00 91, and a stitch of (2, 2) that only the class reaches.
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') +
                                      Bytes({0x05, 0x03, 0x80, 0x00, 0x00, 0x9B, 0x00, 0x00,
                                             0x9B, 0x0A, 0x00, 0x81, 0x01, 0x01, 0x80, 0x00,
                                             0x00, 0x91, 0x02, 0x02, 0x80}));
  const std::string before = Bytes({0, 0, 0x83}) + DstRecord(KindStitch, 3, 5);
  const std::string middle = DstRecord(KindJump, 0, 10) + DstRecord(KindStitch, 1, 1);
  const std::string zero = DstRecord(KindStitch, 0, 0);
  const std::string end = Bytes({0, 0, 0xF3});

  Converter convert;
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "class.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.DST").substr(512),
            before + zero + zero + middle + zero + DstRecord(KindStitch, 2, 2) + end);
  ASSERT_EQ(Convert(dir / "a.DSZ", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.DST").substr(512),
            before + DrawnTrim() + DrawnTrim() + middle + end);

  EXPECT_EQ(KindsOf(dir / "a.DSZ", false),
            (std::vector<int16_t>{KindStitch, KindStitch, KindStitch, KindJump, KindStitch,
                                  KindStitch, KindStitch}));
  EXPECT_EQ(KindsOf(dir / "a.DSZ", true),
            (std::vector<int16_t>{KindStitch, KindTrim, KindTrim, KindJump, KindStitch}));
  // 0x90 still ends the design on both sides. Other codes of 15 and above are stitches
  // to the class; to the library, needles that no stitch follows: they only move.
  test::WriteBytes(dir / "b.DSZ", std::string(512, ' ') +
                                      Bytes({0x01, 0x00, 0xB1, 0x00, 0x01, 0x9A, 0x00, 0x00,
                                             0x90, 0x05, 0x05, 0x80}));
  EXPECT_EQ(KindsOf(dir / "b.DSZ", false), (std::vector<int16_t>{KindStitch, KindStitch}));
  EXPECT_EQ(KindsOf(dir / "b.DSZ", true), (std::vector<int16_t>{KindJump, KindJump}));
}

TEST(DsbDszOtherWriters, ThisSystemsDsbAndDszReadAlikeThroughBothFaces) {
  test::TempDir dir;
  // Jumps, stitches and six colour changes, each with a stitch behind: every code this
  // system's writers use.
  std::vector<Rec> design{{KindJump, -40, 30}};
  for (int i = 0; i < 6; ++i) {
    design.push_back({KindStitch, static_cast<int16_t>(i * 7 - 20), static_cast<int16_t>(5 - i)});
    design.push_back({KindColour, 0, 0});
    design.push_back({KindJump, 0, 0});
  }
  design.push_back({KindStitch, 2, 2});
  test::WriteBytes(dir / "a.DST", DstFile(design));
  Converter convert;
  for (const char* name : {"ours.DSB", "ours.DSZ", "ours.U01"}) {
    ASSERT_EQ(convert(dir / "a.DST", dir / name), 0);
    ASSERT_EQ(convert(dir / name, dir / "class.DST"), 0);
    ASSERT_EQ(Convert(dir / name, dir / "library.DST").value(), 0);
    const std::string viaClass = test::ReadBytes(dir / "class.DST");
    EXPECT_EQ(test::ReadBytes(dir / "library.DST"), viaClass) << name;
    // The design itself comes back: the opening jump, then the source's records.
    EXPECT_EQ(viaClass.substr(515), DstFile(design).substr(512)) << name;
    EXPECT_EQ(KindsOf(dir / name, true), KindsOf(dir / name, false)) << name;
  }
}

struct Counts {
  std::map<int16_t, int> kinds;
  DesignSummary summary;
};

Counts CountsOf(const std::string& path) {
  Counts counts;
  EXPECT_EQ(ReadDesign(path, [&counts](const DesignStep& s) {
              counts.kinds[static_cast<int16_t>(s.kind)] += 1;
            }).value(),
            0);
  EXPECT_EQ(SummariseDesign(path, counts.summary).value(), 0);
  return counts;
}

// The function codes of every record of a sample, read byte by byte.
std::map<int, int> CodesOf(const std::string& path, size_t from, int codeByte, int endByte,
                           int endValue) {
  const std::string bytes = test::ReadBytes(path);
  std::map<int, int> codes;
  for (size_t at = from; at + 3 <= bytes.size(); at += 3) {
    if (static_cast<uint8_t>(bytes[at + static_cast<size_t>(endByte)]) == endValue) break;
    codes[static_cast<uint8_t>(bytes[at + static_cast<size_t>(codeByte)]) & 0x1F] += 1;
  }
  return codes;
}

TEST(Samples, StarDsbDszAndU01DecodeAsTheirBytesAndHeadersSay) {
  const std::string samples = test::Samples();
  for (const char* name : {"Star.DSB", "Star.DSZ"}) {
    const std::string path = samples + "/" + name;
    const bool dsb = std::string(name) == "Star.DSB";
    const std::map<int, int> codes =
        dsb ? CodesOf(path, 512, 0, 0, 0xF8) : CodesOf(path, 512, 2, 2, 0x90);
    const Counts counts = CountsOf(path);
    EXPECT_EQ(counts.kinds.at(KindStitch), codes.at(0)) << name;
    EXPECT_EQ(counts.kinds.at(KindJump), codes.at(1)) << name;
    EXPECT_EQ(counts.summary.colourChanges, dsb ? codes.at(10) : codes.at(7)) << name;
    // Their own headers: +X 299, -X 295, +Y 312, -Y 312, one colour change.
    const std::string header = test::ReadBytes(path).substr(0, 94);
    EXPECT_NE(header.find("+X:  299\r-X:  295\r+Y:  312\r-Y:  312\r"), std::string::npos);
    EXPECT_EQ(counts.summary.plusX, 299) << name;
    EXPECT_EQ(counts.summary.minusX, 295) << name;
    EXPECT_EQ(counts.summary.plusY, 312) << name;
    EXPECT_EQ(counts.summary.minusY, 312) << name;
    EXPECT_EQ(counts.summary.colourChanges, 1) << name;
  }
  const std::string u01 = samples + "/Star.u01";
  const std::map<int, int> codes = CodesOf(u01, 256, 0, 0, 0xF8);
  const Counts counts = CountsOf(u01);
  EXPECT_EQ(counts.kinds.at(KindStitch), codes.at(0));
  EXPECT_EQ(counts.kinds.at(KindJump), codes.at(1));
  // Its needle change at the end, which only jumps follow, is no colour change: nothing
  // is sewn in that colour.
  EXPECT_EQ(counts.summary.colourChanges, codes.at(10));
  EXPECT_EQ(codes.at(9), 1);
  EXPECT_EQ(counts.summary.records, 2548);
}

}  // namespace
}  // namespace tavlin
