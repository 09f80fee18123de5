// tavlin disc format IMAGE --family F: a new image file holding an empty disc.
#include <filesystem>
#include <iostream>

#include "common.h"
#include "disc.h"
#include "disc_emulator.h"

namespace tavlin::cli {

namespace {

// A DOS disc comes in two sizes, and its name says which.
struct Formatted {
  DiscFamily family;
  bool highDensity;
};

std::optional<Formatted> FormattedFamily(const std::string& name) {
  if (name == "dos720") return Formatted{DiscFamily::Dos, false};
  if (name == "dos1440") return Formatted{DiscFamily::Dos, true};
  const std::optional<DiscFamily> family = DiscFamilyNamed(name);
  if (!family || *family == DiscFamily::Dos) return std::nullopt;
  return Formatted{*family, false};
}

std::vector<std::string> FormattedNames() {
  std::vector<std::string> names;
  for (const DiscFamily family : DiscFamilies()) {
    const std::string name(DiscFamilyName(family));
    if (FormattedFamily(name)) names.push_back(name);
  }
  names.push_back("dos720");
  names.push_back("dos1440");
  return names;
}

}  // namespace

void AddDiscFormat(CLI::App& disc, int& exitCode) {
  auto image = std::make_shared<std::string>();
  auto family = std::make_shared<std::string>();
  auto force = std::make_shared<bool>(false);
  auto emulator = std::make_shared<EmulatorArgs>();
  auto* verb = disc.add_subcommand("format", "Make an image file holding an empty disc of a family");
  verb->add_option("IMAGE", *image, "the disc image file to make")->required();
  verb->add_option("--family", *family, "the disc family")
      ->required()
      ->check(CLI::IsMember(FormattedNames()));
  verb->add_flag("--force", *force, "format an image that exists already");
  AddEmulatorOption(*verb, *emulator);
  verb->callback([image, family, force, emulator, &exitCode] {
    std::error_code ec;
    if (std::filesystem::exists(*image, ec) && !*force) {
      exitCode = Fail(*image + " exists: give --force to format it anew");
      return;
    }
    const Formatted made = *FormattedFamily(*family);
    if (!EmulatorNameFits(*emulator, *image, made.family, exitCode)) return;
    if (const std::error_code failed = FormatDiscImage(*image, made.family, made.highDensity)) {
      exitCode = Fail("cannot format " + *image + ": " + InWords(failed));
      return;
    }
    std::cout << "formatted " << *image << " as an empty " << *family << " disc\n";
    WriteEmulatorConfig(*emulator, *image, made.family, exitCode);
  });
}

}  // namespace tavlin::cli
