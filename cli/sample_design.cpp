// The embedded default design of `tavlin demo`: made in code, so the demo needs no file.
// It is a QEP, whose records hold absolute positions, so its long moves reach the
// converter whole and must be split on the way into every other format.
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "sample_design.h"

namespace tavlin::cli {

namespace {

// QEP function codes.
constexpr int kStitch = 0, kJump = 1, kColour = 2, kOpening = 5, kEnd = 6;

struct Point {
  int x, y;  // 0.1 mm, Y up
  int kind;
};

// A five-pointed star outline, a zigzag and a smaller star, in three colours, with
// moves of 50 to 110 mm between the parts; within 60 mm of the centre on X and 57.5 on Y,
// the field of the smallest format (PCM, PCS).
std::vector<Point> SamplePoints() {
  std::vector<Point> points;
  const double pi = std::acos(-1.0);
  auto star = [&](int cx, int cy, int outer, int inner) {
    for (int i = 0; i <= 10; ++i) {
      const double angle = pi / 2 + i * pi / 5;
      const int r = i % 2 == 0 ? outer : inner;
      points.push_back({cx + static_cast<int>(std::lround(r * std::cos(angle))),
                        cy + static_cast<int>(std::lround(r * std::sin(angle))), kStitch});
    }
  };
  star(0, 0, 300, 120);
  points.push_back({300, -200, kJump});
  points.push_back({300, -200, kColour});
  for (int i = 0; i <= 20; ++i) {
    points.push_back({300 + 12 * i, i % 2 == 0 ? -200 : -80, kStitch});
  }
  points.push_back({-400, 330, kJump});
  points.push_back({-400, 330, kColour});
  star(-400, 330, 150, 60);
  return points;
}

std::string Bytes2(int value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>((value >> 8) & 0xFF)};
}

// A function code and an absolute position, Y down.
std::string QepRecord(int code, int x, int yUp) {
  return static_cast<char>(code) + Bytes2(x) + Bytes2(-yUp);
}

}  // namespace

void WriteSampleDesign(const std::string& path) {
  std::string bytes(512, ' ');
  bytes.replace(0, 20, std::string("LA:SAMPLE   DSC.QEP\r"));
  // Its three threads, red, green and blue, in the head's thread table.
  bytes.replace(103, 2, Bytes2(3));
  bytes.replace(113, 9, std::string("\xED\x17\x1F\x00\x87\x77\x0E\x1F\x7C", 9));
  bytes += QepRecord(kOpening, 0, 0);
  for (const Point& p : SamplePoints()) bytes += QepRecord(p.kind, p.x, p.y);
  bytes += QepRecord(kEnd, 0, 0);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace tavlin::cli
