// The design-file service's six-step sequence, and its disc functions on a 720 KB image.
#include <gtest/gtest.h>

#include "services/design_file_service.h"
#include "services/sector_service.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

TEST(DesignFileService, ConvertsByTheExtensionsOrLeavesItsCodeAndNoFile) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 4, 4}, {KindColour, 0, 0}}));
  test::WriteBytes(dir / "a.HUS", "closed format");
  test::WriteBytes(dir / "wide.DST", test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})));
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.T01"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.T01").size() % 12, 0u);
  EXPECT_EQ(shared.CurrentPB, nullptr);  // the host's progress object is neither used nor lost
  const std::pair<const char*, int16_t> failures[] = {{"a.DST b.HUS", kServiceCannotConvert}, {"a.HUS b.DST", kServiceCannotConvert},
                                                      {"a.DST b.SHV", kServiceCannotConvert}, {"a.DST b.VIP", kServiceCannotConvert},
                                                      {"missing.DST c.DST", kFileNotFound},   {"wide.DST b.DST", kOverflow}};
  for (const auto& [paths, code] : failures) {
    const std::string source(paths, std::strchr(paths, ' ')), dest(std::strchr(paths, ' ') + 1);
    EXPECT_EQ(RunDesignFileSequence(shared, dir / source, dir / dest), code) << paths;
    EXPECT_FALSE(std::filesystem::exists(dir / dest)) << paths;
    EXPECT_EQ(VBGetErrorCode(shared), 0) << paths;  // the last step cleared it for the next sequence
  }
  // Converting a file deletes an existing destination first.
  test::WriteBytes(dir / "b.HUS", "old");
  EXPECT_EQ(ConvertDesignFile(shared, dir / "a.DST", dir / "b.HUS"), kServiceCannotConvert);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.HUS"));
}

TEST(DesignFileService, Formats720KDiscsAndWritesTheirSectors) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "dos.img", std::string(737280, '\0'));
  test::WriteBytes(dir / "zsk.img", std::string(655360, '\0'));
  BindImage(shared.platform, 0, dir / "dos.img", ImageFamily::FromSize);
  BindImage(shared.platform, 1, dir / "zsk.img", ImageFamily::FromSize);
  shared.CurrentDrive = 1;
  EXPECT_EQ(OpenDisk(shared, 1), 0);  // not a 720 KB disc
  EXPECT_EQ(FormatDSDD(shared), 0);
  shared.CurrentDrive = 0;
  ASSERT_NE(OpenDisk(shared, 1), 0);
  SetVector25632(shared.platform);  // whatever the controller had
  ASSERT_NE(FormatDSDD(shared), 0);
  std::array<uint8_t, 512> sector;
  sector.fill(0x42);
  ASSERT_NE(WriteDiskV(shared, 79, 9, 1, sector.data()), 0);
  EXPECT_EQ(WriteDiskV(shared, 80, 1, 0, sector.data()), 0);
  CloseDisk(shared);
  EXPECT_EQ(WriteDiskV(shared, 0, 1, 0, sector.data()), 0);
  EXPECT_EQ(shared.platform.controller.sectorSize, 256);  // left as it was
  EXPECT_EQ(test::ReadBytes(dir / "dos.img"), std::string(737280 - 512, '\xE5') + std::string(512, '\x42'));
  // The class's Format720 makes through the service the disc its FormatDisc makes; not
  // on a disc of another size, nor when a sector fails.
  test::OnFreshThread([&dir] {
    Tavlin tavlin;
    BindDriveImage(0, dir / "dos.img");
    ASSERT_EQ(tavlin.FormatDisc(OtherDOS), 0);
    const std::string formatted = test::ReadBytes(dir / "dos.img");
    test::WriteBytes(dir / "dos.img", std::string(737280, '\0'));
    EXPECT_TRUE(tavlin.Format720());
    EXPECT_EQ(test::ReadBytes(dir / "dos.img"), formatted);
    ThreadSharedRecord().platform.fault = [](SectorOp op, int, int, int id) { return op == SectorOp::Write && id == 5; };
    EXPECT_FALSE(tavlin.Format720());
    ThreadSharedRecord().platform.fault = nullptr;
    BindDriveImage(0, dir / "zsk.img");
    EXPECT_FALSE(tavlin.Format720());
  });
}

}  // namespace
}  // namespace tavlin
