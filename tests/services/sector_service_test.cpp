// Disc images behave as a floppy controller would: the right size and density, inside
// the geometry, formatted by address table, and failing where a test says so.
#include <gtest/gtest.h>

#include "platform/drives.h"
#include "services/sector_service.h"
#include "test_support.h"

namespace tavlin {
namespace {

struct Image {
  explicit Image(ImageFamily family, const std::string& name = "disc.img") {
    path = dir / name;
    test::WriteBytes(path, std::string(static_cast<size_t>(ImageBytes(family)), '\0'));
    BindImage(platform, 0, path, ImageFamily::FromSize);
  }
  test::TempDir dir;
  std::string path;
  PlatformState platform;
  std::array<uint8_t, 1092> buffer{};
};

TEST(DiscImages, GeometryComesFromTheSizeOrIsNamed) {
  EXPECT_EQ(ImageBytes(ImageFamily::Fmc), 82 * 2 * 16 * 256);
  EXPECT_EQ(ImageBytes(ImageFamily::Zsk), 80 * 2 * 16 * 256);
  EXPECT_EQ(ImageBytes(ImageFamily::Dos720), 737280);
  EXPECT_EQ(ImageBytes(ImageFamily::Dos1440), 1474560);
  EXPECT_TRUE(GeometryFromSize(1474560)->highDensity);
  EXPECT_FALSE(GeometryFromSize(1000).has_value());
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "odd.img", std::string(1000, '\0'));
  EXPECT_THROW(BindImage(platform, 0, dir / "odd.img", ImageFamily::FromSize), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 0, dir / "odd.img", ImageFamily::Fmc), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 0, dir / "none.img", ImageFamily::Fmc), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 26, dir / "odd.img", ImageFamily::Fmc), std::runtime_error);
}

TEST(DiscImages, SectorsGoWhereCylinderHeadAndIdSay) {
  Image image(ImageFamily::Zsk);
  SetVector25632(image.platform);
  SetDiscDSDD32(image.platform);
  image.buffer.fill(0x5A);
  ASSERT_EQ(WriteSector32(image.platform, 0, image.buffer.data(), 1092, 3, 2, 1), kSectorOk);
  image.buffer.fill(0);
  ASSERT_EQ(ReadSector32(image.platform, 0, image.buffer.data(), 1092, 3, 2, 1), kSectorOk);
  EXPECT_EQ(image.buffer[0], 0x5A);
  EXPECT_EQ(image.buffer[255], 0x5A);
  EXPECT_EQ(image.buffer[256], 0);  // one sector's worth, no more
  const std::string bytes = test::ReadBytes(image.path);
  const size_t offset = ((2 * 2 + 1) * 16 + 2) * 256;
  EXPECT_EQ(bytes.substr(offset, 256), std::string(256, '\x5A'));
  EXPECT_EQ(bytes[offset - 1], '\0');
  EXPECT_EQ(bytes[offset + 256], '\0');
}

TEST(DiscImages, TheWrongSizeDensityOrAddressFails) {
  Image zsk(ImageFamily::Zsk);
  uint8_t* b = zsk.buffer.data();
  // The controller starts at 512-byte sectors: a 256-byte disc can't be read so.
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 1, 0, 0), kSectorOk);
  SetVector25632(zsk.platform);
  SetDiscDSHD32(zsk.platform);
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 1, 0, 0), kSectorOk);
  SetDiscDSDD32(zsk.platform);
  EXPECT_EQ(ReadSector32(zsk.platform, 0, b, 1092, 1, 0, 0), kSectorOk);
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 17, 0, 0), kSectorOk);
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 0, 0, 0), kSectorOk);
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 1, 80, 0), kSectorOk);
  EXPECT_NE(ReadSector32(zsk.platform, 0, b, 1092, 1, 0, 2), kSectorOk);
  EXPECT_NE(WriteSector32(zsk.platform, 0, b, 100, 1, 0, 0), kSectorOk);
  // No disc in drive B:, nor in a drive bound to a folder, which has no sectors.
  EXPECT_NE(ReadSector32(zsk.platform, 1, b, 1092, 1, 0, 0), kSectorOk);
  BindDirectory(zsk.platform, 1, zsk.dir.path().string());
  EXPECT_NE(ReadSector32(zsk.platform, 1, b, 1092, 1, 0, 0), kSectorOk);

  Image fmc(ImageFamily::Fmc);
  SetVector25632(fmc.platform);
  SetDiscDSDD32(fmc.platform);
  EXPECT_EQ(ReadSector32(fmc.platform, 0, fmc.buffer.data(), 1092, 16, 81, 1), kSectorOk);

  Image hd(ImageFamily::Dos1440);
  SetVector51232(hd.platform);
  SetDiscDSDD32(hd.platform);
  EXPECT_NE(ReadSector32(hd.platform, 0, hd.buffer.data(), 1092, 18, 0, 0), kSectorOk);
  SetDiscDSHD32(hd.platform);
  EXPECT_EQ(ReadSector32(hd.platform, 0, hd.buffer.data(), 1092, 18, 0, 0), kSectorOk);
}

TEST(DiscImages, FormattingATrackFillsItBySectorIdsWithE5) {
  Image image(ImageFamily::Dos720);
  SetVector51232(image.platform);
  SetDiscDSDD32(image.platform);
  uint8_t* b = image.buffer.data();
  FillAddressTable(b, 5, 1, 2);
  EXPECT_EQ(b[0], 5);
  EXPECT_EQ(b[1], 1);
  EXPECT_EQ(b[2], 1);
  EXPECT_EQ(b[3], 2);
  EXPECT_EQ(b[4 * 16 + 2], 17);
  ASSERT_EQ(FormatTrack32(image.platform, 0, b, 1092, 5, 1, 2), kSectorOk);
  const std::string bytes = test::ReadBytes(image.path);
  const size_t track = (5 * 2 + 1) * 9 * 512;
  EXPECT_EQ(bytes.substr(track, 9 * 512), std::string(9 * 512, '\xE5'));
  EXPECT_EQ(bytes[track - 1], '\0');
  EXPECT_EQ(bytes[track + 9 * 512], '\0');
  // A table for another track side, or of another size, is refused.
  EXPECT_NE(FormatTrack32(image.platform, 0, b, 1092, 6, 1, 2), kSectorOk);
  FillAddressTable(b, 5, 1, 1);
  EXPECT_NE(FormatTrack32(image.platform, 0, b, 1092, 5, 1, 1), kSectorOk);
  // The 17 records can't lay out a track of 18 sectors.
  Image hd(ImageFamily::Dos1440);
  SetDiscDSHD32(hd.platform);
  FillAddressTable(hd.buffer.data(), 0, 0, 2);
  EXPECT_NE(FormatTrack32(hd.platform, 0, hd.buffer.data(), 1092, 0, 0, 2), kSectorOk);
}

TEST(DiscImages, ATestCanFailChosenOperations) {
  Image image(ImageFamily::Fdr3);
  SetVector25632(image.platform);
  image.platform.fault = [](SectorOp op, int track, int head, int sector) {
    return op == SectorOp::Write && track == 40 && head == 0 && sector == 2;
  };
  image.buffer.fill(0xFF);
  uint8_t* b = image.buffer.data();
  EXPECT_EQ(WriteSector32(image.platform, 0, b, 1092, 1, 40, 0), kSectorOk);
  EXPECT_NE(WriteSector32(image.platform, 0, b, 1092, 2, 40, 0), kSectorOk);
  EXPECT_EQ(ReadSector32(image.platform, 0, b, 1092, 2, 40, 0), kSectorOk);
  // The failed write changed nothing on the disc.
  EXPECT_EQ(b[0], 0);
}

}  // namespace
}  // namespace tavlin
