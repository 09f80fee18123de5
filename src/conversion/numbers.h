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

// Little-endian; only the first and the last byte of the text are used.
int16_t Bytes2ToInt(std::string_view bytes);
// Drops the fraction; -32768 to 65535, anything else is an overflow failure.
std::string IntToBytes2(double value);
int32_t Bytes4ToInt(std::string_view bytes);
// Two's complement over the 32-bit range; outside it, an overflow failure.
std::string IntToBytes4(double value);

// The text behind the last path separator ("\" or "/"), the extension kept.
std::string FileNameOf(std::string_view path);

}  // namespace tavlin
