// Display configuration paths of user32 (Windows 7 and later): which source of which adapter
// drives which target (connector), whether each path is active, and the names of targets and
// adapters. The program looks the four calls up by name in "user32.dll" (LoadLibraryA and
// GetProcAddress of library.h) and calls them through the pointer types below; the records have
// the layout of the Windows ones, so on Windows the pointers are the system's own functions.
#pragma once

#include <cstdint>

#include "platform/window.h"  // PLATFORM_CALLBACK

namespace platform {

struct Luid {
  uint32_t LowPart = 0;
  int32_t HighPart = 0;
};

struct DisplayConfigRational {
  uint32_t Numerator = 0;
  uint32_t Denominator = 0;
};

struct DisplayConfigPathSourceInfo {
  Luid AdapterId;
  uint32_t Id = 0;
  uint32_t ModeInfoIdx = 0;
  uint32_t StatusFlags = 0;
};

struct DisplayConfigPathTargetInfo {
  Luid AdapterId;
  uint32_t Id = 0;
  uint32_t ModeInfoIdx = 0;
  int32_t OutputTechnology = 0;
  uint32_t Rotation = 0;
  uint32_t Scaling = 0;
  DisplayConfigRational RefreshRate;
  uint32_t ScanLineOrdering = 0;
  int32_t TargetAvailable = 0;  // BOOL
  uint32_t StatusFlags = 0;
};

// DISPLAYCONFIG_PATH_INFO.
struct DisplayConfigPathInfo {
  DisplayConfigPathSourceInfo SourceInfo;
  DisplayConfigPathTargetInfo TargetInfo;
  uint32_t Flags = 0;
};

struct DisplayConfig2DRegion {
  uint32_t Cx = 0;
  uint32_t Cy = 0;
};

struct DisplayConfigVideoSignalInfo {
  uint64_t PixelRate = 0;
  DisplayConfigRational HSyncFreq;
  DisplayConfigRational VSyncFreq;
  DisplayConfig2DRegion ActiveSize;
  DisplayConfig2DRegion TotalSize;
  uint32_t VideoStandard = 0;
  uint32_t ScanLineOrdering = 0;
};

struct DisplayConfigSourceMode {
  uint32_t Width;
  uint32_t Height;
  uint32_t PixelFormat;  // 1..4: 8, 16, 24, 32 bits
  int32_t PositionX;
  int32_t PositionY;
};

// DISPLAYCONFIG_MODE_INFO: a source mode or a target mode, by InfoType.
struct DisplayConfigModeInfo {
  uint32_t InfoType = 0;
  uint32_t Id = 0;
  Luid AdapterId;
  union {
    DisplayConfigVideoSignalInfo TargetMode;
    DisplayConfigSourceMode SourceMode;
  };
  DisplayConfigModeInfo() : TargetMode() {}
};

// DISPLAYCONFIG_DEVICE_INFO_HEADER.
struct DisplayConfigDeviceInfoHeader {
  uint32_t Type = 0;
  uint32_t Size = 0;
  Luid AdapterId;
  uint32_t Id = 0;
};

// DISPLAYCONFIG_TARGET_DEVICE_NAME (420 bytes); texts are UTF-16 as Windows has them.
struct DisplayConfigTargetDeviceName {
  DisplayConfigDeviceInfoHeader Header;
  uint32_t Flags = 0;
  int32_t OutputTechnology = 0;
  uint16_t EdidManufactureId = 0;
  uint16_t EdidProductCodeId = 0;
  uint32_t ConnectorInstance = 0;
  char16_t MonitorFriendlyDeviceName[64] = {};
  char16_t MonitorDevicePath[128] = {};
};

// DISPLAYCONFIG_ADAPTER_NAME (276 bytes).
struct DisplayConfigAdapterName {
  DisplayConfigDeviceInfoHeader Header;
  char16_t AdapterDevicePath[128] = {};
};

constexpr uint32_t DisplayConfigTargetDeviceNameSize = 420;
constexpr uint32_t DisplayConfigAdapterNameSize = 276;

// QueryDisplayConfig flags.
constexpr uint32_t QdcAllPaths = 0x1;
constexpr uint32_t QdcOnlyActivePaths = 0x2;

// Path flags and the "no mode" index.
constexpr uint32_t DisplayConfigPathActive = 0x1;
constexpr uint32_t DisplayConfigPathModeIdxInvalid = 0xFFFFFFFFu;

// Mode kinds.
constexpr uint32_t DisplayConfigModeInfoTypeSource = 1;
constexpr uint32_t DisplayConfigModeInfoTypeTarget = 2;

// DisplayConfigGetDeviceInfo request types.
constexpr uint32_t DisplayConfigDeviceInfoGetTargetName = 2;
constexpr uint32_t DisplayConfigDeviceInfoGetAdapterName = 4;

// SetDisplayConfig flags.
constexpr uint32_t SdcUseSuppliedDisplayConfig = 0x20;
constexpr uint32_t SdcApply = 0x80;
constexpr uint32_t SdcAllowChanges = 0x400;

// Output technologies (DISPLAYCONFIG_VIDEO_OUTPUT_TECHNOLOGY).
constexpr int32_t OutputTechnologyOther = -1;
constexpr int32_t OutputTechnologyHd15 = 0;
constexpr int32_t OutputTechnologyDvi = 4;
constexpr int32_t OutputTechnologyHdmi = 5;
constexpr int32_t OutputTechnologyInternal = static_cast<int32_t>(0x80000000u);

// Results (Win32 error codes).
constexpr int32_t ErrorGenFailure = 31;
constexpr int32_t ErrorNotSupported = 50;
constexpr int32_t ErrorBadConfiguration = 1610;

using GetDisplayConfigBufferSizesProc = int32_t(PLATFORM_CALLBACK*)(uint32_t flags, uint32_t* pathCount,
                                                                     uint32_t* modeCount);
using QueryDisplayConfigProc = int32_t(PLATFORM_CALLBACK*)(uint32_t flags, uint32_t* pathCount,
                                                            DisplayConfigPathInfo* paths, uint32_t* modeCount,
                                                            DisplayConfigModeInfo* modes, uint32_t* topologyId);
using DisplayConfigGetDeviceInfoProc = int32_t(PLATFORM_CALLBACK*)(DisplayConfigDeviceInfoHeader* request);
using SetDisplayConfigProc = int32_t(PLATFORM_CALLBACK*)(uint32_t pathCount, DisplayConfigPathInfo* paths,
                                                          uint32_t modeCount, DisplayConfigModeInfo* modes,
                                                          uint32_t flags);

static_assert(sizeof(DisplayConfigPathInfo) == 72, "DISPLAYCONFIG_PATH_INFO layout");
static_assert(sizeof(DisplayConfigModeInfo) == 64, "DISPLAYCONFIG_MODE_INFO layout");
static_assert(sizeof(DisplayConfigTargetDeviceName) == DisplayConfigTargetDeviceNameSize,
              "DISPLAYCONFIG_TARGET_DEVICE_NAME layout");
static_assert(sizeof(DisplayConfigAdapterName) == DisplayConfigAdapterNameSize, "DISPLAYCONFIG_ADAPTER_NAME layout");

}  // namespace platform
