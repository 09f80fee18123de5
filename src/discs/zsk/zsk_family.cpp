// The ZSK row of the family table.
#include "discs/zsk/zsk_disc.h"
#include "discs/disc_transfer.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

// The label in sector 11 of track 0 begins with the maker's name.
bool IsZsk(SharedRecord& shared) {
  return ReadSectorTries(shared, 0, 0, 11, 4) && SectorBytes(shared).compare(0, 3, "ZSK") == 0;
}

}  // namespace

const DiscFamilyRecord& ZskFamily() {
  static const DiscFamilyRecord family{
      .id = DiscFamilyId::Zsk,
      .name = "zsk",
      .formatType = ZSKDisc,
      .geometry = ImageFamily::Zsk,
      .sectorBytes = 256,
      .sectorAccess = true,
      .deliversAs = "QEP",
      .emptyLayout = ZskEmptyLayout,
      .list = ZskListDirectory,
      .write = [](SharedRecord& shared, const std::string& sourceFile, const std::string&) {
        return ZskWrite(shared, sourceFile);
      },
      .read = [](SharedRecord& shared, int entry, const std::string&, const std::string& destName) {
        return ZskRead(shared, entry, destName);
      },
      .remove = [](SharedRecord& shared, int entry, const std::string&) {
        return ZskDelete(shared, entry);
      },
      .probe = IsZsk,
      .room = [](SharedRecord& shared) -> int64_t {
        const ZskState& zsk = shared.Own<ZskState>();
        if (zsk.Table.empty() || ZskDirectoryFull(ZskRecords(zsk.DirectoryBlock).size())) return 0;
        return StitchesInRoom(int64_t{ZskField(zsk.Table, 0)} * kZskBlockBytes);
      },
      .check = ZskCheck,
      .countsByReading = true,
  };
  return family;
}

}  // namespace tavlin
