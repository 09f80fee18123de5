#include "platform/fat_volume.h"

#include <algorithm>
#include <cctype>

#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr uint8_t kDeleted = 0xE5;
constexpr uint8_t kAttrVolume = 0x08;
constexpr uint8_t kAttrDirectory = 0x10;
constexpr int kEndOfChain = 0xFFF;

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// "NAME.EXT" as the 11 bytes of a directory entry; false for a name DOS can't hold.
bool ToEntryName(const std::string& name, std::string& entry) {
  const std::string upper = Upper(name);
  const size_t dot = upper.find('.');
  const std::string base = upper.substr(0, dot);
  const std::string ext = dot == std::string::npos ? "" : upper.substr(dot + 1);
  if (base.empty() || base.size() > 8 || ext.size() > 3 || ext.find('.') != std::string::npos) {
    return false;
  }
  for (char c : base + ext) {
    if (c <= ' ' || std::string("\"*+,/:;<=>?[\\]|").find(c) != std::string::npos) return false;
  }
  entry = base + std::string(8 - base.size(), ' ') + ext + std::string(3 - ext.size(), ' ');
  return true;
}

std::string FromEntryName(const std::string& entry) {
  std::string base = entry.substr(0, 8), ext = entry.substr(8, 3);
  base.erase(base.find_last_not_of(' ') + 1);
  ext.erase(ext.find_last_not_of(' ') + 1);
  return ext.empty() ? base : base + "." + ext;
}

bool MatchPart(const std::string& text, const std::string& pattern) {
  size_t i = 0;
  for (; i < pattern.size(); ++i) {
    if (pattern[i] == '*') return true;
    if (i >= text.size()) return false;
    if (pattern[i] != '?' && pattern[i] != text[i]) return false;
  }
  return i == text.size();
}

}  // namespace

bool MatchesDosMask(const std::string& name, const std::string& mask) {
  const std::string n = Upper(name), m = Upper(mask);
  const size_t nd = n.find('.'), md = m.find('.');
  const std::string nBase = n.substr(0, nd), nExt = nd == std::string::npos ? "" : n.substr(nd + 1);
  const std::string mBase = m.substr(0, md), mExt = md == std::string::npos ? "*" : m.substr(md + 1);
  return MatchPart(nBase, mBase) && MatchPart(nExt, mExt);
}

struct FatVolume::State {
  std::shared_ptr<std::FILE> image;
  Layout layout;
  std::vector<uint8_t> fat;  // the first FAT, as on the disc
  std::string root;          // the root directory, rootEntries x 32 bytes

  void ReadAt(int64_t offset, void* out, size_t n) {
    std::FILE* f = image.get();
    if (std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0 || std::fread(out, 1, n, f) != n) {
      throw RunTimeError(kPathFileAccess);
    }
  }
  void WriteAt(int64_t offset, const void* data, size_t n) {
    std::FILE* f = image.get();
    if (std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0 || std::fwrite(data, 1, n, f) != n ||
        std::fflush(f) != 0) {
      throw RunTimeError(kPathFileAccess);
    }
  }

  int Next(int cluster) const {
    const size_t at = static_cast<size_t>(cluster) * 3 / 2;
    const int pair = fat[at] | (fat[at + 1] << 8);
    return cluster % 2 == 0 ? pair & 0xFFF : pair >> 4;
  }
  void SetNext(int cluster, int value) {
    const size_t at = static_cast<size_t>(cluster) * 3 / 2;
    if (cluster % 2 == 0) {
      fat[at] = static_cast<uint8_t>(value & 0xFF);
      fat[at + 1] = static_cast<uint8_t>((fat[at + 1] & 0xF0) | ((value >> 8) & 0x0F));
    } else {
      fat[at] = static_cast<uint8_t>((fat[at] & 0x0F) | ((value & 0x0F) << 4));
      fat[at + 1] = static_cast<uint8_t>((value >> 4) & 0xFF);
    }
  }
  bool IsData(int cluster) const { return cluster >= 2 && cluster < layout.Clusters() + 2; }
  int64_t ClusterOffset(int cluster) const {
    return layout.DataOffset() + int64_t{cluster - 2} * layout.ClusterBytes();
  }
  int Allocate() {
    for (int c = 2; c < layout.Clusters() + 2; ++c) {
      if (Next(c) == 0) {
        SetNext(c, kEndOfChain);
        return c;
      }
    }
    throw RunTimeError(kPathFileAccess, "the disc is full");
  }
  // The chain of a file's clusters, stopping at a loop or a cluster off the disc.
  std::vector<int> Chain(int first) const {
    std::vector<int> chain;
    std::vector<bool> seen(static_cast<size_t>(layout.Clusters()) + 2, false);
    for (int c = first; IsData(c) && !seen[static_cast<size_t>(c)]; c = Next(c)) {
      seen[static_cast<size_t>(c)] = true;
      chain.push_back(c);
    }
    return chain;
  }
  void Save() {
    for (int copy = 0; copy < layout.fats; ++copy) {
      WriteAt(layout.FatOffset() + int64_t{copy} * layout.sectorsPerFat * layout.bytesPerSector,
              fat.data(), fat.size());
    }
    WriteAt(layout.RootOffset(), root.data(), root.size());
  }
  // The entry index of a live plain file of this name, or -1.
  int Find(const std::string& name) const {
    std::string wanted;
    if (!ToEntryName(name, wanted)) return -1;
    for (int i = 0; i < layout.rootEntries; ++i) {
      const size_t at = static_cast<size_t>(i) * 32;
      const auto first = static_cast<uint8_t>(root[at]);
      if (first == 0) break;
      if (first == kDeleted || (root[at + 11] & (kAttrVolume | kAttrDirectory)) != 0) continue;
      if (root.compare(at, 11, wanted) == 0) return i;
    }
    return -1;
  }
  uint32_t Field32(int entry, size_t offset) const {
    const size_t at = static_cast<size_t>(entry) * 32 + offset;
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v |= uint32_t{static_cast<uint8_t>(root[at + i])} << (8 * i);
    return v;
  }
  int Cluster(int entry) const {
    const size_t at = static_cast<size_t>(entry) * 32 + 26;
    return static_cast<uint8_t>(root[at]) | (static_cast<uint8_t>(root[at + 1]) << 8);
  }
  void SetCluster(int entry, int cluster) {
    const size_t at = static_cast<size_t>(entry) * 32 + 26;
    root[at] = static_cast<char>(cluster & 0xFF);
    root[at + 1] = static_cast<char>((cluster >> 8) & 0xFF);
  }
  void SetSize(int entry, uint32_t size) {
    const size_t at = static_cast<size_t>(entry) * 32 + 28;
    for (size_t i = 0; i < 4; ++i) root[at + i] = static_cast<char>((size >> (8 * i)) & 0xFF);
  }
  void Free(int entry) {
    for (int c : Chain(Cluster(entry))) SetNext(c, 0);
    root[static_cast<size_t>(entry) * 32] = static_cast<char>(kDeleted);
  }
};

namespace {

// One file of the volume, read and written through its cluster chain.
class FatFile final : public FileBackend {
 public:
  FatFile(std::shared_ptr<FatVolume::State> state, int entry)
      : state_(std::move(state)), entry_(entry) {
    chain_ = state_->Chain(state_->Cluster(entry));
    length_ = state_->Field32(entry, 28);
    // A size beyond its chain is cut to what the chain holds.
    const int64_t held = static_cast<int64_t>(chain_.size()) * state_->layout.ClusterBytes();
    if (length_ > held) length_ = held;
  }

  size_t ReadAt(int64_t offset, void* out, size_t n) override {
    if (offset >= length_) return 0;
    n = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(n), length_ - offset));
    Transfer(offset, static_cast<uint8_t*>(out), n, false);
    return n;
  }

  void WriteAt(int64_t offset, const void* data, size_t n) override {
    const int64_t end = offset + static_cast<int64_t>(n);
    const int bytes = state_->layout.ClusterBytes();
    while (static_cast<int64_t>(chain_.size()) * bytes < end) {
      const int cluster = state_->Allocate();
      if (chain_.empty()) {
        state_->SetCluster(entry_, cluster);
      } else {
        state_->SetNext(chain_.back(), cluster);
      }
      chain_.push_back(cluster);
      // A new cluster starts zeroed, so a gap reads as zero bytes.
      const std::vector<uint8_t> zeros(static_cast<size_t>(bytes), 0);
      state_->WriteAt(state_->ClusterOffset(cluster), zeros.data(), zeros.size());
    }
    Transfer(offset, static_cast<uint8_t*>(const_cast<void*>(data)), n, true);
    if (end > length_) length_ = end;
    dirty_ = true;
  }

  int64_t Length() override { return length_; }

  void Flush() override {
    if (!dirty_) return;
    state_->SetSize(entry_, static_cast<uint32_t>(length_));
    state_->Save();
    dirty_ = false;
  }

  ~FatFile() override {
    try {
      Flush();
    } catch (const RunTimeError&) {
      // The file's owner has closed it already when it cared about the result.
    }
  }

 private:
  void Transfer(int64_t offset, uint8_t* bytes, size_t n, bool write) {
    const int clusterBytes = state_->layout.ClusterBytes();
    size_t done = 0;
    while (done < n) {
      const int64_t at = offset + static_cast<int64_t>(done);
      const size_t index = static_cast<size_t>(at / clusterBytes);
      const int64_t within = at % clusterBytes;
      const size_t take = std::min<size_t>(n - done, static_cast<size_t>(clusterBytes - within));
      const int64_t where = state_->ClusterOffset(chain_[index]) + within;
      if (write) {
        state_->WriteAt(where, bytes + done, take);
      } else {
        state_->ReadAt(where, bytes + done, take);
      }
      done += take;
    }
  }

  std::shared_ptr<FatVolume::State> state_;
  int entry_;
  std::vector<int> chain_;
  int64_t length_ = 0;
  bool dirty_ = false;
};

}  // namespace

FatVolume::FatVolume(std::shared_ptr<std::FILE> image) : state_(std::make_shared<State>()) {
  state_->image = std::move(image);
  uint8_t boot[64];
  state_->ReadAt(0, boot, sizeof boot);
  auto u16 = [&boot](size_t at) { return boot[at] | (boot[at + 1] << 8); };
  Layout& l = state_->layout;
  l.bytesPerSector = u16(11);
  l.sectorsPerCluster = boot[13];
  l.reservedSectors = u16(14);
  l.fats = boot[16];
  l.rootEntries = u16(17);
  l.totalSectors = u16(19);
  l.sectorsPerFat = u16(22);
  const bool sound = l.bytesPerSector == 512 && l.sectorsPerCluster >= 1 && l.reservedSectors >= 1 &&
                     l.fats >= 1 && l.fats <= 2 && l.rootEntries >= 16 && l.rootEntries <= 512 &&
                     l.sectorsPerFat >= 1 && l.sectorsPerFat <= 12 && l.totalSectors > 0 &&
                     l.Clusters() > 0 && l.Clusters() * 3 / 2 + 2 <= l.sectorsPerFat * 512;
  if (!sound) throw RunTimeError(kPathFileAccess, "no DOS file system on the disc");
  state_->fat.resize(static_cast<size_t>(l.sectorsPerFat) * 512);
  state_->ReadAt(l.FatOffset(), state_->fat.data(), state_->fat.size());
  state_->root.resize(static_cast<size_t>(l.rootEntries) * 32);
  state_->ReadAt(l.RootOffset(), state_->root.data(), state_->root.size());
}

std::vector<std::string> FatVolume::List(const std::string& mask) {
  std::vector<std::string> names;
  const std::string& root = state_->root;
  for (int i = 0; i < state_->layout.rootEntries; ++i) {
    const size_t at = static_cast<size_t>(i) * 32;
    const auto first = static_cast<uint8_t>(root[at]);
    if (first == 0) break;
    if (first == kDeleted || (root[at + 11] & (kAttrVolume | kAttrDirectory)) != 0) continue;
    const std::string name = FromEntryName(root.substr(at, 11));
    if (MatchesDosMask(name, mask)) names.push_back(name);
  }
  return names;
}

bool FatVolume::Exists(const std::string& name) { return state_->Find(name) >= 0; }

std::unique_ptr<FileBackend> FatVolume::Open(const std::string& name) {
  int entry = state_->Find(name);
  if (entry < 0) {
    std::string entryName;
    if (!ToEntryName(name, entryName)) throw RunTimeError(kPathNotFound);
    std::string& root = state_->root;
    for (int i = 0; i < state_->layout.rootEntries && entry < 0; ++i) {
      const auto first = static_cast<uint8_t>(root[static_cast<size_t>(i) * 32]);
      if (first == 0 || first == kDeleted) entry = i;
    }
    if (entry < 0) throw RunTimeError(kPathFileAccess, "the root directory is full");
    std::string fresh = entryName + std::string(21, '\0');
    fresh[11] = 0x20;  // archive
    root.replace(static_cast<size_t>(entry) * 32, 32, fresh);
    state_->Save();
  }
  return std::make_unique<FatFile>(state_, entry);
}

void FatVolume::Delete(const std::string& name) {
  const int entry = state_->Find(name);
  if (entry < 0) return;
  state_->Free(entry);
  state_->Save();
}

void FatVolume::Rename(const std::string& from, const std::string& to) {
  const int entry = state_->Find(from);
  std::string entryName;
  if (entry < 0) throw RunTimeError(kFileNotFound);
  if (!ToEntryName(to, entryName)) throw RunTimeError(kPathNotFound);
  if (state_->Find(to) >= 0) throw RunTimeError(kPathFileAccess, "file already exists");
  state_->root.replace(static_cast<size_t>(entry) * 32, 11, entryName);
  state_->Save();
}

}  // namespace tavlin
