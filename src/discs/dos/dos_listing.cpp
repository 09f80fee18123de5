// ListDosDisc: a DOS machine disc listed from its root directory, with a stitch estimate
// for each file from its length alone.
#include <cctype>
#include <cmath>
#include <cstdio>

#include "conversion/design_reader.h"
#include "conversion/numbers.h"
#include "platform/files.h"
#include "platform/run_time_error.h"
#include "discs/dos/dos_disc.h"

namespace tavlin {

namespace {

struct Estimate {
  const char* ends;  // the extensions this row is for, blank-separated
  int header;
  int divisor;
  bool label;
};

// The first row whose extension fits counts; the last is for any other.
constexpr Estimate kEstimates[] = {
    {"VST", 1024, 3, false}, {"QEP QCD", 512, 5, false}, {"DST DSB DSK", 512, 3, true},
    {"QSS", 512, 3, false},  {"CND EXP", 512, 2, false}, {"TAP", 0, 3, false},
    {"XXX", 256, 2, false},  {"EMD", 48, 2, false},      {"JEF", 100, 2, false},
    {"SEW", 7545, 2, false}, {"", 512, 3, false},
};

const Estimate& EstimateFor(const std::string& end) {
  for (const Estimate& e : kEstimates) {
    const std::string ends = std::string(" ") + e.ends + " ";
    if (e.ends[0] == '\0' || ends.find(" " + end + " ") != std::string::npos) return e;
  }
  return kEstimates[std::size(kEstimates) - 1];
}

const char* FamilyName(int16_t code) {
  switch (code) {
    case 1: return "Tajima Disc";
    case 2: return "Toyota Disc";
    case 3: return "Pfaff";
    case 4: return "Happy Disc";
    case 5: return "Emnet";
    case 6: return "Melco Premier";
    case 7: return "DOS";
    case 13: return "Singer";
    case 14: return "Elna";
    case 15:
    case 16: return "Janome";
    case 17: return "Barudan DOS/2HD";
    case 18: return "Velmo Quick Expanded";
    case 19: return "Velmo Quick Condensed";
    case 20: return "Midwest";
    default: return nullptr;
  }
}

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

// The family a probe names, in the numbering of the listing.
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

std::string Column(std::string text, size_t width) {
  text.resize(width, ' ');
  return text;
}

}  // namespace

int16_t ListDosDisc(SharedRecord& shared, int16_t familyCode) {
  shared.CurrentDiscType = 4;
  try {
    const std::string drive = std::string(1, static_cast<char>('A' + shared.CurrentDrive)) + ":\\";
    const std::vector<std::string> names = ListFiles(shared.platform, drive + "*.*");
    // The lists hold 127 names and an empty slot for the end.
    if (names.size() >= kListSlots - 1) throw RunTimeError(kSubscriptOutOfRange);
    for (size_t i = 0; i < names.size(); ++i) shared.ListNames[i + 1] = names[i];
    int64_t bytes = 0;
    for (size_t i = 0; i < names.size(); ++i) {
      const std::string path = drive + names[i];
      const std::unique_ptr<FileBackend> file = OpenFile(shared.platform, path);
      const int64_t length = file->Length();
      bytes += length;
      std::string end = names[i].size() < 3 ? names[i] : names[i].substr(names[i].size() - 3);
      for (char& c : end) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      const Estimate& estimate = EstimateFor(end);
      char count[16];
      std::snprintf(count, sizeof count, "%8lld",
                    static_cast<long long>((length - estimate.header) / estimate.divisor));
      std::string detail = count;
      if (estimate.label) {
        std::string label(12, ' ');
        label.resize(file->ReadAt(3, label.data(), 12));
        label.resize(12, ' ');
        detail += " - (" + label + ")";
      }
      shared.ListDetails[i + 1] = detail;
      shared.AddListingLine(names[i], (length - estimate.header) / estimate.divisor,
                            Column(names[i], 12) + " " + Column(detail, 25));
    }
    shared.DiscByteCount = static_cast<int32_t>(bytes);
    if (const char* name = FamilyName(familyCode)) shared.DiscFormatText = name;
    shared.FreeStitchesText =
        ThousandsText(static_cast<int64_t>(std::trunc(243000 - static_cast<double>(bytes) / 3)));
    return 0;
  } catch (const RunTimeError&) {
    return 1;
  }
}

int64_t DosFreeBytes(SharedRecord& shared) {
  return DriveFreeBytes(shared.platform, shared.CurrentDrive);
}

int16_t DosListEveryFile(SharedRecord& shared) {
  shared.ClearListingText();
  shared.DiscFormatText.clear();
  shared.CurrentDiscType = 4;
  try {
    const std::string drive = std::string(1, static_cast<char>('A' + shared.CurrentDrive)) + ":\\";
    const std::vector<std::string> names = ListFiles(shared.platform, drive + "*.*");
    bool designs = false;
    for (const std::string& name : names) {
      const int64_t stitches = CountStitches(shared.platform, ResolveStitchFile(drive + name));
      designs = designs || stitches >= 0;
      char count[32];
      std::snprintf(count, sizeof count, "%8lld", static_cast<long long>(stitches));
      shared.AddListingLine(name, stitches,
                            Column(name, 12) + " " + (stitches >= 0 ? count : "  (not a design)"));
    }
    const int16_t code = ProbeCode(shared);
    const char* family = FamilyName(FamilyCodeOf(code));
    if (family == nullptr && designs) family = FamilyName(7);
    if (family != nullptr) shared.DiscFormatText = family;
    return names.empty() ? 2 : 0;
  } catch (const RunTimeError&) {
    return 1;
  }
}

int16_t DosListDirectory(SharedRecord& shared) {
  // The listing appends its lines: a second listing must not find the first's.
  shared.ClearListingText();
  shared.DiscFormatText.clear();
  const int16_t code = ProbeCode(shared);
  if (code == 0) return 2;
  return ListDosDisc(shared, FamilyCodeOf(code));
}

}  // namespace tavlin
