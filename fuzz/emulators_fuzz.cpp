// libFuzzer target: HFE files imported (and the images they give exported and imported
// again), IMG.CFG files merged into.
#include <cstddef>
#include <cstdint>

#include "entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const tavlin::fuzz::Scratch scratch;
  tavlin::fuzz::FuzzEmulators(scratch, data, size);
  return 0;
}
