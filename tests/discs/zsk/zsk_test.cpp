// ZSK discs in images: the table and directory byte for byte, designs written, read
// back, deleted and written again, and damaged discs that must not hang or lose data.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "platform/working_folder.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/tavlin.h"
#include "disc_fixture.h"
#include "discs/zsk/zsk_disc.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::OnFreshThread;

size_t Offset(int track, int head, int sector) { return test::SectorOffset(track, head, sector); }

size_t BlockOffset(int block) {
  const ZskSector s = ZskBlockSector(block, 0);
  return Offset(s.track, s.head, s.sector);
}

struct Disc : test::DiscImage {
  Disc() : DiscImage(ImageFamily::Zsk, ZSKDisc) { EXPECT_EQ(formatResult, 0); }
  std::string Directory() const { return Bytes().substr(BlockOffset(8), 1024); }
  std::string Table() const { return Bytes().substr(Offset(0, 0, 12), 1280); }
};

TEST(ZskBlocks, LieFourSectorsToABlockEightToATrack) {
  auto at = [](int block, int n) {
    const ZskSector s = ZskBlockSector(block, n);
    return std::tuple{s.track, s.head, s.sector};
  };
  EXPECT_EQ(at(8, 0), std::tuple(1, 0, 1));
  EXPECT_EQ(at(12, 0), std::tuple(1, 1, 1));
  EXPECT_EQ(at(639, 0), std::tuple(79, 1, 13));
  EXPECT_EQ(at(639, 3), std::tuple(79, 1, 16));
}

TEST(ZskDisc, AFreshDiscListsNothingAndTheDirectoryGrowsAsItsLayoutSays) {
  OnFreshThread([] {
    Disc disc;
    EXPECT_EQ(disc.tavlin.DirectoryZSK(), 2);
    EXPECT_EQ(disc.tavlin.DiscType(), 3);
    EXPECT_EQ(disc.tavlin.Format(), "");
    EXPECT_EQ(disc.tavlin.FreeStitches(), 0);
    EXPECT_EQ(ThreadSharedRecord().DiscByteCount, 631 * 1024);

    ASSERT_EQ(disc.Write(test::ZigzagDst(30)), 0);
    std::string directory = disc.Directory();
    EXPECT_EQ(directory.substr(0, 10), Bytes({0x00, 0x40, 28, 0, 8, 0, 0, 0, 0, 0}));
    // Number 1, one block, first and last block 9.
    EXPECT_EQ(directory.substr(10, 20), Bytes({1, 0, 1, 0, 9, 0, 9, 0}) + std::string(12, '\0'));
    EXPECT_EQ(directory.substr(30), std::string(994, '\0'));
    // The table: 630 free, the head at 10, block 9 ends its chain.
    const std::string table = disc.Table();
    EXPECT_EQ(table.substr(0, 4), Bytes({0x76, 0x02, 10, 0}));
    EXPECT_EQ(table.substr(18, 4), Bytes({0, 0, 11, 0}));
    // The stream: two zero bytes, the DSZ records, the end record, zero fill.
    const std::string block = disc.Bytes().substr(BlockOffset(9), 1024);
    EXPECT_EQ(block.substr(0, 2), Bytes({0, 0}));
    // 31 records (a jump and 30 stitches), then the end record.
    EXPECT_EQ(block.substr(2 + 31 * 3, 3), Bytes({0, 0, 0x90}));
    EXPECT_EQ(block.substr(2 + 32 * 3, 256 - 98), std::string(256 - 98, '\0'));
    // The stream ended in the block's first sector: the others were not written.
    EXPECT_EQ(block.substr(256), std::string(768, '\xE5'));

    ASSERT_EQ(disc.Write(test::ZigzagDst(300)), 0);
    directory = disc.Directory();
    EXPECT_EQ(directory.substr(0, 12), Bytes({0x00, 0x40, 50, 0, 10, 0, 30, 0, 0, 0, 0, 0}));
    EXPECT_EQ(directory.substr(12, 8), Bytes({1, 0, 1, 0, 9, 0, 9, 0}));
    // 912 bytes of stream and the two in front take one block: 10.
    EXPECT_EQ(directory.substr(32, 8), Bytes({2, 0, 1, 0, 10, 0, 10, 0}));
    EXPECT_EQ(directory.substr(52), std::string(972, '\0'));

    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    EXPECT_EQ(disc.tavlin.Format(), "ZSK (Zangs)");
    EXPECT_EQ(disc.Lines(), (std::vector<std::string>{"1                 333",
                                                      "2                 333"}));
    EXPECT_EQ(disc.tavlin.FreeStitches(), 629 * 1024 / 3);
  });
}

TEST(ZskDisc, AListingLineForThreeBlocksOfDesignSeven) {
  OnFreshThread([] {
    Disc disc;
    // A directory built by hand: one record, number 7, three blocks.
    std::string records = Bytes({7, 0, 3, 0, 9, 0, 11, 0}) + std::string(12, '\0');
    disc.Patch(BlockOffset(8), ZskDirectoryOf(Bytes({0, 0x40}), {records}));
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    EXPECT_EQ(disc.tavlin.Files(), "7" + std::string(11, ' ') + " " + "     999" + '\0');
    // A pointer above 1024 ends the walk as a 0 does.
    disc.Patch(BlockOffset(8) + 4, Bytes({0x01, 0x04}));
    EXPECT_EQ(disc.tavlin.DirectoryZSK(), 2);
  });
}

TEST(ZskDisc, NumbersFillTheLowestGapAndStandLast) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 4; ++i) ASSERT_EQ(disc.Write(test::ZigzagDst(20 + i)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    ASSERT_EQ(disc.tavlin.DeleteFromDisc(2, "", ZSKDisc), 0);  // number 3
    EXPECT_EQ(ThreadSharedRecord().ListNames[3], "DELETED");
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    EXPECT_EQ(disc.Lines().size(), 3u);
    ASSERT_EQ(disc.Write(test::ZigzagDst(50)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    std::vector<std::string> numbers;
    for (const std::string& line : disc.Lines()) numbers.push_back(line.substr(0, 1));
    EXPECT_EQ(numbers, (std::vector<std::string>{"1", "2", "4", "3"}));
  });
}

// The directory block holds 46 records: 8 + 22 x 46 bytes of 1024. A 47th design is
// refused before any conversion, and the disc stays as it was.
TEST(ZskDisc, AFullDirectoryTakesNoFurtherDesign) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 46; ++i) ASSERT_EQ(disc.Write(test::ZigzagDst(5)), 0) << i;
    const std::string before = disc.Bytes();
    test::WriteBytes(disc.dir / "x.HUS", "closed");
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "x.HUS", "", ZSKDisc, disc.progress), 5);
    EXPECT_EQ(disc.progress->maxima.size(), 46u);
    EXPECT_EQ(disc.Bytes(), before);
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    EXPECT_EQ(disc.Lines().size(), 46u);
    EXPECT_EQ(disc.Lines().back().substr(0, 2), "46");
  });
}

TEST(ZskDisc, FreeRoomOfTheFilesLengthIsEnough) {
  OnFreshThread([] {
    Disc disc;
    // Leave exactly two free blocks: 2048 bytes.
    std::string table = disc.Table();
    table.replace(0, 2, IntToBytes2(2));
    disc.Patch(Offset(0, 0, 12), table);
    // The DSZ of n stitches is 512 + 3 x (n + 2) bytes: 510 make 2048, 511 are too many.
    EXPECT_EQ(disc.Write(test::ZigzagDst(511)), 5);
    EXPECT_FALSE(std::filesystem::exists(WorkingFile("$TEMP.TMP")));
    EXPECT_EQ(disc.Write(test::ZigzagDst(510)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"1                 666"});
    EXPECT_EQ(ThreadSharedRecord().DiscByteCount, 0);
  });
}

TEST(ZskDisc, DesignsComeBackAndADeletedOnesBlocksAreReused) {
  OnFreshThread([] {
    Disc disc;
    const std::vector<int> sizes = {40, 2000, 700, 5000};
    for (size_t i = 0; i < sizes.size(); ++i) {
      test::WriteBytes(disc.dir / ("s" + std::to_string(i) + ".DST"),
                       test::ZigzagDst(sizes[i], 30, -20, 60));
      ASSERT_EQ(disc.tavlin.WriteToDisc(disc.dir / ("s" + std::to_string(i) + ".DST"), "",
                                        ZSKDisc, disc.progress),
                0);
    }
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    ASSERT_EQ(disc.Lines().size(), 4u);
    for (int16_t line = 0; line < 4; ++line) {
      ASSERT_FALSE(disc.Read(line).empty());
      EXPECT_EQ(test::NeedlesOf(disc.LastRead()),
                test::NeedlesOf(disc.dir / ("s" + std::to_string(line) + ".DST")))
          << line;
    }
    const std::vector<std::string> before = disc.Designs();
    // Delete the second; a new design of the same size takes its blocks.
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    const int32_t freeBefore = disc.tavlin.FreeStitches();
    ASSERT_EQ(disc.tavlin.DeleteFromDisc(1, "", ZSKDisc), 0);
    EXPECT_GT(disc.tavlin.FreeStitches(), freeBefore);
    EXPECT_EQ(ZskField(disc.Table(), 2), 10);  // the freed chain heads the free list
    test::WriteBytes(disc.dir / "new.DST", test::ZigzagDst(1999, -5, 5));
    ASSERT_EQ(disc.tavlin.WriteToDisc(disc.dir / "new.DST", "", ZSKDisc, disc.progress), 0);
    const std::vector<std::string> after = disc.Designs();
    ASSERT_EQ(after.size(), 4u);
    EXPECT_TRUE(after[0] == before[0] && after[1] == before[2] && after[2] == before[3]);
    EXPECT_EQ(test::NeedlesOf(disc.LastRead()),
              test::NeedlesOf(disc.dir / "new.DST"));
    const std::string directory = disc.Directory();
    // Four records behind four pointers and four zero bytes: the new one is the last.
    // Number 2 again, 6 blocks (6005 bytes of stream), from block 10 on.
    EXPECT_EQ(directory.substr(16 + 3 * 20, 6), Bytes({2, 0, 6, 0, 10, 0}));
  });
}

TEST(ZskDisc, EndMarksAreReadAsTheyShould) {
  OnFreshThread([] {
    Disc disc;
    // One design in block 9, whose stream is written here by hand.
    const std::string record = Bytes({1, 0, 1, 0, 9, 0, 9, 0}) + std::string(12, '\0');
    disc.Patch(BlockOffset(8), ZskDirectoryOf(Bytes({0, 0x40}), {record}));
    std::string table = disc.Table();
    table.replace(2 * 9, 2, Bytes({0, 0}));
    disc.Patch(Offset(0, 0, 12), table);
    const std::string stitch = Bytes({5, 3, 0x80});  // (3, 5), a stitch
    struct Case {
      const char* what;
      std::string stream;
      size_t stitches;
    };
    const std::vector<Case> cases = {
        {"0x90", stitch + stitch + Bytes({0, 0, 0x90}), 2},
        {"0x91", stitch + Bytes({0, 0, 0x91}) + stitch, 1},
        {"three zeros", stitch + stitch + stitch + Bytes({0, 0, 0}), 3},
        // The mark belongs to the data: 0x00 0x00 0xF1 is read as a stitch of code 17.
        {"0xF1", stitch + Bytes({0, 0, 0xF1}), 2},
    };
    for (const Case& c : cases) {
      std::string block = Bytes({0, 0}) + c.stream;
      block.resize(1024, '\x55');
      disc.Patch(BlockOffset(9), block);
      ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0) << c.what;
      ASSERT_FALSE(disc.Read(0).empty()) << c.what;
      EXPECT_EQ(test::NeedlesOf(disc.LastRead()).size(),
                c.stitches)
          << c.what;
    }
  });
}

TEST(ZskDisc, ADamagedChainEndsTheReadWithoutHanging) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(1000)), 0);  // blocks 9, 10, 11
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    // Wipe the end mark, and make the chain loop back, then leave the disc.
    std::string bytes = disc.Bytes();
    for (int block : {9, 10, 11}) {
      bytes.replace(BlockOffset(block), 1024, std::string(1024, '\x55'));
    }
    test::WriteBytes(disc.image, bytes);
    BindDriveImage(0, disc.image);
    for (const std::string& link : {Bytes({9, 0}), Bytes({0x80, 0x02})}) {
      std::string table = disc.Table();
      table.replace(2 * 11, 2, link);
      disc.Patch(Offset(0, 0, 12), table);
      int16_t result = 0;
      EXPECT_TRUE(disc.Read(0, &result).empty());
      EXPECT_EQ(result, 1);
      EXPECT_FALSE(std::filesystem::exists(disc.LastRead()));
    }
  });
}

TEST(ZskDisc, AFailedTableOrDirectoryLosesNothingThatStood) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(800)), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(90)), 0);
    const std::vector<std::string> before = disc.Designs();
    ASSERT_EQ(before.size(), 2u);
    // The designs take blocks 9 to 12; the next begins at block 13, track 1 head 1.
    for (const test::WriteFault& fault : {test::WriteFault{"data", 1, 1, 6}, test::WriteFault{"table", 0, 0, 14},
                                          test::WriteFault{"directory", 1, 0, 3}}) {
      disc.ExpectSafeFailure(fault, test::ZigzagDst(600), before);
    }
    // A delete whose directory can't be written answers 1 and changes nothing.
    const std::vector<std::string> standing = disc.Designs();
    ASSERT_EQ(disc.tavlin.DirectoryZSK(), 0);
    disc.FailWrites([](int track, int, int) { return track == 1; });
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "", ZSKDisc), 1);
    disc.FailWrites(nullptr);
    EXPECT_TRUE(disc.Designs() == standing);
  });
}

}  // namespace
}  // namespace tavlin
