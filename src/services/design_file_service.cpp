#include "services/design_file_service.h"

#include <array>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "platform/files.h"
#include "platform/run_time_error.h"
#include "services/sector_service.h"

namespace tavlin {

namespace {

void Record(DesignServiceState& state, int32_t code) {
  if (state.errorCode == 0) state.errorCode = code;
}

// The disc functions work at 512 bytes, double density, whatever the controller had.
class DoubleDensity512 {
 public:
  explicit DoubleDensity512(PlatformState& platform)
      : platform_(platform), saved_(platform.controller) {
    SetVector51232(platform);
    SetDiscDSDD32(platform);
  }
  ~DoubleDensity512() { platform_.controller = saved_; }
  DoubleDensity512(const DoubleDensity512&) = delete;
  DoubleDensity512& operator=(const DoubleDensity512&) = delete;

 private:
  PlatformState& platform_;
  FloppyController saved_;
};

bool CurrentDriveIs720(SharedRecord& shared) {
  const int drive = shared.CurrentDrive;
  if (drive < 0 || drive >= static_cast<int>(shared.platform.drives.size())) return false;
  const DriveBinding& binding = shared.platform.drives[static_cast<size_t>(drive)];
  return binding.kind == DriveBinding::Kind::Image &&
         binding.geometry.Bytes() == ImageBytes(ImageFamily::Dos720);
}

}  // namespace

void InitMemory(SharedRecord& shared) {
  DesignServiceState& state = shared.designService;
  state.initialised = true;
  state.loadedPath.clear();
}

void VBReadFile(SharedRecord& shared, const std::string& sourcePath) {
  DesignServiceState& state = shared.designService;
  try {
    if (sourcePath.empty() || !FileExists(shared.platform, sourcePath)) {
      Record(state, kFileNotFound);
      return;
    }
  } catch (const RunTimeError& e) {
    Record(state, e.Code());
    return;
  }
  state.loadedPath = sourcePath;
}

void VBWriteFile(SharedRecord& shared, const std::string& destPath) {
  DesignServiceState& state = shared.designService;
  if (!state.initialised || state.loadedPath.empty()) {
    Record(state, kFileNotFound);
    return;
  }
  int16_t sourceType = FindFormatCode(state.loadedPath, shared.AsOtherProgramsDo);
  int16_t destType = FindFormatCode(destPath, shared.AsOtherProgramsDo);
  const Codec& source = CodecOf(sourceType);
  const Codec& dest = CodecOf(destType);
  if (!IsNamedFormat(source) || !IsNamedFormat(dest) || !source.Reads() || !dest.Writes()) {
    Record(state, kServiceCannotConvert);
    return;
  }
  // The service has no progress object to report to.
  std::string resolved;
  const int16_t result = ConvertStitchFileReporting(shared, sourceType, destType,
                                                    state.loadedPath, destPath, resolved, nullptr);
  if (result != 0) Record(state, result);
}

void CleanMemory(SharedRecord& shared) {
  shared.designService.initialised = false;
  shared.designService.loadedPath.clear();
}

int32_t VBGetErrorCode(const SharedRecord& shared) { return shared.designService.errorCode; }

void VBResetErrorCode(SharedRecord& shared) { shared.designService.errorCode = 0; }

int16_t RunDesignFileSequence(SharedRecord& shared, const std::string& sourcePath,
                              const std::string& destPath, const std::function<void()>& afterWrite) {
  InitMemory(shared);
  VBReadFile(shared, sourcePath);
  VBWriteFile(shared, destPath);
  if (afterWrite) afterWrite();
  CleanMemory(shared);
  const int32_t code = VBGetErrorCode(shared);
  VBResetErrorCode(shared);
  return static_cast<int16_t>(code & 0xFFFF);
}

int16_t ConvertDesignFile(SharedRecord& shared, const std::string& sourcePath,
                          const std::string& destPath) {
  try {
    if (!destPath.empty()) DeleteFile(shared.platform, destPath);
  } catch (const RunTimeError& e) {
    return e.Code();
  }
  return RunDesignFileSequence(shared, sourcePath, destPath);
}

int16_t OpenDisk(SharedRecord& shared, int16_t which) {
  shared.designService.diskOpen = which == 1 && CurrentDriveIs720(shared);
  return shared.designService.diskOpen ? 1 : 0;
}

int16_t FormatDSDD(SharedRecord& shared) {
  if (!shared.designService.diskOpen) return 0;
  PlatformState& platform = shared.platform;
  const DoubleDensity512 mode(platform);
  const Geometry g = GeometryOf(ImageFamily::Dos720);
  const auto drive = static_cast<uint8_t>(shared.CurrentDrive);
  std::array<uint8_t, kSectorBufferBytes> table{};
  for (int track = 0; track < g.cylinders; ++track) {
    for (int head = 0; head < g.heads; ++head) {
      FillAddressTable(table.data(), static_cast<uint8_t>(track), static_cast<uint8_t>(head),
                       SizeCodeOf(g.sectorSize));
      if (FormatTrack32(platform, drive, table.data(), static_cast<int16_t>(table.size()),
                        static_cast<uint8_t>(track), static_cast<uint8_t>(head),
                        SizeCodeOf(g.sectorSize)) != kSectorOk) {
        return 0;
      }
    }
  }
  return 1;
}

int16_t WriteDiskV(SharedRecord& shared, int16_t track, int16_t sector, int16_t head,
                   const uint8_t* buffer512) {
  if (!shared.designService.diskOpen || track < 0 || track > 255 || sector < 0 ||
      sector > 255 || head < 0 || head > 255) {
    return 0;
  }
  const DoubleDensity512 mode(shared.platform);
  return WriteSector32(shared.platform, static_cast<uint8_t>(shared.CurrentDrive), buffer512,
                       512, static_cast<uint8_t>(sector), static_cast<uint8_t>(track),
                       static_cast<uint8_t>(head)) == kSectorOk
             ? 1
             : 0;
}

void CloseDisk(SharedRecord& shared) { shared.designService.diskOpen = false; }

}  // namespace tavlin
