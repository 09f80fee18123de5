// tavlin disc delete IMAGE ENTRY: a design off a disc.
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscDelete(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto entry = std::make_shared<std::string>();
  auto* verb = AddDiscVerb(disc, "delete", "Delete a design from a disc", *args);
  verb->add_option("ENTRY", *entry,
                   "the design: its name on the disc, or else its line in the listing from 0")
      ->required();
  verb->callback([args, entry, &exitCode] {
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "delete " + *entry + " on", exitCode);
    if (opened == nullptr) return;
    const DiscEntry* design = FindEntry(*opened, *entry, "delete", exitCode);
    if (design == nullptr) return;
    const std::string name = design->name;
    if (const std::error_code ec = opened->Delete(*design)) {
      exitCode = Fail("cannot delete " + name + ": " + InWords(ec));
      return;
    }
    std::cout << "deleted " << name << "\n";
  });
}

}  // namespace tavlin::cli
