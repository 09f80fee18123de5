#include "platform/working_folder.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/files.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

namespace fs = std::filesystem;

class Folder {
 public:
  Folder() {
    static std::atomic<unsigned> counter{0};
    // The clock and a counter tell processes and threads apart without an OS call.
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    std::error_code ec;
    const fs::path base = fs::temp_directory_path(ec);
    for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
      const fs::path candidate =
          base / ("tavlin-" + std::to_string(stamp) + "-" + std::to_string(++counter));
      if (fs::create_directory(candidate, ec)) path_ = candidate;
    }
  }
  ~Folder() {
    std::error_code ec;
    if (!path_.empty()) fs::remove_all(path_, ec);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const fs::path& Path() const {
    if (path_.empty()) throw RunTimeError(kPathNotFound, "no working folder could be made");
    return path_;
  }

 private:
  fs::path path_;
};

}  // namespace

std::string WorkingFile(const std::string& name) {
  thread_local Folder folder;
  return (folder.Path() / name).string();
}

ScopedWorkingFile::ScopedWorkingFile(PlatformState& platform, const std::string& name)
    : platform_(platform), path_(WorkingFile(name)) {
  Remove();
}

ScopedWorkingFile::~ScopedWorkingFile() {
  try {
    Remove();
  } catch (const RunTimeError&) {
    // Nothing more can be done about a working file that won't go.
  }
}

void ScopedWorkingFile::Remove() const { DeleteFile(platform_, path_); }

}  // namespace tavlin
