#include "subtests/DX93DRenderingTest.h"

#include "framework/KestArgument.h"
#include "subtests/NotBuiltYet.h"

DX93DRenderingTest::DX93DRenderingTest() {
  SetDescription("Tests Direct3D hardware on controller");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true",
              "If it is set to true then the test will run in \n\tinteractive mode (waits for user to press number on the screen).\n\tIf it is set to false then the test does not need user interaction",
              false, nullptr, false, false);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum values\n\tin the zr_video.dat file",
              false, nullptr, false, false);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tinclude the Controller information in\n\tthe zr_video.dat file.Will have no impact if Calibrate\n\tparameter is false",
              false, nullptr, false, false);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true",
              "This option specifies whether the test shouldcompare checksum from calibrations file.",
              false, nullptr, false, true);
}

DX93DRenderingTest::~DX93DRenderingTest() = default;

bool DX93DRenderingTest::Run() { return NotBuiltYet(*this); }
