// The public class: its defaults, its checks, its dispatch and the record it shares.
#include <gtest/gtest.h>

#include <thread>

#include "conversion/convert.h"
#include "platform/run_time_error.h"
#include "services/design_file_service.h"
#include "state/shared_record.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::OnFreshThread;

TEST(TavlinObject, AFreshObjectsDefaultsAndTheLongestStitchItKeeps) {
  OnFreshThread([] {
    Tavlin tavlin;
    EXPECT_EQ(tavlin.MaxStitchLen(), 50);
    EXPECT_EQ(tavlin.SetDrive(), 0);
    EXPECT_EQ(tavlin.DiscType(), 0);
    EXPECT_EQ(tavlin.Files(), "");
    EXPECT_EQ(tavlin.Format(), "");
    EXPECT_EQ(tavlin.FreeStitches(), 0);
    EXPECT_EQ(tavlin.HoopSize(), "");
    // Twenty to 121 are kept; anything else gives 40.
    tavlin.MaxStitchLen(20);
    EXPECT_EQ(tavlin.MaxStitchLen(), 20);
    tavlin.MaxStitchLen(121);
    EXPECT_EQ(tavlin.MaxStitchLen(), 121);
    tavlin.MaxStitchLen(19);
    EXPECT_EQ(tavlin.MaxStitchLen(), 40);
    tavlin.MaxStitchLen(121);
    tavlin.MaxStitchLen(122);
    EXPECT_EQ(tavlin.MaxStitchLen(), 40);
  });
}

TEST(TavlinObject, ObjectsOnAThreadShareOneRecord) {
  OnFreshThread([] {
    Tavlin first;
    first.SetDrive(1);
    first.MaxStitchLen(30);
    ThreadSharedRecord().DiscFilesText = std::string("LISTING") + '\0';
    ThreadSharedRecord().FreeStitchesText = "387,072";
    Tavlin second;
    // A new object resets the drive and the longest stitch, and nothing else.
    EXPECT_EQ(first.SetDrive(), 0);
    EXPECT_EQ(first.MaxStitchLen(), 50);
    EXPECT_EQ(second.Files(), std::string("LISTING") + '\0');
    EXPECT_EQ(second.FreeStitches(), 387072);
    // Another thread has a record of its own.
    OnFreshThread([] { EXPECT_EQ(Tavlin().Files(), ""); });
    // The free room is read from the record's text, separators and all.
    for (const auto& [text, value] : std::vector<std::pair<std::string, int32_t>>{
             {"1,234,567", 1234567}, {"0", 0}, {"", 0}, {"none", 0}, {" 12", 12}, {"-5", -5}}) {
      ThreadSharedRecord().FreeStitchesText = text;
      EXPECT_EQ(second.FreeStitches(), value) << text;
    }
  });
}

// With no disc bound: the format types each method takes, and each family's answer.
TEST(TavlinObject, DiscMethodsCheckTheFormatTypeAndTheDrive) {
  OnFreshThread([] {
    Tavlin tavlin;
    EXPECT_EQ(tavlin.FormatDisc(DSHD), 2);
    EXPECT_EQ(tavlin.FormatDisc(20), 1);
    EXPECT_EQ(tavlin.FormatDisc(-1), 1);
    // Outside 0 to 3 the disc methods refuse; what they store comes first all the same.
    auto progress = std::make_shared<test::RecordingProgress>();
    EXPECT_EQ(tavlin.WriteToDisc("a.DST", "NAME", 4, progress), 3);
    EXPECT_EQ(ThreadSharedRecord().LastDestFile, "NAME");
    EXPECT_EQ(ThreadSharedRecord().CurrentPB, progress);
    // Omitting the object leaves none: the previous one isn't kept.
    EXPECT_EQ(tavlin.ReadFromDisc(0, "a", "b", -1), 3);
    EXPECT_EQ(ThreadSharedRecord().CurrentPB, nullptr);
    EXPECT_EQ(tavlin.DeleteFromDisc(0, "a", 4), 3);
    EXPECT_EQ(tavlin.DeleteFromDisc(0, "a", -1), 3);
    // Identification finds the drive not ready.
    EXPECT_EQ(tavlin.ReadDisc(), 4);
    EXPECT_EQ(tavlin.DirectoryFMC(), 3);
    EXPECT_EQ(tavlin.WriteToDisc("a.DST", "b", FMC), 1);
    EXPECT_EQ(tavlin.DirectoryFDR(), 1);
    EXPECT_EQ(tavlin.DirectoryZSK(), 1);
    // The DOS routines hand on the run-time code: disk not ready.
    EXPECT_EQ(tavlin.DeleteFromDisc(0, "A:\\X.DST", OtherDOS), 71);
  });
}

TEST(TavlinObject, ConvertFileGoesThroughTheDesignFileService) {
  OnFreshThread([] {
    test::TempDir dir;
    test::WriteBytes(dir / "a.DST", test::DstFile({{KindStitch, 10, -10}}));
    Tavlin tavlin;
    EXPECT_EQ(tavlin.ConvertFile(dir / "a.DST", dir / "b.DST"), 0);
    EXPECT_EQ(test::ReadBytes(dir / "b.DST").size(), 512u + 9u);
    // No progress object is needed, and the host's PESAbosulte is the run's business.
    EXPECT_EQ(ThreadSharedRecord().CurrentPB, nullptr);
    // HUS is the service's own: written, read back, and a damaged one refused with the
    // reader's code. The class's names refuse VIP.
    ASSERT_EQ(tavlin.ConvertFile(dir / "a.DST", dir / "b.HUS"), 0);
    ASSERT_EQ(tavlin.ConvertFile(dir / "b.HUS", dir / "c.DST"), 0);
    EXPECT_EQ(test::NeedlesOf(dir / "c.DST"), test::NeedlesOf(dir / "a.DST"));
    test::WriteBytes(dir / "d.HUS", test::ReadBytes(dir / "b.HUS").substr(0, 50));
    EXPECT_EQ(tavlin.ConvertFile(dir / "d.HUS", dir / "e.DST"), kResultDamagedFile);
    EXPECT_EQ(tavlin.ConvertFile(dir / "a.DST", dir / "b.VIP"), kServiceCannotConvert);
  });
}

TEST(TavlinObject, DrivesAreBoundPerThread) {
  OnFreshThread([] {
    test::TempDir dir;
    BindDriveDirectory(1, dir.path().string());
    EXPECT_EQ(ThreadSharedRecord().platform.drives[1].kind, DriveBinding::Kind::Directory);
    OnFreshThread([] {
      EXPECT_EQ(ThreadSharedRecord().platform.drives[1].kind, DriveBinding::Kind::None);
    });
    UnbindDrive(1);
    EXPECT_EQ(ThreadSharedRecord().platform.drives[1].kind, DriveBinding::Kind::None);
    EXPECT_THROW(BindDriveImage(0, dir / "missing.img"), std::runtime_error);
  });
}

}  // namespace
}  // namespace tavlin
