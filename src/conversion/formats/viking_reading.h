// What a pass keeps while it reads a file of the Viking family (HUS, VIP, SHV, VP3), which
// the run holds as `Hus`, and what a HUS or VP3 destination gathers, held as `HusOut`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "compression/lzh_blocks.h"

namespace tavlin {

struct HusReading {
  // HUS and VIP: the compressed streams and their decoders, read side by side.
  std::vector<uint8_t> packed[3];
  std::vector<LzhDecoder> streams;
  uint32_t records = 0;
  uint32_t read = 0;

  // SHV: where each colour's records end, counted in two-byte units from the first,
  // and where its needle starts (Y up).
  struct ShvColour {
    uint64_t end = 0;
    int32_t x = 0, y = 0;
  };
  std::vector<ShvColour> colours;
  uint64_t units = 0;
  size_t colour = 0;
  int32_t x = 0, y = 0;  // the needle, Y up

  // VP3: each colour block's stitch bytes and where its needle starts (Y up).
  struct Vp3Block {
    int64_t from = 0, to = 0;
    int32_t x = 0, y = 0;
  };
  std::vector<Vp3Block> blocks;
  size_t block = 0;
  bool blockStarted = false;
};

// What a HUS or VP3 destination gathers: both are written whole at the end.
struct HusWriting {
  std::vector<uint8_t> commands, xs, ys;  // HUS's three streams
  // VP3: each colour's stitch bytes and where its needle starts (Y up).
  struct Vp3Colour {
    int32_t x = 0, y = 0;
    std::string bytes;
  };
  std::vector<Vp3Colour> colours{1};
  int64_t stitches = 0;
  int32_t x = 0, y = 0, maxX = 0, maxY = 0, minX = 0, minY = 0;
};

}  // namespace tavlin
