// What the verbs share: the progress bar, error lines, and conversions that never
// leave a half-written destination behind.
#pragma once

#include <memory>
#include <string>

#include "tavlin/progress.h"

namespace tavlin::cli {

// A bar on stderr, drawn only when stderr is a terminal.
std::shared_ptr<Progress> MakeProgressBar();

// Prints "tavlin: <what>" on stderr; gives 1, the exit code of a failure.
int Fail(const std::string& what);

// "disk not ready (code 71)"
std::string CodeInWords(int code);

// Converts by extension into a temporary file beside the destination, which replaces
// the destination only when the conversion succeeds. Gives the conversion's result,
// or a run-time code; on failure the destination is as it was.
int ConvertSafely(const std::string& source, const std::string& dest,
                  std::shared_ptr<Progress> progress);

// 0.1 mm as millimetres, e.g. "12.3".
std::string Millimetres(double tenths);

}  // namespace tavlin::cli
