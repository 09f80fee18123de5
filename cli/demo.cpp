// tavlin demo [DIR]: the main job on an embedded design. The design goes through every
// format this build writes, each result is read back, and a table tells what came out.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "common.h"
#include "disc.h"
#include "tavlin/stitch_files.h"
#include "tavlin/tavlin.h"
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

bool IsColourChange(int16_t kind) { return kind == 2 || (kind >= 23 && kind <= 30); }

int ReadEssence(const std::string& path, Essence& essence) {
  const int result = ReadDesign(path, [&essence](const DesignStep& step) {
    if (step.kind == 0) essence.stitches.push_back({std::lround(step.posX), std::lround(step.posY)});
    if (IsColourChange(step.kind)) essence.colourChanges += 1;
  });
  return result;
}

// A QEP made from a CND carries the CND's codes: positions are 7 to 10, the jump
// mode goes on at 18 and off at 14, and 19 changes colour.
int ReadCndEssence(const std::string& path, Essence& essence) {
  bool jumping = false;
  const int result = ReadDesign(path, [&](const DesignStep& step) {
    if (step.kind == 18) jumping = true;
    if (step.kind == 14) jumping = false;
    if (step.kind == 7 && !jumping) {
      essence.stitches.push_back({std::lround(step.posX), std::lround(step.posY)});
    }
    if (step.kind == 19) essence.colourChanges += 1;
  });
  return result;
}

// CND is read only into QEP and QCD, and QCD only into CND: those two come back by
// way of the formats that read them.
int ReadBack(const std::string& path, int16_t code, Essence& essence) {
  if (code != 6 && code != 8) return ReadEssence(path, essence);
  std::string cnd = path;
  if (code == 8) {
    cnd = path + ".CND";
    if (const int r = ConvertSafely(path, cnd, nullptr); r != 0) return r;
  }
  const std::string qep = path + ".QEP";
  if (const int r = ConvertSafely(cnd, qep, nullptr); r != 0) return r;
  return ReadCndEssence(qep, essence);
}

// Formats a disc image of the family, writes the sample to it, lists it, reads the
// design back and compares: one row of the demo's disc table. Gives whether it held.
bool DiscRow(const DiscFamily& family, const std::string& dir, const std::string& sample,
             const Essence& reference) {
  const std::string image = (fs::path(dir) / ("sample-" + family.name + ".img")).string();
  std::string verdict = "OK", listing = "-";
  {
    std::ofstream out(image, std::ios::binary | std::ios::trunc);
    const ImageFamily size = family.image == ImageFamily::FromSize ? ImageFamily::Dos720 : family.image;
    const std::string zeros(static_cast<size_t>(ImageBytes(size)), '\0');
    out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
  }
  BindDriveImage(0, image);
  // A DOS disc keeps the name it is given, and its extension the format.
  const bool dos = family.formatType == OtherDOS;
  const std::string onDisc = dos ? "A:\\SAMPLE.DST" : "SAMPLE";
  Tavlin tavlin;
  const auto progress = std::make_shared<NoProgressBar>();
  const std::string back = (fs::path(dir) / ("sample-" + family.name + "-back.QEP")).string();
  Essence essence;
  int16_t result = tavlin.FormatDisc(family.formatType);
  std::string step = "format";
  if (result == 0) {
    step = "write";
    result = tavlin.WriteToDisc(sample, onDisc, family.formatType, progress);
  }
  if (result == 0) {
    step = "list";
    result = ListDisc(tavlin, &family);
  }
  if (result == 0) {
    const std::vector<ListedDesign> designs = ListedDesigns(tavlin);
    listing = designs.empty() ? "-" : designs.front().text;
    step = "read";
    result = tavlin.ReadFromDisc(0, onDisc, back, family.formatType, progress);
  }
  if (result == 0) result = static_cast<int16_t>(ReadEssence(back, essence));
  UnbindDrive(0);
  if (result != 0) {
    verdict = "FAILED: " + step + ": " + DiscResultInWords(step, result);
  } else if (!(essence.stitches == reference.stitches) ||
             essence.colourChanges != reference.colourChanges) {
    verdict = "FAILED: the design read back differs";
  }
  std::printf("%-7s %-24s %10d  %s\n", family.name.c_str(), listing.c_str(),
              tavlin.FreeStitches(), verdict.c_str());
  return verdict == "OK";
}

std::string FileEndFor(const FormatInfo& format) {
  if (format.code == 17) return ".U01";
  if (format.fileEnd.empty() || format.fileEnd == "   ") return format.extension;
  return "." + format.fileEnd;
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
    if (const int result = ReadEssence(sample, reference); result != 0) {
      exitCode = Fail("cannot read the sample back: " + CodeInWords(result));
      return;
    }
    Tavlin tavlin;  // the thread's defaults: drive A:, longest stitch 5 mm
    std::printf("sample design: %zu stitches, %d colour changes, long moves split at 5 mm,\n"
                "written to %s\n\n",
                reference.stitches.size(), reference.colourChanges, sample.c_str());
    std::printf("%-7s %8s %9s  %-30s %s\n", "format", "bytes", "stitches", "stitch extents +X -X +Y -Y mm",
                "result");
    int failures = 0;
    for (const FormatInfo& format : StitchFormats()) {
      if (!format.writes) continue;
      const std::string out = (fs::path(*dir) / ("sample" + FileEndFor(format))).string();
      std::string verdict = "OK";
      Essence back;
      int result = ConvertSafely(sample, out, nullptr);
      if (result == 0) result = ReadBack(out, format.code, back);
      if (result != 0) {
        verdict = "FAILED: " + CodeInWords(result);
      } else if (!(back.stitches == reference.stitches) ||
                 back.colourChanges != reference.colourChanges) {
        verdict = "FAILED: the design read back differs";
      }
      if (format.code == 6 || format.code == 8) verdict += " (read back by way of QEP)";
      if (verdict.rfind("OK", 0) != 0) ++failures;
      std::printf("%-7s %8lld %9zu  %-30s %s\n", FileEndFor(format).substr(1).c_str(),
                  static_cast<long long>(fs::file_size(out, ec)), back.stitches.size(),
                  back.Extents().c_str(), verdict.c_str());
    }
    std::printf("\n%-7s %-24s %10s  %s\n", "disc", "listing after the write", "free", "result");
    for (const std::string& name : DiscFamilyNames(true)) {
      if (!DiscRow(*FindDiscFamily(name), *dir, sample, reference)) ++failures;
    }
    if (failures > 0) exitCode = Fail(std::to_string(failures) + " row(s) failed");
  });
}

}  // namespace tavlin::cli
