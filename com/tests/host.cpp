// A C++ host of the server, early bound through the vtable as a compiled program is:
// loads the DLL itself, creates the object through the class factory, calls members
// by their slots, reads the error information of a refused call, and shows that the
// DLL may unload only when the factory and every object are gone.
// Usage: tavlin-host.exe PATH\Tavlin.dll; its last line is "PASS host".
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <cwchar>

#include "tavlin_idl.h"

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
  if (!ok) {
    ++failures;
    std::printf("FAIL: %s\n", what);
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) return 2;
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  HMODULE dll = LoadLibraryW(argv[1]);
  if (dll == nullptr) {
    std::printf("cannot load the DLL\n");
    return 1;
  }
  using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
  using CanUnloadNow = HRESULT(WINAPI*)();
  auto getClassObject = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(GetProcAddress(dll, "DllGetClassObject")));
  auto canUnloadNow = reinterpret_cast<CanUnloadNow>(
      reinterpret_cast<void*>(GetProcAddress(dll, "DllCanUnloadNow")));
  Check(getClassObject != nullptr && canUnloadNow != nullptr, "the entry points are missing");
  if (getClassObject == nullptr || canUnloadNow == nullptr) return 1;
  Check(canUnloadNow() == S_OK, "a DLL with nothing handed out can't unload");

  IClassFactory* factory = nullptr;
  IUnknown* none = nullptr;
  Check(getClassObject(IID__clsTavlin, IID_IClassFactory, reinterpret_cast<void**>(&none)) ==
            CLASS_E_CLASSNOTAVAILABLE, "a factory for another class id");
  Check(SUCCEEDED(getClassObject(CLSID_clsTavlin, IID_IClassFactory,
                                 reinterpret_cast<void**>(&factory))), "no class factory");
  if (factory == nullptr) return 1;
  Check(canUnloadNow() == S_FALSE, "the DLL could unload while its factory is held");
  IUnknown* outer = factory;  // any object will do: aggregation is refused
  Check(factory->CreateInstance(outer, IID_IUnknown, reinterpret_cast<void**>(&none)) ==
            CLASS_E_NOAGGREGATION, "aggregation was not refused");

  _clsTavlin* t = nullptr;
  Check(SUCCEEDED(factory->CreateInstance(nullptr, IID__clsTavlin, reinterpret_cast<void**>(&t))),
        "no object");
  factory->Release();
  if (t == nullptr) return 1;
  Check(canUnloadNow() == S_FALSE, "the DLL could unload while an object lives");

  short value = 0;
  short result = 0;
  t->get_MaxStitchLen(&value);
  Check(value == 50, "MaxStitchLen of a new object");
  value = 121;
  t->put_MaxStitchLen(&value);
  t->get_MaxStitchLen(&value);
  Check(value == 121, "MaxStitchLen 121 through its slot");
  value = 17;
  t->FormatDisc(&value, &result);
  Check(result == 2 && value == 17, "FormatDisc 17 through its slot");
  BSTR text = nullptr;
  t->get_Files(&text);
  Check(text != nullptr && SysStringLen(text) == 0, "Files of a new object");
  SysFreeString(text);
  LONG free = -1;
  t->get_FreeStitches(&free);
  Check(free == 0, "FreeStitches of a new object");

  ISupportErrorInfo* support = nullptr;
  Check(SUCCEEDED(t->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support))) &&
            support->InterfaceSupportsErrorInfo(IID__clsTavlin) == S_OK,
        "no ISupportErrorInfo");
  if (support != nullptr) support->Release();
  value = 5;
  BSTR folder = SysAllocString(L"C:\\");
  Check(t->BindDriveFolder(&value, &folder) == E_INVALIDARG, "drive 5 was bound");
  IErrorInfo* error = nullptr;
  BSTR description = nullptr;
  Check(GetErrorInfo(0, &error) == S_OK && SUCCEEDED(error->GetDescription(&description)) &&
            std::wcsstr(description, L"is not 0 (A:) or 1 (B:)") != nullptr,
        "the refusal says no reason");
  SysFreeString(description);
  SysFreeString(folder);
  if (error != nullptr) error->Release();

  t->Release();
  Check(canUnloadNow() == S_OK, "the DLL can't unload after the last object went");
  FreeLibrary(dll);
  CoUninitialize();
  if (failures == 0) {
    std::printf("PASS host\n");
  } else {
    std::printf("%d checks failed\n", failures);
  }
  return failures == 0 ? 0 : 1;
}
