#include "subtests/VideoPowerManagementTest.h"

#include <cstring>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/Kestout.h"
#include "framework/MessageCatalog.h"
#include "framework/PutBack.h"
#include "platform/clock.h"
#include "platform/power.h"
#include "prompts/Prompts.h"
#include "screen/ScreenArguments.h"
#include "text/TextHelpers.h"

namespace {

constexpr uint32_t OperatorSawNoBlank = 990590;
constexpr uint32_t PolicyNotChanged = 990591;
constexpr uint32_t StepNotDone = 39321;
constexpr uint32_t TestVideoTimeout = 2;  // seconds
constexpr uint32_t BlankQuestion = 20;
constexpr uint32_t NoBlankMessage = 19;
constexpr uint32_t YesNoOnTop = PromptOnTop | 4;

// The video time-out found in the policy before the test changed it, in seconds.
uint32_t SavedVideoTimeout = 0;
// The note that puts the saved time-out back if the run is ended from outside; 0 while the policy
// is as found.
int PolicyPutBack = 0;

uint32_t VideoTimeoutOf(const uint8_t* policy) {
  uint32_t seconds = 0;
  std::memcpy(&seconds, policy + platform::VideoTimeoutOffset, sizeof seconds);
  return seconds;
}

void SetVideoTimeoutOf(uint8_t* policy, uint32_t seconds) {
  std::memcpy(policy + platform::VideoTimeoutOffset, &seconds, sizeof seconds);
}

uint32_t ReadPolicy(uint8_t* policy) {
  return platform::CallNtPowerInformation(platform::SystemPowerPolicyAc, nullptr, 0, policy,
                                          platform::SystemPowerPolicySize);
}

uint32_t WritePolicy(const uint8_t* policy) {
  return platform::CallNtPowerInformation(platform::SystemPowerPolicyAc, policy, platform::SystemPowerPolicySize,
                                          nullptr, 0);
}

}  // namespace

const SleepTypeTexts* FindSleepType(const std::string& sleepType) {
  static const SleepTypeTexts table[] = {
      {"suspend", 27, 85, 26},
      {"standby", 28, 86, 23},
      {"off", 22, 87, 21},
  };
  for (const SleepTypeTexts& entry : table)
    if (sleepType == entry.Name) return &entry;
  return nullptr;
}

uint32_t RestoredVideoTimeout(uint32_t saved) { return saved == 1 ? 2 : saved; }

VideoPowerManagementTest::VideoPowerManagementTest() {
  SetDescription("This test tests the power management feature of video subsystem.\n"
      "It sends the power management command to the monitor. The power management\n"
      "modes supported include stand-by, suspend and off mode. The test should fail in\n"
      "case of issues with the power management feature of the system, video subsystem\n"
      "or monitor. If the screen does not go blank for some time, the test fails.");
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(1, 10));
  AddArgument("-SleepType", KestArgument::TypeString, "standby",
              "Type of feature to be tested.",
              new KestConstraint("suspend,standby,off"));
}

VideoPowerManagementTest::~VideoPowerManagementTest() = default;

bool VideoPowerManagementTest::Run() {
  Kestout::UpdatePercentage(0);
  Retries = GetArgumentInt("-Retries", 1);
  SleepType = ToLower(GetArgumentString("-SleepType", "standby"));
  Kestout::UpdatePercentage(1);
  Kestout::LogMessage(CategorySubtests, 2, "");
  const bool passed = TestPowerManagement();
  if (IsTerminationRequested()) {
    Kestout::LogMessage(CategoryServiceErrors, 24, "");
    return false;
  }
  if (!passed) {
    Kestout::ReportFailure(ToText(FailureCode));
    return false;
  }
  Kestout::LogMessage(CategorySubtests, 3, "");
  Kestout::UpdatePercentage(100);
  return true;
}

bool VideoPowerManagementTest::TestPowerManagement() {
  // The argument's constraint lets only the three kinds through.
  const SleepTypeTexts& texts = *FindSleepType(SleepType);
  bool passed = false;
  for (int32_t attempt = 0; attempt <= Retries; ++attempt) {
    Kestout::UpdatePercentage(15);
    Kestout::UpdatePercentage(20);
    ShowPrompt(GetWideMessageText(texts.Announcement, L""), GetSubtestName(), PromptOnTop);
    if (!SetVideoTimeout()) {
      // A policy that cannot be changed will not change on a retry.
      Kestout::LogMessage(CategoryStatus, texts.FailedToSet, "");
      FailureCode = PolicyNotChanged;
      passed = false;
      break;
    }
    Kestout::UpdatePercentage(40);
    platform::Sleep(2000);
    RestoreVideoTimeout(SavedVideoTimeout);
    Kestout::UpdatePercentage(60);
    Kestout::LogMessage(CategoryStatus, texts.Requested, "");
    Kestout::UpdatePercentage(70);
    Kestout::UpdatePercentage(80);
    const std::wstring question = GetWideMessageText(BlankQuestion, L"");
    const PromptResult answer = ShowPrompt(question, GetSubtestName(), YesNoOnTop);
    // A stop is no No: the protocol reads it as one, so the person is told who answered.
    if (answer == PromptTerminated) WarnAnswerCutShort(Narrow(question));
    passed = answer == PromptYes;
    if (passed) break;
    FailureCode = OperatorSawNoBlank;
    Kestout::LogMessage(CategoryDeviceErrors, NoBlankMessage, "");
  }
  Kestout::UpdatePercentage(90);
  return passed;
}

bool VideoPowerManagementTest::SetVideoTimeout() {
  uint8_t saved[platform::SystemPowerPolicySize] = {};
  uint8_t changed[platform::SystemPowerPolicySize] = {};
  uint32_t readStatus = ReadPolicy(saved);
  uint32_t rereadStatus = StepNotDone;
  uint32_t writeStatus = StepNotDone;
  if (readStatus == platform::StatusSuccess) {
    SavedVideoTimeout = VideoTimeoutOf(saved);
    rereadStatus = ReadPolicy(changed);
    if (rereadStatus == platform::StatusSuccess) {
      SetVideoTimeoutOf(changed, TestVideoTimeout);
      // Noted before the write: putting back a time-out that was not changed yet does no harm.
      if (PolicyPutBack == 0) {
        const uint32_t found = SavedVideoTimeout;
        PolicyPutBack = PutBack::Note([this, found] { RestoreVideoTimeout(found); });
      }
      writeStatus = WritePolicy(changed);
    }
  }
  platform::Sleep(2000);
  return readStatus == platform::StatusSuccess && rereadStatus == platform::StatusSuccess &&
         writeStatus == platform::StatusSuccess;
}

void VideoPowerManagementTest::RestoreVideoTimeout(uint32_t seconds) {
  uint8_t policy[platform::SystemPowerPolicySize] = {};
  // Only a policy that was read is written back: a blank record would reset every other setting.
  if (ReadPolicy(policy) != platform::StatusSuccess) return;
  SetVideoTimeoutOf(policy, RestoredVideoTimeout(seconds));
  WritePolicy(policy);
  PutBack::Drop(PolicyPutBack);
  PolicyPutBack = 0;
}
