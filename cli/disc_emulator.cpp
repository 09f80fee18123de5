// tavlin disc emulator-config, export-hfe, import-hfe: disc images made ready for the
// floppy emulators that stand in for the machines' drives.
#include "disc_emulator.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "common.h"
#include "disc.h"
#include "tavlin/emulator.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

constexpr const char* kFlashFloppy = "flashfloppy";

// A failure of the library said in its words, or in the reason it gave.
int FailWith(const std::string& doing, const std::error_code& ec, const std::string& why) {
  return Fail(why.empty() ? doing + ": " + InWords(ec) : why);
}

bool RefuseExisting(const std::string& path, bool force, int& exitCode) {
  std::error_code ec;
  if (!force && std::filesystem::exists(path, ec)) {
    exitCode = Fail(path + " exists: give --force to replace it");
    return true;
  }
  return false;
}

// A verb that makes one file from another (export-hfe, import-hfe): the file made is
// refused where one stands already, unless --force.
struct ConversionVerb {
  const char* name;
  const char* description;
  std::pair<const char*, const char*> from, to;  // the argument's name and help
  const char* forceHelp;
  const char* doing;  // "export": "cannot export A", "exported A to B"
  const char* joint;  // "to", "into"
  std::error_code (*run)(const std::string& from, const std::string& to, std::string* why);
};

void AddConversionVerb(CLI::App& disc, int& exitCode, const ConversionVerb& v) {
  auto from = std::make_shared<std::string>();
  auto to = std::make_shared<std::string>();
  auto force = std::make_shared<bool>(false);
  auto* verb = disc.add_subcommand(v.name, v.description);
  verb->add_option(v.from.first, *from, v.from.second)->required();
  verb->add_option(v.to.first, *to, v.to.second)->required();
  verb->add_flag("--force", *force, v.forceHelp);
  verb->callback([v, from, to, force, &exitCode] {
    if (RefuseExisting(*to, *force, exitCode)) return;
    std::string why;
    if (const std::error_code ec = v.run(*from, *to, &why)) {
      exitCode = FailWith(std::string("cannot ") + v.doing + " " + *from, ec, why);
      return;
    }
    std::cout << v.doing << "ed " << *from << " " << v.joint << " " << *to << "\n";
  });
}

}  // namespace

void AddEmulatorOption(CLI::App& verb, EmulatorArgs& args) {
  verb.add_option("--emulator", args.emulator,
                  "also write what the emulator needs: flashfloppy, the IMG.CFG beside the image")
      ->check(CLI::IsMember({kFlashFloppy}));
}

bool EmulatorNameFits(const EmulatorArgs& args, const std::string& image, DiscFamily family,
                      int& exitCode) {
  if (args.emulator.empty() || HasFlashFloppyTag(image, family)) return true;
  const std::string tag(FlashFloppyTag(family));
  std::filesystem::path named(image);
  if (named.extension() == ".img" || named.extension() == ".IMG") named.replace_extension();
  exitCode = Fail("FlashFloppy knows " + tag + " images by their names: call " + image + " " +
                  named.string() + "." + tag + ".img (NAME." + tag + ".img)");
  return false;
}

bool WriteEmulatorConfig(const EmulatorArgs& args, const std::string& image, DiscFamily family,
                         int& exitCode, const std::string& config) {
  if (args.emulator.empty()) return true;
  if (family == DiscFamily::Dos) {
    std::cout << "a DOS disc needs no IMG.CFG: FlashFloppy knows its geometry from its size\n";
    return true;
  }
  const std::string path = config.empty() ? FlashFloppyConfigPath(image) : config;
  std::string why;
  if (const std::error_code ec = MergeFlashFloppyConfig(path, family, &why)) {
    exitCode = FailWith("cannot write " + path, ec, why);
    return false;
  }
  std::cout << "IMG.CFG: the " << FlashFloppyTag(family) << " section is in " << path << "\n";
  return true;
}

void AddDiscEmulator(CLI::App& disc, int& exitCode) {
  {
    auto args = std::make_shared<DiscArgs>();
    auto config = std::make_shared<std::string>();
    auto* verb = AddDiscVerb(disc, "emulator-config",
                             "Write the IMG.CFG section from which FlashFloppy learns the image's geometry",
                             *args);
    verb->add_option("--config", *config,
                     "the IMG.CFG to merge into (default: FF/IMG.CFG or IMG.CFG beside the image)");
    verb->callback([args, config, &exitCode] {
      const std::unique_ptr<Disc> opened = OpenDisc(*args, "read", exitCode);
      if (opened == nullptr) return;
      const EmulatorArgs emulator{kFlashFloppy};
      if (!EmulatorNameFits(emulator, args->image, opened->Family(), exitCode)) return;
      WriteEmulatorConfig(emulator, args->image, opened->Family(), exitCode, *config);
    });
  }
  AddConversionVerb(disc, exitCode,
                    {"export-hfe", "Write a disc image's tracks into an HFE file for HxC emulators",
                     {"IMAGE", "the raw disc image"}, {"OUT", "the HFE file to make"},
                     "replace an HFE file that exists already", "export", "to", ExportHfe});
  AddConversionVerb(disc, exitCode,
                    {"import-hfe", "Read the sectors of an HFE file into a raw disc image",
                     {"IN", "the HFE file"}, {"IMAGE", "the raw disc image to make"},
                     "replace an image that exists already", "import", "into", ImportHfe});
}

}  // namespace tavlin::cli
