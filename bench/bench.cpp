// Throughput and memory of conversions: a generated DST of 2,000,000 stitches goes to
// DST and to every other writable format. Prints stitches per second and peak memory.
#include <algorithm>
#include <cstdlib>
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

#ifdef __linux__
// Runs a command `times` times, one process after another, as a shell loop does; gives
// the seconds of the whole loop.
double LoopSeconds(const std::vector<std::string>& command, int times) {
  std::vector<char*> argv;
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      std::freopen("/dev/null", "w", stdout);
      std::freopen("/dev/null", "w", stderr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What every run of the command costs before its work: a loop of single small
// conversions against a loop of /bin/true, and, where valgrind is, the instructions of
// `tavlin --version` and of one such conversion, which no busy machine blurs.
void MeasureStartUp(const std::filesystem::path& dir) {
  const std::string small = (dir / "start.DST").string();
  WriteBenchDesign(small, 5'000, kSmallField);
  const std::string out = (dir / "start.JEF").string();
  if (tavlin::Convert(small, out)) {
    std::printf("start-up: the 5,000-stitch design does not convert to JEF\n");
    return;
  }
  const int times = 1'000;
  const double tavlin = LoopSeconds({TAVLIN_CLI, "convert", small, out}, times);
  const double bare = LoopSeconds({"/bin/true"}, times);
  std::printf("start-up: %d conversions of 5,000 stitches to JEF, one process each: %.2f ms a run,\n"
              "          /bin/true %.2f ms a run: %.2f times /bin/true\n",
              times, 1000 * tavlin / times, 1000 * bare / times, tavlin / bare);
  if (std::system("command -v valgrind >/dev/null 2>&1") != 0) return;
  for (const std::string& arguments : {std::string("--version"), "convert " + small + " " + out}) {
    const std::string command = "valgrind --tool=callgrind --callgrind-out-file=/dev/null " +
                                std::string(TAVLIN_CLI) + " " + arguments +
                                " 2>&1 >/dev/null | sed -n 's/.*Collected : //p'";
    std::string instructions;
    if (std::FILE* pipe = popen(command.c_str(), "r")) {
      char line[64] = {};
      if (std::fgets(line, sizeof line, pipe) != nullptr) instructions = line;
      pclose(pipe);
    }
    instructions.erase(instructions.find_last_not_of(" \n") + 1);
    std::printf("          tavlin %s: %s instructions\n",
                arguments == "--version" ? "--version" : "convert (5,000 stitches)", instructions.c_str());
  }
}
#endif

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
#ifdef __linux__
  // --start-up: only what a run costs before its work.
  if (argc == 2 && std::string(argv[1]) == "--start-up") {
    MeasureStartUp(dir);
    fs::remove_all(dir);
    return 0;
  }
#endif
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
#ifdef __linux__
  MeasureStartUp(dir);
#endif
  fs::remove_all(dir);
  return failures == 0 ? 0 : 1;
}
