// The COM class clsTavlin: the dual interface _clsTavlin over the library's Tavlin
// class, which it wraps member for member. All objects of an apartment (a thread)
// share that thread's working record, as the library arranges.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <atomic>

#include "tavlin/tavlin.h"
#include "tavlin_idl.h"

namespace tavlin::com {

class ClsTavlin final : public _clsTavlin, public ISupportErrorInfo {
 public:
  // Fails with the type library's HRESULT when the DLL's own type library can't load.
  static HRESULT Create(REFIID iid, void** out);

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags,
                                   DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argErr) override;

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override;

  // _clsTavlin, in the order of its slots
  HRESULT STDMETHODCALLTYPE FormatDisc(short* FormatType, short* result) override;
  HRESULT STDMETHODCALLTYPE WriteToDisc(BSTR* SourceFile, BSTR* DestFile, short* FormatType,
                                        IDispatch** PB, short* result) override;
  HRESULT STDMETHODCALLTYPE ReadDisc(short* result) override;
  HRESULT STDMETHODCALLTYPE get_Files(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_Format(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_FreeStitches(LONG* result) override;
  HRESULT STDMETHODCALLTYPE get_SetDrive(short* result) override;
  HRESULT STDMETHODCALLTYPE put_SetDrive(short* value) override;
  HRESULT STDMETHODCALLTYPE SaveTheVector() override;
  HRESULT STDMETHODCALLTYPE RestoreTheVector() override;
  HRESULT STDMETHODCALLTYPE get_DiscType(short* result) override;
  HRESULT STDMETHODCALLTYPE ReadFromDisc(short* FileNumber, BSTR* SourceName, BSTR* DestName,
                                         short* FormatType, IDispatch** PB,
                                         short* result) override;
  HRESULT STDMETHODCALLTYPE DeleteFromDisc(short* FileNumber, BSTR* FileName, short* FormatType,
                                           short* result) override;
  HRESULT STDMETHODCALLTYPE DirectoryFDR(short* result) override;
  HRESULT STDMETHODCALLTYPE DirectoryZSK(short* result) override;
  HRESULT STDMETHODCALLTYPE DirectoryFMC(short* result) override;
  HRESULT STDMETHODCALLTYPE Format720(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_MaxStitchLen(short* result) override;
  HRESULT STDMETHODCALLTYPE put_PESAbosulte(VARIANT_BOOL* value) override;
  HRESULT STDMETHODCALLTYPE put_MaxStitchLen(short* value) override;
  HRESULT STDMETHODCALLTYPE get_HoopSize(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_HoopSize(BSTR value) override;
  HRESULT STDMETHODCALLTYPE ConvertFile(BSTR* SourceFile, BSTR* DestFile, short* result) override;
  HRESULT STDMETHODCALLTYPE BindDriveImage(short* Drive, BSTR* ImageFile) override;
  HRESULT STDMETHODCALLTYPE BindDriveFolder(short* Drive, BSTR* Folder) override;
  HRESULT STDMETHODCALLTYPE UnbindDrive(short* Drive) override;

 private:
  explicit ClsTavlin(ITypeInfo* info);
  ~ClsTavlin();

  std::atomic<ULONG> references_{1};
  ITypeInfo* info_ = nullptr;
  Tavlin tavlin_;
};

}  // namespace tavlin::com
