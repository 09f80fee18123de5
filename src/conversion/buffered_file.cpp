#include "conversion/buffered_file.h"

#include "platform/run_time_error.h"

namespace tavlin {

BufferedFile::BufferedFile(std::unique_ptr<FileBackend> backend)
    : backend_(std::move(backend)), window_(std::make_unique_for_overwrite<uint8_t[]>(kWindowBytes)) {
  length_ = backend_->Length();
}

BufferedFile::~BufferedFile() {
  try {
    Close();
  } catch (...) {
    // A failure here has no one to tell; the routine that cared has closed already.
  }
}

void BufferedFile::RequireOpen() const {
  if (!backend_) throw RunTimeError(kPathFileAccess, "file is not open");
}

void BufferedFile::Flush() {
  length_ = Length();
  if (!backend_ || dirtyFrom_ >= windowLength_) return;
  backend_->WriteAt(windowStart_ + static_cast<int64_t>(dirtyFrom_), window_.get() + dirtyFrom_,
                    windowLength_ - dirtyFrom_);
  dirtyFrom_ = SIZE_MAX;
}

void BufferedFile::Close() {
  if (!backend_) return;
  Flush();
  backend_->Flush();
  backend_.reset();
  window_.reset();
  windowLength_ = 0;
}

size_t BufferedFile::ReadSlow(uint8_t* out, size_t n) {
  RequireOpen();
  size_t done = 0;
  while (done < n) {
    const int64_t offset = position_ - windowStart_;
    if (offset >= 0 && static_cast<size_t>(offset) < windowLength_) {
      const size_t take = std::min(n - done, windowLength_ - static_cast<size_t>(offset));
      std::memcpy(out + done, window_.get() + offset, take);
      done += take;
      position_ += static_cast<int64_t>(take);
      continue;
    }
    Flush();
    windowStart_ = position_;
    windowLength_ = 0;
    windowLength_ = position_ < length_ ? backend_->ReadAt(position_, window_.get(), kWindowBytes)
                                        : 0;
    if (windowLength_ == 0) break;
  }
  return done;
}

void BufferedFile::WriteSlow(const uint8_t* data, size_t n) {
  RequireOpen();
  Flush();
  if (n >= kWindowBytes) {
    backend_->WriteAt(position_, data, n);
    position_ += static_cast<int64_t>(n);
    if (position_ > length_) length_ = position_;
    windowStart_ = position_;
    windowLength_ = 0;
    return;
  }
  // The window restarts here, empty: only what is written now mirrors the file.
  windowStart_ = position_;
  windowLength_ = 0;
  Write(data, n);
}

}  // namespace tavlin
