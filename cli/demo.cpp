// tavlin demo [DIR]: the main job on an embedded design. The design goes through every
// format this build writes, each result is read back, and a table tells what came out.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "common.h"
#include "tavlin/stitch_files.h"
#include "tavlin/tavlin.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

struct Needle {
  long x, y;
  bool operator==(const Needle& o) const { return x == o.x && y == o.y; }
};

// What must survive every format: where the needle goes down, and the colour changes.
struct Essence {
  std::vector<Needle> stitches;
  int colourChanges = 0;
  DesignSummary summary;
};

int ReadEssence(const std::string& path, Essence& essence) {
  const int result = ReadDesign(path, [&essence](const DesignStep& step) {
    if (step.kind == 0) {
      essence.stitches.push_back({std::lround(step.posX), std::lround(step.posY)});
    } else if (step.kind == 2 || (step.kind >= 23 && step.kind <= 30)) {
      essence.colourChanges += 1;
    }
  });
  if (result != 0) return result;
  return SummariseDesign(path, essence.summary);
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
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(*dir, ec);
    const std::string sample = (fs::path(*dir) / "sample.DST").string();
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
    std::printf("sample design: %zu stitches, %d colour changes, written to %s\n\n",
                reference.stitches.size(), reference.colourChanges, sample.c_str());
    std::printf("%-7s %8s %9s  %-32s %s\n", "format", "bytes", "stitches", "extents +X -X +Y -Y mm",
                "result");
    int failures = 0;
    for (const FormatInfo& format : StitchFormats()) {
      if (!format.writes) continue;
      const std::string out = (fs::path(*dir) / ("sample" + FileEndFor(format))).string();
      std::string verdict = "OK";
      Essence back;
      int result = ConvertSafely(sample, out, nullptr);
      if (result == 0) result = ReadEssence(out, back);
      if (result != 0) {
        verdict = "FAILED: " + CodeInWords(result);
      } else if (!(back.stitches == reference.stitches) ||
                 back.colourChanges != reference.colourChanges) {
        verdict = "FAILED: the design read back differs";
      }
      if (verdict != "OK") ++failures;
      const DesignSummary& s = back.summary;
      const std::string extents = Millimetres(s.plusX) + " " + Millimetres(s.minusX) + " " +
                                  Millimetres(s.plusY) + " " + Millimetres(s.minusY);
      std::printf("%-7s %8lld %9zu  %-32s %s\n", FileEndFor(format).substr(1).c_str(),
                  static_cast<long long>(fs::file_size(out, ec)), back.stitches.size(),
                  extents.c_str(), verdict.c_str());
    }
    if (failures > 0) exitCode = Fail(std::to_string(failures) + " format(s) failed");
  });
}

}  // namespace tavlin::cli
