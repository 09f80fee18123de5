// What the library API's two halves share: files written beside their destination and
// put in its place only when whole, and the options' progress callback as the
// progress object the routines report to.
#pragma once

#include <functional>
#include <string>

#include "tavlin/progress.h"

namespace tavlin {

// A hidden name beside `dest`, private to this process, that ends in the same three
// characters (they choose the format and the machine tag) or in `ending` when given.
std::string WorkingPathBeside(const std::string& dest, const std::string& ending = {});

// Puts the working file in the destination's place; false, with the working file
// removed, when it can't be.
bool PutInPlace(const std::string& working, const std::string& dest);

class CallbackProgress final : public Progress {
 public:
  explicit CallbackProgress(std::function<void(double, double)> report)
      : report_(std::move(report)) {}
  void Max(double value) override { max_ = value; }
  void Value(double value) override {
    if (report_) report_(value, max_);
  }

 private:
  std::function<void(double, double)> report_;
  double max_ = 0;
};

}  // namespace tavlin
