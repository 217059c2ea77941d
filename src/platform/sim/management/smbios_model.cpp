#include "platform/sim/management/smbios_model.h"

#include <cctype>
#include <cstdlib>
#include <functional>
#include <map>

#include "platform/sim/host/host_file.h"
#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

namespace {

// One structure: the formatted area, then its strings, each numbered from 1 in order of adding.
class Structure {
 public:
  Structure(uint8_t type, uint8_t length, uint16_t handle) : bytes(length, 0) {
    bytes[0] = type;
    bytes[1] = length;
    Word(2, handle);
  }
  void Byte(size_t offset, uint8_t value) { bytes[offset] = value; }
  void Word(size_t offset, uint16_t value) {
    bytes[offset] = static_cast<uint8_t>(value);
    bytes[offset + 1] = static_cast<uint8_t>(value >> 8);
  }
  void Dword(size_t offset, uint32_t value) {
    Word(offset, static_cast<uint16_t>(value));
    Word(offset + 2, static_cast<uint16_t>(value >> 16));
  }
  void Qword(size_t offset, uint64_t value) {
    Dword(offset, static_cast<uint32_t>(value));
    Dword(offset + 4, static_cast<uint32_t>(value >> 32));
  }
  // An empty text has no string; its number is 0.
  void String(size_t offset, const std::string& text) {
    if (text.empty()) return;
    strings.push_back(text);
    bytes[offset] = static_cast<uint8_t>(strings.size());
  }
  void AppendTo(std::vector<uint8_t>& table) const {
    table.insert(table.end(), bytes.begin(), bytes.end());
    for (const auto& text : strings) {
      table.insert(table.end(), text.begin(), text.end());
      table.push_back(0);
    }
    if (strings.empty()) table.push_back(0);
    table.push_back(0);
  }

 private:
  std::vector<uint8_t> bytes;
  std::vector<std::string> strings;
};

// Cache size word: 1 KB units, or 64 KB units with the top bit once the size needs more than 15 bits.
uint16_t CacheSizeWord(uint32_t kilobytes) {
  if (kilobytes < 0x8000) return static_cast<uint16_t>(kilobytes);
  return static_cast<uint16_t>(0x8000 | ((kilobytes / 64) & 0x7FFF));
}

bool ParseUnsigned(const std::string& text, uint64_t max, uint64_t& out) {
  if (text.empty()) return false;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const size_t start = hex ? 2 : 0;
  uint64_t value = 0;
  for (size_t i = start; i < text.size(); ++i) {
    const int c = std::tolower(static_cast<unsigned char>(text[i]));
    int digit;
    if (c >= '0' && c <= '9') digit = c - '0';
    else if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    else return false;
    const uint64_t base = hex ? 16 : 10;
    if (value > (max - static_cast<uint64_t>(digit)) / base) return false;
    value = value * base + static_cast<uint64_t>(digit);
  }
  out = value;
  return true;
}

template <typename T>
bool ParseField(const std::string& text, T& out) {
  uint64_t value = 0;
  if (!ParseUnsigned(text, static_cast<uint64_t>(static_cast<T>(~T{0})), value)) return false;
  out = static_cast<T>(value);
  return true;
}

bool ParseUuid(const std::string& text, uint8_t (&uuid)[16]) {
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '-' && (i == 8 || i == 13 || i == 18 || i == 23)) continue;
    if (!std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
    digits += text[i];
  }
  if (digits.size() != 32 || text.size() != 36) return false;
  uint8_t bytes[16];
  for (size_t i = 0; i < 16; ++i) bytes[i] = static_cast<uint8_t>(std::strtoul(digits.substr(2 * i, 2).c_str(), nullptr, 16));
  // The first three fields are stored little-endian, as the standard lays them out.
  const int order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  for (size_t i = 0; i < 16; ++i) uuid[i] = bytes[order[i]];
  return true;
}

using Reader = std::function<bool(const std::string&)>;

// Applies each key of one section through its reader; unknown keys and bad values are errors.
bool ApplySection(const std::string& section, const std::map<std::string, MachineText::Entry>& keys,
                  const std::map<std::string, Reader>& readers, std::string& error) {
  for (const auto& [key, entry] : keys) {
    auto reader = readers.find(key);
    if (reader == readers.end()) {
      error = "line " + std::to_string(entry.Line) + ": unknown key '" + key + "' in [" + section + "]";
      return false;
    }
    if (!reader->second(entry.Value)) {
      error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
              section + "]";
      return false;
    }
  }
  return true;
}

Reader Text(std::string& field) {
  return [&field](const std::string& v) {
    field = v;
    return true;
  };
}

template <typename T>
Reader Number(T& field) {
  return [&field](const std::string& v) { return ParseField(v, field); };
}

Reader Flag(bool& field) {
  return [&field](const std::string& v) { return ParseBool(v, field); };
}

// "kind.N": the index N, or -1 when the section is not of that kind.
int IndexedSection(const std::string& section, const std::string& kind) {
  if (section.compare(0, kind.size() + 1, kind + ".") != 0) return -1;
  const std::string number = section.substr(kind.size() + 1);
  uint64_t index = 0;
  if (number.empty() || number.size() > 3 || !ParseUnsigned(number, 999, index) || (number[0] == '0' && number.size() > 1))
    return -1;
  return static_cast<int>(index);
}

}  // namespace

SmbiosDescription DefaultSmbiosDescription() {
  SmbiosDescription d;
  d.BiosVendor = "Raster Firmware Works";
  d.BiosVersion = "RFW 2.14.0";
  d.BiosDate = "03/18/2019";
  d.BiosCharacteristics = 0x000000004BF99880ull;
  d.Manufacturer = "Raster Systems";
  d.Product = "Raster Desk 7700";
  d.Version = "Rev A02";
  d.SerialNumber = "RS7700-4Q2K91";
  const uint8_t uuid[16] = {0x44, 0x45, 0x4C, 0x4C, 0x52, 0x00, 0x10, 0x4A,
                            0x80, 0x39, 0xB5, 0xC0, 0x4F, 0x32, 0x39, 0x31};
  for (int i = 0; i < 16; ++i) d.Uuid[i] = uuid[i];
  d.Sku = "7700-SKU";
  d.Family = "Raster Desk";
  d.BoardManufacturer = "Raster Systems";
  d.BoardProduct = "07A1 Mainboard";
  d.BoardVersion = "A01";
  d.BoardSerial = "/4Q2K91/CN7016";
  d.ChassisType = 3;  // desktop
  d.ErrorCorrection = 3;  // none

  SmbiosProcessor cpu;
  cpu.Socket = "CPU 1";
  cpu.Manufacturer = "GenuineRaster";
  cpu.Version = "Raster Core R7-3770 CPU @ 3.40GHz";
  cpu.Family = 0xCE;
  cpu.Signature = 0x000306A9;  // family 6, model 0x3A
  cpu.ExternalClock = 100;
  cpu.MaxSpeed = 3900;
  cpu.CurrentSpeed = 3400;
  cpu.Cores = 4;
  d.Processors.push_back(cpu);

  for (int i = 0; i < 3; ++i) {
    SmbiosMemoryDevice m;
    m.Locator = "DIMM" + std::to_string(i + 1);
    m.Bank = "BANK " + std::to_string(i);
    if (i < 2) {
      m.SizeMB = 4096;
      m.Type = 24;  // DDR3
      m.TypeDetail = 0x0080;  // synchronous
      m.Speed = 1600;
      m.Manufacturer = "Raster Memory";
      m.SerialNumber = "0A1B2C3" + std::to_string(i);
      m.PartNumber = "RM3-1600-4G";
    } else {
      m.Type = 2;  // unknown: an empty slot
    }
    d.MemoryDevices.push_back(m);
  }
  d.Caches = {{1, 256, "L1-Cache"}, {2, 1024, "L2-Cache"}, {3, 8192, "L3-Cache"}};
  return d;
}

std::vector<uint8_t> BuildSmbiosTable(const SmbiosDescription& d) {
  std::vector<uint8_t> table;
  uint16_t handle = 0;

  Structure bios(0, 0x18, handle++);
  bios.String(4, d.BiosVendor);
  bios.String(5, d.BiosVersion);
  bios.Word(6, 0xF000);
  bios.String(8, d.BiosDate);
  bios.Byte(9, 0x0F);  // (n + 1) * 64 KB
  bios.Qword(10, d.BiosCharacteristics);
  bios.Byte(18, 0x03);
  bios.Byte(19, 0x0D);
  bios.Byte(20, 2);
  bios.Byte(21, 14);
  bios.Byte(22, 0xFF);
  bios.Byte(23, 0xFF);
  bios.AppendTo(table);

  Structure system(1, 0x1B, handle++);
  system.String(4, d.Manufacturer);
  system.String(5, d.Product);
  system.String(6, d.Version);
  system.String(7, d.SerialNumber);
  for (size_t i = 0; i < 16; ++i) system.Byte(8 + i, d.Uuid[i]);
  system.Byte(24, 6);  // wake-up: power switch
  system.String(25, d.Sku);
  system.String(26, d.Family);
  system.AppendTo(table);

  const uint16_t chassisHandle = static_cast<uint16_t>(handle + 1);
  Structure board(2, 0x0F, handle++);
  board.String(4, d.BoardManufacturer);
  board.String(5, d.BoardProduct);
  board.String(6, d.BoardVersion);
  board.String(7, d.BoardSerial);
  board.Byte(9, 0x01);  // hosting board
  board.Word(11, chassisHandle);
  board.Byte(13, 0x0A);  // motherboard
  board.AppendTo(table);

  Structure chassis(3, 0x15, handle++);
  chassis.String(4, d.Manufacturer);
  chassis.Byte(5, d.ChassisType);
  chassis.String(7, d.SerialNumber);
  chassis.Byte(9, 3);
  chassis.Byte(10, 3);
  chassis.Byte(11, 3);
  chassis.Byte(12, 3);
  chassis.AppendTo(table);

  std::vector<uint16_t> cacheHandles;
  for (const auto& cache : d.Caches) {
    cacheHandles.push_back(handle);
    Structure s(7, 0x13, handle++);
    s.String(4, cache.Socket);
    s.Word(5, static_cast<uint16_t>(0x0180 | ((cache.Level - 1) & 7)));  // enabled, internal, write-back
    s.Word(7, CacheSizeWord(cache.SizeKB));
    s.Word(9, CacheSizeWord(cache.SizeKB));
    s.Word(11, 0x0020);
    s.Word(13, 0x0020);
    s.Byte(16, 6);
    s.Byte(17, cache.Level == 1 ? 4 : 5);
    s.Byte(18, cache.Level == 1 ? 7 : 8);
    s.AppendTo(table);
  }
  auto cacheOfLevel = [&](uint8_t level) -> uint16_t {
    for (size_t i = 0; i < d.Caches.size(); ++i)
      if (d.Caches[i].Level == level) return cacheHandles[i];
    return 0xFFFF;
  };

  for (const auto& cpu : d.Processors) {
    Structure s(4, 0x2A, handle++);
    s.String(4, cpu.Socket);
    s.Byte(5, 3);  // central processor
    s.Byte(6, cpu.Family);
    s.String(7, cpu.Manufacturer);
    s.Dword(8, cpu.Signature);
    s.Dword(12, 0xBFEBFBFF);  // feature flags
    s.String(16, cpu.Version);
    s.Byte(17, 0x8A);
    s.Word(18, cpu.ExternalClock);
    s.Word(20, cpu.MaxSpeed);
    s.Word(22, cpu.CurrentSpeed);
    s.Byte(24, cpu.Populated ? 0x41 : 0x00);
    s.Byte(25, 0x2D);
    s.Word(26, cacheOfLevel(1));
    s.Word(28, cacheOfLevel(2));
    s.Word(30, cacheOfLevel(3));
    s.Byte(35, cpu.Cores);
    s.Byte(36, cpu.Cores);
    s.Byte(37, static_cast<uint8_t>(cpu.Cores * 2));
    s.Word(38, 0x00FC);
    s.Word(40, cpu.Family);
    s.AppendTo(table);
  }

  const uint16_t arrayHandle = handle;
  uint32_t totalKB = 0;
  for (const auto& m : d.MemoryDevices) totalKB += uint32_t{m.SizeMB} * 1024;
  Structure array(16, 0x0F, handle++);
  array.Byte(4, 3);  // system board
  array.Byte(5, 3);  // system memory
  array.Byte(6, d.ErrorCorrection);
  array.Dword(7, totalKB ? totalKB * 2 : 0x80000000u);
  array.Word(11, 0xFFFE);
  array.Word(13, static_cast<uint16_t>(d.MemoryDevices.size()));
  array.AppendTo(table);

  for (const auto& m : d.MemoryDevices) {
    Structure s(17, 0x22, handle++);
    s.Word(4, arrayHandle);
    s.Word(6, 0xFFFE);
    s.Word(8, 64);
    s.Word(10, 64);
    s.Word(12, m.SizeMB);
    s.Byte(14, 0x09);  // DIMM
    s.String(16, m.Locator);
    s.String(17, m.Bank);
    s.Byte(18, m.Type);
    s.Word(19, m.TypeDetail);
    s.Word(21, m.Speed);
    s.String(23, m.Manufacturer);
    s.String(24, m.SerialNumber);
    s.String(26, m.PartNumber);
    s.Word(32, m.Speed);
    s.AppendTo(table);
  }

  if (d.HasOemByte) {
    Structure oem(208, 0x05, handle++);
    oem.Byte(4, d.OemByte);
    oem.AppendTo(table);
  }

  Structure end(127, 0x04, handle++);
  end.AppendTo(table);
  return table;
}

bool IsFirmwareSection(const std::string& section) {
  return section == "firmware" || IndexedSection(section, "processor") >= 0 ||
         IndexedSection(section, "memorydevice") >= 0 || IndexedSection(section, "cache") >= 0;
}

bool BuildSmbiosDescription(const MachineText& text, SmbiosDescription& out, std::string& error) {
  SmbiosDescription d = DefaultSmbiosDescription();
  std::map<int, SmbiosProcessor> processors;
  std::map<int, SmbiosMemoryDevice> memory;
  std::map<int, SmbiosCache> caches;
  for (const auto& [section, keys] : text.Sections) {
    if (section == "firmware") {
      std::string oem;
      const std::map<std::string, Reader> readers = {
          {"biosvendor", Text(d.BiosVendor)},
          {"biosversion", Text(d.BiosVersion)},
          {"biosdate", Text(d.BiosDate)},
          {"bioscharacteristics", Number(d.BiosCharacteristics)},
          {"manufacturer", Text(d.Manufacturer)},
          {"product", Text(d.Product)},
          {"version", Text(d.Version)},
          {"serialnumber", Text(d.SerialNumber)},
          {"uuid", [&d](const std::string& v) { return ParseUuid(v, d.Uuid); }},
          {"sku", Text(d.Sku)},
          {"family", Text(d.Family)},
          {"boardmanufacturer", Text(d.BoardManufacturer)},
          {"boardproduct", Text(d.BoardProduct)},
          {"boardversion", Text(d.BoardVersion)},
          {"boardserial", Text(d.BoardSerial)},
          {"chassistype", Number(d.ChassisType)},
          {"errorcorrection", Number(d.ErrorCorrection)},
          {"oembyte",
           [&d](const std::string& v) {
             if (Lower(v) == "none") {
               d.HasOemByte = false;
               return true;
             }
             d.HasOemByte = true;
             return ParseField(v, d.OemByte);
           }},
          {"rawtable", Text(d.RawTable)},
      };
      if (!ApplySection(section, keys, readers, error)) return false;
    } else if (int n = IndexedSection(section, "processor"); n >= 0) {
      SmbiosProcessor& p = processors[n];
      p.Socket = "CPU" + std::to_string(n);
      const std::map<std::string, Reader> readers = {
          {"socket", Text(p.Socket)},          {"manufacturer", Text(p.Manufacturer)},
          {"version", Text(p.Version)},        {"family", Number(p.Family)},
          {"signature", Number(p.Signature)},  {"externalclock", Number(p.ExternalClock)},
          {"maxspeed", Number(p.MaxSpeed)},    {"currentspeed", Number(p.CurrentSpeed)},
          {"cores", Number(p.Cores)},          {"populated", Flag(p.Populated)},
          {"architecture", Number(p.Architecture)},
      };
      if (!ApplySection(section, keys, readers, error)) return false;
    } else if (int m = IndexedSection(section, "memorydevice"); m >= 0) {
      SmbiosMemoryDevice& dev = memory[m];
      const std::map<std::string, Reader> readers = {
          {"sizemb", Number(dev.SizeMB)},       {"locator", Text(dev.Locator)},
          {"bank", Text(dev.Bank)},             {"type", Number(dev.Type)},
          {"typedetail", Number(dev.TypeDetail)}, {"speed", Number(dev.Speed)},
          {"manufacturer", Text(dev.Manufacturer)}, {"serialnumber", Text(dev.SerialNumber)},
          {"partnumber", Text(dev.PartNumber)},
      };
      if (!ApplySection(section, keys, readers, error)) return false;
    } else if (int c = IndexedSection(section, "cache"); c >= 0) {
      SmbiosCache& cache = caches[c];
      const std::map<std::string, Reader> readers = {
          {"level", [&cache](const std::string& v) { return ParseField(v, cache.Level) && cache.Level >= 1 && cache.Level <= 8; }},
          {"sizekb", [&cache](const std::string& v) { return ParseField(v, cache.SizeKB) && cache.SizeKB <= 0x7FFF * 64u; }},
          {"socket", Text(cache.Socket)},
      };
      if (!ApplySection(section, keys, readers, error)) return false;
    }
  }
  auto replace = [](auto& list, const auto& given) {
    if (given.empty()) return;
    list.clear();
    for (const auto& entry : given) list.push_back(entry.second);
  };
  replace(d.Processors, processors);
  replace(d.MemoryDevices, memory);
  replace(d.Caches, caches);
  if (d.Processors.size() > 10 || d.MemoryDevices.size() > 100) {
    error = "the firmware holds at most 10 processors and 100 memory devices";
    return false;
  }
  out = d;
  return true;
}

bool LoadSmbiosTable(const SmbiosDescription& description, const std::string& baseFolder,
                     std::vector<uint8_t>& table, std::string& error) {
  if (description.RawTable.empty()) {
    table = BuildSmbiosTable(description);
    return true;
  }
  std::string path = description.RawTable;
  if (path[0] != '/' && !baseFolder.empty()) path = baseFolder + "/" + path;
  std::string content, reason;
  // Tables of the 64-bit entry point may pass 64 KB; a megabyte is far beyond any real one.
  if (!ReadHostFile(path, 1u << 20, content, reason)) {
    error = "cannot read the firmware table '" + path + "': " + reason;
    return false;
  }
  table.assign(content.begin(), content.end());
  return true;
}

}  // namespace sim
}  // namespace platform
