// The machine that the screen subtests share: walk the mode table, show a full-screen test window
// in each chosen and available mode, have it judged by a key or a checksum, retry, and turn what
// happened into one verdict. Each subtest owns one ScreenFlow and gives it its row of traits
// (subtests/ScreenSubtestTable.cpp): its constants, its picture, and what it does in its own way.
// PaletteTest has no mode table and uses the window, verification, key and closing parts alone.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "platform/window.h"
#include "screen/Confirmation.h"
#include "screen/DirectDrawSession.h"
#include "screen/DisplayControl.h"
#include "screen/FailureAnalysis.h"
#include "screen/ScreenArguments.h"

class KestDiag;
class ScreenFlow;

// The window message that starts a verification (WM_USER + 1).
constexpr uint32_t VerifyScreenMessage = platform::WmUser + 1;

// Codes of the flow.
constexpr int32_t WrongKeysCode = -990370;
constexpr int32_t RejectedCode = -73;
constexpr int32_t NoVerdictCode = -990513;
constexpr int32_t ChecksumMismatchCode = -990408;
constexpr int32_t DisplaysFailedCode = 990368;  // a detach failed, or -Display names no device
constexpr int32_t UnfinishedCode = 68;

// A percentage step that a subtest leaves out.
constexpr int32_t NoPercentage = -1;
// The rounds of a confirmation, and the answer of a decision that needs none.
constexpr int32_t ConfirmationRounds = 10;
constexpr int32_t NoConfirmation = -1;

// The argument values that the flow reads at the start of a run.
struct ScreenSettings {
  bool Interactive = true;
  int32_t Display = 0;
  int32_t Retries = 1;
  bool ActiveDisplay = false;
  bool TestAll = false;
  bool HighMode = false;
  bool Calibrate = false;
  bool AnalyzeEnable = false;
  bool AnalyzeAlways = false;
  bool AnalyzeOnCalibrate = false;
  bool AnalyzeFault = false;
  bool AnalyzeLogFile = false;
  bool TestAllResolutions = false;
  int32_t Prompt = 0;
  bool CaptureScreen = false;
  std::string ScreenshotDir;
  bool VerifyChecksum = true;
  bool CreateGenericCalibration = false;
};

// Where a subtest makes its DirectDraw session.
enum class SessionSetUp {
  InRun,               // at the start of every run, with the mode list and the high mode
  AtConstruction,      // the same once, when the subtest is made: at every program start
  BareAtConstruction,  // without the mode list, when the subtest is made
};

// When the verification waits its 1000 milliseconds and takes the sum.
enum class SumTiming {
  WaitThenSum,  // only when verifying: the wait, then the sum (with the .FAL under -AnalyzeAlways)
  DumpAtOnce,   // under -AnalyzeAlways the sum with the .FAL at once; else as WaitThenSum
  WaitAlways,   // the wait in any case, then the sum when verifying
};

// How a walk of the mode table on a named device treats a row.
enum class DeviceWalk {
  // The first available row is shown, a later one only while the screen result is 1; a mode the
  // device lacks counts as shown and good.
  WhileGood,
  // Every available row is shown; a mode the device lacks fails, except while calibrating.
  EveryRow,
};

// What the operator must press.
enum class DigitScreen { OneGreen, RedGreenBlue };

// What the flow does differently for one subtest. The defaults are what most rows share, so a row
// names its constants and what is its own.
struct ScreenSubtestTraits {
  // Names and numbers.
  const char* WindowName = "";                 // class name and title
  uint32_t TestId = 0;                         // of the calibration records
  const char* CaptureName = nullptr;           // stem of the screenshots; null: none taken
  std::optional<AnalysisSubtest> Dumps;        // names of the .CAL/.FAL/.LOG; none: no analysis
  DigitScreen Digits = DigitScreen::OneGreen;
  TestKeyCodes Keys{};                         // screen results of the keys that end a one-digit window

  // The run.
  SessionSetUp Session = SessionSetUp::AtConstruction;
  bool StopCheckFirst = false;                 // the stop check comes before -Calibrate is read
  int32_t AttachedPercentage = 10;             // after the secondary displays are attached
  int32_t DevicesLoadedPercentage = 12;        // in the main pass, after the devices are loaded
  int32_t MainPassPercentage = 50;             // after the main pass
  int32_t BadDisplayCode = DisplaysFailedCode;       // ends a main pass when -Display names no device
  int32_t BadDisplayRoundCode = DisplaysFailedCode;  // the same in a confirmation round
  bool BadDisplayClearsResult = false;         // a bad -Display also sets the screen result to 0
  int32_t DetachFailedCode = -DisplaysFailedCode;
  DeviceWalk OnDevice = DeviceWalk::WhileGood;
  bool RoundWalksDevice = false;               // a round on the chosen device walks its modes again
  bool SetsModeFirst = false;                  // every default-device window begins with SetDisplayMode
  bool QuietAfterFailure = false;              // on Windows PE, no closing Debug line after a failed screen
  uint32_t NoCodeFailure = 0;                  // reported for a failure without a code; 0: nothing
  bool RenewsDigits = true;                    // new digits and no wrong keys after every window

  // The window.
  bool StopTimer = false;                      // timer 0 lets a stop request close an open window
  SumTiming Sum = SumTiming::WaitAlways;
  bool ResultZeroUntilVerdict = false;         // the screen result is 0 from the sum to the verdict

  // Hooks; null where a subtest has none.
  // The picture on the paint context, before the digit; on every WM_PAINT.
  void (*Draw)(const ScreenFlow& flow, platform::Hwnd window, platform::Hdc dc) = nullptr;
  // A whole WM_PAINT of its own, for a picture whose contexts outlive the digits; replaces Draw.
  void (*Paint)(ScreenFlow& flow, platform::Hwnd window) = nullptr;
  // The check of the subtest's media, before the first window.
  void (*FileCheck)() = nullptr;
  // Checks that may settle the run before any window: may set the pass and the code.
  void (*ModeChecks)(ScreenFlow& flow, bool& pass, int32_t& code) = nullptr;
  // A row behind the 64 of the table; true if it is selected.
  bool (*ExtraRow)(const ScreenFlow& flow, ScreenMode& row) = nullptr;
  // After the main pass: settles `pass` and returns NoConfirmation, or returns how many
  // confirmation rounds must pass. Null: the main pass decides alone.
  int32_t (*Confirmation)(const ScreenSettings& settings, bool& pass, int32_t code) = nullptr;
};

// The screen's bits per pixel, width and height, from a "Display" context.
DisplayModeEntry ReadScreenMode();

// The steps before and after the window that every screen subtest shares.
// -Calibrate needs the driver (KestException 20472) and decides which controller the records carry.
void PrepareCalibration(bool calibrate, bool createGeneric);
// Outside calibration a non-interactive run that verifies needs ZR_VIDEO.DAT (KestException 990695).
void RequireCalibrationFile(bool calibrate, bool interactive, bool verifyChecksum);

// Runs one test window's message loop until it quits.
void RunMessageLoop();

// KeyOutcome as a code of a pass; 0 (no verdict) also writes message 96.
int32_t KeyOutcomeCode(int32_t outcome);

// One full-screen test window: its class, its owner (kept in the window's first extra word by
// the procedure on WM_CREATE), and the mode DirectDraw sets for it.
struct TestWindow {
  const char* Name = nullptr;  // class name and title
  platform::WndProc Proc = nullptr;
  void* Owner = nullptr;
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t Bits = 0;
  const platform::Guid* Device = nullptr;  // null: the default device
  bool WithoutDirectDrawOnMiniNt = true;   // Windows PE shows the window alone
  int32_t RefreshRate = 0;                 // below 0: no mode call
  bool LegacyModeCall = false;
  bool QuietAfterFailure = false;          // on Windows PE, no closing Debug line after a failed screen
};

// Registers the class, shows the window in its mode and runs its loop until it is destroyed; then
// gives up the DirectDraw objects. A failure the procedure left in `pendingFailure` is raised
// again behind the loop.
void ShowFullScreenWindow(DirectDrawSession& session, const TestWindow& request, std::exception_ptr& pendingFailure);

class ScreenFlow {
 public:
  // `traits` must outlive the flow. Makes the session if the row says so.
  ScreenFlow(KestDiag& test, const ScreenSubtestTraits& traits);
  ~ScreenFlow();
  ScreenFlow(const ScreenFlow&) = delete;
  ScreenFlow& operator=(const ScreenFlow&) = delete;

  const KestDiag& Subtest() const { return Test; }

  // A session of the subtest's own, its modes and the high mode.
  void SetUpSession();

  // The whole run of a subtest that walks the mode table.
  bool Run();

  // The start of every run up to UpdatePercentage(1): the session if made in the run, the stop
  // check, the calibration set-up, the settings and the check of ZR_VIDEO.DAT.
  void StartRun();
  // The end of every run: the stop check, then the pass, or the failure by the code's magnitude.
  bool Conclude(bool pass, int32_t code);

  int32_t RunMainPass();
  int32_t RunConfirmationRound();
  int32_t RunAllModes();
  int32_t RunAllModesOnDevice(const DirectDrawDeviceEntry& device);
  void RunMode(bool rowSelected, int32_t width, int32_t height, int32_t bits);
  void RunModeOnDevice(bool& shownBefore, bool rowSelected, int32_t width, int32_t height, int32_t bits,
                       const platform::Guid* guid);
  // Shows the mode's window again after a checksum failure, up to -Retries times.
  void ShowWithRetries(int32_t width, int32_t height, int32_t bits);
  DirectDrawSession* ShowTestWindow(int32_t width, int32_t height, int32_t bits);
  DirectDrawSession* ShowTestWindowOnDevice(int32_t width, int32_t height, int32_t bits, const platform::Guid* guid);
  // The screen back in StartMode between two percentages; the pass's code, or the screen result
  // when that code is 1.
  int32_t RestoreStartMode(int32_t percentageBefore, int32_t percentageAfter, int32_t code);

  // The procedure of every test window of the flow; the window's first extra word holds the flow.
  static platform::LResult PLATFORM_CALLBACK TestWindowProc(platform::Hwnd window, uint32_t message,
                                                            platform::WParam wParam, platform::LParam lParam);

  bool ModeAvailable(int32_t width, int32_t height, int32_t bits);

  // Reads every argument of the flow.
  void ReadSettings();

  ScreenSettings Settings;
  DirectDrawSession* Session = nullptr;
  int32_t ModeCount = 0;
  DisplayModeEntry HighMode;
  std::vector<ScreenMode> Rows;          // the table of this run
  std::vector<uint8_t> ModeSelected;     // one per row
  DisplayModeEntry FailedMode;
  DisplayModeEntry StartMode;
  bool ScreenPassed = true;
  int32_t RetriesLeft = 0;
  int32_t WrongKeys = 0;
  uint8_t RedConfirmed = 0;              // of the three-digit screen, cleared before each window
  uint8_t GreenConfirmed = 0;
  uint32_t DeviceCount = 0;
  DirectDrawDeviceEntry Devices[DirectDrawDeviceCapacity];
  // ModeTest's refresh rate for the DirectDraw mode call; the others keep 0.
  int32_t RefreshRate = 0;
  bool CheckMode = false;
  // Test windows shown in this run: a pass without one has judged no screen.
  uint32_t WindowsShown = 0;

 private:
  struct PassSteps;
  int32_t RunPass(const PassSteps& steps);
  // The work of a pass on one display: `device` null for the default device; `chosenDisplay`
  // false in the walk over every device.
  void WalkModes(const DirectDrawDeviceEntry* device, bool chosenDisplay);
  void ShowFailedMode(const DirectDrawDeviceEntry* device, bool chosenDisplay);
  int32_t Confirm(bool& pass, int32_t code);
  void ReadRows();
  void AfterWindow();

  TestWindow WindowFor(int32_t width, int32_t height, int32_t bits);
  DirectDrawSession* Show(const TestWindow& window);
  void HandleKey(uint32_t key, platform::Hwnd window);
  void Paint(platform::Hwnd window);
  void VerifyScreen(platform::Hwnd window);
  void TakeSum(const std::string& dumpName);
  bool Captures() const { return Traits.CaptureName != nullptr && Settings.CaptureScreen; }
  void CaptureScreen();
  bool IsHighMode(int32_t width, int32_t height, int32_t bits) const;

  KestDiag& Test;
  const ScreenSubtestTraits& Traits;
  bool LegacyModeCall = false;
  // A failure raised inside the window, raised again once its loop has ended.
  std::exception_ptr PendingFailure;
};
