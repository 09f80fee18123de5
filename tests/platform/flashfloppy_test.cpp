// IMG.CFG: each family's section field by field, and a user's file merged into, not
// overwritten.
#include "platform/flashfloppy.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "tavlin/emulator.h"
#include "test_support.h"

namespace tavlin {
namespace {

// A section without its comment lines.
std::string Fields(const std::string& section) {
  std::istringstream in(section);
  std::string fields;
  for (std::string line; std::getline(in, line);) fields += line.rfind('#', 0) == 0 ? "" : line + "\n";
  return fields;
}

TEST(FlashFloppy, EachFamilyHasItsSectionAndTag) {
  const std::string body = "heads = 2\nsecs = 16\nbps = 256\nid = 1\nmode = mfm\ninterleave = 1\ncskew = 0\n"
                           "hskew = 0\nrpm = 300\nrate = 250\ngap3 = 63\niam = yes\nfile-layout = interleaved\n";
  EXPECT_EQ(Fields(FlashFloppySectionText(DiscFamily::Fmc)), "[fmc::671744]\ncyls = 82\n" + body);
  EXPECT_EQ(Fields(FlashFloppySectionText(DiscFamily::Fdr3)), "[fdr3::655360]\ncyls = 80\n" + body);
  EXPECT_EQ(Fields(FlashFloppySectionText(DiscFamily::Zsk)), "[zsk::655360]\ncyls = 80\n" + body);
  EXPECT_EQ(FlashFloppySectionText(DiscFamily::Dos), "");
  for (const auto& [name, family, tagged] : {std::tuple{"/stick/ROSE.FMC.IMG", DiscFamily::Fmc, true},
                                             {"rose.fdr3.img", DiscFamily::Fdr3, true}, {"rose.zsk.img", DiscFamily::Fdr3, false},
                                             {"rose.img", DiscFamily::Zsk, false}, {".zsk.img", DiscFamily::Zsk, false}}) {
    EXPECT_EQ(HasFlashFloppyTag(name, family), tagged) << name;
  }
  EXPECT_TRUE(HasFlashFloppyTag("rose.img", DiscFamily::Dos));
}

TEST(FlashFloppy, AUsersFileIsMergedInto) {
  const FlashFloppyGeometry fmc{.tag = "fmc", .fileBytes = 671744, .comment = {}, .cylinders = 82, .heads = 2, .sectors = 16,
                                .sectorBytes = 256, .gap3 = 63};
  const std::string ours = FlashFloppySection(fmc, "\r\n");
  // Another machine's sections and comments stay byte for byte; an old section of the
  // tag, in capitals and of another size, is replaced where it stood, and a second one
  // dropped; the file's CRLF line ends are kept.
  const std::string head = "# my stick\r\n[akai]\r\ncyls = 80\r\nsecs = 9  # note\r\n\r\n";
  const std::string tail = "[::819200]\r\ncyls = 80\r\n";
  const std::string merged = MergeFlashFloppySection(head + "[FMC::655360]\r\ncyls = 80\r\n\r\n" + tail + "[fmc]\r\nsecs=1\r\n", "fmc", fmc);
  EXPECT_EQ(merged, head + ours + "\r\n" + tail);
  EXPECT_EQ(MergeFlashFloppySection(merged, "fmc", fmc), merged);
  // A file without our tag gets it after its last line, a blank line between.
  EXPECT_EQ(MergeFlashFloppySection("[akai]\ncyls = 80", "fmc", fmc), "[akai]\ncyls = 80\n\n" + FlashFloppySection(fmc));
  EXPECT_EQ(MergeFlashFloppySection("", "fmc", fmc), FlashFloppySection(fmc));

  // The file beside the image, or in FF/ where that folder stands.
  test::TempDir dir;
  EXPECT_EQ(FlashFloppyConfigPath(dir / "a.fmc.img"), dir / "IMG.CFG");
  std::filesystem::create_directory(dir / "FF");
  EXPECT_EQ(FlashFloppyConfigPath(dir / "a.fmc.img"), (std::filesystem::path(dir / "FF") / "IMG.CFG").string());
  test::WriteBytes(dir / "IMG.CFG", "[other]\nsecs = 9\n");
  for (const DiscFamily family : {DiscFamily::Zsk, DiscFamily::Dos}) ASSERT_FALSE(MergeFlashFloppyConfig(dir / "IMG.CFG", family));
  EXPECT_EQ(test::ReadBytes(dir / "IMG.CFG"), "[other]\nsecs = 9\n\n" + FlashFloppySectionText(DiscFamily::Zsk));
  // What isn't a text is left alone.
  test::WriteBytes(dir / "BIN.CFG", std::string("\x00\x01", 2));
  std::string why;
  EXPECT_TRUE(MergeFlashFloppyConfig(dir / "BIN.CFG", DiscFamily::Fmc, &why));
  EXPECT_NE(why.find("not a text file"), std::string::npos) << why;
  EXPECT_EQ(test::ReadBytes(dir / "BIN.CFG"), std::string("\x00\x01", 2));
}

}  // namespace
}  // namespace tavlin
