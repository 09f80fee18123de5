// Writes the seed corpus of the formats target: every sample design of a format this
// build reads, prefixed with its format's byte (once as the class reads it, once with
// the other writers' readings), and a small design written by every writer that also
// reads, so that a format with no sample still starts from a sound file.
//   fuzz-seeds SAMPLES_DIR OUT_DIR
#include <cstdio>
#include <filesystem>

#include "entries.h"

namespace fs = std::filesystem;
using namespace tavlin;

namespace {

void Seed(const fs::path& out, const std::string& name, uint8_t first, const std::string& bytes) {
  std::string seed(1, static_cast<char>(first));
  seed += bytes;
  fuzz::WriteFile((out / name).string(), seed.data(), seed.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s SAMPLES_DIR OUT_DIR\n", argv[0]);
    return 2;
  }
  const fs::path out = argv[2];
  fs::create_directories(out);
  int seeds = 0;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(argv[1], ec)) {
    const std::string name = entry.path().filename().string();
    const int16_t code = FindFormatCode(name);
    if (code < 0 || code >= 32 || fuzz::ReadableByCode()[static_cast<size_t>(code)] == nullptr) continue;
    const std::string bytes = fuzz::ReadFile(entry.path().string());
    Seed(out, "sample-" + name, static_cast<uint8_t>(code), bytes);
    Seed(out, "sample-other-" + name, static_cast<uint8_t>(code | 0x20), bytes);
    seeds += 2;
  }
  const fuzz::Scratch scratch;
  const std::string source = scratch / "made.DST";
  const std::string dst = fuzz::WanderingDst(150);
  fuzz::WriteFile(source, dst.data(), dst.size());
  for (const Codec* const* codec = CodecsBegin(); codec != CodecsEnd(); ++codec) {
    const Codec& dest = **codec;
    if (!IsNamedFormat(dest) || !dest.Writes() || dest.code < 0 || dest.code >= 32 ||
        fuzz::ReadableByCode()[static_cast<size_t>(dest.code)] == nullptr) {
      continue;
    }
    PlatformState platform;
    fuzz::QuietProgress progress;
    ConversionSettings settings(platform);
    settings.progress = &progress;
    int16_t sourceType = FindFormatCode("made.DST");
    int16_t destType = dest.code;
    std::string resolved;
    const std::string made = scratch / fuzz::SourceName(dest);
    if (ConvertStitchFile(settings, sourceType, destType, source, made, resolved) != 0) continue;
    Seed(out, "made-" + std::to_string(dest.code), static_cast<uint8_t>(dest.code), fuzz::ReadFile(made));
    ++seeds;
  }
  std::printf("%d seeds in %s\n", seeds, out.c_str());
  return 0;
}
