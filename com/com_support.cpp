#include "com_support.h"

#include <new>
#include <stdexcept>

#include "guids.h"
#include "platform/run_time_error.h"
#include "tavlin_idl.h"

namespace tavlin::com {

std::atomic<long> gObjects{0};
std::atomic<long> gLocks{0};
HMODULE gModule = nullptr;

std::string Narrow(BSTR text) {
  const int length = static_cast<int>(SysStringLen(text));
  if (length == 0) return {};
  const int bytes = WideCharToMultiByte(CP_ACP, 0, text, length, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, 0, text, length, out.data(), bytes, nullptr, nullptr);
  return out;
}

BSTR Wide(const std::string& text) {
  // Byte texts (a listing ends each line with a NUL) keep every byte: the length is
  // explicit, never taken from a terminator.
  const int length = static_cast<int>(text.size());
  if (length == 0) return SysAllocStringLen(nullptr, 0);
  const int chars = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
  BSTR out = SysAllocStringLen(nullptr, static_cast<UINT>(chars));
  if (out != nullptr) MultiByteToWideChar(CP_ACP, 0, text.data(), length, out, chars);
  return out;
}

HRESULT Fail(HRESULT hr, const std::string& description) {
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    BSTR text = Wide(description);
    create->SetDescription(text);
    SysFreeString(text);
    create->SetSource(const_cast<LPOLESTR>(L"" TAVLIN_PROGID));
    create->SetGUID(IID__clsTavlin);
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  }
  return hr;
}

HRESULT FailFromCurrentException() noexcept {
  try {
    throw;
  } catch (const RunTimeError& e) {
    // The classic number, as a VB host sees it in Err.Number.
    return Fail(MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, static_cast<WORD>(e.Code())),
                e.what());
  } catch (const std::bad_alloc&) {
    return Fail(E_OUTOFMEMORY, "out of memory");
  } catch (const std::invalid_argument& e) {
    return Fail(E_INVALIDARG, e.what());
  } catch (const std::exception& e) {
    return Fail(E_FAIL, e.what());
  } catch (...) {
    return Fail(E_FAIL, "unexpected failure");
  }
}

}  // namespace tavlin::com
