#include "dispatch_progress.h"

#include <dispex.h>

#include <cmath>
#include <string>

#include "platform/run_time_error.h"

namespace tavlin::com {

namespace {

// The classic "object doesn't support this property or method".
constexpr int16_t kNoSuchMember = 438;

std::string Ascii(const wchar_t* name) {
  std::string out;
  for (; *name != 0; ++name) out += static_cast<char>(*name);
  return out;
}

}  // namespace

DispatchProgress::DispatchProgress(IDispatch* object) : object_(object) {
  if (object_ != nullptr) object_->AddRef();
}

DispatchProgress::~DispatchProgress() { Detach(); }

void DispatchProgress::Detach() {
  if (object_ != nullptr) object_->Release();
  object_ = nullptr;
}

void DispatchProgress::Max(double value) { Put(L"Max", maxId_, value); }

void DispatchProgress::Value(double value) { Put(L"Value", valueId_, value); }

void DispatchProgress::Put(const wchar_t* name, DISPID& id, double value) {
  if (object_ == nullptr) throw RunTimeError(kNoObject);
  if (id == DISPID_UNKNOWN) {
    // Script objects answer names through IDispatchEx (Wine's VBScript classes only
    // there); any other object through GetIDsOfNames.
    HRESULT found = E_NOINTERFACE;
    IDispatchEx* scripted = nullptr;
    if (SUCCEEDED(object_->QueryInterface(__uuidof(IDispatchEx), reinterpret_cast<void**>(&scripted)))) {
      BSTR text = SysAllocString(name);
      found = scripted->GetDispID(text, fdexNameCaseInsensitive, &id);
      SysFreeString(text);
      scripted->Release();
    }
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    if (FAILED(found)) found = object_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(found)) {
      id = DISPID_UNKNOWN;
      throw RunTimeError(kNoSuchMember, "the progress object has no property " + Ascii(name));
    }
  }
  // Whole amounts go as Long, as a VB host's own code would pass them.
  VARIANT arg;
  VariantInit(&arg);
  if (value == std::floor(value) && std::fabs(value) <= 2147483647.0) {
    V_VT(&arg) = VT_I4;
    V_I4(&arg) = static_cast<LONG>(value);
  } else {
    V_VT(&arg) = VT_R8;
    V_R8(&arg) = value;
  }
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS params{&arg, &put, 1, 1};
  EXCEPINFO exception{};
  const HRESULT hr = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                                     &params, nullptr, &exception, nullptr);
  if (SUCCEEDED(hr)) return;
  HRESULT cause = hr;
  if (hr == DISP_E_EXCEPTION) {
    if (exception.pfnDeferredFillIn != nullptr) exception.pfnDeferredFillIn(&exception);
    cause = exception.scode != 0 ? exception.scode : MAKE_HRESULT(1, FACILITY_CONTROL, exception.wCode);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
  }
  // The host's own failure keeps its classic number; any other is an invalid call.
  const int16_t code = HRESULT_FACILITY(cause) == FACILITY_CONTROL
                           ? static_cast<int16_t>(HRESULT_CODE(cause))
                           : int16_t{kInvalidCall};
  throw RunTimeError(code, "the progress object refused " + Ascii(name));
}

}  // namespace tavlin::com
