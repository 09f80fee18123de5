// Fdr3Check: an FDR3 disc carries no mark, so its directory is the mark: every entry
// must read as one that formatting, a write or a delete leaves.
#include "discs/barudan/fdr3_disc.h"
#include "discs/disc_check.h"

namespace tavlin {

namespace {

constexpr int kBlockBytes = 2048;
constexpr int kBlocksPerEntry = 8;

uint8_t At(const std::string& bytes, size_t offset) { return static_cast<uint8_t>(bytes[offset]); }

bool Printable(const std::string& bytes, size_t from, size_t n) {
  for (size_t i = from; i < from + n; ++i) {
    if (At(bytes, i) < 0x20 || At(bytes, i) > 0x7E) return false;
  }
  return true;
}

std::string EntryAt(const std::string& directory, int entry) {
  return directory.substr(static_cast<size_t>(entry) * kFdr3EntryBytes, kFdr3EntryBytes);
}

// An entry's byte count: three bytes, low first, signed, since the writers store an
// entry of no blocks behind a full one with a count below zero.
int32_t EntryCount(const std::string& entry) {
  const int32_t count = At(entry, 28) | (At(entry, 29) << 8) | (At(entry, 30) << 16);
  return count >= 0x800000 ? count - 0x1000000 : count;
}

// The block numbers of an entry as FDR3 writes them: two bytes each with a high byte of
// 0, ended by 0xFF 0xFF or by the eighth, the rest 0xFF. -1 for any other field. A low
// byte below 2 is left to the check of the files: a damaged FDR3 entry, not another's.
int EntryBlockCount(const std::string& entry) {
  int blocks = 0;
  while (blocks < kBlocksPerEntry && !(At(entry, 12 + 2 * blocks) == 0xFF && At(entry, 13 + 2 * blocks) == 0xFF)) {
    if (At(entry, 13 + 2 * blocks) != 0) return -1;
    ++blocks;
  }
  return entry.find_first_not_of('\xFF', 12 + 2 * blocks) < 28 ? -1 : blocks;
}

// Everything of an entry but its first byte, as a write leaves it: a printable name and
// extension (eight blanks are the name of a write given none), the block field, 0xFF at
// the end, and a count its blocks hold.
bool SoundEntry(const std::string& entry) {
  const int blocks = EntryBlockCount(entry);
  if (!Printable(entry, 1, 11) || blocks < 0 || At(entry, 31) != 0xFF) return false;
  const int32_t count = EntryCount(entry);
  return blocks > 0 ? count >= 0 && count <= blocks * kBlockBytes : count <= 0 && count >= -kBlocksPerEntry * kBlockBytes;
}

// Never used (0xFF throughout), or sound: deleted (0xFF or 0xE5 first) or live.
bool FdrEntry(const std::string& entry) {
  return entry.find_first_not_of('\xFF') == std::string::npos || SoundEntry(entry);
}

}  // namespace

DiscReport Fdr3Check(SharedRecord& shared) {
  DiscReport report;
  const std::string& directory = shared.Own<Fdr3State>().DirectoryImage;
  if (!DriveHoldsImageOf(shared, ImageFamily::Fdr3) ||
      directory.size() != static_cast<size_t>(kFdr3Entries * kFdr3EntryBytes)) {
    return report;
  }
  for (int entry = 0; entry < kFdr3Entries; ++entry) {
    if (!FdrEntry(EntryAt(directory, entry))) return report;
  }
  report.claimed = true;
  static constexpr BarudanCheckLayout kLayout{
      .directory = kFdr3DirectoryLayout,
      .firstBlock = kFdr3FirstDataBlock,
      .lastBlock = kFdr3LastBlock,
      // Only the low byte of a number counts as a block.
      .blocks = [](const std::string& image, const BarudanFile& file) {
        std::vector<int> blocks;
        for (int entry : file.entries) {
          const std::string field = Fdr3EntryBlocks(image, entry);
          for (size_t b = 0; b < field.size(); b += 2) blocks.push_back(At(field, b));
        }
        return blocks;
      },
      .track = Fdr3BlockTrack,
      .head = Fdr3BlockHead,
      .firstSector = [](int block) { return kFdr3SectorOrder[static_cast<size_t>(Fdr3BlockFirstPiece(block))]; },
  };
  CheckFiles(shared, directory, kLayout, report,
             [&](int line, const std::string& name, const BarudanFile& file, size_t blocks) {
               int64_t bytes = 0;
               for (int entry : file.entries) bytes += EntryCount(EntryAt(directory, entry));
               CheckBlocksFit(report, line, name, blocks, bytes, kBlockBytes, std::to_string(bytes) + " bytes");
             });
  return report;
}

}  // namespace tavlin
