// The text entry of KestWindow: a prompt, a field and an OK button; whatever stands in the field
// is wiped when no key has been typed for the idle interval.
#include <cstring>

#include "framework/MessageCatalog.h"
#include "platform/display.h"
#include "platform/syscolor_brush.h"
#include "prompts/KestWindow.h"
#include "prompts/PromptWindow.h"
#include "text/TextHelpers.h"

using namespace platform;

namespace {

constexpr int32_t OkId = 1005;
constexpr int32_t EntryId = 1100;
constexpr uintptr_t IdleTimer = 1500;
constexpr const char* ClassName = "TextWindowClassName";

struct TextState {
  Hwnd textWindow = 0;
  Hwnd entryControl = 0;
  WndProc entryHandler = nullptr;
  uint32_t idleInterval = 0;
  std::string answerText;
  HFont labelFont = 0;
  PromptResult result = PromptNoAnswer;
};

TextState& Block() {
  static TextState state;
  return state;
}

LResult PLATFORM_CALLBACK EntryHandler(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  TextState& s = Block();
  // Each character starts the idle period again.
  if (message == WmChar) SetTimer(s.textWindow, IdleTimer, s.idleInterval, nullptr);
  return CallWindowProcA(s.entryHandler, window, message, wParam, lParam);
}

LResult PLATFORM_CALLBACK TextHandler(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  TextState& s = Block();
  switch (message) {
    case WmCreate: {
      const auto* create = reinterpret_cast<const CreateStructW*>(lParam);
      SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
      SetForegroundWindow(window);
      SetTimer(window, IdleTimer, s.idleInterval, nullptr);
      break;
    }
    case WmDestroy:
      return 0;
    case WmSetFocus:
      SetFocus(s.entryControl);
      break;
    case WmCommand:
      if (LoWord(wParam) == OkId) s.result = PromptOk;
      break;
    case WmTimer:
      SetDlgItemTextW(window, EntryId, L"");
      SetForegroundWindow(window);
      break;
    case WmClose:
      // Its one button is OK, so closing it is OK, as a message box with OK alone does.
      s.result = PromptOk;
      PostMessageA(window, WmNull, 0, 0);
      return 0;
    default:
      break;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

PromptResult KestWindow::TextPrompt(const std::wstring& text, const std::wstring& title, std::string& answer,
                                    uint32_t idleInterval) {
  TextState& s = Block();
  s = TextState{};
  s.idleInterval = idleInterval;
  WndClassA c;
  c.Style = CsHRedraw | CsVRedraw;
  c.Proc = TextHandler;
  c.WindowExtra = PromptWindowExtra;
  c.Cursor = LoadCursorA(0, IdcArrow);
  c.Background = GetSysColorBrush(ColorBtnFace);
  c.ClassName = ClassName;
  RegisterClassA(&c);
  const std::wstring shownTitle = TitleOrProgramPath(title);
  const int32_t screenWidth = GetSystemMetrics(SmCxScreen);
  const int32_t screenHeight = GetSystemMetrics(SmCyScreen);
  s.textWindow = CreateWindowExW(0, L"TextWindowClassName", shownTitle.c_str(), 0x90800001, screenWidth / 2 - 270,
                                 screenHeight / 2 - 145, 540, 290, 0, 0, 0, &s);
  SetWindowPos(s.textWindow, HwndTopmost, 0, 0, 0, 0, 0x43);
  const std::wstring okLabel = GetWideMessageTextOr(20011, L"", L"&OK");
  s.labelFont = MakeLabelFont();
  Hwnd ok = CreateWindowExW(0, L"BUTTON", okLabel.c_str(), 0x50010301, 245, 255, 50, 25, s.textWindow,
                            static_cast<HMenu>(OkId), 0, nullptr);
  SendMessageA(ok, WmSetFont, static_cast<WParam>(s.labelFont), 1);
  s.entryControl = CreateWindowExW(0, L"EDIT", L"", 0x50810000, 120, 190, 300, 25, s.textWindow,
                                   static_cast<HMenu>(EntryId), 0, nullptr);
  s.entryHandler = reinterpret_cast<WndProc>(
      SetWindowLongPtrA(s.entryControl, GwlWndProc, reinterpret_cast<intptr_t>(EntryHandler)));
  Hwnd label = CreateWindowExW(0, L"STATIC", text.c_str(), 0x50000000, 10, 10, 520, 140, s.textWindow, 0, 0, nullptr);
  SendMessageA(label, WmSetFont, static_cast<WParam>(s.labelFont), 1);
  SetFocus(s.entryControl);

  Msg msg;
  int32_t got;
  while ((got = GetMessageA(&msg, 0, 0, 0)) > 0) {
    if (s.result != PromptNoAnswer || !IsDialogMessageA(s.textWindow, &msg)) {
      TranslateMessage(&msg);
      DispatchMessageA(&msg);
    }
    // OK, or the release of Enter (an odd message number with the key's code 13).
    if (s.result == PromptOk || (msg.Wparam == 13 && (msg.Message & 1) != 0)) break;
  }
  // A quit that ended the loop belongs to the loop beneath.
  if (got == 0) PostQuitMessage(static_cast<int32_t>(msg.Wparam));
  char buffer[256];
  std::memset(buffer, 0, sizeof buffer);
  GetDlgItemTextA(s.textWindow, EntryId, buffer, sizeof buffer);
  s.answerText = buffer;
  SetWindowLongPtrA(s.entryControl, GwlWndProc, reinterpret_cast<intptr_t>(s.entryHandler));

  DeleteObject(s.labelFont);
  DestroyWindow(s.textWindow);
  answer = s.answerText;
  UnregisterClassA(ClassName, 0);
  return s.result;
}
