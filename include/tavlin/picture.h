// Pictures of a design for people to look at: its stitches drawn in their thread colours,
// as RGB pixels (for a PNG or a screen) or as SVG text.
#pragma once

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "tavlin/design.h"

namespace tavlin {

enum class JumpLines : uint8_t { Hide, Dashed };

struct PictureOptions {
  int size = 600;                       // the longer side in pixels, 16 to 4000
  JumpLines jumps = JumpLines::Hide;    // moves without thread: left out or a dashed grey line
  bool grid = false;                    // a light line every 10 mm, and every mm where there is room
};

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;  // rows top first, three bytes a pixel
  ThreadColour background;   // white, or a grey where a thread is nearly white
};

// The colours a design is drawn in, one for each colour of its stitching: the threads
// the file stores, in order (from the first again past the last), else the default
// palette (PES) in order, with its keys.
std::vector<ThreadColour> DrawingColours(const DesignSummary& summary);

// The design on a ground its threads stand out on, its extents filling the longer side less a small margin.
std::error_code DrawDesign(const std::string& path, const PictureOptions& options, Picture& picture);
std::error_code DrawDesignSvg(const std::string& path, const PictureOptions& options, std::string& svg);

// A plain name for a colour ("dark blue", "light grey"). The makers' palettes carry no
// thread names, so the name says what the colour looks like.
std::string ColourName(const ThreadColour& colour);

}  // namespace tavlin
