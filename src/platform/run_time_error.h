// Run-time failures: an exception carrying the classic numeric code. Routines with a
// handler catch it and return the code; the others let it reach their caller.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tavlin {

enum RunTimeCode : int16_t {
  kInvalidCall = 5,        // a procedure called with an argument it can't take
  kOverflow = 6,
  kOutOfMemory = 7,
  kSubscriptOutOfRange = 9,
  kDivisionByZero = 11,
  kInternalError = 51,
  kFileNotFound = 53,
  kFileAlreadyExists = 58,
  kDiskFull = 61,
  kTooManyFiles = 67,     // no free entry left in a root directory
  kPermissionDenied = 70,
  kDiskNotReady = 71,
  kPathFileAccess = 75,
  kPathNotFound = 76,
  kNoObject = 91,
};

class RunTimeError : public std::runtime_error {
 public:
  explicit RunTimeError(int16_t code, const std::string& what = {});
  int16_t Code() const noexcept { return code_; }

 private:
  int16_t code_;
};

// The words the command shows for a code, e.g. "disk not ready".
std::string RunTimeCodeText(int code);

}  // namespace tavlin
