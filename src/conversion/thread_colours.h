// Thread colours out of a QEP or VST source, for destinations that store a palette
// index or a list of unique colours.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include <vector>

#include "conversion/buffered_file.h"
#include "platform/drives.h"
#include "tavlin/design.h"

namespace tavlin {

// The source's thread table, three bytes (red, green, blue) a thread: QEP holds the
// count at 103 and the table at 113, VST at 78 and 123. Any other source has none and
// its file is not touched.
std::string ReadThreadTable(BufferedFile& source, int16_t sourceType);

// The threads a source stores, in stitching order, as RGB with the palette key where the
// file stores a key: triples, keys in its head, a table behind its stitches, or a file
// beside it (`sourcePath` names the source for that). Empty for a source that stores
// none. `colourIndex` is the number of colours the stream gave, which some layouts need.
// Counts read from the file are checked against it before they are trusted.
std::vector<ThreadColour> ReadThreadColours(PlatformState& platform, BufferedFile& source,
                                            const std::string& sourcePath, int16_t sourceType,
                                            int16_t colourIndex);

// One byte a thread: the index of its nearest entry in the destination's palette
// (JEF for JEF and SEW, PCM, HUS as key less 1, PES for every other). The file is left
// behind the table.
std::string ChooseThreadPalette(int16_t sourceType, int16_t destType, BufferedFile& source);

// Four bytes a distinct colour (0x00, red, green, blue); each thread's slot of
// colourList gets its colour's place, the first sixteen their own and later ones 0.
// The file goes back to 0 for QEP and 1024 for VST. A count beyond colourList is a
// subscript failure.
std::string BuildUniqueColours(int16_t sourceType, BufferedFile& source,
                               std::array<int16_t, 129>& colourList);

}  // namespace tavlin
