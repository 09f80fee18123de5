// Pictures of designs written to files, for `tavlin preview` and the demo.
#pragma once

#include <string>

#include "tavlin/picture.h"

namespace tavlin::cli {

// Draws the design into `out`, a PNG or, for a name ending in ".svg", an SVG. The file
// is written beside its place and put there whole. Gives the one-line reason of a
// failure, or empty.
std::string WritePicture(const std::string& design, const std::string& out, const PictureOptions& options);

// Whether a name ends in ".png" or ".svg", in any case.
bool IsPictureName(const std::string& name);

}  // namespace tavlin::cli
