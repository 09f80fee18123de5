// Telling which family the disc in the drive is, and listing it as that family's.
#pragma once

#include <cstdint>
#include <string>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// What disc is in the drive, and its listing: the result of ReadDisc. `told`, when
// given, gets the family whose listing ran, or null when none did.
int16_t IdentifyDisc(SharedRecord& shared, const DiscFamilyRecord** told = nullptr);

// The external tool's step behind identification; with no tool named it returns at once.
void RunToolCommand(SharedRecord& shared, const std::string& command);

}  // namespace tavlin
