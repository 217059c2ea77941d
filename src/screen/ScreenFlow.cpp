#include "screen/ScreenFlow.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "framework/ControlFiles.h"
#include "framework/DiagnosticManager.h"
#include "framework/KestDiag.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "hardware/Devio.h"
#include "platform/clock.h"
#include "platform/display.h"
#include "platform/syscolor_brush.h"
#include "screen/CalibrationStore.h"
#include "screen/FailureAnalysis.h"
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

bool StopRequested() { return IsTerminationRequested() || IsConsoleInterrupted(); }

void StopRun() {
  Kestout::LogMessage(CategoryServiceErrors, 1, "");
  throw new KestException(995000);
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

ScreenFlow::ScreenFlow(KestDiag& test, const ScreenSubtestTraits& traits,
                       std::function<void(platform::Hwnd, platform::Hdc)> draw)
    : Test(test), Traits(traits), Draw(std::move(draw)) {}

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
  Rows.clear();
  ModeSelected.clear();
  for (int row = 0; row < ScreenModeCount; ++row) {
    Rows.push_back(GetScreenMode(row));
    ModeSelected.push_back(Test.GetArgumentBool(ModeArgumentName(GetScreenMode(row)), false) ? 1 : 0);
  }
  LegacyModeCall = UseLegacyModeCall();
}

bool ScreenFlow::Run(const RunHooks& hooks) {
  Kestout::UpdatePercentage(0);
  bool pass = true;
  int32_t code = 0;
  const bool modeTest = Traits.Kind == ScreenSubtestKind::Mode;
  const bool bltTest = Traits.Kind == ScreenSubtestKind::Blt;

  if (modeTest) SetUpSession();
  if (modeTest && StopRequested()) StopRun();
  PrepareCalibration(Test.GetArgumentBool("-Calibrate", false), Test.GetArgumentBool("-CreateGenericCalibration", false));
  if (!modeTest && StopRequested()) StopRun();

  ReadSettings();
  if (hooks.ExtraRow) {
    ScreenMode row{0, 0, 0};
    const bool selected = hooks.ExtraRow(row);
    Rows.push_back(row);
    ModeSelected.push_back(selected ? 1 : 0);
  }
  RequireCalibrationFile(Settings.Calibrate, Settings.Interactive, Settings.VerifyChecksum);

  Kestout::UpdatePercentage(1);
  if (Traits.Kind != ScreenSubtestKind::Line) AnalysisLogEnabled = Settings.AnalyzeLogFile ? 1 : 0;
  if (!Settings.Interactive) SetCalibrating(Settings.Calibrate);
  ScreenPassed = Settings.Interactive;
  if (hooks.FileCheck) hooks.FileCheck();
  Kestout::LogMessage(CategorySubtests, 2, "");

  Kestout::UpdatePercentage(5);
  StartMode = ReadScreenMode();
  if (modeTest) {
    if (hooks.ModeChecks) hooks.ModeChecks(pass, code);
    Kestout::UpdatePercentage(8);
  }
  ChooseConfirmationDigits();
  platform::Sleep(20);

  if (Settings.ActiveDisplay && (!modeTest || code == 0)) {
    const int32_t attached = AttachSecondaryDisplays();
    pass = attached == 1;
    if (!pass) code = attached;
  }
  Kestout::UpdatePercentage(modeTest ? 12 : 10);

  bool mainPassRan = false;
  if (pass && !(modeTest && CheckMode)) {
    mainPassRan = true;
    code = RunMainPass();
    if (!modeTest) Kestout::UpdatePercentage(50);
    if (code == 1) pass = true;
    else if (code <= 0) pass = false;
    else if (code == UnfinishedCode) Raise(990356, CategoryDeviceErrors, 68, "");
  }

  bool detachFailed = false;
  if (Settings.ActiveDisplay && mainPassRan) {
    const int32_t detached = DetachSecondaryDisplays();
    if (pass && detached != 1) {
      code = bltTest ? DetachFailedCode : -DetachFailedCode;
      pass = false;
      detachFailed = true;
    }
  }
  if (!detachFailed) code = DecideAndConfirm(pass, code);

  if (StopRequested()) StopRun();
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
  return false;
}

int32_t ScreenFlow::DecideAndConfirm(bool& pass, int32_t code) {
  int32_t rounds = 10;
  switch (Traits.Kind) {
    case ScreenSubtestKind::Mode: return code;
    case ScreenSubtestKind::Blt:
      if (pass && !Settings.Calibrate) {
        pass = code == 1;
        return code;
      }
      if (code != 1 || Settings.Interactive) {
        pass = false;
        return code;
      }
      if (Settings.AnalyzeEnable) rounds = 0;
      break;
    case ScreenSubtestKind::Line:
      if (pass && !Settings.Calibrate && code == 1) return code;
      if (code < 1) return code;
      if (Settings.Interactive) {
        pass = false;
        return code;
      }
      break;
  }
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

int32_t ScreenFlow::RunMainPass() {
  const bool modeTest = Traits.Kind == ScreenSubtestKind::Mode;
  DeviceCount = 0;
  SetScreenResult(1);
  if (Settings.ActiveDisplay) LoadDirectDrawDevices(Devices, DeviceCount);
  if (!modeTest) Kestout::UpdatePercentage(12);

  if (PlanDisplays(DeviceCount, Settings.Display, Settings.ActiveDisplay, Settings.TestAll) == DisplayPlan::BadDisplay) {
    if (Traits.Kind == ScreenSubtestKind::Blt) SetScreenResult(0);
    return Traits.BadDisplayCode;
  }

  int32_t code = 1;
  if (!(Settings.TestAll && Settings.ActiveDisplay)) {
    Kestout::UpdatePercentage(20);
    if (!UseDeviceGuid(DeviceCount)) RunAllModes();
    else RunAllModesOnDevice(Devices[Settings.Display]);
    code = KeyOutcomeCode(KeyOutcome);
    Kestout::UpdatePercentage(25);
  } else {
    int32_t percent = 15;
    for (uint32_t device = 0; device < DeviceCount; ++device) {
      percent += 2 * static_cast<int32_t>(device);
      Kestout::UpdatePercentage(percent);
      ChooseConfirmationDigits();
      if (UseDeviceGuid(DeviceCount)) RunAllModesOnDevice(Devices[device]);
      else RunAllModes();
      code = KeyOutcomeCode(KeyOutcome);
    }
  }

  Kestout::UpdatePercentage(40);
  SetDisplayMode(StartMode.Width, StartMode.Height, StartMode.BitsPerPixel);
  Kestout::UpdatePercentage(45);
  return code != 1 ? code : GetScreenResult();
}

int32_t ScreenFlow::RunConfirmationRound() {
  DeviceCount = 0;
  SetScreenResult(1);
  Kestout::UpdatePercentage(55);
  if (Settings.ActiveDisplay) LoadDirectDrawDevices(Devices, DeviceCount);
  Kestout::UpdatePercentage(58);

  if (PlanDisplays(DeviceCount, Settings.Display, Settings.ActiveDisplay, Settings.TestAll) == DisplayPlan::BadDisplay) {
    if (Traits.Kind == ScreenSubtestKind::Line) return -1;
    SetScreenResult(0);
    return Traits.BadDisplayCode;
  }

  int32_t code = 1;
  if (!(Settings.TestAll && Settings.ActiveDisplay)) {
    Kestout::UpdatePercentage(65);
    if (!UseDeviceGuid(DeviceCount)) {
      ShowTestWindow(FailedMode.Width, FailedMode.Height, FailedMode.BitsPerPixel);
    } else if (Traits.Kind == ScreenSubtestKind::Line) {
      RunAllModesOnDevice(Devices[Settings.Display]);
    } else {
      ShowTestWindowOnDevice(FailedMode.Width, FailedMode.Height, FailedMode.BitsPerPixel,
                             DeviceGuid(Devices[Settings.Display]));
    }
    code = KeyOutcomeCode(KeyOutcome);
    Kestout::UpdatePercentage(75);
  } else {
    int32_t percent = 60;
    for (uint32_t device = 0; device < DeviceCount; ++device) {
      percent += 2 * static_cast<int32_t>(device);
      Kestout::UpdatePercentage(percent);
      ChooseConfirmationDigits();
      if (UseDeviceGuid(DeviceCount))
        ShowTestWindowOnDevice(FailedMode.Width, FailedMode.Height, FailedMode.BitsPerPixel, DeviceGuid(Devices[device]));
      else
        ShowTestWindow(FailedMode.Width, FailedMode.Height, FailedMode.BitsPerPixel);
      code = KeyOutcomeCode(KeyOutcome);
    }
  }

  Kestout::UpdatePercentage(80);
  SetDisplayMode(StartMode.Width, StartMode.Height, StartMode.BitsPerPixel);
  Kestout::UpdatePercentage(85);
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
  RetriesLeft = Settings.Retries;
  for (;;) {
    ShowTestWindow(width, height, bits);
    WrongKeys = 0;
    ChooseConfirmationDigits();
    // An operator's retries are the wrong keys; only a checksum is shown again.
    if (Settings.Interactive || ScreenPassed || RetriesLeft < 1) return;
    Kestout::LogMessage(CategoryServiceErrors, 20000, "Retrying due to Checksum failure...");
    --RetriesLeft;
  }
}

void ScreenFlow::RunModeOnDevice(bool& shownBefore, bool rowSelected, int32_t width, int32_t height, int32_t bits,
                                 const platform::Guid* guid) {
  auto show = [&] {
    ShowTestWindowOnDevice(width, height, bits, guid);
    WrongKeys = 0;
    ChooseConfirmationDigits();
  };
  if (Settings.HighMode && IsHighMode(width, height, bits)) {
    if (!ModeAvailable(width, height, bits)) return;
    if (!shownBefore) {
      show();
      shownBefore = true;
      return;
    }
    if (GetScreenResult() == 1) show();
    return;
  }
  if (!rowSelected && !Settings.Calibrate && !Settings.TestAllResolutions) return;
  if (Settings.HighMode) return;
  if (!ModeAvailable(width, height, bits)) {
    if (Traits.Kind == ScreenSubtestKind::Blt) {
      SetScreenResult(Settings.Calibrate ? 1 : ChecksumMismatchCode);
      return;
    }
    const bool wasShown = shownBefore;
    shownBefore = true;
    if (wasShown && GetScreenResult() != 1) return;
    SetScreenResult(1);
    return;
  }
  if (Traits.Kind == ScreenSubtestKind::Blt) {
    show();
    return;
  }
  if (!shownBefore) {
    show();
    shownBefore = true;
    return;
  }
  if (GetScreenResult() == 1) show();
}

DirectDrawSession* ScreenFlow::ShowTestWindow(int32_t width, int32_t height, int32_t bits) {
  if (Traits.Kind == ScreenSubtestKind::Mode) SetDisplayMode(width, height, bits);
  return ShowWindowOn(width, height, bits, nullptr, false);
}

DirectDrawSession* ScreenFlow::ShowTestWindowOnDevice(int32_t width, int32_t height, int32_t bits,
                                                      const platform::Guid* guid) {
  SetDisplayMode(width, height, bits);
  return ShowWindowOn(width, height, bits, guid, true);
}

DirectDrawSession* ScreenFlow::ShowWindowOn(int32_t width, int32_t height, int32_t bits, const platform::Guid* guid,
                                            bool onDevice) {
  if (width == 0) return Session;
  TestWindow window;
  window.Name = Traits.WindowName;
  window.Proc = &ScreenFlow::TestWindowProc;
  window.Owner = this;
  window.Width = width;
  window.Height = height;
  window.Bits = bits;
  window.Device = guid;
  window.WithoutDirectDrawOnMiniNt = !onDevice;
  window.RefreshRate = RefreshRate;
  window.LegacyModeCall = LegacyModeCall;
  // ModeTest keeps quiet about a Windows PE window that ended in a failure.
  window.QuietAfterFailure = Traits.Kind == ScreenSubtestKind::Mode;
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
    // LineTest lets a stop request close an open window.
    if (flow != nullptr && flow->Traits.Kind == ScreenSubtestKind::Line) platform::SetTimer(window, 0, 10, nullptr);
    return 0;
  }
  if (flow == nullptr) return platform::DefWindowProcA(window, message, wParam, lParam);
  const bool lineTest = flow->Traits.Kind == ScreenSubtestKind::Line;
  switch (message) {
    case platform::WmDestroy:
      if (lineTest) platform::KillTimer(window, 0);
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
      } else if (wParam == 0 && lineTest && IsTerminationRequested()) {
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
  HandleSingleDigitKey(key, window, Traits.Keys, Settings.Retries, WrongKeys, Test.GetSubtestName());
}

void ScreenFlow::Paint(platform::Hwnd window) {
  platform::PaintStruct paint;
  const platform::Hdc dc = platform::BeginPaint(window, &paint);
  if (Draw) Draw(window, dc);
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

void ScreenFlow::VerifyScreen(platform::Hwnd window) {
  const bool lineTest = Traits.Kind == ScreenSubtestKind::Line;
  const platform::Hdc display = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  std::string calName, falName, logName;
  bool named = false;
  if (!lineTest) {
    const DisplayModeEntry screen = ReadScreenMode();
    named = GetDumpFileNames(Traits.Kind == ScreenSubtestKind::Mode ? AnalysisSubtest::ModeTest : AnalysisSubtest::BltTest,
                             screen.Width, screen.Height, screen.BitsPerPixel, calName, falName, logName);
  }

  // The sum; ModeTest waits first in every case, BltTest not when it dumps with the sum.
  switch (Traits.Kind) {
    case ScreenSubtestKind::Mode:
      if (Settings.VerifyChecksum) {
        platform::Sleep(1000);
        if (Settings.AnalyzeAlways) Session->ChecksumAndDumpSurface(falName);
        else Session->ChecksumSurface();
      }
      break;
    case ScreenSubtestKind::Blt:
      if (Settings.AnalyzeAlways) {
        Session->ChecksumAndDumpSurface(falName);
      } else if (Settings.VerifyChecksum) {
        platform::Sleep(1000);
        Session->ChecksumSurface();
      }
      break;
    case ScreenSubtestKind::Line:
      platform::Sleep(1000);
      if (Settings.VerifyChecksum) Session->ChecksumSurface();
      break;
  }

  if (!Settings.VerifyChecksum) {
    ScreenPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
    platform::DeleteDC(display);
    platform::DestroyWindow(window);
    return;
  }

  if (!lineTest && named && Settings.Calibrate && Settings.AnalyzeOnCalibrate) Session->DumpSurfaceWhite(calName);
  int32_t verdict = 0;
  try {
    verdict = VerifyScreenChecksum(Traits.TestId, Session->Checksum, false);
  } catch (...) {
    // A C++ exception must not unwind through the system's dispatch frames: end the window and
    // raise it again behind the message loop.
    PendingFailure = std::current_exception();
    platform::DeleteDC(display);
    platform::DestroyWindow(window);
    return;
  }
  if (verdict == 1) {
    if (Settings.CaptureScreen && Settings.Calibrate) CaptureScreen();
    ScreenPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
  } else {
    if (!lineTest && named && !Settings.Calibrate && Settings.AnalyzeEnable)
      AnalyzeFailedScreen(*Session, display, Settings.AnalyzeAlways, calName, falName, logName);
    KeyOutcome = KeyChecksumMismatch;
    if (Settings.CaptureScreen) CaptureScreen();
    FailedMode = ReadScreenMode();
    ScreenPassed = false;
    SetScreenResult(ChecksumMismatchCode);
  }
  if (lineTest) platform::KillTimer(window, 0);
  platform::DeleteDC(display);
  platform::DestroyWindow(window);
}
