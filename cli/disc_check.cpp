// tavlin disc check IMAGE: the disc's structures looked over as fsck would, and what is
// wrong said line by line; exits non-zero for a damaged or unknown disc. What it says is
// what makes a write or delete refuse the disc.
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscCheck(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto* verb = AddDiscVerb(
      disc, "check", "Check a disc's directory, blocks and chains as fsck would, changing nothing",
      *args);
  verb->callback([args, &exitCode] {
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "check", exitCode);
    if (opened == nullptr) return;
    const DiscListing& listing = opened->Listing();
    const std::vector<DiscDamage>& damage = opened->Damage();
    if (damage.empty()) {
      std::cout << args->image << ": sound, " << FamilyLabel(listing) << ", "
                << listing.designs.size() << (listing.designs.size() == 1 ? " design" : " designs")
                << "\n";
      return;
    }
    std::cout << args->image << ": damaged, " << DiscFamilyName(listing.family) << " disc, "
              << damage.size() << (damage.size() == 1 ? " problem" : " problems")
              << "; nothing is written to it\n";
    for (const DiscDamage& problem : damage) {
      std::cout << "  ";
      if (problem.line >= 0) std::cout << "line " << problem.line << " (" << problem.design << "): ";
      std::cout << problem.text << "\n";
    }
    exitCode = 1;
  });
}

}  // namespace tavlin::cli
