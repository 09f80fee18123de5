// libFuzzer target: a compressed stream of the HUS family decoded, and what decodes
// compressed again and decoded back.
#include <cstddef>
#include <cstdint>

#include "entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tavlin::fuzz::FuzzLzh(data, size);
  return 0;
}
