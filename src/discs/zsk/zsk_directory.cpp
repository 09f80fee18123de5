// The ZSK structures: label, block table, directory block, and the listing.
#include <algorithm>
#include <cstdio>

#include "conversion/numbers.h"
#include "discs/disc_transfer.h"
#include "services/track_side.h"
#include "discs/zsk/zsk_disc.h"

namespace tavlin {

namespace {

constexpr int kTableTrack = 0;
constexpr int kTableHead = 0;
constexpr int kTableFirstSector = 12;
constexpr int kTableSectors = 5;
constexpr size_t kRecordBytes = 20;
constexpr int kDirectoryBlock = 8;

std::string Padded(std::string bytes, size_t size) {
  bytes.resize(size, '\0');
  return bytes;
}

}  // namespace

std::vector<LayoutWrite> ZskEmptyLayout() {
  const std::string label =
      Padded(std::string("ZSK-DISK  KS\x01") + std::string(3, '\0') + std::string("\x01\x00\x01", 3), 256);
  // The block table: its head, then the free chain 10, 11, ... 639, 0.
  std::string table("\x77\x02\x09\x00\x7F\x02\x01\x00\x08\x00\x08\x00", 12);
  table += std::string(6, '\0');
  for (int block = 10; block <= kZskLastBlock; ++block) table += IntToBytes2(block);
  table += IntToBytes2(0);
  std::vector<LayoutWrite> writes = {{kTableTrack, kTableHead, 11, label, 3}};
  for (int piece = 0; piece < kTableSectors; ++piece) {
    writes.push_back({kTableTrack, kTableHead, kTableFirstSector + piece,
                      table.substr(static_cast<size_t>(piece) * 256, 256), 3});
  }
  // The directory block holds no record yet: its first pointer is 0.
  const ZskSector directory = ZskBlockSector(kDirectoryBlock, 0);
  writes.push_back({directory.track, directory.head, directory.sector,
                    Padded(std::string("\x00\x40\x06", 3), 256), 3});
  return writes;
}

ZskSector ZskBlockSector(int block, int n) {
  return {block / 8, (block / 4) % 2, 1 + 4 * (block % 4) + n};
}

int16_t ZskField(const std::string& bytes, size_t offset) {
  if (offset + 2 > bytes.size()) return 0;
  return Bytes2ToInt(bytes.substr(offset, 2));
}

void SetZskField(std::string& bytes, size_t offset, int value) {
  bytes.replace(offset, 2, IntToBytes2(value));
}

std::string ZskReadDirectoryTrack(SharedRecord& shared) {
  std::string table;
  int failures = 0;
  for (int n = 0; n < kTableSectors;) {
    if (ReadSectorOnce(shared, kTableTrack, kTableHead, kTableFirstSector + n)) {
      table += SectorBytes(shared);
      ++n;
    } else if (++failures == 3) {
      return {};
    }
  }
  return table;
}

std::string ZskReadBlock(SharedRecord& shared, int block) {
  if (block < 0 || block > kZskLastBlock) return {};
  int failures = 0;
  for (;;) {
    // A failed sector starts the block again from its first sector.
    std::string bytes;
    bool whole = true;
    for (int n = 0; n < 4 && whole; ++n) {
      const ZskSector s = ZskBlockSector(block, n);
      whole = ReadSectorOnce(shared, s.track, s.head, s.sector);
      if (whole) bytes += SectorBytes(shared);
    }
    if (whole) return bytes;
    if (++failures == 4) return {};
  }
}

int16_t ZskWriteTable(SharedRecord& shared, const std::string& table) {
  int failures = 0;
  for (int n = 0; n < kTableSectors;) {
    const std::string piece = table.substr(static_cast<size_t>(n) * 256, 256);
    if (WriteSectorOnce(shared, piece, kTableTrack, kTableHead, kTableFirstSector + n)) {
      ++n;
    } else if (++failures == 3) {
      return 255;
    }
  }
  return 0;
}

int16_t ZskWriteBlock(SharedRecord& shared, const std::string& bytes, int block) {
  if (block < 0 || block > kZskLastBlock) return 255;
  int failures = 0;
  for (;;) {
    bool whole = true;
    for (int n = 0; n < 4 && whole; ++n) {
      const ZskSector s = ZskBlockSector(block, n);
      whole = WriteSectorOnce(shared, bytes.substr(static_cast<size_t>(n) * 256, 256), s.track,
                              s.head, s.sector);
    }
    if (whole) return 0;
    if (++failures == 3) return 255;
  }
}

std::vector<ZskRecord> ZskRecords(const std::string& directory) {
  std::vector<ZskRecord> records;
  for (size_t at = 4; at + 2 <= directory.size() && records.size() + 1 < kListSlots; at += 2) {
    const int pointer = ZskField(directory, at);
    // Pointers count from offset 2: the record is at pointer + 2.
    if (pointer <= 0 || pointer + 2 + kRecordBytes > directory.size()) break;
    const std::string record = directory.substr(static_cast<size_t>(pointer) + 2, kRecordBytes);
    if (ZskField(record, 0) == 0) break;
    records.push_back({pointer, record});
  }
  return records;
}

std::string ZskDirectoryOf(const std::string& head, const std::vector<std::string>& records) {
  const int n = static_cast<int>(records.size());
  std::string block = head.substr(0, 2);
  block += IntToBytes2(6 + 22 * n);
  for (int k = 0; k < n; ++k) block += IntToBytes2(6 + 2 * n + 20 * k);
  block += std::string(4, '\0');
  for (const std::string& record : records) block += record;
  block.resize(kZskBlockBytes, '\0');
  return block;
}

int ZskLink(const std::string& table, int block) {
  return ZskField(table, 2 * static_cast<size_t>(block));
}

int16_t ZskListDirectory(SharedRecord& shared) {
  ZskState& zsk = shared.Own<ZskState>();
  StartListing(shared, 3);
  for (size_t slot = 1; slot <= 36; ++slot) shared.ListDetails[slot].clear();

  zsk.Table = ZskReadDirectoryTrack(shared);
  if (zsk.Table.empty()) return 1;
  zsk.DirectoryBlockNo = ZskField(zsk.Table, 8);
  zsk.DirectoryBlock = ZskReadBlock(shared, zsk.DirectoryBlockNo);
  if (zsk.DirectoryBlock.empty()) return 1;
  const int freeBlocks = ZskField(zsk.Table, 0);
  zsk.FreeHead = ZskField(zsk.Table, 2);

  const std::vector<ZskRecord> records = ZskRecords(zsk.DirectoryBlock);
  for (size_t i = 0; i < records.size(); ++i) {
    const ZskRecord& r = records[i];
    const size_t slot = i + 1;
    std::string name = std::to_string(r.Number());
    name.resize(12, ' ');
    shared.ListNames[slot] = name;
    shared.ListDetails[slot] = std::to_string(r.Size());
    shared.ListBlockCounts[slot] = r.Size();
    zsk.FirstBlocks[slot] = r.bytes.substr(4, 2);
    zsk.LastBlocks[slot] = r.bytes.substr(6, 2);
  }
  shared.DiscByteCount = freeBlocks * kZskBlockBytes;
  if (records.empty()) return 2;

  shared.DiscFormatText = "ZSK (Zangs)";
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);
  for (size_t slot = 1; slot <= records.size(); ++slot) {
    // A block counts as 333 stitches in the listing; a negative size shows no count.
    const int16_t blocks = shared.ListBlockCounts[slot];
    if (blocks >= 0) {
      AddListingLine(shared, shared.ListNames[slot], blocks * 333);
    } else {
      shared.AddListingLine(shared.ListNames[slot], -1, shared.ListNames[slot]);
    }
  }
  return 0;
}

}  // namespace tavlin
