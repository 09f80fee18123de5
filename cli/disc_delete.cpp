// tavlin disc delete IMAGE ENTRY: a design off a disc.
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscDelete(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto entry = std::make_shared<EntryArgs>();
  auto* verb = AddDiscVerb(disc, "delete", "Delete the design named (or on --line N) from a disc",
                           *args);
  AddEntryOptions(*verb, *entry);
  verb->callback([args, entry, &exitCode] {
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "delete on", exitCode);
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
