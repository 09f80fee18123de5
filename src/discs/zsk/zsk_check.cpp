// ZskCheck: a ZSK disc is its label and a table whose fields lie on the disc; the free
// chain and each design's chain must end where and when the table and directory say,
// and every data block must be in exactly one of them.
#include "discs/disc_check.h"
#include "discs/zsk/zsk_disc.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

constexpr int kLabelBlocks[] = {2, 3};  // track 0, head 0, sectors 9 to 16: label and table
constexpr int kDataBlocks = kZskLastBlock - kZskFirstDataBlock + 1;

bool IsDataBlock(int block) { return block >= kZskFirstDataBlock && block <= kZskLastBlock; }

std::string Text(int number) { return std::to_string(number); }

// A chain followed link by link, each block at most once.
struct Chain {
  enum class End { Ended, Loops, Leaves } end = End::Ended;
  std::vector<int> blocks;
  int to = 0;  // where it loops back to, or leaves for
};

Chain Follow(const std::string& table, int first) {
  Chain chain;
  std::vector<bool> seen(kZskLastBlock + 1, false);
  for (int block = first;;) {
    if (!IsDataBlock(block)) return {Chain::End::Leaves, std::move(chain.blocks), block};
    if (seen[static_cast<size_t>(block)]) return {Chain::End::Loops, std::move(chain.blocks), block};
    seen[static_cast<size_t>(block)] = true;
    chain.blocks.push_back(block);
    block = ZskLink(table, block);
    if (block == 0) return chain;
  }
}

// A chain's owner notes its blocks; a chain that doesn't end is a problem in words of
// `whose` ("design 3's chain", "the free chain"). True when it ends.
bool TakeChain(const Chain& chain, const std::string& owner, const std::string& whose, int line,
               BlockOwners& owners, DiscReport& report) {
  for (int block : chain.blocks) owners.Take(block, line, owner, report);
  if (chain.end == Chain::End::Loops) {
    AddProblem(report, line, whose + " loops back to block " + Text(chain.to));
  } else if (chain.end == Chain::End::Leaves) {
    AddProblem(report, line, whose + (chain.blocks.empty() ? " starts" : " leaves the data blocks") + " at block " +
                                 Text(chain.to) + ", outside " + Text(kZskFirstDataBlock) + " to " + Text(kZskLastBlock));
  }
  return chain.end == Chain::End::Ended;
}

// The directory's own fields against its records: U, and pointers in order behind it.
void CheckDirectoryFields(const std::string& directory, const std::vector<ZskRecord>& records,
                          DiscReport& report) {
  const int n = static_cast<int>(records.size());
  const int u = ZskField(directory, 2);
  if (u != 6 + 22 * n) {
    AddProblem(report, -1, "the directory's length field is " + Text(u) + ", not the " + Text(6 + 22 * n) + " of its " +
                               Text(n) + " designs");
  }
  std::vector<std::string> bytes;
  for (const ZskRecord& record : records) bytes.push_back(record.bytes);
  const size_t pointers = 8 + 2 * static_cast<size_t>(n);
  if (directory.compare(4, pointers - 4, ZskDirectoryOf(directory, bytes), 4, pointers - 4) != 0) {
    AddProblem(report, -1, "the directory's pointers don't lead to its " + Text(n) + " designs in order");
  }
}

}  // namespace

DiscReport ZskCheck(SharedRecord& shared) {
  DiscReport report;
  const ZskState& zsk = shared.Own<ZskState>();
  const std::string& table = zsk.Table;
  if (!DriveHoldsImageOf(shared, ImageFamily::Zsk) || table.size() != static_cast<size_t>(kZskTableBytes)) {
    return report;
  }
  // The fields that nothing changes once the disc is made: where the directory is, and
  // the last block of the free chain as made.
  const int directoryBlock = ZskField(table, 8);
  const int lastFree = ZskField(table, 4);
  if (directoryBlock < 0 || directoryBlock > kZskLastBlock || directoryBlock == kLabelBlocks[0] ||
      directoryBlock == kLabelBlocks[1] || (lastFree != 0 && !IsDataBlock(lastFree))) {
    return report;
  }
  if (!ReadSectorTries(shared, 0, 0, 11, 4) || SectorBytes(shared).compare(0, 3, "ZSK") != 0) return report;
  report.claimed = true;

  BlockOwners owners(kZskLastBlock + 1);
  if (IsDataBlock(directoryBlock)) owners.Take(directoryBlock, -1, "the directory", report);
  bool whole = zsk.DirectoryBlock.size() == static_cast<size_t>(kZskBlockBytes);
  if (whole) {
    const std::vector<ZskRecord> records = ZskRecords(zsk.DirectoryBlock);
    CheckDirectoryFields(zsk.DirectoryBlock, records, report);
    std::vector<bool> numbers(100, false);
    for (size_t at = 0; at < records.size(); ++at) {
      const ZskRecord& record = records[at];
      const int line = static_cast<int>(at);
      const std::string design = "design " + Text(record.Number());
      if (record.Number() < 1 || record.Number() > 99) {
        AddProblem(report, line, design + "'s number is outside 1 to 99");
      } else if (numbers[static_cast<size_t>(record.Number())]) {
        AddProblem(report, line, design + " stands twice in the directory");
      }
      if (record.Number() >= 1 && record.Number() <= 99) numbers[static_cast<size_t>(record.Number())] = true;
      const Chain chain = Follow(table, record.FirstBlock());
      if (!TakeChain(chain, design, design + "'s chain", line, owners, report)) {
        whole = false;
        continue;
      }
      if (chain.blocks.back() != record.LastBlock()) {
        AddProblem(report, line, design + "'s chain ends at block " + Text(chain.blocks.back()) +
                                     ", not at its last block " + Text(record.LastBlock()));
      }
      if (static_cast<int>(chain.blocks.size()) != record.Size()) {
        AddProblem(report, line, design + "'s chain holds " + Text(static_cast<int>(chain.blocks.size())) +
                                     " blocks; its size says " + Text(record.Size()));
      }
    }
  } else {
    AddProblem(report, -1, "the directory block " + Text(directoryBlock) + " can't be read");
  }

  const int freeCount = ZskField(table, 0);
  const int freeHead = ZskField(table, 2);
  if (freeCount < 0 || freeCount > kDataBlocks) {
    AddProblem(report, -1, "the free count " + Text(freeCount) + " is outside 0 to " + Text(kDataBlocks));
  }
  if (freeHead == 0) {
    // No free chain: the disc is full.
    if (freeCount != 0) AddProblem(report, -1, "the free chain is empty; the table counts " + Text(freeCount));
  } else if (!IsDataBlock(freeHead)) {
    AddProblem(report, -1, "the free chain's head " + Text(freeHead) + " is outside " + Text(kZskFirstDataBlock) +
                               " to " + Text(kZskLastBlock));
    whole = false;
  } else {
    const Chain chain = Follow(table, freeHead);
    if (!TakeChain(chain, "the free list", "the free chain", -1, owners, report)) {
      whole = false;
    } else if (static_cast<int>(chain.blocks.size()) != freeCount) {
      AddProblem(report, -1, "the free chain holds " + Text(static_cast<int>(chain.blocks.size())) +
                                 " blocks; the table counts " + Text(freeCount));
    }
  }
  // Blocks that no chain reaches are lost only where every chain could be followed.
  std::vector<int> lost;
  for (int block = kZskFirstDataBlock; whole && block <= kZskLastBlock; ++block) {
    if (!owners.Held(block)) lost.push_back(block);
  }
  if (!lost.empty()) {
    AddProblem(report, -1, std::string(lost.size() == 1 ? "block " : "blocks ") + NumberRuns(lost) +
                               (lost.size() == 1 ? " is" : " are") + " in no chain and not free (lost)");
  }
  return report;
}

}  // namespace tavlin
