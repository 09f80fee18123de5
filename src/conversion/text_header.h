// The 512-byte text header of the DST family, written over the 512 spaces that held
// its place once the whole design has been seen.
#pragma once

#include <string>
#include <string_view>

#include "conversion/conversion_run.h"

namespace tavlin {

// The machine tag for a destination path, by its last character ("TAJ" for ...T).
std::string MachineTag(std::string_view destPath);

// A number as its decimal text (a leading blank unless negative), right-aligned and
// cut to the field's width from the right.
std::string HeaderNumber(double value, size_t width);

// The magnitudes of "+X:", "-X:", "+Y:" and "-Y:" in a text header, read as the disc
// writers read them: five-character decimal texts at offsets 41, 50, 59 and 68.
struct HeaderExtents {
  int plusX = 0, minusX = 0, plusY = 0, minusY = 0;
};
HeaderExtents ReadHeaderExtents(const std::string& header);

// The header a disc read rebuilds in front of the stitch data it gathers, which the
// reader of the disc's format skips: the first 8 characters of the destination's name,
// the machine tag, no counts, and the extents, each line ended by a carriage return.
std::string DiscReadHeader(const std::string& destName, const std::string& tag, int plusX,
                           int minusX, int plusY, int minusY);

// Writes the header fields at offset 0 and the two centre values at offset 499.
void WriteTextHeader(ConversionRun& run);

}  // namespace tavlin
