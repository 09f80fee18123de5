// The embedded default design of `tavlin demo`: made in code, so the demo needs no file.
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "conversion/conversion_run.h"
#include "conversion/formats/formats.h"
#include "tavlin/stitch_files.h"

namespace tavlin {

namespace {

struct Point {
  int x, y;  // 0.1 mm, Y up
  int16_t kind;
};

// A five-pointed star outline, filled by a zigzag, in three colours, with a jump of
// more than one record's reach between the parts.
std::vector<Point> SamplePoints() {
  std::vector<Point> points;
  const double pi = std::acos(-1.0);
  auto star = [&](int cx, int cy, int outer, int inner) {
    for (int i = 0; i <= 10; ++i) {
      const double angle = pi / 2 + i * pi / 5;
      const int r = i % 2 == 0 ? outer : inner;
      points.push_back({cx + static_cast<int>(std::lround(r * std::cos(angle))),
                        cy + static_cast<int>(std::lround(r * std::sin(angle))), KindStitch});
    }
  };
  star(0, 0, 300, 120);
  points.push_back({600, -200, KindJump});
  points.push_back({600, -200, KindColour});
  for (int i = 0; i <= 20; ++i) {
    points.push_back({600 + 15 * i, i % 2 == 0 ? -200 : -80, KindStitch});
  }
  points.push_back({-500, 400, KindJump});
  points.push_back({-500, 400, KindColour});
  star(-500, 400, 150, 60);
  return points;
}

}  // namespace

void WriteSampleDesign(const std::string& path) {
  std::string bytes(512, ' ');
  bytes.replace(0, 20, std::string("LA:SAMPLE   DSC.TAJ\r"));
  auto record = [&bytes](int16_t kind, int dx, int dy) {
    uint8_t r[3];
    EncodeTernary(kind, static_cast<int16_t>(dy), static_cast<int16_t>(dx), r);
    bytes.append(reinterpret_cast<const char*>(r), 3);
  };
  record(KindJump, 0, 0);
  int x = 0, y = 0;
  for (const Point& p : SamplePoints()) {
    int dx = p.x - x, dy = p.y - y;
    // A DST record reaches 121 on each axis: longer moves go as jumps first.
    while (std::abs(dx) > 121 || std::abs(dy) > 121) {
      const int sx = std::max(-121, std::min(121, dx));
      const int sy = std::max(-121, std::min(121, dy));
      record(KindJump, sx, sy);
      dx -= sx;
      dy -= sy;
    }
    record(p.kind, dx, dy);
    x = p.x;
    y = p.y;
  }
  bytes.append("\x00\x00\xF3", 3);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace tavlin
