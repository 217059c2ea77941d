#pragma once

#include <cstdint>
#include <string>

#include "framework/KestDiag.h"

// The texts of one -SleepType: the announcement, and the status numbers when the policy could not
// be changed and when it was. The power action is the same for all kinds.
struct SleepTypeTexts {
  const char* Name;
  uint32_t Announcement;
  uint32_t FailedToSet;
  uint32_t Requested;
};

// The texts of a lower-case -SleepType; null for a kind that is not one.
const SleepTypeTexts* FindSleepType(const std::string& sleepType);

// The time-out written back for one that was saved: 1 second comes back as 2, others as they were.
uint32_t RestoredVideoTimeout(uint32_t saved);

class VideoPowerManagementTest : public KestDiag {
 public:
  VideoPowerManagementTest();
  ~VideoPowerManagementTest() override;
  bool Run() override;

 private:
  bool TestPowerManagement();
  bool SetVideoTimeout();
  void RestoreVideoTimeout(uint32_t seconds);

  int32_t Retries = 1;
  std::string SleepType;
  uint32_t FailureCode = 0;
};
