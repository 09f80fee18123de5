#include "common.h"

#include <cstdio>
#include <iostream>
#include <system_error>

#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace tavlin::cli {

namespace {

bool barDrawn = false;

}  // namespace

std::function<void(double, double)> ProgressBar() {
  if (isatty(2) == 0) return {};
  return [shown = -1](double done, double total) mutable {
    if (total <= 0) return;
    const int percent = static_cast<int>(100.0 * done / total);
    if (percent == shown) return;
    shown = percent;
    const int filled = percent * 30 / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "##############################",
                 30 - filled, "", percent);
    std::fflush(stderr);
    barDrawn = true;
  };
}

void ClearProgressBar() {
  if (barDrawn) std::fputs("\r\033[K", stderr);
  barDrawn = false;
}

int Fail(const std::string& what) {
  ClearProgressBar();
  std::cerr << "tavlin: " << what << "\n";
  return 1;
}

std::string InWords(const std::error_code& ec) {
  if (ec.category() == ResultCategory()) {
    return ec.message() + " (code " + std::to_string(ec.value()) + ")";
  }
  return ec.message();
}

std::string InWords(const std::error_code& ec, const std::string& source) {
  if (ec == ConvertErrc::UnsoundSource) return WhySourceUnsound(source);
  return InWords(ec);
}

std::string RefusedFormat(const std::string& path, bool forReading) {
  const int16_t code = FindFormatCode(path);
  for (const FormatInfo& f : StitchFormats()) {
    if (f.code != code || code == -2) continue;
    if (forReading ? f.reads : f.writes) return {};
    return std::string("this build does not ") + (forReading ? "read " : "write ") +
           f.name + " files";
  }
  return "the extension of " + path + " names no stitch format";
}

std::string Millimetres(double tenths) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", tenths / 10.0);
  return text;
}

}  // namespace tavlin::cli
