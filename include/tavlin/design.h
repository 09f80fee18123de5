// Stitch files on their own: the formats this build knows, and a design read step by
// step through its decoder, without writing anything.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tavlin {

struct FormatInfo {
  int16_t code;
  std::string fileEnd;    // "DST"; empty where no file end gives the code
  std::string extension;  // what a drive path gets appended
  std::string family;
  bool reads;
  bool writes;
  std::string typicalEnd;    // ".DST", ".U01": what a file of the format is named with
  std::string readOnlyInto;  // "QEP QCD": the formats it is read only into; empty: any
  int64_t maxBytes = 0;      // the longest file the format can hold; 0: no limit
  std::string name;          // what people call it: the file end, else the family ("Emnet")
};

// Every format code, in code order.
std::vector<FormatInfo> StitchFormats();

// The code of a file name by its last three characters; -2 for a refused one.
int16_t FindFormatCode(std::string_view fileName);

// What a step is. The values are the function codes of QEP, so kinds this list does
// not name (4 to 19, 31: the machine functions of QEP, QCD and CND) pass through as
// they are.
enum class StepKind : int16_t {
  Stitch = 0,
  Jump = 1,
  ColourChange = 2,
  Mark = 3,
  Trim = 20,
  Needle = 23,  // 23 to 30: a colour change that names a needle
  Seven = 71,   // VST's code 0x47
};

constexpr bool ChangesColour(StepKind kind) {
  const auto value = static_cast<int16_t>(kind);
  return kind == StepKind::ColourChange || (value >= 23 && value <= 30);
}

// One step of a design as its file holds it.
struct DesignStep {
  int16_t x = 0;  // the movement, Y up, 0.1 mm
  int16_t y = 0;
  StepKind kind = StepKind::Stitch;
  double posX = 0;  // the needle position after it, Y down
  double posY = 0;
  int16_t colour = 1;
};

// A thread as a file stores it: its colour, and the key in the maker's palette where the
// file stores a key (-1 where it stores the colour itself).
struct ThreadColour {
  uint8_t red = 0, green = 0, blue = 0;
  int paletteKey = -1;
  bool operator==(const ThreadColour&) const = default;
};

struct DesignSummary {
  int16_t format = -2;
  int64_t records = 0;
  int64_t stitches = 0;
  int64_t jumps = 0;
  int64_t colourChanges = 0;
  int64_t others = 0;
  // Extents from the start point, in 0.1 mm: right, left, up, down.
  double plusX = 0, minusX = 0, plusY = 0, minusY = 0;
  // What the file itself says of its threads, in stitching order, and of its hoop and
  // version; empty where the format stores none.
  std::vector<ThreadColour> threads;
  std::string hoop;
  std::string version;
};

// Streams the file's steps through its decoder.
std::error_code ReadDesign(const std::string& path,
                           const std::function<void(const DesignStep&)>& visit);
std::error_code SummariseDesign(const std::string& path, DesignSummary& summary);

}  // namespace tavlin
