// PES files built in code, laid out as this system's writer lays them, with what other
// programs put where the tests need it: version heads, the sections, stitch blocks and
// the PEC block.
#pragma once

#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace tavlin::test::pes {

using test::Bytes;

inline std::string Le16(int v) { return Bytes({v & 0xFF, (v >> 8) & 0xFF}); }

// --- Files laid out as this system's writer lays them --------------------------------

inline const std::string kTurnedHoop = Bytes({0x04, 0x01, 0xA0, 0x00, 0x01, 0x00});  // 260 x 160, turned
inline const std::string kWideHoop = Bytes({0x04, 0x01, 0xA0, 0x00, 0x00, 0x00});    // 260 x 160
inline const std::string kTallHoop = Bytes({0xA0, 0x00, 0x04, 0x01, 0x00, 0x00});    // 160 x 260

// The version head: "#PES0001" (16 bytes, the hoop code at 12) or any other version
// text in the long head of "PES0040" (49 bytes, the hoop and the turn at 23 to 28).
inline std::string VersionHead(const std::string& version, int hoopCode, const std::string& hoop) {
  std::string head = version + std::string(4, '\0');  // the PEC offset, patched
  if (version == "#PES0001") return head + Le16(hoopCode) + Le16(1);
  head += Le16(1) + "01" + std::string(7, '\0') + hoop;
  for (int v : {7, 19, 0, 1, 1, 25, 1}) head += Le16(v);
  return head + std::string(6, '\0');
}

inline std::string Float(float f) {
  std::string bytes(4, '\0');
  std::memcpy(bytes.data(), &f, 4);
  return bytes;
}

// The CEmbOne section and the CSewSeg head: 88 bytes. The design's size and the
// transform of its blocks (a, b, c, d) are what the library reads of them.
inline std::string Sections(int blocks, int width = 20, int height = 20,
                            std::array<float, 4> transform = {1, 0, 0, 1}) {
  std::string box;
  for (int v : {990, 990, 1010, 1010}) box += Le16(v);
  std::string floats;
  for (float f : transform) floats += Float(f);
  return Le16(1) + Le16(0xFFFF) + Le16(0) + Le16(7) + "CEmbOne" + box + box + floats +
         Float(1000) + Float(1000) + Le16(1) + Le16(0xFFF6) + Le16(10) + Le16(width) +
         Le16(height) + std::string(8, '\0') + Le16(blocks) + Le16(0xFFFF) + Le16(0) + Le16(7) +
         "CSewSeg";
}

struct Block {
  int kind;     // 1: a jump block
  int palette;
  std::vector<std::pair<int, int>> points;  // absolute, Y down
};

inline std::string StitchBlocks(const std::vector<Block>& blocks) {
  std::string bytes;
  for (size_t i = 0; i < blocks.size(); ++i) {
    if (i > 0) bytes += Bytes({0x03, 0x80});
    bytes += Le16(blocks[i].kind) + Le16(blocks[i].palette) +
             Le16(static_cast<int>(blocks[i].points.size()));
    for (const auto& [x, y] : blocks[i].points) bytes += Le16(x) + Le16(y);
  }
  // The colour log of one colour and the six zero bytes ahead of the PEC block.
  return bytes + Le16(1) + Le16(0) + Le16(blocks.empty() ? 0 : blocks[0].palette) + Le16(0) +
         std::string(6, '\0');
}

// A start field of the stitch head: the high byte over 0x90, then the low byte.
inline std::string StartField(int v) { return Bytes({0x90 + (v >> 8), v & 0xFF}); }

// The PEC block: the 512-byte head, the stitch head, the stream, the end bytes and a
// picture's worth of tail. `count` overrides the stream's byte count.
inline std::string PecBlock(const std::string& stream, int width = 0, int height = 0,
                            int startX = 0, int startY = 0, int count = -1) {
  std::string head(512, ' ');
  head.replace(0, 7, "LA:TEST");
  head[19] = '\r';
  head.replace(32, 4, Bytes({0xFF, 0x00, 0x06, 0x26}));
  head.replace(48, 2, Bytes({0x00, 0x05}));
  const int bytes = (count >= 0 ? count : static_cast<int>(stream.size())) + 21;
  const std::string stitchHead = Le16(0) + Bytes({bytes & 0xFF, (bytes >> 8) & 0xFF, bytes >> 16}) +
                                 Bytes({0x31, 0xFF, 0xF0}) + Le16(width) + Le16(height) +
                                 Bytes({0xE0, 0x01, 0xB0, 0x01}) + StartField(startX) +
                                 StartField(startY);
  return head + stitchHead + stream + Bytes({0xFF, 0, 0, 0, 0, 0, 0}) + std::string(228, '\x0F');
}

// `sections` in place of the sections of a 2 x 2 mm design.
inline std::string PesFile(const std::string& version, const std::string& hoop,
                           const std::vector<Block>& blocks, const std::string& pec, int hoopCode = 0,
                           const std::string& sections = "") {
  std::string file = VersionHead(version, hoopCode, hoop) +
                     (sections.empty() ? Sections(static_cast<int>(blocks.size())) : sections) +
                     StitchBlocks(blocks);
  const auto offset = static_cast<int>(file.size());
  file.replace(8, 4, Le16(offset) + Le16(offset >> 16));
  return file + pec;
}

// The same block with other bytes in the stitch head's start fields.
inline std::string WithStart(std::string pec, const std::string& start) {
  return pec.replace(528, 4, start);
}

}  // namespace tavlin::test::pes
