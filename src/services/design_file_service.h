// The design-file service: converts a whole design file into another format, and lays
// out a 720 KB disc. Every use of the conversion is one fixed sequence of six calls:
// InitMemory, VBReadFile, VBWriteFile, CleanMemory, VBGetErrorCode, VBResetErrorCode.
// Here the service converts through this library's own converter.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "state/shared_record.h"

namespace tavlin {

// The code for a pair of formats the service can't convert (HUS and SHV among them).
constexpr int32_t kServiceCannotConvert = 1001;

void InitMemory(SharedRecord& shared);
void VBReadFile(SharedRecord& shared, const std::string& sourcePath);
void VBWriteFile(SharedRecord& shared, const std::string& destPath);
void CleanMemory(SharedRecord& shared);
int32_t VBGetErrorCode(const SharedRecord& shared);
void VBResetErrorCode(SharedRecord& shared);

// The six steps in their order; gives VBGetErrorCode's low 16 bits. `afterWrite` runs
// between the third and the fourth step, where a caller removes a working file.
int16_t RunDesignFileSequence(SharedRecord& shared, const std::string& sourcePath,
                              const std::string& destPath,
                              const std::function<void()>& afterWrite = {});

// ConvertFile of the public class: an existing destination is deleted first.
int16_t ConvertDesignFile(SharedRecord& shared, const std::string& sourcePath,
                          const std::string& destPath);

// The disc of the current drive, which must be a 720 KB image. Non-zero is success.
int16_t OpenDisk(SharedRecord& shared, int16_t which);
int16_t FormatDSDD(SharedRecord& shared);
int16_t WriteDiskV(SharedRecord& shared, int16_t track, int16_t sector, int16_t head,
                   const uint8_t* buffer512);
void CloseDisk(SharedRecord& shared);

}  // namespace tavlin
