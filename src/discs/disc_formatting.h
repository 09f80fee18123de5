// Preparing blank discs: every track laid down through the sector service, then the
// empty file system of the family. A 720 KB DOS disc can also be made through the
// design-file service.
#pragma once

#include <cstdint>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// 0, or 1 when a track or a sector of the file system fails.
int16_t FormatFloppy(SharedRecord& shared, const DiscFamilyRecord& family);
bool FormatDos720(SharedRecord& shared);

}  // namespace tavlin
