// tavlin disc emulator-config, export-hfe, import-hfe: disc images made ready for the
// floppy emulators that stand in for the machines' drives.
#include "disc_emulator.h"

#include <filesystem>
#include <iostream>

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
  {
    auto image = std::make_shared<std::string>();
    auto hfe = std::make_shared<std::string>();
    auto force = std::make_shared<bool>(false);
    auto* verb = disc.add_subcommand("export-hfe", "Write a disc image's tracks into an HFE file for HxC emulators");
    verb->add_option("IMAGE", *image, "the raw disc image")->required();
    verb->add_option("OUT", *hfe, "the HFE file to make")->required();
    verb->add_flag("--force", *force, "replace an HFE file that exists already");
    verb->callback([image, hfe, force, &exitCode] {
      if (RefuseExisting(*hfe, *force, exitCode)) return;
      std::string why;
      if (const std::error_code ec = ExportHfe(*image, *hfe, &why)) {
        exitCode = FailWith("cannot export " + *image, ec, why);
        return;
      }
      std::cout << "exported " << *image << " to " << *hfe << "\n";
    });
  }
  {
    auto hfe = std::make_shared<std::string>();
    auto image = std::make_shared<std::string>();
    auto force = std::make_shared<bool>(false);
    auto* verb = disc.add_subcommand("import-hfe", "Read the sectors of an HFE file into a raw disc image");
    verb->add_option("IN", *hfe, "the HFE file")->required();
    verb->add_option("IMAGE", *image, "the raw disc image to make")->required();
    verb->add_flag("--force", *force, "replace an image that exists already");
    verb->callback([hfe, image, force, &exitCode] {
      if (RefuseExisting(*image, *force, exitCode)) return;
      std::string why;
      if (const std::error_code ec = ImportHfe(*hfe, *image, &why)) {
        exitCode = FailWith("cannot import " + *hfe, ec, why);
        return;
      }
      std::cout << "imported " << *hfe << " into " << *image << "\n";
    });
  }
}

}  // namespace tavlin::cli
