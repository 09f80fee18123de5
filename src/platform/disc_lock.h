// One writer at a time on a disc: an exclusive lock on its image file, or on the folder
// that stands for it, held for as long as a program works on the disc. Other programs
// that lock the same way wait; nothing else is kept from the file.
#pragma once

#include <memory>
#include <string>

namespace tavlin {

class DiscLock {
 public:
  // Takes the lock, waiting up to `waitMilliseconds` for another holder to let go.
  // Null when it is still held then (`busy` set) or when the path can't be opened.
  static std::unique_ptr<DiscLock> Take(const std::string& path, int waitMilliseconds,
                                        bool& busy);
  ~DiscLock();
  DiscLock(const DiscLock&) = delete;
  DiscLock& operator=(const DiscLock&) = delete;

 private:
  DiscLock() = default;
#ifdef _WIN32
  void* handle_ = nullptr;
#else
  int fd_ = -1;
#endif
};

}  // namespace tavlin
