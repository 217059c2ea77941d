// Management instrumentation (WMI) through COM, one call here for each COM call the program makes:
// CoInitializeEx, CoCreateInstance of WbemLocator, IWbemLocator::ConnectServer, CoSetProxyBlanket,
// IWbemServices::ExecQuery, IEnumWbemClassObject::Next, IWbemClassObject::Get and GetNames,
// Release and CoUninitialize. Results are HRESULTs; interface pointers are opaque.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

using HResult = int32_t;

constexpr HResult SOk = 0;
constexpr HResult SFalse = 1;
constexpr HResult WbemNotFound = static_cast<HResult>(0x80041002u);
constexpr HResult WbemInvalidParameter = static_cast<HResult>(0x80041008u);
constexpr HResult WbemInvalidNamespace = static_cast<HResult>(0x8004100Eu);
constexpr HResult WbemInvalidClass = static_cast<HResult>(0x80041010u);
constexpr HResult WbemInvalidQuery = static_cast<HResult>(0x80041017u);
constexpr HResult WbemInvalidQueryType = static_cast<HResult>(0x80041018u);

constexpr uint32_t CoinitMultithreaded = 0;
constexpr uint32_t CoinitApartmentThreaded = 2;
constexpr uint32_t RpcAuthnWinNt = 10;
constexpr uint32_t RpcAuthzNone = 0;
constexpr uint32_t RpcAuthnLevelCall = 3;
constexpr uint32_t RpcImpLevelImpersonate = 3;
constexpr int32_t WbemFlagForwardOnly = 0x20;
constexpr int32_t WbemFlagReturnImmediately = 0x10;
constexpr int32_t WbemFlagNonSystemOnly = 0x40;
constexpr int32_t WbemInfinite = -1;

// VARIANT types.
constexpr uint16_t VtEmpty = 0;
constexpr uint16_t VtNull = 1;
constexpr uint16_t VtI2 = 2;
constexpr uint16_t VtI4 = 3;
constexpr uint16_t VtR4 = 4;
constexpr uint16_t VtR8 = 5;
constexpr uint16_t VtBstr = 8;
constexpr uint16_t VtBool = 11;
constexpr uint16_t VtI1 = 16;
constexpr uint16_t VtUi1 = 17;
constexpr uint16_t VtUi2 = 18;
constexpr uint16_t VtUi4 = 19;
constexpr uint16_t VtI8 = 20;
constexpr uint16_t VtUi8 = 21;
constexpr uint16_t VtArray = 0x2000;

// CIM types of properties (Get's type word), with CimFlagArray for arrays.
constexpr int32_t CimSint16 = 2;
constexpr int32_t CimSint32 = 3;
constexpr int32_t CimReal32 = 4;
constexpr int32_t CimReal64 = 5;
constexpr int32_t CimString = 8;
constexpr int32_t CimBoolean = 11;
constexpr int32_t CimObject = 13;
constexpr int32_t CimSint8 = 16;
constexpr int32_t CimUint8 = 17;
constexpr int32_t CimUint16 = 18;
constexpr int32_t CimUint32 = 19;
constexpr int32_t CimSint64 = 20;
constexpr int32_t CimUint64 = 21;
constexpr int32_t CimDatetime = 101;
constexpr int32_t CimReference = 102;
constexpr int32_t CimChar16 = 103;
constexpr int32_t CimFlagArray = 0x2000;

// A VARIANT by value: one element, or the elements of a safe array when Type has VtArray.
struct Variant {
  uint16_t Type = VtEmpty;
  std::vector<std::wstring> Texts;  // VtBstr: UTF-16 code units
  std::vector<int64_t> Integers;    // integer types, and VtBool as 0 or -1
  std::vector<double> Reals;        // VtR4, VtR8

  uint16_t ElementType() const { return static_cast<uint16_t>(Type & ~VtArray); }
  bool IsArray() const { return (Type & VtArray) != 0; }
};

struct WbemLocator;
struct WbemServices;
struct WbemEnumerator;
struct WbemObject;

HResult CoInitializeEx(uint32_t concurrency);
void CoUninitialize();
// CoCreateInstance(CLSID_WbemLocator, null, CLSCTX_INPROC_SERVER, IID_IWbemLocator).
HResult CreateWbemLocator(WbemLocator** locator);
// ConnectServer with no user, password, locale or authority, flags 0.
HResult ConnectServer(WbemLocator* locator, const std::wstring& nameSpace, WbemServices** services);
// CoSetProxyBlanket with no server principal, identity or capabilities.
HResult SetProxyBlanket(WbemServices* services, uint32_t authnService, uint32_t authzService, uint32_t authnLevel,
                        uint32_t impLevel);
HResult ExecQuery(WbemServices* services, const std::wstring& language, const std::wstring& query, int32_t flags,
                  WbemEnumerator** enumerator);
// Next for one object: SOk with *returned 1, or SFalse with 0 when none is left.
HResult Next(WbemEnumerator* enumerator, int32_t timeout, WbemObject** object, uint32_t* returned);
// Get of a property: its value and CIM type; WbemNotFound for a property the object lacks.
HResult Get(WbemObject* object, const std::wstring& name, Variant& value, int32_t* cimType);
// GetNames with no qualifier filter: the property names in the object's order.
HResult GetNames(WbemObject* object, int32_t flags, std::vector<std::wstring>& names);

void Release(WbemLocator* locator);
void Release(WbemServices* services);
void Release(WbemEnumerator* enumerator);
void Release(WbemObject* object);

// WideCharToMultiByte of UTF-16 text into `codePage` (65001: UTF-8).
std::string WideCharToMultiByte(uint32_t codePage, const std::wstring& text);

}  // namespace platform
