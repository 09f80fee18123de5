// tavlin disc format IMAGE --family F: a new image file holding an empty disc.
#include <filesystem>
#include <iostream>

#include "common.h"
#include "disc.h"

namespace tavlin::cli {

namespace {

// A DOS disc is made at 720 KB, and the name says so.
std::optional<DiscFamily> FormattedFamily(const std::string& name) {
  if (name == "dos720") return DiscFamily::Dos;
  if (name == "dos") return std::nullopt;
  return DiscFamilyNamed(name);
}

std::vector<std::string> FormattedNames() {
  std::vector<std::string> names;
  for (const DiscFamily family : DiscFamilies()) {
    const std::string name(DiscFamilyName(family));
    names.push_back(name == "dos" ? "dos720" : name);
  }
  return names;
}

}  // namespace

void AddDiscFormat(CLI::App& disc, int& exitCode) {
  auto image = std::make_shared<std::string>();
  auto family = std::make_shared<std::string>();
  auto force = std::make_shared<bool>(false);
  auto* verb = disc.add_subcommand("format", "Make an image file holding an empty disc of a family");
  verb->add_option("IMAGE", *image, "the disc image file to make")->required();
  verb->add_option("--family", *family, "the disc family")
      ->required()
      ->check(CLI::IsMember(FormattedNames()));
  verb->add_flag("--force", *force, "format an image that exists already");
  verb->callback([image, family, force, &exitCode] {
    std::error_code ec;
    if (std::filesystem::exists(*image, ec) && !*force) {
      exitCode = Fail(*image + " exists: give --force to format it anew");
      return;
    }
    if (const std::error_code failed = FormatDiscImage(*image, *FormattedFamily(*family))) {
      exitCode = Fail("cannot format " + *image + ": " + InWords(failed));
      return;
    }
    std::cout << "formatted " << *image << " as an empty " << *family << " disc\n";
  });
}

}  // namespace tavlin::cli
