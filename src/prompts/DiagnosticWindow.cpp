#include "prompts/DiagnosticWindow.h"

#include <cstdio>

#include "framework/ControlFiles.h"
#include "framework/DiagnosticManager.h"
#include "platform/window.h"
#include "prompts/PromptWindow.h"

using namespace platform;

namespace {

constexpr uintptr_t WatchTimer = 1;
constexpr uint32_t WatchInterval = 5000;
constexpr uint32_t DrawCentredLine = 0x25;  // centred, vertically centred, single line

// The layout block of the configured prompts, apart from KestWindow's.
PromptState& Block() {
  static PromptState state;
  return state;
}

void Print(const char* line) {
  std::fputs(line, stdout);
  std::fflush(stdout);
}

}  // namespace

struct DiagnosticWindowHandler {
  static LResult PLATFORM_CALLBACK Handle(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
    if (message == WmCreate) {
      const auto* create = reinterpret_cast<const CreateStructW*>(lParam);
      SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(create->CreateParams));
    }
    auto* self = reinterpret_cast<DiagnosticWindow*>(GetWindowLongPtrA(window, 0));
    if (self == nullptr) return DefWindowProcA(window, message, wParam, lParam);
    switch (message) {
      case WmCreate:
        if (SetTimer(window, WatchTimer, WatchInterval, nullptr) == 0)
          Print("WM_CREATE: Failed to set timer to check for termination.\n");
        SetForegroundWindow(window);
        return DefWindowProcA(window, message, wParam, lParam);
      case WmTimer:
        if (wParam != WatchTimer) break;
        if (IsTerminationRequested() || IsConsoleInterrupted()) {
          Print("Process received request to terminate. Exiting windows message handler.\n");
          self->result = PromptTerminated;
          return 0;
        }
        if (SetTimer(window, WatchTimer, WatchInterval, nullptr) == 0)
          Print("WM_TIMER: Failed to reset timer to check for termination.\n");
        if (self->onTop) ReclaimForeground(Block(), self->title);
        return 0;
      case WmCtlColorStatic:
      case WmCtlColorBtn:
        SetBkMode(static_cast<Hdc>(wParam), Transparent);
        return static_cast<LResult>(self->backgroundBrush);
      case WmDrawItem: {
        auto* item = reinterpret_cast<DrawItemStruct*>(lParam);
        const int32_t id = static_cast<int32_t>(item->CtlId);
        if (item->CtlType == OdtButton && id >= FirstButtonId && id <= LastButtonId) {
          wchar_t label[256] = {};
          GetWindowTextW(item->Item, label, 256);
          FillRect(item->Dc, &item->ItemRect, self->backgroundBrush);
          FrameRect(item->Dc, &item->ItemRect, GetStockObject(BlackBrush));
          DrawTextW(item->Dc, label, -1, &item->ItemRect, DrawCentredLine);
        }
        return DefWindowProcA(window, message, wParam, lParam);
      }
      default:
        break;
    }
    bool handled = false;
    const LResult r = HandlePromptMessage(Block(), self->result, window, message, wParam, lParam, handled);
    return handled ? r : DefWindowProcA(window, message, wParam, lParam);
  }
};

DiagnosticWindow::DiagnosticWindow(const std::string& path) : configuration(path) {
  backgroundBrush = configuration.GetBackgroundBrush();
}

namespace {

PromptKind KindFor(DiagnosticWindow* self, HBrush brush, bool ownerDrawn) {
  PromptKind kind;
  kind.className = "MessageWindowClassName";
  kind.handler = DiagnosticWindowHandler::Handle;
  kind.background = brush;
  kind.createParam = self;
  kind.ownerDrawnButtons = ownerDrawn;
  return kind;
}

}  // namespace

PromptResult DiagnosticWindow::ImagePrompt(const std::wstring& text, const std::wstring& title_, uint32_t style,
                                           const std::wstring& imagePath) {
  result = PromptNoAnswer;
  onTop = (style & PromptOnTop) != 0;
  title = TitleOrProgramPath(title_);
  return RunImagePrompt(Block(), KindFor(this, backgroundBrush, false), &result, text, title_, style, imagePath);
}

PromptResult DiagnosticWindow::Prompt(const std::wstring& text, const std::wstring& title_, uint32_t style) {
  result = PromptNoAnswer;
  onTop = (style & PromptOnTop) != 0;
  title = TitleOrProgramPath(title_);
  return RunPlainPrompt(Block(), KindFor(this, backgroundBrush, true), &result, text, title_, style);
}
