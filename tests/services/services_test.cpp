// Disc images behave as a floppy controller would: the right size and density, inside
// the geometry, formatted by address table, and failing where a test says so; and the
// design-file service's six-step sequence and its disc functions on a 720 KB image.
#include <gtest/gtest.h>

#include "conversion/convert.h"
#include "platform/drives.h"
#include "services/design_file_service.h"
#include "services/sector_service.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

// Zeroed images of these sizes in drives A: and on, with the controller set as given.
void Bind(PlatformState& platform, const test::TempDir& dir, std::vector<ImageFamily> images, int sectorSize, bool high) {
  for (size_t drive = 0; drive < images.size(); ++drive) {
    const std::string path = dir / ("disc" + std::to_string(drive) + ".img");
    test::WriteBytes(path, std::string(static_cast<size_t>(ImageBytes(images[drive])), '\0'));
    BindImage(platform, static_cast<int16_t>(drive), path, ImageFamily::FromSize);
  }
  if (sectorSize != 0) sectorSize == 256 ? SetVector25632(platform) : SetVector51232(platform);
  high ? SetDiscDSHD32(platform) : SetDiscDSDD32(platform);
}

// A read at the controller's sector size and density, of a sector of the geometry, is
// the only one that goes through. Sector size 0: as the controller starts, at 512.
// Drive B: is a folder, without sectors. An image of no geometry is not bound.
TEST(DiscImages, TheWrongSizeDensityOrAddressFails) {
  const struct {
    ImageFamily image;
    int sectorSize;
    bool highDensity;
    uint8_t drive, sector, track, head;
    bool reads;
  } cases[] = {{ImageFamily::Zsk, 0, false, 0, 1, 0, 0, false},   {ImageFamily::Zsk, 256, true, 0, 1, 0, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 1, 0, 0, true},   {ImageFamily::Zsk, 256, false, 0, 17, 0, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 0, 0, 0, false},  {ImageFamily::Zsk, 256, false, 0, 1, 80, 0, false},
               {ImageFamily::Zsk, 256, false, 0, 1, 0, 2, false},  {ImageFamily::Zsk, 256, false, 1, 1, 0, 0, false},
               {ImageFamily::Fmc, 256, false, 0, 16, 81, 1, true}, {ImageFamily::Dos1440, 512, false, 0, 18, 0, 0, false},
               {ImageFamily::Dos1440, 512, true, 0, 18, 0, 0, true}};
  for (const auto& c : cases) {
    test::TempDir dir;
    PlatformState platform;
    Bind(platform, dir, {c.image}, c.sectorSize, c.highDensity);
    BindDirectory(platform, 1, dir.path().string());
    std::array<uint8_t, 1092> buffer{};
    EXPECT_EQ(ReadSector32(platform, c.drive, buffer.data(), 1092, c.sector, c.track, c.head) == kSectorOk, c.reads)
        << ImageBytes(c.image) << " " << c.sectorSize << (c.highDensity ? " HD " : " DD ") << int{c.drive} << ":"
        << int{c.track} << "/" << int{c.head} << "/" << int{c.sector};
  }
  test::TempDir dir;
  PlatformState platform;
  test::WriteBytes(dir / "odd.img", std::string(1000, '\0'));
  for (const auto& [path, family, drive] : {std::tuple{"odd.img", ImageFamily::FromSize, 0}, {"odd.img", ImageFamily::Fmc, 0},
                                            {"none.img", ImageFamily::Fmc, 0}, {"odd.img", ImageFamily::Fmc, 26}}) {
    EXPECT_THROW(BindImage(platform, static_cast<int16_t>(drive), dir / path, family), std::runtime_error) << path;
  }
}

TEST(DiscImages, SectorsGoWhereTheySayAndTracksAreFormattedByAddressTable) {
  test::TempDir dir;
  PlatformState platform;
  Bind(platform, dir, {ImageFamily::Zsk}, 256, false);
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
  const std::string bytes = test::ReadBytes(dir / "disc0.img");
  EXPECT_EQ(bytes.substr(((2 * 2 + 1) * 16 + 2) * 256 - 1, 258), '\0' + std::string(256, '\x5A') + '\0');
  EXPECT_EQ(bytes.substr((40 * 2 * 16) * 256, 512), std::string(256, '\x5A') + std::string(256, '\0'));

  // A track formatted by its address table (cylinder, head, id, size code a sector) is
  // filled by sector ids with 0xE5. A table for another side, or of another size, is
  // refused; so is a track of 18 sectors, which the 17 records can't lay out.
  Bind(platform, dir, {ImageFamily::Dos720, ImageFamily::Dos1440}, 512, false);
  FillAddressTable(buffer.data(), 5, 1, 2);
  EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 4), (std::vector<uint8_t>{5, 1, 1, 2}));
  EXPECT_EQ(buffer[4 * 16 + 2], 17);
  ASSERT_EQ(FormatTrack32(platform, 0, buffer.data(), 1092, 5, 1, 2), kSectorOk);
  EXPECT_EQ(test::ReadBytes(dir / "disc0.img").substr((5 * 2 + 1) * 9 * 512 - 1, 9 * 512 + 2),
            '\0' + std::string(9 * 512, '\xE5') + '\0');
  EXPECT_NE(FormatTrack32(platform, 0, buffer.data(), 1092, 6, 1, 2), kSectorOk);
  FillAddressTable(buffer.data(), 5, 1, 1);
  EXPECT_NE(FormatTrack32(platform, 0, buffer.data(), 1092, 5, 1, 1), kSectorOk);
  FillAddressTable(buffer.data(), 0, 0, 2);
  SetDiscDSHD32(platform);
  EXPECT_NE(FormatTrack32(platform, 1, buffer.data(), 1092, 0, 0, 2), kSectorOk);
}

// It converts by the extensions of both paths, leaving the host's progress object alone;
// a failure leaves its code and no file, and the last step clears the code for the next.
TEST(DesignFileService, ConvertsByTheExtensionsOrLeavesItsCodeAndNoFile) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 4, 4}, {KindColour, 0, 0}}));
  test::WriteBytes(dir / "a.HUS", "not a design");
  test::WriteBytes(dir / "wide.DST", test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})));
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.T01"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.T01").size() % 12, 0u);
  EXPECT_EQ(shared.CurrentPB, nullptr);
  // A damaged HUS gives the reader's code; SHV is read, not written; the class's names
  // refuse VIP.
  for (const auto& [source, dest, code] : {std::tuple{"a.HUS", "b.DST", int32_t{kResultDamagedFile}},
                                           {"a.DST", "b.SHV", kServiceCannotConvert}, {"a.DST", "b.VIP", kServiceCannotConvert},
                                           {"missing.DST", "c.DST", int32_t{kFileNotFound}}, {"wide.DST", "b.DST", int32_t{kOverflow}}}) {
    EXPECT_EQ(RunDesignFileSequence(shared, dir / source, dir / dest), code) << source << " " << dest;
    EXPECT_FALSE(std::filesystem::exists(dir / dest)) << dest;
    EXPECT_EQ(VBGetErrorCode(shared), 0);
  }
  // Converting a file deletes an existing destination first.
  test::WriteBytes(dir / "b.SHV", "old");
  EXPECT_EQ(ConvertDesignFile(shared, dir / "a.DST", dir / "b.SHV"), kServiceCannotConvert);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.SHV"));
}

// The class's Format720 opens only a 720 KB disc through the service and makes the disc
// its FormatDisc makes, whatever the controller had; not when a sector fails. Once the
// service's disc is closed, or past its tracks, a sector goes nowhere.
TEST(DesignFileService, Formats720KDiscsAndWritesTheirSectors) {
  test::TempDir dir;
  test::OnFreshThread([&dir] {
    Tavlin tavlin;
    test::WriteBytes(dir / "dos.img", std::string(737280, '\0'));
    test::WriteBytes(dir / "zsk.img", std::string(655360, '\0'));
    BindDriveImage(0, dir / "dos.img");
    ASSERT_EQ(tavlin.FormatDisc(OtherDOS), 0);
    const std::string formatted = test::ReadBytes(dir / "dos.img");
    test::WriteBytes(dir / "dos.img", std::string(737280, '\0'));
    SharedRecord& shared = ThreadSharedRecord();
    SetVector25632(shared.platform);
    EXPECT_TRUE(tavlin.Format720());
    EXPECT_EQ(test::ReadBytes(dir / "dos.img"), formatted);
    EXPECT_EQ(shared.platform.controller.sectorSize, 256);  // left as it was
    ASSERT_NE(OpenDisk(shared, 1), 0);
    std::array<uint8_t, 512> sector;
    sector.fill(0x42);
    EXPECT_EQ(WriteDiskV(shared, 80, 1, 0, sector.data()), 0);
    CloseDisk(shared);
    EXPECT_EQ(WriteDiskV(shared, 0, 1, 0, sector.data()), 0);
    EXPECT_EQ(test::ReadBytes(dir / "dos.img"), formatted);
    shared.platform.fault = [](SectorOp op, int, int, int id) { return op == SectorOp::Write && id == 5; };
    EXPECT_FALSE(tavlin.Format720());
    shared.platform.fault = nullptr;
    BindDriveImage(0, dir / "zsk.img");
    EXPECT_FALSE(tavlin.Format720());
  });
}

}  // namespace
}  // namespace tavlin
