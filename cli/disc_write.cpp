// tavlin disc write IMAGE DESIGN: a stitch file of any readable format onto a disc.
#include <filesystem>
#include <iostream>

#include "common.h"
#include "disc.h"
#include "disc_emulator.h"
#include "tavlin/convert.h"

namespace tavlin::cli {

void AddDiscWrite(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto design = std::make_shared<std::string>();
  auto name = std::make_shared<std::string>();
  auto as = std::make_shared<std::string>();
  auto replace = std::make_shared<bool>(false);
  auto emulator = std::make_shared<EmulatorArgs>();
  auto* verb =
      AddDiscVerb(disc, "write", "Write a stitch file of any readable format to a disc", *args);
  verb->add_option("DESIGN", *design, "the stitch file")->required();
  verb->add_option("--name", *name,
                   "the design's name on an FDR3 disc, its first 8 characters (default: the "
                   "source's base name); FMC and ZSK discs name designs by number");
  verb->add_option("--as", *as,
                   "on a DOS disc, the file's name, whose extension gives its format "
                   "(default: the source's own name), 8.3 and ASCII");
  verb->add_flag("--replace", *replace, "on a DOS disc, replace a file of that name");
  AddEmulatorOption(*verb, *emulator);
  verb->callback([args, design, name, as, replace, emulator, &exitCode] {
    namespace fs = std::filesystem;
    std::error_code missing;
    if (!fs::is_regular_file(*design, missing)) {
      exitCode = Fail("cannot write " + *design + ": file not found (code 53)");
      return;
    }
    if (const std::string why = RefusedFormat(*design, true); !why.empty()) {
      exitCode = Fail("cannot write " + *design + ": " + why);
      return;
    }
    if (const std::string why = WhySourceUnsound(*design); !why.empty()) {
      exitCode = Fail("cannot write " + *design + ": " + why);
      return;
    }
    const std::unique_ptr<Disc> opened = OpenDisc(*args, "write to", exitCode);
    if (opened == nullptr) return;
    // An option the family has no use for would be dropped without a word.
    const std::string family(DiscFamilyName(opened->Family()));
    if (!name->empty() && opened->Family() != DiscFamily::Fdr3) {
      exitCode = Fail("cannot write to " + args->image + ": --name names FDR3 designs; a " + family +
                      (opened->Family() == DiscFamily::Dos ? " disc takes --as NAME.EXT"
                                                           : " disc names its designs by number"));
      return;
    }
    if (!as->empty() && opened->Family() != DiscFamily::Dos) {
      exitCode = Fail("cannot write to " + args->image + ": --as names files on DOS discs; a " +
                      family +
                      (opened->Family() == DiscFamily::Fdr3 ? " disc takes --name NAME"
                                                            : " disc names its designs by number"));
      return;
    }
    if (!EmulatorNameFits(*emulator, args->image, opened->Family(), exitCode)) return;
    DiscWriteOptions options{.name = *name, .replace = *replace, .progress = ProgressBar()};
    if (opened->Family() == DiscFamily::Dos) {
      options.name = as->empty() ? fs::path(*design).filename().string() : *as;
      if (const std::string why = RefusedFormat(options.name, false); !why.empty()) {
        exitCode = Fail("cannot write " + options.name + ": " + why);
        return;
      }
    }
    std::string written;
    const std::error_code ec = opened->Write(*design, options, written);
    ClearProgressBar();
    if (ec) {
      exitCode = Fail("cannot write " + *design + " to " + args->image + ": " + InWords(ec, *design));
      return;
    }
    std::cout << "wrote " << *design << " as " << written << "\n";
    WriteEmulatorConfig(*emulator, args->image, opened->Family(), exitCode);
  });
}

}  // namespace tavlin::cli
