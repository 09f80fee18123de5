// The DOS file system inside an image: names matched as DOS matches them, and files that
// mtools put there read back whole.
#include <gtest/gtest.h>

#include <random>

#include "conversion/buffered_file.h"
#include "disc_fixture.h"
#include "platform/fat_volume.h"
#include "platform/files.h"

namespace tavlin {
namespace {

TEST(FatVolume, MasksMatchAsDosDoesAndFilesOfMtoolsReadBackWhole) {
  const struct {
    const char* name;
    const char* mask;
    bool matches;
  } masks[] = {{"STAR.DST", "*.DST", true}, {"star.dst", "*.DST", true}, {"STAR.DSTX", "*.DST", false},
               {"DESIGN", "*.", true},      {"DESIGN.DST", "*.", false}, {"A.U01", "*.U*", true},
               {"A.10O", "*.10o", true},    {"ANY.THING", "*.*", true},  {"AB", "A?", true}};
  for (const auto& m : masks) EXPECT_EQ(MatchesDosMask(m.name, m.mask), m.matches) << m.name << " " << m.mask;
  test::OnFreshThread([] {
    test::DiscImage disc(ImageFamily::Dos720, OtherDOS);
    PlatformState& platform = ThreadSharedRecord().platform;
    std::mt19937 random(1);
    const std::string big = test::RandomBytes(random, 70000);  // 69 clusters
    test::WriteBytes(disc.dir / "BIG.DST", big);
    test::WriteBytes(disc.dir / "NOEXT", "emnet");
    test::Mtools(disc.dir, "mcopy -i " + disc.image + " " + (disc.dir / "BIG.DST") + " " + (disc.dir / "NOEXT") + " ::");
    BindDriveImage(0, disc.image);
    EXPECT_EQ(ListFiles(platform, "A:\\*."), std::vector<std::string>{"NOEXT"});
    EXPECT_EQ(FileLength(platform, "A:\\BIG.DST"), 70000);
    std::string read(70000, '\0');
    EXPECT_EQ(BufferedFile(OpenFile(platform, "a:\\big.dst")).Read(reinterpret_cast<uint8_t*>(read.data()), 70000), 70000u);
    EXPECT_EQ(read, big);
    // A folder inside the image isn't reached.
    EXPECT_THROW(OpenFile(platform, "A:\\SUB\\X.DST"), RunTimeError);
  });
}

}  // namespace
}  // namespace tavlin
