// Files by path. A path that begins with a drive letter and ":" goes to that drive
// (its bound directory; a bound image's own file system), any other path is a host
// path. Both "\" and "/" separate path parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/drives.h"

namespace tavlin {

// Random access to the bytes of one open file. Failures throw RunTimeError.
class FileBackend {
 public:
  virtual ~FileBackend() = default;
  // Reads up to n bytes at offset; fewer only at end of file.
  virtual size_t ReadAt(int64_t offset, void* out, size_t n) = 0;
  virtual void WriteAt(int64_t offset, const void* data, size_t n) = 0;
  virtual int64_t Length() = 0;
  virtual void Flush() = 0;
};

// The drive a path names (0 for "A:"), or -1 for a host path.
int DriveOfPath(const std::string& path);

// The host path that stands for a path: a drive path is placed in its bound directory.
// Throws "disk not ready" for an unbound drive.
std::string HostPathOf(PlatformState& platform, const std::string& path);

// The names of the plain files that match a DOS mask ("A:\*.DST", "A:\*."), in the
// file system's order. On a drive this is its root; a host path lists its folder.
std::vector<std::string> ListFiles(PlatformState& platform, const std::string& pathMask);

// Opens for binary reading and writing; a missing file is created.
std::unique_ptr<FileBackend> OpenFile(PlatformState& platform, const std::string& path);
bool FileExists(PlatformState& platform, const std::string& path);
// Deletes a file; a missing one is no failure.
void DeleteFile(PlatformState& platform, const std::string& path);
void RenameFile(PlatformState& platform, const std::string& from, const std::string& to);
// Copies a whole file over another, which is made anew.
void CopyFile(PlatformState& platform, const std::string& from, const std::string& to);
// The bytes a drive can still take: free clusters times their size on an image, the
// host's free room for a bound folder.
int64_t DriveFreeBytes(PlatformState& platform, int drive);
// Whether a new file finds a directory entry on the drive (a folder always does).
bool DriveTakesNewFile(PlatformState& platform, int drive);
int64_t FileLength(PlatformState& platform, const std::string& path);

}  // namespace tavlin
