// raster-inventory: the video hardware of this PC (adapters with their PCI ids, driver and
// memory, the monitors with their current modes) as the "hardware" object of the shell's
// results.json, on standard output. The shell runs it beside the program; the program's own
// output stays as it is.
#include <cstdio>
#include <iostream>
#include <string>

#include <nlohmann/json.hpp>

#include "hardware/WMIDiscovery.h"
#include "platform/display.h"

namespace {

using nlohmann::json;

// "PCI\VEN_1A5C&DEV_7A01&..." gives "0x1A5C" for "VEN_".
json PciId(const std::string& pnp, const std::string& key) {
  size_t at = pnp.find(key);
  if (at == std::string::npos || at + key.size() + 4 > pnp.size()) return nullptr;
  return "0x" + pnp.substr(at + key.size(), 4);
}

json Text(WMITable& table, const wchar_t* property, size_t row) {
  platform::Variant value;
  if (!table.GetFromRow(property, value, row)) return nullptr;
  std::vector<std::string> texts = WMIDiscovery::Texts(value);
  return texts.empty() || texts[0].empty() ? json(nullptr) : json(texts[0]);
}

json Adapters() {
  json adapters = json::array();
  WMIDiscovery wmi(L"ROOT\\CIMV2");
  WMITable* table = wmi.GetTable(L"Win32_VideoController");
  for (size_t row = 1; table && row <= table->RowCount(); ++row) {
    json pnp = Text(*table, L"PNPDeviceID", row);
    std::string id = pnp.is_string() ? pnp.get<std::string>() : "";
    platform::Variant ram;
    json memory = nullptr;
    if (table->GetFromRow(L"AdapterRAM", ram, row)) {
      std::vector<double> numbers = WMIDiscovery::Numbers(ram);
      if (!numbers.empty()) memory = static_cast<long long>(numbers[0]);
    }
    adapters.push_back({{"name", Text(*table, L"Name", row)}, {"vendor_id", PciId(id, "VEN_")},
                        {"device_id", PciId(id, "DEV_")}, {"driver_version", Text(*table, L"DriverVersion", row)},
                        {"memory_bytes", memory}});
  }
  return adapters;
}

// Each monitor of each adapter on the desktop, in the adapter's current mode.
json Monitors() {
  json monitors = json::array();
  platform::DisplayDevice adapter;
  for (uint32_t a = 0; platform::EnumDisplayDevicesA(nullptr, a, adapter, 0); ++a) {
    if (!(adapter.StateFlags & platform::DisplayDeviceAttachedToDesktop)) continue;
    platform::DevMode mode;
    bool current = platform::EnumDisplaySettingsA(adapter.DeviceName.c_str(), platform::EnumCurrentSettings, mode);
    platform::DisplayDevice monitor;
    for (uint32_t m = 0; platform::EnumDisplayDevicesA(adapter.DeviceName.c_str(), m, monitor, 0); ++m) {
      monitors.push_back({{"name", monitor.DeviceString}, {"adapter", adapter.DeviceString},
                          {"width", current ? json(mode.PelsWidth) : json(nullptr)},
                          {"height", current ? json(mode.PelsHeight) : json(nullptr)}});
    }
  }
  return monitors;
}

}  // namespace

int main() {
  json hardware = {{"adapters", json::array()}, {"monitors", json::array()}};
  try {
    hardware["adapters"] = Adapters();
  } catch (const std::string& failure) {
    std::cerr << "warning: no adapters from the management classes: " << failure << std::endl;
  }
  hardware["monitors"] = Monitors();
  std::cout << hardware.dump(2) << std::endl;
  return std::cout ? 0 : 1;
}
