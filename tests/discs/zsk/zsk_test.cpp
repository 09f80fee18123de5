// What a ZSK disc's own stream and chains may hold: the marks that end a design, and
// chains damaged so that no mark is ever reached.
#include <gtest/gtest.h>

#include "discs/disc_script.h"

namespace tavlin {
namespace {

using test::Bytes;

TEST(ZskDisc, EndMarksAreReadAsTheyShould) {
  test::OnFreshThread([] {
    test::ScriptedDisc disc(ImageFamily::Zsk, ZSKDisc);
    ASSERT_TRUE(disc.Run("w30"));  // design 1, block 9 alone
    const size_t block = test::SectorAt("1.0.5+0", disc.Bytes().size());
    const std::string stitch = Bytes({5, 3, 0x80});  // (3, 5), a stitch
    const std::pair<std::string, size_t> cases[] = {
        {stitch + stitch + Bytes({0, 0, 0x90}), 2},
        {stitch + Bytes({0, 0, 0x91}) + stitch, 1},
        {stitch + stitch + stitch + Bytes({0, 0, 0}), 3},
        {stitch + Bytes({0, 0, 0xF1}), 2},  // the mark belongs to the data: a stitch of code 17
    };
    for (const auto& [stream, stitches] : cases) {
      std::string bytes = Bytes({0, 0}) + stream;
      bytes.resize(1024, '\x55');
      disc.Patch(block, bytes);
      ASSERT_TRUE(disc.Run("l r0")) << testing::PrintToString(stream);
      EXPECT_EQ(test::NeedlesOf(disc.LastRead()).size(), stitches) << testing::PrintToString(stream);
    }
  });
}

// Blocks 9 to 11 hold a design whose end mark is wiped; its chain then loops back, or
// leads past the disc's last block. The read ends, answers 1 and makes no file.
TEST(ZskDisc, ADamagedChainEndsTheReadWithoutHanging) {
  test::OnFreshThread([] {
    test::ScriptedDisc disc(ImageFamily::Zsk, ZSKDisc);
    ASSERT_TRUE(disc.Run("w1000"));
    disc.Patch(test::SectorAt("1.0.5+0", disc.Bytes().size()), std::string(3 * 1024, '\x55'));
    ASSERT_TRUE(disc.Run("p0.0.12+22:0900 l r0=1 p0.0.12+22:8002 r0=1"));
  });
}

}  // namespace
}  // namespace tavlin
