// The machine's firmware description (SMBIOS), read once per process through the management
// service and decoded from its raw structure table. The decoding works on any buffer in that
// layout; the bytes are untrusted and every read stays inside them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct SystemInfo {
  std::string manufacturer;
  std::string product;
  std::string version;
  std::string serialNumber;
  std::string uuid;
  std::string sku;
  std::string family;
};

struct BiosInfo {
  std::string vendor;
  std::string version;
  std::string releaseDate;
  std::string romSize;
  int64_t characteristics = 0;
};

struct ProcessorInfo {
  uint8_t coreCount = 0;
  uint32_t family = 0;
  uint32_t model = 0;
  std::string manufacturer;
  std::string version;
  std::string processorId;
  uint16_t externalClock = 0;
  uint16_t maxSpeed = 0;
  uint16_t currentSpeed = 0;
};

struct MemoryDeviceInfo {
  std::string size;
  std::string locator;
  std::string type;
  std::string manufacturer;
  std::string partNumber;
  uint16_t typeDetail = 0;
  uint16_t speed = 0;
};

class SMBIOSDiscovery {
 public:
  static constexpr size_t MaxProcessors = 10;
  static constexpr size_t MaxMemoryDevices = 100;

  // The process-wide object; the first call reads the tables from namespace "ROOT\WMI" and may
  // raise the connection's exception.
  static SMBIOSDiscovery& Instance();

  // Decodes a raw structure table.
  SMBIOSDiscovery(const uint8_t* data, size_t size);
  virtual ~SMBIOSDiscovery() = default;

  std::string GetSystemId() const { return systemId; }
  std::string GetBoardSerial() const { return boardSerial; }
  const SystemInfo& GetSystem() const { return system; }
  const BiosInfo& GetBios() const { return bios; }
  uint8_t GetChassisType() const { return chassisType; }
  uint8_t GetOemByte() const { return oemByte; }
  size_t GetProcessorCount() const { return processorCount; }
  size_t GetPopulatedSockets() const { return populatedSockets; }
  const ProcessorInfo& GetProcessor(size_t index) const { return processors[index]; }
  size_t GetMemoryDeviceCount() const { return memoryDeviceCount; }
  const MemoryDeviceInfo& GetMemoryDevice(size_t index) const { return memoryDevices[index]; }
  const std::vector<std::string>& GetErrorCorrectionTypes() const { return errorCorrectionTypes; }
  const std::vector<uint32_t>& GetArrayDeviceCounts() const { return arrayDeviceCounts; }
  const std::vector<std::string>& GetLevel1Caches() const { return level1Caches; }
  const std::vector<std::string>& GetLevel2Caches() const { return level2Caches; }
  const std::vector<std::string>& GetLevel3Caches() const { return level3Caches; }

  // One structure as the decoders see it.
  struct View;

 private:

  SMBIOSDiscovery();
  void Decode(const uint8_t* data, size_t size);
  void DecodeBios(const View& s);
  void DecodeSystem(const View& s);
  void DecodeBaseboard(const View& s);
  void DecodeEnclosure(const View& s);
  void DecodeProcessor(const View& s);
  void DecodeCache(const View& s);
  void DecodeMemoryArray(const View& s);
  void DecodeMemoryDevice(const View& s);
  void DecodeOem(const View& s);

  ProcessorInfo processors[MaxProcessors];
  size_t processorCount = 0;
  size_t populatedSockets = 0;
  MemoryDeviceInfo memoryDevices[MaxMemoryDevices];
  size_t memoryDeviceCount = 0;
  SystemInfo system;
  BiosInfo bios;
  std::string systemId;
  std::string boardSerial;
  uint8_t chassisType = 0;
  uint8_t oemByte = 0x20;
  std::vector<std::string> errorCorrectionTypes;
  std::vector<uint32_t> arrayDeviceCounts;
  std::vector<std::string> level1Caches;
  std::vector<std::string> level2Caches;
  std::vector<std::string> level3Caches;
};
