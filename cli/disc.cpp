// tavlin disc: designs on machine discs, as image files or folders, through the
// library's Disc. Each verb has its file; this one holds what they share.
#include "disc.h"

#include <cstdio>
#include <iostream>

#include "common.h"
#include "tavlin/error.h"
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
    std::string said = InWords(ec);
    if (ec == DiscErrc::NotThisFamily) said = "it is not a " + args.family + " disc";
    exitCode = Fail(why.empty() ? "cannot " + doing + " " + args.image + ": " + said : why);
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
  // Two ways of naming at once could name two designs: which one was meant is a guess.
  if (args.line >= 0 && !args.entry.empty()) {
    exitCode = Fail("cannot " + doing + ": name the design or give --line, not both");
    return nullptr;
  }
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
  const std::vector<const DiscEntry*> matches = disc.Matches(args.entry);
  if (matches.size() == 1) return matches.front();
  if (matches.size() > 1) {
    std::string names;
    for (const DiscEntry* match : matches) names += (names.empty() ? "" : ", ") + match->name;
    exitCode = Fail("cannot " + doing + " " + args.entry + ": the name fits " +
                    std::to_string(matches.size()) + " designs (" + names + "); give the whole name");
    return nullptr;
  }
  // A number is a line only on a disc whose designs are not named by number: on a ZSK
  // disc line 7 is another design than the 7 that was asked for.
  const bool number = args.entry.find_first_not_of("0123456789") == std::string::npos;
  const bool hint = number && disc.Family() != DiscFamily::Zsk;
  exitCode = Fail("cannot " + doing + " " + args.entry + ": no design named " + args.entry +
                  (hint ? "; use --line " + args.entry + " for a line of the listing" : ""));
  return nullptr;
}

void WarnDamage(const Disc& disc, const std::string& image) {
  if (disc.Damage().empty()) return;
  std::cerr << "tavlin: " << image << " is damaged (" << disc.Damage().size()
            << (disc.Damage().size() == 1 ? " problem" : " problems")
            << "): it is not written to; tavlin disc check " << image << " says what\n";
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
                                {"family", FamilyLabel(listing)},
                                {"disc_type", listing.discType},
                                {"free_stitches", listing.freeStitches},
                                {"designs", nlohmann::json::array()}};
  for (const DiscEntry& d : listing.designs) {
    nlohmann::ordered_json entry = {{"line", d.line}, {"name", d.name}, {"stitches", d.stitches}};
    if (!d.design) entry["stitches"] = nullptr;
    entry["design"] = d.design;
    out["designs"].push_back(entry);
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
  AddDiscCheck(*disc, exitCode);
  AddDiscEmulator(*disc, exitCode);
}

}  // namespace tavlin::cli
