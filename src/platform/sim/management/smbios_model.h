// The simulated machine's firmware: a small description from which a raw SMBIOS structure table
// is generated in the DMTF layout (structures only, no entry point), or a raw table replayed byte
// for byte from a file, such as a dump of /sys/firmware/dmi/tables/DMI.
//
// Machine-file sections (names and keys without regard to case):
//   [Firmware]        BiosVendor, BiosVersion, BiosDate, BiosCharacteristics, Manufacturer, Product,
//                     Version, SerialNumber, Uuid (8-4-4-4-12 hex), Sku, Family, BoardManufacturer,
//                     BoardProduct (begins with the four-digit system identifier), BoardVersion,
//                     BoardSerial, ChassisType, ErrorCorrection, OemByte (none: no OEM structure),
//                     RawTable (a file, relative to the machine file's folder)
//   [Processor.N]     Socket, Manufacturer, Version, Family, Signature, ExternalClock, MaxSpeed,
//                     CurrentSpeed, Cores, Populated, Architecture
//   [MemoryDevice.N]  SizeMB (0: empty slot), Locator, Bank, Type, TypeDetail, Speed, Manufacturer,
//                     SerialNumber, PartNumber
//   [Cache.N]         Level (1-3), SizeKB, Socket
// N counts from 0; any section of a kind replaces all of the built-in ones of that kind.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/machine.h"

namespace platform {
namespace sim {

struct SmbiosProcessor {
  std::string Socket = "CPU0";
  std::string Manufacturer;
  std::string Version;
  uint8_t Family = 0;
  uint32_t Signature = 0;  // CPUID leaf 1 EAX
  uint16_t ExternalClock = 0;
  uint16_t MaxSpeed = 0;
  uint16_t CurrentSpeed = 0;
  uint8_t Cores = 1;
  bool Populated = true;
  uint16_t Architecture = 9;  // as Win32_Processor reports it: 0 x86, 9 x64
};

struct SmbiosMemoryDevice {
  uint16_t SizeMB = 0;
  std::string Locator;
  std::string Bank;
  uint8_t Type = 2;
  uint16_t TypeDetail = 0;
  uint16_t Speed = 0;
  std::string Manufacturer;
  std::string SerialNumber;
  std::string PartNumber;
};

struct SmbiosCache {
  uint8_t Level = 1;
  uint32_t SizeKB = 0;
  std::string Socket;
};

struct SmbiosDescription {
  std::string BiosVendor;
  std::string BiosVersion;
  std::string BiosDate;
  uint64_t BiosCharacteristics = 0;
  std::string Manufacturer;
  std::string Product;
  std::string Version;
  std::string SerialNumber;
  uint8_t Uuid[16] = {};
  std::string Sku;
  std::string Family;
  std::string BoardManufacturer;
  std::string BoardProduct;
  std::string BoardVersion;
  std::string BoardSerial;
  uint8_t ChassisType = 3;
  uint8_t ErrorCorrection = 3;
  bool HasOemByte = false;
  uint8_t OemByte = 0;
  std::string RawTable;
  std::vector<SmbiosProcessor> Processors;
  std::vector<SmbiosMemoryDevice> MemoryDevices;
  std::vector<SmbiosCache> Caches;
};

// A desktop: one quad-core processor, two memory devices and an empty slot, three cache levels.
SmbiosDescription DefaultSmbiosDescription();

// The structure table: BIOS, system, baseboard, enclosure, caches, processors, memory array,
// memory devices, the OEM structure when asked for, and the end-of-table structure.
std::vector<uint8_t> BuildSmbiosTable(const SmbiosDescription& description);

bool IsFirmwareSection(const std::string& loweredSection);

// The default, changed by the firmware sections of `text`; false with a reason naming the line
// for an unknown key or a bad value.
bool BuildSmbiosDescription(const MachineText& text, SmbiosDescription& out, std::string& error);

// The table in force for a description: generated, or the bytes of its RawTable file.
bool LoadSmbiosTable(const SmbiosDescription& description, const std::string& baseFolder,
                     std::vector<uint8_t>& table, std::string& error);

}  // namespace sim
}  // namespace platform
