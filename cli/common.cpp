#include "common.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "tavlin/stitch_files.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define getpid _getpid
#include <process.h>
#else
#include <unistd.h>
#endif

namespace tavlin::cli {

namespace {

class ProgressBar final : public Progress {
 public:
  ~ProgressBar() override {
    if (drawn_) std::fputs("\r\033[K", stderr);
  }
  void Max(double value) override { max_ = value; }
  void Value(double value) override {
    if (max_ <= 0) return;
    const int percent = static_cast<int>(100.0 * value / max_);
    if (percent == shown_) return;
    shown_ = percent;
    const int filled = percent * 30 / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "##############################",
                 30 - filled, "", percent);
    std::fflush(stderr);
    drawn_ = true;
  }

 private:
  double max_ = 0;
  int shown_ = -1;
  bool drawn_ = false;
};

}  // namespace

std::shared_ptr<Progress> MakeProgressBar() {
  if (isatty(2) == 0) return std::make_shared<NoProgressBar>();
  return std::make_shared<ProgressBar>();
}

int Fail(const std::string& what) {
  std::cerr << "tavlin: " << what << "\n";
  return 1;
}

std::string CodeInWords(int code) {
  return ResultText(code) + " (code " + std::to_string(code) + ")";
}

int ConvertSafely(const std::string& source, const std::string& dest,
                  std::shared_ptr<Progress> progress) {
  namespace fs = std::filesystem;
  const fs::path destPath(dest);
  // The temporary name keeps the destination's last three characters: they choose
  // the format and the machine tag.
  const std::string name = destPath.filename().string();
  const std::string ending = name.size() >= 3 ? name.substr(name.size() - 3) : name;
  const fs::path temporary =
      destPath.parent_path() /
      ("." + name + ".tavlin-" + std::to_string(getpid()) + "." + ending);
  const int result = ConvertStitchFiles(source, temporary.string(), std::move(progress));
  std::error_code ec;
  if (result != 0) {
    fs::remove(temporary, ec);
    return result;
  }
  fs::rename(temporary, destPath, ec);
  if (ec) {
    fs::remove(temporary, ec);
    return 75;  // path/file access error
  }
  return 0;
}

std::string RefusedFormat(const std::string& path, bool forReading) {
  const int16_t code = FindFormatCode(path);
  for (const FormatInfo& f : StitchFormats()) {
    if (f.code != code || code == -2) continue;
    if (forReading ? f.reads : f.writes) return {};
    return std::string("this build does not ") + (forReading ? "read " : "write ") +
           (f.fileEnd.empty() ? f.extension : f.fileEnd) + " files";
  }
  return "the extension of " + path + " names no stitch format";
}

std::string Millimetres(double tenths) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", tenths / 10.0);
  return text;
}

}  // namespace tavlin::cli
