// tavlin info FILE: what a stitch file holds, read through its decoder.
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common.h"
#include "tavlin/design.h"
#include "tavlin/picture.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

// "#RRGGBB", as colours are written for people.
std::string HexColour(const ThreadColour& t) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", t.red, t.green, t.blue);
  return text;
}

std::string FormatName(int16_t code) {
  for (const FormatInfo& f : StitchFormats()) {
    if (f.code == code) return f.name;
  }
  return "unknown";
}

}  // namespace

void AddInfo(CLI::App& app, int& exitCode) {
  auto* verb = app.add_subcommand("info", "Show what a stitch file holds: counts and extents");
  auto file = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  verb->add_option("FILE", *file, "the stitch file")->required();
  verb->add_flag("--json", *json, "print JSON");
  verb->callback([file, json, &exitCode] {
    if (const std::string why = RefusedFormat(*file, true); !why.empty()) {
      exitCode = Fail("cannot read " + *file + ": " + why);
      return;
    }
    DesignSummary s;
    if (const std::error_code ec = SummariseDesign(*file, s)) {
      exitCode = Fail("cannot read " + *file + ": " + InWords(ec));
      return;
    }
    if (*json) {
      nlohmann::ordered_json out = {
          {"file", *file},
          {"format", FormatName(s.format)},
          {"code", s.format},
          {"records", s.records},
          {"stitches", s.stitches},
          {"jumps", s.jumps},
          {"colour_changes", s.colourChanges},
          {"other", s.others},
          {"extents_mm",
           {{"+X", s.plusX / 10}, {"-X", s.minusX / 10}, {"+Y", s.plusY / 10},
            {"-Y", s.minusY / 10}}},
      };
      if (!s.hoop.empty()) out["hoop"] = s.hoop;
      if (!s.version.empty()) out["version"] = s.version;
      if (!s.threads.empty()) {
        auto& threads = out["threads"] = nlohmann::ordered_json::array();
        for (const ThreadColour& t : s.threads) {
          nlohmann::ordered_json thread = {{"rgb", HexColour(t)}, {"name", ColourName(t)}};
          if (t.paletteKey >= 0) thread["palette_key"] = t.paletteKey;
          threads.push_back(thread);
        }
      }
      if (s.threads.empty()) {
        // What a picture of it is drawn in: the default palette, PES keys in order.
        auto& threads = out["default_threads"] = nlohmann::ordered_json::array();
        for (const ThreadColour& t : DrawingColours(s)) {
          threads.push_back({{"rgb", HexColour(t)}, {"name", ColourName(t)}, {"pes_key", t.paletteKey}});
        }
      }
      std::cout << out.dump(2) << "\n";
      return;
    }
    std::cout << "file            " << *file << "\n"
              << "format          " << FormatName(s.format) << " (code " << s.format << ")\n"
              << "records         " << s.records << "\n"
              << "stitches        " << s.stitches << "\n"
              << "jumps           " << s.jumps << "\n"
              << "colour changes  " << s.colourChanges << "\n"
              << "other records   " << s.others << "\n"
              << "extents (mm)    +X " << Millimetres(s.plusX) << "  -X " << Millimetres(s.minusX)
              << "  +Y " << Millimetres(s.plusY) << "  -Y " << Millimetres(s.minusY) << "\n";
    if (!s.version.empty()) std::cout << "version         " << s.version << "\n";
    if (!s.hoop.empty()) std::cout << "hoop            " << s.hoop << "\n";
    // The makers' palettes carry no thread names: a colour is named by how it looks.
    for (size_t i = 0; i < s.threads.size(); ++i) {
      std::cout << (i == 0 ? "threads         " : "                ") << i + 1 << ": "
                << HexColour(s.threads[i]) << " " << ColourName(s.threads[i]);
      if (s.threads[i].paletteKey >= 0) std::cout << " (palette " << s.threads[i].paletteKey << ")";
      std::cout << "\n";
    }
    if (s.threads.empty()) {
      const std::vector<ThreadColour> drawn = DrawingColours(s);
      std::cout << "threads         none stored; drawn in the default palette (PES keys):\n";
      for (size_t i = 0; i < drawn.size(); ++i) {
        std::cout << "                " << i + 1 << ": " << HexColour(drawn[i]) << " "
                  << ColourName(drawn[i]) << " (PES " << drawn[i].paletteKey << ")\n";
      }
    }
  });
}

}  // namespace tavlin::cli
