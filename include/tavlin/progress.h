// The progress object a host hands to a conversion: the system writes the amount to
// be done into Max and the amount done into Value, and never reads them.
#pragma once

namespace tavlin {

class Progress {
 public:
  virtual ~Progress() = default;
  virtual void Max(double value) = 0;
  virtual void Value(double value) = 0;
};

}  // namespace tavlin
