#include "platform/wmi.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <wbemidl.h>

namespace platform {

namespace {

template <typename T>
void ReleaseInterface(T* object) {
  if (object) reinterpret_cast<IUnknown*>(object)->Release();
}

// One element of type `type` at `data` into `out`.
void AddElement(VARTYPE type, const void* data, Variant& out) {
  switch (type) {
    case VT_BSTR: {
      BSTR text = *static_cast<const BSTR*>(data);
      out.Texts.emplace_back(text ? text : L"", text ? ::SysStringLen(text) : 0);
      break;
    }
    case VT_BOOL: out.Integers.push_back(*static_cast<const VARIANT_BOOL*>(data) ? -1 : 0); break;
    case VT_I1: out.Integers.push_back(*static_cast<const signed char*>(data)); break;
    case VT_UI1: out.Integers.push_back(*static_cast<const unsigned char*>(data)); break;
    case VT_I2: out.Integers.push_back(*static_cast<const SHORT*>(data)); break;
    case VT_UI2: out.Integers.push_back(*static_cast<const USHORT*>(data)); break;
    case VT_I4: case VT_INT: out.Integers.push_back(*static_cast<const LONG*>(data)); break;
    case VT_UI4: case VT_UINT: out.Integers.push_back(*static_cast<const ULONG*>(data)); break;
    case VT_I8: out.Integers.push_back(*static_cast<const LONGLONG*>(data)); break;
    case VT_UI8: out.Integers.push_back(static_cast<int64_t>(*static_cast<const ULONGLONG*>(data))); break;
    case VT_R4: out.Reals.push_back(*static_cast<const FLOAT*>(data)); break;
    case VT_R8: out.Reals.push_back(*static_cast<const DOUBLE*>(data)); break;
    default: break;
  }
}

void Convert(const VARIANT& value, Variant& out) {
  out = Variant();
  out.Type = value.vt;
  if (!(value.vt & VT_ARRAY)) {
    // Every member of the VARIANT's union starts at the same address.
    AddElement(value.vt, &value.llVal, out);
    return;
  }
  SAFEARRAY* array = value.parray;
  if (!array || ::SafeArrayGetDim(array) != 1) return;
  LONG low = 0, high = -1;
  ::SafeArrayGetLBound(array, 1, &low);
  ::SafeArrayGetUBound(array, 1, &high);
  void* data = nullptr;
  if (FAILED(::SafeArrayAccessData(array, &data))) return;
  const VARTYPE element = static_cast<VARTYPE>(value.vt & ~VT_ARRAY);
  const UINT size = ::SafeArrayGetElemsize(array);
  for (LONG i = 0; i <= high - low; ++i) AddElement(element, static_cast<const char*>(data) + i * size, out);
  ::SafeArrayUnaccessData(array);
}

}  // namespace

HResult CoInitializeEx(uint32_t concurrency) { return ::CoInitializeEx(nullptr, concurrency); }

void CoUninitialize() { ::CoUninitialize(); }

HResult CreateWbemLocator(WbemLocator** locator) {
  IWbemLocator* created = nullptr;
  const HRESULT result = ::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                            reinterpret_cast<void**>(&created));
  *locator = reinterpret_cast<WbemLocator*>(created);
  return result;
}

HResult ConnectServer(WbemLocator* locator, const std::wstring& nameSpace, WbemServices** services) {
  IWbemServices* connected = nullptr;
  BSTR name = ::SysAllocString(nameSpace.c_str());
  const HRESULT result = reinterpret_cast<IWbemLocator*>(locator)->ConnectServer(name, nullptr, nullptr, nullptr, 0,
                                                                                 nullptr, nullptr, &connected);
  ::SysFreeString(name);
  *services = reinterpret_cast<WbemServices*>(connected);
  return result;
}

HResult SetProxyBlanket(WbemServices* services, uint32_t authnService, uint32_t authzService, uint32_t authnLevel,
                        uint32_t impLevel) {
  return ::CoSetProxyBlanket(reinterpret_cast<IUnknown*>(services), authnService, authzService, nullptr, authnLevel,
                             impLevel, nullptr, EOAC_NONE);
}

HResult ExecQuery(WbemServices* services, const std::wstring& language, const std::wstring& query, int32_t flags,
                  WbemEnumerator** enumerator) {
  IEnumWbemClassObject* rows = nullptr;
  BSTR lang = ::SysAllocString(language.c_str());
  BSTR text = ::SysAllocString(query.c_str());
  const HRESULT result = reinterpret_cast<IWbemServices*>(services)->ExecQuery(lang, text, flags, nullptr, &rows);
  ::SysFreeString(text);
  ::SysFreeString(lang);
  *enumerator = reinterpret_cast<WbemEnumerator*>(rows);
  return result;
}

HResult Next(WbemEnumerator* enumerator, int32_t timeout, WbemObject** object, uint32_t* returned) {
  IWbemClassObject* row = nullptr;
  ULONG count = 0;
  const HRESULT result = reinterpret_cast<IEnumWbemClassObject*>(enumerator)->Next(timeout, 1, &row, &count);
  *object = reinterpret_cast<WbemObject*>(row);
  *returned = count;
  return result;
}

HResult Get(WbemObject* object, const std::wstring& name, Variant& value, int32_t* cimType) {
  VARIANT read;
  ::VariantInit(&read);
  CIMTYPE type = 0;
  const HRESULT result = reinterpret_cast<IWbemClassObject*>(object)->Get(name.c_str(), 0, &read, &type, nullptr);
  if (SUCCEEDED(result)) {
    Convert(read, value);
    if (cimType) *cimType = type;
  }
  ::VariantClear(&read);
  return result;
}

HResult GetNames(WbemObject* object, int32_t flags, std::vector<std::wstring>& names) {
  names.clear();
  SAFEARRAY* array = nullptr;
  const HRESULT result = reinterpret_cast<IWbemClassObject*>(object)->GetNames(nullptr, flags, nullptr, &array);
  if (FAILED(result) || !array) return result;
  VARIANT holder;
  ::VariantInit(&holder);
  holder.vt = VT_ARRAY | VT_BSTR;
  holder.parray = array;
  Variant converted;
  Convert(holder, converted);
  names = converted.Texts;
  ::SafeArrayDestroy(array);
  return result;
}

void Release(WbemLocator* locator) { ReleaseInterface(locator); }
void Release(WbemServices* services) { ReleaseInterface(services); }
void Release(WbemEnumerator* enumerator) { ReleaseInterface(enumerator); }
void Release(WbemObject* object) { ReleaseInterface(object); }

std::string WideCharToMultiByte(uint32_t codePage, const std::wstring& text) {
  if (text.empty()) return std::string();
  const int length = static_cast<int>(text.size());
  const int size = ::WideCharToMultiByte(codePage, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
  if (size <= 0) return std::string();
  std::string out(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(codePage, 0, text.c_str(), length, &out[0], size, nullptr, nullptr);
  return out;
}

}  // namespace platform
