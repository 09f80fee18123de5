// The one buffered file that carries all stitch I/O: a window of the file held in
// memory, so a record costs a copy, not a system call. Seeking back is free; the
// window is written out before it moves.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace tavlin {

class BufferedFile {
 public:
#ifndef TAVLIN_WINDOW_BYTES
#define TAVLIN_WINDOW_BYTES (256 * 1024)
#endif
  // The fuzz targets build with a small window, so that small inputs cross its edges.
  static constexpr size_t kWindowBytes = TAVLIN_WINDOW_BYTES;

  BufferedFile() = default;
  explicit BufferedFile(std::unique_ptr<FileBackend> backend);
  BufferedFile(BufferedFile&&) noexcept = default;
  BufferedFile& operator=(BufferedFile&&) noexcept = default;
  ~BufferedFile();

  bool IsOpen() const { return backend_ != nullptr; }

  // Reads up to n bytes; fewer means end of file.
  size_t Read(uint8_t* out, size_t n) {
    const int64_t offset = position_ - windowStart_;
    if (offset >= 0 && static_cast<size_t>(offset) + n <= windowLength_) {
      std::memcpy(out, window_.get() + offset, n);
      position_ += static_cast<int64_t>(n);
      return n;
    }
    return ReadSlow(out, n);
  }

  void Write(const uint8_t* data, size_t n) {
    const int64_t offset = position_ - windowStart_;
    if (offset >= 0 && static_cast<size_t>(offset) <= windowLength_ &&
        static_cast<size_t>(offset) + n <= kWindowBytes) {
      const size_t at = static_cast<size_t>(offset);
      std::memcpy(window_.get() + at, data, n);
      if (at < dirtyFrom_) dirtyFrom_ = at;
      if (at + n > windowLength_) windowLength_ = at + n;
      position_ += static_cast<int64_t>(n);
      return;
    }
    WriteSlow(data, n);
  }
  void Write(std::string_view bytes) {
    Write(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }

  void Seek(int64_t position) { position_ = position; }
  int64_t Position() const { return position_; }
  int64_t Length() const {
    const int64_t windowEnd = windowStart_ + static_cast<int64_t>(windowLength_);
    return windowEnd > length_ ? windowEnd : length_;
  }

  void Flush();
  // Writes out and closes; further calls are errors. The destructor closes quietly.
  void Close();

 private:
  size_t ReadSlow(uint8_t* out, size_t n);
  void WriteSlow(const uint8_t* data, size_t n);
  void RequireOpen() const;

  std::unique_ptr<FileBackend> backend_;
  // Left uninitialised: a small file touches only the pages it fills, which matters when
  // many conversions run at once in one process (a batch).
  std::unique_ptr<uint8_t[]> window_;
  int64_t windowStart_ = 0;
  size_t windowLength_ = 0;  // bytes of the window that mirror the file
  // From here to the window's end the window is written out when it moves; bytes
  // that were only read are written back unchanged.
  size_t dirtyFrom_ = SIZE_MAX;
  int64_t position_ = 0;
  int64_t length_ = 0;  // the file's length when the window last moved
};

}  // namespace tavlin
