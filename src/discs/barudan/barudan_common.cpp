#include "discs/barudan/barudan_common.h"

#include <algorithm>

#include "services/track_side.h"

namespace tavlin {

int CollectFiles(SharedRecord& shared, const std::string& directory,
                 const BarudanDirectory& layout, const std::string& wanted, int& found,
                 const std::function<void(size_t slot, int entry)>& onEntry) {
  BarudanLists& lists = shared.Own<BarudanLists>();
  for (std::string& name : shared.ListNames) name.clear();
  for (std::string& blocks : lists.ListBlocks) blocks.clear();
  found = 0;
  int files = 0;
  for (int entry = layout.firstEntry; entry < layout.entries; ++entry) {
    if (layout.isFree(directory, entry)) continue;
    const std::string name = layout.name(directory, entry);
    const auto end = shared.ListNames.begin() + files + 1;
    const auto same = std::find(shared.ListNames.begin() + 1, end, name);
    size_t slot = static_cast<size_t>(same - shared.ListNames.begin());
    if (same == end) {
      if (files + 1 >= static_cast<int>(kListSlots)) break;
      slot = static_cast<size_t>(++files);
      shared.ListNames[slot] = name;
      if (name == wanted && found == 0) found = files;
    }
    lists.ListBlocks[slot] += layout.blocks(directory, entry);
    if (onEntry) onEntry(slot, entry);
  }
  return files;
}

bool WriteBlocks(SharedRecord& shared, const BarudanBlocks& layout, const std::string& firstPiece,
                 BufferedFile& file, std::string (*nextPiece)(BufferedFile& file, bool& ended),
                 std::vector<BlockEntry>& entries, const std::function<void(BlockEntry&)>& closeFull,
                 const std::function<BlockEntry(size_t)>& openNext) {
  const std::array<bool, 256>& used = shared.Own<BarudanLists>().BlockUsed;
  bool ended = false, first = true;
  TrackSideWriter sides(shared);
  for (int block = layout.firstBlock; block <= layout.lastBlock && !ended; ++block) {
    if (used[static_cast<size_t>(block)]) continue;
    BlockEntry& entry = entries.back();
    entry.bytes += layout.number(block);
    if (++entry.blocks == layout.blocksPerEntry) {
      closeFull(entry);
      entries.push_back(openNext(entries.size()));
    }
    for (int piece = 0; piece < layout.piecesPerBlock && !ended; ++piece) {
      if (!sides.Put(layout.track(block), layout.head(block), layout.sector(block, piece),
                     first ? firstPiece : nextPiece(file, ended))) {
        return false;
      }
      first = false;
    }
  }
  return sides.Finish();
}

}  // namespace tavlin
