// PES and PEC sources: the stitch blocks at their two offsets, the PEC records and the
// start in the stitch head, read by the class and by the library side by side; the turn
// across the hoop; other programs' samples against their DST; a PEC file on its own;
// offsets and counts that lead outside the file.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>

#include "conversion/design_reader.h"
#include "discs/dos/dos_disc.h"
#include "platform/files.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"
#include "pes_files.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using namespace test::pes;

// --- Reading ------------------------------------------------------------------------

using Read = test::Step;
using test::StepsOf;

// A run of the source into a destination of `destType`, opened; `blocks` is the flag a
// PES destination raises for its first two passes.
struct OpenedRun {
  explicit OpenedRun(const std::string& path, int16_t destType = kCodeDst, bool blocks = false,
                     bool otherWriters = false)
      : settings(platform), run(settings) {
    settings.PESAbosulteFlag = blocks;
    settings.AsOtherProgramsDo = otherWriters;
    run.SetTypes(kCodePes, destType);
    run.source = BufferedFile(OpenFile(platform, path));
    OpenPesSource(run);
  }
  // Every step to the end, each cycle starting from a stitch of no movement.
  std::vector<Read> Steps() {
    std::vector<Read> steps;
    for (int guard = 0; guard < 100000; ++guard) {
      run.step = StitchStep{};
      if (DecodePesRecord(run) == Decoded::End) return steps;
      steps.push_back({run.step.StepKind, run.step.StepX, run.step.StepY, run.ColourIndex});
    }
    ADD_FAILURE() << "the reading doesn't end";
    return steps;
  }
  PlatformState platform;
  ConversionSettings settings;
  ConversionRun run;
};

struct Size {
  double width = 0, height = 0;
};

Size SizeOf(const std::string& path) {
  DesignSummary s;
  EXPECT_EQ(SummariseDesign(path, s).value(), 0) << path;
  return {s.plusX + s.minusX, s.plusY + s.minusY};
}

// Stitches only, where they fall and in which colour.
std::vector<test::Needle> StitchesOf(const std::string& path) {
  std::vector<test::Needle> stitches = test::NeedlesOf(path);
  std::erase_if(stitches, [](const test::Needle& n) { return n.kind != KindStitch; });
  return stitches;
}

std::vector<test::Needle> Moved(std::vector<test::Needle> needles, long dx, long dy) {
  for (test::Needle& n : needles) {
    n.x += dx;
    n.y += dy;
  }
  return needles;
}

// --- The stitch blocks --------------------------------------------------------------

// Three stitches, a jump block, then a block of another colour; the colour log ends it.
const std::vector<Block> kBlocks = {{0, 5, {{10, 20}, {15, 25}, {-5, 30}}},
                                    {1, 5, {{-5, 30}, {100, -40}}},
                                    {0, 7, {{100, -40}, {110, -30}}}};
const std::vector<Read> kBlockSteps = {{KindStitch, 10, -20, 1}, {KindStitch, 5, -5, 1},
                                       {KindStitch, -20, -5, 1}, {KindJump, 0, 0, 1},
                                       {KindJump, 105, 70, 1},   {KindColour, 0, 0, 2},
                                       {KindStitch, 10, -10, 2}};

TEST(PesBlocks, BothVersionsAndAnyOtherReadTheirBlocksIntoPes) {
  test::TempDir dir;
  const std::string pec = PecBlock(Bytes({0x01, 0x02}));
  test::WriteBytes(dir / "a.PES", PesFile("#PES0001", "", kBlocks, pec));
  test::WriteBytes(dir / "b.PES", PesFile("#PES0040", kTallHoop, kBlocks, pec));
  // Another version's head is taken for the long one: its blocks are read at 137.
  test::WriteBytes(dir / "c.PES", PesFile("#PES0070", kTallHoop, kBlocks, pec));
  EXPECT_EQ(OpenedRun(dir / "a.PES", kCodePes, true).Steps(), kBlockSteps);
  EXPECT_EQ(OpenedRun(dir / "b.PES", kCodePes, true).Steps(), kBlockSteps);
  EXPECT_EQ(OpenedRun(dir / "c.PES", kCodePes, true).Steps(), kBlockSteps);
  // The version-1 head read at 137 is read as whatever lies there.
  std::string moved = PesFile("#PES0001", "", kBlocks, pec);
  moved.replace(1, 7, "PES0070");
  test::WriteBytes(dir / "d.PES", moved);
  EXPECT_NE(OpenedRun(dir / "d.PES", kCodePes, true).Steps(), kBlockSteps);
  // The library reads the PEC stream that every version carries, whatever the
  // destination: the stitch at the start, then the stream's first record.
  for (const char* name : {"a.PES", "b.PES", "c.PES", "d.PES"}) {
    EXPECT_EQ(OpenedRun(dir / name, kCodePes, true, true).Steps(),
              (std::vector<Read>{{KindStitch, 0, 0, 1}, {KindStitch, 1, -2, 1}}))
        << name;
  }
  // Any other destination reads the PEC stream, whose first record the class jumps.
  EXPECT_EQ(OpenedRun(dir / "a.PES").Steps(), (std::vector<Read>{{KindJump, 1, -2, 1}}));
}

TEST(PesBlocks, ACountBeyondTheFileEndsWithTheLastWholePoint) {
  test::TempDir dir;
  std::string file = PesFile("#PES0001", "", {{0, 3, {{1, 1}, {2, 2}}}}, "");
  file.replace(104 + 4, 2, Le16(0xFFFF));
  file.resize(104 + 6 + 8 + 3);  // two points and most of a third
  test::WriteBytes(dir / "a.PES", file);
  EXPECT_EQ(OpenedRun(dir / "a.PES", kCodePes, true).Steps(),
            (std::vector<Read>{{KindStitch, 1, -1, 1}, {KindStitch, 1, -1, 1}}));
  // A head cut before its first block: nothing to read.
  file.resize(100);
  test::WriteBytes(dir / "b.PES", file);
  EXPECT_TRUE(OpenedRun(dir / "b.PES", kCodePes, true).Steps().empty());
}

// --- The PEC stream -----------------------------------------------------------------

TEST(PecStream, TheRecordsReadAsTheTablesSayInBothReadings) {
  test::TempDir dir;
  const std::string stream = Bytes({
      0x05, 0x7B,              // the first record
      0xFE, 0xB0, 0x02,        // a colour change: the class gives it the next record
      0xA0, 0x00, 0xA0, 0x00,  // (0, 0)
      0xA0, 0x00, 0xA0, 0x00,  // (0, 0) as a jump
      0xA9, 0x00, 0x10,        // 0xA9 0x00 on X
      0x05, 0xA9, 0x00,        // and on Y
      0x80, 0x40, 0x8F, 0xBF,  // 64 and -65
      0x89, 0x00, 0x00,        // 0x89 0x00 on X
      0xB5, 0x01, 0x01,        // a byte that means nothing, then (1, 1)
      0xFE, 0x12, 0x03,        // 0xFE without 0xB0: X stays as it stands
      0xFF, 0x02, 0x02,        // other programs' end
  });
  test::WriteBytes(dir / "a.PES", PesFile("#PES0001", "", {}, PecBlock(stream + Bytes({0x03, 0x03}),
                                                                      0, 0, 0, 0,
                                                                      static_cast<int>(stream.size()))));
  // The class: the first record is always a jump; 0x89 and 0xA9 count up on X.
  EXPECT_EQ(StepsOf(dir / "a.PES", false),
            (std::vector<Read>{{KindJump, 5, 5, 1},
                               {KindColour, 0, 0, 2},
                               {KindJump, 0, 0, 2},
                               {KindJump, 2304, -16, 2},
                               {KindJump, 5, 1792, 2},
                               {KindStitch, 64, 65, 2},
                               {KindStitch, 2304, 0, 2},
                               {KindStitch, 1, -1, 2},
                               {KindStitch, 0, -3, 2},
                               {KindStitch, 2, -2, 2}}));
  // Other programs: the start is a stitch, the first record is what its bytes say, a
  // colour change moves nothing and the next record keeps its kind, long values are
  // 12-bit numbers on both axes, and 0xFF ends the stream.
  EXPECT_EQ(StepsOf(dir / "a.PES", true),
            (std::vector<Read>{{KindStitch, 0, 0, 1},
                               {KindStitch, 5, 5, 1},
                               {KindColour, 0, 0, 2},
                               {KindJump, 0, 0, 2},
                               {KindJump, 0, 0, 2},
                               {KindJump, -1792, -16, 2},
                               {KindJump, 5, 1792, 2},
                               {KindStitch, 64, 65, 2},
                               {KindStitch, -1792, 0, 2},
                               {KindStitch, 1, -1, 2},
                               {KindStitch, 0, -3, 2}}));
  // A stream that opens with a colour change: the class's first record is the change.
  test::WriteBytes(dir / "b.PES",
                   PesFile("#PES0001", "", {}, PecBlock(Bytes({0xFE, 0xB0, 0x02, 0x01, 0x01}))));
  EXPECT_EQ(StepsOf(dir / "b.PES", false), (std::vector<Read>{{KindColour, 1, -1, 2}}));
  // A stream that sews the start itself with a stitch of no length gets no other.
  test::WriteBytes(dir / "c.PES", PesFile("#PES0001", "", {}, PecBlock(Bytes({0, 0, 1, 1}))));
  EXPECT_EQ(StepsOf(dir / "c.PES", true),
            (std::vector<Read>{{KindStitch, 0, 0, 1}, {KindStitch, 1, -1, 1}}));
}

// The needle starts where the stitch head says: a position for the class, handed over
// as a first step to a destination that takes one. The library counts the design from
// the start itself, which the first record here sews (the table of other programs'
// files shows the rest).
TEST(PecStream, TheStartIsAPositionForTheClassAndTheOriginForTheLibrary) {
  test::TempDir dir;
  // 131 - 201 / 2 = 30.5, ties to even: 30; 20 - 100 + 50 = -30.
  const std::string pec = PecBlock(Bytes({0x01, 0x01}), 201, 100, 131, 20);
  test::WriteBytes(dir / "a.PES", PesFile("#PES0040", kTallHoop, {}, pec));
  test::WriteBytes(dir / "turned.PES", PesFile("#PES0040", kTurnedHoop, {}, pec));
  test::WriteBytes(dir / "centred.PES", PesFile("#PES0040", kTallHoop, {}, PecBlock(Bytes({1, 1}), 200, 100, 100, 50)));
  struct Want {
    const char* file;
    int16_t dest;
    double posX, posY;
    int16_t stepX, stepY;
    bool ready;
  };
  for (const Want& w : {Want{"a.PES", kCodeDst, 30, -30, 0, 0, false},
                        Want{"a.PES", kCodeVst, 30, 30, 30, 30, true},
                        Want{"turned.PES", kCodeDst, -30, -30, 0, 0, false},
                        Want{"turned.PES", kCodeVst, -30, 30, 30, 30, true},
                        Want{"centred.PES", kCodeVst, 0, 0, 0, 0, false}}) {
    OpenedRun opened(dir / w.file, w.dest);
    ConversionRun& run = opened.run;
    EXPECT_EQ(run.PosX, w.posX) << w.file << " " << w.dest;
    EXPECT_EQ(run.PosY, w.posY) << w.file << " " << w.dest;
    EXPECT_EQ(run.FirstStepReady, w.ready) << w.file << " " << w.dest;
    if (w.ready) {
      EXPECT_EQ(run.step.StepX, w.stepX) << w.file;
      EXPECT_EQ(run.step.StepY, w.stepY) << w.file;
    }
  }
  EXPECT_EQ(StepsOf(dir / "a.PES", true), (std::vector<Read>{{KindStitch, 0, 0, 1}, {KindStitch, 1, -1, 1}}));
  EXPECT_EQ(StepsOf(dir / "turned.PES", true),
            (std::vector<Read>{{KindStitch, 0, 0, 1}, {KindStitch, 1, 1, 1}}));
}

// A design 222 mm wide and 51 mm high in the three heads that hold a 260 x 160 hoop.
TEST(PecStream, OnlyTheTurnThisSystemWritesIsTurnedBack) {
  std::string wide, tall;
  for (int i = 0; i < 20; ++i) {
    wide += Bytes({0x80, 111, 0x00});  // 111 on X
    tall += Bytes({0x00, 0x80, 111});  // 111 down
  }
  for (int i = 0; i < 5; ++i) {
    wide += Bytes({0x00, 0x80, 102});
    tall += Bytes({0x80, 102, 0x00});
  }
  test::TempDir dir;
  test::Converter convert;
  // This system turns the design into the stream and says so in its "PES0040" head.
  test::WriteBytes(dir / "turned.PES", PesFile("#PES0040", kTurnedHoop, {}, PecBlock(tall)));
  // Another program's wide hoop holds the design as it lies.
  test::WriteBytes(dir / "wide.PES", PesFile("#PES0040", kWideHoop, {}, PecBlock(wide)));
  // Another version holds the design's name at 23 to 28, whatever its bytes.
  test::WriteBytes(dir / "named.PES", PesFile("#PES0111", kTurnedHoop, {}, PecBlock(wide)));
  for (const char* name : {"turned.PES", "wide.PES", "named.PES"}) {
    const Size library = SizeOf(dir / name);
    EXPECT_EQ(library.width, 2220) << name;
    EXPECT_EQ(library.height, 510) << name;
    // The class's frame turns the steps back by the same rule.
    ASSERT_EQ(convert(dir / name, dir / "out.DST"), 0) << name;
    const Size viaClass = SizeOf(dir / "out.DST");
    EXPECT_EQ(viaClass.width, 2220) << name;
    EXPECT_EQ(viaClass.height, 510) << name;
  }
}

// --- Other programs' files ------------------------------------------------------------

TEST(PesSamples, StarAndShamrockFollowTheNeedlePathOfTheirDst) {
  const std::string samples = test::Samples();
  const std::vector<test::Needle> star = StitchesOf(samples + "/Star.pes");
  const std::vector<test::Needle> starDst = StitchesOf(samples + "/Star.DST");
  ASSERT_EQ(star.size(), 2550u);
  ASSERT_EQ(starDst.size(), 2550u);
  // The same path and colours, the PES centred where the DST starts at its first stitch.
  EXPECT_EQ(Moved(star, starDst[0].x - star[0].x, starDst[0].y - star[0].y), starDst);
  // The shamrock's stream leaves its first stitch to the head; the star's sews it again.
  const std::vector<test::Needle> shamrock = StitchesOf(samples + "/shamrockin.pes");
  const std::vector<test::Needle> shamrockDst = StitchesOf(samples + "/shamrockin.dst");
  ASSERT_EQ(shamrock.size(), 1473u);
  ASSERT_EQ(shamrockDst.size(), 1473u);
  EXPECT_EQ(Moved(shamrock, shamrockDst[0].x - shamrock[0].x, shamrockDst[0].y - shamrock[0].y),
            shamrockDst);

  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(samples + "/Star.pes", summary).value(), 0);
  EXPECT_EQ(summary.colourChanges, 1);
  EXPECT_EQ(summary.plusX + summary.minusX, 591);
  EXPECT_EQ(summary.plusY + summary.minusY, 623);
  EXPECT_EQ(summary.version, "#PES0070");
  EXPECT_EQ(summary.hoop, "");  // a head of a version whose fields this build doesn't know

  // The class takes the first record, a stitch of no length here, for a jump.
  int classStitches = 0;
  for (const Read& r : StepsOf(samples + "/Star.pes", false)) classStitches += r.kind == KindStitch;
  EXPECT_EQ(classStitches, 2549);
  test::TempDir dir;
  test::Converter convert;
  ASSERT_EQ(convert(samples + "/Star.pes", dir / "star.DST"), 0);
  EXPECT_EQ(StitchesOf(dir / "star.DST").size(), 2549u);
}

TEST(PesHead, VersionAndHoopAsTheHeadTellsThem) {
  test::TempDir dir;
  struct Case {
    std::string file;
    std::string version, hoop;
  };
  const std::string pec = PecBlock("");
  test::WriteBytes(dir / "a.PES", PesFile("#PES0001", "", {}, pec, 0));
  test::WriteBytes(dir / "b.PES", PesFile("#PES0001", "", {}, pec, 1));
  test::WriteBytes(dir / "c.PES", PesFile("#PES0040", kTallHoop, {}, pec));
  test::WriteBytes(dir / "d.PES", PesFile("#PES0040", kTurnedHoop, {}, pec));
  for (const Case& c : {Case{"a.PES", "#PES0001", "100x100"}, Case{"b.PES", "#PES0001", "130x180"},
                        Case{"c.PES", "#PES0040", "160x260"}, Case{"d.PES", "#PES0040", "260x160"},
                        Case{test::Samples() + "/shamrockin.pes", "#PES0111", ""}}) {
    const std::string path = c.file.find('/') == std::string::npos ? dir / c.file : c.file;
    DesignSummary summary;
    ASSERT_EQ(SummariseDesign(path, summary).value(), 0) << c.file;
    EXPECT_EQ(summary.version, c.version) << c.file;
    EXPECT_EQ(summary.hoop, c.hoop) << c.file;
  }
}

// --- A PEC file on its own ----------------------------------------------------------

// Where the star's PEC block begins, as its offset at 8 says.
size_t PecOffsetOf(const std::string& pes) {
  EXPECT_GT(pes.size(), 12u);
  if (pes.size() <= 12) return 0;
  const size_t offset = static_cast<uint8_t>(pes[8]) | static_cast<uint8_t>(pes[9]) << 8 |
                        static_cast<uint8_t>(pes[10]) << 16;
  EXPECT_LT(offset, pes.size());
  return std::min(offset, pes.size());
}

TEST(PecFile, ThePecBlockAloneReadsAsThePesItCameFrom) {
  const std::string starPath = test::Samples() + "/Star.pes";
  const std::string star = test::ReadBytes(starPath);
  const size_t offset = PecOffsetOf(star);
  test::TempDir dir;
  test::WriteBytes(dir / "star.PEC", "#PEC0001" + star.substr(offset));
  test::WriteBytes(dir / "bare.pec", star.substr(offset));
  const std::vector<test::Needle> fromPes = test::NeedlesOf(starPath, true);
  EXPECT_EQ(test::NeedlesOf(dir / "star.PEC", true), fromPes);
  EXPECT_EQ(test::NeedlesOf(dir / "bare.pec", true), fromPes);
  DesignSummary summary;
  ASSERT_EQ(SummariseDesign(dir / "star.PEC", summary).value(), 0);
  EXPECT_EQ(summary.format, 24);
  EXPECT_EQ(summary.version, "#PEC0001");
  EXPECT_EQ(summary.stitches, 2550);
  ASSERT_EQ(Convert(dir / "star.PEC", dir / "star.DST").value(), 0);
  EXPECT_EQ(StitchesOf(dir / "star.DST").size(), 2550u);
  // Read only: nothing is written as PEC.
  EXPECT_EQ(Convert(dir / "star.DST", dir / "back.PEC"), ConvertErrc::NoRoute);
  EXPECT_EQ(WhyNotConvertible(dir / "star.DST", dir / "back.PEC"), "this build does not write PEC files");
}

TEST(PecFile, TheClassReadsAPecNameAsARefusedOne) {
  EXPECT_EQ(FindFormatCode("A:\\STAR.PEC"), 24);
  EXPECT_EQ(FindFormatCode("A:\\STAR.pec", false), -2);
  EXPECT_EQ(FindFormatCode("A:\\STAR.PES", false), 18);
  const std::string star = test::ReadBytes(test::Samples() + "/Star.pes");
  test::TempDir dir;
  test::WriteBytes(dir / "star.PEC", star);
  test::WriteBytes(dir / "star.XYZ", star);
  test::Converter convert;
  ASSERT_EQ(convert(dir / "star.PEC", dir / "a.DST"), 0);
  EXPECT_EQ(convert.sourceType, -2);
  ASSERT_EQ(convert(dir / "star.XYZ", dir / "b.DST"), 0);
  // Three bytes a step of no movement, as for any name the class doesn't know.
  const std::string pecRecords = test::ReadBytes(dir / "a.DST").substr(512);
  EXPECT_EQ(pecRecords, test::ReadBytes(dir / "b.DST").substr(512));
  // The opening record, a record for each three bytes behind the 512 passed over, the end.
  EXPECT_EQ(pecRecords.size(), 3 + (star.size() - 512) / 3 * 3 + 3);
  // As a destination it is refused too: the text header and zero records.
  ASSERT_EQ(convert(dir / "a.DST", dir / "c.PEC"), 0);
  EXPECT_EQ(convert.destType, -2);
  const std::string refused = test::ReadBytes(dir / "c.PEC");
  ASSERT_GT(refused.size(), 512u);
  EXPECT_EQ(refused.substr(512), std::string(refused.size() - 512, '\0'));
  // A DOS disc's writer refuses the name for the class and takes it for the library.
  test::WriteBytes(dir / "star.PEC", "#PEC0001" + star.substr(PecOffsetOf(star)));
  SharedRecord record;
  record.CurrentPB = std::make_shared<test::RecordingProgress>();
  EXPECT_EQ(DosWrite(record, dir / "star.PEC", dir / "d.DST"), 2);
  EXPECT_FALSE(std::filesystem::exists(dir / "d.DST"));
  record.AsOtherProgramsDo = true;
  EXPECT_EQ(DosWrite(record, dir / "star.PEC", dir / "d.DST"), 0);
  EXPECT_EQ(StitchesOf(dir / "d.DST").size(), 2550u);
}

struct Outcome {
  int exitCode;
  std::string out, err;
};

Outcome Command(const test::TempDir& dir, const std::string& arguments) {
  const std::string command =
      std::string(TAVLIN_CLI) + " " + arguments + " >" + (dir / "out") + " 2>" + (dir / "err");
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test::ReadBytes(dir / "out"),
          test::ReadBytes(dir / "err")};
}

TEST(PecFile, InfoNamesAPecFileAndRefusesWhatThisBuildDoesNotRead) {
  const std::string star = test::ReadBytes(test::Samples() + "/Star.pes");
  test::TempDir dir;
  test::WriteBytes(dir / "star.PEC", "#PEC0001" + star.substr(PecOffsetOf(star)));
  const Outcome pec = Command(dir, "info " + (dir / "star.PEC"));
  ASSERT_EQ(pec.exitCode, 0) << pec.err;
  EXPECT_NE(pec.out.find("format          PEC (code 24)"), std::string::npos) << pec.out;
  EXPECT_NE(pec.out.find("version         #PEC0001"), std::string::npos) << pec.out;
  EXPECT_NE(pec.out.find("stitches        2550"), std::string::npos) << pec.out;
  test::WriteBytes(dir / "star.TAP", test::ReadBytes(test::Samples() + "/Star.TAP"));
  const Outcome vip = Command(dir, "info " + (dir / "star.TAP"));
  EXPECT_NE(vip.exitCode, 0);
  EXPECT_EQ(vip.out, "");
  EXPECT_EQ(std::count(vip.err.begin(), vip.err.end(), '\n'), 1) << vip.err;
}

// --- Offsets and counts that lead outside the file ----------------------------------

TEST(PesHostile, OffsetsAndCountsOutsideTheFileEndTheDesign) {
  test::TempDir dir;
  const std::string stream = Bytes({0x01, 0x01, 0x02, 0x02, 0x03, 0x03});
  const std::string good = PesFile("#PES0001", "", {}, PecBlock(stream));
  // A PEC offset beyond the end: an empty design.
  std::string far = good;
  far.replace(8, 3, Bytes({0xFF, 0xFF, 0x7F}));
  // A PEC offset that leaves no room for the stitch head.
  std::string cramped = good;
  cramped.replace(8, 3, Le16(static_cast<int>(good.size()) - 520) + Bytes({0}));
  // A stream count far beyond the file, in a file that ends with the stream.
  std::string counted = PesFile("#PES0001", "", {}, PecBlock(stream, 0, 0, 0, 0, 0xFFFF00));
  counted.resize(counted.size() - 7 - 228);
  test::WriteBytes(dir / "far.PES", far);
  test::WriteBytes(dir / "cramped.PES", cramped);
  test::WriteBytes(dir / "counted.PES", counted);
  // The class reads nothing there; the library finds the block by its opening.
  EXPECT_TRUE(StepsOf(dir / "far.PES", false).empty());
  EXPECT_TRUE(StepsOf(dir / "cramped.PES", false).empty());
  EXPECT_EQ(StepsOf(dir / "far.PES", true).size(), 4u);
  EXPECT_EQ(StepsOf(dir / "cramped.PES", true).size(), 4u);
  for (bool otherWriters : {false, true}) {
    // Three records; the library sews the start too.
    EXPECT_EQ(StepsOf(dir / "counted.PES", otherWriters).size(), otherWriters ? 4u : 3u);
  }
  test::Converter convert;
  for (const char* name : {"far.PES", "cramped.PES", "counted.PES"}) {
    EXPECT_EQ(convert(dir / name, dir / "out.DST"), 0) << name;
    EXPECT_EQ(Convert(dir / name, dir / "out.DST").value(), 0) << name;
  }
}

TEST(PesHostile, TruncatedAndScrambledSamplesEndWithAResult) {
  const std::string star = test::ReadBytes(test::Samples() + "/Star.pes");
  const size_t stream = PecOffsetOf(star) + 532;
  test::TempDir dir;
  test::Converter convert;
  for (size_t cut = 0; cut < star.size(); cut += 211) {
    test::WriteBytes(dir / "cut.PES", star.substr(0, cut));
    EXPECT_EQ(convert(dir / "cut.PES", dir / "out.DST"), 0) << cut;
    // An empty file is no design: the class converts it, the library refuses it.
    if (cut == 0) {
      EXPECT_EQ(Convert(dir / "cut.PES", dir / "out.DST"), ConvertErrc::UnsoundSource);
      continue;
    }
    EXPECT_EQ(Convert(dir / "cut.PES", dir / "out.DST").value(), 0) << cut;
    // A cut inside the stream keeps what lies before it.
    if (cut > stream + 2000) {
      EXPECT_GT(StitchesOf(dir / "out.DST").size(), 800u) << cut;
    }
  }
  std::mt19937 random(18);
  for (int round = 0; round < 40; ++round) {
    std::string bytes = star;
    for (int n = 0; n < 30; ++n) bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
    test::WriteBytes(dir / "scrambled.PES", bytes);
    // The class deletes what fails; the library leaves the destination as it was.
    const int16_t result = convert(dir / "scrambled.PES", dir / "class.DST");
    if (result != 0) {
      EXPECT_FALSE(std::filesystem::exists(dir / "class.DST")) << result;
    }
    test::WriteBytes(dir / "library.DST", "before");
    if (Convert(dir / "scrambled.PES", dir / "library.DST")) {
      EXPECT_EQ(test::ReadBytes(dir / "library.DST"), "before");
    }
  }
}

}  // namespace
}  // namespace tavlin
