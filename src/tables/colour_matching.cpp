#include <cstdio>
#include <cstdlib>

#include "tables/palettes.h"

namespace tavlin {

std::string PaletteText(const Palette& palette, int key) {
  for (const PaletteEntry& e : palette) {
    if (e.key != key) continue;
    char text[16];
    std::snprintf(text, sizeof text, "%03d%03d%03d", e.red, e.green, e.blue);
    return text;
  }
  return {};
}

int NearestKey(const Palette& palette, int red, int green, int blue) {
  int best = 1000, bestKey = 0;
  for (const PaletteEntry& e : palette) {
    const int distance = std::abs(e.red - red) + std::abs(e.green - green) + std::abs(e.blue - blue);
    // Strictly smaller: of two at the same distance the lower key stays.
    if (distance < best) {
      best = distance;
      bestKey = e.key;
    }
  }
  return bestKey;
}

int MatchPesColour(int red, int green, int blue) { return NearestKey(PesPalette(), red, green, blue); }
int MatchJefColour(int red, int green, int blue) { return NearestKey(JefPalette(), red, green, blue); }
int MatchPcmColour(int red, int green, int blue) { return NearestKey(PcmPalette(), red, green, blue); }
int MatchHusColour(int red, int green, int blue) { return NearestKey(HusPalette(), red, green, blue) - 1; }

}  // namespace tavlin
