// tavlin disc format|list|write|read|delete: designs on machine discs, through the
// public class exactly as a COM host would drive it.
#include "disc.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "common.h"
#include "tavlin/stitch_files.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

namespace fs = std::filesystem;

const std::vector<DiscFamily>& Families() {
  static const std::vector<DiscFamily> families = {
      {"fmc", FMC, ImageFamily::Fmc, true, true},
      {"fdr3", FDR3, ImageFamily::Fdr3, true, true},
      {"zsk", ZSKDisc, ImageFamily::Zsk, true, true},
      {"dos720", OtherDOS, ImageFamily::Dos720, true, false},
      {"dos", OtherDOS, ImageFamily::FromSize, false, true},
  };
  return families;
}

std::string Normalised(const std::string& name) {
  std::string out;
  for (char c : name) {
    if (c != ' ') out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return out;
}

// The design an ENTRY names: a name on the disc ("A01", "A01.DAT", ZSK's "7"), or
// else a line of the listing counted from 0.
const ListedDesign* FindEntry(const std::vector<ListedDesign>& designs, const std::string& entry) {
  const std::string wanted = Normalised(entry);
  for (const ListedDesign& d : designs) {
    const std::string name = Normalised(d.name);
    if (name == wanted || name.substr(0, name.find('.')) == wanted) return &d;
  }
  for (const ListedDesign& d : designs) {
    if (std::to_string(d.line) == entry) return &d;
  }
  return nullptr;
}

struct DiscArgs {
  std::string image;
  std::string family;  // empty: identify the disc
};

const DiscFamily* FamilyOf(const DiscArgs& args) {
  return args.family.empty() ? nullptr : FindDiscFamily(args.family);
}

// The listing the last disc call left, as JSON.
nlohmann::ordered_json ListingJson(const Tavlin& tavlin, const std::string& image) {
  nlohmann::ordered_json out = {{"image", image},
                                {"family", tavlin.Format()},
                                {"disc_type", tavlin.DiscType()},
                                {"free_stitches", tavlin.FreeStitches()},
                                {"designs", nlohmann::json::array()}};
  for (const ListedDesign& d : ListedDesigns(tavlin)) {
    out["designs"].push_back({{"line", d.line}, {"name", d.name}, {"stitches", d.stitches}});
  }
  return out;
}

bool IsDos(const DiscFamily* family) { return family != nullptr && family->formatType == OtherDOS; }

// A design's path on a DOS disc in drive A:.
std::string OnDrive(const std::string& name) { return "A:\\" + name; }

// Binds the image, lists it, and finds the design ENTRY names in the listing: what
// read and delete do first. Null, with the failure said, when any step fails.
std::optional<ListedDesign> FindOnDisc(Tavlin& tavlin, const DiscArgs& args,
                                       const std::string& entry, const std::string& verb,
                                       int& exitCode) {
  const DiscFamily* family = FamilyOf(args);
  if (!BindDisc(args.image, family, exitCode)) return std::nullopt;
  const int16_t listed = ListDisc(tavlin, family);
  if (listed != 0) {
    exitCode = Fail("cannot " + verb + " " + entry + " on " + args.image + ": " +
                    DiscResultInWords("list", listed));
    return std::nullopt;
  }
  const std::vector<ListedDesign> designs = ListedDesigns(tavlin);
  const ListedDesign* design = FindEntry(designs, entry);
  if (design == nullptr) {
    exitCode = Fail("cannot " + verb + " " + entry + ": no such design on the disc");
    return std::nullopt;
  }
  return *design;
}

CLI::App* AddVerb(CLI::App& disc, const std::string& name, const std::string& description,
                  DiscArgs& args, bool forDesigns) {
  auto* verb = disc.add_subcommand(name, description);
  verb->add_option("IMAGE", args.image,
                   forDesigns ? "the disc image file, or a folder standing for a DOS disc"
                              : "the disc image file to make")
      ->required();
  verb->add_option("--family", args.family,
                   forDesigns ? "the disc family (default: identify the disc)" : "the disc family")
      ->check(CLI::IsMember(DiscFamilyNames(forDesigns)));
  return verb;
}

void AddFormat(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto force = std::make_shared<bool>(false);
  auto* verb = AddVerb(disc, "format", "Make an image file holding an empty disc of a family",
                       *args, false);
  verb->get_option("--family")->required();
  verb->add_flag("--force", *force, "format an image that exists already");
  verb->callback([args, force, &exitCode] {
    const DiscFamily& family = *FindDiscFamily(args->family);
    std::error_code ec;
    if (fs::exists(args->image, ec) && !*force) {
      exitCode = Fail(args->image + " exists: give --force to format it anew");
      return;
    }
    // The disc is made beside the image and takes its place only when it is whole.
    const std::string made = args->image + ".tavlin-new";
    {
      std::ofstream out(made, std::ios::binary | std::ios::trunc);
      const std::string zeros(static_cast<size_t>(ImageBytes(family.image)), '\0');
      out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
      if (!out) {
        exitCode = Fail("cannot write " + made);
        return;
      }
    }
    if (!BindDisc(made, &family, exitCode)) return;
    Tavlin tavlin;
    const int16_t result = tavlin.FormatDisc(family.formatType);
    UnbindDrive(0);
    if (result != 0) {
      fs::remove(made, ec);
      exitCode = Fail("cannot format " + args->image + ": " + DiscResultInWords("format", result));
      return;
    }
    fs::rename(made, args->image, ec);
    if (ec) {
      fs::remove(made, ec);
      exitCode = Fail("cannot replace " + args->image);
      return;
    }
    std::cout << "formatted " << args->image << " as an empty " << family.name << " disc\n";
  });
}

void AddList(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto json = std::make_shared<bool>(false);
  auto* verb = AddVerb(disc, "list", "List the designs on a disc and the room left", *args, true);
  verb->add_flag("--json", *json, "print JSON");
  verb->callback([args, json, &exitCode] {
    const DiscFamily* family = FamilyOf(*args);
    if (!BindDisc(args->image, family, exitCode)) return;
    Tavlin tavlin;
    const int16_t result = ListDisc(tavlin, family);
    if (result != 0 && result != 2) {
      exitCode = Fail("cannot list " + args->image + ": " +
                      DiscResultInWords(family == nullptr ? "identify" : "list", result));
      return;
    }
    const std::vector<ListedDesign> designs = ListedDesigns(tavlin);
    if (*json) {
      std::cout << ListingJson(tavlin, args->image).dump(2) << "\n";
      return;
    }
    if (designs.empty()) {
      std::cout << "no designs on the disc\n";
      return;
    }
    std::cout << tavlin.Format() << ": " << designs.size()
              << (designs.size() == 1 ? " design, " : " designs, ") << tavlin.FreeStitches()
              << " stitches free\n";
    for (const ListedDesign& d : designs) {
      std::printf("%4d  %s\n", d.line, d.text.c_str());
    }
  });
}

void AddWrite(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto design = std::make_shared<std::string>();
  auto name = std::make_shared<std::string>();
  auto as = std::make_shared<std::string>();
  auto* verb = AddVerb(disc, "write", "Write a stitch file of any readable format to a disc",
                       *args, true);
  verb->add_option("DESIGN", *design, "the stitch file")->required();
  verb->add_option("--name", *name,
                   "the design's name on an FDR3 disc, its first 8 characters (default: the "
                   "source's base name); FMC and ZSK discs name designs by number");
  verb->add_option("--as", *as,
                   "on a DOS disc, the file's name, whose extension gives its format "
                   "(default: the source's own name)");
  verb->callback([args, design, name, as, &exitCode] {
    if (args->family.empty()) args->family = "fmc";
    const DiscFamily& family = *FindDiscFamily(args->family);
    std::error_code ec;
    if (!fs::is_regular_file(*design, ec)) {
      exitCode = Fail("cannot write " + *design + ": file not found (code 53)");
      return;
    }
    if (const std::string why = RefusedFormat(*design, true); !why.empty()) {
      exitCode = Fail("cannot write " + *design + ": " + why);
      return;
    }
    const std::string asName = as->empty() ? fs::path(*design).filename().string() : *as;
    if (IsDos(&family)) {
      if (const std::string why = RefusedFormat(asName, false); !why.empty()) {
        exitCode = Fail("cannot write " + asName + ": " + why);
        return;
      }
    }
    if (!BindDisc(args->image, &family, exitCode)) return;
    Tavlin tavlin;
    ListDisc(tavlin, &family);
    const std::vector<ListedDesign> before = ListedDesigns(tavlin);
    auto progress = MakeProgressBar();
    const std::string discName = IsDos(&family)           ? OnDrive(asName)
                                 : name->empty() ? fs::path(*design).stem().string()
                                                 : *name;
    const int16_t result = tavlin.WriteToDisc(*design, discName, family.formatType, progress);
    progress.reset();
    if (result != 0) {
      exitCode = Fail("cannot write " + *design + " to " + args->image + ": " +
                      DiscResultInWords("write", result));
      return;
    }
    ListDisc(tavlin, &family);
    for (const ListedDesign& d : ListedDesigns(tavlin)) {
      const bool old = std::any_of(before.begin(), before.end(),
                                   [&d](const ListedDesign& b) { return b.name == d.name; });
      if (!old) std::cout << "wrote " << *design << " as " << d.name << "\n";
    }
  });
}

void AddRead(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto entry = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  auto* verb = AddVerb(disc, "read",
                       "Read a design off a disc into a stitch file of the format OUT names",
                       *args, true);
  verb->add_option("ENTRY", *entry, "the design: its name on the disc, or else its line in the listing from 0")
      ->required();
  verb->add_option("OUT", *out, "the stitch file to write")->required();
  verb->callback([args, entry, out, &exitCode] {
    if (args->family.empty()) args->family = "fmc";
    const DiscFamily& family = *FindDiscFamily(args->family);
    if (const std::string why = RefusedFormat(*out, false); !why.empty()) {
      exitCode = Fail("cannot read into " + *out + ": " + why);
      return;
    }
    Tavlin tavlin;
    const std::optional<ListedDesign> design = FindOnDisc(tavlin, *args, *entry, "read", exitCode);
    if (!design) return;
    if (IsDos(&family)) {
      // A DOS disc's file is converted straight to the format OUT names.
      auto progress = MakeProgressBar();
      const int16_t result = tavlin.ReadFromDisc(static_cast<int16_t>(design->line),
                                                 OnDrive(design->name), *out, family.formatType,
                                                 progress);
      progress.reset();
      if (result != 0) {
        exitCode = Fail("cannot read " + design->name + " from " + args->image + ": " +
                        DiscResultInWords("read", result));
        return;
      }
      std::cout << "read " << design->name << " into " << *out << "\n";
      return;
    }
    // The disc gives QEP; a conversion takes it to the format asked for.
    const fs::path qep = fs::path(*out).parent_path() /
                         ("." + fs::path(*out).filename().string() + ".tavlin.QEP");
    std::error_code ec;
    fs::remove(qep, ec);
    auto progress = MakeProgressBar();
    const int16_t result =
        tavlin.ReadFromDisc(static_cast<int16_t>(design->line), design->name, qep.string(),
                            family.formatType, progress);
    progress.reset();
    if (result != 0 || !fs::exists(qep, ec)) {
      fs::remove(qep, ec);
      exitCode = Fail("cannot read " + design->name + " from " + args->image + ": " +
                      (result != 0 ? DiscResultInWords("read", result)
                                   : std::string("the design could not be converted")));
      return;
    }
    const int converted = ConvertSafely(qep.string(), *out, nullptr);
    fs::remove(qep, ec);
    if (converted != 0) {
      exitCode = Fail("cannot convert " + design->name + " to " + *out + ": " +
                      CodeInWords(converted));
      return;
    }
    std::cout << "read " << design->name << " into " << *out << "\n";
  });
}

void AddIdentify(CLI::App& disc, int& exitCode) {
  auto path = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  auto* verb = disc.add_subcommand("identify", "Tell which machine family's disc an image or "
                                               "folder holds, and list it");
  verb->add_option("IMAGE", *path, "the disc image file, or a folder standing for a DOS disc")
      ->required();
  verb->add_flag("--json", *json, "print JSON");
  verb->callback([path, json, &exitCode] {
    if (!BindDisc(*path, nullptr, exitCode)) return;
    Tavlin tavlin;
    const int16_t result = tavlin.ReadDisc();
    const std::vector<ListedDesign> designs = ListedDesigns(tavlin);
    // A run-time failure on the way ends identification with 0 and nothing listed.
    const bool told = result != 0 || !tavlin.Format().empty();
    const std::string words =
        told ? DiscResultInWords("identify", result) : "the disc could not be read as any family";
    if (*json) {
      nlohmann::ordered_json out = ListingJson(tavlin, *path);
      out["result"] = result;
      out["result_text"] = words;
      std::cout << out.dump(2) << "\n";
    } else {
      std::cout << (tavlin.Format().empty() ? std::string("no family told") : tavlin.Format())
                << ": " << words << "\n";
      for (const ListedDesign& d : designs) std::printf("%4d  %s\n", d.line, d.text.c_str());
      if (result == 0 && told) std::cout << tavlin.FreeStitches() << " stitches free\n";
    }
    if ((result != 0 && result != 2) || !told) exitCode = 1;
  });
}

void AddDelete(CLI::App& disc, int& exitCode) {
  auto args = std::make_shared<DiscArgs>();
  auto entry = std::make_shared<std::string>();
  auto* verb = AddVerb(disc, "delete", "Delete a design from a disc", *args, true);
  verb->add_option("ENTRY", *entry, "the design: its name on the disc, or else its line in the listing from 0")
      ->required();
  verb->callback([args, entry, &exitCode] {
    if (args->family.empty()) args->family = "fmc";
    const DiscFamily& family = *FindDiscFamily(args->family);
    Tavlin tavlin;
    const std::optional<ListedDesign> design = FindOnDisc(tavlin, *args, *entry, "delete", exitCode);
    if (!design) return;
    const int16_t result = tavlin.DeleteFromDisc(static_cast<int16_t>(design->line),
                                                 OnDrive(design->name), family.formatType);
    if (result != 0) {
      exitCode = Fail("cannot delete " + design->name + ": " + DiscResultInWords("delete", result));
      return;
    }
    std::cout << "deleted " << design->name << "\n";
  });
}

}  // namespace

const DiscFamily* FindDiscFamily(const std::string& name) {
  for (const DiscFamily& f : Families()) {
    if (f.name == name) return &f;
  }
  return nullptr;
}

std::vector<std::string> DiscFamilyNames(bool forDesigns) {
  std::vector<std::string> names;
  for (const DiscFamily& f : Families()) {
    if (forDesigns ? f.designs : f.formats) names.push_back(f.name);
  }
  return names;
}

bool BindDisc(const std::string& path, const DiscFamily* family, int& exitCode) {
  try {
    std::error_code ec;
    const bool dosOrUnknown = family == nullptr || family->formatType == OtherDOS;
    if (dosOrUnknown && fs::is_directory(path, ec)) {
      BindDriveDirectory(0, path);
    } else {
      BindDriveImage(0, path, family == nullptr ? ImageFamily::FromSize : family->image);
    }
    return true;
  } catch (const std::exception& e) {
    exitCode = Fail(e.what());
    return false;
  }
}

std::vector<ListedDesign> ListedDesigns(const Tavlin& tavlin) {
  std::vector<ListedDesign> designs;
  const std::string files = tavlin.Files();
  for (size_t at = 0; at < files.size();) {
    size_t end = files.find('\0', at);
    if (end == std::string::npos) end = files.size();
    const std::string line = files.substr(at, end - at);
    // A line: the 12-character name, a blank, the stitches in 8 characters.
    std::string name;
    for (char c : line.substr(0, 12)) {
      if (c != ' ') name += c;
    }
    ListedDesign d{static_cast<int>(designs.size()), line, name, 0};
    if (line.size() > 13) d.stitches = std::strtol(line.c_str() + 13, nullptr, 10);
    designs.push_back(d);
    at = end + 1;
  }
  return designs;
}

int16_t ListDisc(Tavlin& tavlin, const DiscFamily* family) {
  if (family == nullptr) return tavlin.ReadDisc();
  switch (family->formatType) {
    case FMC: return tavlin.DirectoryFMC();
    case FDR3: return tavlin.DirectoryFDR();
    case ZSKDisc: return tavlin.DirectoryZSK();
    default: return tavlin.ReadDisc();
  }
}

std::string DiscResultInWords(const std::string& operation, int code) {
  struct Words {
    const char* operation;
    int code;
    const char* text;
  };
  static constexpr Words kWords[] = {
      {"list", 1, "the listing can't be read, or the disc is not of this family"},
      {"list", 2, "nothing to list: the disc holds no designs"},
      {"list", 3, "the index can't be read, or the disc is not of this family"},
      {"write", 1, "a sector could not be read or written, or the disc is not of this family"},
      {"write", 2, "no source name, or the source's extension names no format"},
      {"write", 4, "no design number left: the disc holds 99 designs"},
      {"write", 5, "not enough free room on the disc for the design"},
      {"read", 1, "a sector could not be read, or the disc is not of this family"},
      {"read", 2, "no such design on the disc"},
      {"delete", 1, "the index or directory could not be written"},
      {"delete", 2, "no such design in the listing"},
      {"identify", 0, "listed"},
      {"identify", 1, "the listing can't be read"},
      {"identify", 2, "nothing to list: no design files, or an empty directory"},
      {"identify", 3, "the disc can't be read at any of the tried geometries"},
      {"identify", 4, "drive not ready"},
      {"format", 1, "a track or sector failed, or the image is not of this family"},
  };
  std::string words = code == 3 ? "this family is not handled here" : ResultText(code);
  for (const Words& w : kWords) {
    if (operation == w.operation && code == w.code) words = w.text;
  }
  return words + " (code " + std::to_string(code) + ")";
}

void AddDisc(CLI::App& app, int& exitCode) {
  auto* disc = app.add_subcommand("disc", "Designs on machine floppy discs, as image files");
  disc->require_subcommand(1);
  AddFormat(*disc, exitCode);
  AddList(*disc, exitCode);
  AddWrite(*disc, exitCode);
  AddRead(*disc, exitCode);
  AddDelete(*disc, exitCode);
  AddIdentify(*disc, exitCode);
}

}  // namespace tavlin::cli
