// The FAT12 file system of a DOS disc image: the root directory's files, read,
// written, created, renamed and deleted on the image's own sectors, so that drive
// paths like "A:\DESIGN.DST" work without mounting anything.
//
// Every change is all or nothing: data goes to clusters the disc counts as free, then
// the FAT copies, then the directory (a delete: the directory first); a failure on the
// way writes back what had been written, so the image stays as it was. One writer at a
// time: a failure drops every change not yet on the disc.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"

namespace tavlin {

class FatVolume {
 public:
  // Reads the boot sector's layout; throws "path/file access error" when the image
  // holds no FAT12 file system it can use.
  explicit FatVolume(std::shared_ptr<std::FILE> image);

  // A test hook that fails chosen sector transfers, by sector number from 0; it fails
  // the transfer at that sector after those before it have gone through.
  using Fault = std::function<bool(SectorOp op, int64_t sector)>;
  void SetFault(Fault fault);

  // The plain files of the root directory whose 8.3 names match the mask ("*.DST",
  // "*." for names without extension, "*.U*"), in directory order.
  std::vector<std::string> List(const std::string& mask);
  bool Exists(const std::string& name);
  // Opens for reading and writing; a missing file is created.
  std::unique_ptr<FileBackend> Open(const std::string& name);
  // The whole of a source under a name, all or nothing: the room is checked first
  // ("the disc is full", "the root directory is full"), and a file of that name is
  // replaced only once the new one stands complete.
  void Store(const std::string& name, FileBackend& source);
  // Frees the file's clusters and its entry, with the long-name entries before it.
  void Delete(const std::string& name);
  void Rename(const std::string& from, const std::string& to);
  int64_t FreeBytes();
  // Whether the root directory has an entry left for a new file.
  bool RootHasRoom();

  // The volume as `fsck.fat -n` would judge it, read from the disc: whether the boot
  // sector describes a FAT12 file system of this very image (512-byte sectors, a cluster
  // of a known size, one or two FATs, a whole number of root sectors, the image's own
  // sector count, a media byte), and then each fault of the FATs and the root's chains,
  // with the name of the root entry it belongs to (empty: the volume as a whole).
  struct Finding {
    std::string name;
    std::string text;
  };
  struct Checked {
    bool fat12 = false;
    std::vector<Finding> findings;
  };
  Checked Check();

  struct Layout {
    int bytesPerSector = 512;
    int sectorsPerCluster = 2;
    int reservedSectors = 1;
    int fats = 2;
    int rootEntries = 112;
    int totalSectors = 1440;
    int sectorsPerFat = 3;
    int64_t FatOffset() const { return int64_t{reservedSectors} * bytesPerSector; }
    int64_t RootOffset() const { return FatOffset() + int64_t{fats} * sectorsPerFat * bytesPerSector; }
    int64_t DataOffset() const { return RootOffset() + int64_t{rootEntries} * 32; }
    int ClusterBytes() const { return sectorsPerCluster * bytesPerSector; }
    int Clusters() const {
      return static_cast<int>((int64_t{totalSectors} * bytesPerSector - DataOffset()) / ClusterBytes());
    }
  };

  // Shared by the volume and its open files.
  struct State;

 private:
  std::shared_ptr<State> state_;
};

// Whether an 8.3 name matches a DOS mask, case aside.
bool MatchesDosMask(const std::string& name, const std::string& mask);

}  // namespace tavlin
