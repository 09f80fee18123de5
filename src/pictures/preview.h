// Pictures of a design for people: its stitches drawn in their thread colours, as RGB
// pixels or as SVG text. Pixels only: the caller reads the design and hands over its
// moves one by one, in 0.1 mm with Y down, as the design reader gives them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tavlin {

struct Rgb {
  uint8_t red = 0, green = 0, blue = 0;
  bool operator==(const Rgb&) const = default;
};

enum class JumpStyle : uint8_t { Hide, Dashed };

struct PreviewOptions {
  int size = 600;  // the longer side, in pixels
  JumpStyle jumps = JumpStyle::Hide;
  bool grid = false;  // a light line every 10 mm, and every mm where there is room
  Rgb background{255, 255, 255};
};

// The box every position of the design lies in, 0.1 mm, Y down.
struct PreviewBox {
  double left = 0, top = 0, right = 0, bottom = 0;
};

// Where the design's box lands in the picture: pixels = margin + (position - origin) x scale.
struct PreviewFrame {
  int width = 1, height = 1;
  double scale = 1;  // pixels per 0.1 mm
  double originX = 0, originY = 0;
  int margin = 0;
  double X(double x) const { return margin + (x - originX) * scale; }
  double Y(double y) const { return margin + (y - originY) * scale; }
};

inline constexpr Rgb kPreviewJumpInk{150, 150, 150};
inline constexpr int kPreviewMinSize = 16;
inline constexpr int kPreviewMaxSize = 4000;

// The picture's size and mapping: the box's longer side fills `size` less the margins;
// the shorter keeps the proportion. A box of no width or height is drawn as a point.
PreviewFrame FramePreview(const PreviewBox& box, int size);

// The width of a drawn thread in pixels: about 0.35 mm, never below one pixel.
int ThreadWidth(const PreviewFrame& frame);

// RGB rows, top first, three bytes a pixel.
class RasterPreview {
 public:
  RasterPreview(const PreviewBox& box, const PreviewOptions& options);

  // A stitch from (x0, y0) to (x1, y1) in the thread's colour.
  void Stitch(double x0, double y0, double x1, double y1, Rgb colour);
  // A move without thread: left out, or a thin dashed grey line.
  void Jump(double x0, double y0, double x1, double y1);

  const PreviewFrame& Frame() const { return frame_; }
  int Width() const { return frame_.width; }
  int Height() const { return frame_.height; }
  const std::vector<uint8_t>& Pixels() const { return pixels_; }
  Rgb Pixel(int x, int y) const;  // the ground off the picture
  Rgb Background() const { return options_.background; }

 private:
  void Plot(int x, int y, Rgb colour);
  void Dot(int x, int y, int width, Rgb colour);
  void Grid();

  PreviewOptions options_;
  PreviewFrame frame_;
  std::vector<uint8_t> pixels_;
  std::vector<bool> threaded_;  // pixels a stitch has drawn, which jumps pass under
  int dashPhase_ = 0;
};

// SVG text of the same picture: one polyline per run of stitches in one colour, jumps
// as dashed lines. The text grows with the design; Finish gives the whole document.
class SvgPreview {
 public:
  SvgPreview(const PreviewBox& box, const PreviewOptions& options);

  void Stitch(double x0, double y0, double x1, double y1, Rgb colour);
  void Jump(double x0, double y0, double x1, double y1);
  std::string Finish();

 private:
  void EndRun();

  PreviewOptions options_;
  PreviewFrame frame_;
  std::string text_;
  std::string run_;  // the points of the open polyline
  Rgb runColour_{};
  double runX_ = 0, runY_ = 0;  // where the open polyline ends
  bool inRun_ = false;
};

// The ground the threads stand out on best: white, unless a thread is nearly white, then
// a light or a dark grey, whichever lies farthest from the nearest thread.
Rgb ChooseBackground(const std::vector<Rgb>& threads);

// "#RRGGBB".
std::string HexColour(Rgb colour);

// A plain name for a colour, for people: "dark blue", "light grey", "red".
std::string ColourWords(Rgb colour);

}  // namespace tavlin
