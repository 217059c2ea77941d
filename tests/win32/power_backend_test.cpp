// The win32 power backend against the system's own power policy. Only the AC record is read, never
// written, on Windows: a test must not change the machine's plan. Wine does not implement the
// policy levels and refuses every call with STATUS_NOT_IMPLEMENTED, which the backend passes on.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "platform/power.h"

namespace {

constexpr uint32_t StatusNotImplemented = 0xC0000002;

TEST(PowerBackend, TheAcPolicyIsReadWholeOrRefusedAsTheSystemSays) {
  uint8_t policy[platform::SystemPowerPolicySize];
  std::memset(policy, 0xEE, sizeof policy);
  const uint32_t status =
      platform::CallNtPowerInformation(platform::SystemPowerPolicyAc, nullptr, 0, policy, sizeof policy);
  if (RunningUnderWine()) {
    EXPECT_EQ(status, StatusNotImplemented);
    // Writing is as safe as reading here, and as unimplemented.
    EXPECT_EQ(platform::CallNtPowerInformation(platform::SystemPowerPolicyAc, policy, sizeof policy, nullptr, 0),
              StatusNotImplemented);
    return;
  }
  ASSERT_EQ(status, platform::StatusSuccess);
  uint32_t revision = 0;
  std::memcpy(&revision, policy, sizeof revision);
  EXPECT_EQ(revision, 1u);
  // A buffer short of the record is refused.
  EXPECT_NE(platform::CallNtPowerInformation(platform::SystemPowerPolicyAc, nullptr, 0, policy, 100),
            platform::StatusSuccess);
}

}  // namespace
