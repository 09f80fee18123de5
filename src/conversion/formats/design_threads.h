// The thread colours that the formats with a colour list of their own write, one for
// each colour of the stream: Elna's COL file and Singer's trailer.
#pragma once

#include <cstddef>
#include <vector>

#include "conversion/conversion_run.h"
#include "conversion/thread_colours.h"
#include "tables/palettes.h"

namespace tavlin {

// What the source stores of its threads, as a QEP destination would get it. A source
// that stores fewer (or none) gives the rest from the PES palette, colour i taking key i,
// as a QEP gets them from such a source; past its last key the palette starts again, so
// that a design of many colours still gets a line for each.
inline std::vector<ThreadColour> ColoursOfTheDesign(ConversionRun& run) {
  const size_t wanted = run.ColourIndex > 0 ? static_cast<size_t>(run.ColourIndex) : 0;
  std::vector<ThreadColour> threads = ReadThreadColours(
      run.settings.platform, run.source, run.ResolvedSource, run.SourceType, run.ColourIndex);
  if (threads.size() > wanted) threads.resize(wanted);
  const Palette pes = PesPalette();
  while (threads.size() < wanted) {
    const PaletteEntry& entry = pes.entries[threads.size() % pes.count];
    threads.push_back({entry.red, entry.green, entry.blue, entry.key});
  }
  return threads;
}

}  // namespace tavlin
