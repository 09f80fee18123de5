// tavlin disc identify IMAGE: which machine family's disc an image or folder holds.
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscIdentify(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto json = std::make_shared<bool>(false);
  auto* verb = disc.add_subcommand(
      "identify", "Tell which machine family's disc an image or folder holds, and list it");
  verb->add_option("IMAGE", args->image, "the disc image file, or a folder standing for a DOS disc")
      ->required();
  verb->add_flag("--json", *json, "print JSON");
  verb->callback([args, json, &exitCode] {
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "identify", exitCode);
    if (opened == nullptr) return;
    const DiscListing& listing = opened->Listing();
    if (*json) {
      std::cout << ListingJson(listing, args->image).dump(2) << "\n";
      return;
    }
    const size_t count = listing.designs.size();
    std::cout << FamilyLabel(listing) << ": "
              << (count == 0 ? std::string("no designs on the disc")
                             : std::to_string(count) + (count == 1 ? " design" : " designs"))
              << "\n";
    WarnDamage(*opened, args->image);
    PrintDesigns(listing);
    std::cout << listing.freeStitches << " stitches free\n";
  });
}

}  // namespace tavlin::cli
