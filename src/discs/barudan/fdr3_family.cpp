// The FDR3 row of the family table.
#include "discs/barudan/fdr3_disc.h"
#include "discs/disc_transfer.h"

namespace tavlin {

const DiscFamilyRecord& Fdr3Family() {
  static const DiscFamilyRecord family{
      .id = DiscFamilyId::Fdr3,
      .name = "fdr3",
      .formatType = FDR3,
      .geometry = ImageFamily::Fdr3,
      .sectorBytes = 256,
      .sectorAccess = true,
      .deliversAs = "QEP",
      .emptyLayout = Fdr3EmptyLayout,
      .list = Fdr3ListDirectory,
      .write = Fdr3Write,
      .read = [](SharedRecord& shared, int entry, const std::string&, const std::string& destName) {
        return Fdr3Read(shared, entry, destName);
      },
      .remove = [](SharedRecord& shared, int entry, const std::string&) {
        return Fdr3Delete(shared, entry);
      },
      // An FDR3 disc has no mark of its own: it is the 256-byte disc that is neither
      // FMC nor ZSK.
      .probe = nullptr,
      // With every design number taken the next write is refused, whatever the blocks.
      .room = [](SharedRecord& shared) -> int64_t {
        return shared.ListingEntries.size() >= 99 ? 0 : StitchesInRoom(Fdr3FreeBytes(shared));
      },
      .check = Fdr3Check,
  };
  return family;
}

}  // namespace tavlin
