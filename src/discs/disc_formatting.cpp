#include "discs/disc_formatting.h"

#include "services/design_file_service.h"
#include "services/track_formatting.h"

namespace tavlin {

int16_t FormatFloppy(SharedRecord& shared, const DiscFamilyRecord& family) {
  if (!FormatTracks(shared, family.sectorBytes)) return 1;
  for (const LayoutWrite& write : family.emptyLayout()) {
    if (!WriteFormattedSector(shared, write.track, write.head, write.sector, write.bytes,
                              write.attempts)) {
      return 1;
    }
  }
  return 0;
}

bool FormatDos720(SharedRecord& shared) {
  bool opened = false;
  for (int attempt = 0; attempt < 3 && !opened; ++attempt) opened = OpenDisk(shared, 1) != 0;
  if (!opened || FormatDSDD(shared) == 0) return false;
  // The service retries less: the sectors that must go get three attempts here.
  for (const LayoutWrite& write : DiscFamilyById(DiscFamilyId::Dos).emptyLayout()) {
    const bool mustGo = write.attempts > 1;
    bool written = false;
    for (int attempt = 0; attempt < (mustGo ? 3 : 1) && !written; ++attempt) {
      written = WriteDiskV(shared, static_cast<int16_t>(write.track),
                           static_cast<int16_t>(write.sector), static_cast<int16_t>(write.head),
                           reinterpret_cast<const uint8_t*>(write.bytes.data())) != 0;
    }
    if (!written && mustGo) return false;
  }
  CloseDisk(shared);
  return true;
}

}  // namespace tavlin
