// The DLL's entry points: the class factory, unloading, and self-registration of the
// class, its ProgIDs and the type library.
#include <windows.h>
#include <olectl.h>

#include <string>

#include "cls_tavlin.h"
#include "com_support.h"
#include "guids.h"

using tavlin::com::ClsTavlin;
using tavlin::com::gLocks;
using tavlin::com::gModule;
using tavlin::com::gObjects;

namespace {

#define TAVLIN_TEXT2(x) #x
#define TAVLIN_TEXT(x) TAVLIN_TEXT2(x)

const wchar_t kClsidKey[] = L"CLSID\\{" TAVLIN_TEXT(TAVLIN_CLSID) L"}";
const wchar_t kLibid[] = L"{" TAVLIN_TEXT(TAVLIN_LIBID) L"}";
const wchar_t kClsid[] = L"{" TAVLIN_TEXT(TAVLIN_CLSID) L"}";
const wchar_t kProgId[] = L"" TAVLIN_PROGID;
const wchar_t kProgIdVersioned[] = L"" TAVLIN_PROGID_VERSIONED;
const wchar_t kClassName[] = L"clsTavlin";
const wchar_t kVersion[] = L"" TAVLIN_TEXT(TAVLIN_LIB_MAJOR) L"." TAVLIN_TEXT(TAVLIN_LIB_MINOR);

#ifdef _WIN64
constexpr SYSKIND kSysKind = SYS_WIN64;
#else
constexpr SYSKIND kSysKind = SYS_WIN32;
#endif

class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
      *out = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  // The one factory lives as long as the DLL; a host holding it keeps the DLL loaded.
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++gLocks); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--gLocks); }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return ClsTavlin::Create(iid, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock) {
      ++gLocks;
    } else {
      --gLocks;
    }
    return S_OK;
  }
};

ClassFactory gFactory;

std::wstring ModulePath() {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(gModule, path, MAX_PATH);
  return length == 0 || length == MAX_PATH ? std::wstring{} : std::wstring(path, length);
}

// Writes a string value (the key's default when name is null), creating the key.
LONG SetText(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  HKEY handle = nullptr;
  LONG status = RegCreateKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_SET_VALUE, nullptr, &handle, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(handle);
  return status;
}

LONG DeleteTree(const wchar_t* key) {
  const LONG status = RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  return RegDeleteKeyW(HKEY_CLASSES_ROOT, key) == ERROR_ACCESS_DENIED ? ERROR_ACCESS_DENIED
                                                                      : ERROR_SUCCESS;
}

HRESULT Unregister() {
  // The type library's keys go with UnRegisterTypeLib; a library never registered is
  // not an error.
  const HRESULT typeLib = UnRegisterTypeLib(
      [] {
        GUID libid{};
        CLSIDFromString(const_cast<LPOLESTR>(kLibid), &libid);
        return libid;
      }(),
      TAVLIN_LIB_MAJOR, TAVLIN_LIB_MINOR, LOCALE_NEUTRAL, kSysKind);
  LONG status = DeleteTree(kClsidKey);
  if (status == ERROR_SUCCESS) status = DeleteTree(kProgIdVersioned);
  if (status == ERROR_SUCCESS) status = DeleteTree(kProgId);
  if (status != ERROR_SUCCESS) return SELFREG_E_CLASS;
  return FAILED(typeLib) && typeLib != TYPE_E_REGISTRYACCESS && typeLib != TYPE_E_CANTLOADLIBRARY
             ? SELFREG_E_TYPELIB
             : S_OK;
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) gModule = instance;
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!IsEqualCLSID(clsid, CLSID_clsTavlin)) return CLASS_E_CLASSNOTAVAILABLE;
  return gFactory.QueryInterface(iid, out);
}

STDAPI DllCanUnloadNow() { return gObjects == 0 && gLocks == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() {
  const std::wstring path = ModulePath();
  if (path.empty()) return SELFREG_E_CLASS;
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (SUCCEEDED(hr)) {
    hr = RegisterTypeLib(library, const_cast<OLECHAR*>(path.c_str()), nullptr);
    library->Release();
  }
  if (FAILED(hr)) return SELFREG_E_TYPELIB;

  const std::wstring clsid = kClsidKey;
  const struct {
    std::wstring key;
    const wchar_t* name;
    std::wstring value;
  } entries[] = {
      {clsid, nullptr, kClassName},
      {clsid + L"\\InprocServer32", nullptr, path},
      {clsid + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {clsid + L"\\ProgID", nullptr, kProgIdVersioned},
      {clsid + L"\\VersionIndependentProgID", nullptr, kProgId},
      {clsid + L"\\TypeLib", nullptr, kLibid},
      {clsid + L"\\Version", nullptr, kVersion},
      {kProgId, nullptr, kClassName},
      {std::wstring(kProgId) + L"\\CLSID", nullptr, kClsid},
      {std::wstring(kProgId) + L"\\CurVer", nullptr, kProgIdVersioned},
      {kProgIdVersioned, nullptr, kClassName},
      {std::wstring(kProgIdVersioned) + L"\\CLSID", nullptr, kClsid},
  };
  for (const auto& entry : entries) {
    if (SetText(entry.key, entry.name, entry.value) != ERROR_SUCCESS) {
      Unregister();
      return SELFREG_E_CLASS;
    }
  }
  return S_OK;
}

STDAPI DllUnregisterServer() { return Unregister(); }
