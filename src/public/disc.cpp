// The library API for machine discs, over the table of disc families. A Disc owns its
// record: its drive A: is bound to its image or folder for its lifetime, and nothing
// of the thread's drives or settings is seen or changed.
#include "tavlin/disc.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "discs/disc_families.h"
#include "discs/disc_formatting.h"
#include "discs/disc_identification.h"
#include "platform/run_time_error.h"
#include "public/api_support.h"
#include "services/platform_steps.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/error.h"

namespace tavlin {

namespace {

namespace fs = std::filesystem;

// The public names of the families stand in the order of the table's own.
static_assert(static_cast<int>(DiscFamily::Fmc) == static_cast<int>(DiscFamilyId::Fmc));
static_assert(static_cast<int>(DiscFamily::Fdr3) == static_cast<int>(DiscFamilyId::Fdr3));
static_assert(static_cast<int>(DiscFamily::Zsk) == static_cast<int>(DiscFamilyId::Zsk));
static_assert(static_cast<int>(DiscFamily::Dos) == static_cast<int>(DiscFamilyId::Dos));

const DiscFamilyRecord& RecordOf(DiscFamily family) {
  return DiscFamilyById(static_cast<DiscFamilyId>(family));
}

DiscFamily PublicOf(const DiscFamilyRecord& record) { return static_cast<DiscFamily>(record.id); }

// A name as the listing shows it, without the blanks that pad its fields.
std::string Squeezed(std::string_view name) {
  std::string out;
  for (char c : name) {
    if (c != ' ') out += c;
  }
  return out;
}

// Names on these discs are told apart without regard to case, as DOS does.
std::string Capitals(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// A name a DOS disc's directory takes as it is: up to 8 characters, a dot, up to 3,
// of the characters DOS allows, in capitals or small letters.
bool IsShortName(std::string_view name) {
  const size_t dot = name.find('.');
  const std::string_view base = name.substr(0, dot);
  const std::string_view ext = dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
  auto allowed = [](std::string_view part) {
    return std::all_of(part.begin(), part.end(), [](char c) {
      return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
             std::string_view("!#$%&'()-@^_`{}~").find(c) != std::string_view::npos;
    });
  };
  return !base.empty() && base.size() <= 8 && ext.size() <= 3 && allowed(base) && allowed(ext);
}

// The path a DOS family's routines take for a file of the disc in drive A:.
std::string OnDrive(const std::string& name) { return "A:\\" + name; }

// What a result of a family routine that works sector by sector means.
std::error_code SectorFamilyResult(int16_t code, DiscErrc one, DiscErrc two) {
  switch (code) {
    case 0: return {};
    case 1: return one;
    case 2: return two;
    case 3: return DiscErrc::NotHandled;
    case 4: return DiscErrc::NoNumberLeft;
    case 5: return DiscErrc::NoRoom;
    default: return ResultCode(code);  // the conversion's own result
  }
}

}  // namespace

std::string_view DiscFamilyName(DiscFamily family) { return RecordOf(family).name; }

std::optional<DiscFamily> DiscFamilyNamed(std::string_view name) {
  const DiscFamilyRecord* record = DiscFamilyByName(name);
  if (record == nullptr) return std::nullopt;
  return PublicOf(*record);
}

std::vector<DiscFamily> DiscFamilies() {
  std::vector<DiscFamily> families;
  for (const DiscFamilyRecord* record : DiscFamilyRecords()) families.push_back(PublicOf(*record));
  std::sort(families.begin(), families.end());
  return families;
}

std::error_code FormatDiscImage(const std::string& path, DiscFamily family, bool highDensity) {
  const DiscFamilyRecord& record = RecordOf(family);
  if (highDensity && record.formatSound == nullptr) return DiscErrc::NotHandled;
  const ImageFamily geometry = highDensity ? ImageFamily::Dos1440 : record.geometry;
  const std::string made = WorkingPathBeside(path, "img");
  {
    std::ofstream out(made, std::ios::binary | std::ios::trunc);
    const std::string zeros(static_cast<size_t>(ImageBytes(geometry)), '\0');
    out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
    if (!out) return ResultCode(kPathFileAccess);
  }
  int16_t result = 0;
  {
    SharedRecord shared;
    try {
      BindImage(shared.platform, 0, made, geometry);
      result = record.formatSound != nullptr ? record.formatSound(shared, highDensity)
                                             : FormatFloppy(shared, record);
    } catch (const std::exception&) {
      result = 1;
    }
  }
  if (result != 0) {
    std::error_code ignored;
    fs::remove(made, ignored);
    return DiscErrc::SectorFailed;
  }
  return PutInPlace(made, path) ? std::error_code() : ResultCode(kPathFileAccess);
}

struct Disc::State {
  SharedRecord record;
  const DiscFamilyRecord* family = nullptr;
  DiscListing listing;

  // The listing the last family call left in the record, as entries.
  void TakeListing() {
    listing = DiscListing{};
    listing.family = PublicOf(*family);
    listing.format = record.DiscFormatText;
    listing.discType = record.CurrentDiscType;
    // The room a write would take, where the family can tell it; else the class's figure.
    listing.freeStitches = family->room != nullptr
                               ? static_cast<int32_t>(family->room(record))
                               : ThousandsValue(record.FreeStitchesText);
    int line = 0;
    for (const ListingEntry& entry : record.ListingEntries) {
      listing.designs.push_back(
          {line++, Squeezed(entry.name), std::max<int64_t>(entry.number, 0), entry.text});
    }
  }
};

Disc::Disc(std::unique_ptr<State> state) : state_(std::move(state)) {}
Disc::~Disc() = default;

std::unique_ptr<Disc> Disc::Open(const std::string& path, std::optional<DiscFamily> family,
                                 std::error_code& ec, std::string* why) {
  auto state = std::make_unique<State>();
  SharedRecord& record = state->record;
  record.ReadsOtherWriters = true;
  try {
    std::error_code probe;
    const bool folder = fs::is_directory(path, probe);
    if (folder && family.value_or(DiscFamily::Dos) == DiscFamily::Dos) {
      BindDirectory(record.platform, 0, path);
    } else {
      // The size tells the geometry; a family named for an image of another size is
      // found out by its listing.
      BindImage(record.platform, 0, path, ImageFamily::FromSize);
    }
  } catch (const std::exception& e) {
    if (why != nullptr) *why = e.what();
    ec = DiscErrc::DriveNotReady;
    return nullptr;
  }
  std::unique_ptr<Disc> disc(new Disc(std::move(state)));
  if (family) {
    disc->state_->family = &RecordOf(*family);
    ec = disc->Relist();
  } else {
    const DiscFamilyRecord* told = nullptr;
    const int16_t result = IdentifyDisc(record, &told);
    if (result == 4) {
      ec = DiscErrc::DriveNotReady;
    } else if (result == 3) {
      ec = DiscErrc::NoGeometry;
    } else if (told == nullptr) {
      ec = DiscErrc::NoFamily;
    } else if (result == 1) {
      ec = DiscErrc::NotThisFamily;
    } else {
      disc->state_->family = told;
      disc->state_->TakeListing();
      ec.clear();
    }
  }
  if (ec) return nullptr;
  return disc;
}

DiscFamily Disc::Family() const { return PublicOf(*state_->family); }

const DiscListing& Disc::Listing() const { return state_->listing; }

const DiscEntry* Disc::Find(std::string_view name) const {
  const std::string wanted = Capitals(Squeezed(name));
  for (const DiscEntry& entry : state_->listing.designs) {
    if (Capitals(entry.name) == wanted) return &entry;
  }
  // "A01" names "A01.DAT": a name without its extension, where that is unambiguous.
  const DiscEntry* found = nullptr;
  for (const DiscEntry& entry : state_->listing.designs) {
    if (Capitals(entry.name.substr(0, entry.name.find('.'))) != wanted) continue;
    if (found != nullptr) return nullptr;
    found = &entry;
  }
  return found;
}

bool Disc::WriteProtected() const {
  const auto& drives = state_->record.platform.drives;
  return !drives.empty() && drives[0].readOnly;
}

const DiscEntry* Disc::Current(const DiscEntry& entry) const {
  for (const DiscEntry& listed : state_->listing.designs) {
    if (listed.name == entry.name) return &listed;
  }
  return nullptr;
}

std::error_code Disc::Relist() {
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  int16_t result = 1;
  try {
    result = family.sectorAccess ? WithSectorAccess(record, [&] { return family.list(record); })
                                 : family.list(record);
  } catch (const RunTimeError&) {
    // A listing the class lets fail with a run-time error (a DOS disc whose boot
    // sector holds no file system) is a disc that can't be listed as the family.
  }
  // 2: the disc holds no designs, an empty listing.
  if (result != 0 && result != 2) return DiscErrc::NotThisFamily;
  state_->TakeListing();
  return {};
}

std::error_code Disc::Write(const std::string& design, const DiscWriteOptions& options,
                            std::string& written) {
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  const std::string own = fs::path(design).filename().string();
  std::string destName = options.name;
  // A disc's names are bytes of ASCII: a UTF-8 name would be cut inside a character.
  const bool printable = std::all_of(destName.begin(), destName.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F;
  });
  if (!printable) return DiscErrc::BadName;
  if (family.sectorAccess) {
    if (destName.empty()) destName = fs::path(design).stem().string();
  } else {
    if (destName.empty()) destName = own;
    if (!IsShortName(destName)) return DiscErrc::NotShortName;
    if (!options.replace && Find(destName) != nullptr) return DiscErrc::NameTaken;
    destName = OnDrive(destName);
  }
  if (WriteProtected()) return DiscErrc::WriteProtected;
  record.LastDestFile = destName;
  record.CurrentPB = std::make_shared<CallbackProgress>(options.progress);
  record.WrittenName.clear();
  record.WriteLimit = RoomLimit::None;
  const int16_t result = family.write(record, design, destName);
  record.CurrentPB.reset();
  if (result != 0) {
    Relist();
    if (record.WriteLimit == RoomLimit::DirectoryEntries) return DiscErrc::DirectoryFull;
    if (!family.sectorAccess) return result == 2 ? DiscErrc::NoFormat : ResultCode(result);
    return SectorFamilyResult(result, DiscErrc::SectorFailed, DiscErrc::NoFormat);
  }
  written = Squeezed(record.WrittenName);
  const std::error_code listed = Relist();
  // As the disc lists it: a DOS directory keeps names in capitals.
  if (const DiscEntry* entry = Find(written)) written = entry->name;
  return listed;
}

std::error_code Disc::Read(const DiscEntry& named, const std::string& dest,
                           const std::function<void(double, double)>& progress) {
  const DiscEntry* current = Current(named);
  if (current == nullptr) return DiscErrc::NoSuchDesign;
  const DiscEntry entry = *current;
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  const std::string given = family.deliversAs.empty() ? std::string() : std::string(family.deliversAs);
  // A family that delivers one format gives it to a working file of that format, which
  // a conversion takes on to the destination's.
  const bool convertAfter =
      !given.empty() && FindFormatCode(dest) != FindFormatCode(given);
  const std::string working = WorkingPathBeside(dest, convertAfter ? given : std::string());
  record.CurrentPB = std::make_shared<CallbackProgress>(convertAfter ? nullptr : progress);
  const int16_t result = family.read(record, entry.line + 1, OnDrive(entry.name), working);
  record.CurrentPB.reset();
  std::error_code ec;
  if (result != 0) {
    ec = family.sectorAccess
             ? SectorFamilyResult(result, DiscErrc::SectorFailed, DiscErrc::NoSuchDesign)
             : ResultCode(result);
  } else if (!fs::exists(working)) {
    ec = DiscErrc::SectorFailed;
  } else if (convertAfter) {
    ec = Convert(working, dest, {.progress = progress});
  } else if (!PutInPlace(working, dest)) {
    ec = ResultCode(kPathFileAccess);
  }
  std::error_code ignored;
  fs::remove(working, ignored);
  return ec;
}

std::error_code Disc::Delete(const DiscEntry& named) {
  const DiscEntry* current = Current(named);
  if (current == nullptr) return DiscErrc::NoSuchDesign;
  const DiscEntry entry = *current;
  if (WriteProtected()) return DiscErrc::WriteProtected;
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  int16_t result = 0;
  if (family.sectorAccess) {
    result = WithSectorAccess(record, [&] { return family.remove(record, entry.line + 1, {}); });
  } else {
    RestoreController(record);
    result = family.remove(record, entry.line + 1, OnDrive(entry.name));
    RestoreController(record);
  }
  if (result != 0) {
    Relist();
    return family.sectorAccess
               ? SectorFamilyResult(result, DiscErrc::SectorFailed, DiscErrc::NoSuchDesign)
               : ResultCode(result);
  }
  return Relist();
}

}  // namespace tavlin
