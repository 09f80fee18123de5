// Reading a stitch file step by step through its decoder, without writing anything:
// what `tavlin info` and the demo's read-back use to see what a file holds.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "conversion/format_table.h"
#include "platform/drives.h"
#include "tavlin/design.h"

namespace tavlin {

using DecodedStep = DesignStep;

// Streams the file's steps to the visitor in order. Returns 0, or the run-time code
// that stopped the reading (5 for a format this build can't read).
int16_t ReadDesignSteps(PlatformState& platform, const std::string& path,
                        const std::function<void(const DecodedStep&)>& visit,
                        bool readsOtherWriters = false);

// What a source file says beside its stitches: its threads and what its head names.
struct SourceFacts {
  std::vector<ThreadColour> threads;
  HeadFacts head;
};
// `colourIndex` is the number of colours its stream gave. A file that can't be opened
// or read says nothing.
SourceFacts ReadSourceFacts(PlatformState& platform, const std::string& path, int16_t colourIndex);

}  // namespace tavlin
