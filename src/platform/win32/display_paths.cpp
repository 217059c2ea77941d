// The display configuration calls are user32's own, found by name at run time; what is checked
// here is that the records the program hands them have the system's layout.
#include "platform/display_paths.h"

#include <windows.h>

#include <cstddef>

namespace platform {

static_assert(sizeof(DisplayConfigPathInfo) == sizeof(DISPLAYCONFIG_PATH_INFO), "DISPLAYCONFIG_PATH_INFO layout");
static_assert(offsetof(DisplayConfigPathInfo, TargetInfo) == offsetof(DISPLAYCONFIG_PATH_INFO, targetInfo) &&
                  offsetof(DisplayConfigPathInfo, Flags) == offsetof(DISPLAYCONFIG_PATH_INFO, flags),
              "DISPLAYCONFIG_PATH_INFO members");
static_assert(offsetof(DisplayConfigPathTargetInfo, TargetAvailable) ==
                  offsetof(DISPLAYCONFIG_PATH_TARGET_INFO, targetAvailable),
              "DISPLAYCONFIG_PATH_TARGET_INFO members");
static_assert(sizeof(DisplayConfigModeInfo) == sizeof(DISPLAYCONFIG_MODE_INFO), "DISPLAYCONFIG_MODE_INFO layout");
static_assert(offsetof(DisplayConfigModeInfo, SourceMode) == offsetof(DISPLAYCONFIG_MODE_INFO, sourceMode),
              "DISPLAYCONFIG_MODE_INFO members");
static_assert(sizeof(DisplayConfigTargetDeviceName) == sizeof(DISPLAYCONFIG_TARGET_DEVICE_NAME),
              "DISPLAYCONFIG_TARGET_DEVICE_NAME layout");
static_assert(offsetof(DisplayConfigTargetDeviceName, ConnectorInstance) ==
                  offsetof(DISPLAYCONFIG_TARGET_DEVICE_NAME, connectorInstance) &&
                  offsetof(DisplayConfigTargetDeviceName, MonitorDevicePath) ==
                      offsetof(DISPLAYCONFIG_TARGET_DEVICE_NAME, monitorDevicePath),
              "DISPLAYCONFIG_TARGET_DEVICE_NAME members");
static_assert(sizeof(DisplayConfigAdapterName) == sizeof(DISPLAYCONFIG_ADAPTER_NAME), "DISPLAYCONFIG_ADAPTER_NAME layout");
static_assert(QdcAllPaths == QDC_ALL_PATHS && DisplayConfigPathActive == DISPLAYCONFIG_PATH_ACTIVE &&
                  (SdcApply | SdcUseSuppliedDisplayConfig | SdcAllowChanges) ==
                      (SDC_APPLY | SDC_USE_SUPPLIED_DISPLAY_CONFIG | SDC_ALLOW_CHANGES),
              "display configuration flags");

}  // namespace platform
