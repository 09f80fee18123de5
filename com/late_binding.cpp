#include "late_binding.h"

#include <vector>

namespace tavlin::com {

HRESULT CoerceArgument(const VARIANT& actual, VARTYPE type, VARIANT& out) {
  const VARIANT* value = &actual;
  while (V_VT(value) == (VT_VARIANT | VT_BYREF) && V_VARIANTREF(value) != nullptr) {
    value = V_VARIANTREF(value);
  }
  VARIANT plain;
  VariantInit(&plain);
  HRESULT hr = VariantCopyInd(&plain, const_cast<VARIANT*>(value));
  if (SUCCEEDED(hr)) hr = VariantChangeType(&out, &plain, 0, type);
  VariantClear(&plain);
  if (SUCCEEDED(hr) || hr == DISP_E_OVERFLOW) return hr;
  return DISP_E_TYPEMISMATCH;
}

namespace {

// The member's description for the kinds of call the flags allow: a script asks for
// a method or a property get in the same call. (Searched here, because Wine's
// GetFuncIndexOfMemId doesn't tell a property's get from its put.)
HRESULT FindMember(ITypeInfo* info, DISPID id, WORD flags, FUNCDESC*& desc) {
  INVOKEKIND kinds[2] = {};
  int count = 0;
  if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
    kinds[count++] = INVOKE_PROPERTYPUT;
  } else {
    if (flags & DISPATCH_METHOD) kinds[count++] = INVOKE_FUNC;
    if (flags & DISPATCH_PROPERTYGET) kinds[count++] = INVOKE_PROPERTYGET;
  }
  TYPEATTR* attr = nullptr;
  HRESULT hr = info->GetTypeAttr(&attr);
  if (FAILED(hr)) return hr;
  const UINT functions = attr->cFuncs;
  info->ReleaseTypeAttr(attr);
  for (int k = 0; k < count; ++k) {
    for (UINT index = 0; index < functions; ++index) {
      FUNCDESC* candidate = nullptr;
      if (FAILED(info->GetFuncDesc(index, &candidate))) continue;
      if (candidate->memid == id && candidate->invkind == kinds[k]) {
        desc = candidate;
        return S_OK;
      }
      info->ReleaseFuncDesc(candidate);
    }
  }
  return DISP_E_MEMBERNOTFOUND;
}

}  // namespace

HRESULT InvokeCoerced(ITypeInfo* info, void* self, DISPID id, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* argErr) {
  if (params == nullptr) return E_INVALIDARG;
  FUNCDESC* desc = nullptr;
  HRESULT hr = FindMember(info, id, flags, desc);
  if (FAILED(hr)) return hr;
  const bool put = desc->invkind == INVOKE_PROPERTYPUT;

  std::vector<SHORT> inputs;  // the formal parameters a caller gives (not the retval)
  for (SHORT i = 0; i < desc->cParams; ++i) {
    if (!(desc->lprgelemdescParam[i].paramdesc.wParamFlags & PARAMFLAG_FRETVAL)) inputs.push_back(i);
  }
  const UINT formal = static_cast<UINT>(inputs.size());
  const UINT named = params->cNamedArgs;
  if (put ? (named != 1 || params->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT) : named != 0) {
    info->ReleaseFuncDesc(desc);
    return put ? DISP_E_PARAMNOTOPTIONAL : DISP_E_NONAMEDARGS;
  }
  if (params->cArgs > formal || (put && params->cArgs != formal)) {
    info->ReleaseFuncDesc(desc);
    return DISP_E_BADPARAMCOUNT;
  }

  std::vector<VARIANT> values(formal);  // the coerced arguments, owned here
  std::vector<VARIANT> passed(formal);  // what the typed call gets, in reverse order
  for (VARIANT& v : values) VariantInit(&v);
  for (VARIANT& v : passed) VariantInit(&v);
  const UINT positional = params->cArgs - named;
  for (UINT i = 0; i < formal && SUCCEEDED(hr); ++i) {
    const ELEMDESC& element = desc->lprgelemdescParam[inputs[i]];
    const bool byRef = element.tdesc.vt == VT_PTR;
    const VARTYPE type = byRef ? element.tdesc.lptdesc->vt : element.tdesc.vt;
    // A property's new value is the named argument, always first.
    const bool given = put && i == formal - 1 ? true : i < positional;
    const UINT at = put && i == formal - 1 ? 0 : params->cArgs - 1 - i;
    const bool omitted = !given || (V_VT(&params->rgvarg[at]) == VT_ERROR &&
                                    V_ERROR(&params->rgvarg[at]) == DISP_E_PARAMNOTFOUND);
    if (omitted) {
      if (!(element.paramdesc.wParamFlags & PARAMFLAG_FOPT)) {
        hr = DISP_E_PARAMNOTOPTIONAL;
        break;
      }
      V_VT(&values[i]) = type;  // zeroed: Nothing for an object
    } else {
      hr = CoerceArgument(params->rgvarg[at], type, values[i]);
      if (FAILED(hr)) {
        if (argErr != nullptr) *argErr = at;
        break;
      }
    }
    VARIANT& slot = passed[formal - 1 - i];
    if (byRef) {
      // The routines never change what a host gave: the reference is to the copy.
      V_VT(&slot) = static_cast<VARTYPE>(type | VT_BYREF);
      V_BYREF(&slot) = &V_UI1(&values[i]);
    } else {
      slot = values[i];
    }
  }
  if (SUCCEEDED(hr)) {
    DISPID putId = DISPID_PROPERTYPUT;
    DISPPARAMS call{passed.data(), put ? &putId : nullptr, formal, put ? 1u : 0u};
    hr = info->Invoke(self, id, static_cast<WORD>(desc->invkind), &call, result, exception,
                      argErr);
  }
  for (VARIANT& v : values) VariantClear(&v);
  info->ReleaseFuncDesc(desc);
  return hr;
}

}  // namespace tavlin::com
