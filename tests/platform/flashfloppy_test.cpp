// IMG.CFG: each family's section field by field, and a user's file merged into, not
// overwritten.
#include "platform/flashfloppy.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "tavlin/emulator.h"
#include "test_support.h"

namespace tavlin {
namespace {

struct Section {
  std::string header;
  std::map<std::string, std::string> fields;
  size_t lines = 0;
};

// A section's header and its "name = value" lines; comments are skipped.
Section Parse(const std::string& text) {
  Section out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    ++out.lines;
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      out.header = line;
      continue;
    }
    const size_t eq = line.find(" = ");
    EXPECT_NE(eq, std::string::npos) << line;
    EXPECT_TRUE(out.fields.emplace(line.substr(0, eq), line.substr(eq + 3)).second) << "twice: " << line;
  }
  return out;
}

TEST(FlashFloppy, EachFamilyHasItsSection) {
  struct Expected {
    DiscFamily family;
    const char* header;
    const char* cylinders;
  };
  for (const Expected& e : {Expected{DiscFamily::Fmc, "[fmc::671744]", "82"},
                            Expected{DiscFamily::Fdr3, "[fdr3::655360]", "80"},
                            Expected{DiscFamily::Zsk, "[zsk::655360]", "80"}}) {
    const Section s = Parse(FlashFloppySectionText(e.family));
    EXPECT_EQ(s.header, e.header);
    const std::map<std::string, std::string> expected = {
        {"cyls", e.cylinders}, {"heads", "2"},       {"secs", "16"},  {"bps", "256"},
        {"id", "1"},           {"mode", "mfm"},      {"interleave", "1"},
        {"cskew", "0"},        {"hskew", "0"},       {"rpm", "300"},  {"rate", "250"},
        {"gap3", "63"},        {"iam", "yes"},       {"file-layout", "interleaved"}};
    EXPECT_EQ(s.fields, expected) << e.header;
  }
  EXPECT_EQ(FlashFloppySectionText(DiscFamily::Dos), "");
  EXPECT_EQ(FlashFloppyTag(DiscFamily::Fdr3), "fdr3");

  EXPECT_TRUE(HasFlashFloppyTag("/stick/ROSE.FMC.IMG", DiscFamily::Fmc));
  EXPECT_TRUE(HasFlashFloppyTag("rose.fdr3.img", DiscFamily::Fdr3));
  EXPECT_FALSE(HasFlashFloppyTag("rose.zsk.img", DiscFamily::Fdr3));
  EXPECT_FALSE(HasFlashFloppyTag("rose.img", DiscFamily::Zsk));
  EXPECT_FALSE(HasFlashFloppyTag(".zsk.img", DiscFamily::Zsk));
  EXPECT_TRUE(HasFlashFloppyTag("rose.img", DiscFamily::Dos));
}

TEST(FlashFloppy, AUsersFileIsMergedInto) {
  FlashFloppyGeometry fmc;
  fmc.tag = "fmc";
  fmc.fileBytes = 671744;
  fmc.cylinders = 82;
  fmc.heads = 2;
  fmc.sectors = 16;
  fmc.sectorBytes = 256;
  fmc.gap3 = 63;
  const std::string ours = FlashFloppySection(fmc, "\r\n");

  // Another machine's sections and comments stay byte for byte; an old section of the
  // tag, in capitals and of another size, is replaced where it stood, and a second one
  // dropped; the file's CRLF line ends are kept.
  const std::string head = "# my stick\r\n[akai]\r\ncyls = 80\r\nsecs = 9  # note\r\n\r\n";
  const std::string tail = "[::819200]\r\ncyls = 80\r\n";
  const std::string user = head + "[FMC::655360]\r\ncyls = 80\r\n\r\n" + tail + "[fmc]\r\nsecs=1\r\n";
  const std::string merged = MergeFlashFloppySection(user, "fmc", fmc);
  EXPECT_EQ(merged, head + ours + "\r\n" + tail);
  EXPECT_EQ(MergeFlashFloppySection(merged, "fmc", fmc), merged);

  // A file without our tag gets it after its last line, a blank line between.
  EXPECT_EQ(MergeFlashFloppySection("[akai]\ncyls = 80", "fmc", fmc),
            "[akai]\ncyls = 80\n\n" + FlashFloppySection(fmc));
  EXPECT_EQ(MergeFlashFloppySection("", "fmc", fmc), FlashFloppySection(fmc));
}

TEST(FlashFloppy, TheConfigFileBesideTheImage) {
  test::TempDir dir;
  EXPECT_EQ(FlashFloppyConfigPath(dir / "a.fmc.img"), dir / "IMG.CFG");
  std::filesystem::create_directory(dir / "FF");
  EXPECT_EQ(FlashFloppyConfigPath(dir / "a.fmc.img"), (std::filesystem::path(dir / "FF") / "IMG.CFG").string());

  const std::string config = dir / "IMG.CFG";
  test::WriteBytes(config, "[other]\nsecs = 9\n");
  for (const DiscFamily family : {DiscFamily::Zsk, DiscFamily::Fmc, DiscFamily::Fdr3, DiscFamily::Zsk, DiscFamily::Dos}) {
    ASSERT_FALSE(MergeFlashFloppyConfig(config, family));
  }
  EXPECT_EQ(test::ReadBytes(config), "[other]\nsecs = 9\n\n" + FlashFloppySectionText(DiscFamily::Zsk) + "\n" +
                                         FlashFloppySectionText(DiscFamily::Fmc) + "\n" +
                                         FlashFloppySectionText(DiscFamily::Fdr3));
  // What isn't a text is left alone.
  test::WriteBytes(dir / "BIN.CFG", std::string("\x00\x01", 2));
  std::string why;
  EXPECT_TRUE(MergeFlashFloppyConfig(dir / "BIN.CFG", DiscFamily::Fmc, &why));
  EXPECT_NE(why.find("not a text file"), std::string::npos) << why;
  EXPECT_EQ(test::ReadBytes(dir / "BIN.CFG"), std::string("\x00\x01", 2));
}

}  // namespace
}  // namespace tavlin
