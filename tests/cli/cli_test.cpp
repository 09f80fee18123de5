// The tavlin command as a user runs it: exit codes, one-line errors, files left behind.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "test_support.h"

namespace tavlin {
namespace {

struct Outcome {
  int exitCode;
  std::string out;
  std::string err;
};

// Runs the command; `as` goes in front of it (another user's credentials).
Outcome Tavlin(const test::TempDir& dir, const std::string& arguments, const std::string& as = {}) {
  const std::string command = as + std::string(TAVLIN_CLI) + " " + arguments + " >" +
                              (dir / "out") + " 2>" + (dir / "err");
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

  // A route through a working format is said only when asked.
  ASSERT_EQ(Tavlin(dir, "convert " + (dir / "a.DST") + " " + (dir / "c.U01")).exitCode, 0);
  Outcome quiet = Tavlin(dir, "convert " + (dir / "c.U01") + " " + (dir / "d.T01"));
  EXPECT_EQ(quiet.exitCode, 0) << quiet.err;
  EXPECT_EQ(quiet.err, "");
  Outcome told = Tavlin(dir, "convert --verbose " + (dir / "c.U01") + " " + (dir / "d.T01"));
  EXPECT_EQ(told.exitCode, 0) << told.err;
  EXPECT_EQ(told.err, "tavlin: U01 to T01 by way of DST\n");
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
  Outcome closed = Tavlin(dir, "convert " + (dir / "wide.DST") + " " + (dir / "x.SHV"));
  EXPECT_NE(closed.exitCode, 0);
  EXPECT_NE(closed.err.find("does not write SHV"), std::string::npos) << closed.err;

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

namespace tavlin {
namespace {

TEST(Command, PutsDesignsOnAnFmcDiscAndTakesThemOff) {
  test::TempDir dir;
  const std::string image = dir / "fmc.img";
  Outcome format = Tavlin(dir, "disc format " + image + " --family fmc");
  ASSERT_EQ(format.exitCode, 0) << format.err;
  EXPECT_EQ(std::filesystem::file_size(image), 671744u);
  Outcome again = Tavlin(dir, "disc format " + image + " --family fmc");
  EXPECT_NE(again.exitCode, 0);
  EXPECT_NE(again.err.find("--force"), std::string::npos) << again.err;
  EXPECT_EQ(Tavlin(dir, "disc format " + image + " --family fmc --force").exitCode, 0);

  Outcome empty = Tavlin(dir, "disc list " + image);
  EXPECT_EQ(empty.exitCode, 0) << empty.err;
  // An empty disc names its family and the room a write takes: 158 blocks of 4096.
  EXPECT_EQ(empty.out, "fmc disc: no designs on the disc, 215551 stitches free\n");

  test::WriteBytes(dir / "a.DST", test::ZigzagDst(40, 10, 10, 15));
  Outcome write = Tavlin(dir, "disc write " + image + " " + (dir / "a.DST") + " --family fmc");
  ASSERT_EQ(write.exitCode, 0) << write.err;
  EXPECT_NE(write.out.find("as A01.DAT"), std::string::npos) << write.out;

  Outcome list = Tavlin(dir, "disc list --json " + image);
  ASSERT_EQ(list.exitCode, 0) << list.err;
  EXPECT_NE(list.out.find("\"family\": \"Barudan FMC\""), std::string::npos) << list.out;
  // 157 free blocks of 4096 bytes hold a header, 214,185 records and the end record;
  // the class's own figure, 387,072, counts blocks no FMC disc has.
  EXPECT_NE(list.out.find("\"free_stitches\": 214185"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("\"name\": \"A01.DAT\""), std::string::npos) << list.out;
  // A jump, 40 stitches, 2 colour changes and the end record.
  EXPECT_NE(list.out.find("\"stitches\": 44"), std::string::npos) << list.out;

  Outcome read = Tavlin(dir, "disc read " + image + " A01 " + (dir / "back.DSB"));
  ASSERT_EQ(read.exitCode, 0) << read.err;
  Outcome source = Tavlin(dir, "info --json " + (dir / "a.DST"));
  Outcome back = Tavlin(dir, "info --json " + (dir / "back.DSB"));
  auto extents = [](const std::string& json) { return json.substr(json.find("extents_mm")); };
  EXPECT_EQ(extents(back.out), extents(source.out));
  EXPECT_NE(back.out.find("\"colour_changes\": 2"), std::string::npos) << back.out;
  // Nothing of the working files is left beside the output.
  EXPECT_FALSE(std::filesystem::exists(dir / ".back.DSB.tavlin.QEP"));

  Outcome refused = Tavlin(dir, "disc read " + image + " --line 0 " + (dir / "back.SHV"));
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_NE(refused.err.find("does not write SHV"), std::string::npos) << refused.err;
  Outcome missing = Tavlin(dir, "disc read " + image + " --line 3 " + (dir / "x.DST"));
  EXPECT_NE(missing.exitCode, 0);
  EXPECT_NE(missing.err.find("the listing has 1 line(s)"), std::string::npos) << missing.err;

  // A number is a name, never a line: FMC names its designs A01 ...
  Outcome notAName = Tavlin(dir, "disc delete " + image + " 0");
  EXPECT_NE(notAName.exitCode, 0);
  EXPECT_NE(notAName.err.find("no design named 0; use --line 0"), std::string::npos) << notAName.err;
  Outcome del = Tavlin(dir, "disc delete " + image + " --line 0");
  EXPECT_EQ(del.exitCode, 0) << del.err;
  EXPECT_EQ(Tavlin(dir, "disc list " + image).out,
            "fmc disc: no designs on the disc, 215551 stitches free\n");
  Outcome notFmc = Tavlin(dir, "disc list " + (dir / "a.DST"));
  EXPECT_NE(notFmc.exitCode, 0);
  EXPECT_EQ(Lines(notFmc.err), 1u);
}

TEST(Command, SaysWhyADiscWriteFails) {
  test::TempDir dir;
  const std::string image = dir / "fmc.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + image + " --family fmc").exitCode, 0);
  // Larger than the disc: 214,185 stitches need one byte more than 157 blocks.
  test::WriteBytes(dir / "big.DST", test::ZigzagDst(240000));
  Outcome full = Tavlin(dir, "disc write " + image + " " + (dir / "big.DST"));
  EXPECT_NE(full.exitCode, 0);
  EXPECT_NE(full.err.find("not enough free room on the disc for the design"),
            std::string::npos)
      << full.err;
  test::WriteBytes(dir / "a.HUS", "closed");
  Outcome closed = Tavlin(dir, "disc write " + image + " " + (dir / "a.HUS"));
  EXPECT_NE(closed.exitCode, 0);
  EXPECT_NE(closed.err.find("the file is damaged"), std::string::npos) << closed.err;
}

}  // namespace
}  // namespace tavlin

namespace tavlin {
namespace {

TEST(Command, NamesFdr3DesignsAndFindsZskDesignsByNumber) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(100));
  const std::string fdr3 = dir / "fdr3.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + fdr3 + " --family fdr3").exitCode, 0);
  Outcome named = Tavlin(dir, "disc write " + fdr3 + " " + (dir / "a.DST") + " --family fdr3 --name ROSE");
  ASSERT_EQ(named.exitCode, 0) << named.err;
  EXPECT_NE(named.out.find("as ROSE.U01"), std::string::npos) << named.out;
  Outcome plain = Tavlin(dir, "disc write " + fdr3 + " " + (dir / "a.DST") + " --family fdr3");
  EXPECT_NE(plain.out.find("as a.U02"), std::string::npos) << plain.out;
  EXPECT_EQ(Tavlin(dir, "disc read " + fdr3 + " ROSE " + (dir / "rose.DST") + " --family fdr3").exitCode, 0);
  Outcome identified = Tavlin(dir, "disc identify " + fdr3);
  EXPECT_NE(identified.out.find("Barudan FDR: 2 designs"), std::string::npos) << identified.out;
  EXPECT_NE(identified.out.find("ROSE    .U01"), std::string::npos) << identified.out;
  EXPECT_EQ(test::NeedlesOf(dir / "rose.DST"), test::NeedlesOf(dir / "a.DST"));

  const std::string zsk = dir / "zsk.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + zsk + " --family zsk").exitCode, 0);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(Tavlin(dir, "disc write " + zsk + " " + (dir / "a.DST") + " --family zsk").exitCode, 0);
  }
  ASSERT_EQ(Tavlin(dir, "disc delete " + zsk + " 1 --family zsk").exitCode, 0);
  // "1" names design 1 and nothing else: the second time it is refused, and design 2,
  // now on the line that was 1's, stays.
  Outcome again = Tavlin(dir, "disc delete " + zsk + " 1 --family zsk");
  EXPECT_NE(again.exitCode, 0);
  EXPECT_NE(again.err.find("no design named 1"), std::string::npos) << again.err;
  // "2" names design 2 itself, now on the first line.
  Outcome del = Tavlin(dir, "disc delete " + zsk + " 2 --family zsk");
  EXPECT_EQ(del.exitCode, 0) << del.err;
  EXPECT_EQ(del.out, "deleted 2\n");
  Outcome list = Tavlin(dir, "disc list " + zsk + " --family zsk");
  EXPECT_NE(list.out.find("   0  3 "), std::string::npos) << list.out;
  // --line reads a line.
  EXPECT_EQ(Tavlin(dir, "disc read " + zsk + " --line 0 " + (dir / "three.DST")).exitCode, 0);
  EXPECT_EQ(test::NeedlesOf(dir / "three.DST"), test::NeedlesOf(dir / "a.DST"));
}

}  // namespace
}  // namespace tavlin

namespace tavlin {
namespace {

TEST(Command, IdentifiesDiscsAndKeepsDesignsOnDosDiscsUnderTheirNames) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(100));
  const std::string fmc = dir / "fmc.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + fmc + " --family fmc").exitCode, 0);
  ASSERT_EQ(Tavlin(dir, "disc write " + fmc + " " + (dir / "a.DST")).exitCode, 0);
  Outcome identified = Tavlin(dir, "disc identify " + fmc);
  EXPECT_EQ(identified.exitCode, 0) << identified.err;
  EXPECT_NE(identified.out.find("Barudan FMC: 1 design"), std::string::npos) << identified.out;
  // disc list without --family identifies first.
  EXPECT_NE(Tavlin(dir, "disc list " + fmc).out.find("Barudan FMC: 1 design"), std::string::npos);

  // Without --family every verb identifies the disc: a ZSK image is not taken for FMC.
  const std::string zsk = dir / "z.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + zsk + " --family zsk").exitCode, 0);
  Outcome onZsk = Tavlin(dir, "disc write " + zsk + " " + (dir / "a.DST"));
  ASSERT_EQ(onZsk.exitCode, 0) << onZsk.err;
  EXPECT_NE(onZsk.out.find("as 1\n"), std::string::npos) << onZsk.out;
  Outcome offZsk = Tavlin(dir, "disc read " + zsk + " 1 " + (dir / "z.DST"));
  ASSERT_EQ(offZsk.exitCode, 0) << offZsk.err;
  EXPECT_EQ(test::NeedlesOf(dir / "z.DST"), test::NeedlesOf(dir / "a.DST"));
  EXPECT_EQ(Tavlin(dir, "disc delete " + zsk + " 1").exitCode, 0);
  EXPECT_NE(Tavlin(dir, "disc list " + zsk).out.find("no designs"), std::string::npos);

  const std::string dos = dir / "dos.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + dos + " --family dos720").exitCode, 0);
  Outcome empty = Tavlin(dir, "disc identify --json " + dos);
  EXPECT_EQ(empty.exitCode, 0);
  // An empty disc is told by its family, and lists nothing.
  EXPECT_NE(empty.out.find("\"kind\": \"dos\""), std::string::npos) << empty.out;
  EXPECT_NE(empty.out.find("\"designs\": []"), std::string::npos) << empty.out;
  Outcome write = Tavlin(dir, "disc write " + dos + " " + (dir / "a.DST") + " --family dos --as ROSE.DSB");
  ASSERT_EQ(write.exitCode, 0) << write.err;
  EXPECT_NE(write.out.find("as ROSE.DSB"), std::string::npos) << write.out;
  Outcome list = Tavlin(dir, "disc identify " + dos);
  EXPECT_NE(list.out.find("Tajima Disc: "), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("ROSE.DSB"), std::string::npos) << list.out;
  ASSERT_EQ(Tavlin(dir, "disc read " + dos + " ROSE.DSB " + (dir / "rose.QEP") + " --family dos").exitCode, 0);
  EXPECT_EQ(test::NeedlesOf(dir / "rose.QEP"), test::NeedlesOf(dir / "a.DST"));
  ASSERT_EQ(Tavlin(dir, "disc delete " + dos + " ROSE.DSB --family dos").exitCode, 0);
  // 730,112 bytes of clusters, as mdir counts them.
  EXPECT_EQ(Tavlin(dir, "disc list " + dos).out,
            "dos disc: no designs on the disc, 243199 stitches free\n");

  // A folder stands for a DOS disc.
  test::TempDir folder;
  test::WriteBytes(folder / "X.JEF", std::string(300, 'j'));
  Outcome janome = Tavlin(dir, "disc identify " + folder.path().string());
  EXPECT_NE(janome.out.find("Janome: "), std::string::npos) << janome.out;
  // A file of no disc's size is no disc at all.
  Outcome none = Tavlin(dir, "disc identify " + (dir / "a.DST"));
  EXPECT_NE(none.exitCode, 0);
  EXPECT_EQ(Lines(none.err), 1u);
}

// DOS discs through the command: both sizes are sound to fsck.fat, names are 8.3 and
// never replaced unasked, a full disc says so and keeps what stood.
TEST(Command, KeepsDosDiscsSoundAndNamesPlain) {
  test::TempDir dir;
  if (std::system("command -v fsck.fat >/dev/null 2>&1") != 0) GTEST_SKIP() << "no fsck.fat";
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(200, 0, 0, 50));
  auto sound = [&dir](const std::string& image) {
    return std::system(("fsck.fat -n " + image + " >" + (dir / "fsck") + " 2>&1").c_str()) == 0 &&
           test::ReadBytes(dir / "fsck").find("valid") == std::string::npos;
  };
  for (const std::string size : {"dos720", "dos1440"}) {
    const std::string image = dir / (size + ".img");
    ASSERT_EQ(Tavlin(dir, "disc format " + image + " --family " + size).exitCode, 0);
    EXPECT_TRUE(sound(image)) << size << test::ReadBytes(dir / "fsck");
    Outcome empty = Tavlin(dir, "disc identify " + image);
    EXPECT_EQ(empty.exitCode, 0) << empty.err;
    EXPECT_NE(empty.out.find("dos disc: no designs"), std::string::npos) << empty.out;
    ASSERT_EQ(Tavlin(dir, "disc write " + image + " " + (dir / "a.DST") + " --as ROSE.DST").exitCode, 0);
    Outcome twice = Tavlin(dir, "disc write " + image + " " + (dir / "a.DST") + " --as ROSE.DST");
    EXPECT_NE(twice.err.find("on the disc already"), std::string::npos) << twice.err;
    EXPECT_EQ(Tavlin(dir, "disc write " + image + " " + (dir / "a.DST") + " --as ROSE.DST --replace").exitCode, 0);
    Outcome longName = Tavlin(dir, "disc write " + image + " " + (dir / "a.DST") + " --as LONGDESIGNNAME.DST");
    EXPECT_NE(longName.err.find("up to 8"), std::string::npos) << longName.err;
    EXPECT_TRUE(sound(image)) << size << test::ReadBytes(dir / "fsck");
  }
  // 720 KB hold about 240,000 stitches of DST: a design of 300,000 is refused whole.
  test::WriteBytes(dir / "big.DST", test::ZigzagDst(300000));
  const std::string image = dir / "dos720.img";
  const std::string before = test::ReadBytes(image);
  Outcome full = Tavlin(dir, "disc write " + image + " " + (dir / "big.DST"));
  EXPECT_NE(full.exitCode, 0);
  EXPECT_NE(full.err.find("the disc is full"), std::string::npos) << full.err;
  EXPECT_EQ(test::ReadBytes(image), before);
}

// As a user who may only read the files: a source converts, an image lists, identifies
// and reads, and a write is refused with the image as it was.
TEST(Command, ReadsWhatItMayOnlyRead) {
  test::TempDir dir;
  std::string as;
  if (::geteuid() == 0) {
    // Root writes anything: the reader is the user nobody.
    if (std::system("command -v setpriv >/dev/null 2>&1") != 0) GTEST_SKIP() << "no setpriv";
    as = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    if (std::system((as + "test -x " + std::string(TAVLIN_CLI)).c_str()) != 0) {
      GTEST_SKIP() << "the user nobody can't reach " << TAVLIN_CLI;
    }
  }
  test::WriteBytes(dir / "a.DST", test::ZigzagDst(100, 0, 0, 40));
  const std::string image = dir / "fmc.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + image + " --family fmc").exitCode, 0);
  ASSERT_EQ(Tavlin(dir, "disc write " + image + " " + (dir / "a.DST")).exitCode, 0);
  std::filesystem::create_directory(dir / "w");
  std::filesystem::permissions(dir.path(), std::filesystem::perms::owner_all |
                                               std::filesystem::perms::group_read |
                                               std::filesystem::perms::group_exec |
                                               std::filesystem::perms::others_read |
                                               std::filesystem::perms::others_exec);
  std::filesystem::permissions(dir / "w", std::filesystem::perms::all);
  for (const std::string name : {"a.DST", "fmc.img"}) {
    std::filesystem::permissions(dir / name, std::filesystem::perms::owner_read |
                                                 std::filesystem::perms::group_read |
                                                 std::filesystem::perms::others_read);
  }
  const std::string before = test::ReadBytes(image);
  Outcome convert = Tavlin(dir, "convert " + (dir / "a.DST") + " " + (dir / "w/b.DSB"), as);
  EXPECT_EQ(convert.exitCode, 0) << convert.err;
  EXPECT_EQ(Tavlin(dir, "disc list " + image, as).exitCode, 0);
  Outcome identify = Tavlin(dir, "disc identify " + image, as);
  EXPECT_NE(identify.out.find("Barudan FMC: 1 design"), std::string::npos) << identify.err;
  Outcome read = Tavlin(dir, "disc read " + image + " A01 " + (dir / "w/back.DST"), as);
  EXPECT_EQ(read.exitCode, 0) << read.err;
  EXPECT_EQ(test::NeedlesOf(dir / "w/back.DST"), test::NeedlesOf(dir / "a.DST"));
  Outcome write = Tavlin(dir, "disc write " + image + " " + (dir / "a.DST"), as);
  EXPECT_NE(write.exitCode, 0);
  EXPECT_NE(write.err.find("write-protected"), std::string::npos) << write.err;
  EXPECT_EQ(test::ReadBytes(image), before);
}

// A stick for a Gotek: images named for FlashFloppy with their IMG.CFG, and HFE files
// that come back as the same image.
TEST(Command, MakesImagesReadyForFloppyEmulators) {
  test::TempDir dir;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 100, 0}, {KindStitch, 0, 50}}));
  // An untagged name is refused before anything is made.
  Outcome untagged = Tavlin(dir, "disc format " + (dir / "rose.img") + " --family fmc --emulator flashfloppy");
  EXPECT_NE(untagged.exitCode, 0);
  EXPECT_EQ(Lines(untagged.err), 1u);
  EXPECT_NE(untagged.err.find("NAME.fmc.img"), std::string::npos) << untagged.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "rose.img"));
  EXPECT_FALSE(std::filesystem::exists(dir / "IMG.CFG"));

  test::WriteBytes(dir / "IMG.CFG", "[akai]\ncyls = 80\n");
  const std::string fmc = dir / "rose.fmc.img";
  Outcome format = Tavlin(dir, "disc format " + fmc + " --family fmc --emulator flashfloppy");
  ASSERT_EQ(format.exitCode, 0) << format.err;
  Outcome write = Tavlin(dir, "disc write " + fmc + " " + (dir / "a.DST") + " --emulator flashfloppy");
  ASSERT_EQ(write.exitCode, 0) << write.err;
  const std::string fdr3 = dir / "moon.FDR3.img";
  ASSERT_EQ(Tavlin(dir, "disc format " + fdr3 + " --family fdr3").exitCode, 0);
  Outcome config = Tavlin(dir, "disc emulator-config " + fdr3);
  ASSERT_EQ(config.exitCode, 0) << config.err;
  EXPECT_NE(config.out.find("the fdr3 section is in " + (dir / "IMG.CFG")), std::string::npos) << config.out;
  const std::string cfg = test::ReadBytes(dir / "IMG.CFG");
  EXPECT_EQ(cfg.rfind("[akai]\ncyls = 80\n\n[fmc::671744]\n", 0), 0u) << cfg;
  EXPECT_NE(cfg.find("\n[fdr3::655360]\n"), std::string::npos) << cfg;
  EXPECT_EQ(cfg.find("[fmc", 20), std::string::npos) << "the fmc section twice:\n" << cfg;
  // A write to an untagged image is refused before the disc changes.
  ASSERT_EQ(Tavlin(dir, "disc format " + (dir / "plain.img") + " --family zsk").exitCode, 0);
  const std::string plain = test::ReadBytes(dir / "plain.img");
  Outcome refused = Tavlin(dir, "disc write " + (dir / "plain.img") + " " + (dir / "a.DST") + " --emulator flashfloppy");
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_NE(refused.err.find("plain.zsk.img"), std::string::npos) << refused.err;
  EXPECT_EQ(test::ReadBytes(dir / "plain.img"), plain);
  EXPECT_EQ(test::ReadBytes(dir / "IMG.CFG"), cfg);
  Outcome dos = Tavlin(dir, "disc format " + (dir / "d.img") + " --family dos720 --emulator flashfloppy");
  EXPECT_EQ(dos.exitCode, 0) << dos.err;
  EXPECT_NE(dos.out.find("needs no IMG.CFG"), std::string::npos) << dos.out;

  Outcome exported = Tavlin(dir, "disc export-hfe " + fmc + " " + (dir / "rose.hfe"));
  ASSERT_EQ(exported.exitCode, 0) << exported.err;
  EXPECT_NE(Tavlin(dir, "disc export-hfe " + fmc + " " + (dir / "rose.hfe")).exitCode, 0);  // exists
  Outcome imported = Tavlin(dir, "disc import-hfe " + (dir / "rose.hfe") + " " + (dir / "back.fmc.img"));
  ASSERT_EQ(imported.exitCode, 0) << imported.err;
  EXPECT_EQ(test::ReadBytes(dir / "back.fmc.img"), test::ReadBytes(fmc));
  Outcome listed = Tavlin(dir, "disc list " + (dir / "back.fmc.img"));
  EXPECT_NE(listed.out.find("A01"), std::string::npos) << listed.out;

  test::WriteBytes(dir / "bad.hfe", "HXCPICFE");
  Outcome bad = Tavlin(dir, "disc import-hfe " + (dir / "bad.hfe") + " " + (dir / "bad.img"));
  EXPECT_NE(bad.exitCode, 0);
  EXPECT_EQ(Lines(bad.err), 1u);
  EXPECT_NE(bad.err.find("not an HFE file"), std::string::npos) << bad.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "bad.img"));
}

}  // namespace
}  // namespace tavlin
