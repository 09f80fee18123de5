#include "services/sector_service.h"

#include <cstdio>
#include <vector>

namespace tavlin {

namespace {

// The image behind a drive, if the controller's mode suits it; null otherwise.
DriveBinding* ImageFor(PlatformState& platform, uint8_t drive) {
  if (drive >= platform.drives.size()) return nullptr;
  DriveBinding& binding = platform.drives[drive];
  if (binding.kind != DriveBinding::Kind::Image || !binding.image) return nullptr;
  if (platform.controller.sectorSize != binding.geometry.sectorSize) return nullptr;
  if (platform.controller.highDensity != binding.geometry.highDensity) return nullptr;
  return &binding;
}

bool Addressable(const Geometry& g, int track, int head, int sector) {
  return track < g.cylinders && head < g.heads && sector >= 1 && sector <= g.sectors;
}

long OffsetOf(const Geometry& g, int track, int head, int sector) {
  return static_cast<long>(((int64_t{track} * g.heads + head) * g.sectors + (sector - 1)) *
                           g.sectorSize);
}

bool Faulted(const PlatformState& platform, SectorOp op, int track, int head, int sector) {
  return platform.fault && platform.fault(op, track, head, sector);
}

bool WriteAt(DriveBinding& binding, long offset, const uint8_t* data, size_t n) {
  // The file system read from the image no longer stands for it.
  binding.volume.reset();
  std::FILE* file = binding.image.get();
  return std::fseek(file, offset, SEEK_SET) == 0 && std::fwrite(data, 1, n, file) == n &&
         std::fflush(file) == 0;
}

}  // namespace

void FillAddressTable(uint8_t* buffer, uint8_t track, uint8_t head, uint8_t sizeCode) {
  for (int i = 0; i < 17; ++i) {
    uint8_t* record = buffer + 4 * i;
    record[0] = track;
    record[1] = head;
    record[2] = static_cast<uint8_t>(i + 1);
    record[3] = sizeCode;
  }
}

int16_t ReadSector32(PlatformState& platform, uint8_t drive, uint8_t* buffer, int16_t length,
                     uint8_t sector, uint8_t track, uint8_t head) {
  DriveBinding* binding = ImageFor(platform, drive);
  if (binding == nullptr) return kSectorFailed;
  const Geometry& g = binding->geometry;
  if (!Addressable(g, track, head, sector) || length < g.sectorSize) return kSectorFailed;
  if (Faulted(platform, SectorOp::Read, track, head, sector)) return kSectorFailed;
  std::FILE* file = binding->image.get();
  const auto n = static_cast<size_t>(g.sectorSize);
  if (std::fseek(file, OffsetOf(g, track, head, sector), SEEK_SET) != 0 ||
      std::fread(buffer, 1, n, file) != n) {
    return kSectorFailed;
  }
  return kSectorOk;
}

int16_t WriteSector32(PlatformState& platform, uint8_t drive, const uint8_t* buffer,
                      int16_t length, uint8_t sector, uint8_t track, uint8_t head) {
  DriveBinding* binding = ImageFor(platform, drive);
  if (binding == nullptr) return kSectorFailed;
  const Geometry& g = binding->geometry;
  if (!Addressable(g, track, head, sector) || length < g.sectorSize) return kSectorFailed;
  if (Faulted(platform, SectorOp::Write, track, head, sector)) return kSectorFailed;
  if (binding->readOnly) return kSectorFailed;  // a write-protected disc
  const bool written = WriteAt(*binding, OffsetOf(g, track, head, sector), buffer,
                               static_cast<size_t>(g.sectorSize));
  return written ? kSectorOk : kSectorFailed;
}

int16_t FormatTrack32(PlatformState& platform, uint8_t drive, const uint8_t* buffer,
                      int16_t length, uint8_t track, uint8_t head, uint8_t sizeCode) {
  DriveBinding* binding = ImageFor(platform, drive);
  if (binding == nullptr) return kSectorFailed;
  const Geometry& g = binding->geometry;
  if (binding->readOnly) return kSectorFailed;
  const uint8_t wantedCode = SizeCodeOf(g.sectorSize);
  constexpr int kAddressRecords = 17;
  if (sizeCode != wantedCode || g.sectors > kAddressRecords || track >= g.cylinders ||
      head >= g.heads || length < 4 * kAddressRecords) {
    return kSectorFailed;
  }
  // The track takes as many address records as its sectors; each must name this
  // track side, a sector of it, and the size in force.
  std::vector<bool> seen(static_cast<size_t>(g.sectors) + 1, false);
  for (int i = 0; i < g.sectors; ++i) {
    const uint8_t* record = buffer + 4 * i;
    const int id = record[2];
    if (record[0] != track || record[1] != head || record[3] != wantedCode || id < 1 ||
        id > g.sectors || seen[static_cast<size_t>(id)]) {
      return kSectorFailed;
    }
    seen[static_cast<size_t>(id)] = true;
  }
  if (Faulted(platform, SectorOp::Format, track, head, 0)) return kSectorFailed;
  const std::vector<uint8_t> fill(static_cast<size_t>(g.sectors * g.sectorSize), kFormatFill);
  return WriteAt(*binding, OffsetOf(g, track, head, 1), fill.data(), fill.size()) ? kSectorOk
                                                                                  : kSectorFailed;
}

void SetVector25632(PlatformState& platform) { platform.controller.sectorSize = 256; }
void SetVector51232(PlatformState& platform) { platform.controller.sectorSize = 512; }
void SetDiscDSDD32(PlatformState& platform) { platform.controller.highDensity = false; }
void SetDiscDSHD32(PlatformState& platform) { platform.controller.highDensity = true; }

void SaveVector32(PlatformState&, int16_t& a, int16_t& b) {
  a = 0;
  b = 0;
}

void RestoreVector32(PlatformState&, int16_t, int16_t) {}

void ResetDiscController32(PlatformState&) {}

}  // namespace tavlin
