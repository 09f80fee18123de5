// What the disc verbs share: the family option, opening a disc with its failure said,
// and the listing as text and JSON.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tavlin/disc.h"

namespace tavlin::cli {

// The verbs of `tavlin disc`, one file each.
void AddDiscFormat(CLI::App& disc, int& exitCode);
void AddDiscList(CLI::App& disc, int& exitCode);
void AddDiscIdentify(CLI::App& disc, int& exitCode);
void AddDiscWrite(CLI::App& disc, int& exitCode);
void AddDiscRead(CLI::App& disc, int& exitCode);
void AddDiscDelete(CLI::App& disc, int& exitCode);
void AddDiscCheck(CLI::App& disc, int& exitCode);

struct DiscArgs {
  std::string image;
  std::string family;  // empty: identify the disc
};

// IMAGE and --family (default: identify) of a verb that works on the designs of a disc.
CLI::App* AddDiscVerb(CLI::App& disc, const std::string& name, const std::string& description,
                      DiscArgs& args);

// Opens the disc of the arguments, identifying it when no family is named; null, with
// the failure said and the exit code set, when it can't be.
std::unique_ptr<Disc> OpenDisc(const DiscArgs& args, const std::string& doing, int& exitCode);

// How read and delete name a design: ENTRY, its name on the disc ("A01", "A01.DAT",
// ZSK's "7"), or --line N, its line in the listing from 0.
struct EntryArgs {
  std::string entry;
  int line = -1;
};
// Adds ENTRY and --line to a verb.
void AddEntryOptions(CLI::App& verb, EntryArgs& args);
// The design they name; null, with the failure said, when none. A number that names
// no design is not taken for a line.
const DiscEntry* FindEntry(const Disc& disc, const EntryArgs& args, const std::string& doing,
                           int& exitCode);

// One line on stderr where the disc's check found damage.
void WarnDamage(const Disc& disc, const std::string& image);

// The family as the disc names it ("Barudan FMC"), or as the command does for a disc
// that names nothing yet ("fmc disc").
std::string FamilyLabel(const DiscListing& listing);

// The listing's lines, "   0  A01     .DAT       44".
void PrintDesigns(const DiscListing& listing);
nlohmann::ordered_json ListingJson(const DiscListing& listing, const std::string& image);

}  // namespace tavlin::cli
