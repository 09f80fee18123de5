// HUS, VIP and SHV: the samples read as their DST siblings, what we write as HUS reads
// back the same, and a damaged file is refused with its own code.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "compression/lzh_blocks.h"
#include "conversion/convert.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Needle;

uint32_t Le32(const std::string& b, size_t at) {
  return static_cast<uint32_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8 |
                               static_cast<uint8_t>(b[at + 2]) << 16 | static_cast<uint8_t>(b[at + 3]) << 24);
}

// How many needles of one design lie further than a unit from every needle of the same
// colour in the other.
size_t FarNeedles(const std::vector<Needle>& got, const std::vector<Needle>& want, long dx = 0, long dy = 0) {
  size_t far = 0;
  for (const Needle& n : got) {
    bool near = false;
    for (const Needle& w : want) {
      if (w.colour == n.colour && std::labs(w.x - n.x - dx) <= 1 && std::labs(w.y - n.y - dy) <= 1) {
        near = true;
        break;
      }
    }
    far += near ? 0 : 1;
  }
  return far;
}

// The other program places a design its own way and leaves out some stitches of no
// length at the start: the placement is the move of the file's first needle onto one of
// the sibling's first few that leaves the fewest needles apart.
std::pair<long, long> Placement(const std::vector<Needle>& got, const std::vector<Needle>& want) {
  std::pair<long, long> best{0, 0};
  size_t fewest = SIZE_MAX;
  for (size_t j = 0; j < std::min<size_t>(want.size(), 4) && !got.empty(); ++j) {
    const long dx = want[j].x - got.front().x, dy = want[j].y - got.front().y;
    const size_t far = FarNeedles(got, want, dx, dy);
    if (far < fewest) {
      fewest = far;
      best = {dx, dy};
    }
  }
  return best;
}

struct Sample {
  const char* file;
  const char* sibling;
  std::vector<int> threadKeys;  // the palette keys the file stores; none for VIP
  bool hus = true;              // HUS's streams and head: ours must match them
};

TEST(VikingFormats, EverySampleReadsAsItsDstSiblingAndComesBackThroughOurWriter) {
  const std::string samples = test::Samples();
  const std::vector<Sample> rows = {
      {"Star.HUS", "Star.DST", {4, 13}},
      {"Star.VIP", "Star.DST", {}},
      {"shamrockin.hus", "shamrockin.dst", {3}},
      {"shamrockin.vip", "shamrockin.dst", {}},
      {"Star.SHV", "Star.DST", {}, false},
      {"shamrockin.shv", "shamrockin.dst", {}, false},
      {"shamrockin.vp3", "shamrockin.dst", {}, false},
  };
  test::TempDir dir;
  for (const Sample& row : rows) {
    SCOPED_TRACE(row.file);
    const std::string path = samples + "/" + row.file;
    const std::vector<Needle> want = test::NeedlesOf(samples + "/" + row.sibling);
    const std::vector<Needle> got = test::NeedlesOf(path);
    // The other program leaves out a few stitches of no length, and adds some.
    EXPECT_NEAR(static_cast<double>(got.size()), static_cast<double>(want.size()), 0.01 * want.size());
    const auto [dx, dy] = Placement(got, want);
    EXPECT_EQ(FarNeedles(got, want, dx, dy), 0u) << "of the file's needles";
    EXPECT_EQ(FarNeedles(want, got, -dx, -dy), 0u) << "of the sibling's needles";
    DesignSummary file, sibling;
    ASSERT_EQ(SummariseDesign(path, file).value(), 0);
    ASSERT_EQ(SummariseDesign(samples + "/" + row.sibling, sibling).value(), 0);
    EXPECT_EQ(file.colourChanges, sibling.colourChanges);
    std::vector<int> keys;
    for (const ThreadColour& t : file.threads) keys.push_back(t.paletteKey);
    EXPECT_EQ(keys, row.threadKeys);

    // Through our writer: the same needles. A HUS or VIP comes back with the same jumps,
    // the same head and each stream the file's own once decompressed.
    const std::string ours = dir / (std::string(row.file) + ".HUS");
    ASSERT_EQ(Convert(path, ours).value(), 0);
    EXPECT_EQ(test::NeedlesOf(ours, row.hus), test::NeedlesOf(path, row.hus));
    // And through our VP3 writer, with the extents the file gives.
    const std::string vp3 = dir / (std::string(row.file) + ".VP3");
    ASSERT_EQ(Convert(path, vp3).value(), 0);
    EXPECT_EQ(test::NeedlesOf(vp3), test::NeedlesOf(path));
    DesignSummary back;
    ASSERT_EQ(SummariseDesign(vp3, back).value(), 0);
    EXPECT_EQ(std::make_tuple(back.plusX, back.minusX, back.plusY, back.minusY),
              std::make_tuple(file.plusX, file.minusX, file.plusY, file.minusY));
    if (!row.hus) continue;
    const std::string theirs = test::ReadBytes(path), written = test::ReadBytes(ours);
    EXPECT_EQ(written.substr(4, 16), theirs.substr(4, 16)) << "counts and extents";
    if (!row.threadKeys.empty()) EXPECT_EQ(written.substr(40, 2 + 2 * row.threadKeys.size()), theirs.substr(40, 2 + 2 * row.threadKeys.size()));
    for (int s = 0; s < 3; ++s) {
      auto streamOf = [s](const std::string& bytes) {
        const uint32_t from = Le32(bytes, 20 + 4 * static_cast<size_t>(s));
        const uint32_t to = s < 2 ? Le32(bytes, 24 + 4 * static_cast<size_t>(s)) : static_cast<uint32_t>(bytes.size());
        const std::vector<uint8_t> packed(bytes.begin() + from, bytes.begin() + to);
        return LzhDecompress(packed, Le32(bytes, 4));
      };
      const std::vector<uint8_t> plain = streamOf(theirs);
      EXPECT_EQ(streamOf(written), plain) << "stream " << s;
      EXPECT_EQ(LzhDecompress(LzhCompress(plain), plain.size()), plain) << "stream " << s;
    }
  }
}

TEST(VikingFormats, ADamagedFileIsRefusedWithItsCode) {
  const std::string star = test::ReadBytes(test::Samples() + "/Star.HUS");
  auto with = [&star](size_t at, std::string bytes) { return std::string(star).replace(at, bytes.size(), bytes); };
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"cut in its head", star.substr(0, 30)},
      {"cut in its last stream", star.substr(0, 2000)},
      {"no mark of the format", with(0, "XX")},
      {"a stream past the file", with(24, "\xFF\xFF\x00\x00")},
      {"a count past what the streams hold", with(4, "\xFF\xFF\xFF\x7F")},
      {"a table that codes nothing", with(1392, std::string(40, '\0'))},
  };
  test::TempDir dir;
  for (const auto& [what, bytes] : rows) {
    SCOPED_TRACE(what);
    test::WriteBytes(dir / "bad.HUS", bytes);
    const std::error_code ec = Convert(dir / "bad.HUS", dir / "out.DST");
    EXPECT_EQ(ec.value(), kResultDamagedFile) << ec.message();
    EXPECT_FALSE(std::filesystem::exists(dir / "out.DST"));
  }
}

}  // namespace
}  // namespace tavlin
