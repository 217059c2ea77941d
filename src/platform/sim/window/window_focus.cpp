// Activation, keyboard focus and the foreground window; and the cursor's show count.
#include "platform/window.h"

#include "platform/handles.h"
#include "platform/sim/window/window_internal.h"

namespace platform {
namespace sim {
namespace wnd {

Hwnd ActivateWindow(Hwnd handle) {
  Hwnd old = 0;
  {
    Guard hold(S().Lock);
    Hwnd top = TopLevelOf(handle);
    Window* w = Find(top);
    if (w == nullptr || w->Destroying || !w->Visible) return 0;
    old = S().Active;
    S().Foreground = top;
    if (old == top) return old;
    S().Active = top;
    handle = top;
  }
  if (old != 0) Send(old, WmActivate, WaInactive, static_cast<LParam>(handle));
  Send(handle, WmActivate, WaActive, static_cast<LParam>(old));
  return old;
}

void ActivateNext(Hwnd leaving) {
  Hwnd next = 0;
  {
    Guard hold(S().Lock);
    if (S().Active != leaving) return;
    S().Active = 0;
    S().Foreground = 0;
    for (Hwnd top : S().ZOrder) {
      Window* w = Find(top);
      if (top != leaving && w && w->Visible && !w->Destroying) {
        next = top;
        break;
      }
    }
  }
  Send(leaving, WmActivate, WaInactive, static_cast<LParam>(next));
  if (next != 0) ActivateWindow(next);
}

void LoseFocusWithin(Hwnd handle) {
  Hwnd old = 0;
  {
    Guard hold(S().Lock);
    if (S().Focus == 0 || !IsWithin(S().Focus, handle)) return;
    old = S().Focus;
    S().Focus = 0;
  }
  Send(old, WmKillFocus, 0, 0);
}

}  // namespace wnd
}  // namespace sim

using namespace sim::wnd;

Hwnd SetFocus(Hwnd window) {
  Hwnd old = GetFocus();
  const Hwnd previous = old;
  if (window != 0) {
    {
      Guard hold(S().Lock);
      Window* w = Find(window);
      if (w == nullptr || BeingDestroyed(window)) {
        SetLastError(ErrorInvalidWindowHandle);
        return 0;
      }
    }
    if (GetActiveWindow() != TopLevelOf(window)) ActivateWindow(window);
  }
  {
    Guard hold(S().Lock);
    if (window != 0 && Find(window) == nullptr) return 0;
    old = S().Focus;
    if (old == window) return previous;
    S().Focus = window;
  }
  if (old != 0) Send(old, WmKillFocus, window, 0);
  if (window != 0) Send(window, WmSetFocus, old, 0);
  return previous;
}

Hwnd GetFocus() {
  Guard hold(S().Lock);
  return S().Focus;
}

Hwnd SetActiveWindow(Hwnd window) {
  {
    Guard hold(S().Lock);
    if (Find(window) == nullptr || BeingDestroyed(window)) return 0;
  }
  return ActivateWindow(window);
}

Hwnd GetActiveWindow() {
  Guard hold(S().Lock);
  return S().Active;
}

bool SetForegroundWindow(Hwnd window) {
  {
    Guard hold(S().Lock);
    if (Find(window) == nullptr || BeingDestroyed(window)) return false;
    PlaceInZOrder(TopLevelOf(window), true);
  }
  ActivateWindow(window);
  return true;
}

Hwnd GetForegroundWindow() {
  Guard hold(S().Lock);
  return S().Foreground;
}

int32_t ShowCursor(bool show) {
  Guard hold(S().Lock);
  S().CursorCount += show ? 1 : -1;
  return S().CursorCount;
}

HCursor LoadCursorA(HInstance instance, uintptr_t name) {
  // System cursors only; the program has no cursor resources of its own.
  if (instance != 0 || name < 32512 || name > 32651) return 0;
  return 0x10000 + name;
}

}  // namespace platform
