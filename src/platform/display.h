// Display devices and settings of user32: adapters and their monitors, display modes, mode
// changes, monitor rectangles, system metrics, and the capabilities of a "Display" context. One
// call here is one Windows call with the same arguments, flags and result codes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace platform {

// DISPLAY_DEVICEA, the 424-byte record. Texts are cut as the record's arrays would cut them:
// DeviceName at 31 characters, the others at 127.
struct DisplayDevice {
  uint32_t Size = 424;  // cb
  std::string DeviceName;
  std::string DeviceString;
  uint32_t StateFlags = 0;
  std::string DeviceId;
  std::string DeviceKey;
};

// StateFlags of an adapter.
constexpr uint32_t DisplayDeviceAttachedToDesktop = 0x1;
constexpr uint32_t DisplayDeviceMultiDriver = 0x2;
constexpr uint32_t DisplayDevicePrimaryDevice = 0x4;
constexpr uint32_t DisplayDeviceMirroringDriver = 0x8;
constexpr uint32_t DisplayDeviceVgaCompatible = 0x10;
constexpr uint32_t DisplayDeviceRemovable = 0x20;
constexpr uint32_t DisplayDeviceDisconnect = 0x2000000;
constexpr uint32_t DisplayDeviceRemote = 0x4000000;
constexpr uint32_t DisplayDeviceModesPruned = 0x8000000;
// StateFlags of a monitor.
constexpr uint32_t DisplayDeviceActive = 0x1;
constexpr uint32_t DisplayDeviceAttached = 0x2;

// EnumDisplayDevicesA: with a null `device`, the adapter number `index`; with an adapter's name,
// that adapter's monitor number `index`. False past the end or for an unknown adapter.
bool EnumDisplayDevicesA(const char* device, uint32_t index, DisplayDevice& out, uint32_t flags);

// DEVMODEA as far as display settings go; `Size` is dmSize (156 for the record the program uses).
// Only the members named in `Fields` count when a mode is passed in.
struct DevMode {
  uint16_t Size = 156;
  uint16_t DriverExtra = 0;
  uint32_t Fields = 0;
  int32_t PositionX = 0;
  int32_t PositionY = 0;
  uint32_t DisplayOrientation = 0;
  uint32_t BitsPerPel = 0;
  uint32_t PelsWidth = 0;
  uint32_t PelsHeight = 0;
  uint32_t DisplayFlags = 0;
  uint32_t DisplayFrequency = 0;
};

// dmFields bits.
constexpr uint32_t DmPosition = 0x20;
constexpr uint32_t DmDisplayOrientation = 0x80;
constexpr uint32_t DmBitsPerPel = 0x40000;
constexpr uint32_t DmPelsWidth = 0x80000;
constexpr uint32_t DmPelsHeight = 0x100000;
constexpr uint32_t DmDisplayFlags = 0x200000;
constexpr uint32_t DmDisplayFrequency = 0x400000;

// Mode numbers of EnumDisplaySettings beside the driver's list.
constexpr uint32_t EnumCurrentSettings = 0xFFFFFFFFu;
constexpr uint32_t EnumRegistrySettings = 0xFFFFFFFEu;

// EnumDisplaySettingsA / ExA: a null `deviceName` is the primary adapter. Mode numbers from 0 walk
// the driver's list (one entry per size, depth and refresh rate); EnumCurrentSettings and
// EnumRegistrySettings read the device's present and stored settings, position included. False
// past the end of the list, for an unknown device, and for the current settings of a device
// that is not attached to the desktop.
bool EnumDisplaySettingsA(const char* deviceName, uint32_t modeNumber, DevMode& mode);
bool EnumDisplaySettingsExA(const char* deviceName, uint32_t modeNumber, DevMode& mode, uint32_t flags);

// ChangeDisplaySettings flags.
constexpr uint32_t CdsUpdateRegistry = 0x1;
constexpr uint32_t CdsTest = 0x2;
constexpr uint32_t CdsFullscreen = 0x4;
constexpr uint32_t CdsGlobal = 0x8;
constexpr uint32_t CdsSetPrimary = 0x10;
constexpr uint32_t CdsNoReset = 0x10000000;
constexpr uint32_t CdsReset = 0x40000000;

// ChangeDisplaySettings results.
constexpr int32_t DispChangeSuccessful = 0;
constexpr int32_t DispChangeRestart = 1;
constexpr int32_t DispChangeFailed = -1;
constexpr int32_t DispChangeBadMode = -2;
constexpr int32_t DispChangeNotUpdated = -3;
constexpr int32_t DispChangeBadFlags = -4;
constexpr int32_t DispChangeBadParam = -5;
constexpr int32_t DispChangeBadDualView = -6;

// ChangeDisplaySettingsA / ExA, without a window and without video parameters (both null in
// every use). A null `deviceName` is the primary adapter. A null `mode` with flags 0 applies the
// stored settings of every device, which is how changes made with CdsUpdateRegistry|CdsNoReset
// take effect. Width and height of 0 detach a secondary device; a position attaches one.
int32_t ChangeDisplaySettingsA(const DevMode* mode, uint32_t flags);
int32_t ChangeDisplaySettingsExA(const char* deviceName, const DevMode* mode, uint32_t flags);
// The same with a wide device name.
int32_t ChangeDisplaySettingsExW(const wchar_t* deviceName, const DevMode* mode, uint32_t flags);

// RECT; own name so as not to clash with the drawing layer's.
struct DisplayRect {
  int32_t Left = 0;
  int32_t Top = 0;
  int32_t Right = 0;
  int32_t Bottom = 0;
};

using MonitorHandle = uintptr_t;  // HMONITOR

// EnumDisplayMonitors over the whole virtual desktop (no context, no clip): the callback gets each
// monitor of an attached adapter and its rectangle, and returns false to stop.
bool EnumDisplayMonitors(const std::function<bool(MonitorHandle monitor, const DisplayRect& rect)>& callback);

// MONITORINFOEXA.
struct MonitorInfo {
  DisplayRect Monitor;
  DisplayRect Work;
  uint32_t Flags = 0;
  std::string DeviceName;  // the adapter's name
};
constexpr uint32_t MonitorInfoPrimary = 1;

// GetMonitorInfoA; false for a handle that names no monitor on the desktop.
bool GetMonitorInfoA(MonitorHandle monitor, MonitorInfo& info);

// GetSystemMetrics indices about the screen.
constexpr int32_t SmCxScreen = 0;
constexpr int32_t SmCyScreen = 1;
constexpr int32_t SmXVirtualScreen = 76;
constexpr int32_t SmYVirtualScreen = 77;
constexpr int32_t SmCxVirtualScreen = 78;
constexpr int32_t SmCyVirtualScreen = 79;
constexpr int32_t SmCMonitors = 80;
constexpr int32_t SmSameDisplayFormat = 81;

// GetSystemMetrics; 0 for an index it does not know.
int32_t GetSystemMetrics(int32_t index);

// GetDeviceCaps indices of a display context.
constexpr int32_t CapsHorzRes = 8;
constexpr int32_t CapsVertRes = 10;
constexpr int32_t CapsBitsPixel = 12;
constexpr int32_t CapsPlanes = 14;
constexpr int32_t CapsNumColors = 24;
constexpr int32_t CapsLogPixelsX = 88;
constexpr int32_t CapsLogPixelsY = 90;
constexpr int32_t CapsSizePalette = 104;
constexpr int32_t CapsVRefresh = 116;

// GetDeviceCaps of a context from CreateDCA("DISPLAY") (empty `deviceName`) or of a named
// adapter's context, made and deleted around the question. 0 for an index it does not know or
// an adapter that is not on the desktop.
int32_t GetDisplayDeviceCaps(const std::string& deviceName, int32_t index);

}  // namespace platform
