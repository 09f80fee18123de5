// tavlin disc: designs on machine discs, as image files or folders, through the
// library's Disc. Each verb has its file; this one holds what they share.
#include "disc.h"

#include <cstdio>

#include "common.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

std::vector<std::string> FamilyNames() {
  std::vector<std::string> names;
  for (const DiscFamily family : DiscFamilies()) names.emplace_back(DiscFamilyName(family));
  return names;
}

}  // namespace

CLI::App* AddDiscVerb(CLI::App& disc, const std::string& name, const std::string& description,
                      DiscArgs& args) {
  auto* verb = disc.add_subcommand(name, description);
  verb->add_option("IMAGE", args.image, "the disc image file, or a folder standing for a DOS disc")
      ->required();
  verb->add_option("--family", args.family, "the disc family (default: identify the disc)")
      ->check(CLI::IsMember(FamilyNames()));
  return verb;
}

std::unique_ptr<Disc> OpenDisc(const DiscArgs& args, const std::string& doing, int& exitCode) {
  std::optional<DiscFamily> family;
  if (!args.family.empty()) family = DiscFamilyNamed(args.family);
  std::error_code ec;
  std::string why;
  std::unique_ptr<Disc> disc = Disc::Open(args.image, family, ec, &why);
  if (disc == nullptr) {
    exitCode = Fail(why.empty() ? "cannot " + doing + " " + args.image + ": " + InWords(ec) : why);
  }
  return disc;
}

void AddEntryOptions(CLI::App& verb, EntryArgs& args) {
  verb.add_option("ENTRY", args.entry, "the design's name on the disc (A01, ROSE.U01, 7 ...)");
  verb.add_option("--line", args.line, "the design on this line of the listing, from 0")
      ->check(CLI::NonNegativeNumber);
}

const DiscEntry* FindEntry(const Disc& disc, const EntryArgs& args, const std::string& doing,
                           int& exitCode) {
  const std::vector<DiscEntry>& designs = disc.Listing().designs;
  if (args.line >= 0) {
    if (static_cast<size_t>(args.line) < designs.size()) return &designs[static_cast<size_t>(args.line)];
    exitCode = Fail("cannot " + doing + " line " + std::to_string(args.line) + ": the listing has " +
                    std::to_string(designs.size()) + " line(s)");
    return nullptr;
  }
  if (args.entry.empty()) {
    exitCode = Fail("cannot " + doing + ": name a design, or a line with --line");
    return nullptr;
  }
  if (const DiscEntry* named = disc.Find(args.entry)) return named;
  const bool number = args.entry.find_first_not_of("0123456789") == std::string::npos;
  exitCode = Fail("cannot " + doing + " " + args.entry + ": no design named " + args.entry +
                  (number ? "; use --line " + args.entry + " for a line of the listing" : ""));
  return nullptr;
}

std::string FamilyLabel(const DiscListing& listing) {
  if (!listing.format.empty()) return listing.format;
  return std::string(DiscFamilyName(listing.family)) + " disc";
}

void PrintDesigns(const DiscListing& listing) {
  for (const DiscEntry& d : listing.designs) std::printf("%4d  %s\n", d.line, d.text.c_str());
}

nlohmann::ordered_json ListingJson(const DiscListing& listing, const std::string& image) {
  nlohmann::ordered_json out = {{"image", image},
                                {"kind", DiscFamilyName(listing.family)},
                                {"family", listing.format},
                                {"disc_type", listing.discType},
                                {"free_stitches", listing.freeStitches},
                                {"designs", nlohmann::json::array()}};
  for (const DiscEntry& d : listing.designs) {
    out["designs"].push_back({{"line", d.line}, {"name", d.name}, {"stitches", d.stitches}});
  }
  return out;
}

void AddDisc(CLI::App& app, int& exitCode) {
  auto* disc = app.add_subcommand("disc", "Designs on machine floppy discs, as image files");
  disc->require_subcommand(1);
  AddDiscFormat(*disc, exitCode);
  AddDiscList(*disc, exitCode);
  AddDiscWrite(*disc, exitCode);
  AddDiscRead(*disc, exitCode);
  AddDiscDelete(*disc, exitCode);
  AddDiscIdentify(*disc, exitCode);
  AddDiscEmulator(*disc, exitCode);
}

}  // namespace tavlin::cli
