#include "hardware/SetupDI.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "framework/Kestout.h"

namespace {

constexpr platform::LogConf NoHandle = ~platform::LogConf{0};

std::string ErrorText(const char* format, uint32_t error) {
  char text[160];
  std::snprintf(text, sizeof text, format, static_cast<int>(error), error);
  return text;
}

}  // namespace

SetupDI::SetupDI() = default;

SetupDI::SetupDI(const char* deviceId) {
  if (deviceId) {
    platform::DevInst node = 0;
    platform::CM_Locate_DevNodeA(node, deviceId, 0);
    devNode = node;
    childCount = 0;
  }
}

SetupDI::~SetupDI() {
  ReleaseResources();
  CloseList();
}

void SetupDI::CloseList() {
  if (deviceList != platform::InvalidDeviceInfoSet) platform::SetupDiDestroyDeviceInfoList(deviceList);
  deviceList = platform::InvalidDeviceInfoSet;
}

platform::DevInst SetupDI::GetDevNode() { return devNode; }

platform::DevInst SetupDI::SetDevNode(platform::DevInst node) {
  devNode = node;
  childCount = 0;
  return node;
}

platform::DevInst SetupDI::SetDeviceId(const char* deviceId) {
  platform::DevInst node = 0;
  platform::CM_Locate_DevNodeA(node, deviceId, 0);
  return SetDevNode(node);
}

uint32_t SetupDI::GetNextChild(SetupDI& other) {
  if (devNode == 0) return 0;
  platform::DevInst found = 0;
  uint32_t result = childCount == 0 ? platform::CM_Get_Child(found, devNode, 0)
                                    : platform::CM_Get_Sibling(found, lastChild, 0);
  if (result != platform::CrSuccess) return 0;
  other.SetDevNode(found);
  lastChild = found;
  return ++childCount;
}

int SetupDI::GetParent(SetupDI& other) {
  if (devNode == 0) return 0;
  platform::DevInst parent = 0;
  if (platform::CM_Get_Parent(parent, devNode, 0) != platform::CrSuccess) return 0;
  other.SetDevNode(parent);
  return 1;
}

bool SetupDI::OpenDeviceList(const char* enumerator, uint32_t flags, const platform::Guid* classGuid) {
  if (!available) return false;
  if (classGuid) interfaceClass = *classGuid;
  ReleaseResources();
  CloseList();
  deviceList = platform::SetupDiGetClassDevsA(classGuid, enumerator, flags);
  deviceIndex = 0;
  childCount = 0;
  interfaceIndex = 0;
  return deviceList != platform::InvalidDeviceInfoSet;
}

bool SetupDI::NextDevice() {
  if (!available) return false;
  deviceData.Size = platform::DeviceInfoDataSize;
  bool found = platform::SetupDiEnumDeviceInfo(deviceList, deviceIndex, deviceData);
  ++deviceIndex;
  devNode = deviceData.Instance;
  childCount = 0;
  return found;
}

bool SetupDI::NextInterface() {
  if (!available) return false;
  interfaceData.Size = platform::DeviceInterfaceDataSize;
  bool found = platform::SetupDiEnumDeviceInterfaces(deviceList, interfaceClass, interfaceIndex, interfaceData);
  ++interfaceIndex;
  return found;
}

std::string SetupDI::GetInterfacePath(const char* enumerator, const platform::Guid* classGuid) {
  if (!available) return "";
  if (enumerator && classGuid) {
    if (!OpenDeviceList(enumerator, platform::DigcfPresent | platform::DigcfDeviceInterface, classGuid)) return "";
    if (!NextInterface()) return "";
  }
  uint32_t required = 0;
  platform::SetupDiGetDeviceInterfaceDetailA(deviceList, interfaceData, nullptr, 0, &required);
  if (required < 5) return "";
  std::vector<char> detail(required, 0);
  uint32_t sizeField = platform::DeviceInterfaceDetailDataSize;
  std::memcpy(detail.data(), &sizeField, 4);
  if (!platform::SetupDiGetDeviceInterfaceDetailA(deviceList, interfaceData, detail.data(), required, nullptr)) return "";
  return std::string(detail.data() + 4);
}

uint32_t SetupDI::ReadProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type) {
  if (!available) return 0;
  deviceData.Size = platform::DeviceInfoDataSize;
  uint32_t length = size;
  if (!platform::SetupDiGetDeviceRegistryPropertyA(deviceList, deviceData, property, &type, buffer, length, &length))
    return 0;
  return length;
}

uint32_t SetupDI::GetProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type) {
  return ReadProperty(property, buffer, size, type ? type : platform::RegMultiSz);
}

uint32_t SetupDI::GetBinaryProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type) {
  return ReadProperty(property, buffer, size, type ? type : platform::RegBinary);
}

uint32_t SetupDI::GetWordProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type) {
  return ReadProperty(property, buffer, size, type ? type : platform::RegDword);
}

uint32_t SetupDI::GetNodeProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type) {
  if (!available) return 0;
  if (!type) type = platform::RegMultiSz;
  uint32_t length = size;
  if (platform::CM_Get_DevNode_Registry_PropertyA(devNode, property, &type, buffer, &length, 0) != platform::CrSuccess)
    return 0;
  return length;
}

std::string SetupDI::GetDeviceId() {
  uint32_t length = 0;
  platform::CM_Get_Device_ID_Size(length, devNode, 0);
  std::vector<char> buffer;
  try {
    buffer.assign(length + 1, '\0');
  } catch (const std::bad_alloc&) {
    return "";
  }
  platform::CM_Get_Device_IDA(devNode, buffer.data(), length + 1, 0);
  return std::string(buffer.data());
}

const void* SetupDI::NextResource(uint32_t resourceType) {
  if (deviceList == platform::InvalidDeviceInfoSet || deviceIndex == 0) return nullptr;
  if (logConf == NoHandle) {
    platform::LogConf first = NoHandle;
    if (platform::CM_Get_First_Log_Conf(first, devNode, platform::AllocLogConf) != platform::CrSuccess &&
        platform::CM_Get_First_Log_Conf(first, devNode, platform::BootLogConf) != platform::CrSuccess) {
      ReleaseResources();
      return nullptr;
    }
    logConf = first;
  }
  uintptr_t current = resourceDescriptor != NoHandle ? resourceDescriptor : logConf;
  if (platform::CM_Get_Next_Res_Des(nextDescriptor, current, resourceType, nullptr, 0) != platform::CrSuccess) {
    ReleaseResources();
    return nullptr;
  }
  if (resourceDescriptor != NoHandle) platform::CM_Free_Res_Des_Handle(resourceDescriptor);
  resourceDescriptor = nextDescriptor;
  nextDescriptor = NoHandle;
  delete[] resourceData;
  resourceData = nullptr;
  uint32_t size = 0;
  if (platform::CM_Get_Res_Des_Data_Size(size, resourceDescriptor, 0) != platform::CrSuccess) {
    ReleaseResources();
    return nullptr;
  }
  resourceData = new (std::nothrow) uint8_t[size ? size : 1];
  if (!resourceData ||
      platform::CM_Get_Res_Des_Data(resourceDescriptor, resourceData, size, 0) != platform::CrSuccess) {
    ReleaseResources();
    return nullptr;
  }
  return resourceData;
}

void SetupDI::ReleaseResources() {
  if (resourceDescriptor != NoHandle) platform::CM_Free_Res_Des_Handle(resourceDescriptor);
  if (logConf != NoHandle) platform::CM_Free_Log_Conf_Handle(logConf);
  resourceDescriptor = NoHandle;
  nextDescriptor = NoHandle;
  logConf = NoHandle;
  delete[] resourceData;
  resourceData = nullptr;
}

uint32_t SetupDI::Enable() { return platform::CM_Enable_DevNode(devNode, 0); }

uint32_t SetupDI::Disable() { return platform::CM_Disable_DevNode(devNode, 0); }

uint32_t SetupDI::GetStatus(uint32_t& status) {
  uint32_t problem = 0;
  return platform::CM_Get_DevNode_Status(status, problem, devNode, 0);
}

bool SetupDI::FindDescription(uint16_t vendorId, uint16_t deviceId, uint16_t subsystemVendorId, uint16_t subsystemId,
                              std::string& description) {
  char id[64];
  // The subsystem part of the identifier has the subsystem id first.
  std::snprintf(id, sizeof id, "PCI\\VEN_%04X&DEV_%04X&SUBSYS_%04X%04X", vendorId, deviceId, subsystemId,
                subsystemVendorId);
  if (!OpenDeviceList("PCI", platform::DigcfPresent | platform::DigcfAllClasses, nullptr) || !available) return false;
  uint8_t buffer[1024];
  while (NextDevice()) {
    std::memset(buffer, 0, sizeof buffer);
    if (!GetProperty(platform::SpdrpHardwareId, buffer, sizeof buffer - 1)) continue;
    std::string first(reinterpret_cast<const char*>(buffer));
    if (first.find(id) == std::string::npos) continue;
    std::memset(buffer, 0, sizeof buffer);
    GetProperty(platform::SpdrpDeviceDesc, buffer, sizeof buffer - 1);
    description = reinterpret_cast<const char*>(buffer);
    return true;
  }
  return false;
}

bool SetupDI::IsDeviceEnabled(const std::string& instanceId, const platform::Guid* classGuid) {
  platform::DeviceInfoSet list = platform::SetupDiGetClassDevsExA(classGuid, nullptr, platform::DigcfPresent);
  if (list == platform::InvalidDeviceInfoSet) return false;
  bool enabled = false;
  platform::DeviceInfoData data;
  for (uint32_t index = 0; platform::SetupDiEnumDeviceInfo(list, index, data); ++index) {
    char id[200] = {};
    if (platform::CM_Get_Device_ID_ExA(data.Instance, id, sizeof id, 0) != platform::CrSuccess) break;
    if (instanceId == id) {
      uint32_t status = 0, problem = 0;
      enabled = platform::CM_Get_DevNode_Status_Ex(status, problem, data.Instance, 0) == platform::CrSuccess &&
                (status & platform::DnStarted) != 0;
      break;
    }
    data.Size = platform::DeviceInfoDataSize;
  }
  platform::SetupDiDestroyDeviceInfoList(list);
  return enabled;
}

std::string SetupDI::FindInstanceId(const platform::Guid* classGuid, uint32_t flags, int index, const char* idText,
                                    const char* descriptionText, const char* enumerator) {
  platform::DeviceInfoSet list = platform::SetupDiGetClassDevsA(classGuid, enumerator, flags);
  if (list == platform::InvalidDeviceInfoSet) {
    Kestout::LogMessage(CategoryDebug, 8,
                        ErrorText("unable to get SetupDI handle. ERROR : %d (0x%x) ", platform::GetLastError()));
    return "no devices found in device list";
  }
  std::vector<char> description(256), instance(256);
  platform::DeviceInfoData data;
  uint32_t position = 0;
  std::string found;
  bool hit = false;
  for (; platform::SetupDiEnumDeviceInfo(list, position, data); ++position) {
    std::string descriptionRead;
    if (descriptionText) {
      uint32_t required = 0;
      uint32_t type = 0;
      while (!platform::SetupDiGetDeviceRegistryPropertyA(list, data, platform::SpdrpDeviceDesc, &type,
                                                          reinterpret_cast<uint8_t*>(description.data()),
                                                          static_cast<uint32_t>(description.size()), &required)) {
        if (platform::GetLastError() != platform::ErrorInsufficientBuffer) {
          Kestout::LogMessage(CategoryDebug, 8, ErrorText("unable to allocated data to DeviceDesc. ERROR : %d (0x%x) ",
                                                          platform::GetLastError()));
          description[0] = '\0';
          break;
        }
        description.assign(required + 1, '\0');
      }
      descriptionRead = description.data();
    }
    uint32_t required = 0;
    while (!platform::SetupDiGetDeviceInstanceIdA(list, data, instance.data(), static_cast<uint32_t>(instance.size()),
                                                  &required)) {
      if (platform::GetLastError() != platform::ErrorInsufficientBuffer) {
        Kestout::LogMessage(CategoryDebug, 8,
                            ErrorText("unable to get DeviceInsanceID. ERROR : %d (0x%x) ", platform::GetLastError()));
        instance[0] = '\0';
        break;
      }
      instance.assign(required + 1, '\0');
    }
    std::string id = instance.data();
    bool match = false;
    if (idText && id.find(idText) != std::string::npos) match = true;
    if (descriptionText && descriptionRead.find(descriptionText) != std::string::npos) match = true;
    if (index > 0 && position == static_cast<uint32_t>(index)) match = true;
    if (!idText && !descriptionText && index <= 0) match = true;
    if (match) {
      found = id;
      hit = true;
      break;
    }
    data.Size = platform::DeviceInfoDataSize;
  }
  platform::SetupDiDestroyDeviceInfoList(list);
  if (hit) return found;
  if (position == 0) return "no devices found in device list";
  const char* what = idText ? idText : descriptionText ? descriptionText : "";
  char text[512];
  std::snprintf(text, sizeof text, "%s not found in device list", what);
  Kestout::LogMessage(CategoryDebug, 8, text);
  return "Instance ID could Not be Found";
}
