// Reading a stitch file step by step through its decoder, without writing anything:
// what `tavlin info` and the demo's read-back use to see what a file holds.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/drives.h"
#include "tavlin/design.h"

namespace tavlin {

using DecodedStep = DesignStep;

// Streams the file's steps to the visitor in order. Returns 0, or the run-time code
// that stopped the reading (5 for a format this build can't read).
int16_t ReadDesignSteps(PlatformState& platform, const std::string& path,
                        const std::function<void(const DecodedStep&)>& visit,
                        bool readsOtherWriters = false);

}  // namespace tavlin
