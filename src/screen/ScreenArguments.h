// The display modes that the screen subtests walk, and the arguments those subtests share.
#pragma once

#include <cstdint>
#include <string>

class KestDiag;

struct ScreenMode {
  int32_t Width;
  int32_t Height;
  int32_t Bits;
};

// Sixteen sizes, each with 8, 16, 24 and 32 bits per pixel, the depth changing fastest.
constexpr int ScreenModeCount = 64;
const ScreenMode& GetScreenMode(int index);

// "-Mode640x480x8" for the first row.
std::string ModeArgumentName(const ScreenMode& mode);

// The options common to ModeTest, BltTest and LineTest.
void AddScreenArguments(KestDiag& test);

// Descriptions that several subtests give to an option of the same name.
extern const char kInteractiveDescription[];
extern const char kDisplayDescription[];
extern const char kRetriesDescription[];
extern const char kActiveDisplayDescription[];
extern const char kTestAllDescription[];
extern const char kCalibrateDescription[];
extern const char kPromptDescription[];
extern const char kCaptureScreenDescription[];
extern const char kScreenshotDirDescription[];
extern const char kVerifyChecksumDescription[];
extern const char kGenericCalibrationDescription[];

// One boolean switch per row of the mode table.
void AddModeArguments(KestDiag& test);
