// Operator confirmation: the digits, where the digit is drawn, and how keys end a test window.
#include <map>
#include <set>
#include <string>

#include "platform/sim/system/debug_log.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "screen/CalibrationStore.h"
#include "screen/Confirmation.h"
#include "window_fixture.h"

using namespace platform;
using window_test::WindowFixture;

namespace {

// "Display" contexts read the frame buffer that the window system draws into.
class Confirmation : public WindowFixture {
 protected:
  Confirmation() { sim::SetDisplaySurface([] { return &sim::ScreenSurface(); }); }
  Hwnd MakeWindow() {
    if (!Registered) Register("ConfirmationWindow", &Confirmation::Procedure);
    Registered = true;
    Hwnd window = CreateWindowExA(0, "ConfirmationWindow", "Confirmation", WsPopup | WsVisible, 0, 0, 640, 480, 0, 0,
                                  0, nullptr);
    EXPECT_NE(window, 0u);
    return window;
  }
  static LResult PLATFORM_CALLBACK Procedure(Hwnd window, uint32_t message, WParam w, LParam l) {
    return DefWindowProcA(window, message, w, l);
  }
  bool Registered = false;
};

TEST(ConfirmationDigits, AlwaysPairwiseDifferent) {
  for (int draw = 0; draw < 200; ++draw) {
    ChooseConfirmationDigits();
    const std::set<int32_t> digits = {GetGreenDigit(), GetRedDigit(), GetBlueDigit()};
    EXPECT_EQ(digits.size(), 3u);
    for (int32_t digit : digits) EXPECT_TRUE(digit >= 0 && digit <= 9);
  }
}

TEST(ConfirmationDigits, PlaceFollowsWidthAndTheTallSixForties) {
  EXPECT_EQ(ConfirmationDigitPlace(640, 960).Y, 920);
  EXPECT_EQ(ConfirmationDigitPlace(640, 480).Y, 410);
  EXPECT_EQ(ConfirmationDigitPlace(1280, 480).X, 920);
  EXPECT_EQ(ConfirmationDigitPlace(1280, 1024).Y, 775);
  EXPECT_EQ(ConfirmationDigitPlace(1000, 700).X, 300);
  EXPECT_EQ(ConfirmationDigitPlace(1000, 700).Y, 300);
  EXPECT_EQ(KeyDigit('7'), 7);
  EXPECT_EQ(KeyDigit(VkNumpad0 + 7), 7);
  EXPECT_EQ(KeyDigit(VkF1), -1);
}

TEST_F(Confirmation, ScaledFontIsBoldAtTheDevicesResolution) {
  Hdc dc = GetDC(0);
  HFont font = CreateScaledFont(dc, "Times New Roman", 400);
  LogFontA log;
  ASSERT_GT(GetObjectA(font, sizeof log, &log), 0);
  const int32_t dpi = GetDeviceCaps(dc, LogPixelsY);
  EXPECT_EQ(log.Height, -((400 * dpi / 72) / 10 + (400 * dpi / 72 % 10 >= 5 ? 1 : 0)));
  EXPECT_EQ(log.Weight, FwBold);
  EXPECT_STREQ(log.FaceName, "Times New Roman");
  DeleteObject(font);
  ReleaseDC(0, dc);
}

TEST_F(Confirmation, GreenDigitDrawnAtItsPlaceAndPromptOnlyWhenAsked) {
  if (!sim::TextRenderingAvailable()) GTEST_SKIP() << "FreeType or fonts missing";
  ChooseConfirmationDigits();
  Hdc dc = GetDC(0);
  DrawConfirmationDigit(dc, 0);
  const Rect all{0, 0, 640, 480};
  std::vector<sim::TextRun> runs = sim::TextRunsIn(sim::ScreenSurface(), all);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].Text, std::wstring(1, static_cast<wchar_t>(L'0' + GetGreenDigit())));
  EXPECT_EQ(runs[0].Bounds.Left, 304);
  EXPECT_EQ(runs[0].Bounds.Top, 410);
  EXPECT_EQ(runs[0].Color, 0x00FF00u);

  DrawConfirmationDigit(dc, 51);  // a prompt text above the digit
  runs = sim::TextRunsIn(sim::ScreenSurface(), Rect{25, 10, 630, 50});
  EXPECT_FALSE(runs.empty());
  ReleaseDC(0, dc);
}

TEST_F(Confirmation, ThreeDigitsStandRedGreenBlueFromLeftToRight) {
  if (!sim::TextRenderingAvailable()) GTEST_SKIP() << "FreeType or fonts missing";
  ChooseConfirmationDigits();
  Hdc dc = GetDC(0);
  DrawConfirmationDigits(dc, 0);
  std::vector<sim::TextRun> runs = sim::TextRunsIn(sim::ScreenSurface(), Rect{0, 0, 640, 480});
  ReleaseDC(0, dc);
  ASSERT_EQ(runs.size(), 3u);
  std::map<int32_t, sim::TextRun> byX;
  for (const sim::TextRun& run : runs) byX[run.Bounds.Left] = run;
  ASSERT_EQ(byX.count(160), 1u);
  EXPECT_EQ(byX[160].Color, 0x0000FFu);
  EXPECT_EQ(byX[160].Text, std::wstring(1, static_cast<wchar_t>(L'0' + GetRedDigit())));
  EXPECT_EQ(byX[320].Text, std::wstring(1, static_cast<wchar_t>(L'0' + GetGreenDigit())));
  EXPECT_EQ(byX[480].Color, 0xFF0000u);
  EXPECT_EQ(byX[480].Bounds.Top, 480 + 2 * (10 - 48));
}

// Retries and prompts are checked end to end; here, the code each kind of wrong key ends with.
TEST_F(Confirmation, AWrongKeyPastTheRetriesEndsTheWindowWithTheCodeOfItsKind) {
  const TestKeyCodes codes{-123, -456, -789, -73, false};
  ChooseConfirmationDigits();
  const uint32_t wrong = static_cast<uint32_t>(GetGreenDigit() + 1) % 10;
  const struct {
    uint32_t Key;
    int32_t Code;
  } cases[] = {{'0' + wrong, -123}, {VkNumpad0 + wrong, -456}, {VkEscape, -789}, {VkF1, -73}};
  std::string error;
  ASSERT_TRUE(platform::sim::SetOperatorScript("answer ok; answer ok; answer ok", error));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Key);
    Hwnd window = MakeWindow();
    int32_t wrongKeys = 0;
    HandleSingleDigitKey(c.Key, window, codes, 0, wrongKeys, "ModeTest");
    EXPECT_EQ(GetScreenResult(), c.Code);
    EXPECT_FALSE(IsWindow(window));
  }
}

TEST_F(Confirmation, ThreeDigitsMustComeRedGreenBlue) {
  ChooseConfirmationDigits();
  const uint32_t red = '0' + static_cast<uint32_t>(GetRedDigit());
  const uint32_t green = '0' + static_cast<uint32_t>(GetGreenDigit());
  const uint32_t blue = VkNumpad0 + static_cast<uint32_t>(GetBlueDigit());
  uint8_t redDone = 0, greenDone = 0;
  int32_t wrongKeys = 0;
  Hwnd window = MakeWindow();
  KeyOutcome = KeyUndecided;
  HandleThreeDigitKey(red, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  HandleThreeDigitKey(green, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  EXPECT_TRUE(IsWindow(window));
  HandleThreeDigitKey(blue, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  EXPECT_EQ(KeyOutcome, KeyConfirmed);
  EXPECT_FALSE(IsWindow(window));

  // Green first is a wrong digit although it is on the screen: no second chance.
  redDone = greenDone = 0;
  window = MakeWindow();
  HandleThreeDigitKey(green, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  EXPECT_EQ(KeyOutcome, KeyTooManyWrong);
  EXPECT_EQ(wrongKeys, 1);
  EXPECT_FALSE(IsWindow(window));

  // Other keys: prompts until the count reaches three times -Retries.
  redDone = greenDone = 0;
  wrongKeys = 0;
  window = MakeWindow();
  std::string error;
  ASSERT_TRUE(platform::sim::SetOperatorScript("answer ok; answer ok; answer ok; answer ok", error));
  testing::internal::CaptureStdout();
  for (int key = 0; key < 3; ++key) HandleThreeDigitKey(VkSpace, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  EXPECT_TRUE(IsWindow(window));
  HandleThreeDigitKey(VkSpace, window, 1, wrongKeys, redDone, greenDone, "PaletteTest");
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(KeyOutcome, KeyTooManyWrong);
  EXPECT_FALSE(IsWindow(window));
  EXPECT_EQ(platform::sim::OperatorStepsLeft(), 0u);
}

}  // namespace
