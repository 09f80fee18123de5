// VST and Emnet: heads and records byte by byte, both readings of the same bytes, the
// size scan of a VST head, designs taken there and back, the routes the library takes
// where the class writes what the reference rules write, and damaged files.
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <random>

#include "conversion/design_reader.h"
#include "platform/files.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::Converter;
using test::DstFile;
using test::Rec;

using test::Step;
using test::StepsOf;

constexpr int kStitch = KindStitch, kJump = KindJump, kColour = KindColour, kTrim = KindTrim,
              kNeedle = KindNeedle, kSeven = KindSeven;

uint32_t Le32(const std::string& bytes, size_t at) {
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) v |= uint32_t{static_cast<uint8_t>(bytes[at + i])} << (8 * i);
  return v;
}

uint16_t Le16(const std::string& bytes, size_t at) {
  return static_cast<uint16_t>(static_cast<uint8_t>(bytes[at]) |
                               static_cast<uint8_t>(bytes[at + 1]) << 8);
}

std::string VstHead() { return std::string(1024, '\0'); }

// A QEP of these records: code and absolute position, Y down.
std::string QepFile(const std::vector<Rec>& records) {
  std::string bytes(512, ' ');
  bytes += Bytes({0x05, 0, 0, 0, 0});
  for (const Rec& r : records) {
    bytes += static_cast<char>(r.kind);
    bytes += IntToBytes2(r.x);
    bytes += IntToBytes2(r.y);
  }
  return bytes + Bytes({0x06, 0, 0, 0, 0});
}

// ---------------------------------------------------------------------------------
// VST

TEST(Vst, HeadAndRecordsAsWrittenByteByByte) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 3, 2},
                                           {KindStitch, -1, -1},
                                           {KindColour, 5, 0},
                                           {KindColour, 0, 0},
                                           {KindJump, 10, -10}}));
  Converter convert;
  // The name is the host's last destination, cut to fifteen characters.
  convert.shared->LastDestFile = "C:\\WORK\\ABCDEFGHIJKLMNOPQ.VST";
  const std::time_t before = std::time(nullptr);
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.VST"), 0);
  const std::time_t after = std::time(nullptr);
  const std::string vst = test::ReadBytes(dir / "a.VST");
  ASSERT_EQ(vst.size(), 1024u + 6 * 3);
  EXPECT_EQ(vst.substr(1024), Bytes({0x03, 0xFE, 0x0A,    // (3, 2): Y down
                                     0xFF, 0x01, 0x0A,    // (-1, -1)
                                     0x05, 0x00, 0x1E,    // a change that moves: the move,
                                     0x00, 0x00, 0x3C,    // then the change
                                     0x00, 0x00, 0x3C,    // a change in place
                                     0x0A, 0x0A, 0x1E}));  // a jump
  EXPECT_EQ(vst.substr(0, 3), "VST");
  EXPECT_EQ(vst.substr(16, 16), std::string("ABCDEFGHIJKLMNO") + '\0');
  EXPECT_EQ(Le32(vst, 32), 17u);  // MaxSumX 17 + |MinSumX| 0
  EXPECT_EQ(Le32(vst, 36), 11u);  // MaxSumY 2 + |MinSumY| 9
  EXPECT_EQ(vst.substr(46, 5), "VELMO");
  EXPECT_EQ(Le16(vst, 78), 3);                   // colours
  EXPECT_EQ(static_cast<int16_t>(Le16(vst, 80)), -8);  // 0 - 17 / 2, without its fraction
  EXPECT_EQ(static_cast<int16_t>(Le16(vst, 82)), -3);  // 2 - 11 / 2
  EXPECT_EQ(Le16(vst, 84), 17);                  // where the needle ends, Y down
  EXPECT_EQ(Le16(vst, 86), 9);
  // The moment of writing, from the system clock.
  bool dated = false;
  for (std::time_t t : {before, after}) {
    std::tm local{};
    localtime_r(&t, &local);
    dated = dated || (Le16(vst, 40) == local.tm_year + 1900 &&
                      static_cast<uint8_t>(vst[42]) == local.tm_mon + 1 &&
                      static_cast<uint8_t>(vst[43]) == local.tm_mday &&
                      static_cast<uint8_t>(vst[44]) == local.tm_hour &&
                      static_cast<uint8_t>(vst[45]) == local.tm_min);
  }
  EXPECT_TRUE(dated);
  // Nothing else before the thread table.
  for (size_t at : {3, 15, 31, 51, 77, 88, 122}) EXPECT_EQ(vst[at], '\0') << at;

  // A shorter name leaves zeros behind it; a design of stitches only has code 0x0A
  // throughout and one colour.
  test::WriteBytes(dir / "b.DST", DstFile({{KindStitch, 1, 1}, {KindStitch, -2, 0}}));
  convert.shared->LastDestFile = "C:\\SHORT.VST";
  ASSERT_EQ(convert(dir / "b.DST", dir / "b.VST"), 0);
  const std::string b = test::ReadBytes(dir / "b.VST");
  EXPECT_EQ(b.substr(16, 16), std::string("SHORT.VST") + std::string(7, '\0'));
  EXPECT_EQ(b.substr(1024), Bytes({0x01, 0xFF, 0x0A, 0xFE, 0x00, 0x0A}));
  EXPECT_EQ(Le16(b, 78), 1);
}

// A DST stands for a trim with five jumps or more: VST gets its trim record ahead of the
// run, except for the run the design starts with, and once a run.
TEST(Vst, ARunOfDstJumpsGetsATrimRecordAheadOfIt) {
  test::TempDir dir;
  std::vector<Rec> records(5, {KindJump, 1, 0});
  records.push_back({KindStitch, 2, 0});
  for (int i = 0; i < 6; ++i) records.push_back({KindJump, 3, 0});
  records.push_back({KindStitch, 2, 0});
  test::WriteBytes(dir / "a.DST", DstFile(records));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.VST"), 0);
  std::string expected;
  for (int i = 0; i < 5; ++i) expected += Bytes({0x01, 0x00, 0x1E});
  expected += Bytes({0x02, 0x00, 0x0A, 0x00, 0x00, 0x14});
  for (int i = 0; i < 6; ++i) expected += Bytes({0x03, 0x00, 0x1E});
  expected += Bytes({0x02, 0x00, 0x0A});
  EXPECT_EQ(test::ReadBytes(dir / "a.VST").substr(1024), expected);
  // The library writes a DST straight to VST: the same bytes.
  ASSERT_EQ(Convert(dir / "a.DST", dir / "library.VST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.VST").substr(1024), expected);

  // Back in a DST the trim is drawn again, six jumps and a jump in place ahead of the
  // run, and the stitches stand where they stood.
  ASSERT_EQ(convert(dir / "a.VST", dir / "back.DST"), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "back.DST"), test::NeedlesOf(dir / "a.DST"));
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(dir / "back.DST", summary).value(), 0);
  EXPECT_EQ(summary.jumps, 1 + 5 + 7 + 6);  // the opening, the runs, the drawn trim
}

// The stop, the trim and 0x47 are read alike up to the trim: the class reads the trim
// and 0x47 as stitches, the library as what they are.
TEST(Vst, EveryFunctionCodeReadOnBothFaces) {
  test::TempDir dir;
  const std::string path = dir / "a.VST";
  test::WriteBytes(path, VstHead() + Bytes({0x03, 0xFE, 0x0A,   // (3, 2)
                                            0xFF, 0x01, 0x0A,   // (-1, -1)
                                            0x05, 0x00, 0x1E,   // a jump
                                            0x00, 0x00, 0x3C,   // a colour change
                                            0x00, 0x00, 0x28,   // a stop: a change too
                                            0x00, 0x00, 0x14,   // a trim
                                            0x02, 0xFE, 0x47,   // 0x47
                                            0x01, 0x01, 0x99,   // no code: a stitch
                                            0x07, 0x07}));      // half a record: dropped
  const std::vector<Step> common = {{kStitch, 3, 2, 1},  {kStitch, -1, -1, 1},
                                    {kJump, 5, 0, 1},    {kColour, 0, 0, 2},
                                    {kColour, 0, 0, 3}};
  std::vector<Step> byClass = common, byLibrary = common;
  byClass.insert(byClass.end(), {{kStitch, 0, 0, 3}, {kStitch, 2, 2, 3}, {kStitch, 1, -1, 3}});
  byLibrary.insert(byLibrary.end(), {{kTrim, 0, 0, 3}, {kSeven, 2, 2, 3}, {kStitch, 1, -1, 3}});
  EXPECT_EQ(StepsOf(path, false), byClass);
  EXPECT_EQ(StepsOf(path, true), byLibrary);

  // Into QEP, the destination that keeps needles, both write the stop as the needle
  // code 0x17 and the trim and 0x47 as QEP's function records ahead of their step; the
  // trim's step, of no movement, is a stitch for the class and nothing for the library.
  const auto qep = [](bool trimStep) {
    std::string bytes = Bytes({0x05, 0, 0, 0, 0,  0x00, 3, 0, 0xFE, 0xFF,  0x00, 2, 0, 0xFF, 0xFF,
                               0x01, 7, 0, 0xFF, 0xFF,  0x02, 7, 0, 0xFF, 0xFF,
                               0x17, 7, 0, 0xFF, 0xFF,  0x1F, 9, 0, 0, 0});
    if (trimStep) bytes += Bytes({0x00, 7, 0, 0xFF, 0xFF});
    return bytes + Bytes({0x1F, 10, 0, 0, 0,  0x00, 9, 0, 0xFD, 0xFF,
                          0x00, 10, 0, 0xFE, 0xFF,  0x06, 0, 0, 0, 0});
  };
  Converter convert;
  ASSERT_EQ(convert(path, dir / "class.QEP"), 0);
  ASSERT_EQ(Convert(path, dir / "library.QEP").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.QEP").substr(512), qep(true));
  EXPECT_EQ(test::ReadBytes(dir / "library.QEP").substr(512), qep(false));

  // Into DST the trim is drawn on both faces: six jumps ahead of its step, a jump.
  ASSERT_EQ(convert(path, dir / "class.DST"), 0);
  const std::vector<std::string> records = test::RecordsOf(test::ReadBytes(dir / "class.DST"), 515);
  ASSERT_GE(records.size(), 12u);
  EXPECT_EQ(records[5], test::DstRecord(KindJump, 0, 3));
  EXPECT_EQ(records[10], test::DstRecord(KindJump, 0, -3));
  EXPECT_EQ(records[11], test::DstRecord(KindJump, 0, 0));
  ASSERT_EQ(Convert(path, dir / "library.DST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.DST").substr(512),
            test::ReadBytes(dir / "class.DST").substr(512));
}

// What other formats carry that VST writes in records of its own: stops, trims, 0x47
// and needles from a QEP or DSZ.
TEST(Vst, StopsTrimsSevensAndNeedlesAsTheWriterLaysThemOut) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.QEP", QepFile({{0x00, 10, 0},
                                           {0x1F, 9, 0},     // a trim
                                           {0x1F, 10, 0},    // 0x47
                                           {0x17, 10, -5},   // a stop that moves (0, 5)
                                           {0x02, 15, -5},   // a change that moves (5, 0)
                                           {0x18, 15, -5}})); // a needle: a change here
  const std::string fromQep = Bytes({0x0A, 0x00, 0x0A,
                                     0x00, 0x00, 0x14, 0x00, 0x00, 0x0A,  // the trim, its step
                                     0x00, 0x00, 0x47,
                                     0x00, 0x00, 0x28, 0x00, 0xFB, 0x0A,  // the stop, its step
                                     0x05, 0x00, 0x1E, 0x00, 0x00, 0x3C,
                                     0x00, 0x00, 0x3C});
  Converter convert;
  ASSERT_EQ(convert(dir / "a.QEP", dir / "class.VST"), 0);
  const std::string byClass = test::ReadBytes(dir / "class.VST");
  EXPECT_EQ(byClass.substr(1024), fromQep);
  EXPECT_EQ(Le16(byClass, 78), 4);
  // The library writes a QEP straight to VST, thread colours and all; the trim's step of
  // no movement is not sewn.
  ASSERT_EQ(Convert(dir / "a.QEP", dir / "library.VST").value(), 0);
  std::string byLibrary = fromQep;
  byLibrary.erase(6, 3);
  EXPECT_EQ(test::ReadBytes(dir / "library.VST").substr(1024), byLibrary);

  // A DSZ names the needle at every change: the class writes a change in place and sews
  // the step; the library goes by way of DST, whose change moves first. Two needle
  // records in a row are one change to the library, which moves with the first.
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') +
                                      Bytes({0x00, 0x04, 0x85,     // needle 0x18, (4, 0)
                                             0x00, 0x00, 0x82,     // needle 0x17: a stop
                                             0x01, 0x00, 0x80,     // a stitch behind them
                                             0x00, 0x00, 0x90}));
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "class2.VST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class2.VST").substr(1024),
            Bytes({0x00, 0x00, 0x3C, 0x04, 0x00, 0x0A, 0x00, 0x00, 0x28, 0x00, 0x00, 0x0A, 0x00,
                   0xFF, 0x0A}));
  ASSERT_EQ(Convert(dir / "a.DSZ", dir / "library2.VST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library2.VST").substr(1024),
            Bytes({0x00, 0x00, 0x1E, 0x04, 0x00, 0x1E, 0x00, 0x00, 0x3C, 0x00, 0xFF, 0x0A}));
  EXPECT_EQ(test::NeedlesOf(dir / "library2.VST"), test::NeedlesOf(dir / "a.DSZ"));
}

DesignSize ScanOf(const std::string& path) {
  PlatformState platform;
  BufferedFile file(OpenFile(platform, path));
  const DesignSize size = ScanDesignSize(file, kCodeVst);
  EXPECT_EQ(file.Position(), 1024) << path;
  return size;
}

// A file shorter than its head is an empty design; a head too short for a field, or
// with a size beyond a SHORT, still gives a size.
TEST(Vst, ShortFilesAndHostileHeads) {
  test::TempDir dir;
  for (size_t size : {0, 3, 34, 40, 79, 1000, 1023, 1025}) {
    const std::string path = dir / "short.VST";
    test::WriteBytes(path, std::string(size, '\x0A'));
    EXPECT_TRUE(StepsOf(path, false).empty()) << size;
    EXPECT_TRUE(StepsOf(path, true).empty()) << size;
    Converter convert;
    ASSERT_EQ(convert(path, dir / "short.DST"), 0) << size;
    EXPECT_TRUE(test::NeedlesOf(dir / "short.DST").empty()) << size;
    const DesignSize scanned = ScanOf(path);
    // 0x0A0A0A0A is beyond a SHORT: it stands as the largest one.
    EXPECT_EQ(scanned.DesignWidth, size >= 36 ? 32767 : 0) << size;
    EXPECT_EQ(scanned.DesignHeight, size >= 40 ? 32767 : 0) << size;
    EXPECT_EQ(scanned.DesignColours, size >= 80 ? 0x0A0A : 0) << size;
    EXPECT_EQ(scanned.PlusX + scanned.MinusX + scanned.PlusY + scanned.MinusY, 0);
  }
  // A head this system wrote gives what it holds; a negative size stands as the least.
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(200, 30, -20, 50));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.VST"), 0);
  std::string vst = test::ReadBytes(dir / "a.VST");
  const DesignSize scanned = ScanOf(dir / "a.VST");
  EXPECT_EQ(scanned.DesignWidth, static_cast<int16_t>(Le32(vst, 32)));
  EXPECT_EQ(scanned.DesignHeight, static_cast<int16_t>(Le32(vst, 36)));
  EXPECT_GT(scanned.DesignWidth, 0);
  EXPECT_EQ(scanned.DesignColours, 5);
  vst.replace(32, 4, IntToBytes4(-100000));
  test::WriteBytes(dir / "b.VST", vst);
  EXPECT_EQ(ScanOf(dir / "b.VST").DesignWidth, -32768);
  // The scan of a format whose head has no size is zeros, and leaves the file alone.
  PlatformState platform;
  BufferedFile dst(OpenFile(platform, dir / "a.DST"));
  dst.Seek(7);
  const DesignSize none = ScanDesignSize(dst, kCodeDst);
  EXPECT_EQ(none.DesignWidth + none.DesignHeight + none.DesignColours, 0);
  EXPECT_EQ(dst.Position(), 7);
}

// A design built in code: stitches, jumps, long moves, runs of jumps that stand for trims,
// colour changes in place and with a move, and a mark.
std::vector<Rec> RichDesign() {
  std::vector<Rec> records = {{KindJump, 100, 60}, {KindJump, 121, -121}};
  for (int colour = 0; colour < 5; ++colour) {
    for (int i = 0; i < 25; ++i) {
      records.push_back({KindStitch, static_cast<int16_t>(i % 2 == 0 ? 40 - colour : -35),
                         static_cast<int16_t>(i % 3 - 1 + colour)});
    }
    if (colour == 2) records.push_back({KindMark, 0, 0});
    // A long move: six jumps, a trim for a DST reader.
    for (int i = 0; i < 6; ++i) {
      records.push_back({KindJump, static_cast<int16_t>(colour % 2 == 0 ? 121 : -121), -60});
    }
    records.push_back({KindStitch, 5, 5});
    records.push_back({KindJump, -110, 70});
    records.push_back({KindColour, static_cast<int16_t>(colour == 1 ? 0 : 12), -7});
  }
  return records;
}

// The needles of a design with its marks sewn as stitches, as every format but DST and
// EXP sews them.
std::vector<test::Needle> MarksAsStitches(std::vector<test::Needle> needles) {
  for (test::Needle& n : needles) {
    if (n.kind == kStitch + 3) n.kind = kStitch;
  }
  return needles;
}

// VST keeps every stitch, jump and change of a DST; it folds a mark into a stitch, and a
// run of jumps gains its trim, which a DST draws as jumps of no net movement.
TEST(Vst, ADesignGoesToVstAndBackWithEveryNeedleKept) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(RichDesign()));
  const std::vector<test::Needle> expected = MarksAsStitches(test::NeedlesOf(dir / "a.DST"));
  DesignSummary source;
  ASSERT_EQ(SummariseDesign(dir / "a.DST", source).value(), 0);
  ASSERT_EQ(source.colourChanges, 5);
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "class.VST"), 0);
  ASSERT_EQ(Convert(dir / "a.DST", dir / "library.VST").value(), 0);
  for (const std::string vst : {"class.VST", "library.VST"}) {
    // The library reads the trims for what they are; the stitches are the DST's.
    std::vector<test::Needle> needles = test::NeedlesOf(dir / vst);
    std::erase_if(needles, [](const test::Needle& n) { return n.kind == kTrim; });
    EXPECT_EQ(needles, expected) << vst;
    const std::string bytes = test::ReadBytes(dir / vst);
    // The head's size and colours are the design's.
    EXPECT_EQ(Le32(bytes, 32), static_cast<uint32_t>(source.plusX + source.minusX)) << vst;
    EXPECT_EQ(Le32(bytes, 36), static_cast<uint32_t>(source.plusY + source.minusY)) << vst;
    EXPECT_EQ(Le16(bytes, 78), 6) << vst;
    // Five runs of six jumps after the first stitches: five trims.
    int trims = 0;
    for (size_t at = 1024; at + 3 <= bytes.size(); at += 3) trims += bytes[at + 2] == 0x14;
    EXPECT_EQ(trims, 5) << vst;
  }
  ASSERT_EQ(convert(dir / "class.VST", dir / "class.DST"), 0);
  ASSERT_EQ(Convert(dir / "library.VST", dir / "library.DST").value(), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "class.DST"), expected);
  EXPECT_EQ(test::NeedlesOf(dir / "library.DST"), expected);

  // VST to VST: the library keeps every record; the class sews each trim as a stitch
  // of no length.
  ASSERT_EQ(convert(dir / "class.VST", dir / "again-class.VST"), 0);
  ASSERT_EQ(Convert(dir / "library.VST", dir / "again-library.VST").value(), 0);
  const std::string records = test::ReadBytes(dir / "library.VST").substr(1024);
  EXPECT_EQ(test::ReadBytes(dir / "again-library.VST").substr(1024), records);
  std::string trimsSewn = records;
  for (size_t at = 0; at + 3 <= trimsSewn.size(); at += 3) {
    if (trimsSewn[at + 2] == 0x14) trimsSewn[at + 2] = 0x0A;
  }
  EXPECT_EQ(test::ReadBytes(dir / "again-class.VST").substr(1024), trimsSewn);
}

// ---------------------------------------------------------------------------------
// Emnet: a file of the format is named with three blanks at its end.

TEST(Emnet, HeadRecordsAndEndAsWrittenByteByByte) {
  test::TempDir dir;
  std::vector<Rec> records = {{KindStitch, 3, -2}, {KindStitch, 0, 0}};
  for (int i = 0; i < 6; ++i) records.push_back({KindColour, 0, 0});
  records.push_back({KindJump, -5, 7});
  test::WriteBytes(dir / "a.DST", DstFile(records));
  std::string expected = Bytes({0x05, 0x06,    // (3, -2): Y first, sign in the lowest bit
                                0x00, 0x00});
  // The colour-change codes cycle from the second.
  for (int code : {0x0A, 0x0B, 0x0C, 0x0D, 0x09, 0x0A}) expected += Bytes({0xFF, code, 0, 0});
  expected += Bytes({0xFF, 0x01, 0x0E, 0x0B});  // a jump (-5, 7)
  expected += Bytes({0xFF, 0x18, 0, 0, 0});     // the end, and three bytes no reader sees
  std::string head;
  for (char line = '1'; line <= '9'; ++line) head += line + std::string(14, ' ');
  head += "Hoop" + std::string(11, ' ') + std::string(18, ' ');
  head += " 10";  // nine records and the cycle that met the end
  head += std::string(357 - head.size(), ' ') + '\x01';

  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "class   "), 0);
  ASSERT_EQ(Convert(dir / "a.DST", dir / "library   ").value(), 0);
  for (const std::string name : {"class   ", "library   "}) {
    const std::string bytes = test::ReadBytes(dir / name);
    ASSERT_EQ(bytes.size(), 358u + expected.size()) << name;
    EXPECT_EQ(bytes.substr(0, 358), head) << name;
    EXPECT_EQ(bytes.substr(358), expected) << name;
  }
  // Needle codes: 0x17 and 0x18 of a DSZ become 0x08 and 0x09 for the class.
  test::WriteBytes(dir / "a.DSZ", std::string(512, ' ') +
                                      Bytes({0x00, 0x00, 0x82, 0x01, 0x00, 0x85, 0x00, 0x00, 0x90}));
  ASSERT_EQ(convert(dir / "a.DSZ", dir / "needles   "), 0);
  EXPECT_EQ(test::ReadBytes(dir / "needles   ").substr(358, 8),
            Bytes({0xFF, 0x08, 0x00, 0x00, 0xFF, 0x09, 0x02, 0x00}));
}

// The head is never read; control pairs wait for steps. A needle code is a change the
// library counts, as it counts DSZ's; the class leaves the count.
TEST(Emnet, ControlPairsAndStepsReadOnBothFaces) {
  test::TempDir dir;
  const std::string path = dir / "a   ";
  test::WriteBytes(path, std::string(358, 'x') +
                             Bytes({0xFF, 0x01, 0xFF, 0x09, 0x05, 0x06,  // a jump (3, -2) now,
                                    0x04, 0x04,                          // a change after it
                                    0xFF, 0x08, 0x00, 0x00,              // a needle
                                    0xFF, 0x07, 0x03, 0x02,              // no such code; (1, -1)
                                    0x00, 0xFF,                          // (-127, 0)
                                    0xFF, 0x18, 0x09, 0x09}));           // the end
  EXPECT_EQ(StepsOf(path, false),
            (std::vector<Step>{{kJump, 3, -2, 1}, {kColour, 2, 2, 2}, {kNeedle, 0, 0, 2},
                               {kStitch, 1, -1, 2}, {kStitch, -127, 0, 2}}));
  EXPECT_EQ(StepsOf(path, true),
            (std::vector<Step>{{kJump, 3, -2, 1}, {kColour, 2, 2, 2}, {kNeedle, 0, 0, 3},
                               {kStitch, 1, -1, 3}, {kStitch, -127, 0, 3}}));
  // Without an end record the design ends with the file; half a pair is dropped.
  test::WriteBytes(path, std::string(358, ' ') + Bytes({0x02, 0x02, 0xFF, 0x01, 0x04}));
  EXPECT_EQ(StepsOf(path, true), (std::vector<Step>{{kStitch, 1, 1, 1}}));
  test::WriteBytes(path, std::string(300, ' '));
  EXPECT_TRUE(StepsOf(path, false).empty());
}

// Emnet keeps stitches, jumps and changes; a mark becomes a stitch.
TEST(Emnet, ADesignGoesToEmnetAndBackWithEveryNeedleKept) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(RichDesign()));
  const std::vector<test::Needle> expected = MarksAsStitches(test::NeedlesOf(dir / "a.DST", true));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "class   "), 0);
  ASSERT_EQ(Convert(dir / "a.DST", dir / "library   ").value(), 0);
  for (const std::string name : {"class   ", "library   "}) {
    EXPECT_EQ(test::NeedlesOf(dir / name, true), expected) << name;
    Converter back;
    ASSERT_EQ(back(dir / name, dir / (name + "class.DST")), 0);
    ASSERT_EQ(Convert(dir / name, dir / (name + "library.DST")).value(), 0);
    // From an Emnet no opening record is written.
    EXPECT_EQ(test::NeedlesOf(dir / (name + "class.DST"), true), expected) << name;
    EXPECT_EQ(test::NeedlesOf(dir / (name + "library.DST"), true), expected) << name;
  }
}

// An Emnet source writes no destination head: the class writes a VST without its own,
// as the reference rules say; the library goes by way of DST.
TEST(Emnet, TheLibraryRoutesWhatTheClassWritesWithoutAHead) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(401, 20, 20, 100));
  ASSERT_EQ(Convert(dir / "a.DST", dir / "a   ").value(), 0);
  const std::vector<test::Needle> expected = test::NeedlesOf(dir / "a   ");
  ASSERT_EQ(expected.size(), 405u);  // 401 stitches, 4 changes

  Converter convert;
  ASSERT_EQ(convert(dir / "a   ", dir / "class.VST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "class.VST").substr(0, 3), "   ");
  EXPECT_NE(test::NeedlesOf(dir / "class.VST"), expected);
  ASSERT_EQ(Convert(dir / "a   ", dir / "library.VST").value(), 0);
  EXPECT_EQ(test::ReadBytes(dir / "library.VST").substr(0, 3), "VST");
  EXPECT_EQ(test::NeedlesOf(dir / "library.VST"), expected);

  // Into the formats it is not read into, by way of DST, the first of those it is.
  for (const char* name : {"b.EXP", "b.U01", "b   "}) {
    EXPECT_EQ(ConversionRoute(dir / "a   ", dir / name).at(1), "DST") << name;
    ASSERT_EQ(Convert(dir / "a   ", dir / name).value(), 0) << name;
    EXPECT_EQ(test::NeedlesOf(dir / name), expected) << name;
  }
  // Into Emnet the library writes from DST, and from the rest by way of it.
  ASSERT_EQ(Convert(dir / "library.VST", dir / "c   ").value(), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "c   "), expected);
}

// Random, cut and scrambled files end with a result on both faces, and a cut file keeps
// the steps ahead of the cut.
TEST(VstAndEmnet, DamagedFilesEndCleanly) {
  test::TempDir dir;
  std::mt19937 random(11);
  test::WriteBytes(dir / "a.DST", DstFile(RichDesign()));
  for (const std::string name : {"whole.VST", "whole   "}) {
    ASSERT_EQ(Convert(dir / "a.DST", dir / name).value(), 0);
    const std::string bytes = test::ReadBytes(dir / name);
    const std::string cut = dir / ("cut" + name.substr(5));
    const size_t wholeSteps = StepsOf(dir / name, true).size();
    size_t previous = 0;
    for (size_t at = 0; at <= bytes.size(); at += 1 + at / 16) {
      test::WriteBytes(cut, bytes.substr(0, at));
      const size_t steps = StepsOf(cut, true).size();
      EXPECT_GE(steps, previous) << name << " cut at " << at;
      EXPECT_LE(steps, wholeSteps) << name << " cut at " << at;
      previous = steps;
      Converter convert;
      EXPECT_EQ(convert(cut, dir / "cut.DST"), 0) << name << " cut at " << at;
    }
    for (int round = 0; round < 20; ++round) {
      std::string scrambled = round % 4 == 0 ? test::RandomBytes(random, random() % 4000) : bytes;
      for (int n = 0; n < 12 && !scrambled.empty(); ++n) {
        scrambled[random() % scrambled.size()] = static_cast<char>(random() & 0xFF);
      }
      const std::string path = dir / ("scrambled" + name.substr(5));
      test::WriteBytes(path, scrambled);
      for (const char* dest : {"out.DST", "out.QEP", "out.VST", "out   "}) {
        test::WriteBytes(dir / dest, "before");
        if (Convert(path, dir / dest).value() != 0) {
          EXPECT_EQ(test::ReadBytes(dir / dest), "before");
        }
        Converter convert;
        convert(path, dir / ("class" + std::string(dest)));
      }
      DesignSummary summary;
      EXPECT_EQ(SummariseDesign(path, summary).value(), 0);
      EXPECT_LE(summary.records, static_cast<int64_t>(scrambled.size() / 2));
    }
  }
}

}  // namespace
}  // namespace tavlin
