// Every family's listing and check on discs of every family, whole and damaged: a disc
// is claimed by its own family alone, or by none, and the damage is named, on the line
// of the design it hurts. Where fsck.fat is installed it judges each DOS-sized image
// too, and must find it clean exactly where the check does.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>

#include "discs/disc_script.h"
#include "services/platform_steps.h"

namespace tavlin {
namespace {

using Damage = std::function<void(std::string& image)>;

struct Row {
  const char* what;
  ImageFamily base;  // the family whose disc, formatted and holding two designs, it starts from
  Damage damage;     // null: the disc as written
  const char* claimedBy;  // the family that claims it; null: none does
  const char* problem;    // a part of one of its problems; "": none
  int line = -1;          // that problem's listing line
};

constexpr size_t kFmcDirectory = 2 * 2 * 16 * 256;   // track 2, head 0, sector 1
constexpr size_t kFdr3Directory = 40 * 2 * 16 * 256;  // track 40, head 0, sector 1
constexpr size_t kZskLabel = 10 * 256;                // track 0, head 0, sector 11
constexpr size_t kZskTable = 11 * 256;                // sectors 12 to 16
constexpr size_t kFat = 512, kSecondFat = 512 + 3 * 512, kRoot = 512 + 6 * 512;

void Put16(std::string& image, size_t at, int value) {
  image[at] = static_cast<char>(value & 0xFF);
  image[at + 1] = static_cast<char>(value >> 8);
}
int Get16(const std::string& image, size_t at) {
  return static_cast<uint8_t>(image[at]) | (static_cast<uint8_t>(image[at + 1]) << 8);
}

// A cluster's 12-bit entry in the FAT copy at `fat`.
void SetCluster(std::string& image, size_t fat, int cluster, int value) {
  const size_t at = fat + static_cast<size_t>(cluster) * 3 / 2;
  const int pair = Get16(image, at);
  Put16(image, at, cluster % 2 == 0 ? (pair & 0xF000) | value : (pair & 0x000F) | (value << 4));
}
Damage InBothFats(int cluster, int value) {
  return [=](std::string& image) {
    for (size_t fat : {kFat, kSecondFat}) SetCluster(image, fat, cluster, value);
  };
}

Damage Patch(size_t at, std::string bytes) {
  return [=](std::string& image) { image.replace(at, bytes.size(), bytes); };
}

// The whole image replaced: zeros, or random bytes, of a geometry's size.
Damage Filled(ImageFamily size, bool random) {
  return [=](std::string& image) {
    std::mt19937 generator(static_cast<unsigned>(ImageBytes(size)));
    const auto bytes = static_cast<size_t>(ImageBytes(size));
    image = random ? test::RandomBytes(generator, bytes) : std::string(bytes, '\0');
  };
}

// Design one takes block 9 of a ZSK disc, design two 10 to 12, and 13 to 639 are free.
// On a DOS disc FIRST.DST holds clusters 2 and 3, SECOND.DST 4 to 6.
const Row kRows[] = {
    {"FMC as written", ImageFamily::Fmc, nullptr, "fmc", ""},
    {"FDR3 as written", ImageFamily::Fdr3, nullptr, "fdr3", ""},
    {"ZSK as written", ImageFamily::Zsk, nullptr, "zsk", ""},
    {"DOS as written", ImageFamily::Dos720, nullptr, "dos", ""},
    {"FMC signature changed", ImageFamily::Fmc, Patch(16385, "FIXE"), nullptr, ""},
    {"FDR3 directory formatted by another family", ImageFamily::Fdr3,
     Patch(kFdr3Directory, std::string(16 * 256, '\xE5')), nullptr, ""},
    {"ZSK label changed", ImageFamily::Zsk, Patch(kZskLabel, "ZXK-DISK"), nullptr, ""},
    {"DOS boot sector of 256-byte sectors", ImageFamily::Dos720, Patch(11, std::string("\x00\x01", 2)), nullptr, ""},
    {"zeros, FMC's size", ImageFamily::Fmc, Filled(ImageFamily::Fmc, false), nullptr, ""},
    {"random, FMC's size", ImageFamily::Fmc, Filled(ImageFamily::Fmc, true), nullptr, ""},
    {"zeros, FDR3's and ZSK's size", ImageFamily::Zsk, Filled(ImageFamily::Zsk, false), nullptr, ""},
    {"random, FDR3's and ZSK's size", ImageFamily::Zsk, Filled(ImageFamily::Zsk, true), nullptr, ""},
    {"zeros, 720 KB", ImageFamily::Dos720, Filled(ImageFamily::Dos720, false), nullptr, ""},
    {"random, 720 KB", ImageFamily::Dos720, Filled(ImageFamily::Dos720, true), nullptr, ""},
    {"zeros, 1.44 MB", ImageFamily::Dos720, Filled(ImageFamily::Dos1440, false), nullptr, ""},
    {"random, 1.44 MB", ImageFamily::Dos720, Filled(ImageFamily::Dos1440, true), nullptr, ""},
    {"FMC entries 1 and 2 share a block", ImageFamily::Fmc,
     [](std::string& image) { image[kFmcDirectory + 64 + 16] = image[kFmcDirectory + 32 + 16]; }, "fmc",
     "A01.DAT and A02.DAT share block 2", 1},
    {"FMC index record of A02 blanked", ImageFamily::Fmc,
     [](std::string& image) { image.replace(image.find("A02     FMC "), 32, 32, ' '); }, "fmc",
     "A02.DAT has no index record", 1},
    {"FDR3 block 1 named", ImageFamily::Fdr3, Patch(kFdr3Directory + 12, "\x01"), "fdr3",
     "names block 1, outside the data blocks 2 to 255", 0},
    {"FDR3 first design deleted as machines mark it", ImageFamily::Fdr3, Patch(kFdr3Directory, "\xE5"), "fdr3", ""},
    {"ZSK chain of design 2 loops", ImageFamily::Zsk, Patch(kZskTable + 2 * 12, std::string("\x0A\x00", 2)), "zsk",
     "design 2's chain loops back to block 10", 1},
    {"ZSK block 639 lost", ImageFamily::Zsk,
     [](std::string& image) {
       Put16(image, kZskTable + 2 * 638, 0);
       Put16(image, kZskTable, Get16(image, kZskTable) - 1);
     },
     "zsk", "block 639 is in no chain and not free (lost)"},
    {"DOS FAT loop", ImageFamily::Dos720, InBothFats(3, 2), "dos", "FIRST.DST's chain loops back to cluster 2", 0},
    {"DOS free cluster in a chain", ImageFamily::Dos720, InBothFats(2, 7), "dos",
     "FIRST.DST's chain reaches cluster 7, which the FAT marks free", 0},
    {"DOS start cluster out of range", ImageFamily::Dos720, Patch(kRoot + 32 + 26, std::string("\x88\x13", 2)),
     "dos", "SECOND.DST starts at cluster 5000", 1},
    {"DOS FAT copies differ", ImageFamily::Dos720,
     [](std::string& image) { SetCluster(image, kSecondFat, 5, 0xFFF); }, "dos",
     "the FAT copies differ, first at cluster 5"},
    // The listing stops at a name it can't open: the problem has no line to go to.
    {"DOS name with a '*'", ImageFamily::Dos720, Patch(kRoot + 1, "*"), "dos", "F*RST.DST has no valid 8.3 name"},
};

// The disc of a family with its two designs, made once. An FDR3 design takes the name
// it is given, and eight blanks where given none.
const std::string& Base(ImageFamily family) {
  static std::map<ImageFamily, std::string> bases;
  if (bases.count(family) == 0) {
    const DiscFamilyRecord* record = *std::find_if(DiscFamilyRecords().begin(), DiscFamilyRecords().end(),
                                                   [family](const DiscFamilyRecord* r) { return r->geometry == family; });
    test::ScriptedDisc disc(family, static_cast<int16_t>(record->formatType));
    EXPECT_TRUE(disc.Run(family == ImageFamily::Dos720   ? "w300>A:\\FIRST.DST w700/3/4/90>A:\\SECOND.DST"
                         : family == ImageFamily::Fdr3 ? "w300 w700/3/4/90>ROSE"
                                                       : "w300 w700/3/4/90"));
    bases[family] = disc.Bytes();
  }
  return bases[family];
}

// Every family's listing, then its check, on one record bound to the image: the
// reports of the families that claim it.
std::map<std::string, DiscReport> Claims(const std::string& image) {
  auto shared = std::make_unique<SharedRecord>();
  BindImage(shared->platform, 0, image, ImageFamily::FromSize);
  std::map<std::string, DiscReport> claims;
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    DiscReport report;
    auto listThenCheck = [&] {
      try {
        family->list(*shared);
      } catch (const RunTimeError&) {
        // A DOS listing of a disc with no file system fails so; the check still runs.
      }
      report = family->check(*shared);
      return int16_t{0};
    };
    family->sectorAccess ? WithSectorAccess(*shared, listThenCheck) : listThenCheck();
    if (report.claimed) claims[std::string(family->name)] = report;
  }
  return claims;
}

TEST(DiscCheck, EachDiscIsClaimedByItsOwnFamilyAloneAndItsDamageNamed) {
  const bool fsck = std::system("command -v fsck.fat >/dev/null 2>&1") == 0;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.what);
    std::string bytes = Base(row.base);
    if (row.damage) row.damage(bytes);
    test::TempDir dir;
    const std::string image = dir / "disc.img";
    test::WriteBytes(image, bytes);
    const std::map<std::string, DiscReport> claims = Claims(image);

    std::string told;
    for (const auto& [family, report] : claims) {
      told += family + ":";
      for (const DiscProblem& p : report.problems) told += " [" + std::to_string(p.line) + "] " + p.text + ";";
      told += "\n";
    }
    EXPECT_EQ(claims.size(), row.claimedBy != nullptr ? 1u : 0u) << told;
    if (row.claimedBy != nullptr && claims.count(row.claimedBy) == 1) {
      const std::vector<DiscProblem>& problems = claims.at(row.claimedBy).problems;
      if (*row.problem == '\0') {
        EXPECT_TRUE(problems.empty()) << told;
      } else {
        const auto named = std::find_if(problems.begin(), problems.end(), [&row](const DiscProblem& p) {
          return p.text.find(row.problem) != std::string::npos;
        });
        ASSERT_NE(named, problems.end()) << told;
        EXPECT_EQ(named->line, row.line) << told;
      }
    }
    const auto size = static_cast<int64_t>(bytes.size());
    if (fsck && (size == ImageBytes(ImageFamily::Dos720) || size == ImageBytes(ImageFamily::Dos1440))) {
      const bool clean = claims.count("dos") == 1 && claims.at("dos").problems.empty();
      EXPECT_EQ(test::FsckClean(dir, image), clean) << told << test::ReadBytes(dir / "fsck.txt");
    }
  }
}

}  // namespace
}  // namespace tavlin
