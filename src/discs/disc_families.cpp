#include "discs/disc_families.h"

#include <array>

namespace tavlin {

// Each family's record, defined in its own folder.
const DiscFamilyRecord& FmcFamily();
const DiscFamilyRecord& Fdr3Family();
const DiscFamilyRecord& ZskFamily();
const DiscFamilyRecord& DosFamily();

std::span<const DiscFamilyRecord* const> DiscFamilyRecords() {
  static const std::array<const DiscFamilyRecord*, 4> families = {&FmcFamily(), &Fdr3Family(),
                                                            &ZskFamily(), &DosFamily()};
  return families;
}

const DiscFamilyRecord& DiscFamilyById(DiscFamilyId id) {
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    if (family->id == id) return *family;
  }
  // Every id has its row; reaching here is a table left incomplete.
  return *DiscFamilyRecords().front();
}

const DiscFamilyRecord* DiscFamilyByFormatType(int32_t formatType) {
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    if (family->formatType == formatType) return family;
  }
  return nullptr;
}

const DiscFamilyRecord* DiscFamilyByName(std::string_view name) {
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    if (family->name == name) return family;
  }
  return nullptr;
}

}  // namespace tavlin
