// ZSK discs: 640 blocks of 1024 bytes, a label, a block table of linked chains and one
// directory block of numbered designs. A design is a chain of blocks holding a raw
// DSZ stitch stream, ended by a mark.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// The block table and directory block of the last listing, and each entry's first and
// last block as their two raw bytes.
struct ZskState {
  std::string Table;
  std::string DirectoryBlock;
  int16_t FreeHead = 0;
  int16_t DirectoryBlockNo = 0;
  std::array<std::string, kListSlots> FirstBlocks;
  std::array<std::string, kListSlots> LastBlocks;
};

constexpr int kZskBlockBytes = 1024;
constexpr int kZskTableBytes = 1280;
constexpr int kZskFirstDataBlock = 9;
constexpr int kZskLastBlock = 639;

struct ZskSector {
  int track, head, sector;
};
// The n-th sector (0 to 3) of block N.
ZskSector ZskBlockSector(int block, int n);

// The block table (1280 bytes), or empty when it can't be read.
std::string ZskReadDirectoryTrack(SharedRecord& shared);
// A block's 1024 bytes, or empty when it can't be read.
std::string ZskReadBlock(SharedRecord& shared, int block);
// 0, or 255 when a sector can't be written.
int16_t ZskWriteTable(SharedRecord& shared, const std::string& table);
int16_t ZskWriteBlock(SharedRecord& shared, const std::string& bytes, int block);

// A 16-bit field of a table or block.
int16_t ZskField(const std::string& bytes, size_t offset);
void SetZskField(std::string& bytes, size_t offset, int value);

// The directory's records, in directory order: walking the pointers from offset 4,
// up to a pointer of 0 or one whose record would pass the block's end, and up to a
// record of number 0.
struct ZskRecord {
  int pointer;         // the pointer's value
  std::string bytes;   // the 20 bytes of the record
  int16_t Number() const { return ZskField(bytes, 0); }
  int16_t Size() const { return ZskField(bytes, 2); }
  int16_t FirstBlock() const { return ZskField(bytes, 4); }
  int16_t LastBlock() const { return ZskField(bytes, 6); }
};
std::vector<ZskRecord> ZskRecords(const std::string& directory);

// A directory block of these records behind the given first two bytes, the pointers
// counted anew.
std::string ZskDirectoryOf(const std::string& head, const std::vector<std::string>& records);

// The next block of a chain, or 0 at its end.
int ZskLink(const std::string& table, int block);

// The label, the block table with every data block in the free chain, and the empty
// directory block of an empty disc.
std::vector<LayoutWrite> ZskEmptyLayout();

// The directory block holds 46 records: one more would not fit.
constexpr bool ZskDirectoryFull(size_t records) { return 8 + 22 * (records + 1) > kZskBlockBytes; }

int16_t ZskListDirectory(SharedRecord& shared);
int16_t ZskWrite(SharedRecord& shared, const std::string& sourceFile);
int16_t ZskRead(SharedRecord& shared, int entry, const std::string& destName);
int16_t ZskDelete(SharedRecord& shared, int entry);
// The label, and the table and directory the listing left, as fsck would see them: the
// free chain and each design's chain, and the blocks that are in none.
DiscReport ZskCheck(SharedRecord& shared);

}  // namespace tavlin
