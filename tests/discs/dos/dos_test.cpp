// DOS machine discs and the telling apart of every family: images made by the format
// routine, files put there by Tavlin and by mtools, and folders standing for discs.
#include <gtest/gtest.h>


#include "disc_fixture.h"
#include "platform/files.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "discs/dos/dos_disc.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::OnFreshThread;

void Put(const std::string& path, const std::string& bytes) {
  PlatformState& platform = ThreadSharedRecord().platform;
  DeleteFile(platform, path);
  const std::unique_ptr<FileBackend> file = OpenFile(platform, path);
  if (!bytes.empty()) file->WriteAt(0, bytes.data(), bytes.size());
  file->Flush();
}

std::string Get(const std::string& path) {
  const std::unique_ptr<FileBackend> file = OpenFile(ThreadSharedRecord().platform, path);
  std::string bytes(static_cast<size_t>(file->Length()), '\0');
  file->ReadAt(0, bytes.data(), bytes.size());
  return bytes;
}


TEST(Identification, TheFirstProbeThatFindsAFileNamesADosDisc) {
  OnFreshThread([] {
    struct Case {
      std::vector<const char*> files;
      const char* format;
    };
    const std::vector<Case> cases = {
        {{"A.KSM", "B.DST"}, "Tajima Disc"}, {{"A.KSM"}, "Pfaff"},
        {{"A.TAP"}, "Happy Disc"},           {{"A.10O"}, "Toyota Disc"},
        {{"DESIGN"}, "Emnet"},               {{"A.EXP"}, "Melco Premier"},
        {{"A.XXX"}, "Singer"},               {{"A.EMD"}, "Elna"},
        {{"A.JEF"}, "Janome"},               {{"A.SEW"}, "Janome"},
        {{"A.U01"}, "Barudan DOS/2HD"},      {{"A.QEP"}, "Velmo Quick Expanded"},
        {{"A.QCD"}, "Velmo Quick Condensed"}, {{"A.VST"}, "Midwest"},
        {{"A.QSS"}, "DOS"},
    };
    for (const Case& c : cases) {
      test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
      for (const char* name : c.files) Put(std::string("A:\\") + name, std::string(600, 'x'));
      EXPECT_EQ(disc.tavlin.ReadDisc(), 0) << c.format;
      EXPECT_EQ(disc.tavlin.Format(), c.format);
      EXPECT_EQ(disc.tavlin.DiscType(), 4);
    }
    // A file the probes don't look for: nothing to list.
    test::DiscImage other(ImageFamily::Dos720, OtherDOS);
    Put("A:\\NOTES.TXT", "text");
    EXPECT_EQ(other.tavlin.ReadDisc(), 2);
    // A folder stands for a disc as well, without sectors; drive B: has its letter.
    test::TempDir folder;
    test::WriteBytes(folder / "STAR.DST", std::string(812, ' '));
    BindDriveDirectory(1, folder.path().string());
    Tavlin tavlin;
    tavlin.SetDrive(1);
    EXPECT_EQ(tavlin.ReadDisc(), 0);
    EXPECT_EQ(tavlin.Format(), "Tajima Disc");
  });
}

TEST(DosListing, LinesEstimatesAndFreeRoom) {
  OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    std::string dst = "LA:STAR RIGHT" + std::string(799, ' ');
    Put("A:\\STAR.DST", dst);                        // (812 - 512) / 3 = 100, with its label
    Put("A:\\A.VST", std::string(1024 + 30, 'v'));   // 10
    Put("A:\\B.QEP", std::string(512 + 50, 'q'));    // 10
    Put("A:\\C.JEF", std::string(100 + 20, 'j'));    // 10
    Put("A:\\D.SEW", std::string(100, 's'));         // shorter than its header: negative
    Put("A:\\E.DSK", std::string(512, ' '));         // exactly the header: 0, and a label
    ASSERT_EQ(disc.tavlin.ReadDisc(), 0);
    EXPECT_EQ(disc.tavlin.Format(), "Tajima Disc");
    const std::vector<std::string> lines = disc.Lines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "STAR.DST          100 - (STAR RIGHT  )");
    EXPECT_EQ(lines[0].size(), 38u);
    EXPECT_EQ(lines[1], "A.VST              10" + std::string(17, ' '));
    EXPECT_EQ(lines[2].substr(13, 8), "      10");
    EXPECT_EQ(lines[3].substr(13, 8), "      10");
    EXPECT_EQ(lines[4].substr(13, 8), "   -3722");
    EXPECT_EQ(lines[5], "E.DSK               0 - (" + std::string(12, ' ') + ")");
    const int64_t bytes = 812 + 1054 + 562 + 120 + 100 + 512;
    EXPECT_EQ(disc.tavlin.FreeStitches(), static_cast<int32_t>(243000 - bytes / 3.0));
    EXPECT_EQ(ThreadSharedRecord().ListNames[1], "STAR.DST");
  });
}

TEST(DosListing, The128thFileFailsTheListing) {
  OnFreshThread([] {
    test::TempDir folder;
    for (int i = 0; i < 128; ++i) test::WriteBytes(folder / ("F" + std::to_string(i) + ".DST"), "x");
    BindDriveDirectory(0, folder.path().string());
    Tavlin tavlin;
    EXPECT_EQ(tavlin.ReadDisc(), 1);
    EXPECT_EQ(tavlin.Format(), "");
    std::filesystem::remove(folder / "F0.DST");
    EXPECT_EQ(tavlin.ReadDisc(), 0);
    EXPECT_EQ(tavlin.Format(), "Tajima Disc");
  });
}

TEST(DosDesigns, WriteReadAndDeleteAgreeWithMtools) {
  OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    // A design that mtools puts on the disc is listed, read and converted.
    test::WriteBytes(disc.dir / "STAR.DST", test::ZigzagDst(400, 10, 10, 150));
    test::Mtools(disc.dir, "mcopy -i " + disc.image + " " + (disc.dir / "STAR.DST") + " ::");
    BindDriveImage(0, disc.image);
    ASSERT_EQ(disc.tavlin.ReadDisc(), 0);
    // A jump, 400 stitches, 2 colour changes and the end record.
    EXPECT_EQ(disc.Lines()[0].substr(0, 21), "STAR.DST          404");
    const std::string qep = disc.dir / "star.QEP";
    ASSERT_EQ(disc.tavlin.ReadFromDisc(0, "A:\\STAR.DST", qep, OtherDOS, disc.progress), 0);
    EXPECT_EQ(test::NeedlesOf(qep), test::NeedlesOf(disc.dir / "STAR.DST"));
    // A design that Tavlin writes, in the format its name asks for, mtools lists and
    // copies out as it stands.
    ASSERT_EQ(disc.tavlin.WriteToDisc(disc.dir / "STAR.DST", "A:\\COPY.DSB", OtherDOS, disc.progress), 0);
    EXPECT_EQ(ThreadSharedRecord().Own<DosState>().LastWriteName, "A:\\COPY.DSB");
    const std::string listing = test::Mtools(disc.dir, "mdir -i " + disc.image + " ::");
    EXPECT_NE(listing.find("COPY     DSB"), std::string::npos) << listing;
    test::Mtools(disc.dir, "mcopy -n -i " + disc.image + " ::COPY.DSB " + (disc.dir / "out.DSB"));
    BindDriveImage(0, disc.image);
    EXPECT_EQ(test::ReadBytes(disc.dir / "out.DSB"), Get("A:\\COPY.DSB"));
    EXPECT_EQ(test::NeedlesOf(disc.dir / "out.DSB"), test::NeedlesOf(disc.dir / "STAR.DST"));
    // The same format on both sides is a plain copy, "dst" and "DST" alike, design or not.
    Put("A:\\JUNK.DST", "not a design");
    ASSERT_EQ(disc.tavlin.ReadFromDisc(0, "A:\\JUNK.DST", disc.dir / "junk.dst", OtherDOS, disc.progress), 0);
    EXPECT_EQ(test::ReadBytes(disc.dir / "junk.dst"), "not a design");
    // Deletes agree both ways; a missing file deletes without complaint.
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "A:\\COPY.DSB", OtherDOS), 0);
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "A:\\COPY.DSB", OtherDOS), 0);
    test::Mtools(disc.dir, "mdel -i " + disc.image + " ::JUNK.DST");
    BindDriveImage(0, disc.image);
    ASSERT_EQ(disc.tavlin.ReadDisc(), 0);
    EXPECT_EQ(disc.Lines().size(), 1u);
    EXPECT_EQ(test::Mtools(disc.dir, "mdir -i " + disc.image + " ::").find("COPY"), std::string::npos);
  });
}

TEST(DosDesigns, RefusedSourcesAndTheServicesFormats) {
  OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    test::WriteBytes(disc.dir / "a.VIP", "vip");
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "a.VIP", "A:\\A.DST", OtherDOS, disc.progress), 2);
    EXPECT_EQ(disc.tavlin.WriteToDisc("", "A:\\A.DST", OtherDOS, disc.progress), 2);
    // SHV goes through the design-file service, which reads it but doesn't write it.
    test::WriteBytes(disc.dir / "a.DST", test::ZigzagDst(10));
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "a.DST", "A:\\A.SHV", OtherDOS, disc.progress),
              1001);
    EXPECT_FALSE(FileExists(ThreadSharedRecord().platform, "A:\\A.SHV"));
    // A HUS is written by the service through a DST, and read back the same way.
    ASSERT_EQ(disc.tavlin.WriteToDisc(disc.dir / "a.DST", "A:\\A.HUS", OtherDOS, disc.progress), 0);
    EXPECT_EQ(Get("A:\\A.HUS").substr(0, 4), Bytes({0x5D, 0xFC, 200, 0}));
    ASSERT_EQ(disc.tavlin.ReadFromDisc(0, "A:\\A.HUS", disc.dir / "back.DST", OtherDOS, disc.progress), 0);
    EXPECT_EQ(test::NeedlesOf(disc.dir / "back.DST"), test::NeedlesOf(disc.dir / "a.DST"));
    // A name no format knows: the file holds what the conversion wrote for it.
    ASSERT_EQ(disc.tavlin.WriteToDisc(disc.dir / "a.DST", "A:\\A.XYZ", OtherDOS, disc.progress), 0);
    EXPECT_EQ(Get("A:\\A.XYZ").size(), 512u + 3 * 12);
    // Without a progress object the conversion stops with 91, and the disc is as it was.
    EXPECT_EQ(disc.tavlin.WriteToDisc(disc.dir / "a.DST", "A:\\B.DST", OtherDOS), 91);
    EXPECT_FALSE(FileExists(ThreadSharedRecord().platform, "A:\\B.DST"));
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
    // The library's read names its threads' files to its own conversion only.
    shared.AsOtherProgramsDo = true;
    ASSERT_EQ(DosRead(shared, dir / "a.DST", dir / "b.QEP"), 0);
    EXPECT_EQ(shared.LastDosReadName, "");
  });
}

TEST(DosDesigns, HusColourBytesStandBehindZeroBytes) {
  OnFreshThread([] {
    test::TempDir dir;
    std::string qep(512, ' ');
    qep.replace(103, 2, IntToBytes2(2));
    qep.replace(113, 6, Bytes({255, 0, 0, 0, 0, 0}));
    test::WriteBytes(dir / "a.QEP", qep);
    test::WriteBytes(dir / "b.HUS", std::string(60, '\x11'));
    WriteHusColourBytes(ThreadSharedRecord(), dir / "a.QEP", kCodeQep, dir / "b.HUS");
    const std::string hus = test::ReadBytes(dir / "b.HUS");
    EXPECT_EQ(hus.substr(40, 6), Bytes({0x11, 0, 3, 0, 0, 0x11}));
  });
}

}  // namespace
}  // namespace tavlin
