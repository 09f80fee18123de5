// Pictures of a design: read through its decoder twice, once for its extents and threads
// and once to draw, so that nothing grows with the design but the picture.
#include <algorithm>

#include "pictures/preview.h"
#include "platform/run_time_error.h"
#include "tables/palettes.h"
#include "tavlin/error.h"
#include "tavlin/picture.h"

namespace tavlin {

namespace {

Rgb RgbOf(const ThreadColour& t) { return {t.red, t.green, t.blue}; }

// Steps the design through a painter: stitches in their colour, every other move
// (jumps, and the moves of colour changes, trims and machine codes) without thread.
template <typename Painter>
std::error_code Paint(const std::string& path, const DesignSummary& summary, Painter& painter) {
  const std::vector<ThreadColour> colours = DrawingColours(summary);
  double x = 0, y = 0;
  return ReadDesign(path, [&](const DesignStep& step) {
    if (step.kind == StepKind::Stitch) {
      const size_t index = step.colour >= 1 ? static_cast<size_t>(step.colour - 1) : 0;
      painter.Stitch(x, y, step.posX, step.posY, RgbOf(colours[index % colours.size()]));
    } else if (step.posX != x || step.posY != y) {
      painter.Jump(x, y, step.posX, step.posY);
    }
    x = step.posX;
    y = step.posY;
  });
}

PreviewBox BoxOf(const DesignSummary& s) { return {-s.minusX, -s.plusY, s.plusX, s.minusY}; }

PreviewOptions PreviewOptionsOf(const PictureOptions& options, const DesignSummary& summary) {
  // The ground is chosen for the threads the stitching uses, not every one a table holds.
  const std::vector<ThreadColour> colours = DrawingColours(summary);
  const size_t used = static_cast<size_t>(std::max<int64_t>(1, summary.colourChanges + 1));
  std::vector<Rgb> threads;
  for (size_t i = 0; i < std::min(used, colours.size()); ++i) threads.push_back(RgbOf(colours[i]));
  return {.size = options.size,
          .jumps = options.jumps == JumpLines::Dashed ? JumpStyle::Dashed : JumpStyle::Hide,
          .grid = options.grid,
          .background = ChooseBackground(threads)};
}

std::error_code CheckSize(const PictureOptions& options) {
  if (options.size < kPreviewMinSize || options.size > kPreviewMaxSize) return ResultCode(kInvalidCall);
  return {};
}

}  // namespace

std::vector<ThreadColour> DrawingColours(const DesignSummary& summary) {
  if (!summary.threads.empty()) return summary.threads;
  const Palette palette = PesPalette();
  const size_t count = static_cast<size_t>(std::max<int64_t>(1, summary.colourChanges + 1));
  std::vector<ThreadColour> colours;
  for (size_t i = 0; i < std::min(count, palette.count); ++i) {
    const PaletteEntry& e = palette.entries[i];
    colours.push_back({e.red, e.green, e.blue, e.key});
  }
  return colours;
}

std::error_code DrawDesign(const std::string& path, const PictureOptions& options, Picture& picture) {
  if (std::error_code ec = CheckSize(options)) return ec;
  DesignSummary summary;
  if (std::error_code ec = SummariseDesign(path, summary)) return ec;
  RasterPreview raster(BoxOf(summary), PreviewOptionsOf(options, summary));
  if (std::error_code ec = Paint(path, summary, raster)) return ec;
  picture.width = raster.Width();
  picture.height = raster.Height();
  picture.rgb = raster.Pixels();
  const Rgb ground = raster.Background();
  picture.background = {ground.red, ground.green, ground.blue};
  return {};
}

std::error_code DrawDesignSvg(const std::string& path, const PictureOptions& options, std::string& svg) {
  if (std::error_code ec = CheckSize(options)) return ec;
  DesignSummary summary;
  if (std::error_code ec = SummariseDesign(path, summary)) return ec;
  SvgPreview writer(BoxOf(summary), PreviewOptionsOf(options, summary));
  if (std::error_code ec = Paint(path, summary, writer)) return ec;
  svg = writer.Finish();
  return {};
}

std::string ColourName(const ThreadColour& colour) { return ColourWords(RgbOf(colour)); }

}  // namespace tavlin
