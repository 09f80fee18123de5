// What each fuzz target does with one input, shared by the libFuzzer targets and by the
// test that replays tests/corpus/ in every test run, so that both run the same code.
//
// formats: the first byte names the format (its low five bits are the code, bit 0x20
//   asks for the other writers' readings); the rest is the file, converted into every
//   destination of kDestinations that this build writes, and summarised.
// emulators: the first byte chooses. Even: the rest is an HFE file, imported into an
//   image; one that imports is exported and imported again and must come back the same.
//   Odd: the rest is an IMG.CFG that the FMC section is merged into twice; the second
//   merge changes nothing.
// lzh: the first two bytes give a length (little-endian), the rest is a compressed
//   stream decoded to that length; a stream that decodes is compressed again, and that
//   must decode to the same bytes.
// disc families: the input lies over the directory and table area of an image of the
//   family formatted and holding two designs; then every family lists and checks it, the
//   disc is identified and listed, its first and last designs read, the first deleted
//   and a design written.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "compression/lzh_blocks.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/formats/formats.h"
#include "discs/disc_families.h"
#include "platform/drives.h"
#include "platform/run_time_error.h"
#include "services/platform_steps.h"
#include "tavlin/design.h"
#include "tavlin/disc.h"
#include "tavlin/emulator.h"
#include "tavlin/progress.h"

namespace tavlin::fuzz {

// A folder of this process's own for the files an input becomes: in memory where the
// machine has /dev/shm, since every input is written out once or more.
class Scratch {
 public:
  Scratch() {
    std::error_code ec;
    std::filesystem::path base = std::filesystem::temp_directory_path(ec);
    if (const char* dir = std::getenv("TAVLIN_FUZZ_DIR")) {
      base = dir;
    } else if (std::filesystem::is_directory("/dev/shm", ec)) {
      base = "/dev/shm";
    }
    static int counter = 0;
    path_ = base / ("tavlin-fuzz-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    std::filesystem::create_directories(path_);
  }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline void WriteFile(const std::string& path, const void* data, size_t size) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class QuietProgress final : public Progress {
 public:
  void Max(double) override {}
  void Value(double) override {}
};

// ---- stitch formats ----

// The destinations every readable format is converted into, where this build writes them.
constexpr std::array<std::string_view, 3> kDestinations = {"out.DST", "out.QEP", "out.PES"};

// The file name a format's source takes, so that nothing but the code chooses the reader.
inline std::string SourceName(const Codec& codec) {
  if (!codec.fileEnd.empty() && codec.fileEnd.find_first_not_of(' ') != std::string_view::npos) {
    return "in." + std::string(codec.fileEnd);
  }
  return "in" + std::string(codec.nameEnd);
}

// The readable formats by code, found by walking the registry: formats that land later
// are fuzzed without a change here.
inline const std::array<const Codec*, 32>& ReadableByCode() {
  static const std::array<const Codec*, 32> table = [] {
    std::array<const Codec*, 32> byCode{};
    for (const Codec* const* codec = CodecsBegin(); codec != CodecsEnd(); ++codec) {
      if (IsNamedFormat(**codec) && (*codec)->Reads() && (*codec)->code >= 0 && (*codec)->code < 32) {
        byCode[static_cast<size_t>((*codec)->code)] = *codec;
      }
    }
    return byCode;
  }();
  return table;
}

// Gives how many of the conversions succeeded.
inline int FuzzFormats(const Scratch& scratch, const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const Codec* source = ReadableByCode()[data[0] & 0x1F];
  if (source == nullptr) return 0;
  const bool otherWriters = (data[0] & 0x20) != 0;
  const std::string sourcePath = scratch / SourceName(*source);
  WriteFile(sourcePath, data + 1, size - 1);

  PlatformState platform;
  QuietProgress progress;
  int converted = 0;
  for (std::string_view destName : kDestinations) {
    const int16_t destCode = FindFormatCode(destName);
    if (!CodecOf(destCode).Writes()) continue;
    ConversionSettings settings(platform);
    settings.progress = &progress;
    settings.AsOtherProgramsDo = otherWriters;
    int16_t sourceType = source->code;
    int16_t destType = destCode;
    std::string resolved;
    const std::string destPath = scratch / std::string(destName);
    converted += ConvertStitchFile(settings, sourceType, destType, sourcePath, destPath, resolved) == 0 ? 1 : 0;
    std::error_code ec;
    std::filesystem::remove(destPath, ec);
  }
  DesignSummary summary;
  SummariseDesign(sourcePath, summary);
  return converted;
}

// ---- disc families ----

// A DST of n stitches that wander without drifting, with a colour change every 50.
inline std::string WanderingDst(int n) {
  std::string bytes(512, ' ');
  uint8_t record[3];
  EncodeTernary(KindJump, 5, 5, record);
  bytes.append(reinterpret_cast<const char*>(record), 3);
  for (int i = 0; i < n; ++i) {
    EncodeTernary(KindStitch, static_cast<int16_t>(i * 53 % 31 - 15), static_cast<int16_t>(i * 37 % 51 - 25),
                  record);
    bytes.append(reinterpret_cast<const char*>(record), 3);
    if (i % 50 == 49) {
      EncodeTernary(KindColour, 0, 0, record);
      bytes.append(reinterpret_cast<const char*>(record), 3);
    }
  }
  bytes.append("\x00\x00\xF3", 3);
  return bytes;
}

// Where the family keeps its directory and its tables: the bytes an input lies over.
struct DiscArea {
  int64_t offset = 0;
  int64_t length = 0;
};

inline DiscArea AreaOf(DiscFamily family) {
  switch (family) {
    case DiscFamily::Fmc: return {2 * 2 * 16 * 256, 2 * 16 * 256};     // track 2: directory, index
    case DiscFamily::Fdr3: return {40 * 2 * 16 * 256, 2 * 16 * 256};   // track 40: directory
    case DiscFamily::Zsk: return {0, 3 * 16 * 256};                    // label, table, directory block
    case DiscFamily::Dos: return {0, (1 + 2 * 3) * 512 + 112 * 32};    // boot sector, FATs, root
  }
  return {};
}

// The name a design takes on a disc of the family, where the family names them.
inline std::string DesignName(DiscFamily family, int n) {
  if (family == DiscFamily::Dos) return "DESIGN" + std::to_string(n) + ".DST";
  if (family == DiscFamily::Fdr3) return "DESIGN" + std::to_string(n);
  return {};
}

// Every family's listing and then its check on the image, as the library runs them: a
// check stands any bytes, and a family of its own sectors claims only a disc of its size.
inline void CheckEveryFamily(const std::string& image) {
  const auto shared = std::make_unique<SharedRecord>();
  BindImage(shared->platform, 0, image, ImageFamily::FromSize);
  const int64_t size = shared->platform.drives[0].geometry.Bytes();
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    auto listThenCheck = [&] {
      try {
        family->list(*shared);
      } catch (const RunTimeError&) {
        // A listing may fail so; the check runs all the same.
      }
      const DiscReport report = family->check(*shared);
      if (report.claimed && family->sectorAccess && size != ImageBytes(family->geometry)) {
        std::fprintf(stderr, "%s claims an image of %lld bytes\n", std::string(family->name).c_str(),
                     static_cast<long long>(size));
        std::abort();
      }
      return int16_t{0};
    };
    family->sectorAccess ? WithSectorAccess(*shared, listThenCheck) : listThenCheck();
  }
}

// An image of the family, formatted, holding two designs; made once per process.
class DiscFixture {
 public:
  explicit DiscFixture(DiscFamily family) : family_(family) {
    const std::string image = scratch_ / "base.img";
    design_ = scratch_ / "design.DST";
    const std::string dst = WanderingDst(300);
    WriteFile(design_, dst.data(), dst.size());
    if (FormatDiscImage(image, family)) return;
    {
      std::error_code ec;
      std::unique_ptr<Disc> disc = Disc::Open(image, family, ec);
      if (disc == nullptr) return;
      for (int n = 1; n <= 2; ++n) {
        const std::string path = scratch_ / ("two" + std::to_string(n) + ".DST");
        const std::string more = WanderingDst(200 * n);
        WriteFile(path, more.data(), more.size());
        std::string written;
        if (disc->Write(path, {.name = DesignName(family, n)}, written)) return;
      }
    }
    base_ = ReadFile(image);
  }
  bool Ready() const { return !base_.empty(); }
  const std::string& Base() const { return base_; }

  void Run(const uint8_t* data, size_t size) {
    if (!Ready()) return;
    const DiscArea area = AreaOf(family_);
    // One buffer for every run: a fresh image-sized allocation each time costs more than
    // the run itself under the sanitizers.
    work_.assign(base_);
    const size_t taken = std::min<size_t>(size, static_cast<size_t>(area.length));
    work_.replace(static_cast<size_t>(area.offset), taken, reinterpret_cast<const char*>(data), taken);
    const std::string image = scratch_ / "disc.img";
    WriteFile(image, work_.data(), work_.size());
    CheckEveryFamily(image);

    // Once as identification finds it, once as the family named.
    for (const std::optional<DiscFamily> named : {std::optional<DiscFamily>(), std::optional(family_)}) {
      std::error_code ec;
      std::unique_ptr<Disc> disc = Disc::Open(image, named, ec);
      if (disc == nullptr) continue;
      const std::vector<DiscEntry> designs = disc->Listing().designs;
      if (!designs.empty()) {
        disc->Read(designs.front(), scratch_ / "first.QEP");
        disc->Read(designs.back(), scratch_ / "last.DST");
        disc->Delete(designs.front());
      }
      std::string written;
      disc->Write(design_, {.name = DesignName(family_, 9), .replace = true}, written);
      disc->Listing();
      // Nothing a disc holds may make a write reach past the end of its image.
      std::error_code sized;
      if (std::filesystem::file_size(image, sized) != base_.size()) {
        std::fprintf(stderr, "the image grew from %zu bytes\n", base_.size());
        std::abort();
      }
    }
  }

 private:
  DiscFamily family_;
  Scratch scratch_;
  std::string design_;
  std::string base_;
  std::string work_;
};

// ---- emulators ----

inline void FuzzEmulators(const Scratch& scratch, const uint8_t* data, size_t size) {
  if (size < 1) return;
  std::error_code ec;
  if (data[0] % 2 == 0) {
    const std::string hfe = scratch / "in.hfe", image = scratch / "in.img";
    std::filesystem::remove(image, ec);
    WriteFile(hfe, data + 1, size - 1);
    if (ImportHfe(hfe, image)) return;
    const std::string again = scratch / "again.hfe", back = scratch / "back.img";
    std::filesystem::remove(back, ec);
    if (ExportHfe(image, again) || ImportHfe(again, back) || ReadFile(back) != ReadFile(image)) {
      std::fprintf(stderr, "an imported image does not come back through its own HFE\n");
      std::abort();
    }
    return;
  }
  const std::string config = scratch / "IMG.CFG";
  WriteFile(config, data + 1, size - 1);
  if (MergeFlashFloppyConfig(config, DiscFamily::Fmc)) return;
  const std::string once = ReadFile(config);
  if (MergeFlashFloppyConfig(config, DiscFamily::Fmc) || ReadFile(config) != once) {
    std::fprintf(stderr, "a second merge of the same section changed the IMG.CFG\n");
    std::abort();
  }
}

// ---- compressed streams ----

// Gives whether the stream decoded.
inline bool FuzzLzh(const uint8_t* data, size_t size) {
  if (size < 2) return false;
  const size_t length = data[0] | size_t{data[1]} << 8;
  std::vector<uint8_t> plain;
  try {
    plain = LzhDecompress(std::span(data + 2, size - 2), length);
  } catch (const DamagedStream&) {
    return false;
  }
  const std::vector<uint8_t> packed = LzhCompress(plain);
  if (LzhDecompress(packed, plain.size()) != plain) {
    std::fprintf(stderr, "a decoded stream does not come back through the compressor\n");
    std::abort();
  }
  return true;
}

}  // namespace tavlin::fuzz
