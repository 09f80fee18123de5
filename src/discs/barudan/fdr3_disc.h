// Barudan FDR3 discs: free file names, blocks of half a track side with 16-bit numbers
// in the directory, the directory on track 40 head 0, and no index.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "discs/barudan/barudan_common.h"
#include "discs/disc_families.h"
#include "state/shared_record.h"
#include "services/track_side.h"

namespace tavlin {

// The directory of the last pass.
struct Fdr3State {
  std::string DirectoryImage;
};

constexpr SectorOrder kFdr3SectorOrder = {1, 6, 11, 16, 5, 10, 15, 4, 9, 14, 3, 8, 13, 2, 7, 12};
constexpr int kFdr3FirstDataBlock = 2;
constexpr int kFdr3LastBlock = 255;
constexpr int kFdr3EntryBytes = 32;
constexpr int kFdr3Entries = 128;

// Block b: track 40 for 0 to 3, then (b - 4) / 4, passing over track 40; head 1 when
// b mod 4 is 2 or 3; pieces 1 to 8 of the side for an even block, 9 to 16 for an odd.
int Fdr3BlockTrack(int block);
int Fdr3BlockHead(int block);
int Fdr3BlockFirstPiece(int block);

bool Fdr3EntryFree(const std::string& directory, int entry);
// "NAME    .U01": bytes 1 to 8, ".", bytes 9 to 11.
std::string Fdr3EntryName(const std::string& directory, int entry);
// The entry's block numbers, two bytes each, up to the first 0xFF 0xFF.
std::string Fdr3EntryBlocks(const std::string& directory, int entry);
// How the listing and the check read the directory's entries.
inline constexpr BarudanDirectory kFdr3DirectoryLayout{.firstEntry = 0,
                                                   .entries = kFdr3Entries,
                                                   .isFree = Fdr3EntryFree,
                                                   .name = Fdr3EntryName,
                                                   .blocks = Fdr3EntryBlocks};

// Fills ListNames, ListBlocks and the files' byte totals from slot 1; gives the number
// of files and in `found` the slot whose name is `wanted` (0 when none).
int Fdr3CollectFiles(SharedRecord& shared, const std::string& wanted, int& found,
                     std::array<int32_t, kListSlots>& totals);

// The directory of an empty disc: every entry free.
std::vector<LayoutWrite> Fdr3EmptyLayout();

// 2048 bytes for each data block that BlockUsed leaves free.
int32_t Fdr3FreeBytes(SharedRecord& shared);

int16_t Fdr3ListDirectory(SharedRecord& shared);
int16_t Fdr3Write(SharedRecord& shared, const std::string& sourceFile, const std::string& destFile);
int16_t Fdr3Read(SharedRecord& shared, int slot, const std::string& destName);
int16_t Fdr3Delete(SharedRecord& shared, int slot);
// Whether the directory the listing left parses as FDR3 writes it, and if so, what its
// files' blocks and first sectors say, as fsck would see them.
DiscReport Fdr3Check(SharedRecord& shared);

}  // namespace tavlin
