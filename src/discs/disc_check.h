// What the checks of the disc families share: who holds each block, and whether the
// drive holds an image of a family's own size.
#pragma once

#include <string>
#include <vector>

#include "discs/disc_families.h"
#include "state/shared_record.h"

namespace tavlin {

// Whether the current drive is bound to an image of the family's geometry: a family
// claims only a disc of the size it is made at.
bool DriveHoldsImageOf(const SharedRecord& shared, ImageFamily family);

void AddProblem(DiscReport& report, int line, std::string text);

// Who holds each block of a disc: a design (its listing line and name) or a structure of
// the disc (line -1, a name such as "the free list").
class BlockOwners {
 public:
  explicit BlockOwners(int blocks) : owners_(static_cast<size_t>(blocks)) {}
  // Notes that `name` holds the block. One that is held already is a problem of the
  // design among the two, the later one where both are designs.
  void Take(int block, int line, const std::string& name, DiscReport& report);
  bool Held(int block) const { return !owners_[static_cast<size_t>(block)].name.empty(); }

 private:
  struct Owner {
    int line = -1;
    std::string name;
  };
  std::vector<Owner> owners_;
};

// Numbers in rising order as runs: "12 to 20, 33".
std::string NumberRuns(const std::vector<int>& numbers);

}  // namespace tavlin
