// The countdown of KestWindow: a frame with a panel that shows a text and the seconds left, and
// hands every message to the caller's hook first. No key has an effect of the system's own.
#include <cwchar>

#include "platform/display.h"
#include "platform/gdi.h"
#include "platform/syscolor_brush.h"
#include "prompts/KestWindow.h"
#include "prompts/PromptWindow.h"

using namespace platform;

namespace {

constexpr uintptr_t TickTimer = 1;
constexpr uint32_t TickInterval = 100;
constexpr const char* ClassName = "MessageWindowClassName";

struct CountdownState {
  std::wstring countdownText;
  uint32_t ticksTotal = 0;
  uint32_t ticksElapsed = 0;
  CountdownHook hook = nullptr;
  int32_t countdownState = CountdownRunning;
  Hwnd frame = 0;
};

CountdownState& Block() {
  static CountdownState state;
  return state;
}

bool IsKeyMessage(uint32_t message) {
  return (message >= WmKeyDown && message <= WmSysKeyUp) || message == WmSysDeadChar || message == WmUniChar ||
         message == WmHotKey || message == WmAppCommand;
}

void Paint(Hwnd window) {
  CountdownState& s = Block();
  const uint32_t secondsLeft = (s.ticksTotal - s.ticksElapsed) * 100 / 1000;
  wchar_t number[16];
  std::swprintf(number, 16, L"%d", static_cast<int>(secondsLeft));
  PaintStruct paint;
  Hdc dc = BeginPaint(window, &paint);
  SetBkMode(dc, Transparent);
  Rect client;
  GetClientRect(window, &client);
  DrawTextW(dc, s.countdownText.c_str(), -1, &client, DtWordBreak);
  if (s.ticksTotal > 0)
    TextOutW(dc, (client.Left + client.Right) * 2 / 4, (client.Top + client.Bottom) * 3 / 4, number, -1);
  EndPaint(window, &paint);
}

// Frame and panel where a prompt stands on the present screen.
void PlaceCentred(Hwnd frame, Hwnd panel) {
  const int32_t left = GetSystemMetrics(SmCxScreen) / 2 - 270;
  const int32_t top = GetSystemMetrics(SmCyScreen) / 2 - 145;
  const uint32_t moveOnly = SwpNoSize | SwpNoZOrder | SwpNoActivate;
  SetWindowPos(frame, 0, left, top, 0, 0, moveOnly);
  SetWindowPos(panel, 0, left + 54, top + 29, 0, 0, moveOnly);
}

LResult PLATFORM_CALLBACK PanelHandler(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  CountdownState& s = Block();
  if (message == WmDisplayChange && s.frame != 0) {
    // The screen turned or changed its size: the countdown stays in its middle, and is drawn at
    // once, so that the screen shows it even when the hook ends it on this change.
    PlaceCentred(s.frame, window);
    UpdateWindow(s.frame);
    UpdateWindow(window);
  }
  if (s.hook != nullptr && s.hook(window, message, wParam, lParam) == 0) return 0;
  switch (message) {
    case WmCreate: {
      const auto* create = reinterpret_cast<const CreateStructW*>(lParam);
      SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
      SetTimer(window, TickTimer, TickInterval, nullptr);
      return 0;
    }
    case WmDestroy:
      PostQuitMessage(0);
      return 0;
    case WmActivate:
    case WmSetFocus:
    case WmKillFocus:
      return 0;
    case WmPaint:
      Paint(window);
      return 0;
    case WmClose:
      s.countdownState = CountdownClosed;
      return DefWindowProcA(window, message, wParam, lParam);
    case WmTimer:
      if (s.ticksTotal > 0) {
        if (++s.ticksElapsed > s.ticksTotal) {
          s.countdownState = CountdownTimeUp;
          DestroyWindow(window);
        }
        InvalidateRect(window, nullptr, true);
      }
      // Input always reaches the hook.
      SetForegroundWindow(window);
      SetFocus(window);
      return 0;
    default:
      break;
  }
  if (IsKeyMessage(message)) return 0;
  return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

int32_t KestWindow::Countdown(const std::wstring& text, const std::wstring& title, int32_t seconds, CountdownHook hook) {
  CountdownState& s = Block();
  s = CountdownState{};
  s.ticksTotal = static_cast<uint32_t>(seconds) * 1000 / 100;
  s.hook = hook;
  s.countdownText = text;
  WndClassA c;
  c.Style = CsHRedraw | CsVRedraw;
  c.Proc = PanelHandler;
  c.WindowExtra = PromptWindowExtra;
  c.Cursor = LoadCursorA(0, IdcArrow);
  c.Background = GetSysColorBrush(ColorBtnFace);
  c.ClassName = ClassName;
  RegisterClassA(&c);
  const int32_t left = GetSystemMetrics(SmCxScreen) / 2 - 270;
  const int32_t top = GetSystemMetrics(SmCyScreen) / 2 - 145;
  Hwnd frame = CreateWindowExW(0, L"STATIC", title.c_str(), 0x92800001, left, top, 540, 290, 0, 0, 0, nullptr);
  HFont font = MakeLabelFont();
  SetWindowPos(frame, HwndTopmost, 0, 0, 0, 0, 0x43);
  Hwnd panel = CreateWindowExW(0, L"MessageWindowClassName", L"_Lumora_Test_", 0xD0802000, left + 54, top + 29, 432,
                               232, frame, 0, 0, &s);
  SendMessageA(panel, WmSetFont, static_cast<WParam>(font), 1);
  SetWindowLongA(panel, GwlId, 1000);
  s.frame = frame;

  Msg msg;
  while (GetMessageA(&msg, 0, 0, 0) > 0) {
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  DeleteObject(font);
  DestroyWindow(frame);
  DestroyWindow(panel);
  UnregisterClassA(ClassName, 0);
  return s.countdownState;
}
