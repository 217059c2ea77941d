#include "screen/ScreenFlow.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "framework/ControlFiles.h"
#include "framework/DiagnosticManager.h"
#include "framework/ErrorLines.h"
#include "framework/KestDiag.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "hardware/Devio.h"
#include "platform/clock.h"
#include "platform/display.h"
#include "platform/syscolor_brush.h"
#include "screen/CalibrationStore.h"
#include "screen/ScreenCapture.h"
#include "text/TextHelpers.h"

namespace {

const char kCalibrationFile[] = "ZR_VIDEO.DAT";

std::string ModeText(int32_t width, int32_t height, int32_t bits) {
  char text[64];
  std::snprintf(text, sizeof text, "%dx%dx%d", width, height, bits);
  return text;
}

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number, const std::string& text) {
  KestException* failure = new KestException(code);
  failure->AddMessage(category, number, text);
  throw failure;
}

// The default device comes with an all-zero GUID and is made without one.
const platform::Guid* DeviceGuid(const DirectDrawDeviceEntry& device) {
  const platform::Guid none{};
  return std::memcmp(&device.Guid, &none, sizeof none) == 0 ? nullptr : &device.Guid;
}

void Mark(int32_t percentage) {
  if (percentage != NoPercentage) Kestout::UpdatePercentage(percentage);
}

}  // namespace

DisplayModeEntry ReadScreenMode() {
  platform::Hdc display = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  DisplayModeEntry mode;
  mode.BitsPerPixel = platform::GetDeviceCaps(display, platform::CapsBitsPixel);
  mode.Width = platform::GetDeviceCaps(display, platform::CapsHorzRes);
  mode.Height = platform::GetDeviceCaps(display, platform::CapsVertRes);
  platform::DeleteDC(display);
  return mode;
}

void PrepareCalibration(bool calibrate, bool createGeneric) {
  if (calibrate) {
    CDevio devio;
    if (!devio.IsDriverOpen()) Raise(20472, CategoryDeviceErrors, 29, "");
  }
  UseControllerId = (!calibrate || !createGeneric) ? 1 : 0;
}

void RequireCalibrationFile(bool calibrate, bool interactive, bool verifyChecksum) {
  if (!calibrate && !interactive && verifyChecksum && !FileExists(kCalibrationFile))
    Raise(990695, CategoryServiceErrors, 15, kCalibrationFile);
}

void RunMessageLoop() {
  platform::Msg message;
  while (platform::GetMessageA(&message, 0, 0, 0) > 0) {
    platform::TranslateMessage(&message);
    platform::DispatchMessageA(&message);
  }
}

int32_t KeyOutcomeCode(int32_t outcome) {
  switch (outcome) {
    case KeyTooManyWrong: return WrongKeysCode;
    case KeyRejected: return RejectedCode;
    case KeyUndecided:
      Kestout::LogMessage(CategoryServiceErrors, 96, "");
      return NoVerdictCode;
    default: return 1;
  }
}

ScreenFlow::ScreenFlow(KestDiag& test, const ScreenSubtestTraits& traits) : Test(test), Traits(traits) {
  if (Traits.Session == SessionSetUp::AtConstruction) SetUpSession();
  else if (Traits.Session == SessionSetUp::BareAtConstruction) Session = new DirectDrawSession();
}

ScreenFlow::~ScreenFlow() { delete Session; }

void ScreenFlow::SetUpSession() {
  HighMode = DisplayModeEntry{};
  delete Session;
  Session = new DirectDrawSession();
  ModeCount = Session->EnumerateModes();
  NoteHighModes(*Session, ModeCount, HighMode);
}

void ScreenFlow::ReadSettings() {
  ScreenSettings& s = Settings;
  s.Interactive = Test.GetArgumentBool("-interactive", true);
  s.Display = Test.GetArgumentInt("-Display", 0);
  s.Retries = Test.GetArgumentInt("-Retries", 1);
  s.ActiveDisplay = Test.GetArgumentBool("-ActiveDisplay", false);
  s.TestAll = Test.GetArgumentBool("-TestAll", false);
  s.HighMode = Test.GetArgumentBool("-HighMode", false);
  s.Calibrate = Test.GetArgumentBool("-Calibrate", false);
  s.AnalyzeEnable = Test.GetArgumentBool("-AnalyzeEnable", false);
  s.AnalyzeAlways = Test.GetArgumentBool("-AnalyzeAlways", false);
  s.AnalyzeOnCalibrate = Test.GetArgumentBool("-AnalyzeOnCalibrate", false);
  s.AnalyzeFault = Test.GetArgumentBool("-AnalyzeFault", false);
  s.AnalyzeLogFile = Test.GetArgumentBool("-AnalyzeLogFile", false);
  s.TestAllResolutions = Test.GetArgumentBool("-TestAllResolutions", false);
  s.Prompt = Test.GetArgumentInt("-Prompt", 0);
  s.CaptureScreen = Test.GetArgumentBool("-CaptureScreen", false);
  s.ScreenshotDir = Test.GetArgumentString("-ScreenshotDir", "");
  s.VerifyChecksum = Test.GetArgumentBool("-VerifyChecksum", true);
  s.CreateGenericCalibration = Test.GetArgumentBool("-CreateGenericCalibration", false);
  LegacyModeCall = UseLegacyModeCall();
}

void ScreenFlow::ReadRows() {
  Rows.clear();
  ModeSelected.clear();
  for (int row = 0; row < ScreenModeCount; ++row) {
    Rows.push_back(GetScreenMode(row));
    ModeSelected.push_back(Test.GetArgumentBool(ModeArgumentName(GetScreenMode(row)), false) ? 1 : 0);
  }
  if (Traits.ExtraRow) {
    ScreenMode row{0, 0, 0};
    const bool selected = Traits.ExtraRow(*this, row);
    Rows.push_back(row);
    ModeSelected.push_back(selected ? 1 : 0);
  }
}

void ScreenFlow::StartRun() {
  Kestout::UpdatePercentage(0);
  if (Traits.Session == SessionSetUp::InRun) SetUpSession();
  if (Traits.StopCheckFirst) StopIfRequested();
  PrepareCalibration(Test.GetArgumentBool("-Calibrate", false), Test.GetArgumentBool("-CreateGenericCalibration", false));
  if (!Traits.StopCheckFirst) StopIfRequested();
  ReadSettings();
  RequireCalibrationFile(Settings.Calibrate, Settings.Interactive, Settings.VerifyChecksum);
  Kestout::UpdatePercentage(1);
}

bool ScreenFlow::Run() {
  bool pass = true;
  int32_t code = 0;
  StartRun();
  ReadRows();
  if (Traits.Dumps) AnalysisLogEnabled = Settings.AnalyzeLogFile ? 1 : 0;
  if (!Settings.Interactive) SetCalibrating(Settings.Calibrate);
  ScreenPassed = Settings.Interactive;
  if (Traits.FileCheck) Traits.FileCheck();
  Kestout::LogMessage(CategorySubtests, 2, "");

  Kestout::UpdatePercentage(5);
  StartMode = ReadScreenMode();
  if (Traits.ModeChecks) {
    Traits.ModeChecks(*this, pass, code);
    Kestout::UpdatePercentage(8);
  }
  ChooseConfirmationDigits();
  platform::Sleep(20);

  // A code from the mode checks settles the run without the secondary displays.
  if (Settings.ActiveDisplay && code == 0) {
    const int32_t attached = AttachSecondaryDisplays();
    pass = attached == 1;
    if (!pass) code = attached;
  }
  Kestout::UpdatePercentage(Traits.AttachedPercentage);

  bool mainPassRan = false;
  if (pass && !CheckMode) {
    mainPassRan = true;
    code = RunMainPass();
    Mark(Traits.MainPassPercentage);
    if (code == 1) pass = true;
    else if (code <= 0) pass = false;
    else if (code == UnfinishedCode) Raise(990356, CategoryDeviceErrors, 68, "");
  }

  bool detachFailed = false;
  if (Settings.ActiveDisplay && mainPassRan) {
    const int32_t detached = DetachSecondaryDisplays();
    if (pass && detached != 1) {
      code = Traits.DetachFailedCode;
      pass = false;
      detachFailed = true;
    }
  }
  if (!detachFailed) code = Confirm(pass, code);
  if (pass && mainPassRan && WindowsShown == 0)
    WarnNothingTested(code == Traits.BadDisplayCode ? "-Display names no display: no test window was shown"
                                                    : "no test window was shown");
  return Conclude(pass, code);
}

int32_t ScreenFlow::Confirm(bool& pass, int32_t code) {
  const int32_t rounds = Traits.Confirmation ? Traits.Confirmation(Settings, pass, code) : NoConfirmation;
  if (rounds == NoConfirmation) return code;
  for (int32_t round = 0; round < rounds; ++round) {
    code = RunConfirmationRound();
    Kestout::UpdatePercentage(90);
    if (code <= 0) {
      pass = false;
      return code;
    }
  }
  Kestout::LogMessage(CategoryWarnings, 36, "");
  pass = true;
  return code;
}

bool ScreenFlow::Conclude(bool pass, int32_t code) {
  StopIfRequested();
  if (pass) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    if (Settings.Calibrate) Kestout::LogMessage(CategorySubtests, 201, "");
    else Kestout::UpdatePercentage(100);
    return true;
  }
  const int64_t magnitude = std::llabs(static_cast<int64_t>(code));
  if (magnitude == 73) Raise(990358, CategoryDeviceErrors, 73, "");
  if (magnitude == UnfinishedCode) Raise(990356, CategoryDeviceErrors, 68, "");
  if (magnitude != 0) Kestout::ReportFailure(ToText(magnitude));
  else if (Traits.NoCodeFailure != 0) Kestout::ReportFailure(ToText(Traits.NoCodeFailure));
  return false;
}

// What one pass over the displays does and reports. The main pass walks the mode table; a
// confirmation round shows the failed mode again.
struct ScreenFlow::PassSteps {
  int32_t Started = NoPercentage;        // after the screen result is set
  int32_t DevicesLoaded = NoPercentage;  // after the devices are loaded
  int32_t BeforeWork = 0;                // around the work on the chosen display
  int32_t AfterWork = 0;
  int32_t FirstDevice = 0;               // the running percentage over every device starts here
  int32_t BeforeRestore = 0;             // around the restore of the start mode
  int32_t AfterRestore = 0;
  int32_t BadDisplayCode = 0;
  void (ScreenFlow::*Work)(const DirectDrawDeviceEntry* device, bool chosenDisplay) = nullptr;
};

int32_t ScreenFlow::RunMainPass() {
  PassSteps mainPass;
  mainPass.DevicesLoaded = Traits.DevicesLoadedPercentage;
  mainPass.BeforeWork = 20;
  mainPass.AfterWork = 25;
  mainPass.FirstDevice = 15;
  mainPass.BeforeRestore = 40;
  mainPass.AfterRestore = 45;
  mainPass.BadDisplayCode = Traits.BadDisplayCode;
  mainPass.Work = &ScreenFlow::WalkModes;
  return RunPass(mainPass);
}

int32_t ScreenFlow::RunConfirmationRound() {
  PassSteps round;
  round.Started = 55;
  round.DevicesLoaded = 58;
  round.BeforeWork = 65;
  round.AfterWork = 75;
  round.FirstDevice = 60;
  round.BeforeRestore = 80;
  round.AfterRestore = 85;
  round.BadDisplayCode = Traits.BadDisplayRoundCode;
  round.Work = &ScreenFlow::ShowFailedMode;
  return RunPass(round);
}

int32_t ScreenFlow::RunPass(const PassSteps& steps) {
  DeviceCount = 0;
  SetScreenResult(1);
  Mark(steps.Started);
  if (Settings.ActiveDisplay) LoadDirectDrawDevices(Devices, DeviceCount);
  Mark(steps.DevicesLoaded);

  if (PlanDisplays(DeviceCount, Settings.Display, Settings.ActiveDisplay, Settings.TestAll) == DisplayPlan::BadDisplay) {
    if (Traits.BadDisplayClearsResult) SetScreenResult(0);
    return steps.BadDisplayCode;
  }

  // With fewer than 3 devices the work goes to the default device.
  const bool named = UseDeviceGuid(DeviceCount);
  int32_t code = 1;
  if (!(Settings.TestAll && Settings.ActiveDisplay)) {
    Kestout::UpdatePercentage(steps.BeforeWork);
    (this->*steps.Work)(named ? &Devices[Settings.Display] : nullptr, true);
    code = KeyOutcomeCode(KeyOutcome);
    Kestout::UpdatePercentage(steps.AfterWork);
  } else {
    int32_t percent = steps.FirstDevice;
    for (uint32_t device = 0; device < DeviceCount; ++device) {
      percent += 2 * static_cast<int32_t>(device);
      Kestout::UpdatePercentage(percent);
      ChooseConfirmationDigits();
      (this->*steps.Work)(named ? &Devices[device] : nullptr, false);
      code = KeyOutcomeCode(KeyOutcome);
    }
  }
  return RestoreStartMode(steps.BeforeRestore, steps.AfterRestore, code);
}

void ScreenFlow::WalkModes(const DirectDrawDeviceEntry* device, bool /*chosenDisplay*/) {
  if (device != nullptr) RunAllModesOnDevice(*device);
  else RunAllModes();
}

// If no screen failed in this run, FailedMode is all zero and the window is not shown.
void ScreenFlow::ShowFailedMode(const DirectDrawDeviceEntry* device, bool chosenDisplay) {
  const DisplayModeEntry mode = FailedMode;
  if (device == nullptr) ShowTestWindow(mode.Width, mode.Height, mode.BitsPerPixel);
  else if (chosenDisplay && Traits.RoundWalksDevice) RunAllModesOnDevice(*device);
  else ShowTestWindowOnDevice(mode.Width, mode.Height, mode.BitsPerPixel, DeviceGuid(*device));
}

int32_t ScreenFlow::RestoreStartMode(int32_t percentageBefore, int32_t percentageAfter, int32_t code) {
  Kestout::UpdatePercentage(percentageBefore);
  SetDisplayMode(StartMode.Width, StartMode.Height, StartMode.BitsPerPixel);
  Kestout::UpdatePercentage(percentageAfter);
  return code != 1 ? code : GetScreenResult();
}

int32_t ScreenFlow::RunAllModes() {
  SetScreenResult(1);
  for (size_t row = 0; row < Rows.size(); ++row) {
    RunMode(ModeSelected[row] != 0, Rows[row].Width, Rows[row].Height, Rows[row].Bits);
    if (GetScreenResult() < 1) break;
  }
  return GetScreenResult();
}

int32_t ScreenFlow::RunAllModesOnDevice(const DirectDrawDeviceEntry& device) {
  SetScreenResult(1);
  bool shownBefore = false;
  for (size_t row = 0; row < Rows.size(); ++row) {
    RunModeOnDevice(shownBefore, ModeSelected[row] != 0, Rows[row].Width, Rows[row].Height, Rows[row].Bits,
                    DeviceGuid(device));
    if (GetScreenResult() < 1) break;
  }
  return GetScreenResult();
}

bool ScreenFlow::ModeAvailable(int32_t width, int32_t height, int32_t bits) {
  return ::ModeAvailable(*Session, ModeCount, width, height, bits);
}

bool ScreenFlow::IsHighMode(int32_t width, int32_t height, int32_t bits) const {
  return width == HighMode.Width && height == HighMode.Height && bits == HighMode.BitsPerPixel;
}

void ScreenFlow::RunMode(bool rowSelected, int32_t width, int32_t height, int32_t bits) {
  if (Settings.HighMode && IsHighMode(width, height, bits)) {
    if (!ModeAvailable(width, height, bits)) return;
    Kestout::LogMessage(CategoryDebug, 200, ModeText(HighMode.Width, HighMode.Height, HighMode.BitsPerPixel));
  } else {
    if (!rowSelected && !Settings.Calibrate && !Settings.TestAllResolutions) return;
    if (Settings.HighMode) return;
    if (!ModeAvailable(width, height, bits)) {
      // A mode the machine lacks counts as good while calibrating.
      if (Settings.Calibrate) SetScreenResult(1);
      return;
    }
  }
  ShowWithRetries(width, height, bits);
}

void ScreenFlow::ShowWithRetries(int32_t width, int32_t height, int32_t bits) {
  RetriesLeft = Settings.Retries;
  for (;;) {
    ShowTestWindow(width, height, bits);
    AfterWindow();
    // An operator's retries are the wrong keys; only a checksum is shown again.
    if (Settings.Interactive || ScreenPassed || RetriesLeft < 1) return;
    Kestout::LogMessage(CategoryServiceErrors, 20000, "Retrying due to Checksum failure...");
    --RetriesLeft;
  }
}

void ScreenFlow::AfterWindow() {
  if (!Traits.RenewsDigits) return;
  WrongKeys = 0;
  ChooseConfirmationDigits();
}

void ScreenFlow::RunModeOnDevice(bool& shownBefore, bool rowSelected, int32_t width, int32_t height, int32_t bits,
                                 const platform::Guid* guid) {
  auto show = [&] {
    ShowTestWindowOnDevice(width, height, bits, guid);
    AfterWindow();
  };
  // The first window on the device, then one more only while the screens before it passed.
  auto showWhileGood = [&] {
    if (!shownBefore) {
      show();
      shownBefore = true;
    } else if (GetScreenResult() == 1) {
      show();
    }
  };
  if (Settings.HighMode && IsHighMode(width, height, bits)) {
    if (ModeAvailable(width, height, bits)) showWhileGood();
    return;
  }
  if (!rowSelected && !Settings.Calibrate && !Settings.TestAllResolutions) return;
  if (Settings.HighMode) return;
  const bool available = ModeAvailable(width, height, bits);
  switch (Traits.OnDevice) {
    case DeviceWalk::EveryRow:
      if (available) show();
      else SetScreenResult(Settings.Calibrate ? 1 : ChecksumMismatchCode);
      return;
    case DeviceWalk::WhileGood: {
      if (available) {
        showWhileGood();
        return;
      }
      const bool wasShown = shownBefore;
      shownBefore = true;
      if (wasShown && GetScreenResult() != 1) return;
      SetScreenResult(1);
      return;
    }
  }
}

DirectDrawSession* ScreenFlow::ShowTestWindow(int32_t width, int32_t height, int32_t bits) {
  if (Traits.SetsModeFirst) SetDisplayMode(width, height, bits);
  return Show(WindowFor(width, height, bits));
}

DirectDrawSession* ScreenFlow::ShowTestWindowOnDevice(int32_t width, int32_t height, int32_t bits,
                                                      const platform::Guid* guid) {
  SetDisplayMode(width, height, bits);
  TestWindow window = WindowFor(width, height, bits);
  window.Device = guid;
  // A window on a named device always goes through DirectDraw.
  window.WithoutDirectDrawOnMiniNt = false;
  return Show(window);
}

TestWindow ScreenFlow::WindowFor(int32_t width, int32_t height, int32_t bits) {
  TestWindow window;
  window.Name = Traits.WindowName;
  window.Proc = &ScreenFlow::TestWindowProc;
  window.Owner = this;
  window.Width = width;
  window.Height = height;
  window.Bits = bits;
  window.RefreshRate = RefreshRate;
  window.LegacyModeCall = LegacyModeCall;
  window.QuietAfterFailure = Traits.QuietAfterFailure;
  return window;
}

DirectDrawSession* ScreenFlow::Show(const TestWindow& window) {
  if (window.Width == 0) return Session;
  ++WindowsShown;
  ShowFullScreenWindow(*Session, window, PendingFailure);
  return Session;
}

void ShowFullScreenWindow(DirectDrawSession& session, const TestWindow& request, std::exception_ptr& pendingFailure) {
  platform::WndClassA windowClass;
  windowClass.Style = platform::CsVRedraw | platform::CsHRedraw;
  windowClass.Proc = request.Proc;
  windowClass.WindowExtra = static_cast<int32_t>(sizeof(void*));
  windowClass.Cursor = platform::LoadCursorA(0, platform::IdcArrow);
  windowClass.Background = platform::GetSysColorBrush(platform::ColorBtnFace);
  windowClass.ClassName = request.Name;
  platform::RegisterClassA(&windowClass);  // a second registration fails without harm
  const platform::Hwnd window = platform::CreateWindowExA(
      platform::WsExTopmost, request.Name, request.Name, platform::WsPopup | platform::WsVisible, 0, 0,
      platform::GetSystemMetrics(platform::SmCxScreen), platform::GetSystemMetrics(platform::SmCyScreen), 0, 0, 0,
      request.Owner);
  // A failure raised inside the window is raised again once its loop has ended.
  auto runLoop = [&pendingFailure] {
    RunMessageLoop();
    if (!pendingFailure) return;
    std::exception_ptr failure = pendingFailure;
    pendingFailure = nullptr;
    std::rethrow_exception(failure);
  };

  if (request.WithoutDirectDrawOnMiniNt && IsMiniNT()) {
    // Windows PE has no DirectDraw: the window alone.
    platform::ShowWindow(window, platform::SwShowMaximized);
    platform::ShowCursor(false);
    platform::SetFocus(window);
    runLoop();
    platform::DestroyWindow(window);
    platform::ShowCursor(true);
    if (!request.QuietAfterFailure || GetScreenResult() >= 0) {
      Kestout::LogMessage(CategoryDebug, 204, "");
      platform::Sleep(1000);
    }
    return;
  }

  if (request.Device != nullptr) session.CreateOnDevice(*request.Device);
  else session.Create();
  session.SetCooperation(window);
  if (session.LastResult == 0) {
    NoteStartModeToPutBack();
    if (request.LegacyModeCall) {
      session.LastResult = session.DirectDraw->SetDisplayMode(static_cast<uint32_t>(request.Width),
                                                              static_cast<uint32_t>(request.Height),
                                                              static_cast<uint32_t>(request.Bits));
    } else if (request.RefreshRate >= 0) {
      session.SetMode(request.Width, request.Height, request.Bits, request.RefreshRate);
    }
  }
  session.CreatePrimarySurface();
  if (session.LastResult == 0) {
    platform::ShowWindow(window, platform::SwShow);
    platform::ShowCursor(false);
    platform::SetFocus(window);
    runLoop();
  } else {
    // KeyOutcome stays as it was: a refused mode reaches no verdict.
    platform::DestroyWindow(window);
  }
  session.ReleaseSurfaces();
  session.ReleaseDirectDraw();
  platform::ShowCursor(true);
  Kestout::LogMessage(CategoryDebug, 204, "");
  platform::Sleep(1000);
}

platform::LResult PLATFORM_CALLBACK ScreenFlow::TestWindowProc(platform::Hwnd window, uint32_t message,
                                                               platform::WParam wParam, platform::LParam lParam) {
  ScreenFlow* flow = reinterpret_cast<ScreenFlow*>(platform::GetWindowLongPtrA(window, 0));
  if (message == platform::WmCreate) {
    platform::SetTimer(window, 1, 2000, nullptr);
    const auto* create = reinterpret_cast<const platform::CreateStructA*>(lParam);
    platform::SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
    flow = static_cast<ScreenFlow*>(create->CreateParams);
    if (flow != nullptr && flow->Traits.StopTimer) platform::SetTimer(window, 0, 10, nullptr);
    return 0;
  }
  if (flow == nullptr) return platform::DefWindowProcA(window, message, wParam, lParam);
  switch (message) {
    case platform::WmDestroy:
      if (flow->Traits.StopTimer) platform::KillTimer(window, 0);
      platform::PostQuitMessage(0);
      return 0;
    case platform::WmPaint:
      flow->Paint(window);
      return 0;
    case platform::WmKeyDown:
      if (flow->Settings.Interactive) flow->HandleKey(static_cast<uint32_t>(wParam), window);
      return 0;
    case platform::WmTimer:
      if (wParam == 1) {
        platform::SendMessageA(window, platform::WmPaint, 0, 0);
      } else if (wParam == 0 && flow->Traits.StopTimer && IsTerminationRequested()) {
        platform::KillTimer(window, 0);
        platform::DestroyWindow(window);
      }
      return 0;
    case VerifyScreenMessage:
      flow->VerifyScreen(window);
      return 0;
    default:
      return platform::DefWindowProcA(window, message, wParam, lParam);
  }
}

void ScreenFlow::HandleKey(uint32_t key, platform::Hwnd window) {
  switch (Traits.Digits) {
    case DigitScreen::OneGreen:
      HandleSingleDigitKey(key, window, Traits.Keys, Settings.Retries, WrongKeys, Test.GetSubtestName());
      return;
    case DigitScreen::RedGreenBlue:
      HandleThreeDigitKey(key, window, Settings.Retries, WrongKeys, RedConfirmed, GreenConfirmed,
                          Test.GetSubtestName());
      return;
  }
}

void ScreenFlow::Paint(platform::Hwnd window) {
  if (Traits.Paint) {
    Traits.Paint(*this, window);
    return;
  }
  platform::PaintStruct paint;
  const platform::Hdc dc = platform::BeginPaint(window, &paint);
  if (Traits.Draw) Traits.Draw(*this, window, dc);
  if (Settings.Interactive) {
    DrawConfirmationDigit(dc, static_cast<uint32_t>(Settings.Prompt));
    platform::EndPaint(window, &paint);
    return;
  }
  platform::EndPaint(window, &paint);
  platform::SendMessageA(window, VerifyScreenMessage, 0, 0);
}

void ScreenFlow::CaptureScreen() {
  CaptureScreenToBitmap(Session->PrimarySurface, Traits.CaptureName, Settings.Retries - RetriesLeft,
                        Settings.ScreenshotDir);
}

void ScreenFlow::TakeSum(const std::string& dumpName) {
  switch (Traits.Sum) {
    case SumTiming::WaitThenSum:
      if (!Settings.VerifyChecksum) return;
      platform::Sleep(1000);
      if (Settings.AnalyzeAlways) Session->ChecksumAndDumpSurface(dumpName);
      else Session->ChecksumSurface();
      return;
    case SumTiming::DumpAtOnce:
      if (Settings.AnalyzeAlways) {
        Session->ChecksumAndDumpSurface(dumpName);
      } else if (Settings.VerifyChecksum) {
        platform::Sleep(1000);
        Session->ChecksumSurface();
      }
      return;
    case SumTiming::WaitAlways:
      platform::Sleep(1000);
      if (Settings.VerifyChecksum) Session->ChecksumSurface();
      return;
  }
}

void ScreenFlow::VerifyScreen(platform::Hwnd window) {
  // Only an unattended window is judged by its sum.
  if (Settings.Interactive) return;
  // The analysis reads the display through a context of its own and needs the names of the dumps.
  platform::Hdc display = 0;
  std::string calName, falName, logName;
  bool named = false;
  if (Traits.Dumps) {
    display = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
    const DisplayModeEntry screen = ReadScreenMode();
    named = GetDumpFileNames(*Traits.Dumps, screen.Width, screen.Height, screen.BitsPerPixel, calName, falName,
                             logName);
  }
  auto close = [display, window] {
    if (display != 0) platform::DeleteDC(display);
    platform::DestroyWindow(window);
  };

  TakeSum(falName);
  if (Traits.ResultZeroUntilVerdict) SetScreenResult(0);
  if (!Settings.VerifyChecksum) {
    ScreenPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
    close();
    return;
  }

  if (named && Settings.Calibrate && Settings.AnalyzeOnCalibrate) Session->DumpSurfaceWhite(calName);
  int32_t verdict = 0;
  try {
    verdict = VerifyScreenChecksum(Traits.TestId, Session->Checksum, false);
  } catch (...) {
    // A C++ exception must not unwind through the system's dispatch frames: end the window and
    // raise it again behind the message loop.
    PendingFailure = std::current_exception();
    close();
    return;
  }
  if (verdict == 1) {
    if (Captures() && Settings.Calibrate) CaptureScreen();
    ScreenPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
  } else {
    if (named && !Settings.Calibrate && Settings.AnalyzeEnable)
      AnalyzeFailedScreen(*Session, display, Settings.AnalyzeAlways, calName, falName, logName);
    KeyOutcome = KeyChecksumMismatch;
    if (Captures()) CaptureScreen();
    FailedMode = ReadScreenMode();
    ScreenPassed = false;
    SetScreenResult(ChecksumMismatchCode);
  }
  if (Traits.StopTimer) platform::KillTimer(window, 0);
  close();
}
