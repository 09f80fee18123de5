// The FMC directory and index, and the listing.
#include <algorithm>
#include <cstdio>

#include "discs/barudan/fmc_disc.h"
#include "conversion/numbers.h"
#include "discs/disc_transfer.h"
#include "services/sector_service.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

constexpr int kDirectoryTrack = 2;
constexpr int kDirectoryHead = 0;
constexpr int kIndexHead = 1;
constexpr uint8_t kIndexSectors[5] = {1, 4, 7, 10, 13};
constexpr std::string_view kSignature = "FILE    DIR";

uint8_t At(const std::string& bytes, size_t offset) { return static_cast<uint8_t>(bytes[offset]); }

std::string Padded(std::string bytes, size_t size, char fill) {
  bytes.resize(size, fill);
  return bytes;
}

}  // namespace

std::vector<LayoutWrite> FmcEmptyLayout() {
  const std::string entry0 = Padded(std::string(1, '\0') + std::string(kSignature) +
                                        std::string(3, '\0') + "\x09\x01",
                                    kFmcEntryBytes, '\0');
  const std::string blank(256, ' ');
  return {{kDirectoryTrack, kDirectoryHead, 1, Padded(entry0, 256, '\xE5'), 3},
          {kDirectoryTrack, kIndexHead, 1, blank, 3},
          {kDirectoryTrack, kIndexHead, 4, blank, 3},
          {kDirectoryTrack, kIndexHead, 7, blank, 3},
          {kDirectoryTrack, kIndexHead, 10, blank, 3},
          {kDirectoryTrack, kIndexHead, 13, std::string(128, ' ') + std::string(128, '\xE5'), 3}};
}

std::string FmcReadIndex(SharedRecord& shared) {
  std::string image;
  for (uint8_t sector : kIndexSectors) {
    if (!ReadSectorTries(shared, kDirectoryTrack, kIndexHead, sector, 3)) return {};
    image += SectorBytes(shared).substr(0, sector == 13 ? 128 : 256);
  }
  return image;
}

int16_t FmcWriteIndex(SharedRecord& shared, const std::string& image) {
  for (size_t n = 0; n < 5; ++n) {
    std::string piece = image.substr(n * 256, 256);
    if (n == 4) piece = piece.substr(0, 128) + std::string(128, '\xE5');
    if (!WriteSectorTries(shared, piece, kDirectoryTrack, kIndexHead, kIndexSectors[n], 3)) {
      return 255;
    }
  }
  return 0;
}

FmcPass FmcReadDirectory(SharedRecord& shared) {
  const SidePass pass = ReadSideImage(
      shared, kDirectoryTrack, kDirectoryHead, kFmcSectorOrder, shared.Own<FmcState>().DirectoryImage,
      [](const std::string& first) { return first.compare(1, kSignature.size(), kSignature) == 0; });
  switch (pass) {
    case SidePass::SectorFailed: return FmcPass::SectorFailed;
    case SidePass::Refused: return FmcPass::NotFmc;
    case SidePass::Read: break;
  }
  return FmcPass::Read;
}

bool FmcWriteDirectory(SharedRecord& shared, bool pumpEachSector) {
  return WriteSideImage(shared, shared.Own<FmcState>().DirectoryImage, kDirectoryTrack, kDirectoryHead,
                        kFmcSectorOrder, pumpEachSector);
}

bool FmcEntryFree(const std::string& directory, int entry) {
  const size_t at = static_cast<size_t>(entry) * kFmcEntryBytes;
  return At(directory, at) == 0xE5 || At(directory, at + 1) == 0xE5;
}

std::string FmcEntryName(const std::string& directory, int entry) {
  const size_t at = static_cast<size_t>(entry) * kFmcEntryBytes;
  return directory.substr(at + 1, 8) + "." + directory.substr(at + 9, 3);
}

std::string FmcEntryBlocks(const std::string& directory, int entry) {
  const std::string field = directory.substr(static_cast<size_t>(entry) * kFmcEntryBytes + 16, 16);
  return field.substr(0, field.find('\xFF'));
}

int FmcCollectFiles(SharedRecord& shared, const std::string& wanted, int& found) {
  const int files = CollectFiles(shared, shared.Own<FmcState>().DirectoryImage, kFmcDirectoryLayout, wanted, found);
  const BarudanLists& lists = shared.Own<BarudanLists>();
  shared.ListBlockCounts.fill(0);
  for (int slot = 1; slot <= files; ++slot) {
    const std::string& blocks = lists.ListBlocks[static_cast<size_t>(slot)];
    shared.ListBlockCounts[static_cast<size_t>(slot)] =
        static_cast<int16_t>(std::count_if(blocks.begin(), blocks.end(), [](char b) { return b != 0; }));
  }
  return files;
}

int32_t FmcFreeBytes(SharedRecord& shared, bool listing) {
  int32_t bytes = 0;
  for (int block = kFmcFirstDataBlock; block <= 255; ++block) {
    if (shared.Own<BarudanLists>().BlockUsed[static_cast<size_t>(block)]) continue;
    if (block <= kFmcLastDataBlock) bytes += 4096;
    // The listing counts 2048 more for every free block number a byte can hold.
    if (listing) bytes += 2048;
  }
  return bytes;
}

int16_t FmcListDirectory(SharedRecord& shared) {
  FmcState& fmc = shared.Own<FmcState>();
  BarudanLists& lists = shared.Own<BarudanLists>();
  StartListing(shared, 2);
  lists.BlockUsed.fill(false);

  fmc.IndexImage = FmcReadIndex(shared);
  if (fmc.IndexImage.empty()) return 3;
  switch (FmcReadDirectory(shared)) {
    case FmcPass::SectorFailed: return 1;
    case FmcPass::NotFmc: return 3;
    case FmcPass::Read: break;
  }
  int found = 0;
  const int files = FmcCollectFiles(shared, {}, found);
  for (int slot = 1; slot <= files; ++slot) {
    for (char block : lists.ListBlocks[static_cast<size_t>(slot)]) {
      if (block != 0) lists.BlockUsed[static_cast<uint8_t>(block)] = true;
    }
  }
  // Each file's stitch count, from the first sector of its first block.
  for (int slot = 1; slot <= files; ++slot) {
    const std::string& blocks = lists.ListBlocks[static_cast<size_t>(slot)];
    const int first = blocks.empty() ? 0 : static_cast<uint8_t>(blocks[0]);
    if (!ReadSectorTries(shared, FmcBlockTrack(first), FmcBlockHead(first), 1, 1)) return 1;
    const uint8_t* b = shared.SectorBuffer.data();
    char digits[8];
    std::snprintf(digits, sizeof digits, "%02X%02X%02X", b[6], b[5], b[4]);
    const std::string count = std::string(digits).substr(0, std::min<size_t>(b[7], 6));
    shared.ListDetails[static_cast<size_t>(slot)] =
        std::string(7 - std::min<size_t>(count.size(), 7), ' ') + count;
  }
  if (files == 0) return 2;

  shared.DiscByteCount = FmcFreeBytes(shared, true);
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);
  shared.DiscFormatText = "Barudan FMC";
  for (int slot = 1; slot <= files; ++slot) {
    const std::string& detail = shared.ListDetails[static_cast<size_t>(slot)];
    AddListingLine(shared, shared.ListNames[static_cast<size_t>(slot)],
                                        std::strtol(detail.c_str(), nullptr, 10));
  }
  return 0;
}

}  // namespace tavlin
