// The FDR3 directory and the listing.
#include <algorithm>
#include <cstdio>

#include "discs/barudan/fdr3_disc.h"
#include "conversion/numbers.h"
#include "discs/disc_transfer.h"

namespace tavlin {

namespace {

constexpr int kDirectoryTrack = 40;
constexpr int kDirectoryHead = 0;

uint8_t At(const std::string& bytes, size_t offset) { return static_cast<uint8_t>(bytes[offset]); }

}  // namespace

std::vector<LayoutWrite> Fdr3EmptyLayout() {
  std::vector<LayoutWrite> writes;
  for (int sector = 1; sector <= 16; ++sector) {
    writes.push_back({kDirectoryTrack, kDirectoryHead, sector, std::string(256, '\xFF'), 3});
  }
  return writes;
}

int Fdr3BlockTrack(int block) {
  if (block < 4) return 40;
  return block < 164 ? (block - 4) / 4 : (block - 4) / 4 + 1;
}

int Fdr3BlockHead(int block) { return block % 4 >= 2 ? 1 : 0; }

int Fdr3BlockFirstPiece(int block) { return block % 2 == 0 ? 0 : 8; }

bool Fdr3EntryFree(const std::string& directory, int entry) {
  const size_t at = static_cast<size_t>(entry) * kFdr3EntryBytes;
  for (size_t offset : {at, at + 1}) {
    if (At(directory, offset) == 0xFF || At(directory, offset) == 0xE5) return true;
  }
  return false;
}

std::string Fdr3EntryName(const std::string& directory, int entry) {
  const size_t at = static_cast<size_t>(entry) * kFdr3EntryBytes;
  return directory.substr(at + 1, 8) + "." + directory.substr(at + 9, 3);
}

std::string Fdr3EntryBlocks(const std::string& directory, int entry) {
  const std::string field = directory.substr(static_cast<size_t>(entry) * kFdr3EntryBytes + 12, 16);
  std::string blocks;
  for (size_t at = 0; at < field.size(); at += 2) {
    if (At(field, at) == 0xFF && At(field, at + 1) == 0xFF) break;
    blocks += field.substr(at, 2);
  }
  return blocks;
}

int Fdr3CollectFiles(SharedRecord& shared, const std::string& wanted, int& found,
                     std::array<int32_t, kListSlots>& totals) {
  const std::string& directory = shared.Own<Fdr3State>().DirectoryImage;
  totals.fill(0);
  return CollectFiles(shared, directory, kFdr3DirectoryLayout, wanted, found, [&](size_t slot, int entry) {
    // Only bytes 28 and 29 of the count are read, as a signed 16-bit number.
    totals[slot] += Bytes2ToInt(directory.substr(static_cast<size_t>(entry) * kFdr3EntryBytes + 28, 2));
  });
}

int32_t Fdr3FreeBytes(SharedRecord& shared) {
  const BarudanLists& lists = shared.Own<BarudanLists>();
  int32_t bytes = 0;
  for (int block = kFdr3FirstDataBlock; block <= kFdr3LastBlock; ++block) {
    if (!lists.BlockUsed[static_cast<size_t>(block)]) bytes += 2048;
  }
  return bytes;
}

int16_t Fdr3ListDirectory(SharedRecord& shared) {
  BarudanLists& lists = shared.Own<BarudanLists>();
  StartListing(shared, 1);
  lists.BlockUsed.fill(false);
  for (std::string& detail : shared.ListDetails) detail.clear();

  if (ReadSideImage(shared, kDirectoryTrack, kDirectoryHead, kFdr3SectorOrder,
                    shared.Own<Fdr3State>().DirectoryImage) != SidePass::Read) {
    return 1;
  }
  int found = 0;
  std::array<int32_t, kListSlots> totals{};
  const int files = Fdr3CollectFiles(shared, {}, found, totals);
  for (int slot = 1; slot <= files; ++slot) {
    const std::string& blocks = lists.ListBlocks[static_cast<size_t>(slot)];
    // Only the low byte of a block number counts as a block.
    for (size_t at = 0; at < blocks.size(); at += 2) lists.BlockUsed[At(blocks, at)] = true;
    char detail[16];
    std::snprintf(detail, sizeof detail, "%7d", totals[static_cast<size_t>(slot)]);
    shared.ListDetails[static_cast<size_t>(slot)] = detail;
  }
  if (files == 0) return 2;

  shared.DiscByteCount = Fdr3FreeBytes(shared);
  shared.DiscFormatText = "Barudan FDR";
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);
  for (int slot = 1; slot <= files; ++slot) {
    AddListingLine(shared, shared.ListNames[static_cast<size_t>(slot)],
                                        (totals[static_cast<size_t>(slot)] - 256) / 3);
  }
  return 0;
}

}  // namespace tavlin
