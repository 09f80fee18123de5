// The conversion frame: splitting, progress, failures and what a run leaves behind.
#include <gtest/gtest.h>

#include <memory>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/transforms.h"
#include "platform/run_time_error.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::DstFile;
using test::DstRecord;
using test::Rec;

struct Piece {
  int16_t kind, x, y;
  bool operator==(const Piece& o) const { return kind == o.kind && x == o.x && y == o.y; }
};

std::ostream& operator<<(std::ostream& out, const Piece& p) {
  return out << "{" << p.kind << ", " << p.x << ", " << p.y << "}";
}

// The pieces a step is written as, cycle by cycle.
std::vector<Piece> Split(int16_t kind, int16_t x, int16_t y, int16_t maxStitch,
                         int16_t destType = kCodeDst) {
  PlatformState platform;
  ConversionSettings settings(platform);
  settings.MaxStitchLength = maxStitch;
  ConversionRun run(settings);
  run.SetTypes(kCodeDst, destType);
  run.step = {x, y, kind};
  std::vector<Piece> pieces;
  SplitLongStep(run);
  pieces.push_back({run.step.StepKind, run.step.StepX, run.step.StepY});
  while (run.Splitting) {
    SplitLongStep(run);
    pieces.push_back({run.step.StepKind, run.step.StepX, run.step.StepY});
  }
  return pieces;
}

TEST(Splitting, LongStepsBecomeJumpsAndALastPieceOfTheirOwnKind) {
  EXPECT_EQ(Split(KindStitch, 200, 0, 50),
            (std::vector<Piece>{{1, 40, 0}, {1, 40, 0}, {1, 40, 0}, {1, 40, 0}, {0, 40, 0}}));
  EXPECT_EQ(Split(KindStitch, 121, -121, 50), (std::vector<Piece>{{0, 121, -121}}));
  EXPECT_EQ(Split(KindStitch, 122, 0, 121), (std::vector<Piece>{{1, 61, 0}, {0, 61, 0}}));
  EXPECT_EQ(Split(KindStitch, 122, 122, 121), (std::vector<Piece>{{1, 61, 61}, {0, 61, 61}}));
  // A long colour change: its pieces are jumps and only the last one changes colour.
  const std::vector<Piece> colour = Split(KindColour, -300, 150, 100);
  ASSERT_EQ(colour.size(), 4u);
  for (size_t i = 0; i + 1 < colour.size(); ++i) EXPECT_EQ(colour[i].kind, KindJump);
  EXPECT_EQ(colour.back().kind, KindColour);
  // PES takes two halves of the step's own kind, the first rounded to even.
  EXPECT_EQ(Split(KindStitch, 245, -123, 50, kCodePes),
            (std::vector<Piece>{{0, 122, -62}, {0, 123, -61}}));
}

TEST(Splitting, ThePiecesAlwaysAddUpToTheStep) {
  for (int16_t maxStitch : std::initializer_list<int16_t>{20, 40, 50, 121}) {
    for (int x = -3000; x <= 3000; x += 37) {
      for (int y : {-700, -122, 0, 5, 121, 400}) {
        int sumX = 0, sumY = 0;
        for (const Piece& p : Split(KindStitch, static_cast<int16_t>(x),
                                    static_cast<int16_t>(y), maxStitch)) {
          sumX += p.x;
          sumY += p.y;
        }
        ASSERT_EQ(sumX, x) << maxStitch;
        ASSERT_EQ(sumY, y) << maxStitch;
      }
    }
  }
}

using test::Converter;

TEST(ConversionRuns, ProgressIsReportedEveryThousandCycles) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile(std::vector<Rec>(2500, Rec{KindStitch, 1, 0})));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.DST"), 0);
  ASSERT_EQ(convert.progress->maxima, std::vector<double>{512 + 2501 * 3});
  // Cycles are counted from 1, and a report comes at the head of a cycle: in the 999th
  // and the 1999th, before their records are read. None at the start or at the end.
  EXPECT_EQ(convert.progress->values, (std::vector<double>{512 + 998 * 3, 512 + 1998 * 3}));
}

// A run that fails leaves the source as it was and no destination of its own making.
TEST(ConversionRuns, FailuresLeaveNoDestination) {
  test::TempDir dir;
  Converter convert;
  test::WriteBytes(dir / "one.DST", DstFile({{KindStitch, 1, 0}}));
  // Without a progress object the run stops with 91.
  test::WriteBytes(dir / "b.DST", "old");
  convert.shared->CurrentPB = nullptr;
  EXPECT_EQ(convert(dir / "one.DST", dir / "b.DST"), kNoObject);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.DST"));
  EXPECT_EQ(test::ReadBytes(dir / "one.DST"), DstFile({{KindStitch, 1, 0}}));
  convert.shared->CurrentPB = convert.progress;
  // 300 steps of +121 take the 16-bit sum of X past 32767.
  const std::string source = DstFile(std::vector<Rec>(300, Rec{KindStitch, 121, 0}));
  test::WriteBytes(dir / "a.DST", source);
  EXPECT_EQ(convert(dir / "a.DST", dir / "b.DST"), kOverflow);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.DST"));
  EXPECT_EQ(test::ReadBytes(dir / "a.DST"), source);
  // Colour counts have 301 slots: a 301st colour change is out of range.
  test::WriteBytes(dir / "c.DST", DstFile(std::vector<Rec>(300, Rec{KindColour, 0, 0})));
  EXPECT_EQ(convert(dir / "c.DST", dir / "d.DST"), kSubscriptOutOfRange);
  EXPECT_FALSE(std::filesystem::exists(dir / "d.DST"));
  // A format without rules in this build touches nothing.
  test::WriteBytes(dir / "b.SHV", "keep");
  EXPECT_EQ(convert(dir / "one.DST", dir / "b.SHV"), kInvalidCall);
  EXPECT_EQ(test::ReadBytes(dir / "b.SHV"), "keep");
}

// The first step of a run clears the host's hoop text and PES absolute, even when the
// run stops at once on an empty name.
TEST(ConversionRuns, TheRunClearsTheHostsHoopAndPesAbsolute) {
  test::TempDir dir;
  Converter convert;
  convert.shared->HoopSizeText = "130x180";
  convert.shared->PESAbosulteFlag = true;
  EXPECT_EQ(convert("", "x.DST"), 1);
  EXPECT_EQ(convert("x.DST", ""), 1);
  EXPECT_EQ(convert.shared->HoopSizeText, "");
  EXPECT_FALSE(convert.shared->PESAbosulteFlag);
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 1, 0}}));
  convert.shared->PESAbosulteFlag = true;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.DST"), 0);
  EXPECT_FALSE(convert.shared->PESAbosulteFlag);
}

TEST(ConversionRuns, AMissingSourceIsAnEmptyDesign) {
  test::TempDir dir;
  Converter convert;
  ASSERT_EQ(convert(dir / "missing.DST", dir / "b.DST"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.DST").size(), 518u);
  EXPECT_EQ(convert.resolved, dir / "missing.DST");
}

TEST(RefusedNames, AreWrittenAsRecordsOfNoMovement) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 9, 0}, {KindJump, 0, 5}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "b.XYZ"), 0);
  const std::string out = test::ReadBytes(dir / "b.XYZ");
  ASSERT_EQ(out.size(), 512u + 3 * 3);
  EXPECT_EQ(out.substr(0, 3), "LA:");
  EXPECT_EQ(out.substr(512), std::string(9, '\0'));
  // And read as steps of no movement.
  test::WriteBytes(dir / "c.XYZ", std::string(512, ' ') + DstRecord(KindStitch, 50, 50) +
                                      DstRecord(KindStitch, 50, 50));
  ASSERT_EQ(convert(dir / "c.XYZ", dir / "d.DST"), 0);
  const std::string d = test::ReadBytes(dir / "d.DST");
  EXPECT_EQ(d.substr(515), DstRecord(KindStitch, 0, 0) + DstRecord(KindStitch, 0, 0) +
                               Bytes({0, 0, 0xF3}));
  EXPECT_EQ(test::Field(d, 38, 9), "+X:    0\r");
}

TEST(ConversionRuns, WrapperCodesAreChangedForTheCaller) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 1, 0}}));
  Converter convert;
  ASSERT_EQ(convert(dir / "a.DST", dir / "a.T01"), 0);
  EXPECT_EQ(convert.destType, kCodeDst);
  ASSERT_EQ(convert(dir / "a.T01", dir / "b.DST"), 0);
  EXPECT_EQ(convert.sourceType, kCodeDst);
}

}  // namespace
}  // namespace tavlin
