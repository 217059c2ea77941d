#include "prompts/KestWindow.h"

#include "prompts/PromptWindow.h"

using namespace platform;

namespace {

constexpr uintptr_t OnTopTimer = 0;
constexpr uint32_t OnTopInterval = 1;

// The one state block of the KestWindow prompts.
PromptState& Block() {
  static PromptState state;
  return state;
}

LResult PLATFORM_CALLBACK PromptHandler(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  PromptState& s = Block();
  switch (message) {
    case WmCreate: {
      const auto* create = reinterpret_cast<const CreateStructW*>(lParam);
      SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
      if (s.onTop) SetTimer(window, OnTopTimer, OnTopInterval, nullptr);
      SetForegroundWindow(window);
      return DefWindowProcA(window, message, wParam, lParam);
    }
    case WmTimer:
      if (s.onTop) ReclaimForeground(s, s.title);
      return DefWindowProcA(window, message, wParam, lParam);
    default:
      break;
  }
  bool handled = false;
  const LResult r = HandlePromptMessage(s, s.result, window, message, wParam, lParam, handled);
  return handled ? r : DefWindowProcA(window, message, wParam, lParam);
}

PromptKind Kind() {
  PromptKind kind;
  kind.className = "PromptWindowClassName";
  kind.handler = PromptHandler;
  kind.createParam = &Block();
  return kind;
}

}  // namespace

PromptResult KestWindow::ImagePrompt(const std::wstring& text, const std::wstring& title, uint32_t style,
                                     const std::wstring& imagePath) {
  return RunImagePrompt(Block(), Kind(), &Block().result, text, title, style, imagePath);
}

PromptResult KestWindow::Prompt(const std::wstring& text, const std::wstring& title, uint32_t style) {
  return RunPlainPrompt(Block(), Kind(), &Block().result, text, title, style);
}
