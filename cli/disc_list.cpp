// tavlin disc list IMAGE: the designs on a disc and the room left.
#include <algorithm>
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscList(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto json = std::make_shared<bool>(false);
  auto* verb = AddDiscVerb(disc, "list", "List the designs on a disc and the room left", *args);
  verb->add_flag("--json", *json, "print JSON");
  verb->callback([args, json, &exitCode] {
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "list", exitCode);
    if (opened == nullptr) return;
    const DiscListing& listing = opened->Listing();
    WarnDamage(*opened, args->image);
    if (*json) {
      std::cout << ListingJson(listing, args->image).dump(2) << "\n";
      return;
    }
    if (listing.designs.empty()) {
      std::cout << FamilyLabel(listing) << ": no designs on the disc, " << listing.freeStitches
                << " stitches free\n";
      return;
    }
    const auto designs = std::count_if(listing.designs.begin(), listing.designs.end(),
                                       [](const DiscEntry& d) { return d.design; });
    const auto others = static_cast<long>(listing.designs.size()) - designs;
    std::cout << FamilyLabel(listing) << ": " << designs << (designs == 1 ? " design, " : " designs, ")
              << (others == 0 ? "" : std::to_string(others) + (others == 1 ? " other file, " : " other files, "))
              << listing.freeStitches << " stitches free\n";
    PrintDesigns(listing);
  });
}

}  // namespace tavlin::cli
