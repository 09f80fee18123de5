// Trims that a format without a trim code draws: a DST source stands for one with a
// run of five jumps, and a destination that has a trim record gets it inserted.
#pragma once

#include "conversion/conversion_run.h"

namespace tavlin {

// Puts the destination's trim record, if it has one, ahead of the four jumps that
// stand last in it.
void InsertDrawnTrim(ConversionRun& run);

// Counts the run of jumps the decoded step belongs to; at exactly five, outside the
// design's first run, inserts the destination's trim record ahead of the four jumps
// already written.
inline void CountJumpRun(ConversionRun& run) {
  if (run.step.StepKind != KindJump) {
    run.JumpRun = 0;
    run.FirstJumpRun = false;
    return;
  }
  run.JumpRun += 1;
  if (run.JumpRun == 5 && !run.FirstJumpRun) InsertDrawnTrim(run);
}

}  // namespace tavlin
