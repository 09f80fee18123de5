// Throughput and memory of conversions: a generated DST of 2,000,000 stitches goes to
// DST and to every other writable format. Prints stitches per second and peak memory.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "conversion/formats/formats.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"

#ifdef __linux__
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

constexpr long kStitches = 2'000'000;
// Formats whose positions hold only a small field and whose counts end at 65,535 (PCM,
// PCS) are measured on a design that fits them.
constexpr long kSmallStitches = 60'000;
constexpr long kSmallField = 320;

// A DST with colour changes every 10,000 records, a jump every 50, and moves up to 121,
// kept within `field` of the centre.
void WriteBenchDesign(const std::string& path, long stitches = kStitches, long field = 20000) {
  std::ofstream out(path, std::ios::binary);
  std::string header(512, ' ');
  out.write(header.data(), 512);
  std::string chunk;
  unsigned seed = 12345;
  long x = 0, y = 0;
  for (long i = 0; i < stitches; ++i) {
    seed = seed * 1103515245u + 12345u;
    int dx = static_cast<int>((seed >> 8) % 243) - 121;
    int dy = static_cast<int>((seed >> 16) % 243) - 121;
    // Keep the design inside the 16-bit sums.
    if ((x > field && dx > 0) || (x < -field && dx < 0)) dx = -dx;
    if ((y > field && dy > 0) || (y < -field && dy < 0)) dy = -dy;
    x += dx;
    y += dy;
    int16_t kind = tavlin::KindStitch;
    if (i % 10'000 == 9'999) {
      kind = tavlin::KindColour;
    } else if (i % 50 == 49) {
      kind = tavlin::KindJump;
    }
    uint8_t record[3];
    tavlin::EncodeTernary(kind, static_cast<int16_t>(dy),
                          static_cast<int16_t>(dx), record);
    chunk.append(reinterpret_cast<const char*>(record), 3);
    if (chunk.size() >= 1 << 16) {
      out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
      chunk.clear();
    }
  }
  chunk.append("\x00\x00\xF3", 3);
  out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  // --write PATH: only write the design, for profiling a conversion by hand.
  if (argc == 3 && std::string(argv[1]) == "--write") {
    WriteBenchDesign(argv[2]);
    return 0;
  }
  const fs::path dir = fs::temp_directory_path() / ("tavlin-bench-" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string source = (dir / "bench.DST").string();
  WriteBenchDesign(source);
  const std::string small = (dir / "small.DST").string();
  WriteBenchDesign(small, kSmallStitches, kSmallField);
  std::printf("source: %ld stitches, %lld bytes\n", kStitches,
              static_cast<long long>(fs::file_size(source)));
  std::printf("%-12s %14s %10s %12s\n", "conversion", "stitches/s", "seconds", "peak RSS");
  // Each conversion in a child process, so that its peak memory is its own.
  auto measure = [](const std::string& label, const std::string& from, const std::string& to,
                    long stitches = kStitches, bool quiet = false) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      // The best of five runs: the machine is shared, and noise only ever adds time.
      int result = 0;
      double seconds = 1e9;
      for (int run = 0; run < 5 && result == 0; ++run) {
        const auto start = std::chrono::steady_clock::now();
        result = tavlin::Convert(from, to).value();
        seconds = std::min(seconds, std::chrono::duration<double>(
                                        std::chrono::steady_clock::now() - start)
                                        .count());
      }
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      if (result != 0 && quiet) {
      } else if (result != 0) {
        std::printf("%-12s failed with code %d\n", label.c_str(), result);
      } else {
        std::printf("%-12s %14.0f %10.3f %9ld KiB\n", label.c_str(), static_cast<double>(stitches) / seconds, seconds,
                    usage.ru_maxrss);
      }
      std::fflush(stdout);
      std::_Exit(result == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  };
  int failures = 0;
  struct Made {
    tavlin::FormatInfo format;
    long stitches;
  };
  std::vector<Made> made;
  for (const tavlin::FormatInfo& format : tavlin::StitchFormats()) {
    if (!format.writes || format.name.empty()) continue;
    if (format.maxBytes != 0) {
      std::printf("%-12s %14s\n", ("DST->" + format.name).c_str(),
                  "n/a (files end at 32,767 bytes)");
      continue;
    }
    const std::string dest = (dir / ("out" + format.typicalEnd)).string();
    if (measure("DST->" + format.name, source, dest, kStitches, true)) {
      made.push_back({format, kStitches});
    } else if (measure("DST->" + format.name + "*", small, dest, kSmallStitches)) {
      made.push_back({format, kSmallStitches});
    } else {
      ++failures;
    }
  }
  // The rate the starred rows compare with: a run's fixed costs weigh more on fewer
  // stitches, so DST to DST is measured on the same design.
  if (!measure("DST->DST*", small, (dir / "small-out.DST").string(), kSmallStitches)) ++failures;
  for (const auto& [format, stitches] : made) {
    if (!format.reads || format.fileEnd == "DST") continue;
    const std::string from = (dir / ("out" + format.typicalEnd)).string();
    // A format read only into others is measured into the first of them.
    const std::string into = format.readOnlyInto.empty()
                                 ? std::string("DST")
                                 : format.readOnlyInto.substr(0, format.readOnlyInto.find(' '));
    const std::string label = format.name + "->" + into + (stitches == kSmallStitches ? "*" : "");
    if (!measure(label, from, (dir / ("back." + into)).string(), stitches)) ++failures;
  }
  std::printf("* on a design of %ld stitches within %ld mm of the centre: the field and count\n"
              "  of the format hold no more; compare with DST->DST*\n", kSmallStitches, kSmallField / 10);
  fs::remove_all(dir);
  return failures == 0 ? 0 : 1;
}
