#include "discs/disc_families.h"

#include <array>

namespace tavlin {

// Each family's record, defined in its own folder.
const DiscFamily& FmcFamily();
const DiscFamily& Fdr3Family();
const DiscFamily& ZskFamily();
const DiscFamily& DosFamily();

std::span<const DiscFamily* const> DiscFamilies() {
  static const std::array<const DiscFamily*, 4> families = {&FmcFamily(), &Fdr3Family(),
                                                            &ZskFamily(), &DosFamily()};
  return families;
}

const DiscFamily& DiscFamilyById(DiscFamilyId id) {
  for (const DiscFamily* family : DiscFamilies()) {
    if (family->id == id) return *family;
  }
  // Every id has its row; reaching here is a table left incomplete.
  return *DiscFamilies().front();
}

const DiscFamily* DiscFamilyByFormatType(int32_t formatType) {
  for (const DiscFamily* family : DiscFamilies()) {
    if (family->formatType == formatType) return family;
  }
  return nullptr;
}

const DiscFamily* DiscFamilyByName(std::string_view name) {
  for (const DiscFamily* family : DiscFamilies()) {
    if (family->name == name) return family;
  }
  return nullptr;
}

}  // namespace tavlin
