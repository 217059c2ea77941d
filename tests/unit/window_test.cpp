// The simulated window system: creation and destruction messages, the order in which the queue
// hands out posted, paint and timer messages on the virtual clock, window words, focus and keys,
// drawing into the frame buffer, z-order and screenshots.
#include <algorithm>
#include <chrono>
#include <filesystem>

#include "platform/clock.h"
#include "platform/gdi.h"
#include "platform/handles.h"
#include "platform/sim/screenshot.h"
#include "window_fixture.h"

using namespace platform;
using window_test::Log;
using window_test::Seen;
using window_test::WindowFixture;

namespace {

LResult PLATFORM_CALLBACK Recorder(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  Log().push_back(Seen{window, message, wParam, GetTickCount()});
  switch (message) {
    case WmCreate: {
      auto* create = reinterpret_cast<const CreateStructA*>(lParam);
      SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
      return 0;
    }
    case WmDestroy:
      PostQuitMessage(7);
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

// A screen test's window: repaint timer 1 every 2000 ms, a 10 ms poll as timer 0, ended by the
// first tick of timer 1.
LResult PLATFORM_CALLBACK TimedWindow(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  Log().push_back(Seen{window, message, wParam, GetTickCount()});
  switch (message) {
    case WmCreate:
      SetTimer(window, 1, 2000, nullptr);
      SetTimer(window, 0, 10, nullptr);
      PostMessageA(window, WmUser + 1, 0, 0);
      return 0;
    case WmTimer:
      if (wParam == 1) DestroyWindow(window);
      return 0;
    case WmDestroy:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

LResult PLATFORM_CALLBACK Plain(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  Log().push_back(Seen{window, message, wParam, GetTickCount()});
  if (message == WmUser) return static_cast<LResult>(wParam * 2);
  return DefWindowProcA(window, message, wParam, lParam);
}

Hwnd Popup(const char* name, uint32_t exStyle = 0, void* param = nullptr) {
  return CreateWindowExA(exStyle, name, name, WsPopup | WsVisible, 0, 0, 640, 480, 0, 0, 0, param);
}

uint32_t Pixel(int32_t x, int32_t y) {
  const sim::Surface& s = sim::ScreenSurface();
  const uint8_t* p = s.Row(y) + x * 4;
  return static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16);
}

}  // namespace

TEST_F(WindowFixture, CreationSendsItsMessagesAndKeepsTheCreationParameterInTheExtraWords) {
  Register("Screen Mode Test", Recorder, 16);
  int object = 0;
  Hwnd w = Popup("Screen Mode Test", WsExTopmost, &object);
  ASSERT_NE(w, 0u);
  EXPECT_EQ(MessagesOf(w), (std::vector<uint32_t>{WmNcCreate, WmCreate, WmSize, WmMove, WmShowWindow, WmActivate,
                                                  WmSetFocus}));
  EXPECT_EQ(GetWindowLongPtrA(w, 0), reinterpret_cast<intptr_t>(&object));
  EXPECT_EQ(GetWindowLongA(w, 12), 0);
  SetLastError(0);
  EXPECT_EQ(GetWindowLongA(w, 14), 0);  // past the sixteen extra bytes
  EXPECT_EQ(GetLastError(), 1413u);
  EXPECT_EQ(SetWindowLongA(w, 12, 0x1234), 0);
  EXPECT_EQ(GetWindowLongA(w, 12), 0x1234);
  EXPECT_EQ(GetWindowLongPtrA(w, 0), reinterpret_cast<intptr_t>(&object));
  EXPECT_EQ(SetWindowLongPtrA(w, GwlUserData, 99), 0);
  EXPECT_EQ(GetWindowLongPtrA(w, GwlUserData), 99);
  EXPECT_EQ(static_cast<uint32_t>(GetWindowLongA(w, GwlStyle)), WsPopup | WsVisible);
  EXPECT_EQ(GetFocus(), w);
  EXPECT_EQ(GetForegroundWindow(), w);

  // A second registration fails without harm; a class with windows cannot go.
  WndClassA again;
  again.Proc = Plain;
  again.ClassName = "screen mode test";
  EXPECT_EQ(RegisterClassA(&again), 0);
  EXPECT_FALSE(UnregisterClassA("Screen Mode Test", 0));
  EXPECT_EQ(CreateWindowExA(0, "No Such Class", "", WsPopup, 0, 0, 1, 1, 0, 0, 0, nullptr), 0u);
  EXPECT_TRUE(DestroyWindow(w));
  EXPECT_TRUE(UnregisterClassA("Screen Mode Test", 0));
}

TEST_F(WindowFixture, QueueGivesPostedThenPaintThenTimersInVirtualTime) {
  Register("Line Test", TimedWindow);
  const uint32_t start = GetTickCount();
  Hwnd w = Popup("Line Test");
  ASSERT_NE(w, 0u);
  Log().clear();
  EXPECT_EQ(RunLoop(), 0);

  std::vector<Seen> seen = Log();
  ASSERT_GE(seen.size(), 4u);
  EXPECT_EQ(seen[0].Message, WmUser + 1);
  EXPECT_EQ(seen[0].Tick, start);
  EXPECT_EQ(seen[1].Message, WmPaint);  // once: the default handling validates
  EXPECT_EQ(seen[2].Message, WmEraseBkgnd);
  int pollTicks = 0;
  uint32_t last = start;
  for (size_t i = 3; i < seen.size(); ++i) {
    EXPECT_NE(seen[i].Message, WmPaint);
    if (seen[i].Message == WmTimer && seen[i].W == 0) {
      ++pollTicks;
      EXPECT_EQ(seen[i].Tick - last, 10u);
      last = seen[i].Tick;
    }
  }
  // The poll ran every 10 ms until the 2000 ms timer, which came first at the tie and ended it.
  EXPECT_EQ(pollTicks, 199);
  auto repaint = std::find_if(seen.begin(), seen.end(), [](const Seen& s) { return s.Message == WmTimer && s.W == 1; });
  ASSERT_NE(repaint, seen.end());
  EXPECT_EQ(repaint->Tick - start, 2000u);
  EXPECT_EQ(GetTickCount() - start, 2000u);
  EXPECT_FALSE(IsWindow(w));
}

TEST_F(WindowFixture, TimerIntervalsBelowTheMinimumAreRaised) {
  Register("Poll", Plain);
  Hwnd w = Popup("Poll");
  EXPECT_EQ(SetTimer(w, 0, 1, nullptr), 1u);
  const uint32_t start = GetTickCount();
  Msg msg;
  while (GetMessageA(&msg, 0, 0, 0) > 0 && msg.Message != WmTimer) DispatchMessageA(&msg);
  EXPECT_EQ(msg.Wparam, 0u);
  EXPECT_EQ(msg.Time - start, UserTimerMinimum);
  EXPECT_TRUE(KillTimer(w, 0));
  EXPECT_FALSE(KillTimer(w, 0));
  DestroyWindow(w);
}

TEST_F(WindowFixture, SendIsSynchronousAndDestroyGoesParentFirstChildrenBeforeTheLastMessage) {
  Register("Frame", Recorder);
  Register("Panel", Plain);
  Hwnd frame = Popup("Frame");
  Hwnd panel = CreateWindowExA(0, "Panel", "", WsChild | WsVisible, 10, 10, 100, 50, frame, 1000, 0, nullptr);
  ASSERT_NE(panel, 0u);
  EXPECT_EQ(GetParent(panel), frame);
  EXPECT_EQ(GetWindow(frame, GwChild), panel);

  Log().clear();
  EXPECT_EQ(SendMessageA(panel, WmUser, 21, 0), 42);
  ASSERT_EQ(Log().size(), 1u);  // handled before SendMessage returned, nothing queued

  Log().clear();
  EXPECT_TRUE(DestroyWindow(frame));
  std::vector<std::pair<Hwnd, uint32_t>> order;
  for (const Seen& s : Log())
    if (s.Message == WmDestroy || s.Message == WmNcDestroy) order.emplace_back(s.Window, s.Message);
  EXPECT_EQ(order, (std::vector<std::pair<Hwnd, uint32_t>>{
                       {frame, WmDestroy}, {panel, WmDestroy}, {panel, WmNcDestroy}, {frame, WmNcDestroy}}));
  EXPECT_FALSE(IsWindow(frame));
  EXPECT_FALSE(IsWindow(panel));
  EXPECT_FALSE(DestroyWindow(frame));
  Msg msg;
  EXPECT_EQ(GetMessageA(&msg, 0, 0, 0), 0);  // the quit posted from WM_DESTROY
  EXPECT_EQ(msg.Wparam, 7u);
}

TEST_F(WindowFixture, AWindowsContextDrawsAtItsOriginAndOnlyInsideIt) {
  Register("Card", Plain);
  Hwnd w = CreateWindowExA(0, "Card", "Card", WsPopup | WsVisible, 100, 50, 200, 100, 0, 0, 0, nullptr);
  Hdc dc = GetDC(w);
  SetPixelV(dc, 0, 0, Rgb(0, 0, 255));
  SetPixelV(dc, 250, 0, Rgb(0, 0, 255));  // outside the window: clipped
  ReleaseDC(w, dc);
  EXPECT_EQ(Pixel(100, 50), 0x0000FFu);
  EXPECT_EQ(Pixel(350, 50), 0u);
  DestroyWindow(w);
}

TEST_F(WindowFixture, KeysGoToTheFocusAndTranslateIntoCharacters) {
  Register("Keys", Plain);
  Hwnd first = Popup("Keys");
  Hwnd child = CreateWindowExA(0, "Keys", "", WsChild | WsVisible, 0, 0, 10, 10, first, 5, 0, nullptr);
  Hwnd second = Popup("Keys");
  EXPECT_EQ(GetActiveWindow(), second);
  EXPECT_EQ(GetFocus(), second);

  Log().clear();
  EXPECT_EQ(SetFocus(child), second);  // moves activation to the child's window as well
  EXPECT_EQ(GetActiveWindow(), first);
  EXPECT_EQ(GetFocus(), child);
  std::vector<uint32_t> toSecond = MessagesOf(second);
  EXPECT_NE(std::find(toSecond.begin(), toSecond.end(), WmKillFocus), toSecond.end());

  sim::PressKey(VkNumpad0 + 4, true);
  sim::PressKey(VkNumpad0 + 4, false);
  Msg msg;
  ASSERT_TRUE(PeekMessageA(&msg, 0, 0, 0, PmRemove));
  EXPECT_EQ(msg.Window, child);
  EXPECT_EQ(msg.Message, WmKeyDown);
  EXPECT_TRUE(TranslateMessage(&msg));
  ASSERT_TRUE(PeekMessageA(&msg, 0, 0, 0, PmRemove));
  EXPECT_EQ(msg.Message, WmChar);
  EXPECT_EQ(msg.Wparam, static_cast<WParam>('4'));
  ASSERT_TRUE(PeekMessageA(&msg, 0, 0, 0, PmRemove));
  EXPECT_EQ(msg.Message, WmKeyUp);
  EXPECT_FALSE(TranslateMessage(&msg));

  sim::PressKey(VkF1, true);
  ASSERT_TRUE(PeekMessageA(&msg, 0, 0, 0, PmRemove));
  EXPECT_FALSE(TranslateMessage(&msg));  // F1 makes no character

  // Destroying the active window hands activation and focus to the next one.
  DestroyWindow(first);
  EXPECT_EQ(GetActiveWindow(), second);
  EXPECT_EQ(GetFocus(), second);
  DestroyWindow(second);
  EXPECT_EQ(GetFocus(), 0u);
  sim::PressKey('A', true);  // nobody to take it
  EXPECT_FALSE(PeekMessageA(&msg, 0, WmKeyDown, WmKeyUp, PmRemove));
}

TEST_F(WindowFixture, TopmostWindowsStayAheadAndSetWindowPosReordersAndMoves) {
  Register("Z", Plain);
  Hwnd top = Popup("Z", WsExTopmost);
  Hwnd plain = Popup("Z");
  EXPECT_EQ(sim::TopLevelWindows(), (std::vector<Hwnd>{top, plain}));
  EXPECT_TRUE(SetWindowPos(plain, HwndTopmost, 0, 0, 0, 0, SwpNoMove | SwpNoSize | SwpShowWindow));
  EXPECT_EQ(sim::TopLevelWindows(), (std::vector<Hwnd>{plain, top}));
  EXPECT_EQ(GetActiveWindow(), plain);

  Log().clear();
  EXPECT_TRUE(SetWindowPos(plain, HwndTop, 20, 30, 300, 200, SwpNoZOrder | SwpNoActivate));
  Rect r;
  GetWindowRect(plain, &r);
  EXPECT_EQ(r.Left, 20);
  EXPECT_EQ(r.Bottom, 230);
  GetClientRect(plain, &r);
  EXPECT_EQ(r.Right, 300);
  std::vector<Seen> seen = Log();
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen[0].Message, WmSize);
  EXPECT_EQ(static_cast<uint32_t>(seen[0].W), 0u);

  ShowWindow(top, SwMaximize);
  GetWindowRect(top, &r);
  EXPECT_EQ(r.Right, 640);
  EXPECT_EQ(r.Bottom, 480);
  EXPECT_EQ(ShowCursor(false), -1);
  EXPECT_EQ(ShowCursor(true), 0);
}

TEST_F(WindowFixture, AnOwnerBroughtForwardOrMadeTopMostStaysBehindWhatItOwns) {
  Register("Z", Plain);
  Hwnd owner = Popup("Z");
  Hwnd countdown = CreateWindowExA(0, "Z", "countdown", WsPopup | WsVisible, 0, 0, 100, 100, owner, 0, 0, nullptr);
  Hwnd panel = CreateWindowExA(0, "Z", "panel", WsPopup | WsVisible, 0, 0, 50, 50, countdown, 0, 0, nullptr);
  Hwnd other = Popup("Z");
  EXPECT_EQ(sim::TopLevelWindows(), (std::vector<Hwnd>{other, panel, countdown, owner}));

  EXPECT_TRUE(SetWindowPos(owner, HwndTop, 0, 0, 0, 0, SwpNoMove | SwpNoSize));
  EXPECT_EQ(sim::TopLevelWindows(), (std::vector<Hwnd>{panel, countdown, owner, other}));
  EXPECT_TRUE(SetWindowPos(other, HwndTopmost, 0, 0, 0, 0, SwpNoMove | SwpNoSize));
  EXPECT_TRUE(SetWindowPos(owner, HwndTopmost, 0, 0, 0, 0, SwpNoMove | SwpNoSize));
  EXPECT_EQ(sim::TopLevelWindows(), (std::vector<Hwnd>{panel, countdown, owner, other}));
  // What it owns went into the top-most band with it: a plain window brought forward stays behind.
  Hwnd late = Popup("Z");
  EXPECT_EQ(sim::TopLevelWindows().back(), late);
}

class ScreenshotTest : public WindowFixture {
 protected:
  ScreenshotTest() : WindowFixture(8) {
    folder_ = std::filesystem::temp_directory_path() / ("rasterscan-shots-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    sim::SetScreenshotFolder(folder_.string());
  }
  ~ScreenshotTest() override {
    sim::SetScreenshotFolder("");
    std::filesystem::remove_all(folder_);
  }
  std::filesystem::path folder_;
};

TEST_F(ScreenshotTest, EachDestroyedWindowLeavesANumberedPictureOfTheScreen) {
  Register("Palette Test", Plain);
  Hwnd first = Popup("Palette Test");
  Hwnd child = CreateWindowExA(0, "Palette Test", "child", WsChild | WsVisible, 0, 0, 5, 5, first, 1, 0, nullptr);
  ASSERT_NE(child, 0u);
  DestroyWindow(child);  // a child is no picture of its own
  DestroyWindow(first);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "0001-Palette_Test.png"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), std::filesystem::directory_iterator()), 1);
}
