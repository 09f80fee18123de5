// The three-byte coordinates of Pfaff's PCM and PCS: the two high bytes a whole number,
// the low byte a fraction of it in 255ths, and one unit of 0.1 mm worth 153/255 of
// the whole number, counted from the lowest position of the axis. Read-only data.
#pragma once

#include <cstdint>
#include <optional>

namespace tavlin {

// A position's three bytes, most significant first.
struct CoordCode {
  uint8_t high = 0;
  uint8_t middle = 0;
  uint8_t fraction = 0;
  bool operator==(const CoordCode&) const = default;
};

// The positions each axis holds, in 0.1 mm from the start of the design.
constexpr int kCoordFirstX = -600;
constexpr int kCoordLastX = 600;
constexpr int kCoordFirstY = -575;
constexpr int kCoordLastY = 575;

// The position of three bytes; nothing for bytes that no position of the axis has.
std::optional<int16_t> CoordKeysX(CoordCode code);
std::optional<int16_t> CoordKeysY(CoordCode code);

// The three bytes of a position; nothing outside the axis.
std::optional<CoordCode> CoordBytesX(int position);
std::optional<CoordCode> CoordBytesY(int position);

}  // namespace tavlin
