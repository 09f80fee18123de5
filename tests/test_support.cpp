#include "test_support.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tavlin/stitch_files.h"

namespace tavlin::test {

std::vector<Needle> NeedlesOf(const std::string& path, bool withJumps) {
  std::vector<Needle> needles;
  EXPECT_EQ(ReadDesign(path,
                       [&needles, withJumps](const DesignStep& s) {
                         if (s.kind == KindJump && !withJumps) return;
                         const int16_t kind = s.kind >= 23 && s.kind <= 30 ? int16_t{2} : s.kind;
                         needles.push_back(
                             {std::lround(s.posX), std::lround(s.posY), kind, s.colour});
                       }),
            0)
      << path;
  return needles;
}

}  // namespace tavlin::test
