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

std::vector<BarudanFile> GroupFiles(const std::string& directory, const BarudanDirectory& layout) {
  std::vector<BarudanFile> files;
  for (int entry = layout.firstEntry; entry < layout.entries; ++entry) {
    if (layout.isFree(directory, entry)) continue;
    const std::string name = layout.name(directory, entry);
    auto file = std::find_if(files.begin(), files.end(), [&name](const BarudanFile& f) { return f.name == name; });
    if (file == files.end()) file = files.insert(files.end(), BarudanFile{name, {}});
    file->entries.push_back(entry);
  }
  return files;
}

std::string ShownName(const std::string& name) {
  const size_t dot = name.find('.');
  std::string base = name.substr(0, dot);
  std::string end = dot == std::string::npos ? "" : name.substr(dot + 1);
  base.erase(base.find_last_not_of(' ') + 1);
  end.erase(end.find_last_not_of(' ') + 1);
  return base + "." + end;
}

void TakeFileBlocks(BlockOwners& owners, const std::vector<int>& blocks, int first, int last,
                    int line, const std::string& name, DiscReport& report) {
  for (int block : blocks) {
    if (block >= first && block <= last) {
      owners.Take(block, line, name, report);
    } else {
      AddProblem(report, line, name + " names block " + std::to_string(block) + ", outside the data blocks " +
                                   std::to_string(first) + " to " + std::to_string(last));
    }
  }
}

void CheckBlocksFit(DiscReport& report, int line, const std::string& name, size_t blocks,
                    int64_t bytes, int blockBytes, const std::string& count) {
  const auto need = static_cast<size_t>(std::max<int64_t>(1, (bytes + blockBytes - 1) / blockBytes));
  if (blocks < need || blocks > need + 1) {
    AddProblem(report, line, name + " has " + std::to_string(blocks) + " blocks; its " + count + " need " +
                                 std::to_string(need));
  }
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
