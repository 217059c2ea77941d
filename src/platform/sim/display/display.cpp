#include "platform/display.h"

#include <cctype>

#include "platform/sim/display/display_model.h"

namespace platform {

namespace {

using sim::AdapterState;
using sim::DisplayModel;

using sim::MonitorHandleBase;
// A monitor's work area leaves room for the task bar on the primary display.
constexpr int32_t TaskbarHeight = 40;
constexpr uint32_t ModeFields = DmBitsPerPel | DmPelsWidth | DmPelsHeight | DmDisplayFlags | DmDisplayFrequency;

std::string Cut(const std::string& text, size_t arraySize) {
  return text.size() < arraySize ? text : text.substr(0, arraySize - 1);
}

uint32_t AdapterFlags(const AdapterState& a) {
  uint32_t flags = 0;
  if (a.Current.Attached) flags |= DisplayDeviceAttachedToDesktop;
  if (a.Config.Primary) flags |= DisplayDevicePrimaryDevice | DisplayDeviceVgaCompatible;
  if (a.Config.Kind == sim::AdapterKind::Mirror) flags |= DisplayDeviceMirroringDriver;
  if (a.Config.Kind == sim::AdapterKind::Remote) flags |= DisplayDeviceRemote;
  return flags;
}

void FillMode(DevMode& mode, const sim::ModeSize& size, uint32_t refresh) {
  mode.Fields = ModeFields;
  mode.BitsPerPel = static_cast<uint32_t>(size.Bits);
  mode.PelsWidth = static_cast<uint32_t>(size.Width);
  mode.PelsHeight = static_cast<uint32_t>(size.Height);
  mode.DisplayFlags = 0;
  mode.DisplayFrequency = refresh;
}

AdapterState* MonitorAdapter(MonitorHandle monitor) {
  auto& adapters = DisplayModel::Get().Adapters();
  if (monitor < MonitorHandleBase || monitor >= MonitorHandleBase + adapters.size()) return nullptr;
  AdapterState& a = adapters[monitor - MonitorHandleBase];
  return a.OnDesktop() ? &a : nullptr;
}

}  // namespace

bool EnumDisplayDevicesA(const char* device, uint32_t index, DisplayDevice& out, uint32_t flags) {
  (void)flags;
  DisplayModel& model = DisplayModel::Get();
  if (device == nullptr) {
    if (index >= model.Adapters().size()) return false;
    const AdapterState& a = model.Adapters()[index];
    out.DeviceName = Cut(a.Name, 32);
    out.DeviceString = Cut(a.Config.Description, 128);
    out.StateFlags = AdapterFlags(a);
    out.DeviceId = Cut(a.IsPseudo() ? std::string() : a.Config.DeviceId, 128);
    out.DeviceKey = "\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\{5C4F28B5-2A41-4C1A-9C2B-"
                    "0000000000" + std::to_string(10 + index) + "}\\0000";
    return true;
  }
  if (*device == 0) return false;
  AdapterState* a = model.Find(device);
  if (a == nullptr || index >= a->Config.Monitors.size()) return false;
  const sim::MonitorConfig& m = a->Config.Monitors[index];
  out.DeviceName = Cut(a->Name + "\\Monitor" + std::to_string(index), 32);
  out.DeviceString = Cut(m.Description, 128);
  out.StateFlags = m.Connected ? (DisplayDeviceAttached | (a->Current.Attached ? DisplayDeviceActive : 0)) : 0;
  out.DeviceId = "MONITOR\\Default_Monitor\\{4d36e96e-e325-11ce-bfc1-08002be10318}\\000" + std::to_string(index);
  out.DeviceKey = Cut("\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Class\\{4d36e96e-e325-11ce-bfc1-"
                      "08002be10318}\\000" + std::to_string(index),
                      128);
  return true;
}

bool EnumDisplaySettingsExA(const char* deviceName, uint32_t modeNumber, DevMode& mode, uint32_t flags) {
  (void)flags;
  AdapterState* a = DisplayModel::Get().Find(deviceName);
  if (a == nullptr) return false;
  if (modeNumber == EnumCurrentSettings || modeNumber == EnumRegistrySettings) {
    const bool current = modeNumber == EnumCurrentSettings;
    if (current ? !a->Current.Attached : !a->HasRegistry) return false;
    const sim::DisplaySettings& s = current ? a->Current : a->Registry;
    FillMode(mode, s.Mode, s.Refresh);
    mode.Fields |= DmPosition;
    mode.PositionX = s.PositionX;
    mode.PositionY = s.PositionY;
    return true;
  }
  uint32_t n = modeNumber;
  for (const sim::ModeSize& size : a->Config.Modes) {
    std::vector<uint32_t> rates = a->RatesOf(size);
    if (n < rates.size()) {
      FillMode(mode, size, rates[n]);
      return true;
    }
    n -= static_cast<uint32_t>(rates.size());
  }
  return false;
}

bool EnumDisplaySettingsA(const char* deviceName, uint32_t modeNumber, DevMode& mode) {
  return EnumDisplaySettingsExA(deviceName, modeNumber, mode, 0);
}

int32_t ChangeDisplaySettingsExA(const char* deviceName, const DevMode* mode, uint32_t flags) {
  return DisplayModel::Get().ChangeSettings(deviceName, mode, flags);
}

int32_t ChangeDisplaySettingsA(const DevMode* mode, uint32_t flags) {
  return ChangeDisplaySettingsExA(nullptr, mode, flags);
}

int32_t ChangeDisplaySettingsExW(const wchar_t* deviceName, const DevMode* mode, uint32_t flags) {
  if (deviceName == nullptr) return ChangeDisplaySettingsExA(nullptr, mode, flags);
  // Device names are plain ASCII: anything else names no device.
  std::string narrow;
  for (const wchar_t* c = deviceName; *c != 0; ++c) {
    if (*c < 0x20 || *c > 0x7E) return DispChangeBadParam;
    narrow += static_cast<char>(*c);
  }
  return ChangeDisplaySettingsExA(narrow.c_str(), mode, flags);
}

bool EnumDisplayMonitors(const std::function<bool(MonitorHandle monitor, const DisplayRect& rect)>& callback) {
  DisplayModel& model = DisplayModel::Get();
  for (size_t i = 0; i < model.Adapters().size(); ++i) {
    const AdapterState& a = model.Adapters()[i];
    if (!a.OnDesktop() || a.Headless()) continue;
    if (!callback(MonitorHandleBase + i, model.RectOf(a))) break;
  }
  return true;
}

bool GetMonitorInfoA(MonitorHandle monitor, MonitorInfo& info) {
  AdapterState* a = MonitorAdapter(monitor);
  if (a == nullptr) return false;
  info.Monitor = DisplayModel::Get().RectOf(*a);
  info.Work = info.Monitor;
  if (a->Config.Primary) info.Work.Bottom -= TaskbarHeight;
  info.Flags = a->Config.Primary ? MonitorInfoPrimary : 0;
  info.DeviceName = a->Name;
  return true;
}

int32_t GetSystemMetrics(int32_t index) {
  DisplayModel& model = DisplayModel::Get();
  const AdapterState& primary = model.Primary();
  DisplayRect box = model.VirtualScreen();
  switch (index) {
    case SmCxScreen:
      return primary.Current.Mode.Width;
    case SmCyScreen:
      return primary.Current.Mode.Height;
    case SmXVirtualScreen:
      return box.Left;
    case SmYVirtualScreen:
      return box.Top;
    case SmCxVirtualScreen:
      return box.Right - box.Left;
    case SmCyVirtualScreen:
      return box.Bottom - box.Top;
    case SmCMonitors:
    case SmSameDisplayFormat: {
      int32_t count = 0;
      bool same = true;
      for (const AdapterState& a : model.Adapters()) {
        if (!a.OnDesktop()) continue;
        if (!a.Headless()) ++count;
        same = same && a.Current.Mode.Bits == primary.Current.Mode.Bits;
      }
      return index == SmCMonitors ? count : (same ? 1 : 0);
    }
    default:
      return 0;
  }
}

int32_t GetDisplayDeviceCaps(const std::string& deviceName, int32_t index) {
  DisplayModel& model = DisplayModel::Get();
  bool display = deviceName.empty() || deviceName.size() == 7;
  for (size_t i = 0; display && i < deviceName.size(); ++i)
    display = std::toupper(static_cast<unsigned char>(deviceName[i])) == "DISPLAY"[i];
  AdapterState* a = display ? &model.Primary() : model.Find(deviceName.c_str());
  if (a == nullptr || !a->Current.Attached) return 0;
  const sim::ModeSize& m = a->Current.Mode;
  switch (index) {
    case CapsHorzRes:
      return m.Width;
    case CapsVertRes:
      return m.Height;
    case CapsBitsPixel:
      return m.Bits;
    case CapsPlanes:
      return 1;
    case CapsNumColors:
      return m.Bits == 8 ? 20 : -1;
    case CapsLogPixelsX:
    case CapsLogPixelsY:
      return a->Config.Dpi;
    case CapsSizePalette:
      return m.Bits == 8 ? 256 : 0;
    case CapsVRefresh:
      return static_cast<int32_t>(a->Current.Refresh);
    default:
      return 0;
  }
}

}  // namespace platform
