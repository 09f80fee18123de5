// FmcCheck: an FMC disc is its signature entry and a readable index; its files must keep
// to the data blocks, share none, fit their stitch counts, and match the index.
#include <array>

#include "discs/barudan/fmc_disc.h"
#include "discs/disc_check.h"

namespace tavlin {

namespace {

constexpr int kIndexRecords = kFmcIndexBytes / 32;
constexpr size_t kDataOffset = 126;  // the design's first sector holds this much header

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The design number "A01     .DAT" carries, or 0 for a name of another form.
int NumberOfName(const std::string& name) {
  if (name.size() != 12 || name[0] != 'A' || !IsDigit(name[1]) || !IsDigit(name[2]) ||
      name.compare(3, 9, "     .DAT") != 0) {
    return 0;
  }
  return (name[1] - '0') * 10 + (name[2] - '0');
}

// The design an index record names, 0 for a free record, -1 for one of no known form.
int NumberOfRecord(const std::string& record) {
  if (record[0] == ' ') return 0;
  const int number = NumberOfName(record.substr(0, 8) + ".DAT");
  const bool formed = number > 0 && record.compare(8, 4, "FMC ") == 0 &&
                      record.compare(12, 2, record, 1, 2) == 0 &&
                      record.find_first_not_of(' ', 14) == std::string::npos;
  return formed ? number : -1;
}

// The file's block numbers; a 0 names no block only where nothing follows it.
std::vector<int> BlocksOf(const std::string& directory, const BarudanFile& file) {
  std::vector<int> blocks;
  for (int entry : file.entries) {
    std::string field = FmcEntryBlocks(directory, entry);
    field.erase(field.find_last_not_of('\0') + 1);
    for (char block : field) blocks.push_back(static_cast<uint8_t>(block));
  }
  return blocks;
}

// The stitch count of a design's first sector: packed decimal digits, as many as byte 7
// says; -1 where they are no decimal number.
int64_t StitchCount(const SharedRecord& shared) {
  const uint8_t* b = shared.SectorBuffer.data();
  if (b[7] > 6) return -1;
  int64_t count = 0;
  for (int digit = 0; digit < b[7]; ++digit) {
    const uint8_t pair = b[6 - digit / 2];
    const int value = digit % 2 == 0 ? pair >> 4 : pair & 0x0F;
    if (value > 9) return -1;
    count = count * 10 + value;
  }
  return count;
}

void CheckIndex(const std::string& index, const std::vector<BarudanFile>& files, DiscReport& report) {
  std::array<int, 100> records{};
  int free = 0;
  for (int r = 0; r < kIndexRecords; ++r) {
    const int number = NumberOfRecord(index.substr(static_cast<size_t>(r) * 32, 32));
    if (number == 0) ++free;
    if (number < 0) AddProblem(report, -1, "index record " + std::to_string(r + 1) + " names no design");
    if (number > 0 && ++records[static_cast<size_t>(number)] == 2) {
      AddProblem(report, -1, "the index names A" + TwoDigits(number) + " twice");
    }
  }
  std::array<bool, 100> onDisc{};
  for (size_t line = 0; line < files.size(); ++line) {
    const int number = NumberOfName(files[line].name);
    onDisc[static_cast<size_t>(number)] = true;
    // A design written once the 36 records were taken has none.
    if (records[static_cast<size_t>(number)] == 0 && free > 0) {
      AddProblem(report, static_cast<int>(line), ShownName(files[line].name) + " has no index record");
    }
  }
  for (int number = 1; number < 100; ++number) {
    if (records[static_cast<size_t>(number)] > 0 && !onDisc[static_cast<size_t>(number)]) {
      AddProblem(report, -1, "the index names A" + TwoDigits(number) + ", which the directory doesn't hold");
    }
  }
}

}  // namespace

DiscReport FmcCheck(SharedRecord& shared) {
  DiscReport report;
  const FmcState& fmc = shared.Own<FmcState>();
  const std::string& directory = fmc.DirectoryImage;
  // The listing reads the index before the directory: where the index failed, the
  // directory image is an earlier pass's.
  if (!DriveHoldsImageOf(shared, ImageFamily::Fmc) || fmc.IndexImage.size() != kFmcIndexBytes ||
      directory.size() < kSmallSectorBytes || directory.compare(1, kFmcSignature.size(), kFmcSignature) != 0) {
    return report;
  }
  report.claimed = true;
  if (directory.size() != static_cast<size_t>(kFmcEntries * kFmcEntryBytes)) {
    AddProblem(report, -1, "a sector of the directory can't be read");
    return report;
  }
  static constexpr BarudanCheckLayout kLayout{
      .directory = kFmcDirectoryLayout,
      .firstBlock = kFmcFirstDataBlock,
      .lastBlock = kFmcLastDataBlock,
      .blocks = BlocksOf,
      .track = FmcBlockTrack,
      .head = FmcBlockHead,
      .firstSector = [](int) -> uint8_t { return 1; },
  };
  const std::vector<BarudanFile> files = CheckFiles(
      shared, directory, kLayout, report,
      [&](int line, const std::string& name, const BarudanFile&, size_t blocks) {
        const int64_t stitches = StitchCount(shared);
        if (stitches < 0) {
          AddProblem(report, line, name + "'s stitch count is no decimal number");
          return;
        }
        CheckBlocksFit(report, line, name, blocks, static_cast<int64_t>(kDataOffset) + 3 * stitches, 4096,
                       std::to_string(stitches) + " stitches");
      });
  CheckIndex(fmc.IndexImage, files, report);
  return report;
}

}  // namespace tavlin
