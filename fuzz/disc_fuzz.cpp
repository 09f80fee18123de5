// libFuzzer target for one disc family, chosen when it is built (TAVLIN_FUZZ_FAMILY):
// a formatted image holding two designs, its directory and tables from the input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tavlin::fuzz::DiscFixture fixture(tavlin::DiscFamily::TAVLIN_FUZZ_FAMILY);
  if (!fixture.Ready()) {
    std::fprintf(stderr, "the fixture's image could not be made\n");
    std::abort();
  }
  fixture.Run(data, size);
  return 0;
}
