// The one gate to the bare machine: I/O ports, PCI configuration space, physical and real-mode
// memory and the BIOS, each operation one synchronous request on the hardware access driver,
// which the client installs and starts on demand.
#pragma once

#include <cstdint>
#include <string>

#include "platform/handles.h"

// The processor registers of a BIOS call.
struct RegisterRecord {
  uint32_t Eax = 0;
  uint32_t Ebx = 0;
  uint32_t Ecx = 0;
  uint32_t Edx = 0;
  uint32_t Esi = 0;
  uint32_t Edi = 0;
  uint16_t Segment1 = 0;
  uint16_t Segment2 = 0;
  uint32_t Flags = 0;  // bit 0: carry
};

// A mapping as the driver answered it; handed back unchanged to unmap it.
struct MapRequest {
  uint32_t PhysicalAddress = 0;
  uint32_t Length = 0;
  uint32_t MappedAddress = 0;
  uint32_t DriverValue1 = 0;
  uint32_t DriverValue2 = 0;
};

class CDevio {
 public:
  CDevio();
  CDevio(const std::string& serviceName, const std::string& displayName, const std::string& deviceName);
  virtual ~CDevio();
  CDevio(const CDevio&) = delete;
  CDevio& operator=(const CDevio&) = delete;

  bool IsDriverOpen() const { return device != platform::InvalidHandleValue; }
  platform::Handle GetDriverHandle() const { return device; }

  uint8_t ReadPortByte(uint16_t port);
  uint16_t ReadPortWord(uint16_t port);
  uint32_t ReadPortDword(uint16_t port);
  bool WritePortByte(uint16_t port, uint8_t value);
  bool WritePortWord(uint16_t port, uint16_t value);
  void WritePortDword(uint16_t port, uint32_t value);

  uint16_t ReadMemoryWord(uint16_t segment, uint16_t offset);
  uint8_t ReadMemoryByte(uint16_t segment, uint16_t offset);
  void WriteMemoryWord(uint16_t segment, uint16_t offset, uint16_t value);

  // PCI BIOS status results: 0 on success, 0x81 when nothing was done.
  uint8_t PciFindDevice(uint16_t firstId, uint16_t secondId, uint16_t index, uint16_t& address);
  uint8_t PciFindClassCode(uint32_t classCode, uint16_t index, uint16_t& address);
  uint8_t PciReadByte(uint16_t address, uint16_t reg, uint8_t& value);
  uint8_t PciReadWord(uint16_t address, uint16_t reg, uint16_t& value);
  uint8_t PciReadDword(uint16_t address, uint16_t reg, uint32_t& value);
  uint8_t PciWriteByte(uint16_t address, uint16_t reg, uint32_t value);
  uint8_t PciWriteWord(uint16_t address, uint16_t reg, uint32_t value);
  uint8_t PciWriteDword(uint16_t address, uint16_t reg, uint32_t value);

  bool CallInt15(RegisterRecord& record);
  // `record` holds 288 bytes, opening with the registers.
  uint32_t CallInt15Block(uint8_t* record);
  // `record` holds 1062 bytes, opening with the registers.
  uint32_t CallInt15PciEx(uint8_t* record);

  uint8_t ReadIndexedByte(uint16_t index);
  bool WriteIndexedByte(uint16_t index, uint8_t value);

  // The address of the mapping in this process, 0 on failure; `record` gets the answer.
  uintptr_t MapPhysicalMemory(uint32_t address, uint32_t length, MapRequest* record = nullptr);
  uintptr_t MapPhysicalMemory(uint32_t addressLow, uint32_t addressHigh, uint32_t length, bool wide);
  // `record` zeroed and returned on success; null on failure, the record unchanged.
  MapRequest* UnmapPhysicalMemory(MapRequest& record);

  uint32_t ExchangeValue(uint32_t first, uint32_t second);
  int32_t ExchangeBlock(uint32_t code, uint8_t (&block)[8]);
  void ExchangeBuffer(uint8_t* buffer, uint32_t length);
  uint32_t FixedRead(uint8_t (&out)[16]);
  uint32_t FixedRead(uint8_t (&out)[16], uint32_t selector);
  uint32_t TwoWordRead(uint32_t value, uint32_t& first, uint32_t& second);
  uint32_t TwoWordReadLong(uint32_t value, uint32_t& first, uint32_t& second);

  // Copies through a mapping that stays for the life of the process. Length, or 0.
  uint32_t ReadPhysicalMemory(uint32_t address, uint32_t length, void* destination);
  uint32_t WritePhysicalMemory(uint32_t address, uint32_t length, const void* source);

  bool PciFindByIds(uint32_t classCode, uint16_t vendor, uint16_t device, uint16_t subsystemVendor,
                    uint16_t subsystem, uint16_t& address);
  bool PciFindByName(uint32_t classCode, const std::string& name, int instance, uint16_t& address);
  bool ReadSystemBoardId(uint16_t& id);

  // The calling thread's or process's token holds the built-in Administrators group.
  static bool IsAdministrator();

 private:
  void Open();
  bool InstallDriver();
  bool OpenDriver();
  bool Request(uint32_t code, const void* in, uint32_t inSize, void* out, uint32_t outSize);
  uint8_t PciRead(uint32_t code, uint16_t address, uint16_t reg, uint32_t& value);
  uint8_t PciWrite(uint32_t code, uint16_t address, uint16_t reg, uint32_t value);
  uint8_t PciSearch(uint32_t code, uint32_t classCode, uint16_t first, uint16_t second, uint16_t index,
                    uint16_t& address);
  uint32_t CallInt15InPlace(uint32_t code, uint8_t* record, uint32_t size);
  uint32_t CopyPhysicalMemory(uint32_t address, uint32_t length, uint8_t* buffer, bool toMemory);

  platform::Handle device = platform::InvalidHandleValue;
  std::string serviceName = "ZyrDfw";
  std::string displayName = "Zyrnex Dfw";
  std::string deviceName = "Zyrdfw";
};
