#include "compression/lzh_blocks.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tavlin {
namespace {

// Builds a stream from (value, bits) fields, most significant bit first.
std::vector<uint8_t> Fields(std::initializer_list<std::pair<uint32_t, int>> fields) {
  std::vector<uint8_t> out;
  uint32_t acc = 0;
  int held = 0;
  for (auto [value, bits] : fields) {
    for (int b = bits - 1; b >= 0; --b) {
      acc = acc << 1 | ((value >> b) & 1u);
      if (++held == 8) {
        out.push_back(static_cast<uint8_t>(acc));
        acc = 0;
        held = 0;
      }
    }
  }
  if (held > 0) out.push_back(static_cast<uint8_t>(acc << (8 - held)));
  return out;
}

// A block whose three tables each name one symbol: every code is `literal`, every
// position `position`.
std::vector<uint8_t> SingleSymbols(uint32_t codes, uint32_t literal, uint32_t position) {
  return Fields({{codes, 16}, {0, 5}, {0, 5}, {0, 9}, {literal, 9}, {0, 5}, {position, 5}});
}

struct Row {
  const char* what;
  std::vector<uint8_t> stream;
  size_t length;
  std::string gives;  // the bytes, or the start of the error
  bool damaged;
};

TEST(LzhBlocks, DecodesWholeStreamsAndRefusesDamagedOnes) {
  // A literal/length table of two codes of one bit: 'A' (0) and a match of 3 (1), with
  // distance 1 from a position table of one symbol.
  std::vector<uint8_t> literalThenMatch =
      Fields({{2, 16},
              {4, 5}, {0, 3}, {0, 3}, {1, 3}, {0, 2}, {1, 3},    // length code: 2 and 3 of one bit
              {257, 9}, {0, 1}, {45, 9}, {1, 1}, {0, 1}, {170, 9}, {1, 1},  // 65 zeros, 'A', 190 zeros, 256
              {0, 5}, {0, 5},                                      // position: one symbol, 0
              {0, 1}, {1, 1}});
  const std::vector<Row> rows = {
      {"one literal three times", SingleSymbols(3, 'A', 0), 3, "AAA", false},
      {"a literal and its match", literalThenMatch, 4, "AAAA", false},
      {"a block of no codes", Fields({{0, 16}, {0, 16}}), 1, "a block holds no codes", true},
      {"a table that codes nothing", Fields({{1, 16}, {1, 5}, {0, 3}, {0, 2}, {0, 16}}), 1, "the Huffman table", true},
      {"a table that leaves patterns free", Fields({{1, 16}, {1, 5}, {1, 3}, {0, 2}, {0, 16}}), 1, "the Huffman table", true},
      {"a code longer than 16 bits", Fields({{1, 16}, {1, 5}, {0xFFFF, 16}, {0xFFFF, 16}}), 1, "a code of the", true},
      {"a count past its table", Fields({{1, 16}, {31, 5}, {0, 16}}), 1, "the table of the code lengths counts", true},
      {"a length past the window", SingleSymbols(1, 256, 14), 3, "a match reaches back past the window", true},
      {"a match before the start", SingleSymbols(1, 256, 0), 3, "a match reaches back before", true},
      {"a count past the data", SingleSymbols(3, 'A', 0), 4, "the compressed stream runs past", true},
      {"nothing at all", {}, 1, "the compressed stream runs past", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    try {
      const std::vector<uint8_t> got = LzhDecompress(row.stream, row.length);
      EXPECT_FALSE(row.damaged);
      EXPECT_EQ(std::string(got.begin(), got.end()), row.gives);
    } catch (const DamagedStream& e) {
      EXPECT_TRUE(row.damaged) << e.what();
      EXPECT_EQ(std::string(e.what()).rfind(row.gives, 0), 0u) << e.what();
    }
  }
}

// Whatever we compress decodes to the same bytes: short and long streams, few and many
// distinct bytes, long runs and repeats reaching across the whole window, and streams
// large enough to need several blocks.
TEST(LzhBlocks, WhatIsCompressedDecompressesToTheSameBytes) {
  std::mt19937 random(29);
  for (int trial = 0; trial < 400; ++trial) {
    SCOPED_TRACE(trial);
    const size_t length = trial < 300 ? random() % 3000 : 20000 + random() % 100000;
    const uint32_t alphabet = trial % 9 == 0 ? 1 : 1 + random() % 256;
    const uint32_t repeatEvery = 1 + random() % 8;
    std::vector<uint8_t> plain(length);
    for (size_t i = 0; i < length; ++i) {
      const bool repeat = i > 0 && random() % repeatEvery == 0;
      const size_t back = 1 + random() % std::min<size_t>(i == 0 ? 1 : i, 1100);
      plain[i] = repeat && back <= i ? plain[i - back] : static_cast<uint8_t>(random() % alphabet);
    }
    const std::vector<uint8_t> packed = LzhCompress(plain);
    ASSERT_EQ(LzhDecompress(packed, length), plain);
    // Every byte holds bits of the stream: without the last it runs past its data.
    if (!packed.empty()) {
      const std::vector<uint8_t> cut(packed.begin(), packed.end() - 1);
      EXPECT_THROW(LzhDecompress(cut, length), DamagedStream);
    }
  }
}

}  // namespace
}  // namespace tavlin
