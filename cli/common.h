// What the verbs share: the progress bar, error lines, and conversions that never
// leave a half-written destination behind.
#pragma once

#include <memory>
#include <string>

#include "tavlin/progress.h"

namespace tavlin::cli {

// A bar on stderr when stderr is a terminal; otherwise a progress object that shows nothing.
std::shared_ptr<Progress> MakeProgressBar();

// A progress object that shows nothing: disc methods need one for their conversion.
class NoProgressBar final : public Progress {
 public:
  void Max(double) override {}
  void Value(double) override {}
};

// Prints "tavlin: <what>" on stderr; gives 1, the exit code of a failure.
int Fail(const std::string& what);

// "disk not ready (code 71)"
std::string CodeInWords(int code);

// Converts by extension into a temporary file beside the destination, which replaces
// the destination only when the conversion succeeds. Gives the conversion's result,
// or a run-time code; on failure the destination is as it was.
int ConvertSafely(const std::string& source, const std::string& dest,
                  std::shared_ptr<Progress> progress);

// Why this build can't read (or write) the file a path names, or empty when it can.
std::string RefusedFormat(const std::string& path, bool forReading);

// 0.1 mm as millimetres, e.g. "12.3".
std::string Millimetres(double tenths);

}  // namespace tavlin::cli
