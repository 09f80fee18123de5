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

namespace {

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

}  // namespace

std::string ShownName(const std::string& name) {
  const size_t dot = name.find('.');
  std::string base = name.substr(0, dot);
  std::string end = dot == std::string::npos ? "" : name.substr(dot + 1);
  base.erase(base.find_last_not_of(' ') + 1);
  end.erase(end.find_last_not_of(' ') + 1);
  return base + "." + end;
}

std::vector<BarudanFile> CheckFiles(SharedRecord& shared, const std::string& directory,
                                    const BarudanCheckLayout& layout, DiscReport& report,
                                    const FirstSectorRead& read) {
  const std::vector<BarudanFile> files = GroupFiles(directory, layout.directory);
  BlockOwners owners(256);
  for (size_t at = 0; at < files.size(); ++at) {
    const int line = static_cast<int>(at);
    const std::string name = ShownName(files[at].name);
    const std::vector<int> blocks = layout.blocks(directory, files[at]);
    for (int block : blocks) {
      if (block >= layout.firstBlock && block <= layout.lastBlock) {
        owners.Take(block, line, name, report);
      } else {
        AddProblem(report, line, name + " names block " + std::to_string(block) + ", outside the data blocks " +
                                     std::to_string(layout.firstBlock) + " to " + std::to_string(layout.lastBlock));
      }
    }
    if (blocks.empty()) {
      AddProblem(report, line, name + " names no block");
      continue;
    }
    const int first = blocks.front();
    if (first < layout.firstBlock || first > layout.lastBlock) continue;
    if (!ReadSectorTries(shared, layout.track(first), layout.head(first), layout.firstSector(first), 3)) {
      AddProblem(report, line, name + "'s first sector can't be read");
      continue;
    }
    read(line, name, files[at], blocks.size());
  }
  return files;
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
