// The simulated PC below the driver: PCI functions with their configuration space, I/O ports,
// real-mode memory, the BIOS, physical memory behind the base address registers, the driver's
// service, and the device tree's view of the PCI devices. Built from the machine in force and
// rebuilt when it is replaced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/machine.h"

namespace platform {
namespace sim {

// PCI BIOS status codes.
constexpr uint8_t PciSuccessful = 0x00;
constexpr uint8_t PciDeviceNotFound = 0x86;
constexpr uint8_t PciBadRegisterNumber = 0x87;

struct PciFunction {
  PciDevice Device;
  uint8_t Config[256] = {};
  bool Enabled = true;  // in the device tree
};

// One stretch of physical memory backed by a shared memory file, so that each mapping of it is
// a view of the same bytes.
struct MemoryRegion {
  uint32_t Base = 0;
  uint32_t Size = 0;
  int Fd = -1;
  // Physical Base is at this offset of the file: chosen so that the region's first faulty byte
  // starts a page, which keeps the bytes before it off the trapped page.
  uint32_t Skew = 0;
};

struct ServiceModel {
  bool Installed = false;
  bool Running = false;
  bool Startable = true;
};

class Hardware {
 public:
  // The hardware of the machine in force.
  static Hardware& Get();

  std::vector<PciFunction>& Functions() { return functions_; }
  PciFunction* FindFunction(uint16_t address);

  uint8_t ReadConfig(uint16_t address, uint16_t offset, unsigned width, uint32_t& value);
  uint8_t WriteConfig(uint16_t address, uint16_t offset, unsigned width, uint32_t value);

  uint32_t ReadPort(uint16_t port, unsigned width);
  void WritePort(uint16_t port, unsigned width, uint32_t value);

  uint16_t ReadRealModeWord(uint16_t segment, uint16_t offset);
  void WriteRealModeWord(uint16_t segment, uint16_t offset, uint16_t value);

  uint8_t IndexedByte(uint16_t index) const { return indexed_[index]; }
  void SetIndexedByte(uint16_t index, uint8_t value) { indexed_[index] = value; }

  // The software interrupt 15h on a 32-byte register record.
  void CallInt15(uint8_t* registers);

  // A view of physical memory for [address, address + length), or 0 when no one region holds it
  // or a fault refuses it. The view stays until UnmapView.
  uintptr_t MapView(uint32_t address, uint32_t length);
  bool UnmapView(uintptr_t view);
  uint32_t MapCount() const { return mapCount_; }

  ServiceModel& Service() { return service_; }

  // Disable and enable in the device tree: memory and I/O decoding go off and come back.
  void SetEnabled(PciFunction& function, bool enabled);

 private:
  Hardware() = default;
  void Build(const Machine& machine);
  void Release();
  MemoryRegion* RegionAt(uint32_t address, uint32_t length);

  std::vector<PciFunction> functions_;
  std::vector<MemoryRegion> regions_;
  std::vector<uint8_t> ports_;
  std::vector<uint8_t> indexed_;
  uint32_t configAddress_ = 0;  // port 0xCF8
  ServiceModel service_;
  uint32_t mapCount_ = 0;
  uint32_t generation_ = ~0u;
};

// Real-mode memory: the first megabyte and the high memory area.
constexpr uint32_t RealModeMemorySize = 0x110000;

}  // namespace sim
}  // namespace platform
