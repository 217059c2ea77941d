#include "subtests/PaletteTest.h"

#include <vector>

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/clock.h"
#include "screen/CalibrationStore.h"
#include "screen/Confirmation.h"
#include "screen/ScreenArguments.h"
#include "subtests/ScreenSubtestTable.h"
#include "text/TextHelpers.h"

namespace {

const int32_t kStripeCount = 240;
const int32_t kModeMissingCode = -990374;
const int32_t kNotConfirmedCode = -249014;

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number) {
  KestException* failure = new KestException(code);
  failure->AddMessage(category, number, "");
  throw failure;
}

}  // namespace

PaletteTest::PaletteTest() : Flow(*this, PaletteTestTraits()) {
  SetDescription("Tests palette colors (RGB) in 256 color mode");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(0, 10));
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
  AddArgument("-Resolution", KestArgument::TypeString, "800x600x32",
              "This parameter is used for setting display\n\tresolution for testing,Format for resolution is\n\tWidthxHeightxBpp.Supported values for\n\tBpp are 8/16/24/32.");
}

PaletteTest::~PaletteTest() = default;

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
  Flow.StartRun();
  const ScreenSettings& settings = Flow.Settings;
  SetCalibrating(settings.Calibrate);
  Flow.ScreenPassed = settings.Interactive;
  // No record may come from a screen that the operator judged.
  if (settings.Calibrate && settings.Interactive) Raise(990515, CategoryServiceErrors, 98);

  Resolution = GetArgumentString("-Resolution", "800x600x32");
  if (Resolution.empty()) Resolution = "800X600X32";
  Resolution = ToLower(Resolution);
  Flow.StartMode = ReadScreenMode();
  DisplayModeEntry mode;
  if (!ParseResolution(Resolution, Flow.StartMode, mode)) Raise(990803, CategoryServiceErrors, 220);
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
    Flow.RedConfirmed = 0;
    Flow.GreenConfirmed = 0;
    code = RunPalettePass();
    if (code > 0) {
      pass = true;
      break;
    }
    if (attempt >= settings.Retries) break;
  }

  Kestout::UpdatePercentage(90);
  return Flow.Conclude(pass, code);
}

int32_t PaletteTest::RunPalettePass() {
  SetScreenResult(1);
  ChooseConfirmationDigits();
  Kestout::UpdatePercentage(10);
  Flow.Session->HasMode(TestWidth, TestHeight, TestBits);
  Kestout::UpdatePercentage(15);

  int32_t code = kModeMissingCode;
  if (Flow.Session->ModeFound != 0) {
    // Digits and wrong keys stay: an operator's retries are the tries of the run.
    Flow.ShowWithRetries(TestWidth, TestHeight, TestBits);
    Kestout::UpdatePercentage(20);
    if (KeyOutcome == KeyConfirmed) {
      SetScreenResult(1);
      code = 1;
    } else {
      SetScreenResult(0);
      code = KeyOutcome == KeyChecksumMismatch ? ChecksumMismatchCode : kNotConfirmedCode;
    }
  }
  return Flow.RestoreStartMode(75, 85, code);
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

void PaletteTest::Paint(ScreenFlow& flow, platform::Hwnd window) {
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
  if (flow.Settings.Interactive) {
    DrawConfirmationDigits(dc, static_cast<uint32_t>(flow.Settings.Prompt));
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
