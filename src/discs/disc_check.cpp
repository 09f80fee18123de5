#include "discs/disc_check.h"

namespace tavlin {

bool DriveHoldsImageOf(const SharedRecord& shared, ImageFamily family) {
  const auto& drives = shared.platform.drives;
  if (shared.CurrentDrive < 0 || shared.CurrentDrive >= static_cast<int>(drives.size())) return false;
  const DriveBinding& binding = drives[static_cast<size_t>(shared.CurrentDrive)];
  const Geometry want = GeometryOf(family);
  const Geometry& has = binding.geometry;
  return binding.kind == DriveBinding::Kind::Image && has.cylinders == want.cylinders &&
         has.heads == want.heads && has.sectors == want.sectors && has.sectorSize == want.sectorSize;
}

void AddProblem(DiscReport& report, int line, std::string text) {
  report.problems.push_back({line, std::move(text)});
}

void BlockOwners::Take(int block, int line, const std::string& name, DiscReport& report) {
  Owner& owner = owners_[static_cast<size_t>(block)];
  const std::string number = std::to_string(block);
  if (owner.name.empty()) {
    owner = {line, name};
  } else if (owner.name == name) {
    AddProblem(report, line, name + " names block " + number + " twice");
  } else {
    AddProblem(report, line >= 0 ? line : owner.line,
               owner.name + " and " + name + " share block " + number);
  }
}

std::string NumberRuns(const std::vector<int>& numbers) {
  std::string text;
  for (size_t i = 0; i < numbers.size();) {
    size_t end = i;
    while (end + 1 < numbers.size() && numbers[end + 1] == numbers[end] + 1) ++end;
    text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
    if (end > i) text += " to " + std::to_string(numbers[end]);
    i = end + 1;
  }
  return text;
}

}  // namespace tavlin
