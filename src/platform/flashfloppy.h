// IMG.CFG, the file in which FlashFloppy (the firmware of Gotek drive emulators) is
// told the geometry of raw images it can't guess from their size. A section
// "[tag::filesize]" applies to the images named "*.tag.img" of exactly that size.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavlin {

struct FlashFloppyGeometry {
  std::string tag;        // matched against "NAME.tag.img", case aside
  int64_t fileBytes = 0;  // the image's exact size
  std::string comment;    // one line saying whose section it is
  int cylinders = 0;
  int heads = 0;
  int sectors = 0;      // per track side
  int sectorBytes = 0;
  int firstId = 1;
  int interleave = 1;   // places on the track between sectors of consecutive ids
  int rateKbps = 250;
  int rpm = 300;
  int gap3 = 0;
};

// The section, header first, each line ended by `newline`.
std::string FlashFloppySection(const FlashFloppyGeometry& geometry, std::string_view newline = "\n");

// The text of an IMG.CFG with the section put in: in place of the first section of the
// same tag (whatever its size), with any other section of that tag dropped, or after the
// rest. Every other line stays as it was; the section takes the file's line ends.
std::string MergeFlashFloppySection(std::string_view existing, std::string_view tag,
                                    const FlashFloppyGeometry& geometry);

}  // namespace tavlin
