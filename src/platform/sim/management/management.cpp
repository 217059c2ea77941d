#include "platform/sim/management/management.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "platform/sim/management/pnp_ids.h"
#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

namespace {

// "Intel64 Family 6 Model 58 Stepping 9" style, from the processor signature.
std::string ProcessorCaption(const SmbiosProcessor& cpu) {
  const uint32_t s = cpu.Signature;
  uint32_t family = (s >> 8) & 0xF;
  uint32_t model = (s >> 4) & 0xF;
  if (family == 0xF) family += (s >> 20) & 0xFF;
  if (family == 0x6 || family >= 0xF) model |= ((s >> 16) & 0xF) << 4;
  return std::string(cpu.Architecture == 9 ? "Intel64" : "x86") + " Family " + std::to_string(family) + " Model " +
         std::to_string(model) + " Stepping " + std::to_string(s & 0xF);
}

uint32_t CacheKB(const SmbiosDescription& d, uint8_t level) {
  for (const auto& cache : d.Caches)
    if (cache.Level == level) return cache.SizeKB;
  return 0;
}

ManagementObject ProcessorRow(const SmbiosDescription& d, size_t index) {
  const SmbiosProcessor& cpu = d.Processors[index];
  const std::string caption = ProcessorCaption(cpu);
  const bool x64 = cpu.Architecture == 9;
  ManagementObject row;
  row.Properties = {
      {"AddressWidth", NumberValue(x64 ? 64 : 32, CimUint16)},
      {"Architecture", NumberValue(cpu.Architecture, CimUint16)},
      {"Caption", TextValue(caption)},
      {"CurrentClockSpeed", NumberValue(cpu.CurrentSpeed)},
      {"DataWidth", NumberValue(x64 ? 64 : 32, CimUint16)},
      {"Description", TextValue(caption)},
      {"DeviceID", TextValue("CPU" + std::to_string(index))},
      {"ErrorDescription", NullValue(CimString)},
      {"ExtClock", NumberValue(cpu.ExternalClock)},
      {"Family", NumberValue(cpu.Family, CimUint16)},
      {"L2CacheSize", NumberValue(CacheKB(d, 2))},
      {"L3CacheSize", NumberValue(CacheKB(d, 3))},
      {"Manufacturer", TextValue(cpu.Manufacturer)},
      {"MaxClockSpeed", NumberValue(cpu.MaxSpeed)},
      {"Name", TextValue(cpu.Version)},
      {"NumberOfCores", NumberValue(cpu.Cores)},
      {"NumberOfLogicalProcessors", NumberValue(cpu.Cores * 2)},
      {"PowerManagementSupported", BooleanValue(false)},
      {"ProcessorId", TextValue("BFEBFBFF" + HexDigits(cpu.Signature, 8))},
      {"ProcessorType", NumberValue(3, CimUint16)},
      {"SocketDesignation", TextValue(cpu.Socket)},
      {"Status", TextValue("OK")},
      {"SystemName", TextValue("RASTER-PC")},
  };
  return row;
}

ManagementObject RawTablesRow(const std::vector<uint8_t>& table) {
  ManagementValue data;
  data.CimType = CimUint8 | CimFlagArray;
  for (uint8_t b : table) data.Numbers.push_back(b);
  ManagementObject row;
  row.Properties = {
      {"Active", BooleanValue(true)},
      {"DmiRevision", NumberValue(0)},
      {"InstanceName", TextValue("SMBiosData")},
      {"SMBiosData", data},
      {"Size", NumberValue(static_cast<double>(table.size()))},
      {"SmbiosMajorVersion", NumberValue(2, CimUint8)},
      {"SmbiosMinorVersion", NumberValue(7, CimUint8)},
      {"Used20CallingMethod", BooleanValue(false)},
  };
  return row;
}

// A machine-file value in the property's type; "null" gives a null of that type.
bool ParseValue(const std::string& text, ManagementValue& value) {
  const int32_t type = value.CimType;
  value.Texts.clear();
  value.Numbers.clear();
  value.Null = Lower(text) == "null";
  if (value.Null) return true;
  const int32_t element = type & ~CimFlagArray;
  std::vector<std::string> items;
  if (type & CimFlagArray) {
    size_t start = 0;
    for (;;) {
      size_t bar = text.find('|', start);
      items.push_back(text.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
      if (bar == std::string::npos) break;
      start = bar + 1;
    }
  } else {
    items.push_back(text);
  }
  for (const auto& item : items) {
    if (element == CimString || element == CimDatetime || element == CimReference) {
      value.Texts.push_back(item);
    } else if (element == CimBoolean) {
      const std::string word = Lower(item);
      if (word != "true" && word != "false") return false;
      value.Numbers.push_back(word == "true" ? 1 : 0);
    } else {
      char* end = nullptr;
      const double number = std::strtod(item.c_str(), &end);
      if (item.empty() || *end != '\0') return false;
      value.Numbers.push_back(number);
    }
  }
  return true;
}

bool ParseResult(const std::string& text, HResult& out) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || value > 0xFFFFFFFFul) return false;
  out = static_cast<HResult>(static_cast<uint32_t>(value));
  return true;
}

std::string LineError(const MachineText::Entry& entry, const std::string& what) {
  return "line " + std::to_string(entry.Line) + ": " + what;
}

int VideoControllerIndex(const std::string& section) {
  const std::string prefix = "videocontroller.";
  if (section.compare(0, prefix.size(), prefix) != 0 || section.size() == prefix.size() ||
      section.size() > prefix.size() + 3)
    return -1;
  int index = 0;
  for (size_t i = prefix.size(); i < section.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(section[i]))) return -1;
    index = index * 10 + (section[i] - '0');
  }
  return index;
}

std::mutex& ModelLock() {
  static std::mutex lock;
  return lock;
}

std::unique_ptr<ManagementModel>& Current() {
  static std::unique_ptr<ManagementModel> model;
  return model;
}

}  // namespace

ManagementValue TextValue(const std::string& text, int32_t cimType) {
  ManagementValue value;
  value.CimType = cimType;
  value.Texts.push_back(text);
  return value;
}

ManagementValue NumberValue(double number, int32_t cimType) {
  ManagementValue value;
  value.CimType = cimType;
  value.Numbers.push_back(number);
  return value;
}

ManagementValue BooleanValue(bool flag) {
  ManagementValue value;
  value.CimType = CimBoolean;
  value.Numbers.push_back(flag ? 1 : 0);
  return value;
}

ManagementValue NullValue(int32_t cimType) {
  ManagementValue value;
  value.CimType = cimType;
  value.Null = true;
  return value;
}

ManagementObject DefaultVideoController() {
  ManagementValue capabilities;
  capabilities.CimType = CimString | CimFlagArray;
  capabilities.Texts = {"Raster 2D engine", "Raster 3D engine"};
  ManagementObject row;
  row.Properties = {
      {"AcceleratorCapabilities", NullValue(CimUint16 | CimFlagArray)},
      {"AdapterCompatibility", TextValue("Raster Graphics")},
      {"AdapterDACType", TextValue("Internal")},
      {"AdapterRAM", NumberValue(268435456)},
      {"Availability", NumberValue(3, CimUint16)},
      {"Caption", TextValue("Raster Graphics Adapter")},
      {"CapabilityDescriptions", capabilities},
      {"CurrentBitsPerPixel", NumberValue(32)},
      {"CurrentHorizontalResolution", NumberValue(1024)},
      {"CurrentRefreshRate", NumberValue(60)},
      {"CurrentVerticalResolution", NumberValue(768)},
      {"Description", TextValue("Raster Graphics Adapter")},
      {"DeviceID", TextValue("VideoController1")},
      {"DriverDate", TextValue("20190318000000.000000-000", CimDatetime)},
      {"DriverVersion", TextValue("8.15.10.2900")},
      {"ErrorDescription", NullValue(CimString)},
      {"InstalledDisplayDrivers", TextValue("rastergfx.dll")},
      {"Monochrome", BooleanValue(false)},
      {"Name", TextValue("Raster Graphics Adapter")},
      {"PNPDeviceID", TextValue("PCI\\VEN_1A5C&DEV_7A01&SUBSYS_00011A5C&REV_02\\3&11583659&0&10")},
      {"Status", TextValue("OK")},
      {"VideoModeDescription", TextValue("1024 x 768 x 4294967296 colors")},
      {"VideoProcessor", TextValue("Raster RG-7 Series")},
  };
  return row;
}

namespace {

void SetProperty(ManagementObject& row, const char* name, const ManagementValue& value) {
  for (auto& p : row.Properties)
    if (p.Name == name) p.Value = value;
}

uint32_t LargestMemoryBar(const PciDevice& device) {
  uint32_t largest = 0;
  for (const PciBar& bar : device.Bars)
    if (bar.Type == PciBar::Kind::Memory && bar.Size > largest) largest = bar.Size;
  return largest;
}

// One row per display controller of the Display setup class, in bus order, as Windows lists them.
// A PC without one has no row: a diagnostic must see that no controller is there, not a made-up one.
// A controller without its driver is an unknown device to the device tree, so no row either.
std::vector<ManagementObject> VideoControllersOf(const std::vector<PciDevice>& devices) {
  std::vector<ManagementObject> rows;
  for (const PciDevice& device : devices) {
    if (device.ClassCode >> 16 != 0x03 || !device.DisplayDriver) continue;
    ManagementObject row = DefaultVideoController();
    for (const char* name : {"Caption", "Description", "Name", "VideoProcessor"})
      SetProperty(row, name, TextValue(device.Description));
    SetProperty(row, "AdapterRAM", NumberValue(LargestMemoryBar(device)));
    SetProperty(row, "DeviceID", TextValue("VideoController" + std::to_string(rows.size() + 1)));
    SetProperty(row, "PNPDeviceID", TextValue(PciInstanceId(device)));
    rows.push_back(row);
  }
  return rows;
}

}  // namespace

ManagementModel BuildManagementModel(const SmbiosDescription& firmware, const std::vector<uint8_t>& table,
                                     const std::vector<ManagementObject>& videoControllers) {
  ManagementModel model;
  ManagementClass processors{"Win32_Processor", {}};
  for (size_t i = 0; i < firmware.Processors.size(); ++i) processors.Instances.push_back(ProcessorRow(firmware, i));
  ManagementClass video{"Win32_VideoController", videoControllers};
  model.Namespaces.push_back({"ROOT\\CIMV2", {processors, video}});
  model.Namespaces.push_back({"ROOT\\WMI", {{"MSSmBios_RawSMBiosTables", {RawTablesRow(table)}}}});
  model.ProcessorSignature = firmware.Processors.empty() ? 0 : firmware.Processors[0].Signature;
  return model;
}

bool IsManagementSection(const std::string& section) {
  return section == "management" || VideoControllerIndex(section) >= 0 || IsFirmwareSection(section);
}

bool BuildManagementFromText(const MachineText& text, const std::string& baseFolder, ManagementModel& out,
                             std::string& error) {
  SmbiosDescription firmware;
  std::vector<uint8_t> table;
  if (!BuildSmbiosDescription(text, firmware, error) || !LoadSmbiosTable(firmware, baseFolder, table, error))
    return false;

  std::map<int, ManagementObject> controllers;
  HResult results[4] = {SOk, SOk, SOk, SOk};
  for (const auto& [section, keys] : text.Sections) {
    if (section == "management") {
      static const char* const names[4] = {"initializeresult", "locatorresult", "connectresult", "blanketresult"};
      for (const auto& [key, entry] : keys) {
        int which = -1;
        for (int i = 0; i < 4; ++i)
          if (key == names[i]) which = i;
        if (which < 0) {
          error = LineError(entry, "unknown key '" + key + "' in [management]");
          return false;
        }
        if (!ParseResult(entry.Value, results[which])) {
          error = LineError(entry, "bad value '" + entry.Value + "' for '" + key + "' in [management]");
          return false;
        }
      }
    } else if (int index = VideoControllerIndex(section); index >= 0) {
      ManagementObject row = DefaultVideoController();
      for (const auto& [key, entry] : keys) {
        ManagementProperty* property = nullptr;
        for (auto& p : row.Properties)
          if (Lower(p.Name) == key) property = &p;
        if (!property) {
          error = LineError(entry, "unknown key '" + key + "' in [" + section + "]");
          return false;
        }
        if (!ParseValue(entry.Value, property->Value)) {
          error = LineError(entry, "bad value '" + entry.Value + "' for '" + key + "' in [" + section + "]");
          return false;
        }
      }
      controllers[index] = row;
    }
  }
  std::vector<ManagementObject> rows;
  for (const auto& entry : controllers) rows.push_back(entry.second);
  if (rows.empty()) {
    // From the same PCI sections the device tree is built from, so the ids agree.
    Machine machine;
    if (!BuildMachine(text, machine, error)) return false;
    rows = VideoControllersOf(machine.PciDevices);
  }
  out = BuildManagementModel(firmware, table, rows);
  out.InitializeResult = results[0];
  out.LocatorResult = results[1];
  out.ConnectResult = results[2];
  out.BlanketResult = results[3];
  return true;
}

const ManagementModel& CurrentManagement() {
  std::lock_guard<std::mutex> guard(ModelLock());
  auto& model = Current();
  if (!model) {
    // The built-in machine's, so that its rows name the devices its device tree holds.
    MachineText text;
    ManagementModel builtIn;
    std::string error;
    if (!ParseMachineText(DefaultMachineText(), text, error) || !BuildManagementFromText(text, "", builtIn, error)) {
      std::fprintf(stderr, "error: built-in machine: %s\n", error.c_str());
      std::abort();
    }
    model.reset(new ManagementModel(builtIn));
  }
  return *model;
}

void SetCurrentManagement(const ManagementModel& model) {
  std::lock_guard<std::mutex> guard(ModelLock());
  Current().reset(new ManagementModel(model));
}

}  // namespace sim
}  // namespace platform
