// HFE files and MFM tracks: the cells of a track word by word, the container's header
// and track table byte by byte, every family's image through HFE and back, and tracks
// whose sectors stand out of id order or are damaged.
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

constexpr uint16_t kA1 = 0x4489;

// The 16 cells of data byte n of a side, first cell on top, read straight from the
// HFE order (the first cell of each byte in its bit 0).
uint16_t CellWord(const std::vector<uint8_t>& cells, size_t n) {
  uint16_t word = 0;
  for (size_t k = 0; k < 16; ++k) {
    const size_t cell = 16 * n + k;
    word = static_cast<uint16_t>((word << 1) | ((cells.at(cell / 8) >> (cell % 8)) & 1));
  }
  return word;
}

uint8_t DataOf(uint16_t word) {
  uint8_t value = 0;
  for (int k = 0; k < 8; ++k) value = static_cast<uint8_t>((value << 1) | ((word >> (14 - 2 * k)) & 1));
  return value;
}

// Side `side` of cylinder `c` of an HFE file, by its track table.
std::vector<uint8_t> SideOf(const std::string& hfe, size_t c, size_t side) {
  const auto le16 = [&hfe](size_t at) {
    return static_cast<size_t>(static_cast<uint8_t>(hfe[at]) | (static_cast<uint8_t>(hfe[at + 1]) << 8));
  };
  const size_t start = le16(512 + 4 * c) * 512;
  const size_t perSide = le16(512 + 4 * c + 2) / 2;
  std::vector<uint8_t> out;
  for (size_t k = 0; k < perSide; ++k) {
    out.push_back(static_cast<uint8_t>(hfe.at(start + (k / 256) * 512 + side * 256 + k % 256)));
  }
  return out;
}

std::string Random(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  return test::RandomBytes(random, n);
}

TEST(Hfe, CrcIsCcittFromAllOnes) {
  const std::string check = "123456789";
  EXPECT_EQ(CrcCcitt({reinterpret_cast<const uint8_t*>(check.data()), check.size()}), 0x29B1);
  // What a controller's CRC holds after the three A1 syncs.
  const uint8_t syncs[3] = {0xA1, 0xA1, 0xA1};
  EXPECT_EQ(CrcCcitt(syncs), 0xCDB4);
  // Continuing a CRC is the same as running it over both parts at once.
  const uint8_t idRecord[8] = {0xA1, 0xA1, 0xA1, 0xFE, 3, 1, 7, 1};
  EXPECT_EQ(CrcCcitt(std::span<const uint8_t>(idRecord + 3, 5), CrcCcitt(syncs)), CrcCcitt(idRecord));
}

// The cells of one track, word by word where the layout puts them.
TEST(Hfe, ATrackIsLaidAsAControllerFormatsIt) {
  std::vector<MfmSector> sectors;
  for (const int id : {1, 2}) {
    sectors.push_back({5, 1, static_cast<uint8_t>(id), 1, std::string(256, static_cast<char>(id * 0x11))});
  }
  const MfmTrackLayout layout = TrackLayoutFor(16, 256, 6250);
  EXPECT_EQ(layout.gap3, 63);  // (6250 - 146 - 16 * 318) / 16
  EXPECT_EQ(TrackLayoutFor(9, 512, 6250).gap3, 104);
  EXPECT_EQ(TrackLayoutFor(18, 512, 12500).gap3, 112);
  const std::vector<uint8_t> cells = EncodeMfmTrack(sectors, layout);
  ASSERT_EQ(cells.size(), 12500u);  // 100,000 cells: 200 ms at 2 microseconds a cell

  EXPECT_EQ(CellWord(cells, 0), 0x9254);   // gap 4a: 0x4E
  EXPECT_EQ(CellWord(cells, 80), 0xAAAA);  // 0x00 after 0x4E
  for (size_t n = 92; n < 95; ++n) EXPECT_EQ(CellWord(cells, n), 0x5224) << n;
  EXPECT_EQ(DataOf(CellWord(cells, 95)), 0xFC);
  // The first sector's ID record: 146 bytes in, after 12 zeros.
  size_t at = 146 + 12;
  for (size_t n = at; n < at + 3; ++n) EXPECT_EQ(CellWord(cells, n), kA1) << n;
  EXPECT_EQ(CellWord(cells, at + 3), 0x5554);  // 0xFE after A1
  const uint8_t idRecord[8] = {0xA1, 0xA1, 0xA1, 0xFE, 5, 1, 1, 1};
  const uint16_t idCrc = CrcCcitt(idRecord);
  const std::vector<uint8_t> idBytes = {5, 1, 1, 1, static_cast<uint8_t>(idCrc >> 8), static_cast<uint8_t>(idCrc)};
  for (size_t i = 0; i < idBytes.size(); ++i) EXPECT_EQ(DataOf(CellWord(cells, at + 4 + i)), idBytes[i]) << i;
  at += 10;
  for (size_t n = at; n < at + 22; ++n) EXPECT_EQ(DataOf(CellWord(cells, n)), 0x4E) << n;
  at += 22 + 12;
  for (size_t n = at; n < at + 3; ++n) EXPECT_EQ(CellWord(cells, n), kA1) << n;
  EXPECT_EQ(DataOf(CellWord(cells, at + 3)), 0xFB);
  for (size_t i = 0; i < 256; ++i) ASSERT_EQ(DataOf(CellWord(cells, at + 4 + i)), 0x11) << i;
  std::string dataRecord = std::string(3, static_cast<char>(0xA1)) + static_cast<char>(0xFB) + std::string(256, 0x11);
  const uint16_t dataCrc = CrcCcitt({reinterpret_cast<const uint8_t*>(dataRecord.data()), dataRecord.size()});
  EXPECT_EQ(DataOf(CellWord(cells, at + 260)), dataCrc >> 8);
  EXPECT_EQ(DataOf(CellWord(cells, at + 261)), dataCrc & 0xFF);
  // Gap 3, then the second sector's syncs 318 + 63 bytes after the first's record.
  EXPECT_EQ(DataOf(CellWord(cells, at + 262)), 0x4E);
  EXPECT_EQ(CellWord(cells, 146 + 381 + 12), kA1);
  EXPECT_EQ(DataOf(CellWord(cells, 146 + 381 + 12 + 5)), 1);  // its head
  EXPECT_EQ(DataOf(CellWord(cells, 146 + 381 + 12 + 6)), 2);  // its id
  // The rest of the track is gap.
  EXPECT_EQ(CellWord(cells, 6249), 0x9254);
  // Every clock is set only between two zeros, outside the syncs: no other word is 0x4489.
  size_t syncs = 0;
  for (size_t n = 0; n < 6250; ++n) syncs += CellWord(cells, n) == kA1 ? 1 : 0;
  EXPECT_EQ(syncs, 12u);
}

// A reader finds each sector by its ID field, whatever its place on the track, and says
// which records fail their CRC.
TEST(Hfe, SectorsAreFoundByIdWhateverTheirPlace) {
  const std::vector<uint8_t> order = {1, 4, 7, 10, 13, 16, 3, 6, 9, 12, 15, 2, 5, 8, 11, 14};
  std::vector<MfmSector> sectors;
  for (const uint8_t id : order) sectors.push_back({2, 0, id, 1, Random(256, id)});
  std::vector<uint8_t> cells = EncodeMfmTrack(sectors, TrackLayoutFor(16, 256, 6250));
  std::vector<MfmSectorRead> reads = DecodeMfmTrack(cells, cells.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  for (size_t i = 0; i < reads.size(); ++i) {
    EXPECT_EQ(reads[i].sector.id, order[i]) << i;  // in their places on the track
    EXPECT_TRUE(reads[i].idCrcOk && reads[i].dataFound && reads[i].dataCrcOk) << i;
    EXPECT_EQ(reads[i].sector.data, Random(256, order[i])) << i;
    EXPECT_EQ(reads[i].sector.cylinder, 2);
    EXPECT_EQ(reads[i].sector.sizeCode, 1);
  }
  // The track read from a cell that is not a byte's first: a reader syncs on the cells.
  std::vector<uint8_t> shifted(cells.size() + 1, 0);
  for (size_t cell = 0; cell < cells.size() * 8; ++cell) {
    const size_t to = cell + 5;
    shifted[to / 8] = static_cast<uint8_t>(shifted[to / 8] | (((cells[cell / 8] >> (cell % 8)) & 1) << (to % 8)));
  }
  reads = DecodeMfmTrack(shifted, shifted.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  EXPECT_EQ(reads[3].sector.data, Random(256, 10));

  // One cell of the third sector's data turned, one of the fifth's ID field.
  const size_t third = 146 + 2 * 381 + 12 + 10 + 22 + 12 + 4 + 100;
  cells[third * 2] ^= 0x02;  // an odd cell: a data bit, not a clock
  const size_t fifth = 146 + 4 * 381 + 12 + 4 + 2;
  cells[fifth * 2 + 1] ^= 0x02;
  reads = DecodeMfmTrack(cells, cells.size() * 8);
  ASSERT_EQ(reads.size(), 16u);
  EXPECT_TRUE(reads[2].idCrcOk);
  EXPECT_TRUE(reads[2].dataFound);
  EXPECT_FALSE(reads[2].dataCrcOk);
  EXPECT_FALSE(reads[4].idCrcOk);
  EXPECT_FALSE(reads[4].dataFound);  // a data record after a bad ID field belongs to nothing
  EXPECT_TRUE(reads[5].dataCrcOk);

  // A track cut short loses the sectors past the cut and nothing else; no cells, none.
  reads = DecodeMfmTrack(cells, (146 + 3 * 381) * 16);
  EXPECT_EQ(reads.size(), 3u);
  EXPECT_TRUE(DecodeMfmTrack({}, 0).empty());
  EXPECT_TRUE(DecodeMfmTrack(cells, 16 * 1000000).size() == 16u);  // a count past the cells is cut
}

TEST(Hfe, HeaderAndTrackTableFollowTheLayout) {
  test::TempDir dir;
  ASSERT_FALSE(FormatDiscImage(dir / "a.fmc.img", DiscFamily::Fmc));
  ASSERT_FALSE(ExportHfe(dir / "a.fmc.img", dir / "a.hfe"));
  const std::string hfe = test::ReadBytes(dir / "a.hfe");
  // 82 cylinders of 25,000 bytes, each in 49 blocks, behind the header and the table.
  ASSERT_EQ(hfe.size(), 512u * (2 + 82 * 49));
  EXPECT_EQ(hfe.substr(0, 26), "HXCPICFE" + test::Bytes({0, 82, 2, 0, 0xFA, 0x00, 0x2C, 0x01, 0x00, 0x00,
                                                        0x01, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(hfe.substr(26, 486), std::string(486, static_cast<char>(0xFF)));
  EXPECT_EQ(hfe.substr(512, 8), test::Bytes({0x02, 0x00, 0xA8, 0x61, 0x33, 0x00, 0xA8, 0x61}));
  EXPECT_EQ(hfe.substr(512 + 4 * 81, 4), test::Bytes({0x83, 0x0F, 0xA8, 0x61}));
  EXPECT_EQ(hfe.substr(512 + 4 * 82, 512 - 4 * 82), std::string(512 - 4 * 82, static_cast<char>(0xFF)));

  // The directory track (cylinder 2, head 0): sectors in formatting's order, rising,
  // each with the image's bytes; the first holds the "FILE    DIR" entry.
  const std::string image = test::ReadBytes(dir / "a.fmc.img");
  const std::vector<uint8_t> side = SideOf(hfe, 2, 0);
  ASSERT_EQ(side.size(), 12500u);
  for (size_t s = 0; s < 16; ++s) {
    const size_t at = 146 + s * 381 + 12;
    ASSERT_EQ(CellWord(side, at), kA1) << s;
    EXPECT_EQ(DataOf(CellWord(side, at + 3)), 0xFE);
    EXPECT_EQ(DataOf(CellWord(side, at + 4)), 2);
    EXPECT_EQ(DataOf(CellWord(side, at + 5)), 0);
    EXPECT_EQ(DataOf(CellWord(side, at + 6)), s + 1);
    std::string data;
    for (size_t i = 0; i < 256; ++i) data += static_cast<char>(DataOf(CellWord(side, at + 10 + 22 + 12 + 4 + i)));
    EXPECT_EQ(data, image.substr((2 * 2 * 16 + s) * 256, 256)) << s;
    if (s == 0) {
      EXPECT_EQ(data.substr(1, 11), "FILE    DIR");
    }
  }
}

// Every family's image, and images of every size filled at random, through HFE and back
// byte for byte; the disc read back lists what it held.
TEST(Hfe, ImagesComeBackByteForByte) {
  test::TempDir dir;
  const std::string star = test::Samples() + "/Star.DST";
  for (const DiscFamily family : {DiscFamily::Fmc, DiscFamily::Fdr3, DiscFamily::Zsk}) {
    const std::string name(DiscFamilyName(family));
    const std::string image = dir / (name + ".img");
    ASSERT_FALSE(FormatDiscImage(image, family)) << name;
    std::error_code ec;
    std::string written;
    {
      std::unique_ptr<Disc> disc = Disc::Open(image, family, ec);
      ASSERT_TRUE(disc != nullptr) << name;
      ASSERT_FALSE(disc->Write(star, {.name = "STAR"}, written)) << name;
    }
    ASSERT_FALSE(ExportHfe(image, dir / (name + ".hfe"))) << name;
    std::string why;
    ASSERT_FALSE(ImportHfe(dir / (name + ".hfe"), dir / (name + "-back.img"), &why)) << name << why;
    EXPECT_EQ(test::ReadBytes(dir / (name + "-back.img")), test::ReadBytes(image)) << name;
    std::unique_ptr<Disc> back = Disc::Open(dir / (name + "-back.img"), std::nullopt, ec);
    ASSERT_TRUE(back != nullptr) << name;
    EXPECT_EQ(back->Family(), family);
    EXPECT_TRUE(back->Find(written) != nullptr) << name << " " << written;
  }
  uint32_t seed = 1;
  for (const int64_t bytes : {int64_t{671744}, int64_t{655360}, int64_t{737280}, int64_t{1474560}}) {
    const std::string image = dir / "random.img";
    test::WriteBytes(image, Random(static_cast<size_t>(bytes), seed++));
    ASSERT_FALSE(ExportHfe(image, dir / "random.hfe")) << bytes;
    ASSERT_FALSE(ImportHfe(dir / "random.hfe", dir / "random-back.img")) << bytes;
    EXPECT_EQ(test::ReadBytes(dir / "random-back.img"), test::ReadBytes(image)) << bytes;
  }
  // An HFE made elsewhere whose tracks stand in another order (here each side's
  // sectors in the order 1, 4, 7 ... 14) gives the same image: sectors go by their ids.
  const std::string zsk = Random(655360, 99);
  HfeImage shuffled;
  shuffled.cylinders.resize(80);
  const std::vector<uint8_t> order = {1, 4, 7, 10, 13, 16, 3, 6, 9, 12, 15, 2, 5, 8, 11, 14};
  for (size_t c = 0; c < 80; ++c) {
    for (size_t h = 0; h < 2; ++h) {
      std::vector<MfmSector> sectors;
      for (const uint8_t id : order) {
        sectors.push_back({static_cast<uint8_t>(c), static_cast<uint8_t>(h), id, 1,
                           zsk.substr(((c * 2 + h) * 16 + id - 1) * 256, 256)});
      }
      shuffled.cylinders[c][h] = EncodeMfmTrack(sectors, TrackLayoutFor(16, 256, 6250));
    }
  }
  test::WriteBytes(dir / "shuffled.hfe", WriteHfe(shuffled));
  ASSERT_FALSE(ImportHfe(dir / "shuffled.hfe", dir / "shuffled.img"));
  EXPECT_EQ(test::ReadBytes(dir / "shuffled.img"), zsk);

  // The same tracks turned so that the index falls inside the sixth sector's data, as
  // another writer may leave them: that sector runs across the index and still reads.
  HfeImage turned;
  std::string why;
  ASSERT_TRUE(ReadHfe(WriteHfe(shuffled), turned, why)) << why;
  for (auto& cylinder : turned.cylinders) {
    for (auto& side : cylinder) {
      std::rotate(side.begin(), side.begin() + (146 + 5 * 381 + 200) * 2, side.end());
    }
  }
  test::WriteBytes(dir / "turned.hfe", WriteHfe(turned));
  ASSERT_FALSE(ImportHfe(dir / "turned.hfe", dir / "turned.img", &why)) << why;
  EXPECT_EQ(test::ReadBytes(dir / "turned.img"), zsk);

  // The 1.44 MB image plays at high density.
  const std::string hd = test::ReadBytes(dir / "random.hfe");
  EXPECT_EQ(hd.substr(9, 8), test::Bytes({80, 2, 0, 0xF4, 0x01, 0x2C, 0x01, 0x01}));
}

// A damaged or foreign HFE is refused with its reason, and the image it would have
// replaced stays as it was.
TEST(Hfe, DamagedFilesAreRefusedAndNothingIsLost) {
  test::TempDir dir;
  const std::string image = dir / "z.img";
  test::WriteBytes(image, Random(655360, 7));
  ASSERT_FALSE(ExportHfe(image, dir / "z.hfe"));
  const std::string good = test::ReadBytes(dir / "z.hfe");
  test::WriteBytes(dir / "kept.img", "precious");
  const auto refused = [&](const std::string& bytes, const std::string& reason) {
    test::WriteBytes(dir / "bad.hfe", bytes);
    std::string why;
    const std::error_code ec = ImportHfe(dir / "bad.hfe", dir / "kept.img", &why);
    EXPECT_TRUE(ec) << reason;
    EXPECT_NE(why.find(reason), std::string::npos) << why;
    EXPECT_EQ(test::ReadBytes(dir / "kept.img"), "precious") << reason;
    return ec;
  };
  // One cell of cylinder 5, head 1's third sector (id 3) turned.
  std::string damaged = good;
  const size_t start = (2 + 5 * 49) * 512;
  const size_t cellByte = (146 + 2 * 381 + 12 + 10 + 22 + 12 + 4 + 50) * 2;
  damaged[start + (cellByte / 256) * 512 + 256 + cellByte % 256] ^= 0x20;
  EXPECT_EQ(refused(damaged, "cylinder 5 head 1 sector 3 can't be read"), DiscErrc::SectorFailed);
  EXPECT_EQ(refused(good.substr(0, good.size() - 512 * 30), "runs past its end"), DiscErrc::NoGeometry);
  EXPECT_EQ(refused("HXCHFEV3" + good.substr(8), "version 3"), DiscErrc::NoGeometry);
  EXPECT_EQ(refused(good.substr(0, 8) + '\x00' + '\x00' + good.substr(10), "0 tracks"), DiscErrc::NoGeometry);
  EXPECT_EQ(refused(good.substr(0, 11) + '\x02' + good.substr(12), "not IBM MFM"), DiscErrc::NoGeometry);
  EXPECT_EQ(refused(good.substr(0, 18) + "\xFF\x7F" + good.substr(20), "track table"), DiscErrc::NoGeometry);
  EXPECT_EQ(refused("short", "no HXCPICFE"), DiscErrc::NoGeometry);
  // A whole file of tracks with no sector on them.
  std::string blank = good.substr(0, 1024);
  blank[9] = 1;
  blank[512 + 2] = 0;  // track 0 of no bytes
  blank[512 + 3] = 0;
  EXPECT_EQ(refused(blank, "geometry of no disc family"), DiscErrc::NoGeometry);
  EXPECT_EQ(ImportHfe(dir / "none.hfe", dir / "kept.img"), ResultCode(53));
  EXPECT_EQ(ExportHfe(dir / "kept.img", dir / "kept.hfe"), DiscErrc::NoGeometry);
  EXPECT_FALSE(std::filesystem::exists(dir / "kept.hfe"));

  // Random bytes behind a good header and table never crash the reader.
  std::mt19937 random(11);
  for (int round = 0; round < 3; ++round) {
    std::string noise = good.substr(0, 1024) + test::RandomBytes(random, good.size() - 1024);
    test::WriteBytes(dir / "noise.hfe", noise);
    std::string why;
    EXPECT_TRUE(ImportHfe(dir / "noise.hfe", dir / "kept.img", &why));
  }
  EXPECT_EQ(test::ReadBytes(dir / "kept.img"), "precious");
}

}  // namespace
}  // namespace tavlin
