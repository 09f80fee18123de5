#include "tables/coordinate_tables.h"

#include <array>
#include <cstddef>

namespace tavlin {

namespace {

// 153/255 of the whole number a position: positions are counted in 153ths of a whole
// number's 255ths.
constexpr int32_t kUnit = 153;
constexpr int32_t kFractions = 255;

constexpr CoordCode CodeOf(int position, int first) {
  const int32_t t = kUnit * (position - first);
  const int32_t whole = t / kFractions;
  return {static_cast<uint8_t>(whole / 256), static_cast<uint8_t>(whole % 256),
          static_cast<uint8_t>(t % kFractions)};
}

template <int First, int Last>
constexpr std::array<CoordCode, Last - First + 1> BuildCoordBytes() {
  std::array<CoordCode, Last - First + 1> table{};
  for (int p = First; p <= Last; ++p) table[static_cast<size_t>(p - First)] = CodeOf(p, First);
  return table;
}

// Made by the compiler: the program starts with them and no run builds anything.
constexpr auto kBytesX = BuildCoordBytes<kCoordFirstX, kCoordLastX>();
constexpr auto kBytesY = BuildCoordBytes<kCoordFirstY, kCoordLastY>();

// The rule run backwards. Only what it gives exists: a fraction byte of 255, a value
// that isn't a whole number of units, or one beyond the axis is no key.
constexpr std::optional<int16_t> PositionOf(CoordCode code, int first, int last) {
  if (code.fraction >= kFractions) return std::nullopt;
  const int32_t t = (code.high * 256 + code.middle) * kFractions + code.fraction;
  if (t % kUnit != 0 || t / kUnit > last - first) return std::nullopt;
  return static_cast<int16_t>(t / kUnit + first);
}

static_assert(CodeOf(600, kCoordFirstX) == CoordCode{0x02, 0xD0, 0x00});
static_assert(PositionOf(CoordCode{0x01, 0x00, 0x33}, kCoordFirstX, kCoordLastX) == -173);

}  // namespace

std::optional<int16_t> CoordKeysX(CoordCode code) {
  return PositionOf(code, kCoordFirstX, kCoordLastX);
}

std::optional<int16_t> CoordKeysY(CoordCode code) {
  return PositionOf(code, kCoordFirstY, kCoordLastY);
}

std::optional<CoordCode> CoordBytesX(int position) {
  if (position < kCoordFirstX || position > kCoordLastX) return std::nullopt;
  return kBytesX[static_cast<size_t>(position - kCoordFirstX)];
}

std::optional<CoordCode> CoordBytesY(int position) {
  if (position < kCoordFirstY || position > kCoordLastY) return std::nullopt;
  return kBytesY[static_cast<size_t>(position - kCoordFirstY)];
}

}  // namespace tavlin
