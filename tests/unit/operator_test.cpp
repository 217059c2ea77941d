// The simulated operator: it reads the digits drawn on the screen and presses them (or the wrong
// one, or the keypad's), answers prompts by their button labels, waits in virtual time, and gives
// up with a console break when nothing happens.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/gdi.h"
#include "window_fixture.h"

using namespace platform;
using window_test::Log;
using window_test::Seen;
using window_test::WindowFixture;

namespace {

// What the test window draws: each entry a text at an x position.
std::vector<std::pair<std::string, int32_t>>& Drawn() {
  static std::vector<std::pair<std::string, int32_t>> drawn;
  return drawn;
}

// Draws its texts on paint, like a screen test drawing its card and digit, and ends at the first
// key or command.
LResult PLATFORM_CALLBACK DigitWindow(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  switch (message) {
    case WmPaint: {
      PaintStruct paint;
      Hdc dc = BeginPaint(window, &paint);
      LogFontA font;
      font.Height = -53;
      font.Weight = FwBold;
      std::strcpy(font.FaceName, "Times New Roman");
      HFont big = CreateFontIndirectA(&font);
      HGdiObj old = SelectObject(dc, big);
      SetBkColor(dc, 0);
      SetTextColor(dc, Rgb(0, 255, 0));
      for (const auto& text : Drawn()) TextOutA(dc, text.second, 300, text.first.c_str(), -1);
      SelectObject(dc, old);
      DeleteObject(big);
      EndPaint(window, &paint);
      return 0;
    }
    case WmKeyDown:
    case WmChar:
    case WmCommand:
      Log().push_back(Seen{window, message, wParam, GetTickCount()});
      if (message != WmChar) DestroyWindow(window);
      return 0;
    case WmDestroy:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

class OperatorTest : public WindowFixture {
 protected:
  OperatorTest() {
    Drawn().clear();
    Register("Screen Mode Test", DigitWindow);
  }
  ~OperatorTest() override {
    std::string error;
    sim::SetOperatorScript("", error);
  }

  static void Script(const std::string& script) {
    std::string error;
    ASSERT_TRUE(sim::SetOperatorScript(script, error)) << error;
  }

  // Shows the window and runs its loop to the end; returns the keys it got.
  std::vector<WParam> Show() {
    Log().clear();
    Hwnd w = CreateWindowExA(WsExTopmost, "Screen Mode Test", "Screen Mode Test", WsPopup | WsVisible, 0, 0, 640, 480, 0,
                             0, 0, nullptr);
    EXPECT_NE(w, 0u);
    RunLoop();
    std::vector<WParam> keys;
    for (const Seen& s : Log())
      if (s.Message == WmKeyDown) keys.push_back(s.W);
    return keys;
  }
};

}  // namespace

TEST_F(OperatorTest, NothingLeavesTheWindowAloneAndTheNextStepGoesToTheNextWindow) {
  Drawn() = {{"6", 304}};
  Script("nothing; F1");
  Log().clear();
  Hwnd first = CreateWindowExA(0, "Screen Mode Test", "A", WsPopup | WsVisible, 0, 0, 640, 480, 0, 0, 0, nullptr);
  Msg msg;
  // A person who does nothing: the queue runs dry and the window stays.
  while (PeekMessageA(&msg, 0, 0, 0, PmRemove)) DispatchMessageA(&msg);
  SetTimer(first, 3, 500, nullptr);
  ASSERT_GT(GetMessageA(&msg, 0, 0, 0), 0);
  EXPECT_EQ(msg.Message, WmTimer);
  EXPECT_TRUE(Log().empty());
  DestroyWindow(first);
  ASSERT_EQ(GetMessageA(&msg, 0, 0, 0), 0);
  EXPECT_EQ(Show(), (std::vector<WParam>{VkF1}));
}

TEST_F(OperatorTest, KeysPressTheFocusedButtonOrOkOrTheButtonOfTheirLetter) {
  // Enter presses the focused button; with the focus elsewhere it is IDOK, as for any window that
  // names no default id; Alt and the letter after the '&' press that button.
  const struct {
    const char* Script;
    bool FocusOnYes;
    uint16_t Id;
  } cases[] = {{"key return", true, 1007}, {"key return", false, 1}, {"key alt+n", false, 1004}, {"key n", true, 1004}};
  Msg msg;
  for (const auto& c : cases) {
    Hwnd prompt = CreateWindowExA(0, "Screen Mode Test", "Prompt", WsPopup | WsVisible, 50, 50, 540, 290, 0, 0, 0, nullptr);
    Hwnd yes = CreateWindowExA(0, "BUTTON", "&Yes", 0x50010301, 365, 10, 80, 25, prompt, 1007, 0, nullptr);
    CreateWindowExA(0, "BUTTON", "&No", 0x50010300, 365, 40, 80, 25, prompt, 1004, 0, nullptr);
    SetFocus(c.FocusOnYes ? yes : prompt);
    Script(c.Script);
    Log().clear();
    while (GetMessageA(&msg, 0, 0, 0) > 0)
      if (!IsDialogMessageA(prompt, &msg)) DispatchMessageA(&msg);
    ASSERT_EQ(Log().size(), 1u) << c.Script;
    EXPECT_EQ(LoWord(Log()[0].W), c.Id) << c.Script;
  }
}

TEST_F(OperatorTest, RefusesAScriptWithAnUnknownStep) {
  std::string error;
  EXPECT_FALSE(sim::SetOperatorScript("digit\njump 3", error));
  EXPECT_NE(error.find("step 2"), std::string::npos);
  EXPECT_FALSE(sim::SetOperatorScript("key 0x1FF", error));
  EXPECT_FALSE(sim::SetOperatorScript("wait soon", error));
  EXPECT_TRUE(sim::SetOperatorScript("# comment only\n\nF1 ; key f12; type Ab1", error));
  EXPECT_EQ(sim::OperatorStepsLeft(), 3u);
}

namespace {

std::mutex breakLock;
std::condition_variable breakSeen;
std::atomic<int> breaks{0};

int OnBreak(uint32_t event) {
  if (event != CtrlCEvent) return 0;
  std::lock_guard<std::mutex> hold(breakLock);
  ++breaks;
  breakSeen.notify_all();
  return 1;
}

// A window that, like a prompt watching for termination, polls for the break every 100 ms.
LResult PLATFORM_CALLBACK PollingWindow(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  if (message == WmCreate) SetTimer(window, 1, 100, nullptr);
  if (message == WmTimer && breaks.load() > 0) DestroyWindow(window);
  if (message == WmDestroy) PostQuitMessage(0);
  return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

TEST_F(OperatorTest, GivesUpWithAConsoleBreakWhenNothingHappens) {
  ASSERT_TRUE(SetConsoleCtrlHandler(OnBreak, true));
  breaks = 0;
  Register("Waiting", PollingWindow);
  Script("give-up 5000; digit");  // no digit ever shows
  const uint32_t start = GetTickCount();
  CreateWindowExA(0, "Waiting", "Waiting", WsPopup | WsVisible, 0, 0, 640, 480, 0, 0, 0, nullptr);
  RunLoop();
  {
    std::unique_lock<std::mutex> hold(breakLock);
    EXPECT_TRUE(breakSeen.wait_for(hold, std::chrono::seconds(30), [] { return breaks.load() > 0; }));
  }
  EXPECT_EQ(breaks.load(), 1);
  EXPECT_TRUE(sim::OperatorGaveUp());
  EXPECT_GE(GetTickCount() - start, 5000u);
  EXPECT_EQ(sim::OperatorStepsLeft(), 1u);
  SetConsoleCtrlHandler(OnBreak, false);
}
