#include "platform/files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/run_time_error.h"

namespace tavlin {

namespace {

class HostFile final : public FileBackend {
 public:
  explicit HostFile(std::FILE* file) : file_(file) {
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
};

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
      // The file system inside an image is not reachable in this build.
      throw RunTimeError(kNotSupported);
    case DriveBinding::Kind::None: break;
  }
  throw RunTimeError(kDiskNotReady);
}

std::unique_ptr<FileBackend> OpenFile(PlatformState& platform, const std::string& path) {
  const std::string host = HostPathOf(platform, path);
  std::FILE* file = std::fopen(host.c_str(), "r+b");
  if (file == nullptr && errno == ENOENT) file = std::fopen(host.c_str(), "w+b");
  if (file == nullptr) {
    switch (errno) {
      case ENOENT: throw RunTimeError(kPathNotFound);
      case EACCES:
      case EROFS: throw RunTimeError(kPermissionDenied);
      default: throw RunTimeError(kPathFileAccess);
    }
  }
  return std::make_unique<HostFile>(file);
}

bool FileExists(PlatformState& platform, const std::string& path) {
  std::error_code ec;
  return std::filesystem::is_regular_file(HostPathOf(platform, path), ec);
}

void DeleteFile(PlatformState& platform, const std::string& path) {
  std::error_code ec;
  const std::string host = HostPathOf(platform, path);
  if (!std::filesystem::remove(host, ec) && ec && ec != std::errc::no_such_file_or_directory) {
    throw RunTimeError(kPermissionDenied);
  }
}

}  // namespace tavlin
