#include "platform/power.h"

#include <windows.h>

#include <powrprof.h>

namespace platform {

static_assert(sizeof(SYSTEM_POWER_POLICY) == SystemPowerPolicySize, "the policy record the program writes");
static_assert(offsetof(SYSTEM_POWER_POLICY, VideoTimeout) == VideoTimeoutOffset, "where the display time-out is");

uint32_t CallNtPowerInformation(int32_t level, const void* input, uint32_t inputSize, void* output,
                                uint32_t outputSize) {
  return static_cast<uint32_t>(::CallNtPowerInformation(static_cast<POWER_INFORMATION_LEVEL>(level),
                                                        const_cast<void*>(input), inputSize, output, outputSize));
}

}  // namespace platform
