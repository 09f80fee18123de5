// An FDR3 entry of the E kind, as other writers leave them: DST records with no end
// record, read as far as the entry's byte count says.
#include <gtest/gtest.h>

#include "discs/disc_script.h"

namespace tavlin {
namespace {

TEST(Fdr3Disc, AnEKindEntryIsReadByItsByteCount) {
  test::OnFreshThread([] {
    test::ScriptedDisc disc(ImageFamily::Fdr3, FDR3);
    const auto at = [&disc](const char* where) { return test::SectorAt(where, disc.Bytes().size()); };
    // Block 2: its header piece in sector 1 of track 40 head 1, its data in sector 6.
    std::string header = std::string(128, '0') + IntToBytes2(0) + IntToBytes2(-5) + IntToBytes2(100) + IntToBytes2(0);
    header.resize(256, '\0');
    std::string data;
    for (int i = 0; i < 10; ++i) data += test::DstRecord(KindStitch, 10, static_cast<int16_t>(i % 2 == 0 ? 5 : -5));
    disc.Patch(at("40.1.1+0"), header);
    disc.Patch(at("40.1.6+0"), data + std::string(256 - data.size(), '\x55'));
    disc.Patch(at("40.0.1+0"), std::string(1, '\0') + "HANDMADEE01" + test::Bytes({2, 0}) + std::string(14, '\xFF') +
                                   IntToBytes4(256 + 30).substr(0, 3) + "\xFF");
    ASSERT_TRUE(disc.Run("l r0"));
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"HANDMADE.E01       10"});
    const std::vector<test::Needle> needles = test::NeedlesOf(disc.LastRead());
    ASSERT_EQ(needles.size(), 10u);
    EXPECT_EQ(needles.back().x, 100);
    EXPECT_EQ(needles.back().y, 0);
  });
}

}  // namespace
}  // namespace tavlin
