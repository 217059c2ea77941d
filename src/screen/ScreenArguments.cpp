#include "screen/ScreenArguments.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestDiag.h"

namespace {

const int32_t kSizes[16][2] = {{640, 480},   {720, 480},   {800, 600},   {1024, 768},  {1152, 864},  {1280, 768},
                               {1280, 1024}, {1400, 1050}, {1600, 1200}, {1792, 1344}, {1800, 1440}, {1800, 1880},
                               {1920, 1080}, {1920, 1200}, {1920, 1440}, {2048, 1536}};
const int32_t kDepths[4] = {8, 16, 24, 32};

struct ModeTable {
  ScreenMode Rows[ScreenModeCount];
  ModeTable() {
    for (int i = 0; i < ScreenModeCount; ++i) Rows[i] = {kSizes[i / 4][0], kSizes[i / 4][1], kDepths[i % 4]};
  }
};

const ModeTable kModes;

std::string ModeText(const ScreenMode& mode) {
  return std::to_string(mode.Width) + "x" + std::to_string(mode.Height) + "x" + std::to_string(mode.Bits);
}

}  // namespace

const char kInteractiveDescription[] =
    "If it is set to true then the test will run in \n\tinteractive mode (waits for user to press number on the screen).\n\tIf it is set to false then the test does not need user interaction";
const char kDisplayDescription[] =
    "Display adapter number.";
const char kRetriesDescription[] =
    "Number of retries incase of a failure.";
const char kActiveDisplayDescription[] =
    "This option will activate displays to test.";
const char kTestAllDescription[] =
    "This option will select all the available drivers\n\tto be tested.";
const char kCalibrateDescription[] =
    "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum\n\tvalues in the zr_video.dat file";
const char kPromptDescription[] =
    "This Message number of the text to be displayed";
const char kCaptureScreenDescription[] =
    "This option will capture the screenshot and save it to a BMP file.";
const char kScreenshotDirDescription[] =
    "Directory path to store the Screen shots";
const char kVerifyChecksumDescription[] =
    "This option specifies whether the test shouldcompare checksum from calibrations file.";
const char kGenericCalibrationDescription[] =
    "This parameter specifies whether the test should\n\tinclude the Controller information in\n\tthe zr_video.dat file.Will have no impact if Calibrate\n\tparameter is false";

const ScreenMode& GetScreenMode(int index) { return kModes.Rows[index]; }

std::string ModeArgumentName(const ScreenMode& mode) { return "-Mode" + ModeText(mode); }

void AddScreenArguments(KestDiag& test) {
  test.AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-Display", KestArgument::TypeInteger, "0", kDisplayDescription,
                   new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  test.AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
                   new KestConstraint(0, 10));
  test.AddArgument("-ActiveDisplay", KestArgument::TypeBoolean, "false", kActiveDisplayDescription);
  test.AddArgument("-TestAll", KestArgument::TypeBoolean, "false", kTestAllDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-HighMode", KestArgument::TypeBoolean, "false",
                   "This option will select test to run in High Mode.");
  test.AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-AnalyzeEnable", KestArgument::TypeBoolean, "false",
                   "This option will select test to enable analysis mode.",
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-AnalyzeAlways", KestArgument::TypeBoolean, "false",
                   "This option will select test to run in always analyze mode.",
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-AnalyzeOnCalibrate", KestArgument::TypeBoolean, "false",
                   "This option will select test to run in always\n\tanalyze when calibrate is true.",
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-AnalyzeFault", KestArgument::TypeBoolean, "false",
                   "This option will select test to run Analysis on Fault.",
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-AnalyzeLogFile", KestArgument::TypeBoolean, "false",
                   "This option will select test to run Analysis on log.",
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-TestAllResolutions", KestArgument::TypeBoolean, "false",
                   "This option will select to run the test with all supported resolutions");
  test.AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
                   new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  test.AddArgument("-CaptureScreen", KestArgument::TypeBoolean, "false", kCaptureScreenDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-ScreenshotDir", KestArgument::TypeString, "", kScreenshotDirDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
                   nullptr, ArgumentFlag::GuiHidden);
  test.AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
}

void AddModeArguments(KestDiag& test) {
  for (const ScreenMode& mode : kModes.Rows)
    test.AddArgument(ModeArgumentName(mode), KestArgument::TypeBoolean, "false",
                     "This selects " + ModeText(mode) + " resolution for testing.");
}
