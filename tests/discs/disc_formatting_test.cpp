// Blank discs of every family, byte for byte, and a DOS disc that mtools reads.
#include <gtest/gtest.h>


#include "state/shared_record.h"
#include "discs/dos/dos_disc.h"
#include "tavlin/tavlin.h"
#include "disc_fixture.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::OnFreshThread;

struct Blank {
  Blank(ImageFamily family, int16_t formatType) : image(dir / "disc.img") {
    test::WriteBytes(image, std::string(static_cast<size_t>(ImageBytes(family)), '\0'));
    BindDriveImage(0, image);
    result = Tavlin().FormatDisc(formatType);
    bytes = test::ReadBytes(image);
  }
  // A sector of the image.
  std::string At(int track, int head, int sector, size_t size = 256) const {
    return bytes.substr(test::SectorOffset(track, head, sector, size == 512 ? 9 : 16, size), size);
  }
  test::TempDir dir;
  std::string image;
  int16_t result = -1;
  std::string bytes;
};

TEST(Formatting, AnFmcDiscHasItsSignatureIndexAndFreeDirectory) {
  OnFreshThread([] {
    Blank disc(ImageFamily::Fmc, FMC);
    ASSERT_EQ(disc.result, 0);
    EXPECT_EQ(disc.At(2, 0, 1),
              std::string(1, '\0') + "FILE    DIR" + std::string(3, '\0') + "\x09\x01" +
                  std::string(15, '\0') + std::string(224, '\xE5'));
    for (int sector : {1, 4, 7, 10}) EXPECT_EQ(disc.At(2, 1, sector), std::string(256, ' '));
    EXPECT_EQ(disc.At(2, 1, 13), std::string(128, ' ') + std::string(128, '\xE5'));
    EXPECT_EQ(disc.At(2, 0, 16), std::string(256, '\xE5'));
    EXPECT_EQ(disc.At(79, 1, 14), std::string(256, '\xE5'));
    // 80 tracks whatever the kind: tracks 80 and 81 stay as they were.
    EXPECT_EQ(disc.At(80, 0, 1), std::string(256, '\0'));
    EXPECT_EQ(disc.At(81, 1, 16), std::string(256, '\0'));
  });
}

TEST(Formatting, AnFdr3DiscHasAnEmptyDirectoryTrack) {
  OnFreshThread([] {
    Blank disc(ImageFamily::Fdr3, FDR3);
    ASSERT_EQ(disc.result, 0);
    for (int sector = 1; sector <= 16; ++sector) {
      EXPECT_EQ(disc.At(40, 0, sector), std::string(256, '\xFF'));
    }
    EXPECT_EQ(disc.At(40, 1, 1), std::string(256, '\xE5'));
  });
}

TEST(Formatting, AZskDiscHasItsLabelTableAndDirectory) {
  OnFreshThread([] {
    Blank disc(ImageFamily::Zsk, ZSKDisc);
    ASSERT_EQ(disc.result, 0);
    EXPECT_EQ(disc.At(0, 0, 11).substr(0, 20),
              "ZSK-DISK  KS" + Bytes({1, 0, 0, 0, 1, 0, 1, 0}));
    EXPECT_EQ(disc.At(0, 0, 11).substr(20), std::string(236, '\0'));
    std::string table;
    for (int sector = 12; sector <= 16; ++sector) table += disc.At(0, 0, sector);
    EXPECT_EQ(table.substr(0, 18),
              Bytes({0x77, 0x02, 0x09, 0x00, 0x7F, 0x02, 0x01, 0x00, 0x08, 0x00, 0x08, 0x00}) +
                  std::string(6, '\0'));
    for (int block = 10; block <= 639; ++block) {
      ASSERT_EQ(Bytes2ToInt(table.substr(18 + 2 * static_cast<size_t>(block - 10), 2)), block);
    }
    EXPECT_EQ(table.substr(1278), Bytes({0, 0}));
    EXPECT_EQ(disc.At(1, 0, 1), Bytes({0x00, 0x40, 0x06}) + std::string(253, '\0'));
  });
}

TEST(Formatting, ADosDiscHasItsBootSectorAndFats) {
  OnFreshThread([] {
    Blank disc(ImageFamily::Dos720, OtherDOS);
    ASSERT_EQ(disc.result, 0);
    const std::string boot = disc.At(0, 0, 1, 512);
    EXPECT_EQ(boot, BuildBootSector() + std::string(12, '\0'));
    EXPECT_EQ(boot.substr(0, 11), "\xEB\x28\x90" "BRISK v1");
    // 512 bytes a sector, 2 a cluster, 1 reserved, 2 FATs, 112 entries, 1440 sectors,
    // media 0xF9, 3 sectors a FAT, 9 a track, 2 heads.
    EXPECT_EQ(boot.substr(11, 17), Bytes({0x00, 0x02, 0x02, 0x01, 0x00, 0x02, 0x70, 0x00, 0xA0,
                                          0x05, 0xF9, 0x03, 0x00, 0x09, 0x00, 0x02, 0x00}));
    EXPECT_EQ(boot.substr(42, 3), Bytes({0xFA, 0x33, 0xC0}));
    EXPECT_EQ(boot.substr(92, 16), "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n");
    EXPECT_EQ(boot.substr(92 + 16, 48), std::string(30, ' ') + "Hey Dude, Yes You!");
    EXPECT_EQ(boot.substr(92 + 271 - 18, 18), "Tarnwick Software.");
    EXPECT_EQ(boot.substr(363), std::string(149, '\0'));
    const std::string fat = Bytes({0xF9, 0xFF, 0xFF}) + std::string(509, '\0');
    EXPECT_EQ(disc.At(0, 0, 2, 512), fat);
    EXPECT_EQ(disc.At(0, 0, 5, 512), fat);
    for (int sector : {3, 4, 6, 7, 8, 9}) EXPECT_EQ(disc.At(0, 0, sector, 512), std::string(512, '\0'));
    for (int sector = 1; sector <= 6; ++sector) {
      EXPECT_EQ(disc.At(0, 1, sector, 512), std::string(512, '\0'));
    }
    EXPECT_EQ(disc.At(0, 1, 7, 512), std::string(512, '\xE5'));
  });
}

TEST(Formatting, Format720MakesTheSameDiscThroughTheDesignFileService) {
  OnFreshThread([] {
    test::TempDir dir;
    Blank reference(ImageFamily::Dos720, OtherDOS);
    test::WriteBytes(dir / "b.img", std::string(737280, '\0'));
    BindDriveImage(0, dir / "b.img");
    EXPECT_TRUE(Tavlin().Format720());
    EXPECT_EQ(test::ReadBytes(dir / "b.img"), reference.bytes);
    // Not a 720 KB disc: nothing is opened.
    Blank zsk(ImageFamily::Zsk, ZSKDisc);
    EXPECT_FALSE(Tavlin().Format720());
  });
}

TEST(Formatting, MtoolsListsAFreshDosDiscAsEmpty) {
  OnFreshThread([] {
    Blank disc(ImageFamily::Dos720, OtherDOS);
    ASSERT_EQ(disc.result, 0);
    const std::string listing = test::Mtools(disc.dir, "mdir -i " + disc.image + " ::");
    EXPECT_NE(listing.find("No files"), std::string::npos) << listing;
    // 713 clusters of 1024 bytes behind the boot sector, two FATs and the root.
    EXPECT_NE(listing.find("730 112 bytes free"), std::string::npos) << listing;
  });
}

TEST(Formatting, FailuresAndFormatTypes) {
  OnFreshThread([] {
    Tavlin tavlin;
    // No disc bound: the first track fails.
    EXPECT_EQ(tavlin.FormatDisc(FMC), 1);
    // The FMC kind on a disc whose sectors are 512 bytes fails too.
    test::TempDir dir;
    test::WriteBytes(dir / "dos.img", std::string(737280, '\0'));
    BindDriveImage(0, dir / "dos.img");
    EXPECT_EQ(tavlin.FormatDisc(FMC), 1);
    // 5 and 18 format a DOS disc as 3 does.
    EXPECT_EQ(tavlin.FormatDisc(5), 0);
    EXPECT_EQ(tavlin.FormatDisc(18), 0);
    // A write of the file system that fails after its attempts gives 1.
    ThreadSharedRecord().platform.fault = [](SectorOp op, int track, int head, int sector) {
      return op == SectorOp::Write && track == 0 && head == 0 && sector == 5;
    };
    EXPECT_EQ(tavlin.FormatDisc(OtherDOS), 1);
    EXPECT_FALSE(tavlin.Format720());
    ThreadSharedRecord().platform.fault = nullptr;
  });
}

}  // namespace
}  // namespace tavlin
