// The LZ77 + static Huffman block scheme (ARJ/LHA family) over a 1 KB window, which the
// HUS and VIP stitch streams are compressed with. General compression code: it knows
// nothing of stitches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavlin {

// A stream that can't be decoded: what is wrong with it, in words.
class DamagedStream : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Decodes one compressed stream byte by byte, keeping only its window and tables, so
// that a reader can walk several streams side by side.
class LzhDecoder {
 public:
  explicit LzhDecoder(std::span<const uint8_t> input);
  // The next byte of the decompressed stream; throws DamagedStream.
  uint8_t Next();

 private:
  static constexpr int kMaxLengths = 511;
  struct Table {
    // For each code length the first code and the index of its first symbol in `order`.
    uint16_t first[18] = {};
    uint16_t base[18] = {};
    uint16_t count[18] = {};
    std::vector<uint16_t> order;
    // Codes of up to kFastBits bits: symbol + 1 and the length; 0 where longer.
    std::vector<uint16_t> fastSymbol;
    std::vector<uint8_t> fastLength;
    int single = -1;  // a table of one symbol, sent without lengths
  };

  uint32_t Peek16() const;
  void Skip(int bits);
  uint32_t Bits(int bits);
  void StartBlock();
  void ReadLengthCodeLengths(int count, int bits, int special);
  void ReadLiteralLengths();
  void ReadPositionLengths();
  static void Build(Table& table, const uint8_t* lengths, int count, const char* what);
  int DecodeWith(const Table& table);

  std::span<const uint8_t> input_;
  uint64_t bitPos_ = 0;  // bits taken so far
  uint32_t blockLeft_ = 0;
  Table lengthCode_, literalCode_, positionCode_;
  uint8_t window_[1024] = {};
  uint64_t produced_ = 0;
  uint32_t copyLeft_ = 0;
  uint32_t copyFrom_ = 0;
};

// The whole stream of `length` bytes.
std::vector<uint8_t> LzhDecompress(std::span<const uint8_t> input, size_t length);

// The stream compressed in the same scheme, which LzhDecompress gives back whole.
std::vector<uint8_t> LzhCompress(std::span<const uint8_t> data);

}  // namespace tavlin
