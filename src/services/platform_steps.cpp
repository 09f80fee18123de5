#include "services/platform_steps.h"

namespace tavlin {

void SaveVector(SharedRecord& shared) {
  SaveVector32(shared.platform, shared.SavedVectorA, shared.SavedVectorB);
}

void RestoreVector(SharedRecord& shared) {
  RestoreVector32(shared.platform, shared.SavedVectorA, shared.SavedVectorB);
}

void RestoreController(SharedRecord& shared) {
  if (shared.PlatformId != 1) return;
  RestoreVector(shared);
  ResetDiscController32(shared.platform);
}

}  // namespace tavlin
