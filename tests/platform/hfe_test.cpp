// HFE files and MFM tracks: a track cell for cell against the IBM layout, the container's
// header and track table byte for byte, images through HFE and back, tracks whose
// sectors stand out of id order or turned, and damaged files refused.
#include "platform/hfe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tavlin/emulator.h"
#include "tavlin/error.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

// The 16 cells of data byte n of a side, first cell on top, from HFE's order (the first
// cell of each byte in its bit 0).
uint16_t CellWord(const std::vector<uint8_t>& cells, size_t n) {
  uint16_t word = 0;
  for (size_t cell = 16 * n; cell < 16 * n + 16; ++cell) {
    word = static_cast<uint16_t>((word << 1) | ((cells.at(cell / 8) >> (cell % 8)) & 1));
  }
  return word;
}

std::string Random(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  return test::RandomBytes(random, n);
}

uint16_t Crc(const std::string& bytes) { return CrcCcitt({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}); }

// A track as an IBM controller formats it, word by word: gap 4a, the index mark, gap 1,
// then each sector's ID record, gap 2, data record and gap 3, and gap to the end. A
// clock cell stands between two zero data cells only, but in the syncs' missing clocks.
std::vector<uint16_t> IbmTrack(const std::vector<MfmSector>& sectors, int gap3) {
  std::vector<uint16_t> words;
  int last = 0;
  const auto put = [&](const std::string& bytes) {
    for (const char c : bytes) {
      uint16_t word = 0;
      for (int k = 7; k >= 0; --k) {
        const int bit = (static_cast<uint8_t>(c) >> k) & 1;
        word = static_cast<uint16_t>((word << 2) | ((last | bit) == 0 ? 2 : 0) | bit);
        last = bit;
      }
      words.push_back(word);
    }
  };
  const auto sync = [&](uint16_t word, int lastBit) { words.insert(words.end(), 3, word), last = lastBit; };
  put(std::string(80, 0x4E) + std::string(12, 0));
  sync(0x5224, 0);  // C2
  put("\xFC" + std::string(50, 0x4E));
  for (const MfmSector& s : sectors) {
    const std::string id = "\xA1\xA1\xA1\xFE" + Bytes({s.cylinder, s.head, s.id, s.sizeCode});
    const std::string data = "\xA1\xA1\xA1\xFB" + s.data;
    put(std::string(12, 0));
    sync(0x4489, 1);  // A1
    put(id.substr(3) + Bytes({Crc(id) >> 8, Crc(id) & 0xFF}) + std::string(22, 0x4E) + std::string(12, 0));
    sync(0x4489, 1);
    put(data.substr(3) + Bytes({Crc(data) >> 8, Crc(data) & 0xFF}) + std::string(static_cast<size_t>(gap3), 0x4E));
  }
  put(std::string(6250 - words.size(), 0x4E));
  return words;
}

TEST(Hfe, ATrackIsLaidAsAControllerFormatsIt) {
  // The CRC is CCITT from all ones: it holds 0xCDB4 after the three syncs.
  EXPECT_EQ(Crc("123456789"), 0x29B1);
  EXPECT_EQ(Crc("\xA1\xA1\xA1"), 0xCDB4);
  // 16 sectors of 256 bytes fill 6250 bytes with a gap 3 of (6250 - 146 - 16 x 318) / 16.
  EXPECT_EQ(TrackLayoutFor(16, 256, 6250).gap3, 63);
  EXPECT_EQ(TrackLayoutFor(9, 512, 6250).gap3, 104);
  EXPECT_EQ(TrackLayoutFor(18, 512, 12500).gap3, 112);
  const std::vector<MfmSector> sectors = {{5, 1, 1, 1, std::string(256, 0x11)}, {5, 1, 2, 1, std::string(256, 0x22)}};
  const std::vector<uint8_t> cells = EncodeMfmTrack(sectors, TrackLayoutFor(16, 256, 6250));
  ASSERT_EQ(cells.size(), 12500u);  // 100,000 cells: 200 ms at 2 microseconds a cell
  const std::vector<uint16_t> expected = IbmTrack(sectors, 63);
  for (size_t n = 0; n < expected.size(); ++n) ASSERT_EQ(CellWord(cells, n), expected[n]) << "byte " << n;
}

// An image into its tracks: the header, the track table, the sectors of a cylinder
// where they belong. Images of every family's size filled at random through HFE and
// back byte for byte, and the tracks of another writer's HFE.
TEST(Hfe, ImagesGoIntoTheirTracksAndComeBackByteForByte) {
  test::TempDir dir;
  ASSERT_FALSE(FormatDiscImage(dir / "a.fmc.img", DiscFamily::Fmc));
  ASSERT_FALSE(ExportHfe(dir / "a.fmc.img", dir / "a.hfe"));
  const std::string hfe = test::ReadBytes(dir / "a.hfe"), fmc = test::ReadBytes(dir / "a.fmc.img");
  // 82 cylinders of 25,000 bytes, each in 49 blocks, behind the header and the table.
  ASSERT_EQ(hfe.size(), 512u * (2 + 82 * 49));
  EXPECT_EQ(hfe.substr(0, 512), "HXCPICFE" + Bytes({0, 82, 2, 0, 0xFA, 0x00, 0x2C, 0x01, 0x00, 0x00, 0x01, 0x00}) +
                                    std::string(492, '\xFF'));
  EXPECT_EQ(hfe.substr(512, 8), Bytes({0x02, 0x00, 0xA8, 0x61, 0x33, 0x00, 0xA8, 0x61}));
  EXPECT_EQ(hfe.substr(512 + 4 * 81, 188), Bytes({0x83, 0x0F, 0xA8, 0x61}) + std::string(184, '\xFF'));
  // Cylinder 2, head 0: the first 256 bytes of each 512 of its blocks; sectors 1 to 16
  // in that order, the image's bytes.
  std::vector<uint8_t> side;
  for (size_t k = 0; k < 12500; ++k) side.push_back(static_cast<uint8_t>(hfe[(2 + 2 * 49) * 512 + k / 256 * 512 + k % 256]));
  const std::vector<MfmSectorRead> reads = DecodeMfmTrack(side, side.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  for (size_t s = 0; s < 16; ++s) {
    EXPECT_TRUE(reads[s].sector.id == s + 1 && reads[s].sector.cylinder == 2 && reads[s].sector.head == 0) << s;
    EXPECT_EQ(reads[s].sector.data, fmc.substr((2 * 2 * 16 + s) * 256, 256)) << s;
  }
  for (const size_t bytes : {671744u, 655360u, 737280u, 1474560u}) {
    test::WriteBytes(dir / "random.img", Random(bytes, static_cast<uint32_t>(bytes)));
    ASSERT_FALSE(ExportHfe(dir / "random.img", dir / "random.hfe")) << bytes;
    ASSERT_FALSE(ImportHfe(dir / "random.hfe", dir / "random-back.img")) << bytes;
    EXPECT_EQ(test::ReadBytes(dir / "random-back.img"), test::ReadBytes(dir / "random.img")) << bytes;
  }
  // The 1.44 MB image plays at high density.
  EXPECT_EQ(test::ReadBytes(dir / "random.hfe").substr(9, 8), Bytes({80, 2, 0, 0xF4, 0x01, 0x2C, 0x01, 0x01}));

  // An HFE made elsewhere whose sides hold their sectors in the order 1, 4, 7 ... 14,
  // turned by a number of cells that is no whole byte so that the index falls inside the
  // sixth sector's data, which then runs across it, gives the same image: a reader finds
  // sectors by their ids and syncs on the cells.
  const std::string zsk = Random(655360, 99);
  HfeImage shuffled;
  shuffled.cylinders.resize(80);
  for (size_t c = 0; c < 80; ++c) {
    for (size_t h = 0; h < 2; ++h) {
      std::vector<MfmSector> sectors;
      for (size_t k = 0; k < 16; ++k) {
        const size_t id = k * 3 % 16 + 1;  // 1, 4, 7, 10, 13, 16, 3 ...
        sectors.push_back({static_cast<uint8_t>(c), static_cast<uint8_t>(h), static_cast<uint8_t>(id), 1,
                           zsk.substr(((c * 2 + h) * 16 + id - 1) * 256, 256)});
      }
      shuffled.cylinders[c][h] = EncodeMfmTrack(sectors, TrackLayoutFor(16, 256, 6250));
    }
  }
  for (auto& cylinder : shuffled.cylinders) {
    for (auto& cells : cylinder) {
      const std::vector<uint8_t> was = cells;
      const size_t total = was.size() * 8, by = (146 + 5 * 381 + 200) * 16 + 5;
      std::fill(cells.begin(), cells.end(), 0);
      for (size_t cell = 0; cell < total; ++cell) {
        cells[cell / 8] = static_cast<uint8_t>(cells[cell / 8] | ((was[(cell + by) % total / 8] >> ((cell + by) % total % 8)) & 1) << (cell % 8));
      }
    }
  }
  test::WriteBytes(dir / "other.hfe", WriteHfe(shuffled));
  std::string why;
  ASSERT_FALSE(ImportHfe(dir / "other.hfe", dir / "other.img", &why)) << why;
  EXPECT_EQ(test::ReadBytes(dir / "other.img"), zsk);
}

// A damaged or foreign HFE is refused with its reason, and the image it would have
// replaced stays as it was.
TEST(Hfe, DamagedFilesAreRefusedAndNothingIsLost) {
  test::TempDir dir;
  test::WriteBytes(dir / "z.img", Random(655360, 7));
  ASSERT_FALSE(ExportHfe(dir / "z.img", dir / "z.hfe"));
  const std::string good = test::ReadBytes(dir / "z.hfe");
  test::WriteBytes(dir / "kept.img", "precious");
  // One cell of cylinder 5, head 1's third sector (id 3) turned.
  std::string damaged = good;
  const size_t cell = (146 + 2 * 381 + 12 + 10 + 22 + 12 + 4 + 50) * 2;
  damaged[(2 + 5 * 49) * 512 + (cell / 256) * 512 + 256 + cell % 256] ^= 0x20;
  std::mt19937 random(11);
  const struct {
    std::string bytes, reason;
    DiscErrc code;
  } refused[] = {
      {damaged, "cylinder 5 head 1 sector 3 can't be read", DiscErrc::SectorFailed},
      {good.substr(0, good.size() - 512 * 30), "runs past its end", DiscErrc::NoGeometry},
      {"HXCHFEV3" + good.substr(8), "version 3", DiscErrc::NoGeometry},
      {good.substr(0, 11) + '\x02' + good.substr(12), "not IBM MFM", DiscErrc::NoGeometry},
      {"short", "no HXCPICFE", DiscErrc::NoGeometry},
      {good.substr(0, 1024) + test::RandomBytes(random, good.size() - 1024), "geometry of no disc family", DiscErrc::NoGeometry},
  };
  for (const auto& [bytes, reason, code] : refused) {
    test::WriteBytes(dir / "bad.hfe", bytes);
    std::string why;
    EXPECT_EQ(ImportHfe(dir / "bad.hfe", dir / "kept.img", &why), code) << why;
    EXPECT_NE(why.find(reason), std::string::npos) << why;
    EXPECT_EQ(test::ReadBytes(dir / "kept.img"), "precious") << reason;
  }
  EXPECT_EQ(ImportHfe(dir / "none.hfe", dir / "kept.img"), ResultCode(53));
  EXPECT_EQ(ExportHfe(dir / "kept.img", dir / "kept.hfe"), DiscErrc::NoGeometry);
  EXPECT_FALSE(std::filesystem::exists(dir / "kept.hfe"));
}

}  // namespace
}  // namespace tavlin
