// What the two Barudan families write and delete alike.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "conversion/buffered_file.h"
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
