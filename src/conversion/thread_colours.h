// Thread colours: out of a QEP or VST source for destinations that store a palette index
// or a list of unique colours, and out of any source into the RGB table of a QEP or VST
// destination.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include <vector>

#include "conversion/buffered_file.h"
#include "conversion/conversion_run.h"
#include "platform/drives.h"
#include "tavlin/design.h"

namespace tavlin {

// The source's thread table, three bytes (red, green, blue) a thread: QEP holds the
// count at 103 and the table at 113, VST at 78 and 123. Any other source has none and
// its file is not touched.
std::string ReadThreadTable(BufferedFile& source, int16_t sourceType);

// No cap on a count beyond what its field can hold.
constexpr int kAnyThreadCount = INT16_MAX;

// The threads a source stores, as RGB with the palette key where the file stores a key:
// triples in its head (at most 128), keys in its head, a table behind its stitches, or a
// file beside it. Empty for a source that stores none.
// - `sourcePath` is the name the source goes by: an EMD's COL file lies beside it (its
//   last three characters "COL", or "col"), and a HUS source's threads are read from
//   that file, not from `source`. A companion that isn't there gives none.
// - `colourIndex` is the number of colours the stream gave: an XXX gives as many records
//   as that or its count, whichever is greater, and a PCS one thread for each colour.
// - `colourList` holds, in slots 1 to `colourIndex`, the table entry each colour of a
//   PCS stream picked; without it they are read from the file's colour records.
// - `capCount` caps the count a source gives (triples keep their own cap of 128).
// Every count and offset is checked against the file: a file that holds fewer records
// than its count says gives the whole records it holds; an EMD COL file that ends early
// gives none.
std::vector<ThreadColour> ReadThreadColours(PlatformState& platform, BufferedFile& source,
                                            const std::string& sourcePath, int16_t sourceType,
                                            int16_t colourIndex,
                                            const std::array<int16_t, 129>* colourList = nullptr,
                                            int capCount = kAnyThreadCount);

// The end of every run: a destination with a thread table (QEP, VST) gets it from what
// the source stores, capped at the table's capacity, or keys 1 to ColourIndex of the PES
// palette from a source that stores none (above 94 colours the class's run fails with
// 5, the palette having no such key; the library starts the palette again). A HUS file
// named by the last DOS read stands in for the source; an EMD's COL file is beside the
// disc file the last DOS read copied, or for the library, when no DOS read gave one,
// beside the source itself. The library also keeps an XXX's table within the
// destination's. Nothing for other destinations.
void WriteThreadColours(ConversionRun& run);

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
