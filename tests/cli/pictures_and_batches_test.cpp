// The command's pictures (PNG read back through libpng, SVG), colour names, and many
// files converted at once.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tavlin/convert.h"
#include "test_support.h"

namespace tavlin {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode;
  std::string out;
  std::string err;
};

Outcome Tavlin(const test::TempDir& dir, const std::string& arguments) {
  const std::string command =
      std::string(TAVLIN_CLI) + " " + arguments + " >" + (dir / "out") + " 2>" + (dir / "err");
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test::ReadBytes(dir / "out"), test::ReadBytes(dir / "err")};
}

size_t Lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

struct Png {
  bool read = false;
  png_uint_32 width = 0, height = 0;
  int colourType = -1, depth = 0;
  std::vector<std::vector<uint8_t>> rows;
};

// Reads a PNG whole through libpng, as an image viewer would.
Png ReadPng(const std::string& path) {
  Png png;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return png;
  png_structp reader = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(reader);
  if (setjmp(png_jmpbuf(reader))) {
    png_destroy_read_struct(&reader, &info, nullptr);
    std::fclose(file);
    png.read = false;
    return png;
  }
  png_init_io(reader, file);
  png_read_png(reader, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png.width = png_get_image_width(reader, info);
  png.height = png_get_image_height(reader, info);
  png.colourType = png_get_color_type(reader, info);
  png.depth = png_get_bit_depth(reader, info);
  png_bytepp rows = png_get_rows(reader, info);
  for (png_uint_32 y = 0; y < png.height; ++y) png.rows.emplace_back(rows[y], rows[y] + png.width * 3);
  png_destroy_read_struct(&reader, &info, nullptr);
  std::fclose(file);
  png.read = true;
  return png;
}

TEST(CommandPictures, PreviewWritesAPngAndAnSvgAndRefusesWhatItCannotDraw) {
  test::TempDir dir;
  const std::string star = test::Samples() + "/Star.JEF";
  Outcome png = Tavlin(dir, "preview " + star + " " + (dir / "star.png") + " --size 240 --grid --jumps dashed");
  ASSERT_EQ(png.exitCode, 0) << png.err;
  EXPECT_EQ(png.err, "");
  const Png read = ReadPng(dir / "star.png");
  ASSERT_TRUE(read.read);
  EXPECT_EQ(std::max(read.width, read.height), 240u);
  EXPECT_EQ(read.colourType, PNG_COLOR_TYPE_RGB);
  EXPECT_EQ(read.depth, 8);
  // The star's own red, #FF5A27, is in the picture; the corner is the ground.
  int red = 0;
  for (const auto& row : read.rows) {
    for (size_t x = 0; x + 2 < row.size(); x += 3) red += row[x] == 0xFF && row[x + 1] == 0x5A && row[x + 2] == 0x27;
  }
  EXPECT_GT(red, 1000);
  EXPECT_EQ(read.rows[0][0], read.rows[0][1]);  // a grey or white ground, not a thread

  Outcome svg = Tavlin(dir, "preview " + star + " " + (dir / "star.SVG"));
  ASSERT_EQ(svg.exitCode, 0) << svg.err;
  const std::string text = test::ReadBytes(dir / "star.SVG");
  EXPECT_NE(text.find("<polyline stroke=\"#FF5A27\""), std::string::npos);
  EXPECT_NE(text.find("<polyline stroke=\"#FFFFDC\""), std::string::npos);

  // Failures: one line each, and no picture left behind.
  for (const auto& [arguments, said] : std::vector<std::pair<std::string, std::string>>{
           {star + " " + (dir / "x.jpg"), "must end in .png or .svg"},
           {(dir / "none.DST") + " " + (dir / "x.png"), "file not found (code 53)"},
           {test::Samples() + "/Star.TAP " + (dir / "x.png"), "names no stitch format"},
           {star + " " + (dir / "nowhere/x.png"), "cannot write"}}) {
    Outcome failed = Tavlin(dir, "preview " + arguments);
    EXPECT_NE(failed.exitCode, 0) << arguments;
    EXPECT_EQ(Lines(failed.err), 1u) << failed.err;
    EXPECT_NE(failed.err.find(said), std::string::npos) << failed.err;
  }
  EXPECT_FALSE(fs::exists(dir / "x.png"));
  EXPECT_FALSE(fs::exists(dir / "x.png.tavlin-part"));
  EXPECT_NE(Tavlin(dir, "preview " + star + " " + (dir / "y.png") + " --size 5").exitCode, 0);
  EXPECT_NE(Tavlin(dir, "preview " + star + " " + (dir / "y.png") + " --jumps show").exitCode, 0);
  EXPECT_FALSE(fs::exists(dir / "y.png"));
}

TEST(CommandPictures, InfoNamesTheColoursAndTheDemoDrawsItsSample) {
  test::TempDir dir;
  Outcome jef = Tavlin(dir, "info " + test::Samples() + "/Star.JEF");
  ASSERT_EQ(jef.exitCode, 0) << jef.err;
  EXPECT_NE(jef.out.find("1: #FF5A27 red (palette 33)"), std::string::npos) << jef.out;
  EXPECT_NE(jef.out.find("2: #FFFFDC light yellow (palette 51)"), std::string::npos) << jef.out;
  Outcome dst = Tavlin(dir, "info " + test::Samples() + "/Star.DST");
  EXPECT_NE(dst.out.find("none stored; drawn in the default palette"), std::string::npos) << dst.out;
  EXPECT_NE(dst.out.find("1: #0E1F7C dark blue (PES 1)"), std::string::npos) << dst.out;
  Outcome json = Tavlin(dir, "info --json " + test::Samples() + "/Star.DST");
  EXPECT_NE(json.out.find("\"default_threads\""), std::string::npos) << json.out;

  Outcome demo = Tavlin(dir, "demo " + (dir / "demo"));
  ASSERT_EQ(demo.exitCode, 0) << demo.err;
  const Png sample = ReadPng(dir / "demo/sample.png");
  ASSERT_TRUE(sample.read);
  EXPECT_EQ(sample.width, 600u);
  // Its three threads, red, green and blue, are all drawn.
  int red = 0, green = 0, blue = 0;
  for (const auto& row : sample.rows) {
    for (size_t x = 0; x + 2 < row.size(); x += 3) {
      red += row[x] == 0xED && row[x + 1] == 0x17 && row[x + 2] == 0x1F;
      green += row[x] == 0x00 && row[x + 1] == 0x87 && row[x + 2] == 0x77;
      blue += row[x] == 0x0E && row[x + 1] == 0x1F && row[x + 2] == 0x7C;
    }
  }
  EXPECT_GT(red, 500);
  EXPECT_GT(green, 200);
  EXPECT_GT(blue, 200);
}

// A DST whose 300 steps of +121 overflow the 16-bit sums: its conversion fails midway.
std::string Overflowing() { return test::DstFile(std::vector<test::Rec>(300, test::Rec{KindStitch, 121, 0})); }

TEST(CommandBatches, EveryFileOnItsOwnWithFailuresReportedAndTheRestDone) {
  test::TempDir dir;
  fs::create_directories(dir / "in");
  for (int i = 0; i < 12; ++i) {
    test::WriteBytes(dir / ("in/d" + std::to_string(10 + i) + ".DST"), test::ZigzagDst(40 + i * 7, 15, 11, 22));
  }
  test::WriteBytes(dir / "in/d15.DST", Overflowing());  // one in the middle fails
  test::WriteBytes(dir / "in/notes.txt", "not a design");
  test::WriteBytes(dir / "extra.DST", test::DstFile({{KindStitch, 30, 40}}));

  Outcome batch = Tavlin(dir, "convert " + (dir / "in") + " " + (dir / "extra.DST") +
                                   " --to jef --out-dir " + (dir / "conv") + " --jobs 2");
  EXPECT_EQ(batch.exitCode, 1);
  EXPECT_EQ(batch.err, "tavlin: cannot convert " + (dir / "in/d15.DST") + ": overflow (code 6)\n");
  EXPECT_NE(batch.out.find("converted        12"), std::string::npos) << batch.out;
  EXPECT_NE(batch.out.find("failed            1"), std::string::npos) << batch.out;
  EXPECT_NE(batch.out.find("skipped           1"), std::string::npos) << batch.out;
  EXPECT_NE(batch.out.find("(2 workers)"), std::string::npos) << batch.out;
  EXPECT_FALSE(fs::exists(dir / "conv/d15.JEF"));
  EXPECT_FALSE(fs::exists(dir / "conv/notes.JEF"));
  // Each result is what converting that file alone gives, whichever worker made it.
  for (int i = 0; i < 12; ++i) {
    const std::string name = "d" + std::to_string(10 + i);
    if (name == "d15") continue;
    ASSERT_EQ(Convert(dir / ("in/" + name + ".DST"), dir / (name + ".JEF")).value(), 0);
    EXPECT_EQ(test::ReadBytes(dir / ("conv/" + name + ".JEF")), test::ReadBytes(dir / (name + ".JEF"))) << name;
  }
  EXPECT_EQ(test::ReadBytes(dir / "conv/extra.JEF"), [&] {
    EXPECT_EQ(Convert(dir / "extra.DST", dir / "alone.JEF").value(), 0);
    return test::ReadBytes(dir / "alone.JEF");
  }());
  // No working file is left behind.
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(dir / "conv")) ++files;
  EXPECT_EQ(files, 12u);

  // Without --out-dir, beside each source; a row for every file when asked.
  Outcome beside = Tavlin(dir, "convert " + (dir / "extra.DST") + " " + (dir / "in/d10.DST") + " --to T01 -v -j 1");
  EXPECT_EQ(beside.exitCode, 0) << beside.err;
  EXPECT_TRUE(fs::exists(dir / "extra.T01"));
  EXPECT_TRUE(fs::exists(dir / "in/d10.T01"));
  EXPECT_NE(beside.out.find((dir / "in/d10.DST")), std::string::npos) << beside.out;
  EXPECT_NE(beside.out.find("(1 worker)"), std::string::npos) << beside.out;
}

TEST(CommandBatches, NamesThatClashOrCannotBeConvertedAreRefusedAlone) {
  test::TempDir dir;
  fs::create_directories(dir / "a");
  fs::create_directories(dir / "b");
  test::WriteBytes(dir / "a/x.DST", test::DstFile({{KindStitch, 30, 40}}));
  test::WriteBytes(dir / "b/x.DST", test::DstFile({{KindStitch, 50, 40}}));
  test::WriteBytes(dir / "b/y.DST", test::DstFile({{KindStitch, 10, 10}}));
  test::WriteBytes(dir / "b/y.T01", "precious");
  // Two sources of one name into one folder: the second is refused, not written over
  // the first; a DST into DST beside itself would replace its source.
  Outcome clash = Tavlin(dir, "convert " + (dir / "a/x.DST") + " " + (dir / "b/x.DST") + " " +
                                  (dir / "none.DST") + " --to T01 --out-dir " + (dir / "conv"));
  EXPECT_EQ(clash.exitCode, 1);
  EXPECT_NE(clash.err.find("cannot convert " + (dir / "b/x.DST") + ": another file of the batch"), std::string::npos)
      << clash.err;
  EXPECT_NE(clash.err.find("cannot convert " + (dir / "none.DST") + ": file not found (code 53)"), std::string::npos)
      << clash.err;
  EXPECT_EQ(Lines(clash.err), 2u) << clash.err;
  EXPECT_TRUE(fs::exists(dir / "conv/x.T01"));
  Outcome self = Tavlin(dir, "convert " + (dir / "b/y.DST") + " --to DST");
  EXPECT_EQ(self.exitCode, 1);
  EXPECT_NE(self.err.find("it would replace its own source"), std::string::npos) << self.err;
  // A failed conversion leaves the file of that name as it was.
  test::WriteBytes(dir / "b/y.DST", Overflowing());
  EXPECT_EQ(Tavlin(dir, "convert " + (dir / "b/y.DST") + " --to T01").exitCode, 1);
  EXPECT_EQ(test::ReadBytes(dir / "b/y.T01"), "precious");

  Outcome unknown = Tavlin(dir, "convert " + (dir / "a") + " --to XYZ");
  EXPECT_EQ(unknown.exitCode, 1);
  EXPECT_EQ(unknown.err, "tavlin: cannot convert to XYZ: it names no format this build writes\n");
  Outcome empty = Tavlin(dir, "convert " + (dir / "conv") + " --to DST --out-dir " + (dir / "out2"));
  EXPECT_EQ(empty.exitCode, 0) << empty.err;  // the T01 files of out convert
  fs::create_directories(dir / "nothing");
  EXPECT_EQ(Tavlin(dir, "convert " + (dir / "nothing") + " --to DST").exitCode, 1);
  // The one-file form is as it was; --out-dir belongs to --to.
  EXPECT_NE(Tavlin(dir, "convert " + (dir / "a/x.DST") + " " + (dir / "z.T01") + " --out-dir " + (dir / "o")).exitCode, 0);
  EXPECT_NE(Tavlin(dir, "convert " + (dir / "a/x.DST") + " " + (dir / "b/x.DST") + " " + (dir / "z.T01")).exitCode, 0);
  EXPECT_FALSE(fs::exists(dir / "z.T01"));
}

}  // namespace
}  // namespace tavlin
