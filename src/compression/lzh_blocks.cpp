#include "compression/lzh_blocks.h"

#include <algorithm>
#include <array>

namespace tavlin {

namespace {

constexpr int kWindow = 1024;
constexpr int kThreshold = 3;         // shortest match
constexpr int kLiteralCodes = 511;    // bytes, then match lengths from kThreshold
constexpr int kLiteralCountBits = 9;
constexpr int kLengthCodes = 19;      // the code that sends the literal code's lengths
constexpr int kLengthCountBits = 5;
constexpr int kPositionCodes = 15;
constexpr int kPositionCountBits = 5;
constexpr int kMaxCodeBits = 16;
constexpr int kFastBits = 10;

}  // namespace

LzhDecoder::LzhDecoder(std::span<const uint8_t> input) : input_(input) {}

uint32_t LzhDecoder::Peek16() const {
  // Bytes past the end read as zeros: only bits taken must lie within the data.
  const uint64_t byte = bitPos_ >> 3;
  uint32_t v = 0;
  for (uint64_t i = 0; i < 3; ++i) {
    v = v << 8 | (byte + i < input_.size() ? input_[byte + i] : 0u);
  }
  return (v >> (8 - (bitPos_ & 7))) & 0xFFFF;
}

void LzhDecoder::Skip(int bits) {
  bitPos_ += static_cast<uint64_t>(bits);
  if (bitPos_ > uint64_t{input_.size()} * 8) {
    throw DamagedStream("the compressed stream runs past the end of its data");
  }
}

uint32_t LzhDecoder::Bits(int bits) {
  if (bits == 0) return 0;
  const uint32_t v = Peek16() >> (16 - bits);
  Skip(bits);
  return v;
}

void LzhDecoder::Build(Table& table, const uint8_t* lengths, int count, const char* what) {
  table.single = -1;
  std::fill(std::begin(table.count), std::end(table.count), uint16_t{0});
  for (int s = 0; s < count; ++s) table.count[lengths[s]]++;
  table.count[0] = 0;
  uint32_t start = 0;
  uint16_t index = 0;
  for (int len = 1; len <= kMaxCodeBits; ++len) {
    table.first[len] = static_cast<uint16_t>(start >> (16 - len));
    table.base[len] = index;
    start += uint32_t{table.count[len]} << (16 - len);
    index = static_cast<uint16_t>(index + table.count[len]);
  }
  // Every bit pattern must lead to a symbol: a table short of that (or one that codes
  // nothing) is damage, not a design.
  if (start != (1u << 16)) {
    throw DamagedStream(std::string("the Huffman table of the ") + what + " is not whole");
  }
  table.order.assign(index, 0);
  std::array<uint16_t, 18> next{};
  for (int len = 1; len <= kMaxCodeBits; ++len) next[len] = table.base[len];
  for (int s = 0; s < count; ++s) {
    if (lengths[s] != 0) table.order[next[lengths[s]]++] = static_cast<uint16_t>(s);
  }
  table.fastSymbol.assign(1u << kFastBits, 0);
  table.fastLength.assign(1u << kFastBits, 0);
  for (int len = 1; len <= kFastBits; ++len) {
    for (uint32_t i = 0; i < table.count[len]; ++i) {
      const uint32_t code = table.first[len] + i;
      const uint32_t from = code << (kFastBits - len);
      const uint32_t span = 1u << (kFastBits - len);
      for (uint32_t k = 0; k < span; ++k) {
        table.fastSymbol[from + k] = static_cast<uint16_t>(table.order[table.base[len] + i] + 1);
        table.fastLength[from + k] = static_cast<uint8_t>(len);
      }
    }
  }
}

int LzhDecoder::DecodeWith(const Table& table) {
  if (table.single >= 0) return table.single;
  const uint32_t bits = Peek16();
  const uint32_t fast = bits >> (16 - kFastBits);
  if (table.fastSymbol[fast] != 0) {
    Skip(table.fastLength[fast]);
    return table.fastSymbol[fast] - 1;
  }
  for (int len = kFastBits + 1; len <= kMaxCodeBits; ++len) {
    const uint32_t code = bits >> (16 - len);
    if (code - table.first[len] < table.count[len]) {
      Skip(len);
      return table.order[table.base[len] + (code - table.first[len])];
    }
  }
  // A whole table leaves no pattern without a symbol.
  throw DamagedStream("a code matches no symbol");
}

// The lengths of a small code: three bits each, 7 and more as 7 followed by ones ended
// by a zero; after the `special`th, two bits of zero lengths to skip.
void LzhDecoder::ReadLengthCodeLengths(int count, int bits, int special) {
  Table& table = special >= 0 ? lengthCode_ : positionCode_;
  const char* what = special >= 0 ? "code lengths" : "match positions";
  const int n = static_cast<int>(Bits(bits));
  if (n == 0) {
    const int symbol = static_cast<int>(Bits(bits));
    if (symbol >= count) throw DamagedStream(std::string("the single symbol of the ") + what + " lies past its table");
    table.single = symbol;
    return;
  }
  if (n > count) throw DamagedStream(std::string("the table of the ") + what + " counts more symbols than it has");
  uint8_t lengths[kPositionCodes > kLengthCodes ? kPositionCodes : kLengthCodes] = {};
  int i = 0;
  while (i < n) {
    int len = static_cast<int>(Peek16() >> 13);
    if (len == 7) {
      uint32_t mask = 1u << 12;
      const uint32_t bitsNow = Peek16();
      while ((mask & bitsNow) != 0) {
        mask >>= 1;
        ++len;
      }
      if (len > kMaxCodeBits) throw DamagedStream(std::string("a code of the ") + what + " is longer than 16 bits");
      Skip(len - 3);
    } else {
      Skip(3);
    }
    lengths[i++] = static_cast<uint8_t>(len);
    if (i == special) {
      const int zeros = static_cast<int>(Bits(2));
      if (i + zeros > count) throw DamagedStream(std::string("the table of the ") + what + " runs past its end");
      i += zeros;
    }
  }
  Build(table, lengths, count, what);
}

void LzhDecoder::ReadLiteralLengths() {
  const int n = static_cast<int>(Bits(kLiteralCountBits));
  if (n == 0) {
    const int symbol = static_cast<int>(Bits(kLiteralCountBits));
    if (symbol >= kLiteralCodes) throw DamagedStream("the single symbol of the literals lies past its table");
    literalCode_.single = symbol;
    return;
  }
  if (n > kLiteralCodes) throw DamagedStream("the literal table counts more symbols than it has");
  uint8_t lengths[kLiteralCodes] = {};
  int i = 0;
  while (i < n) {
    const int c = DecodeWith(lengthCode_);
    if (c <= 2) {
      const int zeros = c == 0 ? 1 : c == 1 ? static_cast<int>(Bits(4)) + 3 : static_cast<int>(Bits(kLiteralCountBits)) + 20;
      if (i + zeros > n) throw DamagedStream("the literal table runs past its end");
      i += zeros;
    } else {
      lengths[i++] = static_cast<uint8_t>(c - 2);
    }
  }
  Build(literalCode_, lengths, kLiteralCodes, "literals");
}

void LzhDecoder::StartBlock() {
  blockLeft_ = Bits(16);
  if (blockLeft_ == 0) throw DamagedStream("a block holds no codes");
  ReadLengthCodeLengths(kLengthCodes, kLengthCountBits, 3);
  ReadLiteralLengths();
  ReadLengthCodeLengths(kPositionCodes, kPositionCountBits, -1);
}

uint8_t LzhDecoder::Next() {
  if (copyLeft_ == 0) {
    if (blockLeft_ == 0) StartBlock();
    --blockLeft_;
    const int c = DecodeWith(literalCode_);
    if (c < 256) {
      window_[produced_ % kWindow] = static_cast<uint8_t>(c);
      ++produced_;
      return static_cast<uint8_t>(c);
    }
    const int p = DecodeWith(positionCode_);
    if (p > 0 && (1u << (p - 1)) + 1u > kWindow) throw DamagedStream("a match reaches back past the window");
    const uint32_t distance = p == 0 ? 1u : (1u << (p - 1)) + Bits(p - 1) + 1u;
    if (distance > produced_) throw DamagedStream("a match reaches back before the stream's start");
    copyLeft_ = static_cast<uint32_t>(c - 256 + kThreshold);
    copyFrom_ = static_cast<uint32_t>((produced_ - distance) % kWindow);
  }
  const uint8_t b = window_[copyFrom_];
  copyFrom_ = (copyFrom_ + 1) % kWindow;
  --copyLeft_;
  window_[produced_ % kWindow] = b;
  ++produced_;
  return b;
}

std::vector<uint8_t> LzhDecompress(std::span<const uint8_t> input, size_t length) {
  LzhDecoder decoder(input);
  std::vector<uint8_t> out;
  // Each code takes at least one bit, and a match gives at most 258 bytes.
  out.reserve(std::min<size_t>(length, input.size() * 8 * 258 + 1));
  for (size_t i = 0; i < length; ++i) out.push_back(decoder.Next());
  return out;
}

namespace {

constexpr int kMaxMatch = 256;
constexpr size_t kBlockLength = 16384;
constexpr int kChainSteps = 96;

class BitWriter {
 public:
  void Put(uint32_t value, int bits) {
    for (int b = bits - 1; b >= 0; --b) {
      acc_ = static_cast<uint8_t>(acc_ << 1 | ((value >> b) & 1u));
      if (++held_ == 8) {
        out_.push_back(acc_);
        acc_ = 0;
        held_ = 0;
      }
    }
  }
  std::vector<uint8_t> Finish() {
    if (held_ > 0) out_.push_back(static_cast<uint8_t>(acc_ << (8 - held_)));
    held_ = 0;
    return std::move(out_);
  }

 private:
  std::vector<uint8_t> out_;
  uint8_t acc_ = 0;
  int held_ = 0;
};

// Huffman code lengths of at most 16 bits for the given counts; symbols never used get
// 0. Where the tree grows too deep the counts are halved and it is built again.
std::vector<uint8_t> CodeLengths(std::vector<uint32_t> freq) {
  const size_t n = freq.size();
  std::vector<uint8_t> lengths(n, 0);
  for (;;) {
    std::vector<size_t> used;
    for (size_t s = 0; s < n; ++s) {
      if (freq[s] != 0) used.push_back(s);
    }
    if (used.size() < 2) return lengths;  // sent as a single symbol
    // Nodes: leaves first, then the merged ones; parent links give the depths.
    std::vector<uint64_t> weight;
    std::vector<int> parent;
    using Item = std::pair<uint64_t, int>;
    std::vector<Item> heap;
    for (size_t s : used) {
      heap.push_back({freq[s], static_cast<int>(weight.size())});
      weight.push_back(freq[s]);
      parent.push_back(-1);
    }
    auto cmp = [](const Item& a, const Item& b) { return a > b; };
    std::make_heap(heap.begin(), heap.end(), cmp);
    while (heap.size() > 1) {
      std::pop_heap(heap.begin(), heap.end(), cmp);
      const Item a = heap.back();
      heap.pop_back();
      std::pop_heap(heap.begin(), heap.end(), cmp);
      const Item b = heap.back();
      heap.pop_back();
      const int node = static_cast<int>(weight.size());
      weight.push_back(a.first + b.first);
      parent.push_back(-1);
      parent[static_cast<size_t>(a.second)] = node;
      parent[static_cast<size_t>(b.second)] = node;
      heap.push_back({a.first + b.first, node});
      std::push_heap(heap.begin(), heap.end(), cmp);
    }
    std::vector<int> depth(weight.size(), 0);
    int deepest = 0;
    for (int node = static_cast<int>(weight.size()) - 2; node >= 0; --node) {
      depth[static_cast<size_t>(node)] = depth[static_cast<size_t>(parent[static_cast<size_t>(node)])] + 1;
    }
    for (size_t k = 0; k < used.size(); ++k) deepest = std::max(deepest, depth[k]);
    if (deepest <= kMaxCodeBits) {
      for (size_t k = 0; k < used.size(); ++k) lengths[used[k]] = static_cast<uint8_t>(depth[k]);
      return lengths;
    }
    for (uint32_t& f : freq) {
      if (f != 0) f = (f + 1) / 2;
    }
  }
}

// Canonical codes, in the order the decoder assigns them: by length, then by symbol.
std::vector<uint16_t> CodesOf(const std::vector<uint8_t>& lengths) {
  uint16_t count[18] = {};
  for (uint8_t len : lengths) count[len]++;
  count[0] = 0;
  uint32_t next[18] = {};
  uint32_t start = 0;
  for (int len = 1; len <= kMaxCodeBits; ++len) {
    next[len] = start >> (16 - len);
    start += uint32_t{count[len]} << (16 - len);
  }
  std::vector<uint16_t> codes(lengths.size(), 0);
  for (size_t s = 0; s < lengths.size(); ++s) {
    if (lengths[s] != 0) codes[s] = static_cast<uint16_t>(next[lengths[s]]++);
  }
  return codes;
}

int SingleSymbolOf(const std::vector<uint32_t>& freq) {
  for (size_t s = 0; s < freq.size(); ++s) {
    if (freq[s] != 0) return static_cast<int>(s);
  }
  return 0;
}

// A small code's lengths as the decoder reads them back (ReadLengthCodeLengths).
void PutSmallTable(BitWriter& out, const std::vector<uint8_t>& lengths, const std::vector<uint32_t>& freq,
                   int countBits, int special) {
  int n = static_cast<int>(lengths.size());
  while (n > 0 && lengths[static_cast<size_t>(n - 1)] == 0) --n;
  if (n == 0) {
    out.Put(0, countBits);
    out.Put(static_cast<uint32_t>(SingleSymbolOf(freq)), countBits);
    return;
  }
  out.Put(static_cast<uint32_t>(n), countBits);
  int i = 0;
  while (i < n) {
    const int len = lengths[static_cast<size_t>(i++)];
    if (len <= 6) {
      out.Put(static_cast<uint32_t>(len), 3);
    } else {
      out.Put((1u << (len - 3)) - 2, len - 3);
    }
    if (i == special) {
      int zeros = 0;
      while (i < 6 && i < n && lengths[static_cast<size_t>(i)] == 0) {
        ++i;
        ++zeros;
      }
      out.Put(static_cast<uint32_t>(zeros), 2);
    }
  }
}

struct Code {
  uint16_t symbol;     // a byte, or 256 + length - 3
  uint16_t distance;   // of a match, from 1
};

int PositionClass(uint32_t distanceLess1) {
  int bits = 0;
  while (distanceLess1 >> bits) ++bits;
  return bits;
}

void PutBlock(BitWriter& out, const std::vector<Code>& codes) {
  std::vector<uint32_t> literalFreq(kLiteralCodes, 0), positionFreq(kPositionCodes, 0);
  for (const Code& c : codes) {
    literalFreq[c.symbol]++;
    if (c.symbol >= 256) positionFreq[static_cast<size_t>(PositionClass(c.distance - 1u))]++;
  }
  const std::vector<uint8_t> literalLengths = CodeLengths(literalFreq);
  const std::vector<uint8_t> positionLengths = CodeLengths(positionFreq);

  // The literal table's lengths as codes of the length code: runs of zeros shortened.
  int n = kLiteralCodes;
  while (n > 0 && literalLengths[static_cast<size_t>(n - 1)] == 0) --n;
  struct LengthItem {
    int symbol;
    uint32_t extra;
    int extraBits;
  };
  std::vector<LengthItem> items;
  for (int i = 0; i < n;) {
    if (literalLengths[static_cast<size_t>(i)] != 0) {
      items.push_back({literalLengths[static_cast<size_t>(i)] + 2, 0, 0});
      ++i;
      continue;
    }
    int run = 0;
    while (i + run < n && literalLengths[static_cast<size_t>(i + run)] == 0) ++run;
    i += run;
    while (run > 0) {
      if (run >= 20) {
        const int take = std::min(run, 20 + 511);
        items.push_back({2, static_cast<uint32_t>(take - 20), kLiteralCountBits});
        run -= take;
      } else if (run >= 3) {
        const int take = std::min(run, 18);
        items.push_back({1, static_cast<uint32_t>(take - 3), 4});
        run -= take;
      } else {
        items.push_back({0, 0, 0});
        run -= 1;
      }
    }
  }
  std::vector<uint32_t> lengthFreq(kLengthCodes, 0);
  for (const LengthItem& item : items) lengthFreq[static_cast<size_t>(item.symbol)]++;
  const std::vector<uint8_t> lengthLengths = CodeLengths(lengthFreq);
  const std::vector<uint16_t> lengthCodes = CodesOf(lengthLengths);
  const std::vector<uint16_t> literalCodes = CodesOf(literalLengths);
  const std::vector<uint16_t> positionCodes = CodesOf(positionLengths);

  out.Put(static_cast<uint32_t>(codes.size()), 16);
  if (n == 0) {
    // One symbol only: no lengths, and the length code is not used.
    out.Put(0, kLengthCountBits);
    out.Put(0, kLengthCountBits);
    out.Put(0, kLiteralCountBits);
    out.Put(static_cast<uint32_t>(SingleSymbolOf(literalFreq)), kLiteralCountBits);
  } else {
    PutSmallTable(out, lengthLengths, lengthFreq, kLengthCountBits, 3);
    out.Put(static_cast<uint32_t>(n), kLiteralCountBits);
    for (const LengthItem& item : items) {
      const auto s = static_cast<size_t>(item.symbol);
      out.Put(lengthCodes[s], lengthLengths[s]);
      out.Put(item.extra, item.extraBits);
    }
  }
  PutSmallTable(out, positionLengths, positionFreq, kPositionCountBits, -1);
  for (const Code& c : codes) {
    out.Put(literalCodes[c.symbol], literalLengths[c.symbol]);
    if (c.symbol < 256) continue;
    const uint32_t d = c.distance - 1u;
    const auto p = static_cast<size_t>(PositionClass(d));
    out.Put(positionCodes[p], positionLengths[p]);
    if (p > 1) out.Put(d & ((1u << (p - 1)) - 1), static_cast<int>(p) - 1);
  }
}

}  // namespace

std::vector<uint8_t> LzhCompress(std::span<const uint8_t> data) {
  BitWriter out;
  std::vector<Code> block;
  constexpr size_t kHashSize = 4096;
  std::vector<int64_t> head(kHashSize, -1);
  std::vector<int64_t> prev(static_cast<size_t>(kWindow), -1);
  auto hashAt = [&data](size_t at) {
    return (static_cast<size_t>(data[at]) << 4 ^ static_cast<size_t>(data[at + 1]) << 2 ^ data[at + 2]) %
           kHashSize;
  };
  auto insert = [&](size_t at) {
    if (at + 2 >= data.size()) return;
    const size_t h = hashAt(at);
    prev[at % kWindow] = head[h];
    head[h] = static_cast<int64_t>(at);
  };
  size_t at = 0;
  while (at < data.size()) {
    int bestLength = 0;
    size_t bestDistance = 0;
    if (at + 2 < data.size()) {
      const size_t limit = std::min<size_t>(kMaxMatch, data.size() - at);
      int64_t candidate = head[hashAt(at)];
      for (int steps = 0; candidate >= 0 && steps < kChainSteps; ++steps) {
        const size_t from = static_cast<size_t>(candidate);
        if (at - from > static_cast<size_t>(kWindow)) break;
        size_t len = 0;
        while (len < limit && data[from + len] == data[at + len]) ++len;
        if (static_cast<int>(len) > bestLength) {
          bestLength = static_cast<int>(len);
          bestDistance = at - from;
          if (len == limit) break;
        }
        const int64_t next = prev[from % kWindow];
        if (next >= candidate) break;  // the slot was reused by a newer position
        candidate = next;
      }
    }
    if (bestLength >= kThreshold) {
      block.push_back({static_cast<uint16_t>(256 + bestLength - kThreshold), static_cast<uint16_t>(bestDistance)});
      for (int k = 0; k < bestLength; ++k) insert(at + static_cast<size_t>(k));
      at += static_cast<size_t>(bestLength);
    } else {
      block.push_back({data[at], 0});
      insert(at);
      ++at;
    }
    if (block.size() == kBlockLength) {
      PutBlock(out, block);
      block.clear();
    }
  }
  if (!block.empty()) PutBlock(out, block);
  return out.Finish();
}

}  // namespace tavlin
