// A thin object over the device-installation lists and the configuration manager: walks a list
// of installed devices, reads what the operating system knows of each (identifiers, description,
// location, instance id, memory and I/O resources), walks the device tree, enables and disables.
#pragma once

#include <cstdint>
#include <string>

#include "platform/setupapi.h"

class SetupDI {
 public:
  SetupDI();
  explicit SetupDI(const char* deviceId);
  virtual ~SetupDI();
  SetupDI(const SetupDI&) = delete;
  SetupDI& operator=(const SetupDI&) = delete;

  virtual platform::DevInst GetDevNode();
  virtual platform::DevInst SetDeviceId(const char* deviceId);
  virtual platform::DevInst SetDevNode(platform::DevInst node);
  // The count of children handed out so far, 0 when there is none (left).
  virtual uint32_t GetNextChild(SetupDI& other);
  virtual int GetParent(SetupDI& other);

  bool OpenDeviceList(const char* enumerator, uint32_t flags, const platform::Guid* classGuid);
  bool NextDevice();
  bool NextInterface();
  std::string GetInterfacePath(const char* enumerator = nullptr, const platform::Guid* classGuid = nullptr);

  // Registry properties of the current list entry: the size read, 0 on failure.
  uint32_t GetProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type = 0);
  uint32_t GetBinaryProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type = 0);
  uint32_t GetWordProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type = 0);
  // The same through the device node, with a CM_DRP_ property number.
  uint32_t GetNodeProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type = 0);
  std::string GetDeviceId();

  // The data of the next resource of that type (MemDes, IoDes...), null at the end; owned here
  // until the next call.
  const void* NextResource(uint32_t resourceType);
  void ReleaseResources();

  uint32_t Enable();
  uint32_t Disable();
  uint32_t GetStatus(uint32_t& status);

  bool FindDescription(uint16_t vendorId, uint16_t deviceId, uint16_t subsystemVendorId, uint16_t subsystemId,
                       std::string& description);
  bool IsDeviceEnabled(const std::string& instanceId, const platform::Guid* classGuid);
  std::string FindInstanceId(const platform::Guid* classGuid, uint32_t flags, int index, const char* idText,
                             const char* descriptionText, const char* enumerator);

 private:
  uint32_t ReadProperty(uint32_t property, uint8_t* buffer, uint32_t size, uint32_t type);
  void CloseList();

  platform::Guid interfaceClass;
  platform::DeviceInfoSet deviceList = platform::InvalidDeviceInfoSet;
  platform::DeviceInfoData deviceData;
  platform::DeviceInterfaceData interfaceData;
  uint32_t deviceIndex = 0;
  platform::DevInst devNode = 0;
  uint32_t childCount = 0;
  platform::DevInst lastChild = 0;
  uint32_t interfaceIndex = 0;
  platform::LogConf logConf = ~platform::LogConf{0};
  platform::ResDes resourceDescriptor = ~platform::ResDes{0};
  platform::ResDes nextDescriptor = ~platform::ResDes{0};
  uint8_t* resourceData = nullptr;
  uint8_t available = 1;
};
