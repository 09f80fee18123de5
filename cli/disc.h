// The disc families as the command knows them, and what the disc verbs share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tavlin/drive.h"
#include "tavlin/tavlin.h"

namespace tavlin::cli {

struct DiscFamily {
  std::string name;      // as given to --family
  int16_t formatType;    // of the disc methods
  ImageFamily image;     // FromSize: a DOS disc of either size, or a folder
  bool formats;          // `disc format` makes it
  bool designs;          // `disc list`, `write`, `read` and `delete` take it
};

// The family named, or null.
const DiscFamily* FindDiscFamily(const std::string& name);
std::vector<std::string> DiscFamilyNames(bool forDesigns);

// Binds drive A: to the image, or for a DOS disc to a folder; false, with the error
// said, when it can't be.
bool BindDisc(const std::string& path, const DiscFamily* family, int& exitCode);

// One design of a listing: its line, as shown, and its name and stitches.
struct ListedDesign {
  int line;
  std::string text;
  std::string name;
  long stitches;
};

// The designs of the last listing, from Files().
std::vector<ListedDesign> ListedDesigns(const Tavlin& tavlin);

// Lists the disc of the family, or identifies it first when no family is given; gives
// the listing's result.
int16_t ListDisc(Tavlin& tavlin, const DiscFamily* family);

// The words for a result of a disc operation ("list", "write", "read", "delete",
// "format"), e.g. "no design number left: the disc holds 99 designs (code 4)".
std::string DiscResultInWords(const std::string& operation, int code);

}  // namespace tavlin::cli
