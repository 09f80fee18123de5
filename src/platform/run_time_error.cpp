#include "platform/run_time_error.h"

namespace tavlin {

RunTimeError::RunTimeError(int16_t code, const std::string& what)
    : std::runtime_error(what.empty() ? RunTimeCodeText(code) : what), code_(code) {}

std::string RunTimeCodeText(int code) {
  switch (code) {
    case kInvalidCall: return "invalid procedure call";
    case kOverflow: return "overflow";
    case kOutOfMemory: return "out of memory";
    case kSubscriptOutOfRange: return "subscript out of range";
    case kDivisionByZero: return "division by zero";
    case kInternalError: return "internal error";
    case kFileNotFound: return "file not found";
    case kFileAlreadyExists: return "file already exists";
    case kDiskFull: return "the disc is full";
    case kTooManyFiles: return "the disc's root directory is full";
    case kPermissionDenied: return "permission denied";
    case kDiskNotReady: return "disk not ready";
    case kPathFileAccess: return "path/file access error";
    case kPathNotFound: return "path not found";
    case kNoObject: return "no progress object";
    default: return "run-time failure " + std::to_string(code);
  }
}

}  // namespace tavlin
