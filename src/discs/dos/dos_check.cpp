// DosCheck: the file system of the image in the drive, read afresh from the image.
#include <algorithm>

#include "discs/disc_check.h"
#include "discs/dos/dos_disc.h"
#include "platform/fat_volume.h"
#include "platform/run_time_error.h"

namespace tavlin {

DiscReport DosCheck(SharedRecord& shared) {
  DiscReport report;
  try {
    const DriveBinding& binding = DriveAt(shared.platform, shared.CurrentDrive);
    if (binding.kind == DriveBinding::Kind::Directory) {
      report.claimed = true;
      return report;
    }
    if (binding.kind != DriveBinding::Kind::Image) return report;
    // Not the drive's own volume: that one holds what it read when first used.
    FatVolume volume(binding.image);
    const FatVolume::Checked checked = volume.Check();
    report.claimed = checked.fat12;
    for (const FatVolume::Finding& finding : checked.findings) {
      const auto& entries = shared.ListingEntries;
      const auto listed = std::find_if(entries.begin(), entries.end(),
                                       [&finding](const ListingEntry& e) { return e.name == finding.name; });
      const int line = finding.name.empty() || listed == entries.end() ? -1 : static_cast<int>(listed - entries.begin());
      AddProblem(report, line, finding.text);
    }
  } catch (const RunTimeError&) {
    // No FAT12 file system the volume can read at all.
    return {};
  }
  return report;
}

}  // namespace tavlin
