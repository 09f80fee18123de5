// tavlin disc read IMAGE ENTRY OUT: a design off a disc, in the format OUT names.
#include <filesystem>
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

void AddDiscRead(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto entry = std::make_shared<EntryArgs>();
  auto out = std::make_shared<std::string>();
  auto force = std::make_shared<bool>(false);
  auto* verb = AddDiscVerb(
      disc, "read",
      "Read the design named (or on --line N) off a disc into a stitch file of the format OUT "
      "names",
      *args);
  AddEntryOptions(*verb, *entry);
  verb->add_option("OUT", *out, "the stitch file to write");
  verb->add_flag("--force", *force, "replace OUT where it exists");
  verb->callback([args, entry, out, force, &exitCode] {
    // With --line the one word left is OUT.
    if (out->empty() && entry->line >= 0) std::swap(*out, entry->entry);
    if (out->empty()) {
      exitCode = Fail("disc read: name the stitch file to write");
      return;
    }
    if (const std::string why = RefusedFormat(*out, false); !why.empty()) {
      exitCode = Fail("cannot read into " + *out + ": " + why);
      return;
    }
    std::error_code probe;
    if (std::filesystem::exists(*out, probe) && !*force) {
      exitCode = Fail(*out + " exists: give --force to replace it");
      return;
    }
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "read from", exitCode);
    if (opened == nullptr) return;
    const DiscEntry* design = FindEntry(*opened, *entry, "read", exitCode);
    if (design == nullptr) return;
    const std::error_code ec = opened->Read(*design, *out, ProgressBar());
    ClearProgressBar();
    if (ec) {
      exitCode = Fail("cannot read " + design->name + " from " + args->image + ": " + InWords(ec));
      return;
    }
    std::cout << "read " << design->name << " into " << *out << "\n";
  });
}

}  // namespace tavlin::cli
