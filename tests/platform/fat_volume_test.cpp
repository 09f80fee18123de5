// The DOS file system inside an image, checked against Debian's mtools.
#include <gtest/gtest.h>

#include <random>

#include "conversion/buffered_file.h"
#include "disc_fixture.h"
#include "platform/fat_volume.h"
#include "platform/files.h"
#include "state/shared_record.h"

namespace tavlin {
namespace {

using test::OnFreshThread;

// Runs an mtools command on the image; gives its output.


TEST(DosMasks, MatchAsDosDoes) {
  EXPECT_TRUE(MatchesDosMask("STAR.DST", "*.DST"));
  EXPECT_TRUE(MatchesDosMask("star.dst", "*.DST"));
  EXPECT_FALSE(MatchesDosMask("STAR.DSTX", "*.DST"));
  EXPECT_TRUE(MatchesDosMask("DESIGN", "*."));
  EXPECT_FALSE(MatchesDosMask("DESIGN.DST", "*."));
  EXPECT_TRUE(MatchesDosMask("A.U01", "*.U*"));
  EXPECT_TRUE(MatchesDosMask("A.10O", "*.10o"));
  EXPECT_TRUE(MatchesDosMask("ANY.THING", "*.*"));
  EXPECT_TRUE(MatchesDosMask("AB", "A?"));
}

TEST(FatVolume, FilesGoBothWaysBetweenTavlinAndMtools) {
  OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    ASSERT_EQ(disc.formatResult, 0);
    PlatformState& platform = ThreadSharedRecord().platform;
    // In through mtools, out through Tavlin.
    std::mt19937 random(1);
    const std::string big = test::RandomBytes(random, 70000);
    test::WriteBytes(disc.dir / "BIG.DST", big);
    test::WriteBytes(disc.dir / "NOEXT", "emnet");
    test::Mtools(disc.dir, "mcopy -i " + disc.image + " " + (disc.dir / "BIG.DST") + " " +
                         (disc.dir / "NOEXT") + " ::");
    BindDriveImage(0, disc.image);
    EXPECT_EQ(ListFiles(platform, "A:\\*.DST"), std::vector<std::string>{"BIG.DST"});
    EXPECT_EQ(ListFiles(platform, "A:\\*."), std::vector<std::string>{"NOEXT"});
    EXPECT_EQ(FileLength(platform, "A:\\BIG.DST"), 70000);
    {
      BufferedFile file(OpenFile(platform, "a:\\big.dst"));
      std::string read(70000, '\0');
      ASSERT_EQ(file.Read(reinterpret_cast<uint8_t*>(read.data()), read.size()), 70000u);
      EXPECT_EQ(read, big);
    }
    // In through Tavlin, out through mtools.
    random.seed(2);
    const std::string written = test::RandomBytes(random, 5000);
    {
      BufferedFile file(OpenFile(platform, "A:\\NEW.DSB"));
      file.Write(written);
    }
    CopyFile(platform, "A:\\BIG.DST", "A:\\COPY.DST");
    const std::string listing = test::Mtools(disc.dir, "mdir -i " + disc.image + " ::");
    EXPECT_NE(listing.find("NEW      DSB      5000"), std::string::npos) << listing;
    EXPECT_NE(listing.find("COPY     DST     70000"), std::string::npos) << listing;
    test::Mtools(disc.dir, "mcopy -n -i " + disc.image + " ::NEW.DSB ::COPY.DST " + disc.dir.path().string() + "/");
    EXPECT_EQ(test::ReadBytes(disc.dir / "NEW.DSB"), written);
    EXPECT_EQ(test::ReadBytes(disc.dir / "COPY.DST"), big);
    // Deletes and renames agree both ways; the disc checks clean.
    DeleteFile(platform, "A:\\BIG.DST");
    RenameFile(platform, "A:\\COPY.DST", "A:\\MOVED.DST");
    test::Mtools(disc.dir, "mdel -i " + disc.image + " ::NOEXT");
    BindDriveImage(0, disc.image);
    EXPECT_EQ(ListFiles(platform, "A:\\*.*"), (std::vector<std::string>{"NEW.DSB", "MOVED.DST"}));
    const std::string after = test::Mtools(disc.dir, "mdir -i " + disc.image + " ::");
    EXPECT_EQ(after.find("BIG"), std::string::npos) << after;
    test::Mtools(disc.dir, "mcopy -n -i " + disc.image + " ::MOVED.DST " + (disc.dir / "moved.out"));
    EXPECT_EQ(test::ReadBytes(disc.dir / "moved.out"), big);
    // A missing file deletes without complaint; a folder inside the image isn't reached.
    DeleteFile(platform, "A:\\NONE.DST");
    EXPECT_THROW(OpenFile(platform, "A:\\SUB\\X.DST"), RunTimeError);
  });
}

TEST(FatVolume, AFullDiscFailsTheWriteAndADamagedOneIsNoFileSystem) {
  OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    PlatformState& platform = ThreadSharedRecord().platform;
    {
      BufferedFile file(OpenFile(platform, "A:\\FULL.DST"));
      file.Write(std::string(730112, 'x'));
      file.Flush();
    }
    EXPECT_EQ(FileLength(platform, "A:\\FULL.DST"), 730112);
    EXPECT_THROW(
        {
          BufferedFile more(OpenFile(platform, "A:\\MORE.DST"));
          more.Write(std::string(10, 'y'));
          more.Close();
        },
        RunTimeError);
    // A boot sector of nonsense: no file system to list.
    disc.Patch(11, std::string(20, '\xFF'));
    EXPECT_THROW(ListFiles(platform, "A:\\*.DST"), RunTimeError);
  });
}

}  // namespace
}  // namespace tavlin
