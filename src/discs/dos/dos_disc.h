// DOS-format machine discs (Tajima, Toyota, Pfaff, Happy, Emnet, Melco, Singer, Elna,
// Janome ...): designs are files on the drive's file system, their format given by
// their extension; and the telling apart of every disc family.
#pragma once

#include <cstdint>
#include <string>

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

// What disc is in the drive, and its listing: the result of ReadDisc.
int16_t IdentifyDisc(SharedRecord& shared);

// The external tool's step behind identification; with no tool named it returns at once.
void RunToolCommand(SharedRecord& shared, const std::string& command);

}  // namespace tavlin
