// The simulated machine's display configuration calls, which its "user32.dll" exports by name.
#pragma once

#include <cstdint>
#include <string>

#include "platform/display_paths.h"

namespace platform {
namespace sim {

struct AdapterState;

// "\\?\PCI#VEN_...#<instance>#{interface}": the card's instance id with "#" for "\".
std::string AdapterDevicePath(const AdapterState& adapter);

int32_t PLATFORM_CALLBACK GetDisplayConfigBufferSizes(uint32_t flags, uint32_t* pathCount, uint32_t* modeCount);
int32_t PLATFORM_CALLBACK QueryDisplayConfig(uint32_t flags, uint32_t* pathCount, DisplayConfigPathInfo* paths,
                                             uint32_t* modeCount, DisplayConfigModeInfo* modes, uint32_t* topologyId);
int32_t PLATFORM_CALLBACK DisplayConfigGetDeviceInfo(DisplayConfigDeviceInfoHeader* request);
int32_t PLATFORM_CALLBACK SetDisplayConfig(uint32_t pathCount, DisplayConfigPathInfo* paths, uint32_t modeCount,
                                           DisplayConfigModeInfo* modes, uint32_t flags);

}  // namespace sim
}  // namespace platform
