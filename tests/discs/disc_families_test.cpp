// Every family of the table, through the class as a host drives it: a blank disc of
// the family, a design onto it, the same stitches back off it, and the disc empty again.
#include <gtest/gtest.h>

#include <set>

#include "discs/disc_families.h"
#include "disc_fixture.h"

namespace tavlin {
namespace {

using test::OnFreshThread;

// A family whose designs are files takes a path on the drive; the others a name.
std::string DestinationOn(const DiscFamilyRecord& family) {
  return family.sectorAccess ? "STAR" : "A:\\STAR.DST";
}

// The name a routine that goes by names is given for the listing's first line.
std::string FirstName() { return "A:\\" + ThreadSharedRecord().ListNames[1]; }

TEST(DiscFamilies, EachFormatsIdentifiesWritesReadsBackAndDeletes) {
  const std::string star = test::Samples() + "/Star.DST";
  ASSERT_FALSE(DiscFamilyRecords().empty());
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    OnFreshThread([&] {
      SCOPED_TRACE(std::string(family->name));
      test::DiscImage disc(family->geometry, static_cast<int16_t>(family->formatType));
      ASSERT_EQ(disc.formatResult, 0);
      Tavlin& tavlin = disc.tavlin;

      // A blank disc is identified and holds nothing.
      EXPECT_EQ(tavlin.ReadDisc(), 2);
      EXPECT_TRUE(tavlin.Files().empty());

      ASSERT_EQ(tavlin.WriteToDisc(star, DestinationOn(*family), static_cast<int16_t>(family->formatType), disc.progress), 0);
      ASSERT_EQ(tavlin.ReadDisc(), 0);
      const std::vector<std::string> lines = disc.Lines();
      ASSERT_EQ(lines.size(), 1u);
      // The family's own listing agrees with identification.
      ASSERT_EQ(disc.List(), 0);
      EXPECT_EQ(disc.Lines(), lines);

      const std::string out =
          disc.dir / ("back." + std::string(family->deliversAs.empty() ? "DST" : family->deliversAs));
      ASSERT_EQ(tavlin.ReadFromDisc(0, FirstName(), out, static_cast<int16_t>(family->formatType), disc.progress), 0);
      EXPECT_EQ(test::NeedlesOf(out), test::NeedlesOf(star));

      ASSERT_EQ(tavlin.DeleteFromDisc(0, FirstName(), static_cast<int16_t>(family->formatType)), 0);
      EXPECT_EQ(tavlin.ReadDisc(), 2);
      EXPECT_TRUE(tavlin.Files().empty());
    });
  }
}

TEST(DiscFamilies, AreFoundByIdByFormatTypeAndByName) {
  std::set<std::string_view> names;
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    EXPECT_EQ(&DiscFamilyById(family->id), family);
    EXPECT_EQ(DiscFamilyByFormatType(family->formatType), family);
    EXPECT_EQ(DiscFamilyByName(family->name), family);
    EXPECT_TRUE(names.insert(family->name).second) << family->name << " names two families";
  }
  EXPECT_EQ(DiscFamilyByName("floppy"), nullptr);
  EXPECT_EQ(DiscFamilyByFormatType(DSHD), nullptr);
}

}  // namespace
}  // namespace tavlin
