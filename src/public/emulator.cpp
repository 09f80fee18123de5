// The library API for floppy emulators: IMG.CFG sections and HFE files made from the
// families' own geometry and from the address records formatting lays on a track.
#include "tavlin/emulator.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "discs/disc_families.h"
#include "platform/drives.h"
#include "platform/flashfloppy.h"
#include "platform/hfe.h"
#include "platform/run_time_error.h"
#include "public/api_support.h"
#include "services/sector_service.h"
#include "tavlin/error.h"

namespace tavlin {

namespace {

namespace fs = std::filesystem;

// No HFE file of a floppy comes near this: 255 tracks of 50,000 bytes are 13 MB.
constexpr uintmax_t kLargestHfe = 32u << 20;
// Cells enough for the largest sector a family has, with its records and gaps.
constexpr size_t kWrapBytes = (1024 + 128) * 2;

const DiscFamilyRecord& RecordOf(DiscFamily family) {
  return DiscFamilyById(static_cast<DiscFamilyId>(family));
}

void Say(std::string* why, const std::string& text) {
  if (why != nullptr) *why = text;
}

// A data byte takes 2 microseconds at double density and 1 at high; a turn takes 200 ms.
int TrackBytesOf(const Geometry& g) { return g.highDensity ? 12500 : 6250; }
int RateOf(const Geometry& g) { return g.highDensity ? 500 : 250; }
constexpr int kRpm = 300;

// The ids of a track side in their places: as formatting's address records lay them,
// then any the records don't reach, rising.
std::vector<int> PhysicalOrder(const Geometry& g, int cylinder, int head) {
  std::array<uint8_t, 68> table{};
  FillAddressTable(table.data(), static_cast<uint8_t>(cylinder), static_cast<uint8_t>(head),
                   SizeCodeOf(g.sectorSize));
  std::vector<int> order;
  for (size_t r = 0; r < table.size() / 4 && order.size() < static_cast<size_t>(g.sectors); ++r) {
    const int id = table[4 * r + 2];
    if (id >= 1 && id <= g.sectors) order.push_back(id);
  }
  for (int id = 1; id <= g.sectors; ++id) {
    if (std::find(order.begin(), order.end(), id) == order.end()) order.push_back(id);
  }
  return order;
}

// The places on the track between sectors of consecutive ids.
int InterleaveOf(const Geometry& g) {
  const std::vector<int> order = PhysicalOrder(g, 0, 0);
  const auto first = std::find(order.begin(), order.end(), 1) - order.begin();
  const auto second = std::find(order.begin(), order.end(), 2) - order.begin();
  const auto n = static_cast<long>(order.size());
  return n < 2 ? 1 : static_cast<int>(((second - first) % n + n) % n);
}

std::string_view LongName(DiscFamily family) {
  switch (family) {
    case DiscFamily::Fmc: return "Barudan FMC";
    case DiscFamily::Fdr3: return "Barudan FDR3";
    case DiscFamily::Zsk: return "ZSK";
    case DiscFamily::Dos: break;
  }
  return "DOS";
}

FlashFloppyGeometry FlashFloppyOf(DiscFamily family) {
  const Geometry g = GeometryOf(RecordOf(family).geometry);
  FlashFloppyGeometry out;
  out.tag = std::string(FlashFloppyTag(family));
  out.fileBytes = g.Bytes();
  out.comment = std::string(LongName(family)) + " discs, by Tavlin: images named NAME." + out.tag + ".img";
  out.cylinders = g.cylinders;
  out.heads = g.heads;
  out.sectors = g.sectors;
  out.sectorBytes = g.sectorSize;
  out.firstId = 1;
  out.interleave = InterleaveOf(g);
  out.rateKbps = RateOf(g);
  out.rpm = kRpm;
  out.gap3 = EvenGap3(g.sectors, g.sectorSize, TrackBytesOf(g));
  return out;
}

bool ReadWhole(const std::string& path, std::string& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream all;
  all << in.rdbuf();
  bytes = std::move(all).str();
  return !in.bad();
}

// Writes beside the destination and puts the file in its place when whole.
std::error_code WriteWhole(const std::string& dest, const std::string& bytes, const std::string& ending,
                           std::string* why) {
  const std::string working = WorkingPathBeside(dest, ending);
  {
    std::ofstream out(working, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      std::error_code ignored;
      fs::remove(working, ignored);
      Say(why, "cannot write " + dest);
      return ResultCode(kPathFileAccess);
    }
  }
  if (!PutInPlace(working, dest)) {
    Say(why, "cannot put " + dest + " in place");
    return ResultCode(kPathFileAccess);
  }
  return {};
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

std::string_view FlashFloppyTag(DiscFamily family) {
  return family == DiscFamily::Dos ? std::string_view() : RecordOf(family).name;
}

bool HasFlashFloppyTag(const std::string& image, DiscFamily family) {
  if (family == DiscFamily::Dos) return true;
  const std::string name = Lower(fs::path(image).filename().string());
  const std::string ending = "." + std::string(FlashFloppyTag(family)) + ".img";
  return name.size() > ending.size() && name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

std::string FlashFloppyConfigPath(const std::string& image) {
  fs::path folder = fs::path(image).parent_path();
  std::error_code ec;
  if (fs::is_directory(folder / "FF", ec)) return (folder / "FF" / "IMG.CFG").string();
  return (folder / "IMG.CFG").string();
}

std::string FlashFloppySectionText(DiscFamily family) {
  if (family == DiscFamily::Dos) return {};
  return FlashFloppySection(FlashFloppyOf(family));
}

std::error_code MergeFlashFloppyConfig(const std::string& config, DiscFamily family, std::string* why) {
  if (family == DiscFamily::Dos) return {};
  std::string existing;
  std::error_code ec;
  if (fs::exists(config, ec)) {
    if (!fs::is_regular_file(config, ec) || !ReadWhole(config, existing)) {
      Say(why, "cannot read " + config);
      return ResultCode(kPathFileAccess);
    }
    // IMG.CFG is a short text; anything past this is not one to merge into.
    if (existing.size() > (1u << 20) || existing.find('\0') != std::string::npos) {
      Say(why, config + " is not a text file: left as it is");
      return ResultCode(kPathFileAccess);
    }
  }
  const std::string merged = MergeFlashFloppySection(existing, FlashFloppyTag(family), FlashFloppyOf(family));
  return WriteWhole(config, merged, "cfg", why);
}

std::error_code ExportHfe(const std::string& image, const std::string& hfe, std::string* why) {
  std::error_code ec;
  if (!fs::is_regular_file(image, ec)) {
    Say(why, "cannot export " + image + ": file not found");
    return ResultCode(kFileNotFound);
  }
  const auto size = static_cast<int64_t>(fs::file_size(image, ec));
  const std::optional<Geometry> geometry = ec ? std::nullopt : GeometryFromSize(size);
  if (!geometry) {
    Say(why, "cannot export " + image + ": " + std::to_string(size) +
                 " bytes is the size of no disc family's image");
    return DiscErrc::NoGeometry;
  }
  std::string bytes;
  if (!ReadWhole(image, bytes) || static_cast<int64_t>(bytes.size()) != geometry->Bytes()) {
    Say(why, "cannot read " + image);
    return ResultCode(kPathFileAccess);
  }
  const Geometry& g = *geometry;
  HfeImage out;
  out.bitRateKbps = RateOf(g);
  out.rpm = kRpm;
  out.interfaceMode = g.highDensity ? kHfeInterfaceIbmPcHd : kHfeInterfaceIbmPcDd;
  out.sides = g.heads;
  out.cylinders.resize(static_cast<size_t>(g.cylinders));
  const MfmTrackLayout layout = TrackLayoutFor(g.sectors, g.sectorSize, TrackBytesOf(g));
  const auto sectorBytes = static_cast<size_t>(g.sectorSize);
  for (int c = 0; c < g.cylinders; ++c) {
    for (int h = 0; h < g.heads; ++h) {
      std::vector<MfmSector> sectors;
      for (const int id : PhysicalOrder(g, c, h)) {
        const size_t at = ((static_cast<size_t>(c) * g.heads + h) * g.sectors + (id - 1)) * sectorBytes;
        sectors.push_back({static_cast<uint8_t>(c), static_cast<uint8_t>(h), static_cast<uint8_t>(id),
                           SizeCodeOf(g.sectorSize), bytes.substr(at, sectorBytes)});
      }
      out.cylinders[static_cast<size_t>(c)][static_cast<size_t>(h)] = EncodeMfmTrack(sectors, layout);
    }
  }
  return WriteWhole(hfe, WriteHfe(out), "hfe", why);
}

std::error_code ImportHfe(const std::string& hfe, const std::string& image, std::string* why) {
  std::error_code ec;
  if (!fs::is_regular_file(hfe, ec)) {
    Say(why, "cannot import " + hfe + ": file not found");
    return ResultCode(kFileNotFound);
  }
  if (fs::file_size(hfe, ec) > kLargestHfe) {
    Say(why, "cannot import " + hfe + ": too large to be the HFE file of a floppy");
    return DiscErrc::NoGeometry;
  }
  std::string bytes;
  if (!ReadWhole(hfe, bytes)) {
    Say(why, "cannot read " + hfe);
    return ResultCode(kPathFileAccess);
  }
  HfeImage in;
  std::string reason;
  if (!ReadHfe(bytes, in, reason)) {
    Say(why, "cannot import " + hfe + ": " + reason);
    return DiscErrc::NoGeometry;
  }
  // Every sector by its ID field; the first good copy of an id counts, as a controller
  // that meets it first after the index would take it.
  struct Side {
    std::vector<MfmSectorRead> reads;
  };
  std::vector<std::array<Side, 2>> sides(in.cylinders.size());
  size_t lastUsed = 0;
  for (size_t c = 0; c < in.cylinders.size(); ++c) {
    for (size_t h = 0; h < 2; ++h) {
      // The track read a little past its end into its start again, as the disc turns:
      // a sector that another writer let run across the index is still whole.
      std::vector<uint8_t> cells = in.cylinders[c][h];
      cells.insert(cells.end(), in.cylinders[c][h].begin(),
                   in.cylinders[c][h].begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(cells.size(), kWrapBytes)));
      sides[c][h].reads = DecodeMfmTrack(cells, cells.size() * 8);
      if (!sides[c][h].reads.empty()) lastUsed = c + 1;
    }
  }
  // HxC tools often add empty tracks past the last one: they are no part of the disc.
  const auto& first = sides.empty() ? std::vector<MfmSectorRead>() : sides[0][0].reads;
  int maxId = 0;
  uint8_t sizeCode = 0;
  for (const MfmSectorRead& r : first) {
    if (!r.idCrcOk) continue;
    maxId = std::max(maxId, int{r.sector.id});
    sizeCode = r.sector.sizeCode;
  }
  Geometry g{static_cast<int>(lastUsed), in.sides, maxId, sizeCode <= 6 ? 128 << sizeCode : 0, false};
  const std::optional<Geometry> known = GeometryFromSize(g.Bytes());
  if (lastUsed == 0 || !known || known->cylinders != g.cylinders || known->heads != g.heads ||
      known->sectors != g.sectors || known->sectorSize != g.sectorSize) {
    Say(why, "cannot import " + hfe + ": its tracks hold " + std::to_string(g.cylinders) + " x " +
                 std::to_string(g.heads) + " x " + std::to_string(g.sectors) + " sectors of " +
                 std::to_string(g.sectorSize) + " bytes, the geometry of no disc family");
    return DiscErrc::NoGeometry;
  }
  g = *known;
  std::string out(static_cast<size_t>(g.Bytes()), '\0');
  const auto sectorBytes = static_cast<size_t>(g.sectorSize);
  for (int c = 0; c < g.cylinders; ++c) {
    for (int h = 0; h < g.heads; ++h) {
      const std::vector<MfmSectorRead>& reads = sides[static_cast<size_t>(c)][static_cast<size_t>(h)].reads;
      for (int id = 1; id <= g.sectors; ++id) {
        const auto good = std::find_if(reads.begin(), reads.end(), [&](const MfmSectorRead& r) {
          return r.idCrcOk && r.dataCrcOk && r.sector.id == id && r.sector.cylinder == c &&
                 r.sector.head == h && r.sector.data.size() == sectorBytes;
        });
        if (good == reads.end()) {
          const bool seen = std::any_of(reads.begin(), reads.end(), [&](const MfmSectorRead& r) {
            return r.idCrcOk && r.sector.id == id;
          });
          Say(why, "cannot import " + hfe + ": cylinder " + std::to_string(c) + " head " +
                       std::to_string(h) + " sector " + std::to_string(id) +
                       (seen ? " can't be read (CRC error, wrong address or size)" : " is missing"));
          return DiscErrc::SectorFailed;
        }
        const size_t at = ((static_cast<size_t>(c) * g.heads + h) * g.sectors + (id - 1)) * sectorBytes;
        out.replace(at, sectorBytes, good->sector.data);
      }
    }
  }
  return WriteWhole(image, out, "img", why);
}

}  // namespace tavlin
