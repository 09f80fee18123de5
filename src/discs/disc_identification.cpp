// IdentifyDisc: a DOS disc is told by the design files in its root, a proprietary one
// by the known places of its layout; then that family's listing runs.
#include "discs/barudan/fdr3_disc.h"
#include "discs/barudan/fmc_disc.h"
#include "platform/files.h"
#include "platform/run_time_error.h"
#include "services/platform_steps.h"
#include "services/track_side.h"
#include "discs/dos/dos_disc.h"
#include "discs/zsk/zsk_disc.h"

namespace tavlin {

namespace {

struct Probe {
  std::vector<const char*> masks;
  int16_t code;
};

// In their order: the first that finds a file decides.
const std::vector<Probe>& Probes() {
  static const std::vector<Probe> probes = {
      {{"*.DST", "*.DSB", "*.DSZ"}, 1}, {{"*.KSM"}, 2},  {{"*.TAP"}, 3},  {{"*.10o"}, 4},
      {{"*."}, 5},                      {{"*.CND", "*.EXP"}, 6},          {{"*.XXX"}, 13},
      {{"*.EMD"}, 14},                  {{"*.JEF"}, 15}, {{"*.SEW"}, 16}, {{"*.U*"}, 17},
      {{"*.QEP"}, 18},                  {{"*.QCD"}, 19}, {{"*.VST"}, 20},
      {{"*.VST", "*.QCD", "*.QEP", "*.QSS"}, 10},
  };
  return probes;
}

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

// The family a probe names, in the numbering of the DOS listing.
int16_t FamilyCodeOf(int16_t probe) {
  switch (probe) {
    case 2: return 3;   // Pfaff
    case 3: return 4;   // Happy
    case 4: return 2;   // Toyota
    case 10: return 7;  // DOS
    default: return probe;
  }
}

int16_t ProbeCode(SharedRecord& shared) {
  const std::string root = std::string(1, static_cast<char>('A' + shared.CurrentDrive)) + ":\\";
  for (const Probe& probe : Probes()) {
    for (const char* mask : probe.masks) {
      if (!ListFiles(shared.platform, root + mask).empty()) return probe.code;
    }
  }
  return 0;
}

int16_t Identify(SharedRecord& shared) {
  shared.DiscFilesText.clear();
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
  int16_t code = 0;
  if (dosGeometry) {
    if (sectors) RestoreVector(shared);
    SettleWait(platform, shared.CurrentDrive);
    code = ProbeCode(shared);
    if (code == 0) return 2;
  } else {
    SetVector25632(platform);
    SetDiscDSDD32(platform);
    if (!ReadTries(shared, 2, 0, 1, 4)) return 3;
    if (SectorBytes(shared).compare(1, 11, "FILE    DIR") == 0) {
      code = 7;
    } else {
      const bool read = ReadTries(shared, 0, 0, 11, 4);
      code = read && SectorBytes(shared).compare(0, 3, "ZSK") == 0 ? 8 : 9;
    }
  }
  switch (code) {
    case 7: return FmcListDirectory(shared);
    case 8: return ZskListDirectory(shared);
    case 9: return Fdr3ListDirectory(shared);
    default: return ListDosDisc(shared, FamilyCodeOf(code));
  }
}

}  // namespace

int16_t IdentifyDisc(SharedRecord& shared) {
  try {
    return Identify(shared);
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
