// The message queue of the process (the program has one UI thread): posted messages, keyboard
// input, quit, paint and timer messages in the order Windows hands them out; timers on the
// machine's clock; sending and dispatch; and the default window procedure.
#include "platform/window.h"

#include <algorithm>
#include <vector>

#include "platform/clock.h"
#include "platform/gdi.h"
#include "platform/handles.h"
#include "platform/sim/machine.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"
#include "platform/sim/world.h"

namespace platform {
namespace sim {
namespace wnd {

LResult Send(Hwnd handle, uint32_t message, WParam wParam, LParam lParam) {
  WndProc proc = nullptr;
  {
    Guard hold(S().Lock);
    Window* w = Find(handle);
    if (w == nullptr) return 0;
    proc = w->Proc;
  }
  return proc ? proc(handle, message, wParam, lParam) : 0;
}

namespace {

bool InFilter(uint32_t message, uint32_t low, uint32_t high) {
  return (low == 0 && high == 0) || (message >= low && message <= high);
}

bool WindowMatches(Hwnd filter, Hwnd target) { return filter == 0 || IsWithin(target, filter); }

// The paint order: a window before its children, front windows first.
Hwnd FindPaintLocked(Hwnd handle, Hwnd filter) {
  Window* w = Find(handle);
  if (w == nullptr || !w->Visible) return 0;
  if (w->HasUpdate && WindowMatches(filter, handle)) return handle;
  for (Hwnd c : w->Children)
    if (Hwnd found = FindPaintLocked(c, filter)) return found;
  return 0;
}

wchar_t CharOf(uint32_t key, bool shift) {
  if (key >= '0' && key <= '9') return static_cast<wchar_t>(key);
  if (key >= VkNumpad0 && key <= VkNumpad9) return static_cast<wchar_t>('0' + (key - VkNumpad0));
  if (key >= 'A' && key <= 'Z') return static_cast<wchar_t>(shift ? key : key - 'A' + 'a');
  switch (key) {
    case VkSpace: return L' ';
    case VkReturn: return L'\r';
    case VkBack: return 8;
    case VkTab: return L'\t';
    case VkEscape: return 27;
    default: return 0;
  }
}

// One message ready now, in the order Windows takes them: posted, input, quit, paint, timer.
bool TakeMessage(Msg* out, Hwnd filter, uint32_t low, uint32_t high, bool remove) {
  Guard hold(S().Lock);
  State& s = S();
  const uint32_t now = GetTickCount();
  for (auto it = s.Posted.begin(); it != s.Posted.end(); ++it) {
    if (!InFilter(it->Message, low, high) || (filter != 0 && !WindowMatches(filter, it->Window))) continue;
    *out = *it;
    if (remove) s.Posted.erase(it);
    return true;
  }
  while (!s.Input.empty() && InFilter(WmKeyDown, low, high)) {
    KeyEvent key = s.Input.front();
    Hwnd target = s.Focus != 0 ? s.Focus : s.Active;
    if (target == 0) {
      s.Input.pop_front();  // no window takes the keyboard: the key is lost
      continue;
    }
    if (!WindowMatches(filter, target)) break;
    const uint32_t repeat = 1;
    const uint32_t transition = key.Down ? 0u : 0xC0000000u;
    // Keys with Alt held (and Alt itself) are system keys; bit 29 of lParam says Alt is down.
    const bool alt = key.Key == VkMenu ? key.Down || s.AltDown : s.AltDown;
    const uint32_t context = alt ? 0x20000000u : 0u;
    const uint32_t kind = alt ? (key.Down ? WmSysKeyDown : WmSysKeyUp) : (key.Down ? WmKeyDown : WmKeyUp);
    *out = Msg{target, kind, key.Key, static_cast<LParam>(static_cast<int32_t>(repeat | transition | context)), now, Point{}};
    if (remove) {
      s.Input.pop_front();
      if (key.Key == VkShift) s.ShiftDown = key.Down;
      if (key.Key == VkMenu) s.AltDown = key.Down;
    }
    return true;
  }
  if (s.QuitPending && filter == 0) {
    *out = Msg{0, WmQuit, static_cast<WParam>(s.QuitCode), 0, now, Point{}};
    if (remove) s.QuitPending = false;
    return true;
  }
  if (InFilter(WmPaint, low, high)) {
    for (Hwnd top : s.ZOrder) {
      if (Hwnd found = FindPaintLocked(top, filter)) {
        *out = Msg{found, WmPaint, 0, 0, now, Point{}};
        return true;
      }
    }
  }
  if (InFilter(WmTimer, low, high)) {
    Timer* due = nullptr;
    for (Timer& t : s.Timers) {
      if (static_cast<int32_t>(t.Due - now) > 0 || !WindowMatches(filter, t.Window)) continue;
      if (filter != 0 && t.Window == 0) continue;
      if (due == nullptr || static_cast<int32_t>(t.Due - due->Due) < 0) due = &t;
    }
    if (due != nullptr) {
      *out = Msg{due->Window, WmTimer, due->Id, reinterpret_cast<LParam>(due->Proc), now, Point{}};
      if (remove) due->Due = now + due->Elapse;
      return true;
    }
  }
  return false;
}

// Lets time pass until `wakeAt`: at once on the virtual clock, in short real sleeps otherwise so
// that messages posted by other threads are seen.
void WaitUntil(uint32_t wakeAt) {
  const int32_t left = static_cast<int32_t>(wakeAt - GetTickCount());
  if (left <= 0) return;
  if (sim::CurrentMachine().VirtualClock)
    Sleep(static_cast<uint32_t>(left));
  else
    Sleep(static_cast<uint32_t>(std::min(left, 5)));
}

}  // namespace
}  // namespace wnd

using namespace wnd;

void PressKey(uint32_t virtualKey, bool down) {
  Guard hold(S().Lock);
  S().Input.push_back(KeyEvent{virtualKey, down});
}

void BroadcastDisplayChange(uint32_t bitsPerPixel, int32_t width, int32_t height) {
  std::vector<Hwnd> tops;
  {
    Guard hold(S().Lock);
    tops = S().ZOrder;
  }
  for (Hwnd top : tops)
    Send(top, WmDisplayChange, bitsPerPixel, MakeLParam(static_cast<uint16_t>(width), static_cast<uint16_t>(height)));
}

}  // namespace sim

using namespace sim::wnd;

LResult DefWindowProcA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  switch (message) {
    case WmNcCreate:
      return 1;
    case WmClose:
      DestroyWindow(window);
      return 0;
    case WmPaint: {
      PaintStruct paint;
      BeginPaint(window, &paint);
      EndPaint(window, &paint);
      return 0;
    }
    case WmEraseBkgnd: {
      HBrush brush = 0;
      Rect client;
      {
        Guard hold(S().Lock);
        Window* w = Find(window);
        if (w == nullptr) return 0;
        brush = w->Background;
        client = ClientOf(*w);
      }
      if (brush == 0) return 0;
      FillRect(static_cast<Hdc>(wParam), &client, brush);
      return 1;
    }
    case WmSetText:
      SetWindowTextA(window, reinterpret_cast<const char*>(lParam));
      return 1;
    case WmGetText:
      return GetWindowTextA(window, reinterpret_cast<char*>(lParam), static_cast<int32_t>(wParam));
    case WmGetTextLength:
      return static_cast<LResult>(sim::WindowTitle(window).size());
    case WmActivate:
      if (LoWord(wParam) != WaInactive) {
        Hwnd focus = GetFocus();
        if (focus == 0 || !IsWithin(focus, window)) SetFocus(window);
      }
      return 0;
    case WmCtlColorBtn:
    case WmCtlColorStatic:
      return 16;  // COLOR_BTNFACE + 1: FillRect takes it as that system colour
    default:
      return 0;
  }
}

LResult CallWindowProcA(WndProc proc, Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return proc ? proc(window, message, wParam, lParam) : 0;
}

int32_t GetMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax) {
  if (message == nullptr) return -1;
  if (window != 0 && !IsWindow(window)) {
    SetLastError(ErrorInvalidWindowHandle);
    return -1;
  }
  for (;;) {
    if (TakeMessage(message, window, filterMin, filterMax, true)) return message->Message == WmQuit ? 0 : 1;
    // Nothing is ready: the world outside has its turn, then time passes to whatever is due next.
    const uint32_t now = GetTickCount();
    uint32_t wakeAt = now + 3600000;
    if (sim::WorldTurn(now, wakeAt)) continue;
    {
      Guard hold(S().Lock);
      for (const Timer& t : S().Timers)
        if (static_cast<int32_t>(t.Due - wakeAt) < 0) wakeAt = t.Due;
    }
    WaitUntil(wakeAt);
  }
}

bool PeekMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax, uint32_t remove) {
  if (message == nullptr) return false;
  return TakeMessage(message, window, filterMin, filterMax, (remove & PmRemove) != 0);
}

bool TranslateMessage(const Msg* message) {
  if (message == nullptr || (message->Message != WmKeyDown && message->Message != WmSysKeyDown)) return false;
  Guard hold(S().Lock);
  const wchar_t c = CharOf(static_cast<uint32_t>(message->Wparam), S().ShiftDown);
  if (c == 0) return false;
  Msg ch = *message;
  ch.Message = message->Message == WmSysKeyDown ? WmSysChar : WmChar;
  ch.Wparam = static_cast<WParam>(c);
  S().Posted.push_front(ch);
  return true;
}

LResult DispatchMessageA(const Msg* message) {
  if (message == nullptr) return 0;
  if (message->Message == WmTimer && message->Lparam != 0) {
    reinterpret_cast<TimerProc>(message->Lparam)(message->Window, WmTimer, message->Wparam, GetTickCount());
    return 0;
  }
  if (message->Window == 0) return 0;
  return Send(message->Window, message->Message, message->Wparam, message->Lparam);
}

LResult SendMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  if (window == 0xFFFF) {  // HWND_BROADCAST
    for (Hwnd top : sim::TopLevelWindows()) Send(top, message, wParam, lParam);
    return 0;
  }
  return Send(window, message, wParam, lParam);
}

bool PostMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  Guard hold(S().Lock);
  if (window != 0 && Find(window) == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return false;
  }
  S().Posted.push_back(Msg{window, message, wParam, lParam, GetTickCount(), Point{}});
  return true;
}

void PostQuitMessage(int32_t exitCode) {
  Guard hold(S().Lock);
  S().QuitPending = true;
  S().QuitCode = exitCode;
}

uintptr_t SetTimer(Hwnd window, uintptr_t id, uint32_t elapse, TimerProc proc) {
  Guard hold(S().Lock);
  if (window != 0 && Find(window) == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  elapse = std::min(std::max(elapse, UserTimerMinimum), 0x7FFFFFFFu);
  const uint32_t due = GetTickCount() + elapse;
  for (Timer& t : S().Timers) {
    if (t.Window == window && t.Id == id && (window != 0 || id != 0)) {
      t.Elapse = elapse;
      t.Due = due;
      t.Proc = proc;
      return window != 0 && id == 0 ? 1 : id;
    }
  }
  if (window == 0) id = S().NextTimerId++;
  S().Timers.push_back(Timer{window, id, elapse, due, proc});
  return window != 0 && id == 0 ? 1 : id;
}

bool KillTimer(Hwnd window, uintptr_t id) {
  Guard hold(S().Lock);
  auto& timers = S().Timers;
  auto at = std::find_if(timers.begin(), timers.end(), [&](const Timer& t) { return t.Window == window && t.Id == id; });
  if (at == timers.end()) return false;
  timers.erase(at);
  return true;
}

}  // namespace platform
