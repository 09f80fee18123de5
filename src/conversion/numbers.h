// The numbers the stitch formats store in bytes, and the file-name helper.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavlin {

// A byte of a byte text, never through a signed char.
inline uint8_t ByteAt(std::string_view bytes, size_t index) {
  return static_cast<uint8_t>(bytes[index]);
}

// Rounded to the nearest whole number, ties to the even one, as std::nearbyint under
// the default rounding mode; inline, for the records written in the hot loop.
inline double RoundHalfEven(double value) {
  constexpr double kShift = 6755399441055744.0;  // 1.5 x 2^52
  if (!(value > -2251799813685248.0 && value < 2251799813685248.0)) return value;
  return (value + kShift) - kShift;
}

// The two bytes of IntToBytes2 into out; false outside -32768 to 65535.
inline bool PutBytes2(uint8_t* out, double value) {
  if (!(value > -32769.0 && value < 65536.0)) return false;
  const int whole = static_cast<int>(value);  // drops the fraction
  out[0] = static_cast<uint8_t>(whole & 0xFF);
  out[1] = static_cast<uint8_t>((whole >> 8) & 0xFF);
  return true;
}

// Little-endian; only the first and the last byte of the text are used.
int16_t Bytes2ToInt(std::string_view bytes);
// Drops the fraction; -32768 to 65535, anything else is an overflow failure.
std::string IntToBytes2(double value);
int32_t Bytes4ToInt(std::string_view bytes);
// Two's complement over the 32-bit range; outside it, an overflow failure.
std::string IntToBytes4(double value);

// "#,###,###": digits in groups of three with commas; an empty text for 0.
std::string ThousandsText(int64_t value);
// The value of such a text, "387,072"; 0 where it holds no digits or more than 32 bits.
int32_t ThousandsValue(std::string_view text);

// The text behind the last path separator ("\" or "/"), the extension kept.
std::string FileNameOf(std::string_view path);

}  // namespace tavlin
