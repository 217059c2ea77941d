#include "hardware/SMBIOSDiscovery.h"

#include <cstdio>
#include <memory>

#include "framework/KestException.h"
#include "hardware/WMIDiscovery.h"
#include "platform/cpuid.h"
#include "text/TextHelpers.h"

namespace {

constexpr uint32_t kSmbiosFailure = 990405;

const char* const kErrorCorrection[] = {"", "Other", "Unknown", "None", "Parity", "Single-bit ECC", "Multi-bit ECC",
                                        "CRC"};

const char* const kMemoryTypes[] = {"",       "Other",  "Unknown", "DRAM",  "EDRAM",    "VRAM",     "SRAM",
                                    "RAM",    "ROM",    "FLASH",   "EEPROM", "FEPROM",  "EPROM",    "CDRAM",
                                    "3DRAM",  "SDRAM",  "SGRAM",   "RDRAM", "DDR",      "DDR2",     "DDR2-FBD",
                                    "Reserved", "Reserved", "Reserved", "DDR3", "FBD2"};

}  // namespace

// One structure: its formatted area and its string table. Fields past the formatted area read as
// zero, which is also how the standard's shorter, older structures are meant to be read.
struct SMBIOSDiscovery::View {
  const uint8_t* Data;
  size_t Length;
  const std::string* Strings;  // 256 entries, number 0 empty

  uint8_t Byte(size_t offset) const { return offset < Length ? Data[offset] : 0; }
  uint16_t Word(size_t offset) const { return static_cast<uint16_t>(Byte(offset) | Byte(offset + 1) << 8); }
  uint32_t Dword(size_t offset) const { return Word(offset) | static_cast<uint32_t>(Word(offset + 2)) << 16; }
  const std::string& String(size_t offset) const { return Strings[Byte(offset)]; }
  std::string StringOr(size_t offset, const char* fallback) const {
    const std::string& text = String(offset);
    return text.empty() ? std::string(fallback) : text;
  }
};

namespace {

using View = SMBIOSDiscovery::View;

std::string FormatUuid(const View& s) {
  char text[40];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", s.Dword(8), s.Word(12),
                s.Word(14), s.Byte(16), s.Byte(17), s.Byte(18), s.Byte(19), s.Byte(20), s.Byte(21), s.Byte(22),
                s.Byte(23));
  return text;
}

std::string CacheSizeText(uint16_t installed) {
  if (installed == 0) return "NotInstalled";
  uint32_t kilobytes = installed & 0x7FFFu;
  if (installed & 0x8000u) kilobytes *= 64;
  return ToText(kilobytes);
}

// The model number of the running processor: CPUID leaf 1, EAX bits 4..7, plus ten times the
// extended model when there is one.
uint32_t RunningProcessorModel() {
  uint32_t registers[4] = {};
  platform::Cpuid(1, registers);
  const uint32_t model = (registers[0] >> 4) & 0xF;
  const uint32_t extended = (registers[0] >> 16) & 0xF;
  return extended ? model + 10 * extended : model;
}

[[noreturn]] void RaiseSmbiosFailure() {
  auto* failure = new KestException(kSmbiosFailure);
  failure->AddMessage(0, static_cast<uint32_t>(-1), "SMBIOS Exception");
  throw failure;
}

bool IsBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

// Runs one decoder; whatever it raises becomes the program's failure for a bad table.
template <typename Decoder>
void Guarded(Decoder decoder) {
  try {
    decoder();
  } catch (...) {
    RaiseSmbiosFailure();
  }
}

}  // namespace

SMBIOSDiscovery::SMBIOSDiscovery() = default;

SMBIOSDiscovery::SMBIOSDiscovery(const uint8_t* data, size_t size) { Decode(data, size); }

SMBIOSDiscovery& SMBIOSDiscovery::Instance() {
  static std::unique_ptr<SMBIOSDiscovery> instance;
  if (instance) return *instance;
  std::unique_ptr<SMBIOSDiscovery> built(new SMBIOSDiscovery());
  {
    WMIDiscovery wmi(L"ROOT\\WMI");
    double size = 0;
    wmi.GetFirstNumber(L"select Size from MSSmBios_RawSMBiosTables", L"Size", size);
    const size_t bytes = size > 0 && size < 16.0 * 1024 * 1024 ? static_cast<size_t>(size) : 0;
    std::vector<uint8_t> buffer(bytes);
    wmi.GetByteArray(L"MSSmBios_RawSMBiosTables", L"SMBiosData", buffer);
    built->Decode(buffer.data(), buffer.size());
  }
  instance = std::move(built);
  return *instance;
}

void SMBIOSDiscovery::Decode(const uint8_t* data, size_t size) {
  const uint8_t* const end = data + size;
  const uint8_t* cursor = data;
  std::vector<std::string> strings(256);
  // Each pass moves the cursor forward by at least the four-byte header, so the walk ends.
  while (cursor && end - cursor >= 4) {
    const uint8_t type = cursor[0];
    const uint8_t length = cursor[1];
    if (length < 4 || static_cast<size_t>(end - cursor) < length) break;  // no trustworthy structure
    for (auto& text : strings) text.clear();

    const View view{cursor, length, strings.data()};
    std::string uuid;
    if (type == 1 && length >= 24) uuid = FormatUuid(view);

    const uint8_t* area = cursor + length;
    const uint8_t* next;
    if (area == end) {
      next = end;  // no string area left: a truncated table
    } else if (area[0] == 0) {
      // No strings: a double zero ends the structure, a lone zero before a non-zero byte too.
      next = area + 1 == end ? end : area[1] == 0 ? area + 2 : area + 1;
    } else {
      const uint8_t* at = area;
      unsigned number = 0;
      while (at < end && *at != 0) {
        const uint8_t* stop = at;
        while (stop < end && *stop != 0) ++stop;
        if (++number <= 255) {
          std::string text(reinterpret_cast<const char*>(at), static_cast<size_t>(stop - at));
          if (!IsBlank(text)) strings[number] = text;
        }
        at = stop < end ? stop + 1 : end;
      }
      next = at < end ? at + 1 : end;
    }

    switch (type) {
      case 0: Guarded([&] { DecodeBios(view); }); break;
      case 1:
        Guarded([&] {
          DecodeSystem(view);
          system.uuid = uuid;
        });
        break;
      case 2: Guarded([&] { DecodeBaseboard(view); }); break;
      case 3: Guarded([&] { DecodeEnclosure(view); }); break;
      case 4: Guarded([&] { DecodeProcessor(view); }); break;
      case 7: Guarded([&] { DecodeCache(view); }); break;
      case 16: Guarded([&] { DecodeMemoryArray(view); }); break;
      case 17: Guarded([&] { DecodeMemoryDevice(view); }); break;
      case 208: Guarded([&] { DecodeOem(view); }); break;
      default: break;
    }
    cursor = next;
  }
}

void SMBIOSDiscovery::DecodeBios(const View& s) {
  bios.vendor = s.String(4);
  bios.version = s.String(5);
  bios.releaseDate = s.String(8);
  // Byte 9 is taken as a string number, as the system has always read it.
  bios.romSize = s.String(9);
  bios.characteristics = static_cast<int32_t>(s.Dword(10));
}

void SMBIOSDiscovery::DecodeSystem(const View& s) {
  system.manufacturer = s.String(4);
  system.product = s.String(5);
  system.version = s.String(6);
  system.serialNumber = s.String(7);
  system.sku = s.String(25);
  system.family = s.String(26);
}

void SMBIOSDiscovery::DecodeBaseboard(const View& s) {
  systemId = s.String(5).substr(0, 4);
  boardSerial = s.String(7);
}

void SMBIOSDiscovery::DecodeEnclosure(const View& s) { chassisType = s.Byte(5) & 0x7F; }

void SMBIOSDiscovery::DecodeProcessor(const View& s) {
  if (processorCount >= MaxProcessors) return;
  ProcessorInfo& p = processors[processorCount++];
  p.coreCount = s.Byte(35);
  p.family = s.Byte(6);
  p.model = RunningProcessorModel();
  p.manufacturer = s.String(7);
  p.version = s.String(16);
  char id[12];
  std::snprintf(id, sizeof id, "%08X", s.Dword(8));
  p.processorId = id;
  p.externalClock = s.Word(18);
  p.maxSpeed = s.Word(20);
  p.currentSpeed = s.Word(22);
  if (s.Byte(24) & 0x40) ++populatedSockets;
}

void SMBIOSDiscovery::DecodeCache(const View& s) {
  const int level = (s.Byte(5) & 7) + 1;
  const std::string size = CacheSizeText(s.Word(9));
  if (level == 1) level1Caches.push_back(size);
  else if (level == 2) level2Caches.push_back(size);
  else if (level == 3) level3Caches.push_back(size);
}

void SMBIOSDiscovery::DecodeMemoryArray(const View& s) {
  const uint8_t correction = s.Byte(6);
  errorCorrectionTypes.push_back(correction < 8 ? kErrorCorrection[correction] : "Undetermined");
  arrayDeviceCounts.push_back(s.Word(13));
}

void SMBIOSDiscovery::DecodeMemoryDevice(const View& s) {
  if (memoryDeviceCount >= MaxMemoryDevices) return;
  MemoryDeviceInfo& m = memoryDevices[memoryDeviceCount];
  m = MemoryDeviceInfo();
  const uint16_t size = s.Word(12);
  m.size = size == 0xFFFF ? "Unknown" : size == 0 ? "Not Installed" : ToText(static_cast<uint32_t>(size & 0x7FFF));
  m.locator = s.StringOr(16, "Unknown");
  const uint8_t type = s.Byte(18);
  m.type = type < 26 ? kMemoryTypes[type] : "Undetermined";
  m.typeDetail = s.Word(19);
  if (s.Length > 21) m.speed = s.Word(21);
  m.manufacturer = s.StringOr(23, "Unknown");
  m.partNumber = s.StringOr(26, "Unknown");
  // A flash part takes a record but is overwritten by the next device.
  if (ToLower(m.type) != "flash") ++memoryDeviceCount;
}

void SMBIOSDiscovery::DecodeOem(const View& s) { oemByte = s.Byte(4); }
