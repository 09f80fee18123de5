// The library API for machine discs, over the table of disc families. A Disc owns its
// record: its drive A: is bound to its image or folder for its lifetime, and nothing
// of the thread's drives or settings is seen or changed.
#include "tavlin/disc.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

#include "conversion/design_reader.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "discs/disc_families.h"
#include "discs/disc_formatting.h"
#include "discs/disc_identification.h"
#include "platform/disc_lock.h"
#include "platform/run_time_error.h"
#include "platform/working_folder.h"
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

// Why a file could not be opened for writing: a read-only stick or file is a
// write-protected disc.
std::error_code Refused(int error) {
  if (error == EACCES || error == EROFS || error == EPERM) return DiscErrc::WriteProtected;
  return ResultCode(error == ENOENT ? kPathNotFound : kPathFileAccess);
}

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
  // An image that stands is formatted anew only while no one else works on it, and
  // only where it may be written.
  std::unique_ptr<DiscLock> lock;
  std::error_code probe;
  if (fs::exists(path, probe)) {
    bool busy = false;
    lock = DiscLock::Take(path, Disc::kLockWaitMilliseconds, busy);
    if (busy) return DiscErrc::InUse;
    std::FILE* existing = std::fopen(path.c_str(), "r+b");
    if (existing == nullptr) return Refused(errno);
    std::fclose(existing);
  }
  const std::string made = WorkingPathBeside(path, "img");
  {
    std::FILE* out = std::fopen(made.c_str(), "wb");
    if (out == nullptr) return Refused(errno);
    const std::string zeros(static_cast<size_t>(ImageBytes(geometry)), '\0');
    const bool whole = std::fwrite(zeros.data(), 1, zeros.size(), out) == zeros.size();
    if (std::fclose(out) != 0 || !whole) {
      fs::remove(made, probe);
      return ResultCode(kPathFileAccess);
    }
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

namespace {

// What a change gives where the image itself failed it: no copy could be made of it, or
// the changed copy could not be put back.
constexpr int16_t kNotCopied = -1;
constexpr int16_t kNotPutBack = -2;

// A change to an image is made on a copy of it, whose bytes go into the image in one
// write only when the change is whole: a sector that fails at any transfer leaves the
// image as it was.
class ImageChange {
 public:
  explicit ImageChange(SharedRecord& record) : record_(record), image_(record.platform.drives[0].path) {
    copy_ = WorkingFile("image-change-" + std::to_string(reinterpret_cast<uintptr_t>(&record)) + ".img");
    std::error_code ec;
    if (!fs::copy_file(image_, copy_, fs::copy_options::overwrite_existing, ec)) return;
    BindImage(record_.platform, 0, copy_, ImageFamily::FromSize);
    bound_ = true;
  }
  ~ImageChange() {
    if (bound_) Restore();
  }
  ImageChange(const ImageChange&) = delete;
  ImageChange& operator=(const ImageChange&) = delete;

  bool Ready() const { return bound_; }

  // The changed copy's bytes into the image, in place, so that the lock and the file
  // stay the same. False when they could not all be written.
  bool Commit() {
    record_.platform.drives[0] = DriveBinding{};
    std::ifstream in(copy_, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::FILE* out = std::fopen(image_.c_str(), "r+b");
    bool whole = out != nullptr && !in.bad() && !bytes.empty();
    if (out != nullptr) {
      whole = whole && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
      whole = std::fflush(out) == 0 && whole;
      whole = std::fclose(out) == 0 && whole;
    }
    Restore();
    return whole;
  }

 private:
  void Restore() {
    bound_ = false;
    std::error_code ignored;
    fs::remove(copy_, ignored);
    try {
      BindImage(record_.platform, 0, image_, ImageFamily::FromSize);
    } catch (const std::exception&) {
      // The image is gone from under the disc: the drive stays unbound, and the next
      // operation says the disc is not ready.
    }
  }

  SharedRecord& record_;
  std::string image_;
  std::string copy_;
  bool bound_ = false;
};

}  // namespace

struct Disc::State {
  SharedRecord record;
  const DiscFamilyRecord* family = nullptr;
  DiscListing listing;
  std::unique_ptr<DiscLock> lock;
  std::string path;  // the image or folder
  bool claimed = false;
  std::vector<DiscDamage> damage;

  bool OnImage() const { return record.platform.drives[0].kind == DriveBinding::Kind::Image; }

  // Runs a change of the disc (a write, a delete) on a copy of its image where it has
  // one, which takes the image's place only when the change is whole. Gives the
  // routine's result, or kNotCopied / kNotPutBack.
  template <typename Routine>
  int16_t Change(Routine routine) {
    std::optional<ImageChange> change;
    if (OnImage()) {
      change.emplace(record);
      if (!change->Ready()) return kNotCopied;
    }
    const int16_t result = routine();
    if (result == 0 && change && !change->Commit()) return kNotPutBack;
    return result;
  }

  // The listing the last family call left in the record, as entries.
  void TakeListing() {
    listing = DiscListing{};
    listing.family = PublicOf(*family);
    listing.format = record.DiscFormatText;
    listing.discType = record.CurrentDiscType;
    int line = 0;
    for (const ListingEntry& entry : record.ListingEntries) {
      const bool design = family->libraryList == nullptr || entry.number >= 0;
      listing.designs.push_back({line++, Squeezed(entry.name), std::max<int64_t>(entry.number, 0),
                                 entry.text, design});
    }
    // The room a write would take, where the family can tell it; else the class's figure.
    // A damaged disc takes nothing.
    // A folder's room is its file system's, which a 32-bit figure may not hold.
    const int64_t room = !damage.empty()         ? 0
                         : family->room != nullptr ? family->room(record)
                                                   : ThousandsValue(record.FreeStitchesText);
    listing.freeStitches = static_cast<int32_t>(std::clamp<int64_t>(room, 0, INT32_MAX));
  }

  // Lists the disc as its family, and checks it: whether the family's signature stands
  // and what its structures have wrong.
  void ListAndCheck() {
    int16_t result = 1;
    DiscReport report;
    const ListFn list = family->libraryList != nullptr ? family->libraryList : family->list;
    try {
      result = family->sectorAccess ? WithSectorAccess(record, [&] { return list(record); })
                                    : list(record);
    } catch (const RunTimeError&) {
      // A listing the class lets fail with a run-time error (a DOS disc whose boot
      // sector holds no file system) is a disc that can't be listed as the family.
    }
    const bool listed = result == 0 || result == 2;
    if (family->check != nullptr) {
      try {
        WithSectorAccess(record, [&]() -> int16_t {
          report = family->check(record);
          return 0;
        });
      } catch (const RunTimeError&) {
        report = DiscReport{};
      }
    } else {
      report.claimed = listed;
    }
    claimed = report.claimed;
    damage.clear();
    if (!listed) {
      record.ListingEntries.clear();
      if (claimed) damage.push_back({-1, {}, "the directory can't be read"});
    }
    for (const DiscProblem& problem : report.problems) {
      std::string name;
      if (problem.line >= 0 && static_cast<size_t>(problem.line) < record.ListingEntries.size()) {
        name = Squeezed(record.ListingEntries[static_cast<size_t>(problem.line)].name);
      }
      damage.push_back({problem.line, name, problem.text});
    }
    if (family->countsByReading && damage.empty()) CountByReading(list);
    TakeListing();
  }

  // Each design's figure as the count of the design read back, where the family's
  // listing shows another figure; a design that can't be read shows none.
  void CountByReading(ListFn list) {
    std::vector<int64_t> counts;
    const size_t designs = record.ListingEntries.size();
    for (size_t line = 0; line < designs; ++line) {
      const std::string working =
          WorkingFile("count-" + std::to_string(line) + "." + std::string(family->deliversAs));
      record.CurrentPB = std::make_shared<CallbackProgress>(nullptr);
      int16_t result = 1;
      try {
        result = family->read(record, static_cast<int>(line) + 1, {}, working);
      } catch (const RunTimeError&) {
      }
      record.CurrentPB.reset();
      counts.push_back(result == 0 ? CountStitches(record.platform, ResolveStitchFile(working)) : -1);
      std::error_code ignored;
      fs::remove(working, ignored);
    }
    WithSectorAccess(record, [&] { return list(record); });
    if (record.ListingEntries.size() != counts.size()) return;
    for (size_t line = 0; line < counts.size(); ++line) {
      ListingEntry& entry = record.ListingEntries[line];
      entry.number = counts[line];
      char figure[32];
      std::snprintf(figure, sizeof figure, " %8lld", static_cast<long long>(counts[line]));
      entry.text = entry.name + figure;
    }
  }
};


Disc::Disc(std::unique_ptr<State> state) : state_(std::move(state)) {}
Disc::~Disc() = default;

std::unique_ptr<Disc> Disc::Open(const std::string& path, std::optional<DiscFamily> family,
                                 std::error_code& ec, std::string* why, int waitMilliseconds) {
  auto state = std::make_unique<State>();
  state->path = path;
  SharedRecord& record = state->record;
  record.AsOtherProgramsDo = true;
  bool busy = false;
  state->lock = DiscLock::Take(path, waitMilliseconds, busy);
  if (busy) {
    ec = DiscErrc::InUse;
    return nullptr;
  }
  std::error_code probe;
  const bool folder = fs::is_directory(path, probe);
  try {
    if (folder && family.value_or(DiscFamily::Dos) == DiscFamily::Dos) {
      BindDirectory(record.platform, 0, path);
    } else {
      // The size tells the geometry; a family named for an image of another size is
      // found out by its check.
      BindImage(record.platform, 0, path, ImageFamily::FromSize);
    }
  } catch (const std::exception& e) {
    if (why != nullptr) *why = e.what();
    ec = DiscErrc::DriveNotReady;
    return nullptr;
  }
  std::unique_ptr<Disc> disc(new Disc(std::move(state)));
  State& opened = *disc->state_;
  const int sectorBytes = folder ? 512 : opened.record.platform.drives[0].geometry.sectorSize;
  // Each family of the disc's sector size in turn, or the one named: the first whose
  // signature stands has it.
  for (const DiscFamilyRecord* candidate : DiscFamilyRecords()) {
    if (family ? candidate != &RecordOf(*family) : candidate->sectorBytes != sectorBytes) continue;
    opened.family = candidate;
    opened.ListAndCheck();
    if (opened.claimed) {
      ec.clear();
      return disc;
    }
  }
  ec = family ? DiscErrc::NotThisFamily : DiscErrc::NoFamily;
  return nullptr;
}

DiscFamily Disc::Family() const { return PublicOf(*state_->family); }

const DiscListing& Disc::Listing() const { return state_->listing; }

const std::vector<DiscDamage>& Disc::Damage() const { return state_->damage; }

std::vector<const DiscEntry*> Disc::Matches(std::string_view name) const {
  const std::string wanted = Capitals(Squeezed(name));
  std::vector<const DiscEntry*> whole;
  std::vector<const DiscEntry*> stems;
  for (const DiscEntry& entry : state_->listing.designs) {
    if (Capitals(entry.name) == wanted) whole.push_back(&entry);
    // "A01" names "A01.DAT": a name without its extension.
    if (Capitals(entry.name.substr(0, entry.name.find('.'))) == wanted) stems.push_back(&entry);
  }
  return whole.empty() ? stems : whole;
}

const DiscEntry* Disc::Find(std::string_view name) const {
  const std::vector<const DiscEntry*> found = Matches(name);
  return found.size() == 1 ? found.front() : nullptr;
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
  state_->ListAndCheck();
  return state_->claimed ? std::error_code() : DiscErrc::NotThisFamily;
}

std::error_code Disc::Write(const std::string& design, const DiscWriteOptions& options,
                            std::string& written) {
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  if (!state_->damage.empty()) return DiscErrc::Damaged;
  std::error_code missing;
  if (!fs::is_regular_file(design, missing)) return ResultCode(kFileNotFound);
  if (!WhySourceUnsound(design).empty()) return ConvertErrc::UnsoundSource;
  const std::string own = fs::path(design).filename().string();
  std::string destName = options.name;
  // A disc's names are bytes of ASCII: a UTF-8 name would be cut inside a character.
  const bool printable = std::all_of(destName.begin(), destName.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F;
  });
  if (!printable) return DiscErrc::BadName;
  if (family.sectorAccess) {
    if (destName.empty()) destName = fs::path(design).stem().string();
    // A blank inside a name would be squeezed out of every listing: the disc keeps
    // names without them.
    destName = Squeezed(destName);
  } else {
    if (destName.empty()) destName = own;
    if (!IsShortName(destName)) return DiscErrc::NotShortName;
    if (!options.replace && !Matches(destName).empty() &&
        Capitals(Matches(destName).front()->name) == Capitals(destName)) {
      return DiscErrc::NameTaken;
    }
    destName = OnDrive(destName);
  }
  if (WriteProtected()) return DiscErrc::WriteProtected;
  record.LastDestFile = destName;
  record.LabelSource = design;
  record.LabelDest = destName;
  record.CurrentPB = std::make_shared<CallbackProgress>(options.progress);
  record.WrittenName.clear();
  record.WriteLimit = RoomLimit::None;
  const int16_t result = state_->Change([&] { return family.write(record, design, destName); });
  record.CurrentPB.reset();
  if (result == kNotCopied) return ResultCode(kPathFileAccess);
  if (result != 0) {
    Relist();
    if (result == kNotPutBack) return DiscErrc::SectorFailed;
    if (record.WriteLimit == RoomLimit::DirectoryEntries) return DiscErrc::DirectoryFull;
    if (!family.sectorAccess) return result == 2 ? DiscErrc::NoFormat : ResultCode(result);
    return SectorFamilyResult(result, DiscErrc::SectorFailed, DiscErrc::NoFormat);
  }
  written = Squeezed(record.WrittenName);
  // The design stands whole: a listing that fails now is the next operation's to say.
  Relist();
  // As the disc lists it: a DOS directory keeps names in capitals.
  if (const DiscEntry* entry = Find(written)) written = entry->name;
  return {};
}

std::error_code Disc::Read(const DiscEntry& named, const std::string& dest,
                           const std::function<void(double, double)>& progress) {
  const DiscEntry* current = Current(named);
  if (current == nullptr) return DiscErrc::NoSuchDesign;
  const DiscEntry entry = *current;
  for (const DiscDamage& damage : state_->damage) {
    if (damage.line == -1) return DiscErrc::Damaged;
    if (damage.line == entry.line) return DiscErrc::DesignDamaged;
  }
  // A folder that isn't there is said as such, not as a sector that failed.
  const fs::path folder = fs::path(dest).parent_path();
  std::error_code probe;
  if (!folder.empty() && !fs::is_directory(folder, probe)) return ResultCode(kPathNotFound);
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  const std::string given = family.deliversAs.empty() ? std::string() : std::string(family.deliversAs);
  // A family that delivers one format gives it to a working file of that format, which
  // a conversion takes on to the destination's.
  const bool convertAfter =
      !given.empty() && ResolveStitchFile(dest).codec != ResolveStitchFile(given).codec;
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

void Disc::FailTransfersForTests(std::function<bool(bool, int, int, int)> fault) {
  state_->record.platform.fault = [fault = std::move(fault)](SectorOp op, int track, int head,
                                                              int sector) {
    return fault(op != SectorOp::Read, track, head, sector);
  };
}

std::error_code Disc::Delete(const DiscEntry& named) {
  const DiscEntry* current = Current(named);
  if (current == nullptr) return DiscErrc::NoSuchDesign;
  const DiscEntry entry = *current;
  if (!state_->damage.empty()) return DiscErrc::Damaged;
  if (WriteProtected()) return DiscErrc::WriteProtected;
  SharedRecord& record = state_->record;
  const DiscFamilyRecord& family = *state_->family;
  const int16_t result = state_->Change([&]() -> int16_t {
    if (family.sectorAccess) {
      return WithSectorAccess(record, [&] { return family.remove(record, entry.line + 1, {}); });
    }
    RestoreController(record);
    const int16_t removed = family.remove(record, entry.line + 1, OnDrive(entry.name));
    RestoreController(record);
    return removed;
  });
  if (result == kNotCopied) return ResultCode(kPathFileAccess);
  if (result != 0) {
    Relist();
    if (result == kNotPutBack) return DiscErrc::SectorFailed;
    return family.sectorAccess
               ? SectorFamilyResult(result, DiscErrc::SectorFailed, DiscErrc::NoSuchDesign)
               : ResultCode(result);
  }
  Relist();
  return {};
}

}  // namespace tavlin
