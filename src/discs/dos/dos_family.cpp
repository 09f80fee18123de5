// The DOS row of the family table.
#include "discs/disc_transfer.h"
#include "discs/dos/dos_disc.h"
#include "platform/files.h"
#include "platform/run_time_error.h"

namespace tavlin {

const DiscFamilyRecord& DosFamily() {
  static const DiscFamilyRecord family{
      .id = DiscFamilyId::Dos,
      .name = "dos",
      .formatType = OtherDOS,
      .geometry = ImageFamily::Dos720,
      .sectorBytes = 512,
      // Its designs are files: the drive's file system reaches them.
      .sectorAccess = false,
      .deliversAs = "",
      .emptyLayout = DosEmptyLayout,
      .list = DosListDirectory,
      .write = DosWrite,
      .read = [](SharedRecord& shared, int, const std::string& sourceName, const std::string& destName) {
        return DosRead(shared, sourceName, destName);
      },
      .remove = [](SharedRecord& shared, int, const std::string& fileName) {
        return DosDelete(shared, fileName);
      },
      // The only family of 512-byte sectors.
      .probe = nullptr,
      // Free clusters, from the disc's own geometry, whatever its size.
      .room = [](SharedRecord& shared) -> int64_t {
        try {
          // A root directory with no entry left takes no design, whatever the clusters.
          if (!DriveTakesNewFile(shared.platform, shared.CurrentDrive)) return 0;
          return StitchesInRoom(DosFreeBytes(shared));
        } catch (const RunTimeError&) {
          return 0;
        }
      },
      .check = DosCheck,
      .libraryList = DosListEveryFile,
      .formatSound = FormatSoundDos,
  };
  return family;
}

}  // namespace tavlin
