// The controller steps around the public disc calls. Only where PlatformId is 1 do the
// calls steer the floppy controller themselves; elsewhere they skip these steps.
#pragma once

#include <cstdint>

#include "state/shared_record.h"
#include "services/sector_service.h"

namespace tavlin {

// Keeps the controller's vector values in SavedVectorA and SavedVectorB.
void SaveVector(SharedRecord& shared);
// Restores the saved values, whatever the platform.
void RestoreVector(SharedRecord& shared);
// On platform 1: the saved values back, and the controller reset.
void RestoreController(SharedRecord& shared);

// Runs a sector-level family routine: on platform 1 the controller is set to 256-byte
// sectors at double density before and restored after, also when the routine throws.
template <typename Routine>
int16_t WithSectorAccess(SharedRecord& shared, Routine routine) {
  if (shared.PlatformId != 1) return routine();
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  struct Restore {
    SharedRecord& shared;
    ~Restore() { RestoreController(shared); }
  } restore{shared};
  return routine();
}

}  // namespace tavlin
