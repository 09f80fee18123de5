// DOS discs: the listing's figures, what a write refuses, the names a read leaves for the
// class, and, judged by fsck.fat and mtools, long names left by other systems and the
// dates of what we write.
#include <gtest/gtest.h>

#include <ctime>

#include "discs/disc_script.h"
#include "discs/dos/dos_disc.h"
#include "platform/run_time_error.h"

namespace tavlin {
namespace {

using test::OnFreshThread;
using test::ScriptedDisc;

// A folder stands for a disc too, here in drive B:; its 128th file fails the listing.
TEST(DosListing, The128thFileFailsTheListing) {
  OnFreshThread([] {
    test::TempDir folder;
    for (int i = 0; i < 128; ++i) test::WriteBytes(folder / ("F" + std::to_string(i) + ".DST"), "x");
    BindDriveDirectory(1, folder.path().string());
    Tavlin tavlin;
    tavlin.SetDrive(1);
    EXPECT_EQ(tavlin.ReadDisc(), 1);
    std::filesystem::remove(folder / "F0.DST");
    EXPECT_EQ(tavlin.ReadDisc(), 0);
    EXPECT_EQ(tavlin.Format(), "Tajima Disc");
  });
}

TEST(DosDesigns, WhatAWriteRefusesAndAReadCopies) {
  OnFreshThread([] {
    ScriptedDisc disc(ImageFamily::Dos720, OtherDOS);
    ASSERT_TRUE(disc.Run("w10>A:\\A.DST"));
    // Without a progress object the conversion stops with 91, and the disc is as it was.
    const std::string before = disc.Bytes();
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.written.back(), "A:\\B.DST", OtherDOS), 91);
    EXPECT_EQ(disc.Bytes(), before);
    // The same format on both sides is a plain copy, "dst" and "DST" alike, design or not.
    ASSERT_TRUE(disc.Run("PJUNK.DST:12:not_a_design"));
    ASSERT_EQ(disc.tavlin.ReadFromDisc(0, "A:\\JUNK.DST", disc.dir / "junk.dst", OtherDOS, disc.progress), 0);
    EXPECT_EQ(test::ReadBytes(disc.dir / "junk.dst"), "not a design");
    // A missing file deletes without complaint.
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "A:\\NONE.DST", OtherDOS), 0);
  });
}

TEST(DosDesigns, TheLastReadsNamesStayForTheClassAndGoForTheLibrary) {
  OnFreshThread([] {
    test::TempDir dir;
    test::WriteBytes(dir / "a.DST", test::ZigzagDst(10));
    SharedRecord& shared = ThreadSharedRecord();
    shared.CurrentPB = std::make_shared<test::RecordingProgress>();
    shared.HusSourceName = dir / "old.HUS";
    ASSERT_EQ(DosRead(shared, dir / "a.DST", dir / "a.QEP"), 0);
    EXPECT_EQ(shared.LastDosReadName, dir / "a.DST");
    EXPECT_EQ(shared.HusSourceName, "");
    shared.AsOtherProgramsDo = true;
    ASSERT_EQ(DosRead(shared, dir / "a.DST", dir / "b.QEP"), 0);
    EXPECT_EQ(shared.LastDosReadName, "");
    // A HUS written from a QEP takes its thread colours behind zero bytes.
    std::string qep(512, ' ');
    qep.replace(103, 2, IntToBytes2(2));
    qep.replace(113, 6, test::Bytes({255, 0, 0, 0, 0, 0}));
    test::WriteBytes(dir / "a.QEP", qep);
    test::WriteBytes(dir / "b.HUS", std::string(60, '\x11'));
    WriteHusColourBytes(shared, dir / "a.QEP", kCodeQep, dir / "b.HUS");
    EXPECT_EQ(test::ReadBytes(dir / "b.HUS").substr(40, 6), test::Bytes({0x11, 0, 3, 0, 0, 0x11}));
  });
}

// A file of another system renamed takes its long name with it; a name that stands is
// not renamed over. A new entry's created, accessed and written dates are today's, its
// time now.
TEST(DosSoundness, RenamesTakeLongNamesAlongAndDatesAreToday) {
  OnFreshThread([] {
    ScriptedDisc disc(ImageFamily::Dos1440, OtherDOS, true);
    ASSERT_TRUE(disc.Run("MAnother_long_design_name.DST:50 MKEEP.DST:60"));
    PlatformState& platform = ThreadSharedRecord().platform;
    RenameFile(platform, "A:\\" + ListFiles(platform, "A:\\*.*").at(0), "A:\\SHORT.DST");
    EXPECT_TRUE(test::FsckClean(disc.dir, disc.image));
    EXPECT_EQ(test::Mtools(disc.dir, "mdir -b -i " + disc.image + " ::"), "::/SHORT.DST\n::/KEEP.DST\n");
    try {
      RenameFile(platform, "A:\\SHORT.DST", "A:\\KEEP.DST");
      ADD_FAILURE() << "renamed over KEEP.DST";
    } catch (const RunTimeError& e) {
      EXPECT_EQ(e.Code(), kFileAlreadyExists);
    }
    // A new entry's created, accessed and written dates are today's, its time now.
    const auto stamp = [] {
      const std::time_t now = std::time(nullptr);
      std::tm local{};
      localtime_r(&now, &local);
      return std::pair{((local.tm_year - 80) << 9) | ((local.tm_mon + 1) << 5) | local.tm_mday,
                       (local.tm_hour << 11) | (local.tm_min << 5)};
    };
    const auto before = stamp();
    ASSERT_TRUE(disc.Run("w100>A:\\DATED.DST"));
    const auto after = stamp();
    const std::string root = disc.Bytes().substr(512 * 19, 224 * 32), entry = root.substr(root.find("DATED   DST"), 32);
    const auto field = [&entry](size_t at) { return Bytes2ToInt(entry.substr(at, 2)) & 0xFFFF; };
    for (const size_t at : {16u, 18u, 24u}) EXPECT_TRUE(field(at) == before.first || field(at) == after.first) << at;
    EXPECT_TRUE(before.first != after.first || ((field(22) & ~31) >= before.second && (field(22) & ~31) <= after.second));
  });
}

}  // namespace
}  // namespace tavlin
