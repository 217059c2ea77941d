// The machine that ModeTest, BltTest and LineTest share: walk the mode table, show a full-screen
// test window in each chosen and available mode, have it judged by a key or a checksum, retry,
// and turn what happened into one verdict. Each subtest owns one ScreenFlow and gives it its
// constants and its picture; PaletteTest uses the window and key parts alone.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "platform/window.h"
#include "screen/Confirmation.h"
#include "screen/DirectDrawSession.h"
#include "screen/DisplayControl.h"
#include "screen/ScreenArguments.h"

class KestDiag;

// The window message that starts a verification (WM_USER + 1).
constexpr uint32_t VerifyScreenMessage = platform::WmUser + 1;

// Codes of the flow.
constexpr int32_t WrongKeysCode = -990370;
constexpr int32_t RejectedCode = -73;
constexpr int32_t NoVerdictCode = -990513;
constexpr int32_t ChecksumMismatchCode = -990408;
constexpr int32_t DetachFailedCode = 990368;
constexpr int32_t UnfinishedCode = 68;

enum class ScreenSubtestKind { Mode, Blt, Line };

// What differs between the three subtests apart from the picture.
struct ScreenSubtestTraits {
  ScreenSubtestKind Kind;
  uint32_t TestId;          // of the calibration records
  const char* WindowName;   // class name and title
  const char* CaptureName;  // stem of the screenshots
  int32_t BadDisplayCode;
  TestKeyCodes Keys;
};

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

// The screen's bits per pixel, width and height, from a "Display" context.
DisplayModeEntry ReadScreenMode();

// The steps before and after the window that every screen subtest shares.
// -Calibrate needs the driver (KestException 20472) and decides which controller the records carry.
void PrepareCalibration(bool calibrate, bool createGeneric);
// Outside calibration a non-interactive run that verifies needs ZR_VIDEO.DAT (KestException 990695).
void RequireCalibrationFile(bool calibrate, bool interactive, bool verifyChecksum);
// A stop request from a control file or a console break.
bool StopRequested();
// Writes the stop message and throws KestException(995000).
[[noreturn]] void StopRun();

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
  // `draw` paints the picture on the paint context, before the digit; it runs on every WM_PAINT.
  ScreenFlow(KestDiag& test, const ScreenSubtestTraits& traits,
             std::function<void(platform::Hwnd window, platform::Hdc dc)> draw);
  ~ScreenFlow();
  ScreenFlow(const ScreenFlow&) = delete;
  ScreenFlow& operator=(const ScreenFlow&) = delete;

  // A session of the subtest's own, its modes and the high mode (ModeTest in Run, the others in
  // their constructors).
  void SetUpSession();

  // The whole run. `modeChecks` is ModeTest's step that may settle the run before any window
  // (-CheckRefreshRate, -CheckMode): it may set the pass and the code; `extraRow` gives
  // ModeTest's 65th row; `fileCheck` is BltTest's check of its media.
  struct RunHooks {
    std::function<void(bool& pass, int32_t& code)> ModeChecks;
    std::function<bool(ScreenMode& row)> ExtraRow;
    std::function<void()> FileCheck;
  };
  bool Run(const RunHooks& hooks);

  int32_t RunMainPass();
  int32_t RunConfirmationRound();
  int32_t RunAllModes();
  int32_t RunAllModesOnDevice(const DirectDrawDeviceEntry& device);
  void RunMode(bool rowSelected, int32_t width, int32_t height, int32_t bits);
  void RunModeOnDevice(bool& shownBefore, bool rowSelected, int32_t width, int32_t height, int32_t bits,
                       const platform::Guid* guid);
  DirectDrawSession* ShowTestWindow(int32_t width, int32_t height, int32_t bits);
  DirectDrawSession* ShowTestWindowOnDevice(int32_t width, int32_t height, int32_t bits, const platform::Guid* guid);

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
  uint32_t DeviceCount = 0;
  DirectDrawDeviceEntry Devices[DirectDrawDeviceCapacity];
  // ModeTest's refresh rate for the DirectDraw mode call; the others keep 0.
  int32_t RefreshRate = 0;
  bool CheckMode = false;

 private:
  void HandleKey(uint32_t key, platform::Hwnd window);
  void Paint(platform::Hwnd window);
  void VerifyScreen(platform::Hwnd window);
  void CaptureScreen();
  DirectDrawSession* ShowWindowOn(int32_t width, int32_t height, int32_t bits, const platform::Guid* guid,
                                  bool onDevice);
  bool IsHighMode(int32_t width, int32_t height, int32_t bits) const;
  int32_t DecideAndConfirm(bool& pass, int32_t code);

  KestDiag& Test;
  ScreenSubtestTraits Traits;
  std::function<void(platform::Hwnd, platform::Hdc)> Draw;
  bool LegacyModeCall = false;
  // A failure raised inside the window, raised again once its loop has ended.
  std::exception_ptr PendingFailure;
};
