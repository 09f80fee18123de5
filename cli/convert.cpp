// tavlin convert SOURCE DEST: one stitch file into another format, by extension.
// tavlin convert A B DIR ... --to FORMAT: many at once, spread over the cores.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cctype>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "verbs.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace tavlin::cli {

namespace {

namespace fs = std::filesystem;

// Why the pair can't be converted, or empty.
std::string WhyNot(const std::string& source, const std::string& dest) {
  std::error_code missing;
  if (!fs::is_regular_file(source, missing)) return "file not found (code 53)";
  for (const std::string& why : {RefusedFormat(source, true), RefusedFormat(dest, false),
                                 WhyNotConvertible(source, dest)}) {
    if (!why.empty()) return why;
  }
  return {};
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// The writable format `--to` names: its file end ("PES", ".pes") or its name ("Emnet").
const FormatInfo* WritableFormat(const std::string& named) {
  static const std::vector<FormatInfo> formats = StitchFormats();
  std::string wanted = Upper(named);
  if (!wanted.empty() && wanted[0] == '.') wanted.erase(0, 1);
  for (const FormatInfo& f : formats) {
    if (!f.writes) continue;
    if (Upper(f.name) == wanted || (!f.typicalEnd.empty() && Upper(f.typicalEnd.substr(1)) == wanted)) return &f;
  }
  return nullptr;
}

struct Job {
  std::string source;
  std::string dest;
  std::string failure;  // empty: converted
  bool done = false;
};

int ConvertOne(const std::string& source, const std::string& dest, int maxStitch, bool verbose) {
  if (const std::string why = WhyNot(source, dest); !why.empty()) {
    return Fail("cannot convert " + source + " to " + dest + ": " + why);
  }
  if (verbose) {
    const std::vector<std::string> route = ConversionRoute(source, dest);
    if (route.size() > 2) {
      std::string through;
      for (size_t at = 1; at + 1 < route.size(); ++at) through += (at > 1 ? ", " : "") + route[at];
      std::cerr << "tavlin: " << route.front() << " to " << route.back() << " by way of " << through << "\n";
    }
  }
  const ConvertOptions options{
      .maxStitchLength = static_cast<int16_t>(maxStitch),
      .progress = ProgressBar(),
      .turnedToFit = [&dest] {
        std::cerr << "tavlin: the design fits the hoop of " << dest << " only turned by a quarter: turned\n";
      }};
  const std::error_code ec = Convert(source, dest, options);
  ClearProgressBar();
  if (ec) return Fail("cannot convert " + source + " to " + dest + ": " + InWords(ec, source));
  return 0;
}

// The batch's files: those named, and the files of a named folder whose names give a
// format this build reads (the others are counted as skipped).
std::vector<Job> GatherJobs(const std::vector<std::string>& named, const FormatInfo& to,
                            const std::string& outDir, std::vector<std::string>& skipped) {
  std::vector<Job> jobs;
  for (const std::string& item : named) {
    std::error_code ec;
    if (fs::is_directory(item, ec)) {
      std::vector<std::string> files;
      for (const fs::directory_entry& entry : fs::directory_iterator(item, ec)) {
        std::error_code kind;
        if (!entry.is_regular_file(kind)) continue;
        const std::string path = entry.path().string();
        (RefusedFormat(path, true).empty() ? files : skipped).push_back(path);
      }
      std::sort(files.begin(), files.end());
      for (std::string& f : files) jobs.push_back({.source = std::move(f), .dest = {}, .failure = {}});
    } else {
      jobs.push_back({.source = item, .dest = {}, .failure = {}});
    }
  }
  // Each destination is named once: two sources of one name, or a source that would be
  // its own destination, fail rather than overwrite.
  std::map<std::string, size_t> taken;
  for (Job& job : jobs) {
    const fs::path source(job.source);
    const fs::path dir = outDir.empty() ? source.parent_path() : fs::path(outDir);
    job.dest = (dir / (source.stem().string() + to.typicalEnd)).string();
    std::error_code ec;
    const std::string key = fs::weakly_canonical(job.dest, ec).string();
    if (fs::exists(job.source, ec) && fs::equivalent(job.source, job.dest, ec)) {
      job.failure = "it would replace its own source";
    } else if (auto [at, fresh] = taken.emplace(key, &job - jobs.data()); !fresh) {
      job.failure = "another file of the batch (" + jobs[at->second].source + ") converts to " + job.dest;
    }
    job.done = !job.failure.empty();
  }
  return jobs;
}

int ConvertBatch(const std::vector<std::string>& named, const std::string& toName, const std::string& outDir,
                 int maxStitch, unsigned workers, bool verbose) {
  const FormatInfo* to = WritableFormat(toName);
  if (to == nullptr) return Fail("cannot convert to " + toName + ": it names no format this build writes");
  if (!outDir.empty()) {
    std::error_code ec;
    fs::create_directories(outDir, ec);
    if (!fs::is_directory(outDir, ec)) return Fail("cannot convert into " + outDir + ": it is not a folder");
  }
  std::vector<std::string> skipped;
  std::vector<Job> jobs = GatherJobs(named, *to, outDir, skipped);
  if (jobs.empty()) return Fail("nothing to convert: no file names a format this build reads");

  const auto started = std::chrono::steady_clock::now();
  std::atomic<size_t> next{0}, finished{0}, failed{0};
  for (const Job& job : jobs) {
    if (job.done) {
      ++finished;
      ++failed;
    }
  }
  std::mutex mutex;
  std::condition_variable changed;
  // Each file is converted on its own: the library's Convert owns all its state (no
  // thread's shared record, a working file named for its own destination), so workers
  // share nothing but the index of the next file.
  auto work = [&] {
    for (size_t at = next++; at < jobs.size(); at = next++) {
      Job& job = jobs[at];
      if (job.done) continue;
      std::string failure = WhyNot(job.source, job.dest);
      if (failure.empty()) {
        const ConvertOptions options{.maxStitchLength = static_cast<int16_t>(maxStitch)};
        if (const std::error_code ec = Convert(job.source, job.dest, options)) failure = InWords(ec, job.source);
      }
      {
        std::lock_guard<std::mutex> lock(mutex);
        job.failure = std::move(failure);
        job.done = true;
        if (!job.failure.empty()) ++failed;
        ++finished;
      }
      changed.notify_one();
    }
  };
  workers = std::clamp<unsigned>(workers, 1, static_cast<unsigned>(jobs.size()));
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < workers; ++i) threads.emplace_back(work);

  // One progress line for the batch, on a terminal.
  const bool terminal = isatty(2) != 0;
  {
    std::unique_lock<std::mutex> lock(mutex);
    while (finished < jobs.size()) {
      changed.wait_for(lock, std::chrono::milliseconds(200));
      if (terminal) {
        std::fprintf(stderr, "\r\033[Kconverting to %s: %zu of %zu done, %zu failed", to->name.c_str(),
                     finished.load(), jobs.size(), failed.load());
        std::fflush(stderr);
      }
    }
  }
  for (std::thread& t : threads) t.join();
  if (terminal) std::fputs("\r\033[K", stderr);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

  for (const Job& job : jobs) {
    if (!job.failure.empty()) std::cerr << "tavlin: cannot convert " << job.source << ": " << job.failure << "\n";
  }
  if (verbose) {
    std::printf("%-40s %-40s %s\n", "source", "destination", "result");
    for (const Job& job : jobs) {
      std::printf("%-40s %-40s %s\n", job.source.c_str(), job.dest.c_str(),
                  job.failure.empty() ? "converted" : ("FAILED: " + job.failure).c_str());
    }
    for (const std::string& s : skipped) std::printf("%-40s %-40s %s\n", s.c_str(), "-", "skipped: no format this build reads");
    std::printf("\n");
  }
  std::printf("%-10s %8s\n", "files", ("to " + to->name).c_str());
  std::printf("%-10s %8zu\n", "converted", jobs.size() - failed.load());
  std::printf("%-10s %8zu\n", "failed", failed.load());
  if (!skipped.empty()) std::printf("%-10s %8zu  (names that give no format this build reads)\n", "skipped", skipped.size());
  std::printf("%-10s %8.2f  (%u worker%s)\n", "seconds", seconds, workers, workers == 1 ? "" : "s");
  return failed > 0 ? 1 : 0;
}

}  // namespace

void AddConvert(CLI::App& app, int& exitCode) {
  auto* verb = app.add_subcommand("convert", "Convert a stitch file to another format, chosen by the "
                                             "destination's extension; or many files and folders --to a format");
  auto files = std::make_shared<std::vector<std::string>>();
  auto to = std::make_shared<std::string>();
  auto outDir = std::make_shared<std::string>();
  auto jobs = std::make_shared<unsigned>(std::max(1u, std::thread::hardware_concurrency()));
  auto maxStitch = std::make_shared<int>(50);
  auto verbose = std::make_shared<bool>(false);
  verb->add_option("FILES", *files,
                   "SOURCE DEST; or, with --to, the files and folders to convert")->required();
  verb->add_option("--to", *to, "convert every file named (and every design of a named folder) to this "
                                "format, e.g. PES, DST, Emnet");
  verb->add_option("--out-dir", *outDir, "with --to: where the converted files go (default: beside each source)");
  verb->add_option("-j,--jobs", *jobs, "with --to: how many files are converted at once (default: one per core)")
      ->check(CLI::Range(1, 256));
  verb->add_option("--max-stitch-length", *maxStitch, "longest piece of a split move, 20 to 121 (0.1 mm)")
      ->check(CLI::Range(20, 121));
  verb->add_flag("-v,--verbose", *verbose,
                 "say which working formats the design passes through; with --to, a row for every file");
  verb->callback([=, &exitCode] {
    if (!to->empty()) {
      exitCode = ConvertBatch(*files, *to, *outDir, *maxStitch, *jobs, *verbose);
      return;
    }
    if (files->size() != 2 || !outDir->empty()) {
      exitCode = Fail("convert takes SOURCE DEST, or files and folders with --to FORMAT [--out-dir DIR]");
      return;
    }
    exitCode = ConvertOne((*files)[0], (*files)[1], *maxStitch, *verbose);
  });
}

}  // namespace tavlin::cli
