#include "platform/drives.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "platform/run_time_error.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tavlin {

Geometry GeometryOf(ImageFamily family) {
  switch (family) {
    case ImageFamily::Fmc: return {82, 2, 16, 256, false};
    case ImageFamily::Fdr3:
    case ImageFamily::Zsk: return {80, 2, 16, 256, false};
    case ImageFamily::Dos720: return {80, 2, 9, 512, false};
    case ImageFamily::Dos1440: return {80, 2, 18, 512, true};
    case ImageFamily::FromSize: break;
  }
  return {};
}

std::optional<Geometry> GeometryFromSize(int64_t bytes) {
  for (ImageFamily f : {ImageFamily::Fmc, ImageFamily::Fdr3, ImageFamily::Dos720,
                        ImageFamily::Dos1440}) {
    if (GeometryOf(f).Bytes() == bytes) return GeometryOf(f);
  }
  return std::nullopt;
}

int64_t ImageBytes(ImageFamily family) { return GeometryOf(family).Bytes(); }

DriveBinding& DriveAt(PlatformState& platform, int drive) {
  if (drive < 0 || drive >= static_cast<int>(platform.drives.size())) {
    throw RunTimeError(kDiskNotReady);
  }
  return platform.drives[static_cast<size_t>(drive)];
}

namespace {

void CheckDriveNumber(int drive) {
  if (drive < 0 || drive >= 26) {
    throw std::runtime_error("drive number " + std::to_string(drive) + " is not A: to Z:");
  }
}

}  // namespace

void BindImage(PlatformState& platform, int drive, const std::string& imagePath,
               ImageFamily family) {
  CheckDriveNumber(drive);
  std::FILE* raw = std::fopen(imagePath.c_str(), "r+b");
  bool readOnly = false;
  if (raw == nullptr && (errno == EACCES || errno == EROFS || errno == EPERM)) {
    // An image the user may only read is a write-protected disc: it lists and reads.
    raw = std::fopen(imagePath.c_str(), "rb");
    readOnly = raw != nullptr;
  }
  if (raw == nullptr) {
    throw std::runtime_error("cannot open disc image " + imagePath + ": " +
                             std::strerror(errno));
  }
  std::shared_ptr<std::FILE> file(raw, &std::fclose);
  std::fseek(raw, 0, SEEK_END);
  const int64_t bytes = std::ftell(raw);
  Geometry geometry;
  if (family == ImageFamily::FromSize) {
    auto fromSize = GeometryFromSize(bytes);
    if (!fromSize) {
      throw std::runtime_error("disc image " + imagePath + " has " + std::to_string(bytes) +
                               " bytes, the size of no known floppy");
    }
    geometry = *fromSize;
  } else {
    geometry = GeometryOf(family);
    if (bytes != geometry.Bytes()) {
      throw std::runtime_error("disc image " + imagePath + " has " + std::to_string(bytes) +
                               " bytes, not the " + std::to_string(geometry.Bytes()) +
                               " of its family");
    }
  }
  DriveBinding& binding = DriveAt(platform, drive);
  binding = DriveBinding{};
  binding.kind = DriveBinding::Kind::Image;
  binding.path = imagePath;
  binding.geometry = geometry;
  binding.image = std::move(file);
  binding.readOnly = readOnly;
}

void BindDirectory(PlatformState& platform, int drive, const std::string& directory) {
  CheckDriveNumber(drive);
  std::error_code ec;
  if (!std::filesystem::is_directory(directory, ec)) {
    throw std::runtime_error(directory + " is not a directory");
  }
  DriveBinding& binding = DriveAt(platform, drive);
  binding = DriveBinding{};
  binding.kind = DriveBinding::Kind::Directory;
  binding.path = directory;
  // A folder this user may not write to is a write-protected disc: it lists and reads.
#ifdef _WIN32
  binding.readOnly = _access(directory.c_str(), 2) != 0;
#else
  binding.readOnly = access(directory.c_str(), W_OK) != 0;
#endif
}

void Unbind(PlatformState& platform, int drive) {
  CheckDriveNumber(drive);
  DriveAt(platform, drive) = DriveBinding{};
}

void PumpMessages(const PlatformState& platform) {
  if (platform.messagePump) platform.messagePump();
}

void SettleWait(PlatformState& platform, int drive) {
  const int settle = drive >= 0 && drive < static_cast<int>(platform.drives.size())
                         ? platform.drives[static_cast<size_t>(drive)].settleMilliseconds
                         : 0;
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(settle);
  do {
    PumpMessages(platform);
  } while (std::chrono::steady_clock::now() < until);
}

}  // namespace tavlin
