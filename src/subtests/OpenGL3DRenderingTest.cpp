#include "subtests/OpenGL3DRenderingTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

OpenGL3DRenderingTest::OpenGL3DRenderingTest() {
  SetDescription("Tests OpenGL 3D capability of the video driver");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Display", KestArgument::TypeInteger, "0", kDisplayDescription,
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(0, 10));
  AddArgument("-ConvertVideo", KestArgument::TypeBoolean, "false",
              " This option is for converting the video dat file\n\tin to txt file format.");
  AddArgument("-PrimaryDisp", KestArgument::TypeBoolean, "false",
              "This option will select the primary display for test.");
  AddArgument("-ActiveDisplay", KestArgument::TypeBoolean, "false", kActiveDisplayDescription);
  AddArgument("-TestAll", KestArgument::TypeBoolean, "false", kTestAllDescription, nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-CaptureScreen", KestArgument::TypeBoolean, "false", kCaptureScreenDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-ScreenshotDir", KestArgument::TypeString, "", kScreenshotDirDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
  AddModeArguments(*this);
}

OpenGL3DRenderingTest::~OpenGL3DRenderingTest() = default;

bool OpenGL3DRenderingTest::Run() { return NotBuiltYet(*this); }
