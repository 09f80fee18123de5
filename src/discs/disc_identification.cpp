// IdentifyDisc: the sector size the disc reads at, then the probes of the families of
// that size, in the table's order; the family found lists the disc.
#include "discs/disc_identification.h"

#include "discs/disc_families.h"
#include "platform/run_time_error.h"
#include "services/platform_steps.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

// Only an image has sectors that steer as a controller's do. A drive bound to a folder,
// or to nothing, is asked through its file system alone, as on a platform whose disc
// calls don't steer the controller: an unbound drive is then not ready.
bool ReadsSectors(SharedRecord& shared) {
  if (shared.PlatformId != 1) return false;
  const int drive = shared.CurrentDrive;
  return drive >= 0 && drive < static_cast<int>(shared.platform.drives.size()) &&
         shared.platform.drives[static_cast<size_t>(drive)].kind == DriveBinding::Kind::Image;
}

bool ReadTries(SharedRecord& shared, int track, int head, int sector, int attempts) {
  return ReadSectorTries(shared, track, head, sector, attempts);
}

// The first family of the sector size whose probe claims the disc, else the one of that
// size that has no probe.
const DiscFamilyRecord* FamilyOfDisc(SharedRecord& shared, int sectorBytes) {
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    if (family->sectorBytes == sectorBytes && family->probe != nullptr && family->probe(shared)) {
      return family;
    }
  }
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    if (family->sectorBytes == sectorBytes && family->probe == nullptr) return family;
  }
  return nullptr;
}

int16_t Identify(SharedRecord& shared, const DiscFamilyRecord*& told) {
  shared.ClearListingText();
  shared.DiscFormatText.clear();
  shared.FreeStitchesText = "0";
  shared.DiscByteCount = 0;
  shared.CurrentTrack = 0;
  shared.CurrentHead = 0;
  shared.CurrentSector = 1;
  shared.SectorBuffer.fill(0);
  const bool sectors = ReadsSectors(shared);
  PlatformState& platform = shared.platform;
  bool dosGeometry = true;
  if (sectors) {
    RestoreVector(shared);
    SetVector51232(platform);
    ResetDiscController32(platform);
    SettleWait(platform, shared.CurrentDrive);
    SetDiscDSDD32(platform);
    if (!ReadTries(shared, 0, 0, 1, 3)) {
      SetDiscDSHD32(platform);
      dosGeometry = ReadTries(shared, 0, 0, 1, 3);
    }
  }
  if (dosGeometry) {
    if (sectors) RestoreVector(shared);
    SettleWait(platform, shared.CurrentDrive);
  } else {
    SetVector25632(platform);
    SetDiscDSDD32(platform);
    // Every family of 256-byte sectors has track 2 formatted: a disc whose track 2
    // can't be read is none of theirs.
    if (!ReadTries(shared, 2, 0, 1, 4)) return 3;
  }
  const DiscFamilyRecord* family = FamilyOfDisc(shared, dosGeometry ? 512 : 256);
  if (family == nullptr) return 3;
  told = family;
  return family->list(shared);
}

}  // namespace

int16_t IdentifyDisc(SharedRecord& shared, const DiscFamilyRecord** told) {
  const DiscFamilyRecord* family = nullptr;
  if (told != nullptr) *told = nullptr;
  try {
    const int16_t result = Identify(shared, family);
    if (told != nullptr) *told = family;
    return result;
  } catch (const RunTimeError& e) {
    // No disc in the drive; any other failure leaves what stood and reports nothing.
    return e.Code() == kDiskNotReady ? 4 : 0;
  }
}

void RunToolCommand(SharedRecord&, const std::string&) {
  // Nothing on this system names a tool: with ToolPath and ToolResultFile empty the
  // step has no program to start, and returns at once instead of waiting 2 x 20 s.
}

}  // namespace tavlin
