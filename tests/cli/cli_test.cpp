// The tavlin command as a user runs it: exit codes, one-line errors, files left behind.
#include <gtest/gtest.h>

#include <cstdlib>

#include "test_support.h"

namespace tavlin {
namespace {

struct Outcome {
  int exitCode;
  std::string out;
  std::string err;
};

Outcome Tavlin(const test::TempDir& dir, const std::string& arguments) {
  const std::string command = std::string(TAVLIN_CLI) + " " + arguments + " >" + (dir / "out") +
                              " 2>" + (dir / "err");
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test::ReadBytes(dir / "out"),
          test::ReadBytes(dir / "err")};
}

size_t Lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

TEST(Command, ConvertsAndDescribesAFile) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 100, 0}, {KindColour, 0, -50}}));
  Outcome convert = Tavlin(dir, "convert " + (dir / "a.DST") + " " + (dir / "b.T01"));
  EXPECT_EQ(convert.exitCode, 0) << convert.err;
  EXPECT_EQ(convert.err, "");
  EXPECT_TRUE(std::filesystem::exists(dir / "b.T01"));
  // No temporary file is left beside the destination.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()),
                          std::filesystem::directory_iterator()),
            4);  // a.DST, b.T01, out, err

  Outcome info = Tavlin(dir, "info --json " + (dir / "b.T01"));
  ASSERT_EQ(info.exitCode, 0) << info.err;
  EXPECT_NE(info.out.find("\"colour_changes\": 1"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("\"+X\": 10.0"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("\"-Y\": 5.0"), std::string::npos) << info.out;
  Outcome text = Tavlin(dir, "info " + (dir / "b.T01"));
  EXPECT_NE(text.out.find("format          T01 (code 5)"), std::string::npos) << text.out;
}

TEST(Command, FailuresAreOneLineAndLeaveTheDestinationAlone) {
  test::TempDir dir;
  test::WriteBytes(dir / "old.DST", "precious");
  Outcome missing = Tavlin(dir, "convert " + (dir / "none.DST") + " " + (dir / "old.DST"));
  EXPECT_NE(missing.exitCode, 0);
  EXPECT_EQ(Lines(missing.err), 1u);
  EXPECT_NE(missing.err.find("file not found (code 53)"), std::string::npos) << missing.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "none.DST"));

  // 300 steps of +121 overflow the 16-bit sums: the run fails midway.
  test::WriteBytes(dir / "wide.DST",
                   test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})));
  Outcome overflow = Tavlin(dir, "convert " + (dir / "wide.DST") + " " + (dir / "old.DST"));
  EXPECT_NE(overflow.exitCode, 0);
  EXPECT_EQ(Lines(overflow.err), 1u);
  EXPECT_NE(overflow.err.find("overflow (code 6)"), std::string::npos) << overflow.err;
  EXPECT_EQ(test::ReadBytes(dir / "old.DST"), "precious");

  Outcome unknown = Tavlin(dir, "convert " + (dir / "wide.DST") + " " + (dir / "x.XYZ"));
  EXPECT_NE(unknown.exitCode, 0);
  EXPECT_NE(unknown.err.find("names no stitch format"), std::string::npos) << unknown.err;
  Outcome closed = Tavlin(dir, "convert " + (dir / "wide.DST") + " " + (dir / "x.HUS"));
  EXPECT_NE(closed.exitCode, 0);
  EXPECT_NE(closed.err.find("does not write HUS"), std::string::npos) << closed.err;

  Outcome length = Tavlin(dir, "convert --max-stitch-length 200 a.DST b.DST");
  EXPECT_NE(length.exitCode, 0);
}

TEST(Command, ListsFormatsAndRunsTheDemo) {
  test::TempDir dir;
  Outcome formats = Tavlin(dir, "formats");
  ASSERT_EQ(formats.exitCode, 0);
  EXPECT_NE(formats.out.find("    0  DST    .DST   Tajima"), std::string::npos) << formats.out;
  Outcome demo = Tavlin(dir, "demo " + (dir / "demo"));
  EXPECT_EQ(demo.exitCode, 0) << demo.out << demo.err;
  EXPECT_EQ(demo.out.find("FAILED"), std::string::npos) << demo.out;
  EXPECT_NE(demo.out.find("DST "), std::string::npos) << demo.out;
  Outcome version = Tavlin(dir, "--version");
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out.rfind("tavlin ", 0), 0u) << version.out;
}

}  // namespace
}  // namespace tavlin
