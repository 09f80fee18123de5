#include "platform/disc_lock.h"

#include <chrono>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace tavlin {

namespace {

// How often a waiter asks again: short against the few seconds it waits in all.
constexpr auto kPoll = std::chrono::milliseconds(50);

}  // namespace

std::unique_ptr<DiscLock> DiscLock::Take(const std::string& path, int waitMilliseconds,
                                         bool& busy) {
  busy = false;
  std::unique_ptr<DiscLock> lock(new DiscLock);
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMilliseconds);
#ifdef _WIN32
  // A folder opens as a directory handle; a read-only image still takes the lock.
  HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return nullptr;
  lock->handle_ = handle;
  for (;;) {
    OVERLAPPED at{};
    if (LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at)) {
      return lock;
    }
    if (std::chrono::steady_clock::now() >= until) break;
    std::this_thread::sleep_for(kPoll);
  }
#else
  // O_RDONLY: a write-protected stick or a folder takes the lock as well.
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  lock->fd_ = fd;
  for (;;) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return lock;
    if (errno != EWOULDBLOCK && errno != EINTR) return nullptr;
    if (std::chrono::steady_clock::now() >= until) break;
    std::this_thread::sleep_for(kPoll);
  }
#endif
  busy = true;
  return nullptr;
}

DiscLock::~DiscLock() {
#ifdef _WIN32
  if (handle_ != nullptr) CloseHandle(static_cast<HANDLE>(handle_));
#else
  if (fd_ >= 0) close(fd_);
#endif
}

}  // namespace tavlin
