// What the verbs share: the progress bar, error lines, and conversions that never
// leave a half-written destination behind.
#pragma once

#include <memory>
#include <string>

#include <functional>
#include <system_error>

#include "tavlin/progress.h"

namespace tavlin::cli {

// A bar on stderr when stderr is a terminal; otherwise nothing. The bar is wiped by
// ClearProgressBar.
std::function<void(double done, double total)> ProgressBar();
void ClearProgressBar();

// Prints "tavlin: <what>" on stderr; gives 1, the exit code of a failure.
int Fail(const std::string& what);

// "disk not ready (code 71)" for a numbered result; the words alone for a disc's.
std::string InWords(const std::error_code& ec);
// The same for a failure that concerns a source file: an unsound source says what is
// wrong with it.
std::string InWords(const std::error_code& ec, const std::string& source);

// Why this build can't read (or write) the file a path names, or empty when it can.
std::string RefusedFormat(const std::string& path, bool forReading);

// 0.1 mm as millimetres, e.g. "12.3".
std::string Millimetres(double tenths);

}  // namespace tavlin::cli
