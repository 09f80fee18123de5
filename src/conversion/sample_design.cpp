// The embedded default design of `tavlin demo`: made in code, so the demo needs no file.
// It is a QEP, whose records hold absolute positions, so its long moves reach the
// converter whole and must be split on the way into every other format.
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "conversion/conversion_run.h"
#include "conversion/numbers.h"
#include "tavlin/stitch_files.h"

namespace tavlin {

namespace {

struct Point {
  int x, y;  // 0.1 mm, Y up
  int16_t kind;
};

// A five-pointed star outline, a zigzag and a smaller star, in three colours, with
// moves of 40 to 90 mm between the parts.
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

std::string QepRecord(int code, int x, int yUp) {
  return static_cast<char>(code) + IntToBytes2(x) + IntToBytes2(-yUp);
}

}  // namespace

void WriteSampleDesign(const std::string& path) {
  std::string bytes(512, ' ');
  bytes.replace(0, 20, std::string("LA:SAMPLE   DSC.QEP\r"));
  bytes += QepRecord(5, 0, 0);
  for (const Point& p : SamplePoints()) bytes += QepRecord(p.kind, p.x, p.y);
  bytes += QepRecord(6, 0, 0);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace tavlin
