// libFuzzer target: every readable stitch format into DST, QEP and PES (where written).
#include <cstddef>
#include <cstdint>

#include "entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const tavlin::fuzz::Scratch scratch;
  tavlin::fuzz::FuzzFormats(scratch, data, size);
  return 0;
}
