// The thread palettes of the machine makers: an index into a maker's palette is how
// most machine formats store a thread colour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavlin {

struct PaletteEntry {
  int key;
  uint8_t red, green, blue;
};

// A palette's entries in ascending key order.
struct Palette {
  const PaletteEntry* entries;
  size_t count;
  const PaletteEntry* begin() const { return entries; }
  const PaletteEntry* end() const { return entries + count; }
};

Palette PesPalette();  // keys 1 to 94: PES, and destinations with no palette of their own
Palette JefPalette();  // keys 1 to 78: JEF and SEW
Palette PcmPalette();  // keys 0 to 15: PCM
Palette HusPalette();  // keys 1 to 29: HUS, which stores the key less 1

// The entry of a key, or null for a key the palette lacks.
const PaletteEntry* FindKey(const Palette& palette, int key);

// The nine-character text of an entry, "255000000", or empty for a key it lacks.
std::string PaletteText(const Palette& palette, int key);

// The key of the nearest entry: the smallest sum of the absolute differences of red,
// green and blue; of two at the same distance, the lower key.
int NearestKey(const Palette& palette, int red, int green, int blue);

int MatchPesColour(int red, int green, int blue);
int MatchJefColour(int red, int green, int blue);
int MatchPcmColour(int red, int green, int blue);
int MatchHusColour(int red, int green, int blue);  // the key less 1

}  // namespace tavlin
