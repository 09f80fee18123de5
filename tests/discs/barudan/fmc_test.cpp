// FMC discs in images: formatted, written, listed, read back, deleted, and failing
// where a test says so without losing what stood on the disc.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/tavlin.h"
#include "disc_fixture.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::OnFreshThread;

constexpr size_t kSector = 256;

size_t Offset(int track, int head, int sector) { return test::SectorOffset(track, head, sector); }

struct Disc : test::DiscImage {
  Disc() : DiscImage(ImageFamily::Fmc, FMC) { EXPECT_EQ(formatResult, 0); }
};

using test::Needle;

TEST(FmcDisc, AFreshDiscListsNothingThenOneDesign) {
  OnFreshThread([] {
    Disc disc;
    EXPECT_EQ(disc.tavlin.DirectoryFMC(), 2);
    EXPECT_EQ(disc.tavlin.DiscType(), 2);
    EXPECT_EQ(disc.tavlin.Format(), "");
    EXPECT_EQ(disc.tavlin.FreeStitches(), 0);

    const std::string source = test::ZigzagDst(20, 40, -30, 7);
    ASSERT_EQ(disc.Write(source), 0);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    // 1 jump, 20 stitches, 2 colour changes and the end record: 24 records.
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"A01     .DAT       24"});
    EXPECT_EQ(disc.tavlin.Files(), std::string("A01     .DAT       24") + '\0');
    EXPECT_EQ(disc.tavlin.Format(), "Barudan FMC");
    EXPECT_EQ(disc.tavlin.FreeStitches(), 387072);

    const std::string bytes = disc.Bytes();
    // The directory entry: name, record byte (72 bytes of data: (72 + 160) / 128
    // rounds to 2), and block 2.
    const std::string entry = bytes.substr(Offset(2, 0, 1) + 32, 32);
    EXPECT_EQ(entry, std::string(1, '\0') + "A01     DAT" + std::string(3, '\0') + "\x02\x02" +
                         std::string(15, '\0'));
    // The index record is the 36th, in the first half of sector 13.
    EXPECT_EQ(bytes.substr(Offset(2, 1, 13) + 96, 32),
              "A01     FMC 01" + std::string(18, ' '));
    EXPECT_EQ(bytes.substr(Offset(2, 1, 13) + 128, 128), std::string(128, '\xE5'));
    // The design's first sector: the count 24 packed, its extents, its number.
    const std::string first = bytes.substr(Offset(3, 0, 1), kSector);
    EXPECT_EQ(first.substr(0, 8), Bytes({0, 0, 0, 0, 0x00, 0x00, 0x24, 2}));
    EXPECT_EQ(first.substr(32, 24), "FMC 01" + std::string(18, ' '));
    EXPECT_EQ(first.substr(56, 70), std::string(70, '\0'));
    // A design under 44 stitches ends in its first sector; the next piece holds only
    // the end record.
    EXPECT_EQ(first.substr(126 + 69, 3), Bytes({0xF8, 0, 0}));
    EXPECT_EQ(bytes.substr(Offset(3, 0, 4), kSector), Bytes({0xF8, 0, 0}) + std::string(253, '\0'));

    ASSERT_TRUE(disc.ReadsBackAs(0, source));
    ASSERT_EQ(Convert(disc.LastRead(), disc.dir / "back.DST").value(), 0);
    test::WriteBytes(disc.dir / "source.DST", source);
    EXPECT_EQ(test::NeedlesOf(disc.dir / "back.DST"), test::NeedlesOf(disc.dir / "source.DST"));
    // No working file is left behind.
    EXPECT_FALSE(std::filesystem::exists(disc.dir / "$TEMP.TMP"));
  });
}

TEST(FmcDisc, ExtentsGoIntoTheFirstSectorAndComeBackInTheHeader) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::DstFile({{KindStitch, 100, 50}, {KindStitch, -120, -110}})), 0);
    const std::string first = disc.Bytes().substr(Offset(3, 0, 1), kSector);
    // -X 20, +X 100 negated, -Y 60 (down), +Y 50 negated.
    EXPECT_EQ(first.substr(8, 8), IntToBytes2(20) + IntToBytes2(-100) + IntToBytes2(60) +
                                      IntToBytes2(-50));
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    const std::string qep = disc.Read(0);
    EXPECT_EQ(qep.substr(38, 36), "+X:  100\r-X:   20\r+Y:   50\r-Y:   60\r");
  });
}

TEST(FmcDisc, ADesignOfSixteenBlocksGetsAFurtherEmptyEntry) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(21000)), 0);
    const std::string bytes = disc.Bytes();
    const std::string first = bytes.substr(Offset(2, 0, 1) + 32, 32);
    EXPECT_EQ(first.substr(0, 16), std::string(1, '\0') + "A01     DAT" + "\x03" +
                                       std::string(2, '\0') + "\x80");
    for (int b = 0; b < 16; ++b) EXPECT_EQ(static_cast<uint8_t>(first[16 + static_cast<size_t>(b)]), 2 + b);
    const std::string further = bytes.substr(Offset(2, 0, 1) + 64, 32);
    EXPECT_EQ(further.substr(0, 12), std::string(1, '\0') + "A01     DAT");
    EXPECT_EQ(further.substr(16), std::string(16, '\0'));
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"A01     .DAT    21002"});
    // 16 blocks used: 142 free at 4096 bytes, and 238 of 2 to 255 at 2048 more.
    EXPECT_EQ(disc.tavlin.FreeStitches(), (142 * 4096 + 238 * 2048) / 3);
    EXPECT_TRUE(disc.ReadsBackAs(0, test::ZigzagDst(21000)));
  });
}

TEST(FmcDisc, NumbersAreReusedAndTheIndexFollows) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 3; ++i) ASSERT_EQ(disc.Write(test::ZigzagDst(10 + i)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    ASSERT_EQ(disc.Lines().size(), 3u);
    EXPECT_EQ(disc.tavlin.FreeStitches(), (155 * 4096 + 251 * 2048) / 3);
    ASSERT_EQ(disc.tavlin.DeleteFromDisc(1, "", FMC), 0);
    // The free room grows by the block, the index record of A02 is blank again.
    EXPECT_EQ(disc.tavlin.FreeStitches(), (155 * 4096 + 251 * 2048 + 4096) / 3);
    EXPECT_EQ(disc.Bytes().substr(Offset(2, 1, 13) + 64, 32), std::string(32, ' '));
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines(), (std::vector<std::string>{"A01     .DAT       12",
                                                      "A03     .DAT       14"}));
    ASSERT_EQ(disc.Write(test::ZigzagDst(30)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines(), (std::vector<std::string>{"A01     .DAT       12",
                                                      "A02     .DAT       32",
                                                      "A03     .DAT       14"}));
    // Deleting a slot the listing doesn't hold changes nothing.
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(7, "", FMC), 2);
  });
}

TEST(FmcDisc, TheThirtySeventhHasNoIndexRecordAndNinetyNineLeaveNoNumber) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 37; ++i) ASSERT_EQ(disc.Write(test::ZigzagDst(5)), 0) << i;
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    ASSERT_EQ(disc.Lines().size(), 37u);
    EXPECT_EQ(disc.Lines().back(), "A37     .DAT        7");
    const std::string bytes = disc.Bytes();
    std::string index;
    for (int sector : {1, 4, 7, 10}) index += bytes.substr(Offset(2, 1, sector), kSector);
    index += bytes.substr(Offset(2, 1, 13), 128);
    EXPECT_NE(index.find("A36     FMC 36"), std::string::npos);
    EXPECT_EQ(index.find("A37"), std::string::npos);
    // The records fill from the last: the first design's record is the 36th.
    EXPECT_EQ(index.substr(35 * 32, 3), "A01");
    EXPECT_EQ(index.substr(0, 3), "A36");

    for (int i = 37; i < 99; ++i) ASSERT_EQ(disc.Write(test::ZigzagDst(3)), 0) << i;
    // The hundredth is refused before any conversion: a HUS source would fail there.
    test::WriteBytes(disc.dir / "x.HUS", "closed format");
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "x.HUS", "", FMC, disc.progress), 4);
    EXPECT_EQ(disc.Write(test::ZigzagDst(3)), 4);
    EXPECT_TRUE(disc.progress->maxima.size() == 99u);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines().size(), 99u);
  });
}

TEST(FmcDisc, ADesignLargerThanTheFreeRoomIsRefused) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(100)), 0);
    const std::string before = disc.Bytes();
    // 157 free blocks hold 643,072 bytes. The DSB of n stitches is 512 + 3 x (n + 2)
    // bytes, its header counted whole: 214,185 stitches are one byte too many.
    EXPECT_EQ(disc.Write(test::ZigzagDst(214185)), 5);
    EXPECT_EQ(disc.Bytes(), before);
    EXPECT_EQ(disc.Write(test::ZigzagDst(214184)), 0);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines().size(), 2u);
    EXPECT_EQ(disc.Lines()[1], "A02     .DAT   214186");
  });
}

TEST(FmcDisc, WritesAndDeletesCheckTheirInput) {
  OnFreshThread([] {
    Disc disc;
    EXPECT_EQ(disc.tavlin.WriteToDisc("", "", FMC, disc.progress), 2);
    test::WriteBytes(disc.dir / "x.XYZ", "?");
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "x.XYZ", "", FMC, disc.progress), 2);
    // A conversion that fails stops the write before the disc is touched.
    const std::string before = disc.Bytes();
    test::WriteBytes(disc.dir / "wide.DST",
                     test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})));
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "wide.DST", "", FMC, disc.progress), 6);
    EXPECT_EQ(disc.Bytes(), before);
    int16_t result = 0;
    EXPECT_TRUE(disc.Read(0, &result).empty());
    EXPECT_EQ(result, 2);
    // A disc of another family has no FMC signature.
    test::TempDir other;
    test::WriteBytes(other / "zsk.img", std::string(static_cast<size_t>(ImageBytes(ImageFamily::Zsk)), '\0'));
    BindDriveImage(0, other / "zsk.img");
    ASSERT_EQ(disc.tavlin.FormatDisc(ZSKDisc), 0);
    EXPECT_EQ(disc.tavlin.DirectoryFMC(), 3);
    EXPECT_EQ(disc.Write(test::ZigzagDst(3)), 1);
  });
}

TEST(FmcDisc, AnOldListingFindsItsDesignsByNameAfterTheDiscChanged) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(disc.Write(test::ZigzagDst(10 + 10 * i), "d" + std::to_string(i) + ".DST"), 0);
    }
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    const std::string third = disc.Read(2);
    ASSERT_FALSE(third.empty());
    ASSERT_EQ(disc.tavlin.DeleteFromDisc(1, "", FMC), 0);
    ASSERT_EQ(disc.tavlin.DeleteFromDisc(0, "", FMC), 0);
    // A design of two entries takes number 01 and entries 1 and 2; the next, 02, entry 4.
    ASSERT_EQ(disc.Write(test::ZigzagDst(25000)), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(3)), 0);
    // The host's old slot 3 (line 2) is A03, now second on the disc.
    EXPECT_EQ(disc.Read(2), third);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines(), (std::vector<std::string>{"A01     .DAT    25002",
                                                      "A03     .DAT       32",
                                                      "A02     .DAT        5"}));
  });
}

using test::StillStand;

TEST(FmcDisc, AFailedSectorLosesNothingThatStood) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(500)), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(3000)), 0);
    const std::vector<std::string> before = disc.Designs();
    ASSERT_EQ(before.size(), 2u);
    // The next design's first data block is block 6 (track 5, head 0); the index and
    // the directory are on track 2.
    for (const test::WriteFault& fault : {test::WriteFault{"data", 5, 0, 7}, test::WriteFault{"index", 2, 1, 10},
                                          test::WriteFault{"directory", 2, 0, 9}}) {
      disc.ExpectSafeFailure(fault, test::ZigzagDst(2000), before);
    }
    // A delete whose index or directory can't be written answers 1.
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    disc.FailWrites([](int track, int head, int) { return track == 2 && head == 1; });
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "", FMC), 1);
    disc.FailWrites(nullptr);
    EXPECT_TRUE(StillStand(before, disc.Designs()));
    // A read whose track side can't be read answers 1 and makes no file.
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    PlatformState& platform = ThreadSharedRecord().platform;
    platform.fault = [](SectorOp op, int track, int, int sector) {
      return op == SectorOp::Read && track == 3 && sector == 16;
    };
    int16_t result = 0;
    EXPECT_TRUE(disc.Read(0, &result).empty());
    EXPECT_EQ(result, 1);
    EXPECT_FALSE(std::filesystem::exists(disc.LastRead()));
    platform.fault = nullptr;
  });
}

TEST(FmcDisc, AReadWhoseBlocksEndEarlyMakesNoFile) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(200)), 0);
    // Claim 999,999 stitches in the design's first sector.
    std::string bytes = disc.Bytes();
    bytes.replace(Offset(3, 0, 1) + 4, 4, Bytes({0x99, 0x99, 0x99, 6}));
    test::WriteBytes(disc.image, bytes);
    BindDriveImage(0, disc.image);
    ASSERT_EQ(disc.tavlin.DirectoryFMC(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"A01     .DAT   999999"});
    int16_t result = 0;
    EXPECT_TRUE(disc.Read(0, &result).empty());
    EXPECT_EQ(result, 1);
  });
}

}  // namespace
}  // namespace tavlin
