// The host's progress object: any automation object with writable Max and Value,
// reached by name when the conversion first writes each.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "tavlin/progress.h"

namespace tavlin::com {

class DispatchProgress final : public Progress {
 public:
  explicit DispatchProgress(IDispatch* object);
  ~DispatchProgress() override;
  DispatchProgress(const DispatchProgress&) = delete;
  DispatchProgress& operator=(const DispatchProgress&) = delete;

  void Max(double value) override;
  void Value(double value) override;

  // Lets go of the host's object when the call that brought it returns: only that
  // call's conversion may write to it, and no reference outlives the host's apartment.
  void Detach();

 private:
  void Put(const wchar_t* name, DISPID& id, double value);

  IDispatch* object_ = nullptr;
  DISPID maxId_ = DISPID_UNKNOWN;
  DISPID valueId_ = DISPID_UNKNOWN;
};

}  // namespace tavlin::com
