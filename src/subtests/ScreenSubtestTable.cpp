// What ModeTest, BltTest, LineTest and PaletteTest do differently in the screen flow. A row starts
// from the defaults of ScreenSubtestTraits, which most rows share, and sets its constants and what
// is its own; a new subtest on the flow adds a row here and passes it to its ScreenFlow.
#include "subtests/ScreenSubtestTable.h"

#include "screen/CalibrationStore.h"
#include "subtests/BltTest.h"
#include "subtests/LineTest.h"
#include "subtests/ModeTest.h"
#include "subtests/PaletteTest.h"

namespace {

// BltTest: a field run stands on its main pass; a calibration that passed is confirmed, with no
// rounds at all under -AnalyzeEnable.
int32_t BltConfirmation(const ScreenSettings& settings, bool& pass, int32_t code) {
  if (pass && !settings.Calibrate) {
    pass = code == 1;
    return NoConfirmation;
  }
  if (code != 1 || settings.Interactive) {
    pass = false;
    return NoConfirmation;
  }
  return settings.AnalyzeEnable ? 0 : ConfirmationRounds;
}

// LineTest: a field run that passed stands; anything but a failed pass is confirmed when unattended.
int32_t LineConfirmation(const ScreenSettings& settings, bool& pass, int32_t code) {
  if (pass && !settings.Calibrate && code == 1) return NoConfirmation;
  if (code < 1) return NoConfirmation;
  if (settings.Interactive) {
    pass = false;
    return NoConfirmation;
  }
  return ConfirmationRounds;
}

}  // namespace

const ScreenSubtestTraits& ModeTestTraits() {
  static const ScreenSubtestTraits row = [] {
    ScreenSubtestTraits mode;
    mode.WindowName = "Screen Mode Test";
    mode.TestId = ModeTestId;
    mode.CaptureName = "ModeTest";
    mode.Dumps = AnalysisSubtest::ModeTest;
    mode.Keys = TestKeyCodes{-123, -456, -789, -73, false};
    mode.Session = SessionSetUp::InRun;
    mode.StopCheckFirst = true;
    mode.AttachedPercentage = 12;
    mode.DevicesLoadedPercentage = NoPercentage;
    mode.MainPassPercentage = NoPercentage;
    mode.BadDisplayCode = 70;
    mode.SetsModeFirst = true;
    mode.QuietAfterFailure = true;
    mode.Sum = SumTiming::WaitThenSum;
    mode.Draw = [](const ScreenFlow&, platform::Hwnd window, platform::Hdc dc) { ModeTest::DrawTestScreen(window, dc); };
    mode.ModeChecks = &ModeTest::CheckModes;
    mode.ExtraRow = &ModeTest::ExtraRow;
    return mode;
  }();
  return row;
}

const ScreenSubtestTraits& BltTestTraits() {
  static const ScreenSubtestTraits row = [] {
    ScreenSubtestTraits blt;
    blt.WindowName = "Blt Test";
    blt.TestId = BltTestId;
    blt.CaptureName = "BltTest";
    blt.Dumps = AnalysisSubtest::BltTest;
    blt.Keys = TestKeyCodes{-50, -51, -999, 0, false};
    blt.BadDisplayClearsResult = true;
    blt.DetachFailedCode = DisplaysFailedCode;
    blt.OnDevice = DeviceWalk::EveryRow;
    blt.Sum = SumTiming::DumpAtOnce;
    // The pixel the analysis must find is planted only on an unattended screen.
    blt.Draw = [](const ScreenFlow& flow, platform::Hwnd window, platform::Hdc dc) {
      BltTest::DrawTestScreen(window, dc, !flow.Settings.Interactive && flow.Settings.AnalyzeFault);
    };
    blt.FileCheck = &BltTest::CheckMedia;
    blt.Confirmation = &BltConfirmation;
    return blt;
  }();
  return row;
}

const ScreenSubtestTraits& LineTestTraits() {
  static const ScreenSubtestTraits row = [] {
    ScreenSubtestTraits line;
    line.WindowName = "Line Test";
    line.TestId = LineTestId;
    line.CaptureName = "LineTest";
    line.Keys = TestKeyCodes{-990101, -990102, -990100, 0, true};
    line.BadDisplayRoundCode = -1;
    line.RoundWalksDevice = true;
    line.StopTimer = true;
    line.Draw = [](const ScreenFlow&, platform::Hwnd window, platform::Hdc dc) { LineTest::DrawTestScreen(window, dc); };
    line.Confirmation = &LineConfirmation;
    return line;
  }();
  return row;
}

// No mode table: one mode, shown by PaletteTest's own pass.
const ScreenSubtestTraits& PaletteTestTraits() {
  static const ScreenSubtestTraits row = [] {
    ScreenSubtestTraits palette;
    palette.WindowName = "Palette Test";
    palette.TestId = PaletteTestId;
    palette.Digits = DigitScreen::RedGreenBlue;
    palette.Session = SessionSetUp::BareAtConstruction;
    palette.NoCodeFailure = 249014;
    palette.RenewsDigits = false;
    palette.StopTimer = true;
    palette.ResultZeroUntilVerdict = true;
    palette.Paint = &PaletteTest::Paint;
    return palette;
  }();
  return row;
}
