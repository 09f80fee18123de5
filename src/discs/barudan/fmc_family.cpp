// The FMC row of the family table.
#include "discs/barudan/fmc_disc.h"
#include "discs/disc_transfer.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

// The directory's first entry carries the disc's signature.
bool IsFmc(SharedRecord& shared) {
  return ReadSectorTries(shared, 2, 0, 1, 4) &&
         SectorBytes(shared).compare(1, 11, "FILE    DIR") == 0;
}

}  // namespace

const DiscFamilyRecord& FmcFamily() {
  static const DiscFamilyRecord family{
      .id = DiscFamilyId::Fmc,
      .name = "fmc",
      .formatType = FMC,
      .geometry = ImageFamily::Fmc,
      .sectorBytes = 256,
      .sectorAccess = true,
      .deliversAs = "QEP",
      .emptyLayout = FmcEmptyLayout,
      .list = FmcListDirectory,
      .write = [](SharedRecord& shared, const std::string& sourceFile, const std::string&) {
        return FmcWrite(shared, sourceFile);
      },
      .read = [](SharedRecord& shared, int entry, const std::string&, const std::string& destName) {
        return FmcRead(shared, entry, destName);
      },
      .remove = [](SharedRecord& shared, int entry, const std::string&) {
        return FmcDelete(shared, entry);
      },
      .probe = IsFmc,
      .room = [](SharedRecord& shared) -> int64_t {
        // With every design number taken the next write is refused, whatever the blocks.
        if (shared.ListingEntries.size() >= 99) return 0;
        return StitchesInRoom(FmcFreeBytes(shared, false));
      },
      .check = FmcCheck,
  };
  return family;
}

}  // namespace tavlin
