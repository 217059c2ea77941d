#include "subtests/PaletteTest.h"

#include <cstdlib>
#include <vector>

#include "framework/ControlFiles.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/clock.h"
#include "screen/CalibrationStore.h"
#include "screen/Confirmation.h"
#include "screen/DisplayControl.h"
#include "screen/ScreenArguments.h"
#include "screen/ScreenFlow.h"
#include "text/TextHelpers.h"

namespace {

const char kWindowName[] = "Palette Test";
const int32_t kStripeCount = 240;
const int32_t kModeMissingCode = -990374;
const int32_t kNotConfirmedCode = -249014;

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number) {
  KestException* failure = new KestException(code);
  failure->AddMessage(category, number, "");
  throw failure;
}

}  // namespace

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
  Session = new DirectDrawSession();
}

PaletteTest::~PaletteTest() { delete Session; }

bool PaletteTest::ParseResolution(const std::string& text, const DisplayModeEntry& current, DisplayModeEntry& mode) {
  if (text == "current") {
    mode = current;
    return true;
  }
  std::vector<std::string> tokens;
  Split(text, "x", tokens);
  if (tokens.size() != 3) return false;
  for (const std::string& token : tokens)
    if (!IsDecimal(token)) return false;
  mode.Width = ToInt32(tokens[0]);
  mode.Height = ToInt32(tokens[1]);
  mode.BitsPerPixel = ToInt32(tokens[2]);
  return true;
}

bool PaletteTest::Run() {
  Kestout::UpdatePercentage(0);
  Calibrate = GetArgumentBool("-Calibrate", false);
  Prompt = GetArgumentInt("-Prompt", 0);
  PrepareCalibration(Calibrate, GetArgumentBool("-CreateGenericCalibration", false));
  if (StopRequested()) StopRun();

  Retries = GetArgumentInt("-Retries", 1);
  Interactive = GetArgumentBool("-interactive", true);
  VerifyChecksum = GetArgumentBool("-VerifyChecksum", true);
  RequireCalibrationFile(Calibrate, Interactive, VerifyChecksum);

  Kestout::UpdatePercentage(1);
  SetCalibrating(Calibrate);
  ScreenPassed = Interactive;
  // No record may come from a screen that the operator judged.
  if (Calibrate && Interactive) Raise(990515, CategoryServiceErrors, 98);

  Resolution = GetArgumentString("-Resolution", "800x600x32");
  if (Resolution.empty()) Resolution = "800X600X32";
  Resolution = ToLower(Resolution);
  StartMode = ReadScreenMode();
  DisplayModeEntry mode;
  if (!ParseResolution(Resolution, StartMode, mode)) Raise(990803, CategoryServiceErrors, 220);
  TestWidth = static_cast<int16_t>(mode.Width);
  TestHeight = static_cast<int16_t>(mode.Height);
  TestBits = static_cast<int16_t>(mode.BitsPerPixel);

  Kestout::LogMessage(CategorySubtests, 2, "");
  Kestout::UpdatePercentage(5);
  SetScreenResult(1);
  ChooseConfirmationDigits();

  int32_t code = 0;
  bool pass = false;
  for (int32_t attempt = 0;; ++attempt) {
    RedConfirmed = 0;
    GreenConfirmed = 0;
    code = RunPalettePass();
    if (code > 0) {
      pass = true;
      break;
    }
    if (attempt >= Retries) break;
  }

  Kestout::UpdatePercentage(90);
  if (StopRequested()) StopRun();
  if (pass) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    if (Calibrate) Kestout::LogMessage(CategorySubtests, 201, "");
    else Kestout::UpdatePercentage(100);
    return true;
  }
  const int64_t magnitude = std::llabs(static_cast<int64_t>(code));
  if (magnitude == 73) Raise(990358, CategoryDeviceErrors, 73);
  if (magnitude == UnfinishedCode) Raise(990356, CategoryDeviceErrors, 68);
  Kestout::ReportFailure(magnitude == 0 ? std::string("249014") : ToText(magnitude));
  return false;
}

int32_t PaletteTest::RunPalettePass() {
  SetScreenResult(1);
  ChooseConfirmationDigits();
  Kestout::UpdatePercentage(10);
  Session->HasMode(TestWidth, TestHeight, TestBits);
  Kestout::UpdatePercentage(15);

  int32_t code = kModeMissingCode;
  if (Session->ModeFound != 0) {
    // Only a checksum is shown again; an operator's retries are the tries of the run.
    int32_t retriesLeft = Retries;
    for (;;) {
      ShowTestWindow(TestWidth, TestHeight, TestBits);
      if (Interactive || ScreenPassed || retriesLeft < 1) break;
      Kestout::LogMessage(CategoryServiceErrors, 20000, "Retrying due to Checksum failure...");
      --retriesLeft;
    }
    Kestout::UpdatePercentage(20);
    if (KeyOutcome == KeyConfirmed) {
      SetScreenResult(1);
      code = 1;
    } else {
      SetScreenResult(0);
      code = KeyOutcome == KeyChecksumMismatch ? ChecksumMismatchCode : kNotConfirmedCode;
    }
  }

  Kestout::UpdatePercentage(75);
  SetDisplayMode(StartMode.Width, StartMode.Height, StartMode.BitsPerPixel);
  Kestout::UpdatePercentage(85);
  return code != 1 ? code : GetScreenResult();
}

DirectDrawSession* PaletteTest::ShowTestWindow(int32_t width, int32_t height, int32_t bits) {
  if (width == 0) return Session;
  TestWindow window;
  window.Name = kWindowName;
  window.Proc = &PaletteTest::TestWindowProc;
  window.Owner = this;
  window.Width = width;
  window.Height = height;
  window.Bits = bits;
  window.LegacyModeCall = UseLegacyModeCall();
  ShowFullScreenWindow(*Session, window, PendingFailure);
  return Session;
}

platform::LResult PLATFORM_CALLBACK PaletteTest::TestWindowProc(platform::Hwnd window, uint32_t message,
                                                                platform::WParam wParam, platform::LParam lParam) {
  auto* test = reinterpret_cast<PaletteTest*>(platform::GetWindowLongPtrA(window, 0));
  if (message == platform::WmCreate) {
    platform::SetTimer(window, 1, 2000, nullptr);
    const auto* create = reinterpret_cast<const platform::CreateStructA*>(lParam);
    platform::SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
    // Lets a stop request close a window that waits for keys.
    platform::SetTimer(window, 0, 10, nullptr);
    return 0;
  }
  if (test == nullptr) return platform::DefWindowProcA(window, message, wParam, lParam);
  switch (message) {
    case platform::WmDestroy:
      platform::KillTimer(window, 0);
      platform::PostQuitMessage(0);
      return 0;
    case platform::WmPaint:
      test->Paint(window);
      return 0;
    case platform::WmKeyDown:
      if (test->Interactive) test->HandleTestKey(static_cast<uint32_t>(wParam), window);
      return 0;
    case platform::WmTimer:
      if (wParam == 1) {
        platform::SendMessageA(window, platform::WmPaint, 0, 0);
      } else if (wParam == 0 && IsTerminationRequested()) {
        platform::KillTimer(window, 0);
        platform::DestroyWindow(window);
      }
      return 0;
    case VerifyScreenMessage:
      test->VerifyScreen(window);
      return 0;
    default:
      return platform::DefWindowProcA(window, message, wParam, lParam);
  }
}

void PaletteTest::HandleTestKey(uint32_t key, platform::Hwnd window) {
  HandleThreeDigitKey(key, window, Retries, WrongKeys, RedConfirmed, GreenConfirmed, GetSubtestName());
}

void PaletteTest::BuildPalette(platform::LogPalette* palette) {
  palette->Version = 0x300;
  palette->NumEntries = 256;
  for (int32_t i = 0; i < 256; ++i) {
    platform::PaletteEntry entry;
    if (i < 80) entry.Red = static_cast<uint8_t>(255 - 3 * i);
    else if (i < 160) entry.Green = static_cast<uint8_t>(255 - 3 * (i - 80));
    else if (i < 240) entry.Blue = static_cast<uint8_t>(255 - 3 * (i - 160));
    entry.Flags = platform::PcReserved;
    palette->PalEntry[i] = entry;
  }
}

PaletteTest::StripeLayout PaletteTest::Layout(int32_t width, int32_t height) {
  StripeLayout layout;
  layout.Stripe = (width - width / 8) / kStripeCount;
  layout.Margin = (width - layout.Stripe * kStripeCount) / 2;
  layout.Top = height / 10;
  layout.Bottom = height - 2 * (height / 10);
  return layout;
}

platform::HPalette PaletteTest::DrawStripes(platform::Hdc dc, platform::LogPalette* block, int32_t width,
                                            int32_t height) {
  BuildPalette(block);
  const platform::HPalette palette = platform::CreatePalette(block);
  if (palette == 0) Kestout::LogMessage(CategoryWarnings, 77, "");
  if (platform::SelectPalette(dc, palette, false) == 0) Kestout::LogMessage(CategoryWarnings, 78, "");
  platform::RealizePalette(dc);

  const StripeLayout layout = Layout(width, height);
  for (int32_t i = 0; i < kStripeCount; ++i) {
    const int32_t x = layout.Margin + i * layout.Stripe;
    const platform::Rect stripe{x, layout.Top, x + layout.Stripe, layout.Bottom};
    const platform::HBrush brush = platform::CreateSolidBrush(platform::PaletteIndex(static_cast<uint16_t>(i)));
    platform::FillRect(dc, &stripe, brush);
    platform::DeleteObject(brush);
  }
  return palette;
}

void PaletteTest::Paint(platform::Hwnd window) {
  platform::PaintStruct paint;
  const platform::Hdc dc = platform::BeginPaint(window, &paint);
  platform::Rect client;
  platform::GetClientRect(window, &client);
  const platform::HPen pen = platform::CreatePen(platform::PsNull, 1, 1);
  platform::SelectObject(dc, pen);
  const platform::Hdc own = platform::GetDC(window);

  std::vector<uint8_t> block(PaletteBlockSize);
  const DisplayModeEntry screen = ReadScreenMode();
  const platform::HPalette palette =
      DrawStripes(own, reinterpret_cast<platform::LogPalette*>(block.data()), screen.Width, screen.Height);

  platform::SetBkColor(dc, 0);
  platform::SetTextColor(dc, 0xFFFFFF);
  if (Interactive) {
    DrawConfirmationDigits(dc, static_cast<uint32_t>(Prompt));
    platform::ReleaseDC(window, own);
    platform::DeleteObject(pen);
    platform::EndPaint(window, &paint);
  } else {
    platform::Sleep(2000);
    platform::ReleaseDC(window, own);
    platform::DeleteObject(pen);
    platform::EndPaint(window, &paint);
    platform::SendMessageA(window, VerifyScreenMessage, 0, 0);
  }
  platform::UnrealizeObject(palette);
  platform::DeleteObject(palette);
}

void PaletteTest::VerifyScreen(platform::Hwnd window) {
  if (Interactive) return;
  platform::Sleep(1000);
  SetScreenResult(0);
  if (!VerifyChecksum) {
    ScreenPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
    platform::DestroyWindow(window);
    return;
  }
  Session->ChecksumSurface();
  int32_t verdict = 0;
  try {
    verdict = VerifyScreenChecksum(PaletteTestId, Session->Checksum, false);
  } catch (...) {
    // A C++ exception must not unwind through the system's dispatch frames: end the window and
    // raise it again behind the message loop.
    PendingFailure = std::current_exception();
    platform::DestroyWindow(window);
    return;
  }
  if (verdict == 1) {
    SetScreenResult(1);
    KeyOutcome = KeyConfirmed;
    ScreenPassed = true;
  } else {
    KeyOutcome = KeyChecksumMismatch;
    FailedMode = ReadScreenMode();
    ScreenPassed = false;
    SetScreenResult(ChecksumMismatchCode);
  }
  platform::KillTimer(window, 0);
  platform::DestroyWindow(window);
}
