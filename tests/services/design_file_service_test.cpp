// The design-file service's six-step sequence, and its disc functions on a 720 KB image.
#include <gtest/gtest.h>

#include "services/design_file_service.h"
#include "services/sector_service.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

// It converts by the extensions of both paths, leaving the host's progress object alone;
// a failure leaves its code and no file, and the last step clears the code for the next.
TEST(DesignFileService, ConvertsByTheExtensionsOrLeavesItsCodeAndNoFile) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 4, 4}, {KindColour, 0, 0}}));
  test::WriteBytes(dir / "a.HUS", "closed format");
  test::WriteBytes(dir / "wide.DST", test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})));
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.T01"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.T01").size() % 12, 0u);
  EXPECT_EQ(shared.CurrentPB, nullptr);
  for (const auto& [source, dest, code] : {std::tuple{"a.DST", "b.HUS", kServiceCannotConvert}, {"a.HUS", "b.DST", kServiceCannotConvert},
                                           {"a.DST", "b.SHV", kServiceCannotConvert}, {"a.DST", "b.VIP", kServiceCannotConvert},
                                           {"missing.DST", "c.DST", int32_t{kFileNotFound}}, {"wide.DST", "b.DST", int32_t{kOverflow}}}) {
    EXPECT_EQ(RunDesignFileSequence(shared, dir / source, dir / dest), code) << source << " " << dest;
    EXPECT_FALSE(std::filesystem::exists(dir / dest)) << dest;
    EXPECT_EQ(VBGetErrorCode(shared), 0);
  }
  // Converting a file deletes an existing destination first.
  test::WriteBytes(dir / "b.HUS", "old");
  EXPECT_EQ(ConvertDesignFile(shared, dir / "a.DST", dir / "b.HUS"), kServiceCannotConvert);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.HUS"));
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
