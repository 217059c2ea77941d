// The window tree: windows made from their classes, their parents, owners and children, the
// z-order of the top-level ones, and showing, hiding, moving and destroying them. Windows have no
// non-client area: the client area is the whole window.
#include "platform/window.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/handles.h"
#include "platform/sim/gdi/rects.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"
#include "platform/sim/world.h"

namespace platform {
namespace sim {
namespace wnd {

State& S() {
  static State state;
  return state;
}

std::wstring WidenBytes(const char* text) {
  std::wstring out;
  if (text == nullptr) return out;
  for (; *text != 0; ++text) out.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*text)));
  return out;
}

Window* Find(Hwnd handle) {
  auto found = S().Windows.find(handle);
  return found == S().Windows.end() ? nullptr : &found->second;
}

Rect ClientOf(const Window& w) { return Rect{0, 0, w.Bounds.Right - w.Bounds.Left, w.Bounds.Bottom - w.Bounds.Top}; }

Rect ScreenSize() {
  const sim::Surface& screen = sim::ScreenSurface();
  return Rect{0, 0, screen.Width, screen.Height};
}

Rect ScreenRectOf(const Window& w) {
  Rect r = w.Bounds;
  for (const Window* p = Find(w.Parent); p != nullptr; p = Find(p->Parent)) r = Offset(r, p->Bounds.Left, p->Bounds.Top);
  return r;
}

Rect VisibleScreenRect(const Window& w) {
  Rect r = ScreenRectOf(w);
  for (const Window* p = Find(w.Parent); p != nullptr; p = Find(p->Parent)) r = Intersect(r, ScreenRectOf(*p));
  return r;
}

bool ShownOnScreen(const Window& w) {
  for (const Window* p = &w; p != nullptr; p = Find(p->Parent))
    if (!p->Visible) return false;
  return true;
}

Hwnd TopLevelOf(Hwnd handle) {
  Window* w = Find(handle);
  while (w != nullptr && w->Parent != 0) w = Find(w->Parent);
  return w ? w->Handle : 0;
}

bool IsWithin(Hwnd handle, Hwnd ancestor) {
  for (Window* w = Find(handle); w != nullptr; w = Find(w->Parent))
    if (w->Handle == ancestor) return true;
  return false;
}

bool BeingDestroyed(Hwnd handle) {
  for (Window* w = Find(handle); w != nullptr; w = Find(w->Parent))
    if (w->Destroying) return true;
  return false;
}

namespace {

// Windows owned by `owner` that lie behind it come to just in front of it, in their order, and
// theirs after them: user32 never shows an owner over what it owns (a countdown over its test
// window). An owner in the top-most band takes what it owns into the band.
void KeepOwnedInFront(Hwnd owner) {
  State& s = S();
  const uint32_t band = Find(owner)->ExStyle & WsExTopmost;
  std::vector<Hwnd> owned;
  for (Hwnd other : s.ZOrder)
    if (Find(other)->Owner == owner) owned.push_back(other);
  for (Hwnd handle : owned) {
    Find(handle)->ExStyle |= band;
    auto at = std::find(s.ZOrder.begin(), s.ZOrder.end(), handle);
    const auto ownerAt = std::find(s.ZOrder.begin(), s.ZOrder.end(), owner);
    if (at > ownerAt) {
      s.ZOrder.erase(at);
      s.ZOrder.insert(std::find(s.ZOrder.begin(), s.ZOrder.end(), owner), handle);
    }
    KeepOwnedInFront(handle);
  }
}

}  // namespace

void PlaceInZOrder(Hwnd handle, bool front) {
  State& s = S();
  s.ZOrder.erase(std::remove(s.ZOrder.begin(), s.ZOrder.end(), handle), s.ZOrder.end());
  Window* w = Find(handle);
  const bool topmost = (w->ExStyle & WsExTopmost) != 0;
  auto inBand = [&](Hwnd other) { return (Find(other)->ExStyle & WsExTopmost) != 0; };
  if (front) {
    auto at = topmost ? s.ZOrder.begin() : std::find_if_not(s.ZOrder.begin(), s.ZOrder.end(), inBand);
    s.ZOrder.insert(at, handle);
  } else {
    auto at = topmost ? std::find_if_not(s.ZOrder.begin(), s.ZOrder.end(), inBand) : s.ZOrder.end();
    s.ZOrder.insert(at, handle);
  }
  KeepOwnedInFront(handle);
}

namespace {

void HideWindow(Hwnd handle) {
  Rect area;
  bool top = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(handle);
    if (w == nullptr || !w->Visible) return;
    area = VisibleScreenRect(*w);
    w->Visible = false;
    w->Style &= ~WsVisible;
    top = w->Parent == 0;
  }
  Send(handle, WmShowWindow, 0, 0);
  LoseFocusWithin(handle);
  if (top) ActivateNext(handle);
  Guard hold(S().Lock);
  ExposeLocked(area, handle);
  if (Window* w = Find(handle); w && w->Parent) {
    if (Window* p = Find(w->Parent)) {
      Rect local = w->Bounds;
      InvalidateLocked(*p, &local, true, false);
    }
  }
}

void RevealWindow(Hwnd handle, bool activate) {
  bool top = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(handle);
    if (w == nullptr || w->Destroying) return;
    top = w->Parent == 0;
    if (!w->Visible) {
      w->Visible = true;
      w->Style |= WsVisible;
      InvalidateLocked(*w, nullptr, true, true);
    } else {
      activate = activate && S().Active != handle;
      if (!activate) return;
    }
  }
  Send(handle, WmShowWindow, 1, 0);
  if (top && activate) ActivateWindow(handle);
}

void DestroyTree(Hwnd handle) {
  Send(handle, WmDestroy, 0, 0);
  std::vector<Hwnd> children;
  {
    Guard hold(S().Lock);
    if (Window* w = Find(handle)) children = w->Children;
  }
  for (Hwnd c : children) DestroyTree(c);
  Send(handle, WmNcDestroy, 0, 0);
  Guard hold(S().Lock);
  State& s = S();
  Window* w = Find(handle);
  if (w == nullptr) return;
  if (Window* p = Find(w->Parent)) p->Children.erase(std::remove(p->Children.begin(), p->Children.end(), handle), p->Children.end());
  s.ZOrder.erase(std::remove(s.ZOrder.begin(), s.ZOrder.end(), handle), s.ZOrder.end());
  s.Timers.erase(std::remove_if(s.Timers.begin(), s.Timers.end(), [&](const Timer& t) { return t.Window == handle; }),
                 s.Timers.end());
  s.Posted.erase(std::remove_if(s.Posted.begin(), s.Posted.end(), [&](const Msg& m) { return m.Window == handle; }),
                 s.Posted.end());
  if (s.Focus == handle) s.Focus = 0;
  if (s.Active == handle) s.Active = 0;
  if (s.Foreground == handle) s.Foreground = 0;
  s.Windows.erase(handle);
}

void MarkDestroying(Hwnd handle) {
  Window* w = Find(handle);
  if (w == nullptr) return;
  w->Destroying = true;
  for (Hwnd c : w->Children) MarkDestroying(c);
}

// user32 asks a sizable or overlapped window for its tracking limits when it is made and when
// SetWindowPos or MoveWindow size it (the default answer to WM_WINDOWPOSCHANGING), and keeps the
// size within them; the minimum wins over the maximum.
void KeepWithinTrackingSize(Hwnd handle, uint32_t style, int32_t& width, int32_t& height) {
  if ((style & WsThickFrame) == 0 && (style & (WsPopup | WsChild)) != 0) return;
  MinMaxInfo limits;
  limits.MaxTrackSize = Point{INT32_MAX, INT32_MAX};
  Send(handle, WmGetMinMaxInfo, 0, reinterpret_cast<LParam>(&limits));
  width = std::max(std::min(width, limits.MaxTrackSize.X), limits.MinTrackSize.X);
  height = std::max(std::min(height, limits.MaxTrackSize.Y), limits.MinTrackSize.Y);
}

uint32_t StyleOf(Hwnd handle) {
  Guard hold(S().Lock);
  Window* w = Find(handle);
  return w ? w->Style : 0;
}

Hwnd CreateWindowCommon(uint32_t exStyle, const std::wstring* className, Atom atom, const std::wstring& title,
                        uint32_t style, int32_t x, int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu,
                        HInstance instance, const void* createStruct) {
  WindowsInUse();
  Hwnd handle = 0;
  {
    Guard hold(S().Lock);
    const WindowClass* c = FindClass(className, atom);
    if (c == nullptr) {
      SetLastError(ErrorCannotFindWndClass);
      return 0;
    }
    Window* p = Find(parent);
    if (parent != 0 && parent != DesktopHandle && p == nullptr) {
      SetLastError(ErrorInvalidWindowHandle);
      return 0;
    }
    // With both bits the window is a popup owned by `parent`, as user32 makes it.
    const bool child = (style & (WsChild | WsPopup)) == WsChild;
    if (child && p == nullptr) {
      SetLastError(ErrorTlwWithWsChild);
      return 0;
    }
    if (x == CwUseDefault) x = y = 0;
    if (width == CwUseDefault) width = height = 0;
    Window w;
    w.Handle = handle = S().NextHandle;
    S().NextHandle += 4;
    w.ClassKey = c->Key;
    w.ClassName = c->Name;
    w.ClassStyle = c->Style;
    w.Background = c->Background;
    w.Proc = c->Proc;
    w.Style = style & ~WsVisible;
    w.ExStyle = exStyle;
    w.Text = title;
    w.Instance = instance;
    w.Extra.assign(static_cast<size_t>(std::max(c->WindowExtra, 0)), 0);
    w.Bounds = Rect{x, y, x + std::max(width, 0), y + std::max(height, 0)};
    if (child) {
      w.Parent = parent;
      w.Id = static_cast<intptr_t>(menu);
      p->Children.push_back(handle);
    } else {
      w.Owner = p ? TopLevelOf(parent) : 0;
      // An owned window stays above its owner, in the top-most band too.
      if (Window* owner = Find(w.Owner)) w.ExStyle |= owner->ExStyle & WsExTopmost;
    }
    S().Windows[handle] = std::move(w);
    if (!child) PlaceInZOrder(handle, true);
  }
  int32_t keptWidth = std::max(width, 0);
  int32_t keptHeight = std::max(height, 0);
  KeepWithinTrackingSize(handle, style, keptWidth, keptHeight);
  if (keptWidth != width || keptHeight != height) {
    Guard hold(S().Lock);
    Window* made = Find(handle);
    made->Bounds.Right = made->Bounds.Left + keptWidth;
    made->Bounds.Bottom = made->Bounds.Top + keptHeight;
  }
  LParam cs = reinterpret_cast<LParam>(createStruct);
  if (Send(handle, WmNcCreate, 0, cs) == 0) {
    DestroyTree(handle);
    return 0;
  }
  if (Send(handle, WmCreate, 0, cs) == -1) {
    DestroyWindow(handle);
    return 0;
  }
  if (!IsWindow(handle)) return 0;
  Rect client;
  Rect bounds;
  {
    Guard hold(S().Lock);
    client = ClientOf(*Find(handle));
    bounds = Find(handle)->Bounds;
  }
  Send(handle, WmSize, SizeRestored, MakeLParam(static_cast<uint16_t>(client.Right), static_cast<uint16_t>(client.Bottom)));
  Send(handle, WmMove, 0, MakeLParam(static_cast<uint16_t>(bounds.Left), static_cast<uint16_t>(bounds.Top)));
  if ((style & WsVisible) != 0 && IsWindow(handle)) RevealWindow(handle, true);
  return IsWindow(handle) ? handle : 0;
}

void ApplyRect(Hwnd handle, const Rect& next, bool redraw) {
  Rect oldScreen;
  Rect before;
  bool visible = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(handle);
    if (w == nullptr) return;
    before = w->Bounds;
    if (Same(before, next)) return;
    oldScreen = VisibleScreenRect(*w);
    visible = ShownOnScreen(*w);
    w->Bounds = next;
    if (visible && redraw) {
      InvalidateLocked(*w, nullptr, true, true);
      if (w->Parent == 0) ExposeLocked(oldScreen, handle);
      else if (Window* p = Find(w->Parent)) InvalidateLocked(*p, &before, true, false);
    }
  }
  const int32_t width = next.Right - next.Left;
  const int32_t height = next.Bottom - next.Top;
  if (width != before.Right - before.Left || height != before.Bottom - before.Top)
    Send(handle, WmSize, SizeRestored, MakeLParam(static_cast<uint16_t>(width), static_cast<uint16_t>(height)));
  if (next.Left != before.Left || next.Top != before.Top)
    Send(handle, WmMove, 0, MakeLParam(static_cast<uint16_t>(next.Left), static_cast<uint16_t>(next.Top)));
}

}  // namespace
}  // namespace wnd

using namespace wnd;

std::wstring WindowClassName(Hwnd window) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  return w ? w->ClassName : std::wstring();
}

std::wstring WindowTitle(Hwnd window) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  return w ? w->Text : std::wstring();
}

std::vector<Hwnd> TopLevelWindows() {
  Guard hold(S().Lock);
  std::vector<Hwnd> out;
  for (Hwnd top : S().ZOrder)
    if (Find(top)->Visible && !Find(top)->Destroying) out.push_back(top);
  return out;
}

std::vector<Hwnd> ChildWindows(Hwnd parent) {
  Guard hold(S().Lock);
  Window* w = Find(parent);
  return w ? w->Children : std::vector<Hwnd>();
}

void ResetWindowSystem() {
  Guard hold(S().Lock);
  State& s = S();
  s.Classes.clear();
  s.Windows.clear();
  s.ZOrder.clear();
  s.Posted.clear();
  s.Input.clear();
  s.QuitPending = false;
  s.Timers.clear();
  s.Focus = s.Active = s.Foreground = 0;
  s.CursorCount = 0;
  s.ShiftDown = false;
  s.AltDown = false;
  s.SystemClasses = false;
}

}  // namespace sim

using namespace sim::wnd;

Hwnd CreateWindowExA(uint32_t exStyle, const char* className, const char* windowName, uint32_t style, int32_t x,
                     int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu, HInstance instance,
                     void* param) {
  CreateStructA cs;
  cs.CreateParams = param;
  cs.Instance = instance;
  cs.Menu = menu;
  cs.Parent = parent;
  cs.Cy = height;
  cs.Cx = width;
  cs.Y = y;
  cs.X = x;
  cs.Style = static_cast<int32_t>(style);
  cs.Name = windowName;
  cs.ClassName = className;
  cs.ExStyle = exStyle;
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  std::wstring wideClass = IsAtom(name) ? std::wstring() : WidenBytes(className);
  return CreateWindowCommon(exStyle, IsAtom(name) ? nullptr : &wideClass, static_cast<Atom>(IsAtom(name) ? name : 0),
                            WidenBytes(windowName), style, x, y, width, height, parent, menu, instance, &cs);
}

Hwnd CreateWindowExW(uint32_t exStyle, const wchar_t* className, const wchar_t* windowName, uint32_t style,
                     int32_t x, int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu,
                     HInstance instance, void* param) {
  CreateStructW cs;
  cs.CreateParams = param;
  cs.Instance = instance;
  cs.Menu = menu;
  cs.Parent = parent;
  cs.Cy = height;
  cs.Cx = width;
  cs.Y = y;
  cs.X = x;
  cs.Style = static_cast<int32_t>(style);
  cs.Name = windowName;
  cs.ClassName = className;
  cs.ExStyle = exStyle;
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  std::wstring wideClass = IsAtom(name) || className == nullptr ? std::wstring() : std::wstring(className);
  return CreateWindowCommon(exStyle, IsAtom(name) ? nullptr : &wideClass, static_cast<Atom>(IsAtom(name) ? name : 0),
                            windowName ? windowName : L"", style, x, y, width, height, parent, menu, instance, &cs);
}

bool DestroyWindow(Hwnd window) {
  std::wstring title;
  bool topLevel = false;
  std::vector<Hwnd> owned;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) {
      SetLastError(ErrorInvalidWindowHandle);
      return false;
    }
    if (w->Destroying) return false;
    topLevel = w->Parent == 0;
    title = w->Text;
    if (topLevel && w->Visible) sim::WindowLeavesScreen(title);
    for (const auto& entry : S().Windows)
      if (entry.second.Owner == window) owned.push_back(entry.first);
  }
  for (Hwnd o : owned) DestroyWindow(o);
  {
    Guard hold(S().Lock);
    if (Find(window) == nullptr) return true;
    MarkDestroying(window);
  }
  HideWindow(window);
  DestroyTree(window);
  return true;
}

bool IsWindow(Hwnd window) {
  Guard hold(S().Lock);
  return window == DesktopHandle || Find(window) != nullptr;
}

bool IsWindowVisible(Hwnd window) {
  Guard hold(S().Lock);
  if (window == DesktopHandle) return true;
  Window* w = Find(window);
  return w != nullptr && ShownOnScreen(*w);
}

bool ShowWindow(Hwnd window, int32_t command) {
  bool wasVisible = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) {
      SetLastError(ErrorInvalidWindowHandle);
      return false;
    }
    wasVisible = w->Visible;
  }
  switch (command) {
    case SwHide:
      HideWindow(window);
      break;
    case SwMaximize: {
      Rect screen;
      {
        Guard hold(S().Lock);
        screen = Find(window)->Parent == 0 ? ScreenSize() : ClientOf(*Find(Find(window)->Parent));
      }
      ApplyRect(window, screen, true);
      RevealWindow(window, true);
      Send(window, WmSize, SizeMaximized, MakeLParam(static_cast<uint16_t>(screen.Right), static_cast<uint16_t>(screen.Bottom)));
      break;
    }
    case SwShowNoActivate:
    case 7:  // SW_SHOWMINNOACTIVE
    case 8:  // SW_SHOWNA
      RevealWindow(window, false);
      break;
    default:
      RevealWindow(window, true);
      break;
  }
  return wasVisible;
}

bool MoveWindow(Hwnd window, int32_t x, int32_t y, int32_t width, int32_t height, bool repaint) {
  if (!IsWindow(window)) return false;
  KeepWithinTrackingSize(window, StyleOf(window), width, height);
  ApplyRect(window, Rect{x, y, x + width, y + height}, repaint);
  return true;
}

bool SetWindowPos(Hwnd window, Hwnd insertAfter, int32_t x, int32_t y, int32_t width, int32_t height,
                  uint32_t flags) {
  Rect next;
  bool topLevel = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) {
      SetLastError(ErrorInvalidWindowHandle);
      return false;
    }
    topLevel = w->Parent == 0;
    if ((flags & SwpNoZOrder) == 0 && topLevel) {
      if (insertAfter == HwndTopmost) {
        w->ExStyle |= WsExTopmost;
        PlaceInZOrder(window, true);
      } else if (insertAfter == HwndNoTopmost) {
        w->ExStyle &= ~WsExTopmost;
        PlaceInZOrder(window, true);
      } else if (insertAfter == HwndTop) {
        PlaceInZOrder(window, true);
      } else if (insertAfter == HwndBottom) {
        PlaceInZOrder(window, false);
      } else if (Find(insertAfter) != nullptr && insertAfter != window) {
        auto& z = S().ZOrder;
        z.erase(std::remove(z.begin(), z.end(), window), z.end());
        auto at = std::find(z.begin(), z.end(), insertAfter);
        z.insert(at == z.end() ? at : at + 1, window);
      }
      if (w->Visible) InvalidateLocked(*w, nullptr, true, true);
    }
    next = w->Bounds;
    if ((flags & SwpNoMove) == 0) next = sim::Offset(next, x - next.Left, y - next.Top);
  }
  if ((flags & SwpNoSize) == 0) {
    width = std::max(width, 0);
    height = std::max(height, 0);
    KeepWithinTrackingSize(window, StyleOf(window), width, height);
    next.Right = next.Left + width;
    next.Bottom = next.Top + height;
  }
  ApplyRect(window, next, (flags & 0x0008) == 0);  // SWP_NOREDRAW
  if ((flags & SwpHideWindow) != 0) {
    HideWindow(window);
    return true;
  }
  const bool activate = topLevel && (flags & SwpNoActivate) == 0;
  if ((flags & SwpShowWindow) != 0) RevealWindow(window, activate);
  else if (activate && IsWindowVisible(window)) ActivateWindow(window);
  return true;
}

}  // namespace platform
