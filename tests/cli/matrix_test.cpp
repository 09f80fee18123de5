// Any to any: every sample another program wrote, in every format this build reads,
// converted by the command into every format it writes, and each result read back.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

namespace fs = std::filesystem;

// Where the needle goes down, and the colour changes. A stitch in place (at the point of
// the stitch before it) is not counted: formats without a trim or colour code of their
// own carry a trim or a colour change as one, and the sewn design is the same.
struct Essence {
  std::vector<std::pair<long, long>> stitches;
  int colourChanges = 0;
  void Stitch(double x, double y) {
    const std::pair<long, long> at{std::lround(x), std::lround(y)};
    if (stitches.empty() || stitches.back() != at) stitches.push_back(at);
  }
};

Essence EssenceOf(const std::string& path) {
  Essence e;
  EXPECT_EQ(ReadDesign(path, [&e](const DesignStep& s) {
              if (s.kind == StepKind::Stitch) e.Stitch(s.posX, s.posY);
              if (ChangesColour(s.kind)) e.colourChanges += 1;
            }).value(),
            0)
      << path;
  return e;
}

// CND and QCD keep the machine codes of their makers and come back only as a QEP that
// holds them (a QCD by way of CND): positions are codes 7 to 10, the jump mode goes on at 18 and off at 14,
// and 19 changes colour.
Essence MachineCodeEssenceOf(const std::string& path, const test::TempDir& scratch) {
  Essence e;
  static int made = 0;
  std::string at = scratch / (std::to_string(++made) + "_" + fs::path(path).filename().string());
  fs::copy_file(path, at);
  if (FindFormatCode(at) == 8) {  // a QCD is read only into CND
    EXPECT_EQ(Convert(at, at + ".CND").value(), 0) << at;
    at += ".CND";
  }
  if (FindFormatCode(at) == 6) {
    EXPECT_EQ(Convert(at, at + ".QEP").value(), 0) << at;
    at += ".QEP";
  }
  bool jumping = false;
  ReadDesign(at, [&](const DesignStep& s) {
    const auto kind = static_cast<int16_t>(s.kind);
    if (kind == 18) jumping = true;
    if (kind == 14) jumping = false;
    if (kind == 7 && !jumping) e.Stitch(s.posX, s.posY);
    if (kind == 19) e.colourChanges += 1;
  });
  return e;
}

std::string Cell(const std::string& text) {
  char out[16];
  std::snprintf(out, sizeof out, "%-6s", text.c_str());
  return out;
}

TEST(Matrix, EveryReadableSampleToEveryWritableFormat) {
  const std::string samples = test::Samples();
  std::vector<FormatInfo> writable;
  std::map<int16_t, FormatInfo> byCode;
  for (const FormatInfo& f : StitchFormats()) {
    byCode[f.code] = f;
    if (f.writes) writable.push_back(f);
  }
  ASSERT_GE(writable.size(), 19u);

  // The samples under names of their own (Star_DST.DST), so that one batch per
  // destination format converts them all into one folder.
  test::TempDir dir, scratch;
  fs::create_directories(dir / "in");
  std::vector<std::string> sources;
  for (const auto& entry : fs::directory_iterator(samples)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("Star.", 0) != 0 && name.rfind("shamrockin.", 0) != 0) continue;
    const int16_t code = FindFormatCode(name);
    if (byCode.count(code) == 0 || !byCode[code].reads) continue;
    std::string stem = name;
    stem[stem.find('.')] = '_';
    fs::copy_file(entry.path(), dir / ("in/" + stem + entry.path().extension().string()));
    if (fs::exists(fs::path(entry.path()).replace_extension(".col"))) {
      fs::copy_file(fs::path(entry.path()).replace_extension(".col"), dir / ("in/" + stem + ".col"));
    }
    sources.push_back(stem + entry.path().extension().string());
  }
  // A format no sample is in is made from the star's DST by the library, so that every
  // readable format is a source.
  std::set<int16_t> sampled;
  for (const std::string& name : sources) sampled.insert(FindFormatCode(name));
  // A PEC file is the PEC block of a PES behind its own signature.
  {
    const std::string pes = test::ReadBytes(samples + "/Star.pes");
    ASSERT_GT(pes.size(), 12u);
    const auto at = static_cast<size_t>(static_cast<uint8_t>(pes[8]) | static_cast<uint8_t>(pes[9]) << 8 |
                                        static_cast<uint8_t>(pes[10]) << 16);
    ASSERT_LT(at, pes.size());
    test::WriteBytes(dir / "in/Star_pes.PEC", "#PEC0001" + pes.substr(at));
    sources.push_back("Star_pes.PEC");
    sampled.insert(FindFormatCode("Star_pes.PEC"));
  }
  for (const auto& [code, format] : byCode) {
    if (!format.reads || sampled.count(code) != 0 || format.typicalEnd.empty()) continue;
    const std::string made = "Made_" + format.name + format.typicalEnd;
    ASSERT_EQ(Convert(samples + "/Star.DST", dir / ("in/" + made)).value(), 0) << made;
    sources.push_back(made);
  }
  std::sort(sources.begin(), sources.end());
  ASSERT_GE(sources.size(), 30u);

  std::map<std::string, std::map<std::string, std::string>> table;  // source, dest: cell
  int converted = 0, refused = 0;
  for (const FormatInfo& to : writable) {
    const std::string out = dir / ("out-" + to.name);
    const std::string command = std::string(TAVLIN_CLI) + " convert " + (dir / "in") + " --to " + to.name +
                                " --out-dir " + out + " >" + (dir / "log") + " 2>" + (dir / "err");
    const int status = std::system(command.c_str());
    const std::string err = test::ReadBytes(dir / "err");
    for (const std::string& name : sources) {
      const std::string source = dir / ("in/" + name);
      const std::string dest = out + "/" + fs::path(name).stem().string() + to.typicalEnd;
      std::string& cell = table[name][to.name];
      const std::string why = WhyNotConvertible(source, dest);
      if (!why.empty()) {
        // Refused before anything is written, and said.
        EXPECT_FALSE(fs::exists(dest)) << name << " to " << to.name;
        EXPECT_NE(err.find("cannot convert " + source + ": " + why), std::string::npos) << err;
        cell = "-";
        ++refused;
        continue;
      }
      if (!fs::exists(dest)) {
        ADD_FAILURE() << name << " to " << to.name << " was not written: " << err;
        cell = "FAIL";
        continue;
      }
      // What a CND or QCD holds, and the QEP made of one, are read in machine codes.
      const bool machineCodes = FindFormatCode(source) == 6 || FindFormatCode(source) == 8;
      auto essenceOf = [&](const std::string& path) {
        const int16_t code = FindFormatCode(path);
        return code == 6 || code == 8 || (machineCodes && code == 4) ? MachineCodeEssenceOf(path, scratch)
                                                                      : EssenceOf(path);
      };
      // Every pair where it was: the same needles at the same places from the start.
      const Essence want = essenceOf(source);
      const Essence got = essenceOf(dest);
      const bool same = got.stitches == want.stitches && got.colourChanges == want.colourChanges;
      EXPECT_TRUE(same) << name << " to " << to.name << ": " << got.stitches.size() << " stitches, "
                        << got.colourChanges << " colour changes; the source has " << want.stitches.size()
                        << " and " << want.colourChanges;
      cell = same ? "ok" : "FAIL";
      converted += same ? 1 : 0;
    }
    // The batch fails exactly when a pair is refused.
    const bool anyRefused = std::any_of(sources.begin(), sources.end(), [&](const std::string& name) {
      return table[name][to.name] == "-";
    });
    EXPECT_EQ(WIFEXITED(status) && WEXITSTATUS(status) != 0, anyRefused) << to.name << ": " << err;
  }

  // The table the README shows.
  std::string header = Cell("from");
  for (const FormatInfo& to : writable) header += Cell(to.name);
  std::printf("%s\n", header.c_str());
  std::set<std::string> shown;
  for (const std::string& name : sources) {
    const std::string format = byCode[FindFormatCode(name)].name;
    std::string row = Cell(format);
    for (const FormatInfo& to : writable) row += Cell(table[name][to.name]);
    if (shown.insert(row).second) std::printf("%s  (%s)\n", row.c_str(), name.c_str());
  }
  std::printf("%d conversions read back the same, %d refused\n", converted, refused);
  EXPECT_GE(converted, 400);
}

}  // namespace
}  // namespace tavlin
