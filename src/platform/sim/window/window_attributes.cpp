// What the program asks of and sets on one window: its rectangles, relations, text and words.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/handles.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace platform {

using namespace sim::wnd;

namespace {

std::string NarrowBytes(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out.push_back(c >= 0 && c < 256 ? static_cast<char>(c) : '?');
  return out;
}

// A rectangle of a window, or the screen's for the desktop.
template <typename Pick>
bool RectOfWindow(Hwnd window, Rect* rect, Pick pick) {
  Guard hold(S().Lock);
  if (rect == nullptr) return false;
  if (window == DesktopHandle) {
    *rect = ScreenSize();
    return true;
  }
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return false;
  }
  *rect = pick(*w);
  return true;
}

}  // namespace

bool GetClientRect(Hwnd window, Rect* rect) {
  return RectOfWindow(window, rect, [](const Window& w) { return ClientOf(w); });
}

bool GetWindowRect(Hwnd window, Rect* rect) {
  return RectOfWindow(window, rect, [](const Window& w) { return ScreenRectOf(w); });
}

Hwnd GetParent(Hwnd window) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) return 0;
  return w->Parent != 0 ? w->Parent : w->Owner;
}

Hwnd GetWindow(Hwnd window, uint32_t relation) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) return 0;
  if (relation == GwChild) return w->Children.empty() ? 0 : w->Children.front();
  if (relation == GwOwner) return w->Owner;
  const std::vector<Hwnd>& siblings = w->Parent ? Find(w->Parent)->Children : S().ZOrder;
  if (siblings.empty()) return 0;
  auto at = std::find(siblings.begin(), siblings.end(), window);
  switch (relation) {
    case GwHwndFirst: return siblings.front();
    case GwHwndLast: return siblings.back();
    case GwHwndNext: return at == siblings.end() || at + 1 == siblings.end() ? 0 : *(at + 1);
    case GwHwndPrev: return at == siblings.begin() || at == siblings.end() ? 0 : *(at - 1);
    default: return 0;
  }
}

Hwnd GetDesktopWindow() { return DesktopHandle; }

Hwnd GetDlgItem(Hwnd dialog, int32_t id) {
  Guard hold(S().Lock);
  Window* w = Find(dialog);
  if (w == nullptr) return 0;
  for (Hwnd c : w->Children)
    if (Find(c)->Id == id) return c;
  return 0;
}

int32_t GetDlgCtrlID(Hwnd window) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  return w ? static_cast<int32_t>(w->Id) : 0;
}

int32_t GetWindowTextA(Hwnd window, char* text, int32_t size) {
  if (text == nullptr || size <= 0) return 0;
  std::string narrow = NarrowBytes(sim::WindowTitle(window));
  const size_t count = std::min(narrow.size(), static_cast<size_t>(size - 1));
  std::memcpy(text, narrow.data(), count);
  text[count] = 0;
  return static_cast<int32_t>(count);
}

int32_t GetWindowTextW(Hwnd window, wchar_t* text, int32_t size) {
  if (text == nullptr || size <= 0) return 0;
  std::wstring wide = sim::WindowTitle(window);
  const size_t count = std::min(wide.size(), static_cast<size_t>(size - 1));
  std::wmemcpy(text, wide.data(), count);
  text[count] = 0;
  return static_cast<int32_t>(count);
}

bool SetWindowTextW(Hwnd window, const wchar_t* text) {
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) return false;
    w->Text = text ? text : L"";
    InvalidateLocked(*w, nullptr, true, false);
  }
  return true;
}

bool SetWindowTextA(Hwnd window, const char* text) { return SetWindowTextW(window, WidenBytes(text).c_str()); }

intptr_t GetWindowLongPtrA(Hwnd window, int32_t index) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  switch (index) {
    case GwlWndProc: return reinterpret_cast<intptr_t>(w->Proc);
    case GwlHInstance: return static_cast<intptr_t>(w->Instance);
    case GwlId: return w->Id;
    case GwlStyle: return static_cast<intptr_t>(static_cast<int32_t>(w->Style | (w->Visible ? WsVisible : 0)));
    case GwlExStyle: return static_cast<intptr_t>(static_cast<int32_t>(w->ExStyle));
    case GwlUserData: return w->UserData;
    default: break;
  }
  if (index < 0 || static_cast<size_t>(index) + sizeof(intptr_t) > w->Extra.size()) {
    SetLastError(ErrorInvalidIndex);
    return 0;
  }
  intptr_t value = 0;
  std::memcpy(&value, w->Extra.data() + index, sizeof value);
  return value;
}

intptr_t SetWindowLongPtrA(Hwnd window, int32_t index, intptr_t value) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  intptr_t old = GetWindowLongPtrA(window, index);
  switch (index) {
    case GwlWndProc: w->Proc = reinterpret_cast<WndProc>(value); return old;
    case GwlHInstance: w->Instance = static_cast<HInstance>(value); return old;
    case GwlId: w->Id = value; return old;
    case GwlStyle:
      w->Style = static_cast<uint32_t>(value) & ~WsVisible;
      return old;
    case GwlExStyle: w->ExStyle = static_cast<uint32_t>(value); return old;
    case GwlUserData: w->UserData = value; return old;
    default: break;
  }
  if (index < 0 || static_cast<size_t>(index) + sizeof(intptr_t) > w->Extra.size()) {
    SetLastError(ErrorInvalidIndex);
    return 0;
  }
  std::memcpy(w->Extra.data() + index, &value, sizeof value);
  return old;
}

int32_t GetWindowLongA(Hwnd window, int32_t index) {
  if (index < 0) return static_cast<int32_t>(GetWindowLongPtrA(window, index));
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  if (static_cast<size_t>(index) + 4 > w->Extra.size()) {
    SetLastError(ErrorInvalidIndex);
    return 0;
  }
  int32_t value = 0;
  std::memcpy(&value, w->Extra.data() + index, 4);
  return value;
}

int32_t SetWindowLongA(Hwnd window, int32_t index, int32_t value) {
  if (index < 0) {
    // A procedure does not fit 32 bits on a 64-bit host; GWL_WNDPROC goes through the Ptr form.
    return static_cast<int32_t>(SetWindowLongPtrA(window, index, static_cast<intptr_t>(value)));
  }
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  if (static_cast<size_t>(index) + 4 > w->Extra.size()) {
    SetLastError(ErrorInvalidIndex);
    return 0;
  }
  int32_t old = 0;
  std::memcpy(&old, w->Extra.data() + index, 4);
  std::memcpy(w->Extra.data() + index, &value, 4);
  return old;
}

}  // namespace platform
