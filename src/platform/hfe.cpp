#include "platform/hfe.h"

#include <algorithm>

namespace tavlin {

namespace {

constexpr uint16_t kSyncA1 = 0x4489;  // A1 with the clock between its 4th and 5th zero missing
constexpr uint16_t kSyncC2 = 0x5224;  // C2 likewise, before the index mark
constexpr uint8_t kIndexMark = 0xFC;
constexpr uint8_t kIdMark = 0xFE;
constexpr uint8_t kDataMark = 0xFB;
constexpr uint8_t kDeletedDataMark = 0xF8;
constexpr uint8_t kGapByte = 0x4E;
constexpr int kBlock = 512;
constexpr int kHalfBlock = 256;
// A data mark further than this from its ID field belongs to no sector: gap 2 and the
// sync run take 37 bytes on a track of ours, and controllers allow about 43.
constexpr size_t kDataMarkReachCells = 64 * 16;

// A side's cells, built a data byte (16 cells, the first in the top bit) at a time.
class CellWriter {
 public:
  explicit CellWriter(int trackBytes) : limit_(static_cast<size_t>(trackBytes)) {
    words_.reserve(limit_);
  }

  void Byte(uint8_t value) {
    uint16_t word = 0;
    for (int bit = 7; bit >= 0; --bit) {
      const bool data = ((value >> bit) & 1) != 0;
      const bool clock = !previous_ && !data;
      word = static_cast<uint16_t>((word << 2) | (clock ? 2 : 0) | (data ? 1 : 0));
      previous_ = data;
    }
    Put(word);
  }
  void Bytes(uint8_t value, int count) {
    for (int i = 0; i < count; ++i) Byte(value);
  }
  void Bytes(std::span<const uint8_t> values) {
    for (const uint8_t value : values) Byte(value);
  }
  // A sync word, whose last data bit is that of the byte it stands for.
  void Sync(uint16_t word, uint8_t byte) {
    Put(word);
    previous_ = (byte & 1) != 0;
  }

  // The cells in HFE's order: the first cell of each byte in its bit 0.
  std::vector<uint8_t> Cells() {
    while (words_.size() < limit_) Byte(kGapByte);
    std::vector<uint8_t> cells;
    cells.reserve(words_.size() * 2);
    for (const uint16_t word : words_) {
      cells.push_back(Reversed(static_cast<uint8_t>(word >> 8)));
      cells.push_back(Reversed(static_cast<uint8_t>(word & 0xFF)));
    }
    return cells;
  }

 private:
  void Put(uint16_t word) {
    if (words_.size() < limit_) words_.push_back(word);
  }
  static uint8_t Reversed(uint8_t b) {
    uint8_t r = 0;
    for (int i = 0; i < 8; ++i) r = static_cast<uint8_t>((r << 1) | ((b >> i) & 1));
    return r;
  }

  size_t limit_;
  std::vector<uint16_t> words_;
  bool previous_ = false;
};

// The cells of a side, read a cell or a data byte at a time.
class CellReader {
 public:
  CellReader(std::span<const uint8_t> cells, size_t count)
      : cells_(cells), count_(std::min(count, cells.size() * 8)) {}

  size_t Count() const { return count_; }
  int Cell(size_t at) const { return (cells_[at >> 3] >> (at & 7)) & 1; }
  bool Has(size_t at, size_t cells) const { return at <= count_ && cells <= count_ - at; }
  uint16_t Word(size_t at) const {
    uint16_t word = 0;
    for (size_t k = 0; k < 16; ++k) word = static_cast<uint16_t>((word << 1) | Cell(at + k));
    return word;
  }
  // The data bits of a word are its odd cells; the even ones are clocks.
  uint8_t Byte(size_t at) const {
    const uint16_t word = Word(at);
    uint8_t value = 0;
    for (int k = 0; k < 8; ++k) value = static_cast<uint8_t>((value << 1) | ((word >> (14 - 2 * k)) & 1));
    return value;
  }
  bool Bytes(size_t at, size_t n, std::string& out) const {
    if (!Has(at, n * 16)) return false;
    out.resize(n);
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<char>(Byte(at + 16 * i));
    return true;
  }

 private:
  std::span<const uint8_t> cells_;
  size_t count_;
};

uint16_t RecordCrc(uint8_t mark, std::string_view fields) {
  const uint8_t head[4] = {0xA1, 0xA1, 0xA1, mark};
  const uint16_t crc = CrcCcitt(head);
  return CrcCcitt({reinterpret_cast<const uint8_t*>(fields.data()), fields.size()}, crc);
}

uint16_t StoredCrc(std::string_view two) {
  return static_cast<uint16_t>((static_cast<uint8_t>(two[0]) << 8) | static_cast<uint8_t>(two[1]));
}

void PutLe16(std::string& out, size_t at, int value) {
  out[at] = static_cast<char>(value & 0xFF);
  out[at + 1] = static_cast<char>((value >> 8) & 0xFF);
}

int Le16(std::string_view in, size_t at) {
  return static_cast<uint8_t>(in[at]) | (static_cast<uint8_t>(in[at + 1]) << 8);
}

size_t BlocksFor(size_t bytes, size_t blockBytes) { return (bytes + blockBytes - 1) / blockBytes; }

}  // namespace

uint16_t CrcCcitt(std::span<const uint8_t> bytes, uint16_t crc) {
  for (const uint8_t byte : bytes) {
    crc = static_cast<uint16_t>(crc ^ (byte << 8));
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 0x8000) != 0 ? static_cast<uint16_t>((crc << 1) ^ 0x1021) : static_cast<uint16_t>(crc << 1);
    }
  }
  return crc;
}

namespace {

// What a track takes besides its gaps 3: the index record, and each sector's two
// records with their syncs, marks, CRCs and gap 2.
int FixedBytes(const MfmTrackLayout& layout, int sectors, int sectorBytes) {
  const int lead = layout.gap4a + layout.syncZeros + 4 + layout.gap1;
  const int perSector = layout.syncZeros + 4 + 4 + 2 + layout.gap2 + layout.syncZeros + 4 + sectorBytes + 2;
  return lead + sectors * perSector;
}

}  // namespace

int EvenGap3(int sectors, int sectorBytes, int trackBytes) {
  if (sectors <= 0) return 0;
  const int left = trackBytes - FixedBytes(MfmTrackLayout{}, sectors, sectorBytes);
  return std::clamp(left / sectors, 0, 255);
}

MfmTrackLayout TrackLayoutFor(int sectors, int sectorBytes, int trackBytes) {
  MfmTrackLayout layout;
  layout.trackBytes = trackBytes;
  layout.gap3 = EvenGap3(sectors, sectorBytes, trackBytes);
  return layout;
}

std::vector<uint8_t> EncodeMfmTrack(std::span<const MfmSector> sectors, const MfmTrackLayout& layout) {
  CellWriter w(layout.trackBytes);
  w.Bytes(kGapByte, layout.gap4a);
  w.Bytes(0x00, layout.syncZeros);
  for (int i = 0; i < 3; ++i) w.Sync(kSyncC2, 0xC2);
  w.Byte(kIndexMark);
  w.Bytes(kGapByte, layout.gap1);
  for (const MfmSector& s : sectors) {
    const uint8_t idField[4] = {s.cylinder, s.head, s.id, s.sizeCode};
    const std::string_view idText(reinterpret_cast<const char*>(idField), 4);
    const uint16_t idCrc = RecordCrc(kIdMark, idText);
    w.Bytes(0x00, layout.syncZeros);
    for (int i = 0; i < 3; ++i) w.Sync(kSyncA1, 0xA1);
    w.Byte(kIdMark);
    w.Bytes(idField);
    w.Byte(static_cast<uint8_t>(idCrc >> 8));
    w.Byte(static_cast<uint8_t>(idCrc & 0xFF));
    w.Bytes(kGapByte, layout.gap2);
    const uint16_t dataCrc = RecordCrc(kDataMark, s.data);
    w.Bytes(0x00, layout.syncZeros);
    for (int i = 0; i < 3; ++i) w.Sync(kSyncA1, 0xA1);
    w.Byte(kDataMark);
    w.Bytes({reinterpret_cast<const uint8_t*>(s.data.data()), s.data.size()});
    w.Byte(static_cast<uint8_t>(dataCrc >> 8));
    w.Byte(static_cast<uint8_t>(dataCrc & 0xFF));
    w.Bytes(kGapByte, layout.gap3);
  }
  return w.Cells();
}

std::vector<MfmSectorRead> DecodeMfmTrack(std::span<const uint8_t> cells, size_t cellCount) {
  const CellReader r(cells, cellCount);
  std::vector<MfmSectorRead> found;
  // The ID field that a data mark may still belong to, and where it ended.
  constexpr size_t kNone = static_cast<size_t>(-1);
  size_t pending = kNone;
  size_t pendingEnd = 0;
  uint16_t shift = 0;
  for (size_t i = 0; i < r.Count(); ++i) {
    shift = static_cast<uint16_t>((shift << 1) | r.Cell(i));
    if (shift != kSyncA1) continue;
    const size_t syncStart = i >= 15 ? i - 15 : 0;
    size_t at = i + 1;
    int syncs = 1;
    while (r.Has(at, 16) && r.Word(at) == kSyncA1) {
      ++syncs;
      at += 16;
    }
    shift = 0;
    i = at - 1;
    if (syncs < 3 || !r.Has(at, 16)) continue;
    const uint8_t mark = r.Byte(at);
    at += 16;
    std::string fields;
    if (mark == kIdMark) {
      pending = kNone;
      if (!r.Bytes(at, 6, fields)) break;
      MfmSectorRead read;
      read.sector = {static_cast<uint8_t>(fields[0]), static_cast<uint8_t>(fields[1]),
                     static_cast<uint8_t>(fields[2]), static_cast<uint8_t>(fields[3]), {}};
      read.idCrcOk = RecordCrc(kIdMark, std::string_view(fields).substr(0, 4)) ==
                     StoredCrc(std::string_view(fields).substr(4, 2));
      at += 6 * 16;
      if (read.idCrcOk) {
        pending = found.size();
        pendingEnd = at;
      }
      found.push_back(std::move(read));
    } else if (mark == kDataMark || mark == kDeletedDataMark) {
      if (pending == kNone || syncStart < pendingEnd || syncStart - pendingEnd > kDataMarkReachCells) continue;
      MfmSectorRead& read = found[pending];
      pending = kNone;
      if (read.sector.sizeCode > 6) continue;  // no controller reads sectors past 8 KB
      const size_t size = size_t{128} << read.sector.sizeCode;
      std::string data;
      if (!r.Bytes(at, size + 2, data)) break;
      const uint16_t stored = StoredCrc(std::string_view(data).substr(size, 2));
      data.resize(size);
      read.dataFound = true;
      read.deleted = mark == kDeletedDataMark;
      read.dataCrcOk = RecordCrc(mark, data) == stored;
      read.sector.data = std::move(data);
      at += (size + 2) * 16;
    }
    i = at - 1;
  }
  return found;
}

std::string WriteHfe(const HfeImage& image) {
  const size_t cylinders = image.cylinders.size();
  const size_t tableBlocks = std::max<size_t>(1, BlocksFor(cylinders * 4, kBlock));
  std::string out(static_cast<size_t>(kBlock) * (1 + tableBlocks), static_cast<char>(0xFF));
  out.replace(0, 8, "HXCPICFE");
  out[8] = 0;  // revision
  out[9] = static_cast<char>(cylinders);
  out[10] = static_cast<char>(image.sides);
  out[11] = 0;  // IBM MFM
  PutLe16(out, 12, image.bitRateKbps);
  PutLe16(out, 14, image.rpm);
  out[16] = static_cast<char>(image.interfaceMode);
  out[17] = 0;
  PutLe16(out, 18, 1);  // the track table follows the header
  out[20] = static_cast<char>(0xFF);  // writes allowed
  out[21] = static_cast<char>(0xFF);  // one step a cylinder
  // Bytes 22 to 25 stay 0xFF: track 0 has no encoding of its own.
  size_t block = 1 + tableBlocks;
  for (size_t c = 0; c < cylinders; ++c) {
    const auto& sides = image.cylinders[c];
    const size_t perSide = std::max(sides[0].size(), sides[1].size());
    const size_t blocks = BlocksFor(perSide, kHalfBlock);
    PutLe16(out, kBlock + 4 * c, static_cast<int>(block));
    PutLe16(out, kBlock + 4 * c + 2, static_cast<int>(perSide * 2));
    std::string data(blocks * kBlock, '\0');
    for (size_t side = 0; side < 2; ++side) {
      for (size_t k = 0; k < sides[side].size(); ++k) {
        data[(k / kHalfBlock) * kBlock + side * kHalfBlock + k % kHalfBlock] = static_cast<char>(sides[side][k]);
      }
    }
    out += data;
    block += blocks;
  }
  return out;
}

bool ReadHfe(std::string_view bytes, HfeImage& image, std::string& why) {
  image = HfeImage{};
  if (bytes.substr(0, 8) == "HXCHFEV3") {
    why = "an HFE file of version 3, which is not read";
    return false;
  }
  if (bytes.substr(0, 8) != "HXCPICFE") {
    why = "not an HFE file: no HXCPICFE header";
    return false;
  }
  if (bytes.size() < static_cast<size_t>(kBlock)) {
    why = "not an HFE file: shorter than its header";
    return false;
  }
  const auto byte = [&bytes](size_t at) { return static_cast<uint8_t>(bytes[at]); };
  if (byte(8) != 0) {
    why = "an HFE file of revision " + std::to_string(byte(8)) + ", which is not read";
    return false;
  }
  const size_t cylinders = byte(9);
  image.sides = byte(10);
  if (cylinders == 0 || image.sides < 1 || image.sides > 2) {
    why = "a damaged HFE header: " + std::to_string(cylinders) + " tracks, " +
          std::to_string(image.sides) + " sides";
    return false;
  }
  if (byte(11) != 0) {
    why = "its tracks are not IBM MFM (encoding " + std::to_string(byte(11)) + ")";
    return false;
  }
  image.bitRateKbps = Le16(bytes, 12);
  image.rpm = Le16(bytes, 14);
  image.interfaceMode = byte(16);
  const size_t table = static_cast<size_t>(Le16(bytes, 18)) * kBlock;
  if (table == 0 || table > bytes.size() || bytes.size() - table < cylinders * 4) {
    why = "a damaged HFE file: its track table lies outside the file";
    return false;
  }
  image.cylinders.resize(cylinders);
  for (size_t c = 0; c < cylinders; ++c) {
    const size_t start = static_cast<size_t>(Le16(bytes, table + 4 * c)) * kBlock;
    const size_t perSide = static_cast<size_t>(Le16(bytes, table + 4 * c + 2)) / 2;
    const size_t blocks = BlocksFor(perSide, kHalfBlock);
    if (start < table + cylinders * 4 || start > bytes.size() ||
        (bytes.size() - start) / kBlock < blocks) {
      why = "a damaged or cut HFE file: track " + std::to_string(c) + " runs past its end";
      return false;
    }
    for (size_t side = 0; side < static_cast<size_t>(image.sides); ++side) {
      std::vector<uint8_t>& cells = image.cylinders[c][side];
      cells.resize(perSide);
      for (size_t k = 0; k < perSide; ++k) {
        cells[k] = byte(start + (k / kHalfBlock) * kBlock + side * kHalfBlock + k % kHalfBlock);
      }
    }
  }
  return true;
}

}  // namespace tavlin
