#include "pictures/preview.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tavlin {

namespace {

constexpr Rgb kGridMajor{205, 215, 230};  // every 10 mm
constexpr Rgb kGridMinor{236, 240, 246};  // every mm
constexpr double kThreadTenths = 3.5;     // a thread as drawn, 0.35 mm
constexpr int kDash = 4;                  // pixels on, then as many off

// The grid's lines: multiples of `every` (0.1 mm) from the start point that fall in the
// picture, as pixel columns (or rows).
template <typename Visit>
void GridLines(double fromTenths, double toTenths, double every, Visit visit) {
  for (double at = std::ceil(fromTenths / every) * every; at <= toTenths; at += every) visit(at);
}

// Whether a 1 mm grid has room: lines at least four pixels apart.
bool MinorGridFits(const PreviewFrame& frame) { return frame.scale * 10 >= 4; }

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  std::string out = text;
  while (out.back() == '0') out.pop_back();
  if (out.back() == '.') out.pop_back();
  return out == "-0" ? "0" : out;
}

}  // namespace

PreviewFrame FramePreview(const PreviewBox& box, int size) {
  size = std::clamp(size, kPreviewMinSize, kPreviewMaxSize);
  PreviewFrame frame;
  frame.margin = std::max(2, size / 40);
  const double width = std::max(0.0, box.right - box.left);
  const double height = std::max(0.0, box.bottom - box.top);
  const double longest = std::max(width, height);
  const int inner = size - 2 * frame.margin - 1;
  frame.scale = longest > 0 ? inner / longest : 1.0;
  frame.originX = box.left;
  frame.originY = box.top;
  auto side = [&](double extent) {
    if (longest <= 0) return size;
    return std::clamp(static_cast<int>(std::ceil(extent * frame.scale)) + 2 * frame.margin + 1, 1, size);
  };
  frame.width = side(width);
  frame.height = side(height);
  if (longest <= 0) {
    // A design that never moves: its point in the middle.
    frame.originX = box.left - (size / 2.0 - frame.margin) / frame.scale;
    frame.originY = box.top - (size / 2.0 - frame.margin) / frame.scale;
  }
  return frame;
}

int ThreadWidth(const PreviewFrame& frame) {
  const int width = static_cast<int>(std::lround(kThreadTenths * frame.scale));
  // Half a thread never reaches past the margin.
  return std::clamp(width, 1, std::max(1, 2 * frame.margin - 1));
}

RasterPreview::RasterPreview(const PreviewBox& box, const PreviewOptions& options)
    : options_(options), frame_(FramePreview(box, options.size)) {
  pixels_.resize(static_cast<size_t>(frame_.width) * static_cast<size_t>(frame_.height) * 3);
  for (size_t at = 0; at < pixels_.size(); at += 3) {
    pixels_[at] = options_.background.red;
    pixels_[at + 1] = options_.background.green;
    pixels_[at + 2] = options_.background.blue;
  }
  threaded_.assign(static_cast<size_t>(frame_.width) * static_cast<size_t>(frame_.height), false);
  if (options_.grid) Grid();
}

void RasterPreview::Grid() {
  const double left = frame_.originX - frame_.margin / frame_.scale;
  const double right = frame_.originX + (frame_.width - frame_.margin) / frame_.scale;
  const double top = frame_.originY - frame_.margin / frame_.scale;
  const double bottom = frame_.originY + (frame_.height - frame_.margin) / frame_.scale;
  auto lines = [&](double every, Rgb colour) {
    GridLines(left, right, every, [&](double x) {
      const int column = static_cast<int>(std::lround(frame_.X(x)));
      for (int y = 0; y < frame_.height; ++y) Plot(column, y, colour);
    });
    GridLines(top, bottom, every, [&](double y) {
      const int row = static_cast<int>(std::lround(frame_.Y(y)));
      for (int x = 0; x < frame_.width; ++x) Plot(x, row, colour);
    });
  };
  if (MinorGridFits(frame_)) lines(10, kGridMinor);
  lines(100, kGridMajor);
}

void RasterPreview::Plot(int x, int y, Rgb colour) {
  if (x < 0 || y < 0 || x >= frame_.width || y >= frame_.height) return;
  const size_t at = (static_cast<size_t>(y) * static_cast<size_t>(frame_.width) + static_cast<size_t>(x)) * 3;
  pixels_[at] = colour.red;
  pixels_[at + 1] = colour.green;
  pixels_[at + 2] = colour.blue;
}

Rgb RasterPreview::Pixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= frame_.width || y >= frame_.height) return options_.background;
  const size_t at = (static_cast<size_t>(y) * static_cast<size_t>(frame_.width) + static_cast<size_t>(x)) * 3;
  return {pixels_[at], pixels_[at + 1], pixels_[at + 2]};
}

void RasterPreview::Dot(int x, int y, int width, Rgb colour) {
  // A round brush: a square of the thread's width without its corners.
  const int low = -(width - 1) / 2;
  const int high = low + width - 1;
  const double centre = (low + high) / 2.0;
  const double reach = width / 2.0 + 0.25;
  for (int dy = low; dy <= high; ++dy) {
    for (int dx = low; dx <= high; ++dx) {
      if ((dx - centre) * (dx - centre) + (dy - centre) * (dy - centre) > reach * reach) continue;
      Plot(x + dx, y + dy, colour);
      if (x + dx >= 0 && y + dy >= 0 && x + dx < frame_.width && y + dy < frame_.height) {
        threaded_[static_cast<size_t>(y + dy) * static_cast<size_t>(frame_.width) +
                  static_cast<size_t>(x + dx)] = true;
      }
    }
  }
}

void RasterPreview::Stitch(double x0, double y0, double x1, double y1, Rgb colour) {
  const double fromX = frame_.X(x0), fromY = frame_.Y(y0);
  const double toX = frame_.X(x1), toY = frame_.Y(y1);
  const int steps = static_cast<int>(std::ceil(std::max(std::fabs(toX - fromX), std::fabs(toY - fromY))));
  const int width = ThreadWidth(frame_);
  for (int i = 0; i <= steps; ++i) {
    const double t = steps == 0 ? 0 : static_cast<double>(i) / steps;
    Dot(static_cast<int>(std::lround(fromX + (toX - fromX) * t)),
        static_cast<int>(std::lround(fromY + (toY - fromY) * t)), width, colour);
  }
}

void RasterPreview::Jump(double x0, double y0, double x1, double y1) {
  if (options_.jumps == JumpStyle::Hide) return;
  const double fromX = frame_.X(x0), fromY = frame_.Y(y0);
  const double toX = frame_.X(x1), toY = frame_.Y(y1);
  const int steps = static_cast<int>(std::ceil(std::max(std::fabs(toX - fromX), std::fabs(toY - fromY))));
  for (int i = 0; i <= steps; ++i, ++dashPhase_) {
    if (dashPhase_ % (2 * kDash) >= kDash) continue;
    const double t = steps == 0 ? 0 : static_cast<double>(i) / steps;
    const int x = static_cast<int>(std::lround(fromX + (toX - fromX) * t));
    const int y = static_cast<int>(std::lround(fromY + (toY - fromY) * t));
    // A jump passes under the thread: it never hides a stitch drawn before it.
    if (x < 0 || y < 0 || x >= frame_.width || y >= frame_.height) continue;
    if (threaded_[static_cast<size_t>(y) * static_cast<size_t>(frame_.width) + static_cast<size_t>(x)]) continue;
    Plot(x, y, kPreviewJumpInk);
  }
}

SvgPreview::SvgPreview(const PreviewBox& box, const PreviewOptions& options)
    : options_(options), frame_(FramePreview(box, options.size)) {
  const std::string w = std::to_string(frame_.width), h = std::to_string(frame_.height);
  text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"" + h +
          "\" viewBox=\"0 0 " + w + " " + h + "\">\n"
          "<rect width=\"" + w + "\" height=\"" + h + "\" fill=\"" + HexColour(options_.background) +
          "\"/>\n";
  if (options_.grid) {
    const double left = frame_.originX - frame_.margin / frame_.scale;
    const double right = frame_.originX + (frame_.width - frame_.margin) / frame_.scale;
    const double top = frame_.originY - frame_.margin / frame_.scale;
    const double bottom = frame_.originY + (frame_.height - frame_.margin) / frame_.scale;
    auto lines = [&](double every, Rgb colour) {
      std::string path;
      GridLines(left, right, every, [&](double x) { path += "M" + Number(frame_.X(x)) + " 0V" + h; });
      GridLines(top, bottom, every, [&](double y) { path += "M0 " + Number(frame_.Y(y)) + "H" + w; });
      if (!path.empty()) {
        text_ += "<path d=\"" + path + "\" stroke=\"" + HexColour(colour) +
                 "\" stroke-width=\"1\" fill=\"none\"/>\n";
      }
    };
    if (MinorGridFits(frame_)) lines(10, kGridMinor);
    lines(100, kGridMajor);
  }
  text_ += "<g fill=\"none\" stroke-linecap=\"round\" stroke-linejoin=\"round\" stroke-width=\"" +
           Number(std::max(1.0, kThreadTenths * frame_.scale)) + "\">\n";
}

void SvgPreview::EndRun() {
  if (!inRun_) return;
  text_ += "<polyline stroke=\"" + HexColour(runColour_) + "\" points=\"" + run_ + "\"/>\n";
  run_.clear();
  inRun_ = false;
}

void SvgPreview::Stitch(double x0, double y0, double x1, double y1, Rgb colour) {
  if (inRun_ && (colour != runColour_ || x0 != runX_ || y0 != runY_)) EndRun();
  if (!inRun_) {
    run_ = Number(frame_.X(x0)) + "," + Number(frame_.Y(y0));
    runColour_ = colour;
    inRun_ = true;
  }
  run_ += " " + Number(frame_.X(x1)) + "," + Number(frame_.Y(y1));
  runX_ = x1;
  runY_ = y1;
}

void SvgPreview::Jump(double x0, double y0, double x1, double y1) {
  if (options_.jumps == JumpStyle::Hide) return;
  EndRun();
  text_ += "<line x1=\"" + Number(frame_.X(x0)) + "\" y1=\"" + Number(frame_.Y(y0)) + "\" x2=\"" +
           Number(frame_.X(x1)) + "\" y2=\"" + Number(frame_.Y(y1)) + "\" stroke=\"" +
           HexColour(kPreviewJumpInk) + "\" stroke-width=\"1\" stroke-dasharray=\"" +
           std::to_string(kDash) + " " + std::to_string(kDash) + "\"/>\n";
}

std::string SvgPreview::Finish() {
  EndRun();
  text_ += "</g>\n</svg>\n";
  return std::move(text_);
}

Rgb ChooseBackground(const std::vector<Rgb>& threads) {
  auto distance = [](Rgb a, Rgb b) {
    return std::abs(a.red - b.red) + std::abs(a.green - b.green) + std::abs(a.blue - b.blue);
  };
  auto nearest = [&](Rgb ground) {
    int least = 3 * 255;
    for (const Rgb& t : threads) least = std::min(least, distance(t, ground));
    return least;
  };
  constexpr Rgb kWhite{255, 255, 255}, kLightGrey{200, 200, 200}, kDarkGrey{90, 90, 90};
  // Nearly white: too close to see on white at a glance.
  if (nearest(kWhite) >= 60) return kWhite;
  return nearest(kLightGrey) >= nearest(kDarkGrey) ? kLightGrey : kDarkGrey;
}

std::string HexColour(Rgb colour) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", colour.red, colour.green, colour.blue);
  return text;
}

std::string ColourWords(Rgb colour) {
  const double r = colour.red / 255.0, g = colour.green / 255.0, b = colour.blue / 255.0;
  const double high = std::max({r, g, b}), low = std::min({r, g, b});
  const double lightness = (high + low) / 2;
  const double chroma = high - low;
  const double saturation =
      chroma == 0 ? 0 : chroma / (1 - std::fabs(2 * lightness - 1));
  if (chroma < 0.08 || saturation < 0.12) {
    if (lightness < 0.12) return "black";
    if (lightness > 0.9) return "white";
    return lightness < 0.4 ? "dark grey" : lightness > 0.7 ? "light grey" : "grey";
  }
  double hue = 0;
  if (high == r) {
    hue = std::fmod((g - b) / chroma, 6.0);
  } else if (high == g) {
    hue = (b - r) / chroma + 2;
  } else {
    hue = (r - g) / chroma + 4;
  }
  hue *= 60;
  if (hue < 0) hue += 360;
  std::string name;
  if (hue < 15 || hue >= 345) {
    name = "red";
  } else if (hue < 42) {
    name = "orange";
  } else if (hue < 68) {
    name = "yellow";
  } else if (hue < 90) {
    name = "yellow-green";
  } else if (hue < 160) {
    name = "green";
  } else if (hue < 195) {
    name = "teal";
  } else if (hue < 255) {
    name = "blue";
  } else if (hue < 290) {
    name = "purple";
  } else {
    name = "magenta";
  }
  // Dark oranges and reds are browns; light reds and magentas are pinks.
  if ((name == "orange" || name == "red" || name == "yellow") && lightness < 0.35) return "brown";
  if ((name == "red" || name == "magenta") && lightness > 0.7) return "pink";
  if (lightness < 0.3) return "dark " + name;
  if (lightness > 0.72) return "light " + name;
  return name;
}

}  // namespace tavlin
