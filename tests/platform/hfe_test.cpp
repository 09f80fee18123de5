// HFE files and MFM tracks: a track cell for cell against the IBM layout, the container's
// header and track table byte for byte, every family's image through HFE and back, tracks
// whose sectors stand out of id order, turned or damaged, and files that are refused.
#include "platform/hfe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tavlin/disc.h"
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

// Side `side` of cylinder `c` of an HFE file, by its track table: 256 bytes a side in turn.
std::vector<uint8_t> SideOf(const std::string& hfe, size_t c, size_t side) {
  const auto le16 = [&hfe](size_t at) { return static_cast<size_t>(Bytes2ToInt(hfe.substr(at, 2)) & 0xFFFF); };
  std::vector<uint8_t> out;
  for (size_t k = 0; k < le16(512 + 4 * c + 2) / 2; ++k) {
    out.push_back(static_cast<uint8_t>(hfe.at(le16(512 + 4 * c) * 512 + (k / 256) * 512 + side * 256 + k % 256)));
  }
  return out;
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

TEST(Hfe, CrcIsCcittFromAllOnes) {
  EXPECT_EQ(Crc("123456789"), 0x29B1);
  EXPECT_EQ(Crc("\xA1\xA1\xA1"), 0xCDB4);  // what a controller's CRC holds after the three syncs
  const uint8_t tail[] = {0xFE, 3, 1, 7, 1};
  EXPECT_EQ(CrcCcitt(tail, Crc("\xA1\xA1\xA1")), Crc("\xA1\xA1\xA1\xFE" + Bytes({3, 1, 7, 1})));
}

TEST(Hfe, ATrackIsLaidAsAControllerFormatsIt) {
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

// A reader finds each sector by its ID field, whatever its place on the track or the
// cell it starts from, and says which records fail their CRC.
TEST(Hfe, SectorsAreFoundByIdWhateverTheirPlace) {
  const std::vector<uint8_t> order = {1, 4, 7, 10, 13, 16, 3, 6, 9, 12, 15, 2, 5, 8, 11, 14};
  std::vector<MfmSector> sectors;
  for (const uint8_t id : order) sectors.push_back({2, 0, id, 1, Random(256, id)});
  std::vector<uint8_t> cells = EncodeMfmTrack(sectors, TrackLayoutFor(16, 256, 6250));
  std::vector<uint8_t> shifted(cells.size() + 1, 0);
  for (size_t cell = 0; cell < cells.size() * 8; ++cell) {
    shifted[(cell + 5) / 8] = static_cast<uint8_t>(shifted[(cell + 5) / 8] | (((cells[cell / 8] >> (cell % 8)) & 1) << ((cell + 5) % 8)));
  }
  for (const std::vector<uint8_t>* track : {&cells, &shifted}) {
    const std::vector<MfmSectorRead> reads = DecodeMfmTrack(*track, track->size() * 8);
    ASSERT_EQ(reads.size(), 16u);
    for (size_t i = 0; i < reads.size(); ++i) {
      EXPECT_TRUE(reads[i].idCrcOk && reads[i].dataFound && reads[i].dataCrcOk) << i;
      EXPECT_EQ(reads[i].sector.id, order[i]) << i;
      EXPECT_EQ(reads[i].sector.data, Random(256, order[i])) << i;
      EXPECT_TRUE(reads[i].sector.cylinder == 2 && reads[i].sector.sizeCode == 1) << i;
    }
  }
  // One data cell of the third sector's data turned, one of the fifth's ID field.
  cells[(146 + 2 * 381 + 12 + 10 + 22 + 12 + 4 + 100) * 2] ^= 0x02;
  cells[(146 + 4 * 381 + 12 + 4 + 2) * 2 + 1] ^= 0x02;
  std::vector<MfmSectorRead> reads = DecodeMfmTrack(cells, cells.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  EXPECT_TRUE(reads[2].idCrcOk && reads[2].dataFound && !reads[2].dataCrcOk);
  EXPECT_FALSE(reads[4].idCrcOk || reads[4].dataFound);  // a data record after a bad ID field belongs to nothing
  EXPECT_TRUE(reads[5].dataCrcOk);
  // A track cut short loses the sectors past the cut and nothing else; a count past the cells is cut.
  EXPECT_EQ(DecodeMfmTrack(cells, (146 + 3 * 381) * 16).size(), 3u);
  EXPECT_TRUE(DecodeMfmTrack({}, 0).empty());
  EXPECT_EQ(DecodeMfmTrack(cells, 16 * 1000000).size(), 16u);
}

TEST(Hfe, HeaderAndTrackTableFollowTheLayout) {
  test::TempDir dir;
  ASSERT_FALSE(FormatDiscImage(dir / "a.fmc.img", DiscFamily::Fmc));
  ASSERT_FALSE(ExportHfe(dir / "a.fmc.img", dir / "a.hfe"));
  const std::string hfe = test::ReadBytes(dir / "a.hfe"), image = test::ReadBytes(dir / "a.fmc.img");
  // 82 cylinders of 25,000 bytes, each in 49 blocks, behind the header and the table.
  ASSERT_EQ(hfe.size(), 512u * (2 + 82 * 49));
  EXPECT_EQ(hfe.substr(0, 512), "HXCPICFE" + Bytes({0, 82, 2, 0, 0xFA, 0x00, 0x2C, 0x01, 0x00, 0x00, 0x01, 0x00}) +
                                    std::string(492, '\xFF'));
  EXPECT_EQ(hfe.substr(512, 8), Bytes({0x02, 0x00, 0xA8, 0x61, 0x33, 0x00, 0xA8, 0x61}));
  EXPECT_EQ(hfe.substr(512 + 4 * 81, 188), Bytes({0x83, 0x0F, 0xA8, 0x61}) + std::string(184, '\xFF'));
  // The directory track, cylinder 2 head 0: sectors 1 to 16 in that order, the image's bytes.
  const std::vector<uint8_t> side = SideOf(hfe, 2, 0);
  ASSERT_EQ(side.size(), 12500u);
  const std::vector<MfmSectorRead> reads = DecodeMfmTrack(side, side.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  for (size_t s = 0; s < 16; ++s) {
    EXPECT_EQ(reads[s].sector.id, s + 1);
    EXPECT_TRUE(reads[s].sector.cylinder == 2 && reads[s].sector.head == 0);
    EXPECT_EQ(reads[s].sector.data, image.substr((2 * 2 * 16 + s) * 256, 256)) << s;
  }
}

// Every family's image holding a design, and images of every size filled at random,
// through HFE and back byte for byte; the disc read back finds the design it held.
TEST(Hfe, ImagesComeBackByteForByte) {
  test::TempDir dir;
  for (const DiscFamily family : {DiscFamily::Fmc, DiscFamily::Fdr3, DiscFamily::Zsk}) {
    const std::string name(DiscFamilyName(family)), image = dir / (name + ".img");
    ASSERT_FALSE(FormatDiscImage(image, family)) << name;
    std::error_code ec;
    std::string written;
    ASSERT_FALSE(Disc::Open(image, family, ec)->Write(test::Samples() + "/Star.DST", {.name = "STAR"}, written));
    ASSERT_FALSE(ExportHfe(image, dir / "a.hfe")) << name;
    std::string why;
    ASSERT_FALSE(ImportHfe(dir / "a.hfe", dir / "back.img", &why)) << name << why;
    EXPECT_EQ(test::ReadBytes(dir / "back.img"), test::ReadBytes(image)) << name;
    const std::unique_ptr<Disc> back = Disc::Open(dir / "back.img", std::nullopt, ec);
    ASSERT_TRUE(back != nullptr) << name;
    EXPECT_EQ(back->Family(), family);
    EXPECT_TRUE(back->Find(written) != nullptr) << name << " " << written;
  }
  for (const size_t bytes : {671744u, 655360u, 737280u, 1474560u}) {
    test::WriteBytes(dir / "random.img", Random(bytes, static_cast<uint32_t>(bytes)));
    ASSERT_FALSE(ExportHfe(dir / "random.img", dir / "random.hfe")) << bytes;
    ASSERT_FALSE(ImportHfe(dir / "random.hfe", dir / "random-back.img")) << bytes;
    EXPECT_EQ(test::ReadBytes(dir / "random-back.img"), test::ReadBytes(dir / "random.img")) << bytes;
  }
  // The 1.44 MB image plays at high density.
  EXPECT_EQ(test::ReadBytes(dir / "random.hfe").substr(9, 8), Bytes({80, 2, 0, 0xF4, 0x01, 0x2C, 0x01, 0x01}));

  // An HFE made elsewhere whose sides hold their sectors in the order 1, 4, 7 ... 14
  // gives the same image; so do the same tracks turned so that the index falls inside
  // the sixth sector's data, which then runs across the index.
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
  HfeImage turned = shuffled;
  for (auto& cylinder : turned.cylinders) {
    for (auto& side : cylinder) std::rotate(side.begin(), side.begin() + (146 + 5 * 381 + 200) * 2, side.end());
  }
  for (const HfeImage* hfe : {&shuffled, &turned}) {
    test::WriteBytes(dir / "other.hfe", WriteHfe(*hfe));
    std::string why;
    ASSERT_FALSE(ImportHfe(dir / "other.hfe", dir / "other.img", &why)) << why;
    EXPECT_EQ(test::ReadBytes(dir / "other.img"), zsk);
  }
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
  // A whole file of tracks with no sector on them: one cylinder, of no bytes.
  std::string blank = good.substr(0, 1024);
  blank[9] = 1;
  blank.replace(512 + 2, 2, std::string(2, '\0'));
  std::mt19937 random(11);
  const struct {
    std::string bytes, reason;
    DiscErrc code;
  } refused[] = {
      {damaged, "cylinder 5 head 1 sector 3 can't be read", DiscErrc::SectorFailed},
      {good.substr(0, good.size() - 512 * 30), "runs past its end", DiscErrc::NoGeometry},
      {"HXCHFEV3" + good.substr(8), "version 3", DiscErrc::NoGeometry},
      {good.substr(0, 8) + std::string(2, '\0') + good.substr(10), "0 tracks", DiscErrc::NoGeometry},
      {good.substr(0, 11) + '\x02' + good.substr(12), "not IBM MFM", DiscErrc::NoGeometry},
      {good.substr(0, 18) + "\xFF\x7F" + good.substr(20), "track table", DiscErrc::NoGeometry},
      {"short", "no HXCPICFE", DiscErrc::NoGeometry},
      {blank, "geometry of no disc family", DiscErrc::NoGeometry},
      {good.substr(0, 1024) + test::RandomBytes(random, good.size() - 1024), "no disc family", DiscErrc::NoGeometry},
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
