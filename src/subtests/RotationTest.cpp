#include "subtests/RotationTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "subtests/NotBuiltYet.h"

RotationTest::RotationTest() {
  SetDescription("Verifies screen can rotate on demand");
  AddArgument("-InitialResolution", KestArgument::TypeString, "",
              "The initial resolution, given as WidthxHeightxBPP, at the start of the test before the screen is rotated. If not given, the current resolution will be used");
  AddArgument("-ExpectedResolution", KestArgument::TypeString, "",
              "The Resolution that is expected after the screen has rotated given as WidthxHeightxBPP. If not given, the fail or pass condition will be determined automatically");
  AddArgument("-NumberOfRotations", KestArgument::TypeInteger, "4",
              "Number of times that resolution must switch before test passes",
              new KestConstraint(1, 10));
  AddArgument("-Timeout", KestArgument::TypeInteger, "30",
              "Number of seconds before test times out due to operator inactivity",
              new KestConstraint(1, 60));
  AddArgument("-Prompt", KestArgument::TypeInteger, "90",
              "The message number for the test prompt");
  AddArgument("-RetryPrompt", KestArgument::TypeInteger, "91",
              "Test retry prompt number",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Retries", KestArgument::TypeInteger, "1",
              "Maximum number of retries in case of test failure",
              new KestConstraint(1, 5));
}

RotationTest::~RotationTest() = default;

bool RotationTest::Run() { return NotBuiltYet(*this); }
