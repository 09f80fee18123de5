// Late-bound calls as VB makes them work: a script passes its variables by reference
// as VARIANT references, of whatever type they hold. Each argument is unwrapped and
// coerced to the parameter's type by VB's rules before the typed call, so that a
// `ref SHORT` takes 3, "3", 3.0 or a variable holding any of them.
#pragma once

#include <windows.h>
#include <oaidl.h>

namespace tavlin::com {

// IDispatch::Invoke for `self`, an interface that `info` describes: the member is found
// by id and call kind, its arguments coerced (DISP_E_TYPEMISMATCH, or DISP_E_OVERFLOW,
// with *argErr naming the argument, where VB's rules can't), and it is called through
// the type information. An omitted optional object is Nothing.
HRESULT InvokeCoerced(ITypeInfo* info, void* self, DISPID id, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* argErr);

// One argument, unwrapped from any references and coerced to `type`.
HRESULT CoerceArgument(const VARIANT& actual, VARTYPE type, VARIANT& out);

}  // namespace tavlin::com
