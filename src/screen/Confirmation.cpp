#include "screen/Confirmation.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "framework/MessageCatalog.h"
#include "platform/display.h"
#include "platform/walltime.h"
#include "prompts/Prompts.h"
#include "screen/CalibrationStore.h"
#include "text/TextHelpers.h"

int32_t KeyOutcome = KeyUndecided;

namespace {

int32_t GreenDigit = 0;
int32_t RedDigit = 0;
int32_t BlueDigit = 0;

const platform::ColorRef kGreen = 0x00FF00;
const platform::ColorRef kRed = 0x0000FF;
const platform::ColorRef kBlue = 0xFF0000;
const platform::ColorRef kBlack = 0;
const uint32_t kPromptMessageAfterWrongKey = 51;
const uint32_t kPromptFormat = platform::DtWordBreak | platform::DtEditControl;

void ScreenSize(int32_t& width, int32_t& height) {
  platform::Hdc display = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  width = platform::GetDeviceCaps(display, platform::CapsHorzRes);
  height = platform::GetDeviceCaps(display, platform::CapsVertRes);
  platform::DeleteDC(display);
}

// One 40-point digit on black.
void DrawDigit(platform::Hdc dc, int32_t digit, platform::ColorRef color, int32_t x, int32_t y) {
  platform::HFont font = CreateScaledFont(dc, "Times New Roman", 400);
  platform::HGdiObj old = platform::SelectObject(dc, font);
  char text[16];
  std::snprintf(text, sizeof text, "%d", digit);
  platform::SetBkColor(dc, kBlack);
  platform::SetTextColor(dc, color);
  platform::TextOutA(dc, x, y, text, static_cast<int32_t>(std::strlen(text)));
  platform::SelectObject(dc, old);
  platform::DeleteObject(font);
}

void DrawPrompt(platform::Hdc dc, uint32_t promptNumber, platform::Rect rect, int32_t deciPoints) {
  platform::HFont font = CreateScaledFont(dc, "Times New Roman", deciPoints);
  platform::HGdiObj old = platform::SelectObject(dc, font);
  platform::SetTextColor(dc, kGreen);
  const std::wstring text = GetWideMessageText(promptNumber, L"");
  platform::DrawTextW(dc, text.c_str(), -1, &rect, kPromptFormat);
  platform::SelectObject(dc, old);
  platform::DeleteObject(font);
}

void DrawDigitAndPrompt(platform::Hdc dc, int32_t width, int32_t height, uint32_t promptNumber) {
  const platform::Point place = ConfirmationDigitPlace(width, height);
  DrawDigit(dc, GreenDigit, kGreen, place.X, place.Y);
  if (promptNumber == 0) return;
  platform::Rect rect;
  rect.Left = 25;
  rect.Top = 10;
  rect.Right = width - 10;
  rect.Bottom = 50;
  DrawPrompt(dc, promptNumber, rect, width < 1024 ? 100 : 200);
}

}  // namespace

// Seeded from the platform's time, which on the simulated machine's virtual clock moves with its
// tick: a simulated run shows the same digits each time it is made.
void ChooseConfirmationDigits() {
  std::srand(static_cast<unsigned>(platform::Time()));
  GreenDigit = std::rand() % 10;
  do RedDigit = std::rand() % 10;
  while (RedDigit == GreenDigit);
  do BlueDigit = std::rand() % 10;
  while (BlueDigit == GreenDigit || BlueDigit == RedDigit);
}

int32_t GetGreenDigit() { return GreenDigit; }
int32_t GetRedDigit() { return RedDigit; }
int32_t GetBlueDigit() { return BlueDigit; }

platform::HFont CreateScaledFont(platform::Hdc dc, const char* faceName, int32_t deciPointHeight) {
  const int32_t saved = platform::SaveDC(dc);
  const int32_t dotsPerInch = platform::GetDeviceCaps(dc, platform::LogPixelsY);
  platform::Point point;
  point.X = 0;
  point.Y = static_cast<int32_t>(static_cast<int64_t>(deciPointHeight) * dotsPerInch / 72);
  platform::DPtoLP(dc, &point, 1);
  platform::LogFontA font;
  font.Height = -static_cast<int32_t>(std::fabs(static_cast<double>(point.Y)) / 10.0 + 0.5);
  font.Weight = platform::FwBold;
  std::strncpy(font.FaceName, faceName, platform::LfFaceSize - 1);
  platform::HFont handle = platform::CreateFontIndirectA(&font);
  platform::RestoreDC(dc, saved);
  return handle;
}

platform::Point ConfirmationDigitPlace(int32_t width, int32_t height) {
  auto at = [](int32_t x, int32_t y) {
    platform::Point p;
    p.X = x;
    p.Y = y;
    return p;
  };
  switch (width) {
    case 320: return at(144, 162);
    case 640:
      switch (height) {
        case 400: return at(304, 350);
        case 960: return at(304, 920);
        case 1440: return at(304, 1400);
        case 1920: return at(304, 1880);
        default: return at(304, 410);
      }
    case 720: return at(340, 410);
    case 800: return at(400, 510);
    case 1024: return at(460, 680);
    case 1152: return at(540, 740);
    case 1280:
      if (height == 480) return at(920, 400);
      if (height == 768) return at(575, 680);
      return at(575, 775);
    case 1400: return at(700, 800);
    case 1600: return at(800, 850);
    case 1792: return at(820, 870);
    case 1800: return at(840, 880);
    case 1920: return at(900, 950);
    case 2048: return at(950, 1000);
    default: return at(300, 300);
  }
}

void DrawConfirmationDigit(platform::Hdc dc, uint32_t promptNumber) {
  int32_t width = 0, height = 0;
  ScreenSize(width, height);
  DrawDigitAndPrompt(dc, width, height, promptNumber);
}

void DrawConfirmationDigitForWidth(platform::Hdc dc, int32_t width, uint32_t promptNumber) {
  int32_t measured = 0, height = 0;
  ScreenSize(measured, height);
  DrawDigitAndPrompt(dc, width, height, promptNumber);
}

void DrawConfirmationDigits(platform::Hdc dc, uint32_t promptNumber) {
  int32_t width = 0, height = 0;
  ScreenSize(width, height);
  const int32_t y = height + 2 * (10 - height / 10);
  DrawDigit(dc, GreenDigit, kGreen, width / 2, y);
  DrawDigit(dc, RedDigit, kRed, width / 4, y);
  DrawDigit(dc, BlueDigit, kBlue, width * 3 / 4, y);
  if (promptNumber == 0) return;
  platform::Rect rect;
  rect.Left = 25;
  rect.Top = 10;
  rect.Right = 600;
  rect.Bottom = 50;
  platform::SetBkColor(dc, kBlack);
  DrawPrompt(dc, promptNumber, rect, 100);
}

bool IsTopRowDigitKey(uint32_t key) { return key >= '0' && key <= '9'; }
bool IsKeypadDigitKey(uint32_t key) { return key >= platform::VkNumpad0 && key <= platform::VkNumpad9; }

int32_t KeyDigit(uint32_t key) {
  if (IsTopRowDigitKey(key)) return static_cast<int32_t>(key - '0');
  if (IsKeypadDigitKey(key)) return static_cast<int32_t>(key - platform::VkNumpad0);
  return -1;
}

namespace {

void PromptAfterWrongKey(platform::Hwnd window, const std::string& title) {
  ShowPrompt(GetWideMessageText(kPromptMessageAfterWrongKey, L""), title, PromptOnTop);
  platform::SetFocus(window);
  KeyOutcome = KeyWrongKeyGoesOn;
}

}  // namespace

void HandleSingleDigitKey(uint32_t key, platform::Hwnd window, const TestKeyCodes& codes, int32_t retries,
                          int32_t& wrongKeys, const std::string& title) {
  if (KeyDigit(key) >= 0 && KeyDigit(key) == GreenDigit) {
    KeyOutcome = KeyConfirmed;
    platform::DestroyWindow(window);
    return;
  }
  if (key == KeyF1) {
    KeyOutcome = KeyRejected;
    SetScreenResult(codes.F1);
    platform::DestroyWindow(window);
    return;
  }
  PromptAfterWrongKey(window, title);
  const bool usedUp = codes.UsedUpOnEqual ? wrongKeys == retries : wrongKeys >= retries;
  if (!usedUp) {
    ++wrongKeys;
    return;
  }
  KeyOutcome = KeyTooManyWrong;
  SetScreenResult(IsTopRowDigitKey(key) ? codes.WrongDigit : IsKeypadDigitKey(key) ? codes.WrongKeypad : codes.OtherKey);
  wrongKeys = 0;
  platform::DestroyWindow(window);
}

void HandleThreeDigitKey(uint32_t key, platform::Hwnd window, int32_t retries, int32_t& wrongKeys,
                         uint8_t& redConfirmed, uint8_t& greenConfirmed, const std::string& title) {
  const int32_t digit = KeyDigit(key);
  if (digit >= 0) {
    if (digit == RedDigit && redConfirmed == 0) {
      redConfirmed = 1;
      return;
    }
    if (digit == GreenDigit && redConfirmed != 0 && greenConfirmed == 0) {
      greenConfirmed = 1;
      return;
    }
    if (digit == BlueDigit && redConfirmed != 0 && greenConfirmed != 0) {
      SetScreenResult(1);
      KeyOutcome = KeyConfirmed;
      platform::DestroyWindow(window);
      return;
    }
    ++wrongKeys;
    KeyOutcome = KeyTooManyWrong;
    platform::DestroyWindow(window);
    return;
  }
  if (key == KeyF1) {
    SetScreenResult(0);
    platform::DestroyWindow(window);
    return;
  }
  PromptAfterWrongKey(window, title);
  if (wrongKeys == retries * 3) {
    KeyOutcome = KeyTooManyWrong;
    wrongKeys = 0;
    platform::DestroyWindow(window);
  }
  ++wrongKeys;
}
