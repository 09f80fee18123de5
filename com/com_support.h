// What the server's files share: the module's counts, text between BSTR and the
// library's strings, and errors handed to the host as automation errors.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <atomic>
#include <string>

namespace tavlin::com {

// Live objects and LockServer calls: the DLL may unload when both are 0.
extern std::atomic<long> gObjects;
extern std::atomic<long> gLocks;
extern HMODULE gModule;

// The library opens files with the C runtime, which takes paths in the ANSI code page.
std::string Narrow(BSTR text);
BSTR Wide(const std::string& text);

// Sets the thread's error information (what the host shows as Err.Description) and
// returns hr.
HRESULT Fail(HRESULT hr, const std::string& description);

// Runs a member's body, turning what the library throws into an automation error: a
// run-time failure becomes the classic error of its number, anything else E_FAIL.
template <typename Body>
HRESULT Guarded(Body&& body) noexcept;

HRESULT FailFromCurrentException() noexcept;

template <typename Body>
HRESULT Guarded(Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (...) {
    return FailFromCurrentException();
  }
}

}  // namespace tavlin::com
