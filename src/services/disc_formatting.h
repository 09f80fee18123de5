// Preparing blank discs: every track laid down through the sector service, then the
// empty file system of one family. A 720 KB DOS disc can also be made through the
// design-file service.
#pragma once

#include <cstdint>
#include <string>

#include "state/shared_record.h"

namespace tavlin {

// Kinds of FormatFloppy.
enum FloppyKind : int16_t { kFloppyDos = 0, kFloppyZsk = 2, kFloppyFmc = 3, kFloppyFdr3 = 4 };

// The 500 bytes of the DOS boot sector: a 720 KB disc that isn't a boot disc.
std::string BuildBootSector();

// 0, or 1 when a track or a sector of the file system fails.
int16_t FormatFloppy(SharedRecord& shared, int16_t kind);
bool FormatDos720(SharedRecord& shared);

}  // namespace tavlin
