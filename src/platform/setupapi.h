// Device-installation lists (SetupAPI) and the configuration manager (CM_ calls): the devices
// the operating system knows, their properties, resources and place in the device tree.
#pragma once

#include <cstdint>

#include "platform/handles.h"

namespace platform {

struct Guid {
  uint32_t Data1 = 0;
  uint16_t Data2 = 0;
  uint16_t Data3 = 0;
  uint8_t Data4[8] = {};
};
bool operator==(const Guid& a, const Guid& b);

// {4D36E968-E325-11CE-BFC1-08002BE10318}, the Display setup class.
constexpr Guid DisplayClassGuid = {0x4D36E968, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
// {5B45201D-F2F2-4F3B-85BB-30FF1F953599}, the display adapter device interface.
constexpr Guid DisplayAdapterInterfaceGuid = {0x5B45201D, 0xF2F2, 0x4F3B, {0x85, 0xBB, 0x30, 0xFF, 0x1F, 0x95, 0x35, 0x99}};

using DeviceInfoSet = uintptr_t;  // HDEVINFO
constexpr DeviceInfoSet InvalidDeviceInfoSet = ~DeviceInfoSet{0};
using DevInst = uint32_t;  // DEVINST, 0 for none
using LogConf = uintptr_t;
using ResDes = uintptr_t;

// The size fields hold the sizes of the 32-bit records, which is what the calls check.
constexpr uint32_t DeviceInfoDataSize = 28;
constexpr uint32_t DeviceInterfaceDataSize = 28;
constexpr uint32_t DeviceInterfaceDetailDataSize = 5;

struct DeviceInfoData {
  uint32_t Size = DeviceInfoDataSize;
  Guid ClassGuid;
  DevInst Instance = 0;
  uintptr_t Reserved = 0;
};

struct DeviceInterfaceData {
  uint32_t Size = DeviceInterfaceDataSize;
  Guid InterfaceClassGuid;
  uint32_t Flags = 0;
  uintptr_t Reserved = 0;
};

constexpr uint32_t DigcfDefault = 0x01;
constexpr uint32_t DigcfPresent = 0x02;
constexpr uint32_t DigcfAllClasses = 0x04;
constexpr uint32_t DigcfProfile = 0x08;
constexpr uint32_t DigcfDeviceInterface = 0x10;

constexpr uint32_t SpdrpDeviceDesc = 0x00;
constexpr uint32_t SpdrpHardwareId = 0x01;
constexpr uint32_t SpdrpLocationInformation = 0x0D;
constexpr uint32_t SpdrpUiNumber = 0x10;
// CM_DRP_ numbers are the SPDRP_ numbers plus one.
constexpr uint32_t CmDrpDeviceDesc = 0x01;
constexpr uint32_t CmDrpHardwareId = 0x02;

constexpr uint32_t RegSz = 1;
constexpr uint32_t RegBinary = 3;
constexpr uint32_t RegDword = 4;
constexpr uint32_t RegMultiSz = 7;

// CONFIGRET values.
constexpr uint32_t CrSuccess = 0x00;
constexpr uint32_t CrInvalidDevNode = 0x05;
constexpr uint32_t CrInvalidResDes = 0x07;
constexpr uint32_t CrInvalidLogConf = 0x08;
constexpr uint32_t CrNoSuchDevNode = 0x0D;
constexpr uint32_t CrNoMoreLogConf = 0x0E;
constexpr uint32_t CrNoMoreResDes = 0x0F;
constexpr uint32_t CrBufferSmall = 0x1A;
constexpr uint32_t CrNoSuchValue = 0x25;
constexpr uint32_t CrInvalidData = 0x1F;

constexpr uint32_t AllocLogConf = 2;
constexpr uint32_t BootLogConf = 3;
constexpr uint32_t ResTypeMem = 1;
constexpr uint32_t ResTypeIo = 2;

// Device node status flags.
constexpr uint32_t DnDriverLoaded = 0x00000002;
constexpr uint32_t DnStarted = 0x00000008;
constexpr uint32_t DnDisableable = 0x00002000;
constexpr uint32_t DnHasProblem = 0x00000400;
constexpr uint32_t CmProbDisabled = 22;
constexpr uint32_t CmProbFailedInstall = 28;

// The data of a memory and an I/O resource as the configuration manager hands them out
// (MEM_DES and IO_DES, byte-packed).
#pragma pack(push, 1)
struct MemDes {
  uint32_t Count;
  uint32_t Type;
  uint64_t AllocBase;
  uint64_t AllocEnd;
  uint32_t Flags;
  uint32_t Reserved;
};
struct IoDes {
  uint32_t Count;
  uint32_t Type;
  uint64_t AllocBase;
  uint64_t AllocEnd;
  uint32_t Flags;
};
#pragma pack(pop)
static_assert(sizeof(MemDes) == 32 && sizeof(IoDes) == 28, "resource headers are packed");

// MEM_DES flags: bit 0 RAM (writable), bit 1 32-bit, bit 2 prefetchable, bit 3 read disallowed.
constexpr uint32_t FmdRam = 0x1;
constexpr uint32_t Fmd32 = 0x2;
constexpr uint32_t FmdPrefetchable = 0x4;
constexpr uint32_t FmdReadDisallowed = 0x8;
// IO_DES flags: bit 0 port I/O rather than memory.
constexpr uint32_t FiodIo = 0x1;

// SetupDiGetClassDevsA with no parent window.
DeviceInfoSet SetupDiGetClassDevsA(const Guid* classGuid, const char* enumerator, uint32_t flags);
// SetupDiGetClassDevsExA of the local machine, no existing list.
DeviceInfoSet SetupDiGetClassDevsExA(const Guid* classGuid, const char* enumerator, uint32_t flags);
bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set);
bool SetupDiEnumDeviceInfo(DeviceInfoSet set, uint32_t index, DeviceInfoData& data);
// SetupDiEnumDeviceInterfaces over the whole list (no device given).
bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const Guid& interfaceClass, uint32_t index,
                                 DeviceInterfaceData& data);
// SetupDiGetDeviceInterfaceDetailA: `detail` opens with a 32-bit size field that must hold 5,
// followed by the device path; with no buffer only `requiredSize` is set.
bool SetupDiGetDeviceInterfaceDetailA(DeviceInfoSet set, const DeviceInterfaceData& data, void* detail,
                                      uint32_t detailSize, uint32_t* requiredSize);
// SetupDiGetDeviceInstanceIdA: the id with its zero; ERROR_INSUFFICIENT_BUFFER when it does not fit.
bool SetupDiGetDeviceInstanceIdA(DeviceInfoSet set, const DeviceInfoData& data, char* buffer, uint32_t bufferSize,
                                 uint32_t* requiredSize);
bool SetupDiGetDeviceRegistryPropertyA(DeviceInfoSet set, const DeviceInfoData& data, uint32_t property,
                                       uint32_t* propertyRegType, uint8_t* buffer, uint32_t bufferSize,
                                       uint32_t* requiredSize);

uint32_t CM_Locate_DevNodeA(DevInst& devInst, const char* deviceId, uint32_t flags);
uint32_t CM_Get_Child(DevInst& child, DevInst devInst, uint32_t flags);
uint32_t CM_Get_Sibling(DevInst& sibling, DevInst devInst, uint32_t flags);
uint32_t CM_Get_Parent(DevInst& parent, DevInst devInst, uint32_t flags);
// The length of the device instance id, without its terminating zero.
uint32_t CM_Get_Device_ID_Size(uint32_t& length, DevInst devInst, uint32_t flags);
uint32_t CM_Get_Device_IDA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t flags);
// CM_Get_Device_ID_ExA on the local machine.
uint32_t CM_Get_Device_ID_ExA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t flags);
uint32_t CM_Get_DevNode_Status(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t flags);
// CM_Get_DevNode_Status_Ex on the local machine.
uint32_t CM_Get_DevNode_Status_Ex(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t flags);
// CM_Get_DevNode_Registry_PropertyA, with a CM_DRP_ property number.
uint32_t CM_Get_DevNode_Registry_PropertyA(DevInst devInst, uint32_t property, uint32_t* regDataType, void* buffer,
                                           uint32_t* length, uint32_t flags);
uint32_t CM_Enable_DevNode(DevInst devInst, uint32_t flags);
uint32_t CM_Disable_DevNode(DevInst devInst, uint32_t flags);
uint32_t CM_Get_First_Log_Conf(LogConf& logConf, DevInst devInst, uint32_t flags);
// The next resource of `forResource` after `current`, which is a log conf or a resource.
uint32_t CM_Get_Next_Res_Des(ResDes& next, uintptr_t current, uint32_t forResource, uint32_t* resourceId,
                             uint32_t flags);
uint32_t CM_Get_Res_Des_Data_Size(uint32_t& size, ResDes resDes, uint32_t flags);
uint32_t CM_Get_Res_Des_Data(ResDes resDes, void* buffer, uint32_t bufferLength, uint32_t flags);
uint32_t CM_Free_Log_Conf_Handle(LogConf logConf);
uint32_t CM_Free_Res_Des_Handle(ResDes resDes);

}  // namespace platform
