#include "platform/setupapi.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstring>

namespace platform {

bool operator==(const Guid& a, const Guid& b) {
  return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 && std::memcmp(a.Data4, b.Data4, 8) == 0;
}

namespace {

static_assert(sizeof(MEM_DES) == sizeof(MemDes) && sizeof(IO_DES) == sizeof(IoDes), "resource headers as Windows has them");

// The calls are looked up by name, so that the program starts on systems (Windows PE) that
// lack a library, and needs no import library at link time.
template <typename Function>
Function Lookup(const char* library, const char* name) {
  HMODULE module = ::GetModuleHandleA(library);
  if (!module) module = ::LoadLibraryA(library);
  if (!module) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

#define SETUPAPI(name) static const auto name##Call = Lookup<decltype(&::name)>("setupapi.dll", #name)
#define CFGMGR(name) static const auto name##Call = Lookup<decltype(&::name)>("cfgmgr32.dll", #name)

GUID ToGuid(const Guid& g) {
  GUID out;
  out.Data1 = g.Data1;
  out.Data2 = g.Data2;
  out.Data3 = g.Data3;
  std::memcpy(out.Data4, g.Data4, 8);
  return out;
}

Guid FromGuid(const GUID& g) {
  Guid out;
  out.Data1 = g.Data1;
  out.Data2 = g.Data2;
  out.Data3 = g.Data3;
  std::memcpy(out.Data4, g.Data4, 8);
  return out;
}

HDEVINFO Set(DeviceInfoSet set) { return reinterpret_cast<HDEVINFO>(set); }

// Our records carry the 32-bit sizes; the real records get the sizes of this build.
bool ToDevInfo(const DeviceInfoData& data, SP_DEVINFO_DATA& out) {
  if (data.Size != DeviceInfoDataSize) {
    ::SetLastError(ERROR_INVALID_USER_BUFFER);
    return false;
  }
  out.cbSize = sizeof(SP_DEVINFO_DATA);
  out.ClassGuid = ToGuid(data.ClassGuid);
  out.DevInst = data.Instance;
  out.Reserved = data.Reserved;
  return true;
}

SP_DEVICE_INTERFACE_DATA ToInterface(const DeviceInterfaceData& data) {
  SP_DEVICE_INTERFACE_DATA out;
  out.cbSize = sizeof(SP_DEVICE_INTERFACE_DATA);
  out.InterfaceClassGuid = ToGuid(data.InterfaceClassGuid);
  out.Flags = data.Flags;
  out.Reserved = data.Reserved;
  return out;
}

}  // namespace

DeviceInfoSet SetupDiGetClassDevsA(const Guid* classGuid, const char* enumerator, uint32_t flags) {
  SETUPAPI(SetupDiGetClassDevsA);
  if (!SetupDiGetClassDevsACall) return InvalidDeviceInfoSet;
  GUID g = classGuid ? ToGuid(*classGuid) : GUID{};
  return reinterpret_cast<DeviceInfoSet>(SetupDiGetClassDevsACall(classGuid ? &g : nullptr, enumerator, nullptr, flags));
}

DeviceInfoSet SetupDiGetClassDevsExA(const Guid* classGuid, const char* enumerator, uint32_t flags) {
  SETUPAPI(SetupDiGetClassDevsExA);
  if (!SetupDiGetClassDevsExACall) return InvalidDeviceInfoSet;
  GUID g = classGuid ? ToGuid(*classGuid) : GUID{};
  return reinterpret_cast<DeviceInfoSet>(
      SetupDiGetClassDevsExACall(classGuid ? &g : nullptr, enumerator, nullptr, flags, nullptr, nullptr, nullptr));
}

bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set) {
  SETUPAPI(SetupDiDestroyDeviceInfoList);
  return SetupDiDestroyDeviceInfoListCall && SetupDiDestroyDeviceInfoListCall(Set(set));
}

bool SetupDiEnumDeviceInfo(DeviceInfoSet set, uint32_t index, DeviceInfoData& data) {
  SETUPAPI(SetupDiEnumDeviceInfo);
  SP_DEVINFO_DATA info{};
  if (!SetupDiEnumDeviceInfoCall || !ToDevInfo(data, info)) return false;
  if (!SetupDiEnumDeviceInfoCall(Set(set), index, &info)) return false;
  data.ClassGuid = FromGuid(info.ClassGuid);
  data.Instance = info.DevInst;
  data.Reserved = info.Reserved;
  return true;
}

bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const Guid& interfaceClass, uint32_t index,
                                 DeviceInterfaceData& data) {
  SETUPAPI(SetupDiEnumDeviceInterfaces);
  if (!SetupDiEnumDeviceInterfacesCall) return false;
  if (data.Size != DeviceInterfaceDataSize) {
    ::SetLastError(ERROR_INVALID_USER_BUFFER);
    return false;
  }
  SP_DEVICE_INTERFACE_DATA out = ToInterface(data);
  GUID g = ToGuid(interfaceClass);
  if (!SetupDiEnumDeviceInterfacesCall(Set(set), nullptr, &g, index, &out)) return false;
  data.InterfaceClassGuid = FromGuid(out.InterfaceClassGuid);
  data.Flags = out.Flags;
  data.Reserved = out.Reserved;
  return true;
}

bool SetupDiGetDeviceInterfaceDetailA(DeviceInfoSet set, const DeviceInterfaceData& data, void* detail,
                                      uint32_t detailSize, uint32_t* requiredSize) {
  SETUPAPI(SetupDiGetDeviceInterfaceDetailA);
  if (!SetupDiGetDeviceInterfaceDetailACall) return false;
  SP_DEVICE_INTERFACE_DATA in = ToInterface(data);
  DWORD required = 0;
  BOOL ok = SetupDiGetDeviceInterfaceDetailACall(Set(set), &in, static_cast<PSP_DEVICE_INTERFACE_DETAIL_DATA_A>(detail),
                                                 detailSize, &required, nullptr);
  if (requiredSize) *requiredSize = required;
  return ok != FALSE;
}

bool SetupDiGetDeviceInstanceIdA(DeviceInfoSet set, const DeviceInfoData& data, char* buffer, uint32_t bufferSize,
                                 uint32_t* requiredSize) {
  SETUPAPI(SetupDiGetDeviceInstanceIdA);
  SP_DEVINFO_DATA info{};
  if (!SetupDiGetDeviceInstanceIdACall || !ToDevInfo(data, info)) return false;
  DWORD required = 0;
  BOOL ok = SetupDiGetDeviceInstanceIdACall(Set(set), &info, buffer, bufferSize, &required);
  if (requiredSize) *requiredSize = required;
  return ok != FALSE;
}

bool SetupDiGetDeviceRegistryPropertyA(DeviceInfoSet set, const DeviceInfoData& data, uint32_t property,
                                       uint32_t* propertyRegType, uint8_t* buffer, uint32_t bufferSize,
                                       uint32_t* requiredSize) {
  SETUPAPI(SetupDiGetDeviceRegistryPropertyA);
  SP_DEVINFO_DATA info{};
  if (!SetupDiGetDeviceRegistryPropertyACall || !ToDevInfo(data, info)) return false;
  DWORD type = propertyRegType ? *propertyRegType : 0;
  DWORD required = 0;
  BOOL ok = SetupDiGetDeviceRegistryPropertyACall(Set(set), &info, property, &type, buffer, bufferSize, &required);
  if (propertyRegType) *propertyRegType = type;
  if (requiredSize) *requiredSize = required;
  return ok != FALSE;
}

uint32_t CM_Locate_DevNodeA(DevInst& devInst, const char* deviceId, uint32_t flags) {
  CFGMGR(CM_Locate_DevNodeA);
  if (!CM_Locate_DevNodeACall) return CR_FAILURE;
  DEVINST found = 0;
  CONFIGRET result = CM_Locate_DevNodeACall(&found, const_cast<char*>(deviceId), flags);
  devInst = found;
  return result;
}

uint32_t CM_Get_Child(DevInst& child, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_Child);
  if (!CM_Get_ChildCall) return CR_FAILURE;
  DEVINST found = 0;
  CONFIGRET result = CM_Get_ChildCall(&found, devInst, flags);
  if (result == CR_SUCCESS) child = found;
  return result;
}

uint32_t CM_Get_Sibling(DevInst& sibling, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_Sibling);
  if (!CM_Get_SiblingCall) return CR_FAILURE;
  DEVINST found = 0;
  CONFIGRET result = CM_Get_SiblingCall(&found, devInst, flags);
  if (result == CR_SUCCESS) sibling = found;
  return result;
}

uint32_t CM_Get_Parent(DevInst& parent, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_Parent);
  if (!CM_Get_ParentCall) return CR_FAILURE;
  DEVINST found = 0;
  CONFIGRET result = CM_Get_ParentCall(&found, devInst, flags);
  if (result == CR_SUCCESS) parent = found;
  return result;
}

uint32_t CM_Get_Device_ID_Size(uint32_t& length, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_Device_ID_Size);
  if (!CM_Get_Device_ID_SizeCall) return CR_FAILURE;
  ULONG size = 0;
  CONFIGRET result = CM_Get_Device_ID_SizeCall(&size, devInst, flags);
  length = size;
  return result;
}

uint32_t CM_Get_Device_IDA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t flags) {
  CFGMGR(CM_Get_Device_IDA);
  return CM_Get_Device_IDACall ? CM_Get_Device_IDACall(devInst, buffer, bufferLength, flags) : CR_FAILURE;
}

uint32_t CM_Get_Device_ID_ExA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t flags) {
  CFGMGR(CM_Get_Device_ID_ExA);
  return CM_Get_Device_ID_ExACall ? CM_Get_Device_ID_ExACall(devInst, buffer, bufferLength, flags, nullptr)
                                  : CR_FAILURE;
}

uint32_t CM_Get_DevNode_Status(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_DevNode_Status);
  if (!CM_Get_DevNode_StatusCall) return CR_FAILURE;
  ULONG s = 0, p = 0;
  CONFIGRET result = CM_Get_DevNode_StatusCall(&s, &p, devInst, flags);
  status = s;
  problemNumber = p;
  return result;
}

uint32_t CM_Get_DevNode_Status_Ex(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_DevNode_Status_Ex);
  if (!CM_Get_DevNode_Status_ExCall) return CR_FAILURE;
  ULONG s = 0, p = 0;
  CONFIGRET result = CM_Get_DevNode_Status_ExCall(&s, &p, devInst, flags, nullptr);
  status = s;
  problemNumber = p;
  return result;
}

uint32_t CM_Get_DevNode_Registry_PropertyA(DevInst devInst, uint32_t property, uint32_t* regDataType, void* buffer,
                                           uint32_t* length, uint32_t flags) {
  CFGMGR(CM_Get_DevNode_Registry_PropertyA);
  if (!CM_Get_DevNode_Registry_PropertyACall || !length) return CR_FAILURE;
  ULONG type = 0, size = *length;
  CONFIGRET result = CM_Get_DevNode_Registry_PropertyACall(devInst, property, &type, buffer, &size, flags);
  if (regDataType) *regDataType = type;
  *length = size;
  return result;
}

uint32_t CM_Enable_DevNode(DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Enable_DevNode);
  return CM_Enable_DevNodeCall ? CM_Enable_DevNodeCall(devInst, flags) : CR_FAILURE;
}

uint32_t CM_Disable_DevNode(DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Disable_DevNode);
  return CM_Disable_DevNodeCall ? CM_Disable_DevNodeCall(devInst, flags) : CR_FAILURE;
}

uint32_t CM_Get_First_Log_Conf(LogConf& logConf, DevInst devInst, uint32_t flags) {
  CFGMGR(CM_Get_First_Log_Conf);
  if (!CM_Get_First_Log_ConfCall) return CR_FAILURE;
  LOG_CONF found = 0;
  CONFIGRET result = CM_Get_First_Log_ConfCall(&found, devInst, flags);
  if (result == CR_SUCCESS) logConf = found;
  return result;
}

uint32_t CM_Get_Next_Res_Des(ResDes& next, uintptr_t current, uint32_t forResource, uint32_t* resourceId,
                             uint32_t flags) {
  CFGMGR(CM_Get_Next_Res_Des);
  if (!CM_Get_Next_Res_DesCall) return CR_FAILURE;
  RES_DES found = 0;
  RESOURCEID id = 0;
  CONFIGRET result = CM_Get_Next_Res_DesCall(&found, current, forResource, &id, flags);
  if (result == CR_SUCCESS) next = found;
  if (resourceId) *resourceId = id;
  return result;
}

uint32_t CM_Get_Res_Des_Data_Size(uint32_t& size, ResDes resDes, uint32_t flags) {
  CFGMGR(CM_Get_Res_Des_Data_Size);
  if (!CM_Get_Res_Des_Data_SizeCall) return CR_FAILURE;
  ULONG s = 0;
  CONFIGRET result = CM_Get_Res_Des_Data_SizeCall(&s, resDes, flags);
  size = s;
  return result;
}

uint32_t CM_Get_Res_Des_Data(ResDes resDes, void* buffer, uint32_t bufferLength, uint32_t flags) {
  CFGMGR(CM_Get_Res_Des_Data);
  return CM_Get_Res_Des_DataCall ? CM_Get_Res_Des_DataCall(resDes, buffer, bufferLength, flags) : CR_FAILURE;
}

uint32_t CM_Free_Log_Conf_Handle(LogConf logConf) {
  CFGMGR(CM_Free_Log_Conf_Handle);
  return CM_Free_Log_Conf_HandleCall ? CM_Free_Log_Conf_HandleCall(logConf) : CR_FAILURE;
}

uint32_t CM_Free_Res_Des_Handle(ResDes resDes) {
  CFGMGR(CM_Free_Res_Des_Handle);
  return CM_Free_Res_Des_HandleCall ? CM_Free_Res_Des_HandleCall(resDes) : CR_FAILURE;
}

}  // namespace platform
