// Laying down the tracks of a blank disc through the sector service, and writing the
// sectors of its empty file system: what formatting does alike for every disc.
#pragma once

#include <cstdint>
#include <string>

#include "state/shared_record.h"

namespace tavlin {

// Every track side of tracks 0 to 79 at this sector size (256 or 512), three attempts
// each; false when one fails.
bool FormatTracks(SharedRecord& shared, int sectorBytes);

// Writes the bytes to one sector with up to `attempts` tries; a single try is made and
// its result not looked at, so it gives true.
bool WriteFormattedSector(SharedRecord& shared, int track, int head, int sector,
                          const std::string& bytes, int attempts);

}  // namespace tavlin
