// What the two Barudan families list, write and delete alike.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "conversion/buffered_file.h"
#include "discs/disc_check.h"
#include "state/shared_record.h"

namespace tavlin {

// The blocks of the last pass over a Barudan directory. FMC and FDR3 keep them in one
// place, so the one family's delete after the other's listing acts on that listing.
struct BarudanLists {
  std::array<std::string, kListSlots> ListBlocks;  // FMC: one byte a block; FDR3: two
  std::array<bool, 256> BlockUsed{};
};

// Design numbers as the discs write them: two decimal digits, "01" to "99".
inline std::string TwoDigits(int number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

// A directory entry being built: its bytes and the blocks named so far.
struct BlockEntry {
  std::string bytes;
  int blocks = 0;
};

// The next 256 bytes of a design's stitch data. The read that meets the end of the file
// is the last (`ended`); `zeroRun` is where its first run of six zero bytes begins, or
// npos: there the stream ends, and each family closes the piece its own way.
inline std::string ReadPiece(BufferedFile& file, bool& ended, size_t& zeroRun) {
  std::string piece(256, '\0');
  if (file.Read(reinterpret_cast<uint8_t*>(piece.data()), 256) < 256) ended = true;
  zeroRun = piece.find(std::string(6, '\0'));
  return piece;
}

// How a directory lays out its entries, for the collecting of its files.
struct BarudanDirectory {
  int firstEntry;  // FMC's entry 0 is the disc's signature
  int entries;
  bool (*isFree)(const std::string& directory, int entry);
  std::string (*name)(const std::string& directory, int entry);    // "NAME    .EXT"
  std::string (*blocks)(const std::string& directory, int entry);  // as the entry writes them
};

// Fills ListNames and ListBlocks from slot 1, one slot a file, joining the entries that
// carry one name; `onEntry` is told of each used entry and the slot it joined. Gives the
// number of files, and in `found` the slot whose name is `wanted` (0 when none).
int CollectFiles(SharedRecord& shared, const std::string& directory,
                 const BarudanDirectory& layout, const std::string& wanted, int& found,
                 const std::function<void(size_t slot, int entry)>& onEntry = {});

// A file of a directory as the listing joins it: its name and its entries in directory
// order.
struct BarudanFile {
  std::string name;
  std::vector<int> entries;
};

// "A01     .DAT" as a problem names it: "A01.DAT".
std::string ShownName(const std::string& name);

// Where a check finds a family's files and their first sectors.
struct BarudanCheckLayout {
  BarudanDirectory directory;
  int firstBlock;
  int lastBlock;
  std::vector<int> (*blocks)(const std::string& directory, const BarudanFile& file);  // in file order
  int (*track)(int block);
  int (*head)(int block);
  uint8_t (*firstSector)(int block);
};

// The files of a directory in listing order, as a check walks them: each one's blocks
// noted with their owners, and the first sector of its first block read. A block outside
// the data blocks, named twice or held by another file, a file of no block, and a first
// sector that can't be read are problems of the file's line. `read` is told of each file
// whose first sector then stands in SectorBuffer: its line, its name as a problem says it
// ("A01.DAT"), the file and its number of blocks.
using FirstSectorRead = std::function<void(int line, const std::string& name, const BarudanFile& file, size_t blocks)>;
std::vector<BarudanFile> CheckFiles(SharedRecord& shared, const std::string& directory,
                                    const BarudanCheckLayout& layout, DiscReport& report,
                                    const FirstSectorRead& read);

// A file of `bytes` on the disc, its header included, fills every block it has but the
// last, and that one may hold no more than the end record the writers add: `count` says
// the figure in words ("300 stitches").
void CheckBlocksFit(DiscReport& report, int line, const std::string& name, size_t blocks,
                    int64_t bytes, int blockBytes, const std::string& count);

// Where a family's data blocks lie, for the writing of a design.
struct BarudanBlocks {
  int firstBlock;
  int lastBlock;
  int blocksPerEntry;
  int piecesPerBlock;                     // 256-byte pieces
  std::string (*number)(int block);       // the block's number as an entry writes it
  int (*track)(int block);
  int (*head)(int block);
  uint8_t (*sector)(int block, int piece);
};

// Lays a design into the blocks BlockUsed leaves free, a track side at a time: first
// `firstPiece`, then the pieces `nextPiece` takes from the file until it ends. Each
// block's number goes into the last of `entries`; an entry that is full is closed by
// `closeFull` and followed by `openNext(entries.size())`. False when a side can't be
// written.
bool WriteBlocks(SharedRecord& shared, const BarudanBlocks& layout, const std::string& firstPiece,
                 BufferedFile& file, std::string (*nextPiece)(BufferedFile& file, bool& ended),
                 std::vector<BlockEntry>& entries, const std::function<void(BlockEntry&)>& closeFull,
                 const std::function<BlockEntry(size_t)>& openNext);

// Copies the new entries over the lowest free entries of a directory image, from entry
// `first` on; false when too few are free.
template <typename IsFree>
bool PlaceEntries(std::string& directory, const std::vector<BlockEntry>& entries, int first,
                  int count, IsFree isFree) {
  int free = first;
  for (const BlockEntry& entry : entries) {
    while (free < count && !isFree(directory, free)) ++free;
    if (free == count) return false;
    directory.replace(static_cast<size_t>(free) * 32, 32, entry.bytes);
  }
  return true;
}

// Marks every entry of a file deleted: at each place the 11-character disc name stands
// in the directory image, the byte before it, at most `limit` times.
inline void MarkEntriesDeleted(std::string& directory, const std::string& discName, char mark,
                               int limit) {
  size_t from = 0;
  for (int marked = 0; marked < limit; ++marked) {
    const size_t at = directory.find(discName, from);
    if (at == std::string::npos) break;
    if (at > 0) directory[at - 1] = mark;
    from = at + 1;
  }
}

}  // namespace tavlin
