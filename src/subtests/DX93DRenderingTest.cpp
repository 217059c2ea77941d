#include "subtests/DX93DRenderingTest.h"

#include "framework/KestArgument.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

DX93DRenderingTest::DX93DRenderingTest() {
  SetDescription("Tests Direct3D hardware on controller");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum values\n\tin the zr_video.dat file");
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              nullptr, ArgumentFlag::GuiHidden);
}

DX93DRenderingTest::~DX93DRenderingTest() = default;

bool DX93DRenderingTest::Run() { return NotBuiltYet(*this); }
