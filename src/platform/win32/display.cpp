#include "platform/display.h"

#include <windows.h>

namespace platform {

namespace {

void ToNative(const DevMode& in, DEVMODEA& out) {
  out = DEVMODEA{};
  out.dmSize = sizeof(DEVMODEA);
  out.dmDriverExtra = 0;
  out.dmFields = in.Fields;
  out.dmPosition.x = in.PositionX;
  out.dmPosition.y = in.PositionY;
  out.dmDisplayOrientation = in.DisplayOrientation;
  out.dmBitsPerPel = in.BitsPerPel;
  out.dmPelsWidth = in.PelsWidth;
  out.dmPelsHeight = in.PelsHeight;
  out.dmDisplayFlags = in.DisplayFlags;
  out.dmDisplayFrequency = in.DisplayFrequency;
}

void ToNative(const DevMode& in, DEVMODEW& out) {
  out = DEVMODEW{};
  out.dmSize = sizeof(DEVMODEW);
  out.dmFields = in.Fields;
  out.dmPosition.x = in.PositionX;
  out.dmPosition.y = in.PositionY;
  out.dmDisplayOrientation = in.DisplayOrientation;
  out.dmBitsPerPel = in.BitsPerPel;
  out.dmPelsWidth = in.PelsWidth;
  out.dmPelsHeight = in.PelsHeight;
  out.dmDisplayFlags = in.DisplayFlags;
  out.dmDisplayFrequency = in.DisplayFrequency;
}

void FromNative(const DEVMODEA& in, DevMode& out) {
  out.DriverExtra = in.dmDriverExtra;
  out.Fields = in.dmFields;
  out.PositionX = in.dmPosition.x;
  out.PositionY = in.dmPosition.y;
  out.DisplayOrientation = in.dmDisplayOrientation;
  out.BitsPerPel = in.dmBitsPerPel;
  out.PelsWidth = in.dmPelsWidth;
  out.PelsHeight = in.dmPelsHeight;
  out.DisplayFlags = in.dmDisplayFlags;
  out.DisplayFrequency = in.dmDisplayFrequency;
}

DisplayRect FromRect(const RECT& r) { return DisplayRect{r.left, r.top, r.right, r.bottom}; }

struct MonitorContext {
  const std::function<bool(MonitorHandle, const DisplayRect&)>* callback;
};

BOOL CALLBACK MonitorThunk(HMONITOR monitor, HDC, LPRECT rect, LPARAM data) {
  const auto& callback = *reinterpret_cast<MonitorContext*>(data)->callback;
  return callback(reinterpret_cast<MonitorHandle>(monitor), FromRect(*rect)) ? TRUE : FALSE;
}

}  // namespace

bool EnumDisplayDevicesA(const char* device, uint32_t index, DisplayDevice& out, uint32_t flags) {
  DISPLAY_DEVICEA native{};
  native.cb = sizeof(native);
  if (!::EnumDisplayDevicesA(device, index, &native, flags)) return false;
  out.DeviceName = native.DeviceName;
  out.DeviceString = native.DeviceString;
  out.StateFlags = native.StateFlags;
  out.DeviceId = native.DeviceID;
  out.DeviceKey = native.DeviceKey;
  return true;
}

bool EnumDisplaySettingsExA(const char* deviceName, uint32_t modeNumber, DevMode& mode, uint32_t flags) {
  DEVMODEA native{};
  native.dmSize = sizeof(native);
  if (!::EnumDisplaySettingsExA(deviceName, modeNumber, &native, flags)) return false;
  FromNative(native, mode);
  return true;
}

bool EnumDisplaySettingsA(const char* deviceName, uint32_t modeNumber, DevMode& mode) {
  DEVMODEA native{};
  native.dmSize = sizeof(native);
  if (!::EnumDisplaySettingsA(deviceName, modeNumber, &native)) return false;
  FromNative(native, mode);
  return true;
}

int32_t ChangeDisplaySettingsA(const DevMode* mode, uint32_t flags) {
  DEVMODEA native{};
  if (mode != nullptr) ToNative(*mode, native);
  return static_cast<int32_t>(::ChangeDisplaySettingsA(mode != nullptr ? &native : nullptr, flags));
}

int32_t ChangeDisplaySettingsExA(const char* deviceName, const DevMode* mode, uint32_t flags) {
  DEVMODEA native{};
  if (mode != nullptr) ToNative(*mode, native);
  return static_cast<int32_t>(
      ::ChangeDisplaySettingsExA(deviceName, mode != nullptr ? &native : nullptr, nullptr, flags, nullptr));
}

int32_t ChangeDisplaySettingsExW(const wchar_t* deviceName, const DevMode* mode, uint32_t flags) {
  DEVMODEW native{};
  if (mode != nullptr) ToNative(*mode, native);
  return static_cast<int32_t>(
      ::ChangeDisplaySettingsExW(deviceName, mode != nullptr ? &native : nullptr, nullptr, flags, nullptr));
}

bool EnumDisplayMonitors(const std::function<bool(MonitorHandle monitor, const DisplayRect& rect)>& callback) {
  MonitorContext context{&callback};
  return ::EnumDisplayMonitors(nullptr, nullptr, &MonitorThunk, reinterpret_cast<LPARAM>(&context)) != FALSE;
}

bool GetMonitorInfoA(MonitorHandle monitor, MonitorInfo& info) {
  MONITORINFOEXA native{};
  native.cbSize = sizeof(native);
  if (!::GetMonitorInfoA(reinterpret_cast<HMONITOR>(monitor), &native)) return false;
  info.Monitor = FromRect(native.rcMonitor);
  info.Work = FromRect(native.rcWork);
  info.Flags = native.dwFlags;
  info.DeviceName = native.szDevice;
  return true;
}

int32_t GetSystemMetrics(int32_t index) { return ::GetSystemMetrics(index); }

int32_t GetDisplayDeviceCaps(const std::string& deviceName, int32_t index) {
  const bool primary = deviceName.empty() || ::lstrcmpiA(deviceName.c_str(), "DISPLAY") == 0;
  HDC dc = ::CreateDCA("DISPLAY", primary ? nullptr : deviceName.c_str(), nullptr, nullptr);
  if (dc == nullptr) return 0;
  int32_t value = ::GetDeviceCaps(dc, index);
  ::DeleteDC(dc);
  return value;
}

}  // namespace platform
