// Disc images behave as a floppy controller would: the right size and density, inside
// the geometry, formatted by address table, and failing where a test says so.
#include <gtest/gtest.h>

#include "platform/drives.h"
#include "services/sector_service.h"
#include "test_support.h"

namespace tavlin {
namespace {

TEST(DiscImages, GeometryComesFromTheSizeOrIsNamed) {
  EXPECT_EQ(ImageBytes(ImageFamily::Fmc), 82 * 2 * 16 * 256);
  EXPECT_EQ(ImageBytes(ImageFamily::Zsk), 80 * 2 * 16 * 256);
  EXPECT_EQ(ImageBytes(ImageFamily::Dos720), 80 * 2 * 9 * 512);
  EXPECT_EQ(ImageBytes(ImageFamily::Dos1440), 80 * 2 * 18 * 512);
  EXPECT_TRUE(GeometryFromSize(1474560)->highDensity);
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "odd.img", std::string(1000, '\0'));
  EXPECT_THROW(BindImage(platform, 0, dir / "odd.img", ImageFamily::FromSize), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 0, dir / "odd.img", ImageFamily::Fmc), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 0, dir / "none.img", ImageFamily::Fmc), std::runtime_error);
  EXPECT_THROW(BindImage(platform, 26, dir / "odd.img", ImageFamily::Fmc), std::runtime_error);
}

// A read at the controller's sector size and density, of a sector of the geometry, is
// the only one that goes through. Sector size 0: as the controller starts, at 512.
TEST(DiscImages, TheWrongSizeDensityOrAddressFails) {
  const struct {
    ImageFamily image;
    int sectorSize;
    bool highDensity;
    uint8_t drive, sector, track, head;
    bool reads;
  } cases[] = {{ImageFamily::Zsk, 0, false, 0, 1, 0, 0, false},    {ImageFamily::Zsk, 256, true, 0, 1, 0, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 1, 0, 0, true},    {ImageFamily::Zsk, 256, false, 0, 17, 0, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 0, 0, 0, false},   {ImageFamily::Zsk, 256, false, 0, 1, 80, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 1, 0, 2, false},   {ImageFamily::Zsk, 256, false, 1, 1, 0, 0, false},
               {ImageFamily::Fmc, 256, false, 0, 16, 81, 1, true},  {ImageFamily::Dos1440, 512, false, 0, 18, 0, 0, false},
               {ImageFamily::Dos1440, 512, true, 0, 18, 0, 0, true}};
  for (const auto& c : cases) {
    test::TempDir dir;
    PlatformState platform;
    test::WriteBytes(dir / "disc.img", std::string(static_cast<size_t>(ImageBytes(c.image)), '\0'));
    BindImage(platform, 0, dir / "disc.img", ImageFamily::FromSize);
    BindDirectory(platform, 1, dir.path().string());  // drive B: is a folder, without sectors
    if (c.sectorSize == 256) SetVector25632(platform);
    if (c.sectorSize == 512) SetVector51232(platform);
    c.highDensity ? SetDiscDSHD32(platform) : SetDiscDSDD32(platform);
    std::array<uint8_t, 1092> buffer{};
    EXPECT_EQ(ReadSector32(platform, c.drive, buffer.data(), 1092, c.sector, c.track, c.head) == kSectorOk, c.reads)
        << ImageBytes(c.image) << " " << c.sectorSize << (c.highDensity ? " HD " : " DD ") << c.drive << ":" << c.track
        << "/" << c.head << "/" << c.sector;
  }
}

TEST(DiscImages, SectorsGoWhereCylinderHeadAndIdSayAndFailWhereATestSays) {
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "disc.img", std::string(655360, '\0'));
  BindImage(platform, 0, dir / "disc.img", ImageFamily::FromSize);
  SetVector25632(platform);
  SetDiscDSDD32(platform);
  std::array<uint8_t, 1092> buffer{};
  buffer.fill(0x5A);
  EXPECT_NE(WriteSector32(platform, 0, buffer.data(), 100, 3, 2, 1), kSectorOk);  // a buffer short of a sector
  ASSERT_EQ(WriteSector32(platform, 0, buffer.data(), 1092, 3, 2, 1), kSectorOk);
  platform.fault = [](SectorOp op, int track, int head, int sector) {
    return op == SectorOp::Write && track == 40 && head == 0 && sector == 2;
  };
  EXPECT_EQ(WriteSector32(platform, 0, buffer.data(), 1092, 1, 40, 0), kSectorOk);
  EXPECT_NE(WriteSector32(platform, 0, buffer.data(), 1092, 2, 40, 0), kSectorOk);
  buffer.fill(0);
  ASSERT_EQ(ReadSector32(platform, 0, buffer.data(), 1092, 3, 2, 1), kSectorOk);
  EXPECT_EQ(buffer[255] * 256 + buffer[256], 0x5A00);  // one sector's worth, no more
  const std::string bytes = test::ReadBytes(dir / "disc.img");
  EXPECT_EQ(bytes.substr(((2 * 2 + 1) * 16 + 2) * 256 - 1, 258), '\0' + std::string(256, '\x5A') + '\0');
  EXPECT_EQ(bytes.substr((40 * 2 * 16) * 256, 512), std::string(256, '\x5A') + std::string(256, '\0'));
}

TEST(DiscImages, FormattingATrackFillsItBySectorIdsWithE5) {
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "disc.img", std::string(737280, '\0'));
  test::WriteBytes(dir / "hd.img", std::string(1474560, '\0'));
  BindImage(platform, 0, dir / "disc.img", ImageFamily::FromSize);
  BindImage(platform, 1, dir / "hd.img", ImageFamily::FromSize);
  SetVector51232(platform);
  SetDiscDSDD32(platform);
  std::array<uint8_t, 1092> table{};
  FillAddressTable(table.data(), 5, 1, 2);
  EXPECT_EQ(std::vector<uint8_t>(table.begin(), table.begin() + 4), (std::vector<uint8_t>{5, 1, 1, 2}));
  EXPECT_EQ(table[4 * 16 + 2], 17);
  ASSERT_EQ(FormatTrack32(platform, 0, table.data(), 1092, 5, 1, 2), kSectorOk);
  const size_t track = (5 * 2 + 1) * 9 * 512;
  EXPECT_EQ(test::ReadBytes(dir / "disc.img").substr(track - 1, 9 * 512 + 2), '\0' + std::string(9 * 512, '\xE5') + '\0');
  // A table for another track side, or of another size, is refused; so is a track of
  // 18 sectors, which the 17 records can't lay out.
  EXPECT_NE(FormatTrack32(platform, 0, table.data(), 1092, 6, 1, 2), kSectorOk);
  FillAddressTable(table.data(), 5, 1, 1);
  EXPECT_NE(FormatTrack32(platform, 0, table.data(), 1092, 5, 1, 1), kSectorOk);
  FillAddressTable(table.data(), 0, 0, 2);
  SetDiscDSHD32(platform);
  EXPECT_NE(FormatTrack32(platform, 1, table.data(), 1092, 0, 0, 2), kSectorOk);
}

}  // namespace
}  // namespace tavlin
