// Every family's listing and check on discs of every family, whole and damaged: a disc
// is claimed by its own family alone, or by none, and the damage is named, on the line
// of the design it hurts. Where fsck.fat is installed it judges each DOS-sized image
// too, and must find it clean exactly where the check does.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "discs/disc_script.h"
#include "services/platform_steps.h"

namespace tavlin {
namespace {

using test::Hex;

struct Row {
  const char* what;
  ImageFamily base;       // the family whose disc, formatted and holding two designs, it starts from
  std::string damage;     // patches "pT.H.S+O:HEX", or "zeros:N" or "random:N": a whole image of N bytes
  const char* claimedBy;  // the family that claims it; null: none does
  const char* problem;    // a part of one of its problems; "": none
  int line = -1;          // that problem's listing line
};

std::string Filled(const char* how, ImageFamily size) { return how + (":" + std::to_string(ImageBytes(size))); }

// Design one takes block 9 of a ZSK disc, design two 10 to 12, and 13 to 639 are free:
// 627. On a DOS disc FIRST.DST holds clusters 2 and 3, SECOND.DST 4 to 6: the FATs from
// byte 3 hold 03 F0 FF 05 60 00, the root is sector 8.
const Row kRows[] = {
    {"FMC as written", ImageFamily::Fmc, "", "fmc", ""},
    {"FDR3 as written", ImageFamily::Fdr3, "", "fdr3", ""},
    {"ZSK as written", ImageFamily::Zsk, "", "zsk", ""},
    {"DOS as written", ImageFamily::Dos720, "", "dos", ""},
    {"FMC signature changed", ImageFamily::Fmc, "p2.0.1+1:" + Hex("FIXE"), nullptr, ""},
    {"FDR3 directory formatted by another family", ImageFamily::Fdr3, "p40.0.1+0:" + Hex(std::string(4096, '\xE5')), nullptr, ""},
    {"ZSK label changed", ImageFamily::Zsk, "p0.0.11+0:" + Hex("ZXK-DISK"), nullptr, ""},
    {"DOS boot sector of 256-byte sectors", ImageFamily::Dos720, "p0.0.1+11:0001", nullptr, ""},
    {"zeros, FMC's size", ImageFamily::Fmc, Filled("zeros", ImageFamily::Fmc), nullptr, ""},
    {"random, FMC's size", ImageFamily::Fmc, Filled("random", ImageFamily::Fmc), nullptr, ""},
    {"zeros, FDR3's and ZSK's size", ImageFamily::Zsk, Filled("zeros", ImageFamily::Zsk), nullptr, ""},
    {"random, FDR3's and ZSK's size", ImageFamily::Zsk, Filled("random", ImageFamily::Zsk), nullptr, ""},
    {"zeros, 720 KB", ImageFamily::Dos720, Filled("zeros", ImageFamily::Dos720), nullptr, ""},
    {"random, 720 KB", ImageFamily::Dos720, Filled("random", ImageFamily::Dos720), nullptr, ""},
    {"zeros, 1.44 MB", ImageFamily::Dos720, Filled("zeros", ImageFamily::Dos1440), nullptr, ""},
    {"random, 1.44 MB", ImageFamily::Dos720, Filled("random", ImageFamily::Dos1440), nullptr, ""},
    {"FMC entries 1 and 2 share a block", ImageFamily::Fmc, "p2.0.1+80:02", "fmc", "A01.DAT and A02.DAT share block 2", 1},
    {"FMC index record of A02 blanked", ImageFamily::Fmc, "p2.1.13+64:" + Hex(std::string(32, ' ')), "fmc",
     "A02.DAT has no index record", 1},
    {"FDR3 block 1 named", ImageFamily::Fdr3, "p40.0.1+12:01", "fdr3", "names block 1, outside the data blocks 2 to 255", 0},
    {"FDR3 first design deleted as machines mark it", ImageFamily::Fdr3, "p40.0.1+0:E5", "fdr3", ""},
    {"ZSK chain of design 2 loops", ImageFamily::Zsk, "p0.0.12+24:0A00", "zsk", "design 2's chain loops back to block 10", 1},
    {"ZSK block 639 lost", ImageFamily::Zsk, "p0.0.12+0:7202 p0.0.12+1276:0000", "zsk",
     "block 639 is in no chain and not free (lost)"},
    {"DOS FAT loop", ImageFamily::Dos720, "p0.0.2+3:032000 p0.0.5+3:032000", "dos", "FIRST.DST's chain loops back to cluster 2", 0},
    {"DOS free cluster in a chain", ImageFamily::Dos720, "p0.0.2+3:07F0FF p0.0.5+3:07F0FF", "dos",
     "FIRST.DST's chain reaches cluster 7, which the FAT marks free", 0},
    {"DOS start cluster out of range", ImageFamily::Dos720, "p0.0.8+58:8813", "dos", "SECOND.DST starts at cluster 5000", 1},
    {"DOS FAT copies differ", ImageFamily::Dos720, "p0.0.5+7:F0FF", "dos", "the FAT copies differ, first at cluster 5"},
    // The listing stops at a name it can't open: the problem has no line to go to.
    {"DOS name with a '*'", ImageFamily::Dos720, "p0.0.8+1:2A", "dos", "F*RST.DST has no valid 8.3 name"},
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
    std::string bytes = test::Patched(Base(row.base), row.damage.rfind("p", 0) == 0 ? row.damage : "");
    if (const size_t colon = row.damage.find(':'); row.damage[0] != 'p' && colon != std::string::npos) {
      std::mt19937 random(std::stoul(row.damage.substr(colon + 1)));
      bytes = row.damage[0] == 'z' ? std::string(std::stoul(row.damage.substr(colon + 1)), '\0')
                                   : test::RandomBytes(random, std::stoul(row.damage.substr(colon + 1)));
    }
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
