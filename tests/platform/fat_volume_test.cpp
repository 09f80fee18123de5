// The DOS file system inside an image, checked against Debian's mtools.
#include <gtest/gtest.h>

#include <random>

#include "conversion/buffered_file.h"
#include "disc_fixture.h"
#include "platform/fat_volume.h"
#include "platform/files.h"

namespace tavlin {
namespace {

TEST(DosMasks, MatchAsDosDoes) {
  const struct {
    const char* name;
    const char* mask;
    bool matches;
  } cases[] = {{"STAR.DST", "*.DST", true}, {"star.dst", "*.DST", true}, {"STAR.DSTX", "*.DST", false},
               {"DESIGN", "*.", true},      {"DESIGN.DST", "*.", false}, {"A.U01", "*.U*", true},
               {"A.10O", "*.10o", true},    {"ANY.THING", "*.*", true},  {"AB", "A?", true}};
  for (const auto& c : cases) EXPECT_EQ(MatchesDosMask(c.name, c.mask), c.matches) << c.name << " " << c.mask;
}

TEST(FatVolume, FilesGoBothWaysBetweenTavlinAndMtools) {
  test::OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    PlatformState& platform = ThreadSharedRecord().platform;
    // In through mtools, out through Tavlin, whatever the case of its name.
    std::mt19937 random(1);
    const std::string big = test::RandomBytes(random, 70000), written = test::RandomBytes(random, 5000);
    test::WriteBytes(disc.dir / "BIG.DST", big);
    test::WriteBytes(disc.dir / "NOEXT", "emnet");
    test::Mtools(disc.dir, "mcopy -i " + disc.image + " " + (disc.dir / "BIG.DST") + " " + (disc.dir / "NOEXT") + " ::");
    BindDriveImage(0, disc.image);
    EXPECT_EQ(ListFiles(platform, "A:\\*."), std::vector<std::string>{"NOEXT"});
    EXPECT_EQ(FileLength(platform, "A:\\BIG.DST"), 70000);
    std::string read(70000, '\0');
    EXPECT_EQ(BufferedFile(OpenFile(platform, "a:\\big.dst")).Read(reinterpret_cast<uint8_t*>(read.data()), 70000), 70000u);
    EXPECT_EQ(read, big);
    // In through Tavlin, out through mtools; deletes and renames agree both ways.
    {
      BufferedFile file(OpenFile(platform, "A:\\NEW.DSB"));
      file.Write(written);
      file.Close();
    }
    CopyFile(platform, "A:\\BIG.DST", "A:\\COPY.DST");
    DeleteFile(platform, "A:\\BIG.DST");
    RenameFile(platform, "A:\\COPY.DST", "A:\\MOVED.DST");
    test::Mtools(disc.dir, "mdel -i " + disc.image + " ::NOEXT");
    test::Mtools(disc.dir, "mcopy -n -i " + disc.image + " ::NEW.DSB ::MOVED.DST " + disc.dir.path().string() + "/");
    BindDriveImage(0, disc.image);
    EXPECT_EQ(test::ReadBytes(disc.dir / "NEW.DSB"), written);
    EXPECT_EQ(test::ReadBytes(disc.dir / "MOVED.DST"), big);
    EXPECT_EQ(ListFiles(platform, "A:\\*.*"), (std::vector<std::string>{"NEW.DSB", "MOVED.DST"}));
    EXPECT_TRUE(test::Mtools(disc.dir, "mdir -b -i " + disc.image + " ::").find("BIG") == std::string::npos);
    // A missing file deletes without complaint; a folder inside the image isn't reached.
    DeleteFile(platform, "A:\\NONE.DST");
    EXPECT_THROW(OpenFile(platform, "A:\\SUB\\X.DST"), RunTimeError);
    // A full disc fails the write; a boot sector of nonsense leaves no file system to list.
    for (const auto& [name, bytes] : {std::pair{"A:\\FULL.DST", 730112 - 74 * 1024}, std::pair{"A:\\MORE.DST", 1}}) {
      const auto fill = [&] {
        BufferedFile file(OpenFile(platform, name));
        file.Write(std::string(static_cast<size_t>(bytes), 'x'));
        file.Close();
      };
      if (bytes > 1) fill();
      else EXPECT_THROW(fill(), RunTimeError);
    }
    disc.Patch(11, std::string(20, '\xFF'));
    EXPECT_THROW(ListFiles(platform, "A:\\*.DST"), RunTimeError);
  });
}

}  // namespace
}  // namespace tavlin
