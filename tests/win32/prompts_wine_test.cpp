// The operator windows through the real user32, GDI and GDI+, on an X screen under Wine. The
// prompt runs on the test's thread as it does in a subtest; a second thread plays the operator: it
// finds the window by its class, looks at it (styles, places, labels, the pixels on the screen)
// and answers with real input (keys through SendInput) or a click on a button.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "framework/KestDiag.h"
#include "prompts/KestWindow.h"
#include "prompts/Prompts.h"

namespace {

// A top-level window of the class (and title, if given), once it is visible; 0 after 10 seconds.
HWND WaitForWindow(const wchar_t* className, const wchar_t* title = nullptr) {
  for (int i = 0; i < 500; ++i) {
    HWND window = ::FindWindowW(className, title);
    if (window != nullptr && ::IsWindowVisible(window)) return window;
    ::Sleep(20);
  }
  return nullptr;
}

// Until the window is in the foreground: keys go to the foreground window's focus.
bool WaitForForeground(HWND window) {
  for (int i = 0; i < 250; ++i) {
    if (::GetForegroundWindow() == window) return true;
    ::Sleep(20);
  }
  return false;
}

void SendKey(WORD key, bool release = true) {
  INPUT input{};
  input.type = INPUT_KEYBOARD;
  input.ki.wVk = key;
  ::SendInput(1, &input, sizeof(INPUT));
  if (!release) return;
  input.ki.dwFlags = KEYEVENTF_KEYUP;
  ::SendInput(1, &input, sizeof(INPUT));
}

void SendAltLetter(WORD letter) {
  SendKey(VK_MENU, false);
  SendKey(letter);
  INPUT up{};
  up.type = INPUT_KEYBOARD;
  up.ki.wVk = VK_MENU;
  up.ki.dwFlags = KEYEVENTF_KEYUP;
  ::SendInput(1, &up, sizeof(INPUT));
}

void Type(const std::wstring& text) {
  for (wchar_t c : text) {
    INPUT input[2]{};
    input[0].type = input[1].type = INPUT_KEYBOARD;
    input[0].ki.wScan = input[1].ki.wScan = c;
    input[0].ki.dwFlags = KEYEVENTF_UNICODE;
    input[1].ki.dwFlags = KEYEVENTF_UNICODE | KEYEVENTF_KEYUP;
    ::SendInput(2, input, sizeof(INPUT));
    ::Sleep(30);
  }
}

std::wstring Text(HWND window) {
  wchar_t text[512] = {};
  ::GetWindowTextW(window, text, 512);
  return text;
}

std::wstring ClassOf(HWND window) {
  wchar_t name[256] = {};
  ::GetClassNameW(window, name, 256);
  return name;
}

// A child's place in its parent's client area.
RECT Place(HWND child) {
  RECT r{};
  ::GetWindowRect(child, &r);
  ::MapWindowPoints(nullptr, ::GetParent(child), reinterpret_cast<POINT*>(&r), 2);
  return r;
}

// The colour the X screen shows at a point of a window's client area, once painting settled.
COLORREF ScreenPixel(HWND window, int x, int y) {
  POINT p{x, y};
  ::ClientToScreen(window, &p);
  HDC screen = ::GetDC(nullptr);
  const COLORREF colour = ::GetPixel(screen, p.x, p.y);
  ::ReleaseDC(nullptr, screen);
  return colour;
}

// What the operator saw of a prompt.
struct Seen {
  bool Found = false;
  bool Foreground = false;
  bool Unanswered = false;
  std::wstring Title;
  DWORD Style = 0;
  DWORD ExStyle = 0;
  RECT Bounds{};
  int FocusId = 0;
  struct Control {
    int Id;
    std::wstring Class;
    std::wstring Text;
    DWORD Style;
    bool Visible;
    RECT Place;
  };
  std::vector<Control> Controls;
  std::vector<COLORREF> Pixels;

  const Control* Find(int id) const {
    for (const Control& c : Controls)
      if (c.Id == id) return &c;
    return nullptr;
  }
};

struct FocusProbe {
  HWND Window;
  int Id = 0;
};

// Plays the operator on a thread of its own while the test's thread sits in the prompt.
class Operator {
 public:
  using Act = std::function<void(HWND, Seen&)>;
  Operator(const wchar_t* className, Act act, const wchar_t* title = nullptr)
      : thread_([this, className, title, act] {
          HWND window = WaitForWindow(className, title);
          if (window == nullptr) return;
          seen.Found = true;
          seen.Foreground = WaitForForeground(window);
          ::Sleep(300);  // let the controls paint
          Look(window);
          act(window, seen);
          // An answer that did not arrive fails the test instead of leaving it hanging.
          for (int i = 0; i < 250 && ::IsWindow(window); ++i) ::Sleep(20);
          if (::IsWindow(window)) {
            seen.Unanswered = true;
            ::PostMessageW(window, WM_COMMAND, 1005, 0);
            ::PostMessageW(window, WM_CLOSE, 0, 0);
          }
        }) {}
  ~Operator() { Join(); }
  void Join() {
    if (thread_.joinable()) thread_.join();
  }
  Seen seen;

 private:
  void Look(HWND window) {
    seen.Title = Text(window);
    seen.Style = static_cast<DWORD>(::GetWindowLongW(window, GWL_STYLE));
    seen.ExStyle = static_cast<DWORD>(::GetWindowLongW(window, GWL_EXSTYLE));
    ::GetWindowRect(window, &seen.Bounds);
    GUITHREADINFO info{};
    info.cbSize = sizeof(info);
    if (::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &info) && info.hwndFocus != nullptr)
      seen.FocusId = ::GetDlgCtrlID(info.hwndFocus);
    for (HWND child = ::GetWindow(window, GW_CHILD); child != nullptr; child = ::GetWindow(child, GW_HWNDNEXT))
      seen.Controls.push_back({::GetDlgCtrlID(child), ClassOf(child), Text(child),
                               static_cast<DWORD>(::GetWindowLongW(child, GWL_STYLE)), ::IsWindowVisible(child) != 0,
                               Place(child)});
  }
  std::thread thread_;
};

void MoveMouseTo(POINT p) {
  INPUT input{};
  input.type = INPUT_MOUSE;
  input.mi.dx = static_cast<LONG>((p.x * 65536 + 32768) / ::GetSystemMetrics(SM_CXSCREEN));
  input.mi.dy = static_cast<LONG>((p.y * 65536 + 32768) / ::GetSystemMetrics(SM_CYSCREEN));
  input.mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE;
  ::SendInput(1, &input, sizeof(INPUT));
}

// A click in the middle of the button, and the hand moving on, as a person's does.
void Click(HWND prompt, int id) {
  RECT r{};
  ::GetWindowRect(::GetDlgItem(prompt, id), &r);
  POINT middle{(r.left + r.right) / 2, (r.top + r.bottom) / 2};
  MoveMouseTo(middle);
  ::Sleep(50);
  INPUT press[2]{};
  press[0].type = press[1].type = INPUT_MOUSE;
  press[0].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
  press[1].mi.dwFlags = MOUSEEVENTF_LEFTUP;
  ::SendInput(2, press, sizeof(INPUT));
  ::Sleep(50);
  MoveMouseTo(POINT{middle.x + 3, middle.y + 3});
}

class PromptsUnderWine : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[MAX_PATH];
    snprintf(pattern, sizeof(pattern), "%s\\prompts-XXXXXX", getenv("TEMP") ? getenv("TEMP") : ".");
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
    ASSERT_EQ(_chdir(folder_.c_str()), 0);
    DiagnosticConfigurationPath = ".\\diagconf.ini";
  }
  void TearDown() override {
    for (const char* name : {"diagconf.ini", "kill.ctl", "picture.bmp"}) ::DeleteFileA(name);
    _chdir("..");
    ::RemoveDirectoryA(folder_.c_str());
  }
  std::string folder_;
};

// A 24-bit picture whose left half is red and right half green.
void WritePicture(const char* path, int width, int height) {
  const int row = (width * 3 + 3) & ~3;
  BITMAPFILEHEADER file{};
  BITMAPINFOHEADER info{};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(info);
  file.bfSize = file.bfOffBits + row * height;
  info.biSize = sizeof(info);
  info.biWidth = width;
  info.biHeight = height;
  info.biPlanes = 1;
  info.biBitCount = 24;
  std::vector<unsigned char> pixels(static_cast<size_t>(row) * height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) pixels[y * row + x * 3 + (x < width / 2 ? 2 : 1)] = 0xFF;
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(&file), sizeof(file));
  out.write(reinterpret_cast<const char*>(&info), sizeof(info));
  out.write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
}

TEST_F(PromptsUnderWine, APlainPromptOnTopIsAnsweredByItsButtons) {
  Operator op(L"PromptWindowClassName", [](HWND w, Seen&) { Click(w, 1004); });
  EXPECT_EQ(ShowPrompt(L"Is the picture right?", "ModeTest", 0x1004), PromptNo);
  op.Join();
  const Seen& s = op.seen;
  ASSERT_TRUE(s.Found);
  EXPECT_TRUE(s.Foreground);
  EXPECT_EQ(s.Title, L"ModeTest");
  EXPECT_EQ(s.Style & 0x90800001u, 0x90800001u);
  EXPECT_NE(s.ExStyle & WS_EX_TOPMOST, 0u);
  EXPECT_EQ(s.Bounds.right - s.Bounds.left, 540);
  EXPECT_EQ(s.Bounds.bottom - s.Bounds.top, 290);
  EXPECT_EQ(s.FocusId, 1007);
  ASSERT_NE(s.Find(1007), nullptr);
  ASSERT_NE(s.Find(1004), nullptr);
  EXPECT_EQ(s.Find(1007)->Text, L"&Yes");
  EXPECT_EQ(s.Find(1004)->Text, L"&No");
  EXPECT_EQ(s.Find(1007)->Place.left, 365);
  EXPECT_EQ(s.Find(1007)->Place.top, 10);
  EXPECT_EQ(s.Find(1004)->Place.top, 40);
  EXPECT_EQ(s.Find(1007)->Style & 0xFFFFu, 0x0301u);
  EXPECT_EQ(s.Find(1000)->Text, L"Is the picture right?");
  EXPECT_EQ(s.Find(1003), nullptr);
}

TEST_F(PromptsUnderWine, KeysWorkAsInADialog) {
  {  // Enter presses the default button, Ignore in set 2.
    Operator op(L"PromptWindowClassName", [](HWND, Seen&) { SendKey(VK_RETURN); });
    EXPECT_EQ(ShowPrompt(L"Enter", "T", 2), PromptIgnore);
    op.Join();
    EXPECT_EQ(op.seen.FocusId, 1003);
  }
  {  // Alt with the underlined letter.
    Operator op(L"PromptWindowClassName", [](HWND, Seen&) { SendAltLetter('C'); });
    EXPECT_EQ(ShowPrompt(L"Alt+C", "T", 1), PromptCancel);
  }
  {  // Tab moves to the next button, Enter presses it.
    Operator op(L"PromptWindowClassName", [](HWND, Seen&) {
      SendKey(VK_TAB);
      ::Sleep(100);
      SendKey(VK_RETURN);
    });
    EXPECT_EQ(ShowPrompt(L"Tab", "T", 4), PromptNo);
  }
  {  // A style of no set is a lone OK; an empty title is the program's path.
    Operator op(L"PromptWindowClassName", [](HWND w, Seen&) { Click(w, 1005); });
    EXPECT_EQ(ShowPrompt(L"Nine", "", 9), PromptOk);
    op.Join();
    EXPECT_NE(op.seen.Find(1005), nullptr);
    EXPECT_EQ(op.seen.Find(1002), nullptr);
    EXPECT_NE(op.seen.Title.find(L"prompt-tests-win32.exe"), std::wstring::npos) << op.seen.Title.c_str();
  }
}

TEST_F(PromptsUnderWine, AnImagePromptShowsItsPictureThroughGdiPlus) {
  WritePicture("picture.bmp", 300, 200);
  Operator op(L"PromptWindowClassName", [](HWND w, Seen& s) {
    HWND image = ::GetDlgItem(w, 1008);
    RECT r = Place(image);
    s.Pixels.push_back(ScreenPixel(w, r.left + 20, r.top + 20));    // left half of the picture
    s.Pixels.push_back(ScreenPixel(w, r.left + 280, r.top + 20));   // right half
    SendKey(VK_RETURN);
  });
  EXPECT_EQ(ShowImagePrompt(L"Is this the port?", L"GraphicsPortTest", 0, L"picture.bmp"), PromptOk);
  op.Join();
  const Seen& s = op.seen;
  ASSERT_TRUE(s.Found);
  EXPECT_EQ(s.Style & 0x90840001u, 0x90840001u);
  // 300 + 50 wide, widened to the minimum tracking size; 200 + 140 high.
  EXPECT_EQ(s.Bounds.right - s.Bounds.left, 540);
  EXPECT_EQ(s.Bounds.bottom - s.Bounds.top, 340);
  ASSERT_NE(s.Find(1008), nullptr);
  EXPECT_EQ(s.Find(1008)->Style & 0xFFu, 0x0Eu);
  EXPECT_EQ(s.Find(1008)->Place.left, 10);
  for (const Seen::Control& c : s.Controls)
    if (c.Class == L"ScrollBar") {
      EXPECT_FALSE(c.Visible) << "a bar for a picture that fits";
    }
  ASSERT_EQ(s.Pixels.size(), 2u);
  EXPECT_EQ(s.Pixels[0], RGB(255, 0, 0));
  EXPECT_EQ(s.Pixels[1], RGB(0, 255, 0));
}

TEST_F(PromptsUnderWine, AMissingPictureShowsItsPathInABox) {
  Operator op(L"PromptWindowClassName", [](HWND w, Seen&) { Click(w, 1005); });
  EXPECT_EQ(ShowImagePrompt(L"Where?", L"T", 0, L"No-Such-Picture.png"), PromptOk);
  op.Join();
  const Seen& s = op.seen;
  ASSERT_TRUE(s.Found);
  EXPECT_EQ(s.Bounds.right - s.Bounds.left, 540);
  EXPECT_EQ(s.Bounds.bottom - s.Bounds.top, 300);
  ASSERT_NE(s.Find(1008), nullptr);
  EXPECT_EQ(s.Find(1008)->Text, L"No-Such-Picture.png");
  EXPECT_NE(s.Find(1008)->Style & WS_BORDER, 0u);
}

TEST_F(PromptsUnderWine, TheConfiguredPromptPaintsItsColourAndEndsOnATerminationRequest) {
  std::ofstream("diagconf.ini") << "[WindowSettings]\nBackgroundColor=0x00FF0000\n";
  Operator op(L"MessageWindowClassName", [](HWND w, Seen& s) {
    RECT ok = Place(::GetDlgItem(w, 1005));
    s.Pixels.push_back(ScreenPixel(w, 5, 280));                          // the window's background
    s.Pixels.push_back(ScreenPixel(w, ok.left + 3, ok.top + 3));         // inside the drawn button
    s.Pixels.push_back(ScreenPixel(w, ok.left, ok.top + 12));            // its frame
    Click(w, 1002);
  });
  EXPECT_EQ(ShowPrompt(L"Blue?", "T", 1), PromptCancel);
  op.Join();
  ASSERT_TRUE(op.seen.Found);
  EXPECT_EQ(op.seen.Find(1005)->Style, 0x5001030Bu);
  ASSERT_EQ(op.seen.Pixels.size(), 3u);
  EXPECT_EQ(op.seen.Pixels[0], RGB(0, 0, 255));
  EXPECT_EQ(op.seen.Pixels[1], RGB(0, 0, 255));
  EXPECT_EQ(op.seen.Pixels[2], RGB(0, 0, 0));

  // Nobody answers; a kill file ends the prompt with -1 within two periods of 5 seconds.
  std::atomic<bool> up{false};
  std::thread killer([&up] {
    up = WaitForWindow(L"MessageWindowClassName") != nullptr;
    std::ofstream("kill.ctl") << "";
  });
  const DWORD start = ::GetTickCount();
  EXPECT_EQ(ShowPrompt(L"Waiting.", "T", 0x1004), PromptTerminated);
  EXPECT_LE(::GetTickCount() - start, 10500u);
  killer.join();
  EXPECT_TRUE(up);
}

TEST_F(PromptsUnderWine, TheTextEntryReturnsWhatWasTyped) {
  std::string answer;
  Operator op(L"TextWindowClassName", [](HWND, Seen&) {
    Type(L"G200eR2");
    SendKey(VK_RETURN);
  });
  EXPECT_EQ(KestWindow::TextPrompt(L"Serial number?", L"T", answer, 5000), PromptNoAnswer);
  op.Join();
  EXPECT_TRUE(op.seen.Foreground);
  EXPECT_EQ(op.seen.FocusId, 1100);
  EXPECT_EQ(answer, "G200eR2");
}

TEST_F(PromptsUnderWine, TheCountdownEndsByTimeOrByClose) {
  DWORD start = ::GetTickCount();
  EXPECT_EQ(KestWindow::Countdown(L"Hold.", L"RotationTest", 1, nullptr), CountdownTimeUp);
  EXPECT_GE(::GetTickCount() - start, 1000u);

  // With no time limit only a close ends it; keys do nothing. The panel is a popup owned by the
  // frame, in the frame's middle.
  RECT frame{};
  DWORD frameExStyle = 0;
  std::wstring frameTitle;
  Operator op(
      L"MessageWindowClassName",
      [&](HWND panel, Seen&) {
        HWND owner = ::GetWindow(panel, GW_OWNER);
        ::GetWindowRect(owner, &frame);
        frameExStyle = static_cast<DWORD>(::GetWindowLongW(owner, GWL_EXSTYLE));
        frameTitle = Text(owner);
        SendKey(VK_ESCAPE);
        SendKey(VK_RETURN);
        SendAltLetter(VK_F4);
        ::Sleep(300);
        if (::IsWindow(panel)) ::PostMessageW(panel, WM_CLOSE, 0, 0);
      },
      L"_Lumora_Test_");
  start = ::GetTickCount();
  EXPECT_EQ(KestWindow::Countdown(L"Turn the screen.", L"RotationTest", 0, nullptr), CountdownClosed);
  op.Join();
  ASSERT_TRUE(op.seen.Found);
  EXPECT_EQ(frameTitle, L"RotationTest");
  EXPECT_NE(frameExStyle & WS_EX_TOPMOST, 0u);
  EXPECT_EQ(frame.right - frame.left, 540);
  EXPECT_EQ(frame.bottom - frame.top, 290);
  EXPECT_EQ(op.seen.Bounds.left - frame.left, 54);
  EXPECT_EQ(op.seen.Bounds.top - frame.top, 29);
  EXPECT_EQ(op.seen.Bounds.right - op.seen.Bounds.left, 432);
  EXPECT_EQ(op.seen.Bounds.bottom - op.seen.Bounds.top, 232);
  EXPECT_GE(::GetTickCount() - start, 300u);
}

}  // namespace
