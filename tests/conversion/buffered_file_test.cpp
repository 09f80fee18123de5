// The buffered file against a plain byte string doing the same reads, writes and seeks.
#include <gtest/gtest.h>

#include <random>

#include "conversion/buffered_file.h"
#include "test_support.h"

namespace tavlin {
namespace {

TEST(BufferedFile, AgreesWithAPlainStringUnderRandomUse) {
  test::TempDir dir;
  PlatformState platform;
  std::mt19937 random(7);
  for (int round = 0; round < 8; ++round) {
    const std::string path = dir / ("f" + std::to_string(round));
    // Some rounds start from a file that exists, larger than one window.
    std::string model;
    if (round % 2 == 1) {
      model.resize(BufferedFile::kWindowBytes + 1000 * static_cast<size_t>(round));
      for (char& c : model) c = static_cast<char>(random());
      test::WriteBytes(path, model);
    }
    BufferedFile file(OpenFile(platform, path));
    ASSERT_EQ(file.Length(), static_cast<int64_t>(model.size()));
    size_t position = 0;
    for (int op = 0; op < 400; ++op) {
      const int what = static_cast<int>(random() % 10);
      if (what < 4) {  // write, sometimes more than a window
        const size_t n = random() % 40 == 0 ? BufferedFile::kWindowBytes + 17 : random() % 700;
        std::string data(n, '\0');
        for (char& c : data) c = static_cast<char>(random());
        file.Write(data);
        if (model.size() < position + n) model.resize(position + n, '\0');
        model.replace(position, n, data);
        position += n;
      } else if (what < 7) {  // read
        const size_t n = random() % 900;
        std::string got(n, '\0');
        const size_t read = file.Read(reinterpret_cast<uint8_t*>(got.data()), n);
        const size_t expected = position >= model.size() ? 0 : std::min(n, model.size() - position);
        ASSERT_EQ(read, expected);
        ASSERT_EQ(got.substr(0, read), model.substr(position, read));
        position += read;
      } else {  // seek anywhere inside the file, or to its end
        position = model.empty() ? 0 : random() % (model.size() + 1);
        file.Seek(static_cast<int64_t>(position));
      }
      ASSERT_EQ(file.Position(), static_cast<int64_t>(position));
      ASSERT_EQ(file.Length(), static_cast<int64_t>(model.size()));
    }
    file.Close();
    ASSERT_EQ(test::ReadBytes(path), model) << "round " << round;
  }
}

TEST(BufferedFile, OpeningCreatesAMissingFileReachesBoundFoldersAndFailsOtherwise) {
  test::TempDir dir;
  PlatformState platform;
  { BufferedFile created(OpenFile(platform, dir / "new.DST")); }
  EXPECT_TRUE(std::filesystem::exists(dir / "new.DST"));
  try {
    OpenFile(platform, dir / "no/such/folder.DST");
    ADD_FAILURE() << "a missing folder opened";
  } catch (const RunTimeError& e) {
    EXPECT_EQ(e.Code(), kPathNotFound);
  }
  // A drive letter that is bound to nothing is not ready.
  try {
    OpenFile(platform, "B:\\DESIGN.DST");
    ADD_FAILURE() << "an unbound drive opened";
  } catch (const RunTimeError& e) {
    EXPECT_EQ(e.Code(), kDiskNotReady);
  }
  // Drive paths reach the folder bound to the letter.
  BindDirectory(platform, 0, dir.path().string());
  {
    BufferedFile file(OpenFile(platform, "A:\\SUB.DST"));
    file.Write("abc");
  }
  EXPECT_EQ(test::ReadBytes(dir / "SUB.DST"), "abc");
  EXPECT_TRUE(FileExists(platform, "a:/SUB.DST"));
  DeleteFile(platform, "A:\\SUB.DST");
  EXPECT_FALSE(std::filesystem::exists(dir / "SUB.DST"));
  DeleteFile(platform, "A:\\SUB.DST");  // a missing file is no failure
}

}  // namespace
}  // namespace tavlin
