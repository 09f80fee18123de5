// tavlin demo [DIR]: the main job on an embedded design. The design goes through every
// format this build writes, each result is read back, and a table tells what came out.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "common.h"
#include "picture_files.h"
#include "sample_design.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/disc.h"
#include "tavlin/error.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

namespace fs = std::filesystem;

struct Needle {
  long x, y;
  bool operator==(const Needle& o) const { return x == o.x && y == o.y; }
};

// What must survive every format: where the needle goes down, and the colour changes.
struct Essence {
  std::vector<Needle> stitches;
  int colourChanges = 0;

  // The extents of the stitches, in 0.1 mm: right, left, up, down.
  std::string Extents() const {
    long right = 0, left = 0, up = 0, down = 0;
    for (const Needle& n : stitches) {
      right = std::max(right, n.x);
      left = std::max(left, -n.x);
      up = std::max(up, -n.y);
      down = std::max(down, n.y);
    }
    return Millimetres(static_cast<double>(right)) + " " + Millimetres(static_cast<double>(left)) +
           " " + Millimetres(static_cast<double>(up)) + " " + Millimetres(static_cast<double>(down));
  }
};

std::error_code ReadEssence(const std::string& path, Essence& essence) {
  return ReadDesign(path, [&essence](const DesignStep& step) {
    if (step.kind == StepKind::Stitch) {
      essence.stitches.push_back({std::lround(step.posX), std::lround(step.posY)});
    }
    if (ChangesColour(step.kind)) essence.colourChanges += 1;
  });
}

// A QEP made from a CND carries the CND's codes: positions are 7 to 10, the jump
// mode goes on at 18 and off at 14, and 19 changes colour.
std::error_code ReadCndEssence(const std::string& path, Essence& essence) {
  bool jumping = false;
  return ReadDesign(path, [&](const DesignStep& step) {
    const auto kind = static_cast<int16_t>(step.kind);
    if (kind == 18) jumping = true;
    if (kind == 14) jumping = false;
    if (kind == 7 && !jumping) {
      essence.stitches.push_back({std::lround(step.posX), std::lround(step.posY)});
    }
    if (kind == 19) essence.colourChanges += 1;
  });
}

const FormatInfo* FormatOf(const std::string& fileEnd) {
  static const std::vector<FormatInfo> formats = StitchFormats();
  for (const FormatInfo& f : formats) {
    if (f.fileEnd == fileEnd) return &f;
  }
  return nullptr;
}

// Whether a format's designs come back only by way of others: read only into formats
// that DST is not among (QCD, CND, which carry machine codes).
bool ComesBackByWayOfOthers(const FormatInfo& format) {
  return !format.readOnlyInto.empty() && (" " + format.readOnlyInto + " ").find(" DST ") == std::string::npos;
}

// A format that is read only into others, DST not among them, comes back by way of the
// first of them, until one that reads into anything.
std::error_code ReadBack(const std::string& path, const FormatInfo& format, Essence& essence) {
  if (!ComesBackByWayOfOthers(format)) return ReadEssence(path, essence);
  std::string at = path;
  const FormatInfo* through = &format;
  while (!through->readOnlyInto.empty()) {
    const std::string next = through->readOnlyInto.substr(0, through->readOnlyInto.find(' '));
    through = FormatOf(next);
    if (through == nullptr) return ResultCode(5);
    const std::string nextPath = at + through->typicalEnd;
    if (const std::error_code ec = Convert(at, nextPath)) return ec;
    at = nextPath;
  }
  return ReadCndEssence(at, essence);
}

// Formats a disc image of the family, writes the sample to it, lists it, reads the
// design back and compares: one row of the demo's disc table. Gives whether it held.
bool DiscRow(DiscFamily family, const std::string& dir, const std::string& sample,
             const Essence& reference) {
  const std::string name(DiscFamilyName(family));
  const std::string image = (fs::path(dir) / ("sample-" + name + ".img")).string();
  const std::string back = (fs::path(dir) / ("sample-" + name + "-back.QEP")).string();
  std::string verdict = "OK", listing = "-", step = "format";
  int32_t free = 0;
  Essence essence;
  fs::remove(image);
  std::error_code ec = FormatDiscImage(image, family);
  std::unique_ptr<Disc> disc;
  if (!ec) {
    step = "open";
    disc = Disc::Open(image, family, ec);
  }
  std::string written;
  if (!ec) {
    step = "write";
    // A DOS disc keeps the name it is given, and its extension the format.
    ec = disc->Write(sample, {.name = family == DiscFamily::Dos ? "SAMPLE.DST" : "SAMPLE"}, written);
  }
  if (!ec) {
    const DiscEntry* entry = disc->Find(written);
    listing = entry != nullptr ? entry->text : "-";
    free = disc->Listing().freeStitches;
    step = "read";
    ec = entry != nullptr ? disc->Read(*entry, back) : make_error_code(DiscErrc::NoSuchDesign);
  }
  if (!ec) ec = ReadEssence(back, essence);
  if (ec) {
    verdict = "FAILED: " + step + ": " + InWords(ec);
  } else if (!(essence.stitches == reference.stitches) ||
             essence.colourChanges != reference.colourChanges) {
    verdict = "FAILED: the design read back differs";
  }
  std::printf("%-7s %-24s %10d  %s\n", name.c_str(), listing.c_str(), free, verdict.c_str());
  return verdict == "OK";
}

}  // namespace

void AddDemo(CLI::App& app, int& exitCode) {
  auto* verb = app.add_subcommand(
      "demo", "Convert an embedded sample design through every format and read each back");
  auto dir = std::make_shared<std::string>("demo-out");
  verb->add_option("DIR", *dir, "where the files go (default ./demo-out)");
  verb->callback([dir, &exitCode] {
    std::error_code ec;
    fs::create_directories(*dir, ec);
    const std::string sample = (fs::path(*dir) / "sample.QEP").string();
    try {
      WriteSampleDesign(sample);
    } catch (const std::exception& e) {
      exitCode = Fail(e.what());
      return;
    }
    Essence reference;
    if (const std::error_code read = ReadEssence(sample, reference)) {
      exitCode = Fail("cannot read the sample back: " + InWords(read));
      return;
    }
    std::printf("sample design: %zu stitches, %d colour changes, long moves split at 5 mm,\n"
                "written to %s\n",
                reference.stitches.size(), reference.colourChanges, sample.c_str());
    // Its picture, with the long moves' jumps dashed so that the whole outline shows.
    const std::string picture = (fs::path(*dir) / "sample.png").string();
    if (const std::string why = WritePicture(
            sample, picture, {.size = 600, .jumps = JumpLines::Dashed, .grid = true});
        !why.empty()) {
      exitCode = Fail(why);
      return;
    }
    std::printf("and drawn in its thread colours to %s\n\n", picture.c_str());
    std::printf("%-7s %8s %9s  %-30s %s\n", "format", "bytes", "stitches", "stitch extents +X -X +Y -Y mm",
                "result");
    int failures = 0;
    for (const FormatInfo& format : StitchFormats()) {
      if (!format.writes) continue;
      const std::string out = (fs::path(*dir) / ("sample" + format.typicalEnd)).string();
      std::string verdict = "OK";
      Essence back;
      std::error_code failed = Convert(sample, out);
      if (!failed) failed = ReadBack(out, format, back);
      if (failed) {
        verdict = "FAILED: " + InWords(failed);
      } else if (!(back.stitches == reference.stitches) ||
                 back.colourChanges != reference.colourChanges) {
        verdict = "FAILED: the design read back differs";
      }
      // What the reference gives these two: CND's machine codes, seen only through QEP.
      if (ComesBackByWayOfOthers(format)) verdict += " in CND's machine codes, read back through QEP";
      if (verdict.rfind("OK", 0) != 0) ++failures;
      const std::string shown = format.typicalEnd.size() > 1 && format.typicalEnd[0] == '.'
                                    ? format.typicalEnd.substr(1) : format.name;
      std::printf("%-7s %8lld %9zu  %-30s %s\n", shown.c_str(),
                  static_cast<long long>(fs::file_size(out, ec)), back.stitches.size(),
                  back.Extents().c_str(), verdict.c_str());
    }
    std::printf("\n%-7s %-24s %10s  %s\n", "disc", "listing after the write", "free", "result");
    for (const DiscFamily family : DiscFamilies()) {
      if (!DiscRow(family, *dir, sample, reference)) ++failures;
    }
    if (failures > 0) exitCode = Fail(std::to_string(failures) + " row(s) failed");
  });
}

}  // namespace tavlin::cli
