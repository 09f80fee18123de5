// DOS-format machine discs (Tajima, Toyota, Pfaff, Happy, Emnet, Melco, Singer, Elna,
// Janome ...): designs are files on the drive's file system, their format given by
// their extension.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// The names of the last transfers, as the class keeps them.
struct DosState {
  std::string LastWriteName;
  std::string LastReadName;
  std::string HusSourceName;
};

int16_t DosWrite(SharedRecord& shared, const std::string& sourceFile, const std::string& destFile);
int16_t DosRead(SharedRecord& shared, const std::string& sourceName, const std::string& destName);
int16_t DosDelete(SharedRecord& shared, const std::string& fileName);

// The HUS colour bytes: a zero byte and a palette index for each thread of the source,
// from offset 41 of the destination.
void WriteHusColourBytes(SharedRecord& shared, const std::string& sourceFile, int16_t sourceType,
                         const std::string& destFile);

// Lists the root of the drive as a DOS machine disc of the family code; 0, or 1 at any
// run-time failure.
int16_t ListDosDisc(SharedRecord& shared, int16_t familyCode);

// Tells the machine family by the design files in the root, the first kind found
// deciding, and lists the disc as that family's; 2 when the root holds none of them.
int16_t DosListDirectory(SharedRecord& shared);

// The 500 bytes of the boot sector: a 720 KB disc that isn't a boot disc.
std::string BuildBootSector();
std::vector<LayoutWrite> DosEmptyLayout();

}  // namespace tavlin
