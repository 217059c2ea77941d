// Power policy of the operating system: CallNtPowerInformation of powrprof, with the system power
// policy records as raw bytes. One call here is one Windows call with the same arguments and
// status codes.
#pragma once

#include <cstdint>

namespace platform {

// Information levels (POWER_INFORMATION_LEVEL).
constexpr int32_t SystemPowerPolicyAc = 0;
constexpr int32_t SystemPowerPolicyDc = 1;

// SYSTEM_POWER_POLICY: 232 bytes, the display's idle time-out in seconds (0: never) at 192.
constexpr uint32_t SystemPowerPolicySize = 232;
constexpr uint32_t VideoTimeoutOffset = 192;

// NTSTATUS values the calls give.
constexpr uint32_t StatusSuccess = 0;
constexpr uint32_t StatusInvalidParameter = 0xC000000D;
constexpr uint32_t StatusAccessDenied = 0xC0000022;
constexpr uint32_t StatusBufferTooSmall = 0xC0000023;

// CallNtPowerInformation: with an input buffer a policy level is written, with an output buffer it
// is read (a record of SystemPowerPolicySize bytes each). Returns the NTSTATUS.
uint32_t CallNtPowerInformation(int32_t level, const void* input, uint32_t inputSize, void* output,
                                uint32_t outputSize);

}  // namespace platform
