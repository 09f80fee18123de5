// Disc images made ready for floppy emulators: the IMG.CFG from which FlashFloppy (on
// a Gotek drive) learns a family's geometry, and HFE files, the track-by-track images
// of the HxC emulators (which FlashFloppy also plays).
#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include "tavlin/disc.h"

namespace tavlin {

// The tag FlashFloppy matches in an image's name: "fmc" for "ROSE.fmc.img". Empty for
// a DOS disc, whose geometry FlashFloppy knows from the image's size.
std::string_view FlashFloppyTag(DiscFamily family);

// Whether an image's file name carries the family's tag ("NAME.fdr3.img", any case);
// true for a DOS disc, which needs none.
bool HasFlashFloppyTag(const std::string& image, DiscFamily family);

// Where the IMG.CFG for an image belongs: FF/IMG.CFG beside it when that folder exists
// (FlashFloppy looks there first), else IMG.CFG beside it.
std::string FlashFloppyConfigPath(const std::string& image);

// The family's IMG.CFG section, as MergeFlashFloppyConfig writes it (empty for DOS).
std::string FlashFloppySectionText(DiscFamily family);

// Puts the family's section into the IMG.CFG at `config`, made when missing: a section
// of the same tag is replaced, every other line stays. Nothing to do for DOS.
std::error_code MergeFlashFloppyConfig(const std::string& config, DiscFamily family,
                                       std::string* why = nullptr);

// Writes the raw image's tracks, as a floppy controller lays them, into an HFE file
// (version 1, IBM MFM, 300 rpm; 250 kbit/s, or 500 for a 1.44 MB image). The geometry
// comes from the image's size. The file is put in place only when whole.
std::error_code ExportHfe(const std::string& image, const std::string& hfe, std::string* why = nullptr);

// Reads every sector of an HFE file's tracks by its ID field and writes them as a raw
// image of the geometry they make. Refused, with nothing written, when a sector is
// missing or fails its CRC, or the tracks make no family's geometry.
std::error_code ImportHfe(const std::string& hfe, const std::string& image, std::string* why = nullptr);

}  // namespace tavlin
