#include "subtests/PaletteTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

PaletteTest::PaletteTest() {
  SetDescription("Tests palette colors (RGB) in 256 color mode");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription, false, nullptr, false, true);
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              false, new KestConstraint(0, 10), false, false);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription, false, nullptr, false, false);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              false, nullptr, false, true);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription,
              false, nullptr, false, false);
  AddArgument("-Resolution", KestArgument::TypeString, "800x600x32",
              "This parameter is used for setting display\n\tresolution for testing,Format for resolution is\n\tWidthxHeightxBpp.Supported values for\n\tBpp are 8/16/24/32.",
              false, nullptr, false, false);
}

PaletteTest::~PaletteTest() = default;

bool PaletteTest::Run() { return NotBuiltYet(*this); }
