// DOS-format machine discs (Tajima, Toyota, Pfaff, Happy, Emnet, Melco, Singer, Elna,
// Janome ...): designs are files on the drive's file system, their format given by
// their extension.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// The name of the last write, as the class keeps it. The last read's names are the
// shared record's, since the conversions read them.
struct DosState {
  std::string LastWriteName;
};

int16_t DosWrite(SharedRecord& shared, const std::string& sourceFile, const std::string& destFile);
int16_t DosRead(SharedRecord& shared, const std::string& sourceName, const std::string& destName);
int16_t DosDelete(SharedRecord& shared, const std::string& fileName);

// The HUS colour bytes: a zero byte and a palette index for each thread of the source,
// from offset 41 of the destination.
void WriteHusColourBytes(SharedRecord& shared, const std::string& sourceFile, int16_t sourceType,
                         const std::string& destFile);

// Lists the root of the drive as a DOS machine disc of the family code; 0, or 1 at any
// run-time failure.
int16_t ListDosDisc(SharedRecord& shared, int16_t familyCode);

// Tells the machine family by the design files in the root, the first kind found
// deciding, and lists the disc as that family's; 2 when the root holds none of them.
int16_t DosListDirectory(SharedRecord& shared);
// The library's listing: every file of the root directory, each design counted by
// reading it, a file of no format this build reads shown as no design (-1).
int16_t DosListEveryFile(SharedRecord& shared);

// The 500 bytes of the boot sector: a 720 KB disc that isn't a boot disc.
std::string BuildBootSector();
// The class's empty 720 KB disc, with that boot sector; `fsck.fat` finds its label
// field unreadable, since the start code stands where the label would.
std::vector<LayoutWrite> DosEmptyLayout();
// Empty discs that `fsck.fat` and mtools accept as they are, laid as `mkfs.fat` lays
// them, with the label "NO NAME" and the start code moved behind it. Every sector of
// the boot sector, FATs and root is written (four tries each).
// 720 KB: 80 x 2 x 9 x 512, 2 sectors a cluster, 112 root entries, 3-sector FATs, 0xF9.
std::vector<LayoutWrite> DosSoundEmptyLayout720();
// 1.44 MB: 80 x 2 x 18 x 512, 1 sector a cluster, 224 root entries, 9-sector FATs, 0xF0.
std::vector<LayoutWrite> DosEmptyLayout1440();

// The bytes the disc in the current drive can still take, from its own geometry:
// free clusters times the cluster's bytes (a bound folder: the host's free room).
// Throws RunTimeError where the drive holds no DOS file system.
int64_t DosFreeBytes(SharedRecord& shared);

// The empty DOS disc the library API makes on a zeroed image, as `mkfs.fat` makes one:
// the sound layout of 720 KB, or of 1.44 MB at high density. 0, or 1 when a sector fails.
int16_t FormatSoundDos(SharedRecord& shared, bool highDensity);

// The drive's FAT12 file system as `fsck.fat -n` would see it, each fault of a listed
// file on its listing line. A drive bound to a folder is the host's to keep sound.
DiscReport DosCheck(SharedRecord& shared);

}  // namespace tavlin
