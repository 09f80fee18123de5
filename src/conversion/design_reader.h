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
int16_t ReadDesignSteps(PlatformState& platform, const StitchFile& file,
                        const std::function<void(const DecodedStep&)>& visit,
                        bool asOtherProgramsDo = false, bool* ranOut = nullptr);

// The stitches a file holds as `tavlin info` counts them (readers of other programs'
// files), or -1 where it can't be read as a design.
int64_t CountStitches(PlatformState& platform, const StitchFile& file);

// Why a file is no whole design of the format its name gives: empty, shorter than the
// format's head, not beginning as the format's files do, or cut short before its end
// record. Empty when nothing says so. What a converter or a disc write refuses before it
// writes anything.
std::string WhyUnsound(PlatformState& platform, const StitchFile& file);

// What a source file says beside its stitches: its threads and what its head names.
struct SourceFacts {
  std::vector<ThreadColour> threads;
  HeadFacts head;
};
// `colourIndex` is the number of colours its stream gave. A file that can't be opened
// or read says nothing.
SourceFacts ReadSourceFacts(PlatformState& platform, const StitchFile& file, int16_t colourIndex);

}  // namespace tavlin
