// Every input in tests/corpus/ once crashed, hung or leaked, or is part of the fuzzers'
// minimised corpus: each runs again here through the fuzz targets' own entries, under
// whatever sanitizers this build has, and must end within its time limit.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>

#include "../fuzz/entries.h"

namespace tavlin {
namespace {

namespace fs = std::filesystem;

// Long enough for the slowest input under the sanitizers, far short of a hang.
constexpr auto kLimitPerInput = std::chrono::seconds(15);

fs::path CorpusOf(const std::string& target) {
  return fs::path(__FILE__).parent_path() / "corpus" / target;
}

std::vector<fs::path> InputsOf(const std::string& target) {
  std::vector<fs::path> inputs;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(CorpusOf(target), ec)) {
    if (entry.is_regular_file()) inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

// Runs one input; a run past the limit can't be stopped from inside, so the watchdog
// names the input and ends the process, which fails the test run.
void RunWithLimit(const fs::path& input, const std::function<void(const uint8_t*, size_t)>& entry) {
  const std::string bytes = fuzz::ReadFile(input.string());
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  std::thread watchdog([&] {
    std::unique_lock lock(mutex);
    if (!finished.wait_for(lock, kLimitPerInput, [&] { return done; })) {
      std::fprintf(stderr, "corpus input %s ran past %lld s\n", input.c_str(),
                   static_cast<long long>(kLimitPerInput.count()));
      std::abort();
    }
  });
  entry(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  {
    std::lock_guard lock(mutex);
    done = true;
  }
  finished.notify_one();
  watchdog.join();
}

TEST(CorpusReplay, EveryFormatInputConvertsOrFailsWithinItsLimit) {
  const std::vector<fs::path> inputs = InputsOf("formats");
  ASSERT_GE(inputs.size(), 20u) << CorpusOf("formats");
  const fuzz::Scratch scratch;
  size_t converting = 0;
  for (const fs::path& input : inputs) {
    SCOPED_TRACE(input.filename().string());
    RunWithLimit(input, [&](const uint8_t* data, size_t size) {
      converting += fuzz::FuzzFormats(scratch, data, size) > 0 ? 1 : 0;
    });
  }
  // The corpus reaches past the readers' first checks: a good share of it converts.
  EXPECT_GE(converting * 4, inputs.size());
}

TEST(CorpusReplay, EveryEmulatorFileImportsOrIsRefusedWithinItsLimit) {
  const std::vector<fs::path> inputs = InputsOf("emulators");
  ASSERT_GE(inputs.size(), 10u) << CorpusOf("emulators");
  const fuzz::Scratch scratch;
  for (const fs::path& input : inputs) {
    SCOPED_TRACE(input.filename().string());
    RunWithLimit(input, [&](const uint8_t* data, size_t size) { fuzz::FuzzEmulators(scratch, data, size); });
  }
}

TEST(CorpusReplay, EveryCompressedStreamDecodesOrIsRefusedWithinItsLimit) {
  const std::vector<fs::path> inputs = InputsOf("lzh");
  ASSERT_GE(inputs.size(), 20u) << CorpusOf("lzh");
  size_t decoded = 0;
  for (const fs::path& input : inputs) {
    SCOPED_TRACE(input.filename().string());
    RunWithLimit(input, [&](const uint8_t* data, size_t size) { decoded += fuzz::FuzzLzh(data, size) ? 1 : 0; });
  }
  EXPECT_GE(decoded * 4, inputs.size());
}

class DiscCorpus : public ::testing::TestWithParam<DiscFamily> {};

TEST_P(DiscCorpus, EveryDamagedDirectoryListsReadsAndWritesWithinItsLimit) {
  const std::string target(DiscFamilyName(GetParam()));
  const std::vector<fs::path> inputs = InputsOf(target);
  ASSERT_GE(inputs.size(), 20u) << CorpusOf(target);
  fuzz::DiscFixture fixture(GetParam());
  ASSERT_TRUE(fixture.Ready());
  // Untouched, the image the inputs lie over is found to be of its family and lists both
  // designs: the inputs start from a disc in use, not from one nothing can read.
  {
    const fuzz::Scratch scratch;
    fuzz::WriteFile(scratch / "own.img", fixture.Base().data(), fixture.Base().size());
    std::error_code ec;
    const std::unique_ptr<Disc> disc = Disc::Open(scratch / "own.img", std::nullopt, ec);
    ASSERT_NE(disc, nullptr) << ec.message();
    EXPECT_EQ(disc->Family(), GetParam());
    EXPECT_EQ(disc->Listing().designs.size(), 2u);
  }
  for (const fs::path& input : inputs) {
    SCOPED_TRACE(input.filename().string());
    RunWithLimit(input, [&](const uint8_t* data, size_t size) { fixture.Run(data, size); });
  }
}

INSTANTIATE_TEST_SUITE_P(Families, DiscCorpus, ::testing::ValuesIn(DiscFamilies()),
                         [](const ::testing::TestParamInfo<DiscFamily>& tested) {
                           return std::string(DiscFamilyName(tested.param));
                         });

}  // namespace
}  // namespace tavlin
