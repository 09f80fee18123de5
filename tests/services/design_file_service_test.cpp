// The design-file service's six-step sequence, and its disc functions on a 720 KB image.
#include <gtest/gtest.h>

#include "conversion/convert.h"
#include "services/design_file_service.h"
#include "services/sector_service.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::DstFile;
using test::Rec;

TEST(DesignFileService, ConvertsByTheExtensionsOfBothPaths) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 4, 4}, {KindColour, 0, 0}}));
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.T01"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "b.T01").size() % 12, 0u);
  // The host's progress object is neither used nor lost.
  EXPECT_EQ(shared.CurrentPB, nullptr);
  EXPECT_EQ(VBGetErrorCode(shared), 0);
}

TEST(DesignFileService, AFailureLeavesItsCodeAndNoFile) {
  test::TempDir dir;
  SharedRecord shared;
  test::WriteBytes(dir / "a.DST", DstFile({{KindStitch, 4, 4}}));
  test::WriteBytes(dir / "a.HUS", "not a design");
  // A damaged HUS gives the reader's code; SHV is read, not written; the class's names
  // refuse VIP.
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.HUS", dir / "b.DST"), kResultDamagedFile);
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.SHV"), kServiceCannotConvert);
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "a.DST", dir / "b.VIP"), kServiceCannotConvert);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.SHV"));
  EXPECT_FALSE(std::filesystem::exists(dir / "b.DST"));
  // The last step cleared the code for the next sequence.
  EXPECT_EQ(VBGetErrorCode(shared), 0);
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "missing.DST", dir / "c.DST"), kFileNotFound);
  EXPECT_FALSE(std::filesystem::exists(dir / "missing.DST"));
  // A conversion that fails passes its own code on.
  test::WriteBytes(dir / "wide.DST", DstFile(std::vector<Rec>(300, Rec{KindStitch, 121, 0})));
  EXPECT_EQ(RunDesignFileSequence(shared, dir / "wide.DST", dir / "b.DST"), kOverflow);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.DST"));
  // Converting a file deletes an existing destination first.
  test::WriteBytes(dir / "b.SHV", "old");
  EXPECT_EQ(ConvertDesignFile(shared, dir / "a.DST", dir / "b.SHV"), kServiceCannotConvert);
  EXPECT_FALSE(std::filesystem::exists(dir / "b.SHV"));
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
  const std::string bytes = test::ReadBytes(dir / "dos.img");
  EXPECT_EQ(bytes.substr(0, 737280 - 512), std::string(737280 - 512, '\xE5'));
  EXPECT_EQ(bytes.substr(737280 - 512), std::string(512, '\x42'));
}

}  // namespace
}  // namespace tavlin
