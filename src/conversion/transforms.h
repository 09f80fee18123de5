// The transforms every step passes through between decoder and encoder: long steps
// split into pieces, and the design turned.
#pragma once

#include "conversion/conversion_run.h"

namespace tavlin {

// The longest step any format stores, on either axis.
constexpr int16_t kStepLimit = 121;

// Starts or continues the split of a step beyond 121 on either axis: jumps of
// MaxStitchLength or less and a last piece of the step's own kind (two halves of
// its own kind for PES). The pieces add up to the step exactly.
void SplitLongStep(ConversionRun& run);

// Turns the step by the flags that a PES, SEW or JEF head has set.
void Rotate(ConversionRun& run);

}  // namespace tavlin
