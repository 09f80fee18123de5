// The threads each format stores, and the RGB table of a QEP or VST destination filled
// from them at the end of a run.
#include <gtest/gtest.h>

#include <random>

#include "conversion/design_reader.h"
#include "conversion/thread_colours.h"
#include "platform/files.h"
#include "tavlin/convert.h"
#include "tables/palettes.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

ThreadColour Rgb(int r, int g, int b, int key = -1) {
  return {static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(b), key};
}

// A file of `size` bytes of `fill` with the given bytes laid in at their offsets.
std::string Laid(size_t size, std::initializer_list<std::pair<size_t, std::string>> parts,
                 char fill = '\0') {
  std::string bytes(size, fill);
  for (const auto& [at, part] : parts) bytes.replace(at, part.size(), part);
  return bytes;
}

// n distinct triples, the i-th (i, 2i, 255 - i).
std::string Triples(int n) {
  std::string bytes;
  for (int i = 0; i < n; ++i) bytes += Bytes({i & 0xFF, (2 * i) & 0xFF, (255 - i) & 0xFF});
  return bytes;
}

// A QEP head with a thread table of `count` threads (only as many as the head holds are
// laid) and one stitch behind it.
std::string QepWithTable(int count, const std::string& table) {
  std::string qep = Laid(512, {{103, IntToBytes2(count)}, {113, table.substr(0, 399)}}, ' ');
  qep += Bytes({5, 0, 0, 0, 0, 0, 10, 0, 10, 0, 6, 0, 0, 0, 0});
  return qep;
}

class ThreadFiles : public ::testing::Test {
 protected:
  std::vector<ThreadColour> Read(const std::string& name, const std::string& bytes,
                                 int16_t colourIndex = 1,
                                 const std::array<int16_t, 129>* colourList = nullptr) {
    test::WriteBytes(dir / name, bytes);
    BufferedFile file(OpenFile(platform, dir / name));
    return ReadThreadColours(platform, file, dir / name, FindFormatCode(name), colourIndex,
                             colourList);
  }

  test::TempDir dir;
  PlatformState platform;
};

TEST_F(ThreadFiles, EachFormatGivesTheThreadsWhereItKeepsThem) {
  // QEP and VST: RGB triples, the count at 103 or 78.
  EXPECT_EQ(Read("a.QEP", QepWithTable(2, Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9}))),
            (std::vector{Rgb(1, 2, 3), Rgb(4, 5, 6)}));
  EXPECT_EQ(Read("a.VST", Laid(1024, {{78, Bytes({1, 0})}, {123, Bytes({9, 8, 7})}})),
            (std::vector{Rgb(9, 8, 7)}));
  // XXX: count at 39; the field at 252 plus 6 is where 0x00 r g b records start, as
  // many as the greater of the count and the colours of the stream.
  const std::string xxx = Laid(320, {{39, Bytes({2})},
                                     {252, IntToBytes4(294)},
                                     {300, Bytes({0, 10, 11, 12, 0, 20, 21, 22, 0, 30, 31, 32})}});
  EXPECT_EQ(Read("a.XXX", xxx, 1), (std::vector{Rgb(10, 11, 12), Rgb(20, 21, 22)}));
  EXPECT_EQ(Read("b.XXX", xxx, 3).size(), 3u);
  EXPECT_EQ(Read("b.XXX", xxx, 3)[2], Rgb(30, 31, 32));
  // JEF: count at 24, four-byte records from 116 whose first byte is a JEF key; SEW:
  // count at 0, two-byte records from 2. A key out of 1 to 78 is taken as 1 (black).
  EXPECT_EQ(Read("a.JEF", Laid(132, {{24, Bytes({3})},
                                     {116, Bytes({10, 0, 0, 0, 79, 0, 0, 0, 0, 0, 0, 0})}})),
            (std::vector{Rgb(255, 0, 0, 10), Rgb(0, 0, 0, 1), Rgb(0, 0, 0, 1)}));
  EXPECT_EQ(Read("a.SEW", Laid(60, {{0, Bytes({2, 0, 2, 0, 78, 0})}})),
            (std::vector{Rgb(240, 240, 240, 2), Rgb(227, 190, 129, 78)}));
  // PES: the PEC block at the offset stored at 8; its byte 48 is the count less 1, and
  // the PES keys follow. 0 and 95 are out of range: black, key 20.
  EXPECT_EQ(Read("a.PES", Laid(200, {{8, IntToBytes4(100)}, {148, Bytes({2, 0, 95, 94})}})),
            (std::vector{Rgb(0, 0, 0, 20), Rgb(0, 0, 0, 20), Rgb(255, 170, 255, 94)}));
  // PCM: count at 3, two-byte records behind it whose last byte is a PCM key; 16 and
  // above is 0.
  EXPECT_EQ(Read("a.PCM", Laid(47, {{3, Bytes({3, 0, 8, 0, 16, 0, 15})}})),
            (std::vector{Rgb(255, 0, 0, 8), Rgb(0, 0, 0, 0), Rgb(255, 255, 255, 15)}));
  // PCS: a table of 0x00 r g b from 3, and a thread for each colour of the stream: the
  // entry it picked. A pick beyond the table gives none.
  const std::string pcs = Laid(80, {{2, Bytes({3, 0, 1, 1, 1, 0, 2, 2, 2, 0, 3, 3, 3})}});
  std::array<int16_t, 129> picks{};
  picks[1] = 2;
  picks[2] = 0;
  picks[3] = 7;
  picks[4] = 2;
  EXPECT_EQ(Read("a.PCS", pcs, 4, &picks),
            (std::vector{Rgb(3, 3, 3), Rgb(1, 1, 1), Rgb(3, 3, 3)}));
  // HUS: count at 8, two-byte records from 41 whose last byte is the key less 1; a key
  // of 30 and above is taken as 21.
  EXPECT_EQ(Read("a.HUS", Laid(60, {{8, Bytes({3})}, {41, Bytes({0, 0, 0, 0x1E, 0, 0x1C})}})),
            (std::vector{Rgb(0, 0, 0, 1), Rgb(255, 255, 165, 21), Rgb(231, 97, 33, 29)}));
  // Formats that store no thread colours.
  EXPECT_TRUE(Read("a.DST", test::ZigzagDst(10, 0, 0, 3), 4).empty());
}

TEST_F(ThreadFiles, PcsPicksAreReadFromItsColourRecordsWithoutAList) {
  // 16 table entries; expected stitches 2; first colour record picks 8, a stitch, a
  // colour record picking 15, a stitch, the end.
  std::string pcs = Laid(67, {{0, Bytes({0x32, 3, 16})}});
  for (int i = 0; i < 16; ++i) pcs.replace(3 + 4 * i, 4, Bytes({0, i, i, i}));
  pcs += Bytes({0}) + IntToBytes2(2);
  pcs += Bytes({8, 0, 0, 0, 0, 0, 0, 0, 3});
  pcs += Bytes({0, 0x68, 1, 0, 0, 0x59, 1, 0, 0});
  pcs += Bytes({15, 0, 0, 0, 0, 0, 0, 0, 3});
  pcs += Bytes({0, 0x68, 1, 0, 0, 0x59, 1, 0, 0});
  pcs += std::string(9, '\0');
  EXPECT_EQ(Read("a.PCS", pcs, 2), (std::vector{Rgb(8, 8, 8), Rgb(15, 15, 15)}));
}

TEST_F(ThreadFiles, AnEmdsColoursAreInTheColFileBesideIt) {
  test::WriteBytes(dir / "a.COL", "2\r\n1,10,20,30\r\n2,40,50,60\r\n");
  EXPECT_EQ(Read("a.EMD", std::string(52, '\0')), (std::vector{Rgb(10, 20, 30), Rgb(40, 50, 60)}));
  // A host that tells cases apart may hold it as "col"; blanks and line ends separate.
  test::WriteBytes(dir / "b.col", "1 \n 1 , 7 , 8 , 9");
  EXPECT_EQ(Read("b.emd", std::string(52, '\0')), (std::vector{Rgb(7, 8, 9)}));
  // A file that ends early, or holds no number of a byte where a colour should be,
  // gives nothing; so does a missing one, which is not made.
  test::WriteBytes(dir / "c.COL", "2\r\n1,10,20,30\r\n2,40,50\r\n");
  EXPECT_TRUE(Read("c.EMD", std::string(52, '\0')).empty());
  test::WriteBytes(dir / "d.COL", "1\r\n1,10,256,30\r\n");
  EXPECT_TRUE(Read("d.EMD", std::string(52, '\0')).empty());
  test::WriteBytes(dir / "e.COL", "x\r\n");
  EXPECT_TRUE(Read("e.EMD", std::string(52, '\0')).empty());
  EXPECT_TRUE(Read("f.EMD", std::string(52, '\0')).empty());
  EXPECT_FALSE(FileExists(platform, dir / "f.COL"));
}

TEST_F(ThreadFiles, CountsBeyondTheFileGiveTheWholeRecordsItHolds) {
  // JEF says 200 threads and holds one and a half.
  EXPECT_EQ(Read("a.JEF", Laid(122, {{24, Bytes({200})}, {116, Bytes({5, 0, 0, 0, 6, 0})}})),
            (std::vector{Rgb(47, 89, 51, 5)}));
  // A QEP count of 200 gives at most 128; a negative one none.
  EXPECT_EQ(Read("a.QEP", QepWithTable(200, Triples(200))).size(), 128u);
  EXPECT_TRUE(Read("b.QEP", QepWithTable(-3, Triples(3))).empty());
  // Offsets outside the file, or a file cut before its count.
  EXPECT_TRUE(Read("a.PES", Laid(60, {{8, IntToBytes4(0x7FFFFF00)}})).empty());
  EXPECT_TRUE(Read("b.PES", Laid(60, {{8, IntToBytes4(-40)}})).empty());
  EXPECT_EQ(Read("a.XXX", Laid(300, {{39, Bytes({5})}, {252, IntToBytes4(-6)}})).size(), 5u);
  EXPECT_TRUE(Read("b.XXX", Laid(300, {{39, Bytes({5})}, {252, IntToBytes4(-7)}})).empty());
  EXPECT_TRUE(Read("c.XXX", std::string(200, '\0')).empty());
  EXPECT_TRUE(Read("b.SEW", "").empty());
  EXPECT_TRUE(Read("b.HUS", std::string(8, '\x05')).empty());
  // Scrambled files of every format give no more threads than a count byte allows.
  std::mt19937 random(11);
  for (const char* end : {"QEP", "VST", "XXX", "EMD", "JEF", "SEW", "PES", "PCM", "PCS", "HUS"}) {
    for (int round = 0; round < 15; ++round) {
      const std::string name = "r." + std::string(end);
      const size_t size = random() % 700;
      const auto colours = static_cast<int16_t>(random() % 140);
      EXPECT_LE(Read(name, test::RandomBytes(random, size), colours).size(), 256u) << end;
    }
  }
}

// A run set up by hand, for the sources and destinations this build doesn't convert
// yet: the destination holds a head of 'H' bytes when the writer runs.
class DirectRun {
 public:
  DirectRun(const test::TempDir& dir, const std::string& sourceName, const std::string& sourceBytes,
            const std::string& destName, size_t destHead)
      : dest_(dir / destName) {
    test::WriteBytes(dir / sourceName, sourceBytes);
    test::WriteBytes(dest_, std::string(destHead, 'H'));
    run.OriginalSourceType = FindFormatCode(sourceName);
    run.OriginalDestType = FindFormatCode(destName);
    run.SetTypes(run.OriginalSourceType, run.OriginalDestType);
    run.ResolvedSource = dir / sourceName;
    run.ResolvedDest = dest_;
    run.source = BufferedFile(OpenFile(platform, run.ResolvedSource));
    run.dest = BufferedFile(OpenFile(platform, run.ResolvedDest));
  }

  // Writes the table; the destination's bytes afterwards.
  std::string Write() {
    WriteThreadColours(run);
    run.dest.Close();
    run.source.Close();
    return test::ReadBytes(dest_);
  }

  PlatformState platform;
  ConversionSettings settings{platform};
  ConversionRun run{settings};

 private:
  std::string dest_;
};

TEST(ThreadTable, PaletteKeysBecomeTriplesAtTheDestinationsTable) {
  test::TempDir dir;
  // A PES colour byte of 0 is black, key 20; the triples stand at 113 of a QEP.
  DirectRun pes(dir, "a.PES", Laid(120, {{8, IntToBytes4(40)}, {88, Bytes({1, 0, 5})}}), "a.QEP", 512);
  std::string qep = pes.Write();
  EXPECT_EQ(qep.substr(110, 12), "HHH" + Bytes({0, 0, 0, 237, 23, 31}) + "HHH");
  // A JEF byte of 79 is key 1, black in the JEF palette; at 123 of a VST.
  DirectRun jef(dir, "a.JEF", Laid(124, {{24, Bytes({2})}, {116, Bytes({79, 0, 0, 0, 13, 0, 0, 0})}}),
                "a.VST", 1024);
  const std::string vst = jef.Write();
  EXPECT_EQ(vst.substr(122, 8), "H" + Bytes({0, 0, 0, 228, 195, 93}) + "H");
  EXPECT_EQ(vst.size(), 1024u);
  // An EMD without its COL file: the table as the head left it.
  DirectRun emd(dir, "a.EMD", std::string(52, '\0'), "b.QEP", 512);
  emd.settings.LastDosReadName = dir / "a.EMD";
  EXPECT_EQ(emd.Write(), std::string(512, 'H'));
  // A destination without a thread table is not touched.
  DirectRun dst(dir, "b.PES", Laid(120, {{8, IntToBytes4(40)}, {88, Bytes({1, 0, 5})}}), "c.DST", 600);
  EXPECT_EQ(dst.Write(), std::string(600, 'H'));
}

TEST(ThreadTable, CountsAreCappedByTheDestinationAndTriplesAt128) {
  test::TempDir dir;
  // A VST source of 200 threads into a VST: 128, although a VST takes up to 300.
  std::string source = Laid(1024, {{78, IntToBytes2(200)}, {123, Triples(200)}});
  DirectRun vstToVst(dir, "a.VST", source, "b.VST", 1024);
  std::string vst = vstToVst.Write();
  EXPECT_EQ(vst.substr(123, 384), Triples(128));
  EXPECT_EQ(vst.substr(123 + 384), std::string(1024 - 123 - 384, 'H'));
  // An XXX of 255 threads: a VST takes 255 of them, a QEP 128.
  std::string xxx = Laid(300, {{39, Bytes({255})}, {252, IntToBytes4(294)}});
  for (int i = 0; i < 255; ++i) xxx += Bytes({0}) + Triples(255).substr(3 * i, 3);
  DirectRun xxxToVst(dir, "a.XXX", xxx, "c.VST", 1024);
  EXPECT_EQ(xxxToVst.Write().substr(123, 3 * 256), Triples(255) + "HHH");
  DirectRun xxxToQep(dir, "b.XXX", xxx, "c.QEP", 512);
  EXPECT_EQ(xxxToQep.Write().substr(113, 3 * 129), Triples(128) + "HHH");
  // A PCS destination-side list of the stream's colours picks from its table.
  std::string pcs = Laid(79, {{2, Bytes({2, 0, 9, 9, 9, 0, 4, 4, 4})}});
  DirectRun pcsToQep(dir, "a.PCS", pcs, "d.QEP", 512);
  pcsToQep.run.ColourIndex = 3;
  pcsToQep.run.ColourList[1] = 1;
  pcsToQep.run.ColourList[2] = 0;
  pcsToQep.run.ColourList[3] = 1;
  EXPECT_EQ(pcsToQep.Write().substr(113, 10), Bytes({4, 4, 4, 9, 9, 9, 4, 4, 4}) + "H");
}

TEST(ThreadTable, AnXxxGivesARecordForEachColourPastTheTableForTheClassOnly) {
  test::TempDir dir;
  // Two threads stored, 140 colours in the stream: the class writes 140 records into
  // a QEP, over the stitch data behind its table; the library stops at 128.
  std::string xxx = Laid(300, {{39, Bytes({2})}, {252, IntToBytes4(294)}});
  for (int i = 0; i < 140; ++i) xxx += Bytes({0, 7, 7, 7});
  for (bool library : {false, true}) {
    DirectRun run(dir, "a.XXX", xxx, library ? "lib.QEP" : "class.QEP", 600);
    run.settings.AsOtherProgramsDo = library;
    run.run.ColourIndex = 140;
    const std::string qep = run.Write();
    const size_t threads = library ? 128 : 140;
    EXPECT_EQ(qep.substr(113, 3 * threads), std::string(3 * threads, '\x07')) << library;
    EXPECT_EQ(qep[113 + 3 * threads], 'H') << library;
  }
}

TEST(ThreadTable, AnEmdsColFileIsBesideTheLastDosReadForTheClass) {
  test::TempDir dir;
  test::WriteBytes(dir / "disc.COL", "1\r\n1,1,2,3\r\n");
  test::WriteBytes(dir / "own.COL", "1\r\n1,4,5,6\r\n");
  struct Case {
    bool library;
    std::string lastRead;
    std::string table;  // the first three bytes at 113
  };
  const std::vector<Case> cases = {
      {false, dir / "disc.EMD", Bytes({1, 2, 3})},
      {true, dir / "disc.EMD", Bytes({1, 2, 3})},
      // No DOS read: the class knows no place for it; the library looks beside the source.
      {false, "", "HHH"},
      {true, "", Bytes({4, 5, 6})},
  };
  for (const Case& c : cases) {
    DirectRun run(dir, "own.EMD", std::string(52, '\0'), "a.QEP", 512);
    run.settings.AsOtherProgramsDo = c.library;
    run.settings.LastDosReadName = c.lastRead;
    EXPECT_EQ(run.Write().substr(113, 3), c.table) << c.library << " " << c.lastRead;
  }
}

TEST(ThreadTable, ASourceWithoutThreadsGetsTheFirstPesColours) {
  test::TempDir dir;
  test::Converter convert;
  // Three colour changes: four colours, the first four PES entries.
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(11, 0, 0, 3));
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.QEP"), 0);
  const std::string qep = test::ReadBytes(dir / "a.QEP");
  EXPECT_EQ(qep.substr(113, 13),
            Bytes({14, 31, 124, 10, 85, 163, 0, 135, 119, 75, 107, 175}) + " ");
  // 94 colours are the whole palette, the last (255, 170, 255); a 95th has no key and
  // the run fails with 5, leaving no destination.
  std::vector<test::Rec> records;
  for (int i = 0; i < 93; ++i) records.push_back({KindColour, 1, 1});
  test::WriteBytes(dir / "b.DST", test::DstFile(records));
  ASSERT_EQ(convert(dir / "b.DST", dir / "b.QEP"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.QEP").substr(113 + 3 * 93, 4), Bytes({255, 170, 255}) + " ");
  records.push_back({KindColour, 1, 1});
  test::WriteBytes(dir / "c.DST", test::DstFile(records));
  EXPECT_EQ(convert(dir / "c.DST", dir / "c.QEP"), 5);
  EXPECT_FALSE(std::filesystem::exists(dir / "c.QEP"));
  // The library starts the palette again.
  ASSERT_FALSE(Convert(dir / "c.DST", dir / "c.QEP"));
  EXPECT_EQ(test::ReadBytes(dir / "c.QEP").substr(113 + 3 * 93, 7),
            Bytes({255, 170, 255, 14, 31, 124}) + " ");
  // Other destinations get nothing of it.
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.DSB"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "a.DSB").substr(113, 12), std::string(12, ' '));
}

TEST(ThreadTable, QepToQepCopiesAt128Threads) {
  test::TempDir dir;
  test::Converter convert;
  test::WriteBytes(dir / "a.QEP", QepWithTable(200, Triples(133)));
  ASSERT_EQ(convert(dir / "a.QEP", dir / "b.QEP"), 0);
  const std::string qep = test::ReadBytes(dir / "b.QEP");
  EXPECT_EQ(qep.substr(113, 384), Triples(128));
  EXPECT_EQ(qep.substr(497, 2), "  ");
}

TEST(ThreadTable, AHusFileOfTheLastDosReadStandsInForTheSource) {
  test::TempDir dir;
  test::Converter convert;
  // The record 0x00 0x1E is out of range: key 21.
  test::WriteBytes(dir / "a.HUS", Laid(50, {{8, Bytes({2})}, {41, Bytes({0, 0x1E, 0, 3})}}));
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(12, 0, 0, 3));
  convert.shared->HusSourceName = dir / "a.HUS";
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.QEP"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "a.QEP").substr(113, 7),
            Bytes({255, 255, 165, 255, 0, 0}) + " ");
  // Blanks alone name no file: the source's own rule holds.
  convert.shared->HusSourceName = "   ";
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.QEP"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.QEP").substr(113, 3), Bytes({14, 31, 124}));
}

// The files of other programs, as `info` shows them: thread counts and colours checked
// by hand against their bytes.
TEST(ThreadTable, TheSamplesThreads) {
  const std::string samples = test::Samples();
  PlatformState platform;
  struct Case {
    const char* name;
    int16_t colours;  // what the stream gives
    size_t threads;
    ThreadColour first, last;
  };
  const std::vector<Case> cases = {
      {"Star.pes", 2, 2, Rgb(237, 23, 31, 5), Rgb(240, 240, 240, 29)},
      {"Star.JEF", 2, 2, Rgb(255, 90, 39, 33), Rgb(255, 255, 220, 51)},
      {"Star.SEW", 2, 2, Rgb(255, 90, 39, 33), Rgb(255, 255, 220, 51)},
      // The head's table of 16 keys, 0 to 15, in the order of the palette.
      {"Star.PCM", 2, 16, Rgb(0, 0, 0, 0), Rgb(255, 255, 255, 15)},
      // Its colour records pick entries 8 and 15 of its table.
      {"Star.PCS", 2, 2, Rgb(255, 0, 0), Rgb(255, 255, 255)},
      {"Star.XXX", 2, 2, Rgb(227, 49, 31), Rgb(247, 243, 247)},
      {"Star.HUS", 2, 2, Rgb(255, 0, 0, 4), Rgb(255, 255, 255, 13)},
      {"shamrockin.emd", 1, 1, Rgb(0, 255, 0), Rgb(0, 255, 0)},
      {"shamrockin.pes", 1, 1, Rgb(112, 188, 31, 14), Rgb(112, 188, 31, 14)},
      {"shamrockin.jef", 1, 1, Rgb(127, 194, 28, 22), Rgb(127, 194, 28, 22)},
      {"shamrockin.pcs", 1, 1, Rgb(0, 255, 0), Rgb(0, 255, 0)},
      {"shamrockin.xxx", 1, 1, Rgb(0, 255, 0), Rgb(0, 255, 0)},
      {"Star.DST", 2, 0, {}, {}},
  };
  for (const Case& c : cases) {
    const SourceFacts facts = ReadSourceFacts(platform, ResolveStitchFile(samples + "/" + c.name), c.colours);
    ASSERT_EQ(facts.threads.size(), c.threads) << c.name;
    if (c.threads == 0) continue;
    EXPECT_EQ(facts.threads.front(), c.first) << c.name;
    EXPECT_EQ(facts.threads.back(), c.last) << c.name;
  }
}

}  // namespace
}  // namespace tavlin
