#include "screen/DisplayControl.h"

#include <cstring>

#include "framework/Kestout.h"
#include "framework/PutBack.h"
#include "hardware/WMIDiscovery.h"
#include "platform/clock.h"
#include "platform/display.h"
#include "platform/system.h"
#include "screen/ScreenArguments.h"
#include "text/TextHelpers.h"

DisplayDeviceTableType DisplayDeviceTable;
DirectDrawDeviceTableType DirectDrawDeviceTable;

namespace {

// Copies `text` into a zero-terminated array, cut to fit.
template <size_t N>
void CopyText(char (&target)[N], const std::string& text) {
  const size_t length = text.size() < N - 1 ? text.size() : N - 1;
  std::memcpy(target, text.data(), length);
  target[length] = 0;
}

bool ReadSettings(const char* deviceName, platform::DevMode& mode) {
  return platform::EnumDisplaySettingsExA(deviceName, platform::EnumCurrentSettings, mode, 0) ||
         platform::EnumDisplaySettingsExA(deviceName, platform::EnumRegistrySettings, mode, 0);
}

std::string ModeText(int32_t width, int32_t height, int32_t bitsPerPixel) {
  return ToText(width) + "x" + ToText(height) + "x" + ToText(bitsPerPixel);
}

bool InModes(const DirectDrawSession& session, int32_t modeCount, int32_t width, int32_t height, int32_t bitsPerPixel) {
  for (int32_t i = 0; i < modeCount && i < DirectDrawModeCapacity; ++i) {
    const DisplayModeEntry& m = session.Modes[i];
    if (m.Width == width && m.Height == height && m.BitsPerPixel == bitsPerPixel) return true;
  }
  return false;
}

}  // namespace

void NoteStartModeToPutBack() {
  static bool noted = false;
  PutBack::Guard hold = PutBack::Hold();
  if (noted) return;
  platform::DevMode start;
  start.Size = 156;
  if (!platform::EnumDisplaySettingsExA(nullptr, platform::EnumCurrentSettings, start, 0)) return;
  start.Fields = platform::DmBitsPerPel | platform::DmPelsWidth | platform::DmPelsHeight | platform::DmDisplayFrequency;
  noted = true;
  PutBack::Note([start] { platform::ChangeDisplaySettingsA(&start, platform::CdsFullscreen); });
}

int32_t SetDisplayMode(int32_t width, int32_t height, int32_t bitsPerPixel) {
  NoteStartModeToPutBack();
  platform::DevMode mode;
  mode.Size = 156;
  mode.BitsPerPel = static_cast<uint32_t>(bitsPerPixel);
  mode.PelsWidth = static_cast<uint32_t>(width);
  mode.PelsHeight = static_cast<uint32_t>(height);
  mode.DisplayFrequency = 60;
  mode.Fields = platform::DmBitsPerPel | platform::DmPelsWidth | platform::DmPelsHeight | platform::DmDisplayFrequency;
  platform::Sleep(1000);
  if (platform::ChangeDisplaySettingsA(&mode, platform::CdsFullscreen) == platform::DispChangeSuccessful) return 0;
  mode.Fields = platform::DmBitsPerPel | platform::DmPelsWidth | platform::DmPelsHeight;
  return platform::ChangeDisplaySettingsA(&mode, platform::CdsFullscreen);
}

bool IsModeInDriverList(int32_t width, int32_t height, int32_t bitsPerPixel) {
  for (uint32_t index = 0;; ++index) {
    platform::DevMode mode;
    mode.Size = 156;
    if (!platform::EnumDisplaySettingsA(nullptr, index, mode)) return false;
    if (mode.BitsPerPel == static_cast<uint32_t>(bitsPerPixel) && mode.PelsHeight == static_cast<uint32_t>(height) &&
        mode.PelsWidth == static_cast<uint32_t>(width))
      return true;
  }
}

bool SetDisplayAttached(const char* deviceName, bool attach) {
  platform::DevMode mode;
  mode.Size = 156;
  ReadSettings(deviceName, mode);
  if (attach) {
    mode.Fields = platform::DmPosition;
    mode.PositionX = platform::GetSystemMetrics(platform::SmCxVirtualScreen);
    mode.PositionY = 0;
    if (platform::ChangeDisplaySettingsExA(deviceName, &mode, platform::CdsUpdateRegistry | platform::CdsNoReset) != 0)
      return false;
    if (platform::ChangeDisplaySettingsA(nullptr, 0) != 0) return false;
    platform::Sleep(2000);
    return true;
  }
  mode = platform::DevMode{};
  mode.Size = 156;
  mode.Fields = platform::DmPosition | platform::DmBitsPerPel | platform::DmPelsWidth | platform::DmPelsHeight |
                platform::DmDisplayFlags | platform::DmDisplayFrequency;
  if (platform::ChangeDisplaySettingsExA(deviceName, &mode, platform::CdsUpdateRegistry) != 0) return false;
  return platform::ChangeDisplaySettingsExA(deviceName, &mode, platform::CdsUpdateRegistry) == 0;
}

int32_t AttachSecondaryDisplays() {
  for (DisplayDeviceEntry& entry : DisplayDeviceTable.Entries) {
    entry.Primary = 1;
    entry.Pseudo = 1;
  }
  DisplayDeviceTable.Count = 0;

  platform::DisplayDevice adapter;
  for (uint32_t index = 0; DisplayDeviceTable.Count < DisplayDeviceCapacity &&
                           platform::EnumDisplayDevicesA(nullptr, index, adapter, 0);
       ++index) {
    DisplayDeviceEntry& entry = DisplayDeviceTable.Entries[DisplayDeviceTable.Count];
    entry.Pseudo = 0;
    const bool primary = (adapter.StateFlags & platform::DisplayDevicePrimaryDevice) != 0;
    if ((adapter.StateFlags & (platform::DisplayDeviceMirroringDriver | platform::DisplayDeviceRemote)) != 0) {
      // The next adapter reuses the entry.
      entry.Pseudo = 1;
      continue;
    }
    platform::DisplayDevice monitor;
    for (uint32_t m = 0; platform::EnumDisplayDevicesA(adapter.DeviceName.c_str(), m, monitor, 0); ++m) {
      if (monitor.StateFlags == 0) continue;
      platform::DevMode mode;
      mode.Size = 156;
      if (!ReadSettings(adapter.DeviceName.c_str(), mode)) continue;
      CopyText(entry.DeviceName, adapter.DeviceName);
      CopyText(entry.DeviceString, adapter.DeviceString);
      entry.Attached = (adapter.StateFlags & platform::DisplayDeviceAttachedToDesktop) != 0 ? 1 : 0;
      entry.Primary = primary ? 1 : 0;
    }
    ++DisplayDeviceTable.Count;
  }

  int32_t result = 1;
  for (const DisplayDeviceEntry& entry : DisplayDeviceTable.Entries) {
    if (entry.Primary == 0 && !SetDisplayAttached(entry.DeviceName, true)) result = AttachDisplaysFailed;
  }
  return result;
}

int32_t DetachSecondaryDisplays() {
  int32_t result = 1;
  for (const DisplayDeviceEntry& entry : DisplayDeviceTable.Entries) {
    if (entry.Primary == 0 && !SetDisplayAttached(entry.DeviceName, false)) result = DetachDisplaysFailed;
  }
  return result;
}

bool IsLegacyModePlatform(const std::string& cpu, const std::string& architecture) {
  const std::string variable = cpu.substr(0, 80);
  return variable.find("ALPHA") != std::string::npos || ToInt32(architecture) == 255;
}

std::string QueryProcessorArchitecture() {
  std::string architecture;
  WMIDiscovery::Instance().GetFirstValue(L"select Architecture from Win32_Processor where DeviceID=CPU0",
                                         L"Architecture", architecture);
  return architecture;
}

bool UseLegacyModeCall() {
  std::string cpu;
  if (!platform::GetEnv("Cpu", cpu)) cpu.clear();
  return IsLegacyModePlatform(cpu, QueryProcessorArchitecture());
}

void LoadDirectDrawDevices(DirectDrawDeviceEntry (&devices)[DirectDrawDeviceCapacity], uint32_t& count) {
  DirectDrawDeviceTable.Count = 0;
  platform::DirectDrawEnumerateExA(
      [](const platform::Guid* guid, const std::string& description, const std::string& driverName,
         platform::MonitorHandle) {
        if (DirectDrawDeviceTable.Count >= DirectDrawDeviceCapacity) return true;
        platform::DirectDraw* object = nullptr;
        if (platform::DirectDrawCreateEx(guid, object, platform::DirectDrawInterface::DirectDraw7) != 0) return true;
        DirectDrawDeviceEntry& entry = DirectDrawDeviceTable.Entries[DirectDrawDeviceTable.Count];
        entry.Guid = guid != nullptr ? *guid : platform::Guid{};
        CopyText(entry.Description, description);
        CopyText(entry.DriverName, driverName);
        ++DirectDrawDeviceTable.Count;
        object->Release();
        return true;
      },
      platform::DdenumAttachedSecondaryDevices | platform::DdenumDetachedSecondaryDevices);
  count = DirectDrawDeviceTable.Count;
  for (int i = 0; i < DirectDrawDeviceCapacity; ++i) devices[i] = DirectDrawDeviceTable.Entries[i];
}

bool ModeAvailable(const DirectDrawSession& session, int32_t modeCount, int32_t width, int32_t height,
                   int32_t bitsPerPixel) {
  bool found = session.ModeFound == 1 || InModes(session, modeCount, width, height, bitsPerPixel);
  if (!found) found = IsModeInDriverList(width, height, bitsPerPixel);
  const std::string text = ModeText(width, height, bitsPerPixel);
  Kestout::LogMessage(CategoryDebug, found ? 202u : 203u, text);
  return found;
}

void NoteHighMode(const DirectDrawSession& session, int32_t modeCount, int32_t width, int32_t height,
                  int32_t bitsPerPixel, DisplayModeEntry& highMode) {
  if (!InModes(session, modeCount, width, height, bitsPerPixel)) return;
  if (width > highMode.Width || height > highMode.Height || bitsPerPixel > highMode.BitsPerPixel)
    highMode = DisplayModeEntry{width, height, bitsPerPixel};
}

void NoteHighModes(const DirectDrawSession& session, int32_t modeCount, DisplayModeEntry& highMode) {
  for (int row = 0; row < ScreenModeCount; ++row) {
    const ScreenMode& mode = GetScreenMode(row);
    NoteHighMode(session, modeCount, mode.Width, mode.Height, mode.Bits, highMode);
  }
}

DisplayPlan PlanDisplays(uint32_t deviceCount, int32_t display, bool activeDisplay, bool testAll) {
  if (deviceCount == 0 && display >= 2 && !testAll) return DisplayPlan::BadDisplay;
  if (deviceCount != 0 && static_cast<int64_t>(display) > static_cast<int64_t>(deviceCount) - 1 && !testAll)
    return DisplayPlan::BadDisplay;
  if (testAll && activeDisplay) return DisplayPlan::EveryDevice;
  return DisplayPlan::Once;
}

bool UseDeviceGuid(uint32_t deviceCount) { return deviceCount >= 3; }
