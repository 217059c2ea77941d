#include "subtests/VideoPowerManagementTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

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

bool VideoPowerManagementTest::Run() { return NotBuiltYet(*this); }
