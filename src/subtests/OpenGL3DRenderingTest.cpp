#include "subtests/OpenGL3DRenderingTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

OpenGL3DRenderingTest::OpenGL3DRenderingTest() {
  SetDescription("Tests OpenGL 3D capability of the video driver");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription, false, nullptr, false, true);
  AddArgument("-Display", KestArgument::TypeInteger, "0", kDisplayDescription,
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              false, new KestConstraint(0, 10), false, false);
  AddArgument("-ConvertVideo", KestArgument::TypeBoolean, "false",
              " This option is for converting the video dat file\n\tin to txt file format.",
              false, nullptr, false, false);
  AddArgument("-PrimaryDisp", KestArgument::TypeBoolean, "false",
              "This option will select the primary display for test.",
              false, nullptr, false, false);
  AddArgument("-ActiveDisplay", KestArgument::TypeBoolean, "false", kActiveDisplayDescription,
              false, nullptr, false, false);
  AddArgument("-TestAll", KestArgument::TypeBoolean, "false", kTestAllDescription, false, nullptr, false, true);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription, false, nullptr, false, true);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-CaptureScreen", KestArgument::TypeBoolean, "false", kCaptureScreenDescription,
              false, nullptr, false, true);
  AddArgument("-ScreenshotDir", KestArgument::TypeString, "", kScreenshotDirDescription, false, nullptr, false, true);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              false, nullptr, false, true);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription,
              false, nullptr, false, false);
  AddModeArguments(*this);
}

OpenGL3DRenderingTest::~OpenGL3DRenderingTest() = default;

bool OpenGL3DRenderingTest::Run() { return NotBuiltYet(*this); }
