// The sector service: raw floppy sectors, read, written and formatted one call at a
// time, here over the drive's disc image. It behaves like a floppy controller: a
// transfer at the wrong sector size or density, or outside the geometry, fails.
#pragma once

#include <cstdint>

#include "platform/drives.h"

namespace tavlin {

constexpr int16_t kSectorOk = 99;
constexpr int16_t kSectorFailed = 1;
constexpr uint8_t kFormatFill = 0xE5;

// Size codes of the address records: 1 for 256-byte sectors, 2 for 512.
constexpr uint8_t SizeCodeOf(int sectorSize) { return sectorSize == 256 ? 1 : 2; }

// The 17 address records of a track side, sectors 1 to 17 in rising order, at the
// start of the buffer (68 bytes); FormatTrack32 takes as many as the track has sectors.
void FillAddressTable(uint8_t* buffer, uint8_t track, uint8_t head, uint8_t sizeCode);

int16_t ReadSector32(PlatformState& platform, uint8_t drive, uint8_t* buffer, int16_t length,
                     uint8_t sector, uint8_t track, uint8_t head);
int16_t WriteSector32(PlatformState& platform, uint8_t drive, const uint8_t* buffer,
                      int16_t length, uint8_t sector, uint8_t track, uint8_t head);
// Lays out one track side by the address records (track, head, sector id, size code)
// at the start of the buffer, and fills its sectors with 0xE5.
int16_t FormatTrack32(PlatformState& platform, uint8_t drive, const uint8_t* buffer,
                      int16_t length, uint8_t track, uint8_t head, uint8_t sizeCode);

void SetVector25632(PlatformState& platform);
void SetVector51232(PlatformState& platform);
void SetDiscDSDD32(PlatformState& platform);
void SetDiscDSHD32(PlatformState& platform);
// The interrupt vector calls of a real controller; an image has nothing to save.
void SaveVector32(PlatformState& platform, int16_t& a, int16_t& b);
void RestoreVector32(PlatformState& platform, int16_t a, int16_t b);
void ResetDiscController32(PlatformState& platform);

}  // namespace tavlin
