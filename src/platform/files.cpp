#include "platform/files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/fat_volume.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

class HostFile final : public FileBackend {
 public:
  HostFile(std::FILE* file, bool readOnly) : file_(file), readOnly_(readOnly) {
    // Our own buffer sits above this one.
    std::setvbuf(file_, nullptr, _IONBF, 0);
  }
  ~HostFile() override { std::fclose(file_); }

  size_t ReadAt(int64_t offset, void* out, size_t n) override {
    SeekTo(offset);
    const size_t got = std::fread(out, 1, n, file_);
    if (got < n && std::ferror(file_)) throw RunTimeError(kPathFileAccess);
    return got;
  }

  void WriteAt(int64_t offset, const void* data, size_t n) override {
    if (readOnly_) throw RunTimeError(kPermissionDenied);
    SeekTo(offset);
    if (std::fwrite(data, 1, n, file_) != n) throw RunTimeError(kPathFileAccess);
  }

  int64_t Length() override {
    if (std::fseek(file_, 0, SEEK_END) != 0) throw RunTimeError(kPathFileAccess);
    return std::ftell(file_);
  }

  void Flush() override {
    if (std::fflush(file_) != 0) throw RunTimeError(kPathFileAccess);
  }

 private:
  void SeekTo(int64_t offset) {
    if (std::fseek(file_, static_cast<long>(offset), SEEK_SET) != 0) {
      throw RunTimeError(kPathFileAccess);
    }
  }

  std::FILE* file_;
  bool readOnly_;
};

// On Windows a path such as "C:\designs\STAR.DST" is the machine's own, and so are
// A: and B: until a disc image or folder is bound to them; elsewhere an unbound
// letter is a drive that is not ready.
#ifdef _WIN32
constexpr bool kUnboundIsMachineDrive = true;
#else
constexpr bool kUnboundIsMachineDrive = false;
#endif

// A drive path's file name in the root: "A:\\NAME.EXT" gives "NAME.EXT". Folders
// inside an image are not reached.
std::string RootName(const std::string& path) {
  std::string rest = path.substr(2);
  while (!rest.empty() && (rest.front() == '\\' || rest.front() == '/')) rest.erase(0, 1);
  if (rest.find_first_of("\\/") != std::string::npos) throw RunTimeError(kPathNotFound);
  return rest;
}

// The DOS file system of the image a drive path names, or null for any other path.
FatVolume* VolumeFor(PlatformState& platform, const std::string& path) {
  const int drive = DriveOfPath(path);
  if (drive < 0) return nullptr;
  DriveBinding& binding = DriveAt(platform, drive);
  if (binding.kind == DriveBinding::Kind::None && !kUnboundIsMachineDrive) {
    throw RunTimeError(kDiskNotReady);
  }
  if (binding.kind != DriveBinding::Kind::Image) return nullptr;
  if (!binding.volume) binding.volume = std::make_shared<FatVolume>(binding.image);
  // The tests' failing sectors reach the file system too, by the image's geometry.
  if (platform.fault) {
    binding.volume->SetFault([fault = platform.fault, g = binding.geometry](SectorOp op, int64_t sector) {
      const int64_t side = sector / g.sectors;
      return fault(op, static_cast<int>(side / g.heads), static_cast<int>(side % g.heads),
                   static_cast<int>(sector % g.sectors) + 1);
    });
  } else {
    binding.volume->SetFault(nullptr);
  }
  return binding.volume.get();
}

std::string WithSlashes(std::string path) {
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  return path;
}

}  // namespace

int DriveOfPath(const std::string& path) {
  if (path.size() < 2 || path[1] != ':') return -1;
  const char letter = path[0];
  if (letter >= 'A' && letter <= 'Z') return letter - 'A';
  if (letter >= 'a' && letter <= 'z') return letter - 'a';
  return -1;
}

std::string HostPathOf(PlatformState& platform, const std::string& path) {
  const int drive = DriveOfPath(path);
  if (drive < 0) return WithSlashes(path);
  const DriveBinding& binding = DriveAt(platform, drive);
  switch (binding.kind) {
    case DriveBinding::Kind::Directory: {
      std::string rest = WithSlashes(path.substr(2));
      while (!rest.empty() && rest.front() == '/') rest.erase(0, 1);
      return (std::filesystem::path(binding.path) / rest).string();
    }
    case DriveBinding::Kind::Image:
      // The file system inside an image has no host path: VolumeFor reaches it.
      throw RunTimeError(kPathNotFound);
    case DriveBinding::Kind::None:
      if (kUnboundIsMachineDrive) {
        // The machine's own drive, while it holds a disc (its root can be seen).
        std::error_code ec;
        const std::string root = path.substr(0, 2) + "/";
        std::string rest = WithSlashes(path.substr(2));
        while (!rest.empty() && rest.front() == '/') rest.erase(0, 1);
        if (std::filesystem::is_directory(root, ec)) return root + rest;
      }
      break;
  }
  throw RunTimeError(kDiskNotReady);
}

std::vector<std::string> ListFiles(PlatformState& platform, const std::string& pathMask) {
  const size_t cut = pathMask.find_last_of("\\/");
  const std::string mask = cut == std::string::npos ? pathMask.substr(DriveOfPath(pathMask) < 0 ? 0 : 2)
                                                    : pathMask.substr(cut + 1);
  if (FatVolume* volume = VolumeFor(platform, pathMask)) return volume->List(mask);
  const std::string folder = cut == std::string::npos ? (DriveOfPath(pathMask) < 0 ? "." : pathMask.substr(0, 2))
                                                      : pathMask.substr(0, cut + 1);
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(HostPathOf(platform, folder), ec)) {
    if (!entry.is_regular_file(ec)) continue;
    const std::string name = entry.path().filename().string();
    if (MatchesDosMask(name, mask)) names.push_back(name);
  }
  if (ec) throw RunTimeError(kPathNotFound);
  return names;
}

std::unique_ptr<FileBackend> OpenFile(PlatformState& platform, const std::string& path) {
  if (FatVolume* volume = VolumeFor(platform, path)) return volume->Open(RootName(path));
  const std::string host = HostPathOf(platform, path);
  std::FILE* file = std::fopen(host.c_str(), "r+b");
  if (file == nullptr && errno == ENOENT) file = std::fopen(host.c_str(), "w+b");
  bool readOnly = false;
  if (file == nullptr && (errno == EACCES || errno == EROFS || errno == EPERM)) {
    // A file the user may only read still reads: a source on a write-protected stick,
    // or another user's design. Writing it is refused when it is tried.
    file = std::fopen(host.c_str(), "rb");
    readOnly = file != nullptr;
  }
  if (file == nullptr) {
    switch (errno) {
      case ENOENT: throw RunTimeError(kPathNotFound);
      case EACCES:
      case EROFS: throw RunTimeError(kPermissionDenied);
      default: throw RunTimeError(kPathFileAccess);
    }
  }
  return std::make_unique<HostFile>(file, readOnly);
}

bool FileExists(PlatformState& platform, const std::string& path) {
  if (FatVolume* volume = VolumeFor(platform, path)) return volume->Exists(RootName(path));
  std::error_code ec;
  return std::filesystem::is_regular_file(HostPathOf(platform, path), ec);
}

void DeleteFile(PlatformState& platform, const std::string& path) {
  if (FatVolume* volume = VolumeFor(platform, path)) {
    volume->Delete(RootName(path));
    return;
  }
  std::error_code ec;
  const std::string host = HostPathOf(platform, path);
  if (!std::filesystem::remove(host, ec) && ec && ec != std::errc::no_such_file_or_directory) {
    throw RunTimeError(kPermissionDenied);
  }
}

void RenameFile(PlatformState& platform, const std::string& from, const std::string& to) {
  if (FatVolume* volume = VolumeFor(platform, from)) {
    if (DriveOfPath(to) != DriveOfPath(from)) throw RunTimeError(kPathFileAccess);
    volume->Rename(RootName(from), RootName(to));
    return;
  }
  std::error_code ec;
  std::filesystem::rename(HostPathOf(platform, from), HostPathOf(platform, to), ec);
  if (ec) throw RunTimeError(ec == std::errc::no_such_file_or_directory ? kFileNotFound : kPathFileAccess);
}

void CopyFile(PlatformState& platform, const std::string& from, const std::string& to) {
  if (!FileExists(platform, from)) throw RunTimeError(kFileNotFound);
  if (FatVolume* volume = VolumeFor(platform, to)) {
    // All or nothing: a file of the name stands until the copy is whole.
    const std::unique_ptr<FileBackend> source = OpenFile(platform, from);
    volume->Store(RootName(to), *source);
    return;
  }
  DeleteFile(platform, to);
  const std::unique_ptr<FileBackend> source = OpenFile(platform, from);
  const std::unique_ptr<FileBackend> dest = OpenFile(platform, to);
  std::vector<uint8_t> chunk(64 * 1024);
  int64_t at = 0;
  for (;;) {
    const size_t got = source->ReadAt(at, chunk.data(), chunk.size());
    if (got == 0) break;
    dest->WriteAt(at, chunk.data(), got);
    at += static_cast<int64_t>(got);
  }
  dest->Flush();
}

int64_t DriveFreeBytes(PlatformState& platform, int drive) {
  const std::string root = std::string(1, static_cast<char>('A' + drive)) + ":\\";
  if (FatVolume* volume = VolumeFor(platform, root)) return volume->FreeBytes();
  std::error_code ec;
  const std::filesystem::space_info space = std::filesystem::space(HostPathOf(platform, root), ec);
  if (ec) throw RunTimeError(kPathNotFound);
  return static_cast<int64_t>(space.available);
}

bool DriveTakesNewFile(PlatformState& platform, int drive) {
  const std::string root = std::string(1, static_cast<char>('A' + drive)) + ":\\";
  FatVolume* volume = VolumeFor(platform, root);
  return volume == nullptr || volume->RootHasRoom();
}

int64_t FileLength(PlatformState& platform, const std::string& path) {
  if (!FileExists(platform, path)) throw RunTimeError(kFileNotFound);
  return OpenFile(platform, path)->Length();
}

}  // namespace tavlin
