#include "subtests/PaletteTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "subtests/NotBuiltYet.h"

PaletteTest::PaletteTest() {
  SetDescription("Tests palette colors (RGB) in 256 color mode");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true",
              "If it is set to true then the test will run in \n\tinteractive mode (waits for user to press number on the screen).\n\tIf it is set to false then the test does not need user interaction",
              false, nullptr, false, true);
  AddArgument("-Retries", KestArgument::TypeInteger, "1",
              "Number of retries incase of a failure.",
              false, new KestConstraint(0, 10), false, false);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum\n\tvalues in the zr_video.dat file",
              false, nullptr, false, false);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0",
              "This Message number of the text to be displayed",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true",
              "This option specifies whether the test shouldcompare checksum from calibrations file.",
              false, nullptr, false, true);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tinclude the Controller information in\n\tthe zr_video.dat file.Will have no impact if Calibrate\n\tparameter is false",
              false, nullptr, false, false);
  AddArgument("-Resolution", KestArgument::TypeString, "800x600x32",
              "This parameter is used for setting display\n\tresolution for testing,Format for resolution is\n\tWidthxHeightxBpp.Supported values for\n\tBpp are 8/16/24/32.",
              false, nullptr, false, false);
}

PaletteTest::~PaletteTest() = default;

bool PaletteTest::Run() { return NotBuiltYet(*this); }
