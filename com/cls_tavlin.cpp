#include "cls_tavlin.h"

#include <memory>
#include <new>
#include <stdexcept>

#include "com_support.h"
#include "dispatch_progress.h"
#include "late_binding.h"
#include "state/shared_record.h"
#include "tavlin/drive.h"

namespace tavlin::com {

namespace {

HRESULT LoadOwnTypeInfo(ITypeInfo** info) {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(gModule, path, MAX_PATH);
  if (length == 0 || length == MAX_PATH) return E_FAIL;
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(path, REGKIND_NONE, &library);
  if (FAILED(hr)) return hr;
  hr = library->GetTypeInfoOfGuid(IID__clsTavlin, info);
  library->Release();
  return hr;
}

// The host's object for one call: handed to the library, let go when the call returns.
class CallProgress {
 public:
  explicit CallProgress(IDispatch** pb)
      : progress_(pb != nullptr && *pb != nullptr ? std::make_shared<DispatchProgress>(*pb)
                                                  : nullptr) {}
  ~CallProgress() {
    if (progress_) progress_->Detach();
  }
  std::shared_ptr<Progress> Get() const { return progress_; }

 private:
  std::shared_ptr<DispatchProgress> progress_;
};

// The host's message queue, run once: the disc routines call it in their waits and
// long loops, so that the host's window keeps painting during a disc write.
void RunHostMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

// Drives a host may bind: the floppy drives A: and B:.
int16_t FloppyDrive(const short* drive) {
  if (*drive != 0 && *drive != 1) {
    throw std::invalid_argument("drive " + std::to_string(*drive) + " is not 0 (A:) or 1 (B:)");
  }
  return *drive;
}

}  // namespace

HRESULT ClsTavlin::Create(REFIID iid, void** out) {
  *out = nullptr;
  ITypeInfo* info = nullptr;
  HRESULT hr = LoadOwnTypeInfo(&info);
  if (FAILED(hr)) return hr;
  ClsTavlin* object = nullptr;
  hr = Guarded([&] { object = new ClsTavlin(info); });
  info->Release();
  if (FAILED(hr)) return hr;
  hr = object->QueryInterface(iid, out);
  object->Release();
  return hr;
}

ClsTavlin::ClsTavlin(ITypeInfo* info) : info_(info) {
  info_->AddRef();
  ++gObjects;
  ThreadSharedRecord().platform.messagePump = RunHostMessages;
}

ClsTavlin::~ClsTavlin() {
  info_->Release();
  --gObjects;
}

HRESULT ClsTavlin::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) ||
      IsEqualIID(iid, IID__clsTavlin)) {
    *out = static_cast<_clsTavlin*>(this);
  } else if (IsEqualIID(iid, IID_ISupportErrorInfo)) {
    *out = static_cast<ISupportErrorInfo*>(this);
  } else {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG ClsTavlin::AddRef() { return ++references_; }

ULONG ClsTavlin::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

HRESULT ClsTavlin::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT ClsTavlin::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  info_->AddRef();
  *info = info_;
  return S_OK;
}

HRESULT ClsTavlin::GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (!IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  return info_->GetIDsOfNames(names, count, ids);
}

HRESULT ClsTavlin::Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* params,
                          VARIANT* result, EXCEPINFO* exception, UINT* argErr) {
  if (!IsEqualIID(iid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  return InvokeCoerced(info_, static_cast<_clsTavlin*>(this), id, flags, params, result,
                       exception, argErr);
}

HRESULT ClsTavlin::InterfaceSupportsErrorInfo(REFIID iid) {
  return IsEqualIID(iid, IID__clsTavlin) ? S_OK : S_FALSE;
}

HRESULT ClsTavlin::FormatDisc(short* FormatType, short* result) {
  return Guarded([&] { *result = tavlin_.FormatDisc(*FormatType); });
}

HRESULT ClsTavlin::WriteToDisc(BSTR* SourceFile, BSTR* DestFile, short* FormatType,
                               IDispatch** PB, short* result) {
  return Guarded([&] {
    CallProgress progress(PB);
    *result = tavlin_.WriteToDisc(Narrow(*SourceFile), Narrow(*DestFile), *FormatType,
                                  progress.Get());
  });
}

HRESULT ClsTavlin::ReadDisc(short* result) {
  return Guarded([&] { *result = tavlin_.ReadDisc(); });
}

HRESULT ClsTavlin::get_Files(BSTR* result) {
  return Guarded([&] { *result = Wide(tavlin_.Files()); });
}

HRESULT ClsTavlin::get_Format(BSTR* result) {
  return Guarded([&] { *result = Wide(tavlin_.Format()); });
}

HRESULT ClsTavlin::get_FreeStitches(LONG* result) {
  return Guarded([&] { *result = tavlin_.FreeStitches(); });
}

HRESULT ClsTavlin::get_SetDrive(short* result) {
  return Guarded([&] { *result = tavlin_.SetDrive(); });
}

HRESULT ClsTavlin::put_SetDrive(short* value) {
  return Guarded([&] { tavlin_.SetDrive(*value); });
}

HRESULT ClsTavlin::SaveTheVector() {
  return Guarded([&] { tavlin_.SaveTheVector(); });
}

HRESULT ClsTavlin::RestoreTheVector() {
  return Guarded([&] { tavlin_.RestoreTheVector(); });
}

HRESULT ClsTavlin::get_DiscType(short* result) {
  return Guarded([&] { *result = tavlin_.DiscType(); });
}

HRESULT ClsTavlin::ReadFromDisc(short* FileNumber, BSTR* SourceName, BSTR* DestName,
                                short* FormatType, IDispatch** PB, short* result) {
  return Guarded([&] {
    CallProgress progress(PB);
    *result = tavlin_.ReadFromDisc(*FileNumber, Narrow(*SourceName), Narrow(*DestName),
                                   *FormatType, progress.Get());
  });
}

HRESULT ClsTavlin::DeleteFromDisc(short* FileNumber, BSTR* FileName, short* FormatType,
                                  short* result) {
  return Guarded(
      [&] { *result = tavlin_.DeleteFromDisc(*FileNumber, Narrow(*FileName), *FormatType); });
}

HRESULT ClsTavlin::DirectoryFDR(short* result) {
  return Guarded([&] { *result = tavlin_.DirectoryFDR(); });
}

HRESULT ClsTavlin::DirectoryZSK(short* result) {
  return Guarded([&] { *result = tavlin_.DirectoryZSK(); });
}

HRESULT ClsTavlin::DirectoryFMC(short* result) {
  return Guarded([&] { *result = tavlin_.DirectoryFMC(); });
}

HRESULT ClsTavlin::Format720(VARIANT_BOOL* result) {
  return Guarded([&] { *result = tavlin_.Format720() ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT ClsTavlin::get_MaxStitchLen(short* result) {
  return Guarded([&] { *result = tavlin_.MaxStitchLen(); });
}

HRESULT ClsTavlin::put_PESAbosulte(VARIANT_BOOL* value) {
  return Guarded([&] { tavlin_.PESAbosulte(*value != VARIANT_FALSE); });
}

HRESULT ClsTavlin::put_MaxStitchLen(short* value) {
  return Guarded([&] { tavlin_.MaxStitchLen(*value); });
}

HRESULT ClsTavlin::get_HoopSize(BSTR* result) {
  return Guarded([&] { *result = Wide(tavlin_.HoopSize()); });
}

HRESULT ClsTavlin::put_HoopSize(BSTR value) {
  return Guarded([&] { tavlin_.HoopSize(Narrow(value)); });
}

HRESULT ClsTavlin::ConvertFile(BSTR* SourceFile, BSTR* DestFile, short* result) {
  return Guarded([&] { *result = tavlin_.ConvertFile(Narrow(*SourceFile), Narrow(*DestFile)); });
}

HRESULT ClsTavlin::BindDriveImage(short* Drive, BSTR* ImageFile) {
  return Guarded([&] { tavlin::BindDriveImage(FloppyDrive(Drive), Narrow(*ImageFile)); });
}

HRESULT ClsTavlin::BindDriveFolder(short* Drive, BSTR* Folder) {
  return Guarded([&] { BindDriveDirectory(FloppyDrive(Drive), Narrow(*Folder)); });
}

HRESULT ClsTavlin::UnbindDrive(short* Drive) {
  return Guarded([&] { tavlin::UnbindDrive(FloppyDrive(Drive)); });
}

}  // namespace tavlin::com
