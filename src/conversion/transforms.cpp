#include "conversion/transforms.h"

#include "conversion/format_table.h"

#include <cmath>
#include <cstdlib>

namespace tavlin {

void SplitLongStep(ConversionRun& run) {
  StitchStep& step = run.step;
  if (run.Splitting) {
    run.PartDone += 1;
    if (run.PartDone != run.PartCount) {
      step.StepKind = run.Dest->halvesLongSteps ? run.SavedKind : int16_t{KindJump};
      step.StepX = run.PartX;
      step.StepY = run.PartY;
    } else {
      step.StepKind = run.SavedKind;
      step.StepX = run.RestX;
      step.StepY = run.RestY;
      run.Splitting = false;
    }
    return;
  }
  if (std::abs(step.StepX) <= kStepLimit && std::abs(step.StepY) <= kStepLimit) return;
  run.SavedKind = step.StepKind;
  if (run.Dest->halvesLongSteps) {
    run.PartCount = 1;
    run.PartX = static_cast<int16_t>(std::nearbyint(step.StepX / 2.0));
    run.PartY = static_cast<int16_t>(std::nearbyint(step.StepY / 2.0));
  } else {
    step.StepKind = KindJump;
    const double x = step.StepX, y = step.StepY;
    const double n = std::sqrt(x * x + y * y) / run.settings.MaxStitchLength;
    run.PartCount = static_cast<int32_t>(n);
    const double divisor = std::trunc(1 + n);
    run.PartX = static_cast<int16_t>(std::trunc(step.StepX / divisor));
    run.PartY = static_cast<int16_t>(std::trunc(step.StepY / divisor));
  }
  run.RestX = static_cast<int16_t>(step.StepX - run.PartCount * run.PartX);
  run.RestY = static_cast<int16_t>(step.StepY - run.PartCount * run.PartY);
  run.Splitting = true;
  run.PartDone = 0;
  step.StepX = run.PartX;
  step.StepY = run.PartY;
}

namespace {

void Turn(StitchStep& step, bool clockwise) {
  const int16_t x = step.StepX, y = step.StepY;
  if (clockwise) {
    step.StepX = y;
    step.StepY = static_cast<int16_t>(-x);
  } else {
    step.StepX = static_cast<int16_t>(-y);
    step.StepY = x;
  }
}

}  // namespace

void Rotate(ConversionRun& run) {
  if (run.PesTurned) Turn(run.step, run.PesTurnsClockwise);
  if (run.TurnDesign) Turn(run.step, false);
  if (run.DesignTurned && (!run.settings.PESAbosulteFlag || run.PesBlocksTurned)) {
    Turn(run.step, true);
  }
}

}  // namespace tavlin
