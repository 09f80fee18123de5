#include "test_support.h"

#include <cmath>

#include <gtest/gtest.h>

#include "conversion/design_reader.h"
#include "platform/drives.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"

namespace tavlin::test {

std::vector<Needle> NeedlesOf(const std::string& path, bool withJumps) {
  std::vector<Needle> needles;
  EXPECT_EQ(ReadDesign(path,
                       [&needles, withJumps](const DesignStep& s) {
                         if (s.kind == StepKind::Jump && !withJumps) return;
                         const int16_t kind = ChangesColour(s.kind)
                                                  ? int16_t{2}
                                                  : static_cast<int16_t>(s.kind);
                         needles.push_back(
                             {std::lround(s.posX), std::lround(s.posY), kind, s.colour});
                       }).value(),
            0)
      << path;
  return needles;
}

std::vector<Needle> ReadNeedles(const std::string& path, bool library, int16_t* result) {
  PlatformState platform;
  std::vector<Needle> steps;
  const int16_t code = ReadDesignSteps(
      platform, ResolveStitchFile(path, library),
      [&steps](const DesignStep& s) {
        steps.push_back({std::lround(s.posX), std::lround(s.posY), static_cast<int16_t>(s.kind),
                         s.colour});
      },
      library);
  if (result != nullptr) {
    *result = code;
  } else {
    EXPECT_EQ(code, 0) << path;
  }
  return steps;
}

std::vector<Step> StepsOf(const std::string& path, bool library) {
  PlatformState platform;
  std::vector<Step> steps;
  EXPECT_EQ(ReadDesignSteps(platform, ResolveStitchFile(path, library),
                            [&steps](const DesignStep& s) {
                              steps.push_back({static_cast<int16_t>(s.kind), s.x, s.y, s.colour});
                            },
                            library),
            0)
      << path;
  return steps;
}

}  // namespace tavlin::test
