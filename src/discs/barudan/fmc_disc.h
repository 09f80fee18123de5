// Barudan FMC discs: up to 99 designs named "A", a two-digit number and "     DAT",
// in blocks of one track side, with a directory on track 2 head 0 and an index of
// design records on track 2 head 1.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "discs/barudan/barudan_common.h"
#include "discs/disc_families.h"
#include "state/shared_record.h"
#include "services/track_side.h"

namespace tavlin {

// The images of the last pass over the directory.
struct FmcState {
  std::string DirectoryImage;
  std::string IndexImage;
};

constexpr int kFmcEntryBytes = 32;
constexpr int kFmcEntries = 128;          // entry 0 is the disc's signature
constexpr int kFmcIndexBytes = 1152;      // 36 records of 32 bytes
constexpr int kFmcFirstDataBlock = 2;
constexpr int kFmcLastDataBlock = 159;
// Bytes 1 to 11 of the directory's entry 0 on every FMC disc.
constexpr std::string_view kFmcSignature = "FILE    DIR";

// The n-th 256-byte piece of a track side lies in sector kFmcSectorOrder[n - 1].
constexpr SectorOrder kFmcSectorOrder = kTrackSideOrder;

// Block b lies on track 2 + b / 2, head b mod 2.
constexpr int FmcBlockTrack(int block) { return 2 + block / 2; }
constexpr int FmcBlockHead(int block) { return block % 2; }

// The index image, or an empty text when a sector can't be read.
std::string FmcReadIndex(SharedRecord& shared);
// 0, or 255 when a sector can't be written.
int16_t FmcWriteIndex(SharedRecord& shared, const std::string& image);

enum class FmcPass { Read, SectorFailed, NotFmc };
// Reads the 16 directory sectors into FmcDirectoryImage and checks the signature.
FmcPass FmcReadDirectory(SharedRecord& shared);
// Writes FmcDirectoryImage back, three attempts a sector; false at a failure.
bool FmcWriteDirectory(SharedRecord& shared, bool pumpEachSector);

// An entry of the directory image, 1 to 127.
bool FmcEntryFree(const std::string& directory, int entry);
// "A01     .DAT": the 8-character name, ".", the extension.
std::string FmcEntryName(const std::string& directory, int entry);
// The entry's block numbers, up to the first 0xFF.
std::string FmcEntryBlocks(const std::string& directory, int entry);
// How the listing and the check read the directory's entries.
inline constexpr BarudanDirectory kFmcDirectoryLayout{.firstEntry = 1,
                                                   .entries = kFmcEntries,
                                                   .isFree = FmcEntryFree,
                                                   .name = FmcEntryName,
                                                   .blocks = FmcEntryBlocks};

// Fills ListNames and ListBlocks from slot 1, one slot a file, joining the entries of a
// file. Gives the number of files. A slot whose name is `wanted` is reported in
// `found` (0 when none).
int FmcCollectFiles(SharedRecord& shared, const std::string& wanted, int& found);

// Free bytes by BlockUsed: 4096 for each free block from 2 to 159, and as a listing
// counts them, 2048 more for each free block number from 2 to 255.
int32_t FmcFreeBytes(SharedRecord& shared, bool listing);

// The signature entry, the blank index and the free directory of an empty disc.
std::vector<LayoutWrite> FmcEmptyLayout();

int16_t FmcListDirectory(SharedRecord& shared);
int16_t FmcWrite(SharedRecord& shared, const std::string& sourceFile);
int16_t FmcRead(SharedRecord& shared, int slot, const std::string& destName);
int16_t FmcDelete(SharedRecord& shared, int slot);
// The directory, index and first sectors the listing left and read, as fsck would see them.
DiscReport FmcCheck(SharedRecord& shared);

}  // namespace tavlin
