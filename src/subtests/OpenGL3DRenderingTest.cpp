#include "subtests/OpenGL3DRenderingTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

OpenGL3DRenderingTest::OpenGL3DRenderingTest() {
  SetDescription("Tests OpenGL 3D capability of the video driver");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true",
              "If it is set to true then the test will run in \n\tinteractive mode (waits for user to press number on the screen).\n\tIf it is set to false then the test does not need user interaction",
              false, nullptr, false, true);
  AddArgument("-Display", KestArgument::TypeInteger, "0",
              "Display adapter number.",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-Retries", KestArgument::TypeInteger, "1",
              "Number of retries incase of a failure.",
              false, new KestConstraint(0, 10), false, false);
  AddArgument("-ConvertVideo", KestArgument::TypeBoolean, "false",
              " This option is for converting the video dat file\n\tin to txt file format.",
              false, nullptr, false, false);
  AddArgument("-PrimaryDisp", KestArgument::TypeBoolean, "false",
              "This option will select the primary display for test.",
              false, nullptr, false, false);
  AddArgument("-ActiveDisplay", KestArgument::TypeBoolean, "false",
              "This option will activate displays to test.",
              false, nullptr, false, false);
  AddArgument("-TestAll", KestArgument::TypeBoolean, "false",
              "This option will select all the available drivers\n\tto be tested.",
              false, nullptr, false, true);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum\n\tvalues in the zr_video.dat file",
              false, nullptr, false, true);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0",
              "This Message number of the text to be displayed",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-CaptureScreen", KestArgument::TypeBoolean, "false",
              "This option will capture the screenshot and save it to a BMP file.",
              false, nullptr, false, true);
  AddArgument("-ScreenshotDir", KestArgument::TypeString, "",
              "Directory path to store the Screen shots",
              false, nullptr, false, true);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true",
              "This option specifies whether the test shouldcompare checksum from calibrations file.",
              false, nullptr, false, true);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tinclude the Controller information in\n\tthe zr_video.dat file.Will have no impact if Calibrate\n\tparameter is false",
              false, nullptr, false, false);
  AddModeArguments(*this);
}

OpenGL3DRenderingTest::~OpenGL3DRenderingTest() = default;

bool OpenGL3DRenderingTest::Run() { return NotBuiltYet(*this); }
