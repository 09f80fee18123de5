// Identification names each family as the class reports it, and a drive with no disc.
#include <gtest/gtest.h>

#include "disc_fixture.h"

namespace tavlin {
namespace {

using test::OnFreshThread;

TEST(Identification, TellsEveryFormattedFamilyApart) {
  OnFreshThread([] {
    struct Case {
      ImageFamily family;
      int16_t type;
      const char* format;
      int16_t discType;
    };
    for (const Case& c : {Case{ImageFamily::Fmc, FMC, "Barudan FMC", 2},
                          Case{ImageFamily::Fdr3, FDR3, "Barudan FDR", 1},
                          Case{ImageFamily::Zsk, ZSKDisc, "ZSK (Zangs)", 3}}) {
      test::DiscImage disc(c.family, c.type);
      // Formatted and empty: the family's listing finds nothing.
      EXPECT_EQ(disc.tavlin.ReadDisc(), 2) << c.format;
      EXPECT_EQ(disc.tavlin.DiscType(), c.discType) << c.format;
      ASSERT_EQ(disc.Write(test::ZigzagDst(1000)), 0) << c.format;
      EXPECT_EQ(disc.tavlin.ReadDisc(), 0) << c.format;
      EXPECT_EQ(disc.tavlin.Format(), c.format);
      EXPECT_EQ(disc.tavlin.DiscType(), c.discType);
      EXPECT_EQ(disc.Lines().size(), 1u) << c.format;
      EXPECT_GT(disc.tavlin.FreeStitches(), 0) << c.format;
    }
    test::DiscImage dos(ImageFamily::Dos720, OtherDOS);
    EXPECT_EQ(dos.tavlin.ReadDisc(), 2);
    EXPECT_EQ(dos.tavlin.Files(), "");
    UnbindDrive(0);
    EXPECT_EQ(Tavlin().ReadDisc(), 4);
  });
}

}  // namespace
}  // namespace tavlin
