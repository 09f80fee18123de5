#include "conversion/numbers.h"

#include <cctype>
#include <climits>
#include <cmath>

#include "platform/run_time_error.h"

namespace tavlin {

int16_t Bytes2ToInt(std::string_view bytes) {
  if (bytes.empty()) throw RunTimeError(kInvalidCall);
  const int value = ByteAt(bytes, 0) + 256 * ByteAt(bytes, bytes.size() - 1);
  return static_cast<int16_t>(value > 32767 ? value - 65536 : value);
}

std::string IntToBytes2(double value) {
  uint8_t bytes[2];
  if (!PutBytes2(bytes, value)) throw RunTimeError(kOverflow);
  return {static_cast<char>(bytes[0]), static_cast<char>(bytes[1])};
}

int32_t Bytes4ToInt(std::string_view bytes) {
  if (bytes.size() != 4) throw RunTimeError(kInvalidCall);
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) v |= uint32_t{ByteAt(bytes, i)} << (8 * i);
  return static_cast<int32_t>(v);
}

std::string IntToBytes4(double value) {
  const double whole = std::trunc(value);
  if (!(whole >= -2147483648.0 && whole <= 4294967295.0)) throw RunTimeError(kOverflow);
  const auto v = static_cast<uint32_t>(static_cast<int64_t>(whole));
  return {static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF),
          static_cast<char>((v >> 16) & 0xFF), static_cast<char>(v >> 24)};
}

std::string ThousandsText(int64_t value) {
  if (value == 0) return "";
  std::string digits = std::to_string(value < 0 ? -value : value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
    digits.insert(static_cast<size_t>(at), ",");
  }
  return value < 0 ? "-" + digits : digits;
}

std::string FileNameOf(std::string_view path) {
  const size_t cut = path.find_last_of("\\/");
  return std::string(cut == std::string_view::npos ? path : path.substr(cut + 1));
}

int32_t ThousandsValue(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (negative) ++i;
  int64_t value = 0;
  bool digits = false;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ',') continue;
    if (!std::isdigit(static_cast<unsigned char>(c))) break;
    digits = true;
    value = value * 10 + (c - '0');
    if (value > INT32_MAX) return 0;
  }
  if (!digits) return 0;
  return static_cast<int32_t>(negative ? -value : value);
}

}  // namespace tavlin
