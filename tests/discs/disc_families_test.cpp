// Every family of the table, through the class as a host drives it: a blank disc of
// the family, identified, a design onto it, the same stitches back off it, and the disc
// empty again.
#include <gtest/gtest.h>

#include <map>

#include "discs/disc_script.h"

namespace tavlin {
namespace {

// How the class names each family's disc once it holds a design (a DOS disc by the
// kind of file it finds first: here a DST), and its type while blank.
struct Identity {
  const char* format;
  int16_t discType, blankType;
};
const std::map<std::string_view, Identity> kIdentities = {{"fmc", {"Barudan FMC", 2, 2}},
                                                          {"fdr3", {"Barudan FDR", 1, 1}},
                                                          {"zsk", {"ZSK (Zangs)", 3, 3}},
                                                          {"dos", {"Tajima Disc", 4, 0}}};

TEST(DiscFamilies, EachFormatsIdentifiesWritesReadsBackAndDeletes) {
  const std::string star = test::Samples() + "/Star.DST";
  ASSERT_EQ(DiscFamilyRecords().size(), kIdentities.size());
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    test::OnFreshThread([&] {
      SCOPED_TRACE(std::string(family->name));
      EXPECT_EQ(DiscFamilyByName(family->name), family);
      const auto type = static_cast<int16_t>(family->formatType);
      EXPECT_EQ(DiscFamilyByFormatType(type), family);
      const Identity& identity = kIdentities.at(family->name);
      test::ScriptedDisc disc(family->geometry, type);
      ASSERT_EQ(disc.formatResult, 0);
      Tavlin& tavlin = disc.tavlin;

      // A blank disc is identified and holds nothing.
      EXPECT_EQ(tavlin.ReadDisc(), 2);
      EXPECT_TRUE(tavlin.Files().empty());
      EXPECT_EQ(tavlin.DiscType(), identity.blankType);

      // A family whose designs are files takes a path on the drive; the others a name.
      ASSERT_EQ(tavlin.WriteToDisc(star, family->sectorAccess ? "STAR" : "A:\\STAR.DST", type, disc.progress), 0);
      ASSERT_EQ(tavlin.ReadDisc(), 0);
      EXPECT_EQ(tavlin.Format(), identity.format);
      EXPECT_EQ(tavlin.DiscType(), identity.discType);
      EXPECT_GT(tavlin.FreeStitches(), 0);
      const std::vector<std::string> lines = disc.Lines();
      ASSERT_EQ(lines.size(), 1u);
      // The family's own listing agrees with identification.
      ASSERT_EQ(disc.ListAs(type), 0);
      EXPECT_EQ(disc.Lines(), lines);

      const std::string out = disc.dir / ("back." + std::string(family->deliversAs.empty() ? "DST" : family->deliversAs));
      ASSERT_EQ(tavlin.ReadFromDisc(0, disc.NameOf(0), out, type, disc.progress), 0);
      EXPECT_EQ(test::NeedlesOf(out), test::NeedlesOf(star));

      ASSERT_EQ(tavlin.DeleteFromDisc(0, disc.NameOf(0), type), 0);
      EXPECT_EQ(tavlin.ReadDisc(), 2);
      EXPECT_TRUE(tavlin.Files().empty());
    });
  }
  EXPECT_EQ(DiscFamilyByName("floppy"), nullptr);
  EXPECT_EQ(DiscFamilyByFormatType(DSHD), nullptr);
  // No disc at all.
  test::OnFreshThread([] {
    UnbindDrive(0);
    EXPECT_EQ(Tavlin().ReadDisc(), 4);
    EXPECT_EQ(Tavlin().FormatDisc(FMC), 1);
  });
}

}  // namespace
}  // namespace tavlin
