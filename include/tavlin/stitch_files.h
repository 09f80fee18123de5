// Stitch files on their own, without a disc: the formats, conversion with progress,
// and reading a design step by step.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tavlin/progress.h"

namespace tavlin {

struct FormatInfo {
  int16_t code;
  std::string fileEnd;    // "DST"; empty where no file end gives the code
  std::string extension;  // what a drive path gets appended
  std::string family;
  bool reads;
  bool writes;
};

// Every format code, in code order.
std::vector<FormatInfo> StitchFormats();

// The code of a file name by its last three characters; -2 for a refused one.
int16_t FindFormatCode(std::string_view fileName);

// Converts by the two names' extensions, with the thread's MaxStitchLen. The progress
// object may be null. Gives the conversion's result: 0 done, otherwise a code that
// ResultText puts in words.
int16_t ConvertStitchFiles(const std::string& sourceFile, const std::string& destFile,
                           std::shared_ptr<Progress> progress = nullptr);

// One step of a design as its file holds it.
struct DesignStep {
  int16_t x = 0;  // the movement, Y up, 0.1 mm
  int16_t y = 0;
  int16_t kind = 0;  // 0 stitch, 1 jump, 2 colour change, 3 mark, 20 trim, 23..30 needle ...
  double posX = 0;   // the needle position after it, Y down
  double posY = 0;
  int16_t colour = 1;
};

// Streams the file's steps through its decoder. Gives 0, or the code that stopped it.
int16_t ReadDesign(const std::string& path, const std::function<void(const DesignStep&)>& visit);

struct DesignSummary {
  int16_t format = -2;
  int64_t records = 0;
  int64_t stitches = 0;
  int64_t jumps = 0;
  int64_t colourChanges = 0;
  int64_t others = 0;
  // Extents from the start point, in 0.1 mm: right, left, up, down.
  double plusX = 0, minusX = 0, plusY = 0, minusY = 0;
};

int16_t SummariseDesign(const std::string& path, DesignSummary& summary);

// The words for a result or run-time code, e.g. "disk not ready".
std::string ResultText(int code);

}  // namespace tavlin

namespace tavlin {

// Writes the embedded sample design (stars and a zigzag in three colours, with long
// moves between the parts) as a QEP file. Throws std::runtime_error when the file
// can't be written.
void WriteSampleDesign(const std::string& path);

}  // namespace tavlin
