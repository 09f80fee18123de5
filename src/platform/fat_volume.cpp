#include "platform/fat_volume.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <string_view>

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

namespace {

// The date and time fields of a directory entry for the present moment, local time.
void StampNow(std::string& root, size_t at) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &now);
#else
  localtime_r(&now, &local);
#endif
  const int year = std::clamp(local.tm_year + 1900, 1980, 2107);
  const int date = ((year - 1980) << 9) | ((local.tm_mon + 1) << 5) | local.tm_mday;
  const int time = (local.tm_hour << 11) | (local.tm_min << 5) | (local.tm_sec / 2);
  auto put16 = [&root, at](size_t offset, int value) {
    root[at + offset] = static_cast<char>(value & 0xFF);
    root[at + offset + 1] = static_cast<char>((value >> 8) & 0xFF);
  };
  root[at + 13] = 0;
  put16(14, time);  // made
  put16(16, date);
  put16(18, date);  // last opened
  put16(22, time);  // last written
  put16(24, date);
}

constexpr uint8_t kAttrLongName = 0x0F;
constexpr int kSector = 512;

// A cluster's entry in a FAT12 table: twelve bits, two entries to three bytes.
int FatEntry(const std::vector<uint8_t>& fat, int cluster) {
  const size_t at = static_cast<size_t>(cluster) * 3 / 2;
  const int pair = fat[at] | (fat[at + 1] << 8);
  return cluster % 2 == 0 ? pair & 0xFFF : pair >> 4;
}

// The checksum of an 8.3 name that its long-name entries carry.
uint8_t ShortNameSum(const std::string& root, size_t at) {
  uint8_t sum = 0;
  for (size_t i = 0; i < 11; ++i) {
    sum = static_cast<uint8_t>(((sum & 1) << 7) + (sum >> 1) + static_cast<uint8_t>(root[at + i]));
  }
  return sum;
}

}  // namespace

struct FatVolume::State {
  std::shared_ptr<std::FILE> image;
  Layout layout;
  Fault fault;
  // What the volume's changes are made on, and what the disc holds: the first FAT is
  // kept as each copy stands, so that a damaged second copy is written whole again.
  std::vector<uint8_t> fat;
  std::vector<std::vector<uint8_t>> diskFats;
  std::string root;  // rootEntries x 32 bytes
  std::string diskRoot;

  bool Faulted(SectorOp op, int64_t sector) const { return fault && fault(op, sector); }

  void ReadAt(int64_t offset, void* out, size_t n) {
    for (int64_t s = offset / kSector; s * kSector < offset + static_cast<int64_t>(n); ++s) {
      if (Faulted(SectorOp::Read, s)) throw RunTimeError(kPathFileAccess);
    }
    std::FILE* f = image.get();
    if (std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0 || std::fread(out, 1, n, f) != n) {
      throw RunTimeError(kPathFileAccess);
    }
  }
  // Writes sector by sector as far as the first that fails.
  void WriteAt(int64_t offset, const void* data, size_t n) {
    size_t good = n;
    for (int64_t s = offset / kSector; s * kSector < offset + static_cast<int64_t>(n); ++s) {
      if (Faulted(SectorOp::Write, s)) {
        good = static_cast<size_t>(std::max<int64_t>(s * kSector - offset, 0));
        break;
      }
    }
    std::FILE* f = image.get();
    if (good > 0 && (std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0 ||
                     std::fwrite(data, 1, good, f) != good || std::fflush(f) != 0)) {
      throw RunTimeError(kPathFileAccess);
    }
    if (good < n) throw RunTimeError(kPathFileAccess);
  }

  int Next(int cluster) const { return FatEntry(fat, cluster); }
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
  int FreeClusters() const {
    int free = 0;
    for (int c = 2; c < layout.Clusters() + 2; ++c) free += Next(c) == 0 ? 1 : 0;
    return free;
  }
  int Allocate() {
    for (int c = 2; c < layout.Clusters() + 2; ++c) {
      if (Next(c) == 0) {
        SetNext(c, kEndOfChain);
        return c;
      }
    }
    throw RunTimeError(kDiskFull);
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

  // Puts the changes on the disc: the FAT copies and then the directory, or for a
  // delete the directory first, so that nothing ever names a cluster that is free.
  // Only the sectors that changed are written; when one fails, those already written
  // get their old bytes back and the changes are dropped.
  void Commit(bool directoryFirst) {
    std::vector<std::pair<int64_t, std::string>> written;
    auto region = [&](int64_t base, const char* now, const char* was, size_t size) {
      for (size_t at = 0; at < size; at += kSector) {
        const size_t n = std::min<size_t>(kSector, size - at);
        if (std::equal(now + at, now + at + n, was + at)) continue;
        WriteAt(base + static_cast<int64_t>(at), now + at, n);
        written.emplace_back(base + static_cast<int64_t>(at), std::string(was + at, n));
      }
    };
    auto fats = [&] {
      for (int copy = 0; copy < layout.fats; ++copy) {
        region(layout.FatOffset() + int64_t{copy} * layout.sectorsPerFat * kSector,
               reinterpret_cast<const char*>(fat.data()),
               reinterpret_cast<const char*>(diskFats[static_cast<size_t>(copy)].data()), fat.size());
      }
    };
    auto directory = [&] { region(layout.RootOffset(), root.data(), diskRoot.data(), root.size()); };
    try {
      if (directoryFirst) directory();
      fats();
      if (!directoryFirst) directory();
    } catch (...) {
      for (auto it = written.rbegin(); it != written.rend(); ++it) {
        try {
          WriteAt(it->first, it->second.data(), it->second.size());
        } catch (...) {
          // The sector that failed was not among these; nothing better can be done.
        }
      }
      Rollback();
      throw;
    }
    for (auto& copy : diskFats) copy = fat;
    diskRoot = root;
  }
  // Drops every change not yet on the disc.
  void Rollback() {
    fat = diskFats[0];
    root = diskRoot;
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
  // An entry free for a new file; "too many files" when the root holds no more.
  int FreeSlot() const {
    for (int i = 0; i < layout.rootEntries; ++i) {
      const auto first = static_cast<uint8_t>(root[static_cast<size_t>(i) * 32]);
      if (first == 0 || first == kDeleted) return i;
    }
    throw RunTimeError(kTooManyFiles);
  }
  void NewEntry(int entry, const std::string& entryName) {
    std::string fresh = entryName + std::string(21, '\0');
    fresh[11] = 0x20;  // archive
    root.replace(static_cast<size_t>(entry) * 32, 32, fresh);
    StampNow(root, static_cast<size_t>(entry) * 32);
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
  // The long-name entries written just before a short one, as other systems put them:
  // they go with it, or they would be left naming nothing.
  void DropLongName(int entry) {
    const uint8_t sum = ShortNameSum(root, static_cast<size_t>(entry) * 32);
    for (int i = entry - 1; i >= 0; --i) {
      const size_t at = static_cast<size_t>(i) * 32;
      const auto first = static_cast<uint8_t>(root[at]);
      if (first == kDeleted || static_cast<uint8_t>(root[at + 11]) != kAttrLongName ||
          static_cast<uint8_t>(root[at + 13]) != sum) {
        break;
      }
      root[at] = static_cast<char>(kDeleted);
      if ((first & 0x40) != 0) break;  // the first part of the name
    }
  }
  void Free(int entry) {
    for (int c : Chain(Cluster(entry))) SetNext(c, 0);
    DropLongName(entry);
    root[static_cast<size_t>(entry) * 32] = static_cast<char>(kDeleted);
  }
};

namespace {

// One file of the volume, read and written through its cluster chain. Its writes
// stand on the disc once it is flushed; a failure before then drops them all.
class FatFile final : public FileBackend {
 public:
  FatFile(std::shared_ptr<FatVolume::State> state, int entry, bool created)
      : state_(std::move(state)), entry_(entry), dirty_(created) {
    chain_ = state_->Chain(state_->Cluster(entry));
    stood_ = chain_.size();
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
    if (broken_) throw RunTimeError(kPathFileAccess);
    try {
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
    } catch (...) {
      Abandon();
      throw;
    }
  }

  int64_t Length() override { return length_; }

  void Flush() override {
    if (broken_) throw RunTimeError(kPathFileAccess);
    if (!dirty_) return;
    try {
      state_->SetSize(entry_, static_cast<uint32_t>(length_));
      StampNow(state_->root, static_cast<size_t>(entry_) * 32);
      state_->Commit(false);
    } catch (...) {
      Abandon();
      throw;
    }
    stood_ = chain_.size();
    undo_.clear();
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
  // Gives the clusters that stood before their old bytes back, and drops the rest.
  void Abandon() {
    for (auto it = undo_.rbegin(); it != undo_.rend(); ++it) {
      try {
        state_->WriteAt(it->first, it->second.data(), it->second.size());
      } catch (...) {
        // Best effort: the failing sector itself was never written.
      }
    }
    undo_.clear();
    state_->Rollback();
    broken_ = true;
  }

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
        if (index < stood_) {
          std::string old(take, '\0');
          state_->ReadAt(where, old.data(), take);
          undo_.emplace_back(where, std::move(old));
        }
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
  size_t stood_ = 0;  // clusters of the chain that are on the disc's FAT
  std::vector<std::pair<int64_t, std::string>> undo_;
  int64_t length_ = 0;
  bool dirty_ = false;
  bool broken_ = false;
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
                     l.Clusters() > 0 && ((l.Clusters() + 2) * 3 + 1) / 2 <= l.sectorsPerFat * 512;
  // A boot sector that counts more sectors than the image holds would have files
  // written past its end.
  std::FILE* f = state_->image.get();
  const bool fits = std::fseek(f, 0, SEEK_END) == 0 && std::ftell(f) >= int64_t{l.totalSectors} * 512;
  if (!sound || !fits) throw RunTimeError(kPathFileAccess, "no DOS file system on the disc");
  state_->fat.resize(static_cast<size_t>(l.sectorsPerFat) * 512);
  for (int copy = 0; copy < l.fats; ++copy) {
    std::vector<uint8_t> bytes(state_->fat.size());
    state_->ReadAt(l.FatOffset() + int64_t{copy} * l.sectorsPerFat * 512, bytes.data(), bytes.size());
    state_->diskFats.push_back(std::move(bytes));
  }
  state_->fat = state_->diskFats[0];
  state_->root.resize(static_cast<size_t>(l.rootEntries) * 32);
  state_->ReadAt(l.RootOffset(), state_->root.data(), state_->root.size());
  state_->diskRoot = state_->root;
}

void FatVolume::SetFault(Fault fault) { state_->fault = std::move(fault); }

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
  const bool created = entry < 0;
  if (created) {
    std::string entryName;
    if (!ToEntryName(name, entryName)) throw RunTimeError(kPathNotFound);
    entry = state_->FreeSlot();
    // On the disc only when the file is flushed.
    state_->NewEntry(entry, entryName);
  }
  return std::make_unique<FatFile>(state_, entry, created);
}

void FatVolume::Store(const std::string& name, FileBackend& source) {
  State& s = *state_;
  std::string entryName;
  if (!ToEntryName(name, entryName)) throw RunTimeError(kPathNotFound);
  const int64_t length = source.Length();
  const int clusterBytes = s.layout.ClusterBytes();
  const int64_t needed = (length + clusterBytes - 1) / clusterBytes;
  // The old file's clusters are not counted: it stands until the new one is whole.
  const int64_t free = s.FreeClusters();
  if (needed > free || length > int64_t{0xFFFFFFFF}) {
    throw RunTimeError(kDiskFull, "the disc is full: " + std::to_string(needed * clusterBytes) +
                                      " bytes needed, " + std::to_string(free * clusterBytes) +
                                      " free");
  }
  const int old = s.Find(name);
  const int entry = old >= 0 ? old : s.FreeSlot();
  try {
    std::vector<uint8_t> chunk(static_cast<size_t>(clusterBytes));
    int first = 0, last = 0;
    for (int64_t at = 0; at < length; at += clusterBytes) {
      std::fill(chunk.begin(), chunk.end(), 0);
      const size_t want = static_cast<size_t>(std::min<int64_t>(clusterBytes, length - at));
      if (source.ReadAt(at, chunk.data(), want) != want) throw RunTimeError(kPathFileAccess);
      const int cluster = s.Allocate();
      if (first == 0) {
        first = cluster;
      } else {
        s.SetNext(last, cluster);
      }
      last = cluster;
      s.WriteAt(s.ClusterOffset(cluster), chunk.data(), chunk.size());
    }
    if (old >= 0) s.Free(old);
    s.NewEntry(entry, entryName);
    s.SetCluster(entry, first);
    s.SetSize(entry, static_cast<uint32_t>(length));
    s.Commit(false);
  } catch (...) {
    s.Rollback();
    throw;
  }
}

void FatVolume::Delete(const std::string& name) {
  const int entry = state_->Find(name);
  if (entry < 0) return;
  state_->Free(entry);
  state_->Commit(true);
}

void FatVolume::Rename(const std::string& from, const std::string& to) {
  const int entry = state_->Find(from);
  std::string entryName;
  if (entry < 0) throw RunTimeError(kFileNotFound);
  if (!ToEntryName(to, entryName)) throw RunTimeError(kPathNotFound);
  if (state_->Find(to) >= 0) throw RunTimeError(kFileAlreadyExists);
  // A long name of the old short one would name nothing once it changes.
  state_->DropLongName(entry);
  state_->root.replace(static_cast<size_t>(entry) * 32, 11, entryName);
  state_->Commit(true);
}

int64_t FatVolume::FreeBytes() {
  return int64_t{state_->FreeClusters()} * state_->layout.ClusterBytes();
}

bool FatVolume::RootHasRoom() {
  try {
    state_->FreeSlot();
    return true;
  } catch (const RunTimeError&) {
    return false;
  }
}

namespace {

// Whether the 11 bytes of a root entry are a name DOS can hold: no control byte (but
// 0x05 first, which stands for 0xE5), no DEL, none of the characters a name may not
// hold, and no blank first.
bool ValidShortName(const std::string& root, size_t at) {
  if (root[at] == ' ') return false;
  for (size_t i = 0; i < 11; ++i) {
    const auto c = static_cast<uint8_t>(root[at + i]);
    if ((c < 0x20 && !(i == 0 && c == 0x05)) || c == 0x7F ||
        std::string_view("\"*+,./:;<=>?[\\]|").find(static_cast<char>(c)) != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

uint32_t LittleEndian(const std::string& bytes, size_t at, size_t width) {
  uint32_t value = 0;
  for (size_t i = 0; i < width; ++i) value |= uint32_t{static_cast<uint8_t>(bytes[at + i])} << (8 * i);
  return value;
}

}  // namespace

FatVolume::Checked FatVolume::Check() {
  Checked checked;
  const State& s = *state_;
  const Layout& l = s.layout;
  try {
    uint8_t boot[32];
    state_->ReadAt(0, boot, sizeof boot);
    std::FILE* f = s.image.get();
    const bool sized = std::fseek(f, 0, SEEK_END) == 0 && std::ftell(f) == int64_t{l.totalSectors} * kSector;
    const int perCluster = l.sectorsPerCluster;
    const uint8_t media = boot[21];
    checked.fat12 = sized && perCluster <= 64 && (perCluster & (perCluster - 1)) == 0 && l.rootEntries % 16 == 0 &&
                    (media == 0xF0 || media >= 0xF8) && l.Clusters() < 4085;
  } catch (const RunTimeError&) {
    return checked;
  }
  if (!checked.fat12) return checked;
  auto add = [&checked](const std::string& name, std::string text) {
    checked.findings.push_back({name, std::move(text)});
  };
  const int clusters = l.Clusters();
  const std::vector<uint8_t>& fat = s.diskFats[0];
  for (size_t copy = 1; copy < s.diskFats.size(); ++copy) {
    for (int c = 0; c < clusters + 2; ++c) {
      if (FatEntry(fat, c) != FatEntry(s.diskFats[copy], c)) {
        add("", "the FAT copies differ, first at cluster " + std::to_string(c));
        break;
      }
    }
  }
  // Each cluster's file, and the root entry whose chain last passed it: a chain is
  // followed to its end, to a cluster it passed before, or off the disc.
  std::vector<std::string> owner(static_cast<size_t>(clusters) + 2);
  std::vector<int> walkedBy(static_cast<size_t>(clusters) + 2, -1);
  const std::string& root = s.diskRoot;
  for (int i = 0; i < l.rootEntries; ++i) {
    const size_t at = static_cast<size_t>(i) * 32;
    const auto first = static_cast<uint8_t>(root[at]);
    const auto attributes = static_cast<uint8_t>(root[at + 11]);
    if (first == 0) break;
    if (first == kDeleted || attributes == kAttrLongName || (attributes & kAttrVolume) != 0) continue;
    const std::string name = FromEntryName(root.substr(at, 11));
    if (!ValidShortName(root, at)) add(name, name + " has no valid 8.3 name");
    const int start = static_cast<int>(LittleEndian(root, at + 26, 2));
    const uint32_t size = LittleEndian(root, at + 28, 4);
    // A folder's entry has no size: its chain holds what it holds.
    const int64_t need = (attributes & kAttrDirectory) != 0 ? -1 : (int64_t{size} + l.ClusterBytes() - 1) / l.ClusterBytes();
    if (start == 0) {
      if (need > 0) add(name, name + " holds " + std::to_string(size) + " bytes in no cluster");
      continue;
    }
    if (!s.IsData(start)) {
      add(name, name + " starts at cluster " + std::to_string(start) + ", outside 2 to " + std::to_string(clusters + 1));
      continue;
    }
    int64_t held = 0;
    for (int c = start;;) {
      const std::string here = std::to_string(c);
      if (walkedBy[static_cast<size_t>(c)] == i) {
        add(name, name + "'s chain loops back to cluster " + here);
        break;
      }
      walkedBy[static_cast<size_t>(c)] = i;
      ++held;
      std::string& holder = owner[static_cast<size_t>(c)];
      if (holder.empty()) {
        holder = name;
      } else {
        add(name, holder + " and " + name + " share cluster " + here);
      }
      const int next = FatEntry(fat, c);
      if (next >= 0xFF8) {
        if (need >= 0 && held != need) {
          add(name, name + "'s chain holds " + std::to_string(held) + " clusters; its " + std::to_string(size) +
                        " bytes need " + std::to_string(need));
        }
        break;
      }
      if (next == 0 || next == 0xFF7) {
        add(name, name + "'s chain reaches cluster " + here + ", which the FAT marks " + (next == 0 ? "free" : "bad"));
        break;
      }
      if (!s.IsData(next)) {
        add(name, name + "'s chain leaves the disc after cluster " + here + " (to " + std::to_string(next) + ")");
        break;
      }
      c = next;
    }
  }
  return checked;
}

}  // namespace tavlin
