// The simulated window system: classes, windows, one message queue for the process (the program
// has one UI thread), timers on the machine's clock, painting into the primary frame buffer.
// Windows have no non-client area: the client area is the whole window.
#include "platform/window.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/handles.h"
#include "platform/sim/display_model.h"
#include "platform/sim/gdi_sim.h"
#include "platform/sim/machine.h"
#include "platform/sim/operator.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/window_sim.h"

namespace platform {

namespace {

constexpr uint32_t ErrorInvalidWindowHandle = 1400;
constexpr uint32_t ErrorClassAlreadyExists = 1410;
constexpr uint32_t ErrorClassDoesNotExist = 1411;
constexpr uint32_t ErrorClassHasWindows = 1412;
constexpr uint32_t ErrorInvalidIndex = 1413;
constexpr uint32_t ErrorCannotFindWndClass = 1407;
constexpr uint32_t ErrorTlwWithWsChild = 1406;
constexpr Hwnd DesktopHandle = 0x10010;
constexpr WParam SizeRestored = 0;
constexpr WParam SizeMaximized = 2;

struct WindowClass {
  std::wstring Name;
  std::wstring Key;  // lower case: class names are matched without regard to case
  Atom Id = 0;
  uint32_t Style = 0;
  WndProc Proc = nullptr;
  int32_t WindowExtra = 0;
  HInstance Instance = 0;
  HCursor Cursor = 0;
  HBrush Background = 0;
};

struct Window {
  Hwnd Handle = 0;
  std::wstring ClassKey;
  std::wstring ClassName;
  uint32_t ClassStyle = 0;
  HBrush Background = 0;
  WndProc Proc = nullptr;
  uint32_t Style = 0;
  uint32_t ExStyle = 0;
  std::wstring Text;
  Hwnd Parent = 0;  // WS_CHILD windows
  Hwnd Owner = 0;   // top-level windows made with a parent
  intptr_t Id = 0;
  HInstance Instance = 0;
  intptr_t UserData = 0;
  std::vector<uint8_t> Extra;
  Rect Bounds;  // in the parent's client area; on the screen for top-level windows
  bool Visible = false;
  bool HasUpdate = false;
  bool Erase = false;
  Rect Update;
  bool Destroying = false;
  std::vector<Hwnd> Children;  // in child order: first made, first
};

struct Timer {
  Hwnd Window = 0;
  uintptr_t Id = 0;
  uint32_t Elapse = 0;
  uint32_t Due = 0;
  TimerProc Proc = nullptr;
};

struct KeyEvent {
  uint32_t Key = 0;
  bool Down = true;
};

struct State {
  std::recursive_mutex Lock;
  std::vector<WindowClass> Classes;
  std::map<Hwnd, Window> Windows;
  std::vector<Hwnd> ZOrder;  // top-level windows, front first, top-most ones ahead
  std::deque<Msg> Posted;
  std::deque<KeyEvent> Input;
  bool QuitPending = false;
  int32_t QuitCode = 0;
  std::vector<Timer> Timers;
  Hwnd Focus = 0;
  Hwnd Active = 0;
  Hwnd Foreground = 0;
  int32_t CursorCount = 0;
  Hwnd NextHandle = DesktopHandle + 0x10;
  Atom NextAtom = 0xC000;
  uintptr_t NextTimerId = 0x7FF0;
  bool ShiftDown = false;
  bool SystemClasses = false;
};

State& S() {
  static State state;
  return state;
}

using Guard = std::lock_guard<std::recursive_mutex>;

std::wstring WidenBytes(const char* text) {
  std::wstring out;
  if (text == nullptr) return out;
  for (; *text != 0; ++text) out.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*text)));
  return out;
}

std::string NarrowBytes(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out.push_back(c >= 0 && c < 256 ? static_cast<char>(c) : '?');
  return out;
}

std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return text;
}

bool IsAtom(uintptr_t name) { return name != 0 && name < 0x10000; }

Window* Find(Hwnd handle) {
  auto found = S().Windows.find(handle);
  return found == S().Windows.end() ? nullptr : &found->second;
}

WindowClass* FindClass(const std::wstring* name, Atom atom) {
  if (!S().SystemClasses) {
    S().SystemClasses = true;
    sim::RegisterSystemClasses();
  }
  const std::wstring key = name ? Lower(*name) : std::wstring();
  for (WindowClass& c : S().Classes)
    if (name ? c.Key == key : c.Id == atom) return &c;
  return nullptr;
}

Rect Inter(const Rect& a, const Rect& b) {
  Rect r{std::max(a.Left, b.Left), std::max(a.Top, b.Top), std::min(a.Right, b.Right), std::min(a.Bottom, b.Bottom)};
  if (r.Right <= r.Left || r.Bottom <= r.Top) return Rect{};
  return r;
}
bool Empty(const Rect& r) { return r.Right <= r.Left || r.Bottom <= r.Top; }
Rect Union(const Rect& a, const Rect& b) {
  if (Empty(a)) return b;
  if (Empty(b)) return a;
  return Rect{std::min(a.Left, b.Left), std::min(a.Top, b.Top), std::max(a.Right, b.Right), std::max(a.Bottom, b.Bottom)};
}
Rect Offset(Rect r, int32_t dx, int32_t dy) { return Rect{r.Left + dx, r.Top + dy, r.Right + dx, r.Bottom + dy}; }

Rect ClientOf(const Window& w) { return Rect{0, 0, w.Bounds.Right - w.Bounds.Left, w.Bounds.Bottom - w.Bounds.Top}; }

Rect ScreenSize() {
  const sim::Surface& screen = sim::ScreenSurface();
  return Rect{0, 0, screen.Width, screen.Height};
}

// The window's rectangle on the screen.
Rect ScreenRectOf(const Window& w) {
  Rect r = w.Bounds;
  for (const Window* p = Find(w.Parent); p != nullptr; p = Find(p->Parent)) r = Offset(r, p->Bounds.Left, p->Bounds.Top);
  return r;
}

// What of the window can be drawn on: its own area cut by its ancestors', in screen pixels.
Rect VisibleScreenRect(const Window& w) {
  Rect r = ScreenRectOf(w);
  for (const Window* p = Find(w.Parent); p != nullptr; p = Find(p->Parent)) r = Inter(r, ScreenRectOf(*p));
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

// Calls the window's procedure without the lock, so that it may call back into the layer.
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
}

void InvalidateLocked(Window& w, const Rect* rect, bool erase, bool children) {
  Rect area = rect ? Inter(*rect, ClientOf(w)) : ClientOf(w);
  if (!Empty(area)) {
    w.Update = w.HasUpdate ? Union(w.Update, area) : area;
    w.HasUpdate = true;
    w.Erase = w.Erase || erase;
  }
  if (!children) return;
  for (Hwnd c : w.Children) {
    Window* child = Find(c);
    if (child == nullptr) continue;
    Rect inChild = Offset(Inter(area, child->Bounds), -child->Bounds.Left, -child->Bounds.Top);
    if (!Empty(inChild)) InvalidateLocked(*child, &inChild, erase, (child->Style & WsClipChildren) == 0);
  }
}

// After a window vanished or moved away, what lay beneath it is painted again.
void ExposeLocked(const Rect& screenArea, Hwnd except) {
  if (Empty(screenArea)) return;
  for (Hwnd top : S().ZOrder) {
    Window* w = Find(top);
    if (w == nullptr || top == except || !w->Visible) continue;
    Rect local = Offset(Inter(screenArea, w->Bounds), -w->Bounds.Left, -w->Bounds.Top);
    if (!Empty(local)) InvalidateLocked(*w, &local, true, true);
  }
}

void EnsureDisplayHook() {
  static std::once_flag installed;
  std::call_once(installed, [] {
    sim::SetDisplayChangeHook([](const sim::AdapterState&) {
      const sim::AdapterState& primary = sim::DisplayModel::Get().Primary();
      sim::ForgetAllTextRuns(primary.FrameBuffer);
      {
        Guard hold(S().Lock);
        for (auto& entry : S().Windows) InvalidateLocked(entry.second, nullptr, true, false);
      }
      sim::BroadcastDisplayChange(static_cast<uint32_t>(primary.Current.Mode.Bits), primary.Current.Mode.Width,
                                  primary.Current.Mode.Height);
    });
  });
}

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

// The next window in z-order takes over when the active one goes.
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

Hwnd CreateWindowCommon(uint32_t exStyle, const std::wstring* className, Atom atom, const std::wstring& title,
                        uint32_t style, int32_t x, int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu,
                        HInstance instance, const void* createStruct) {
  EnsureDisplayHook();
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
    if ((style & WsChild) != 0 && p == nullptr) {
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
    if ((style & WsChild) != 0) {
      w.Parent = parent;
      w.Id = static_cast<intptr_t>(menu);
      p->Children.push_back(handle);
    } else {
      w.Owner = p ? TopLevelOf(parent) : 0;
    }
    S().Windows[handle] = std::move(w);
    if ((style & WsChild) == 0) PlaceInZOrder(handle, true);
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
    *out = Msg{target, key.Down ? WmKeyDown : WmKeyUp, key.Key, static_cast<LParam>(static_cast<int32_t>(repeat | transition)),
               now, Point{}};
    if (remove) {
      s.Input.pop_front();
      if (key.Key == VkShift) s.ShiftDown = key.Down;
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

Hdc MakeWindowDc(Hwnd handle, const Rect* localClip) {
  Rect origin;
  Rect clip;
  {
    Guard hold(S().Lock);
    if (handle == 0 || handle == DesktopHandle) {
      Rect all = ScreenSize();
      return sim::CreateSurfaceDC(sim::ScreenSurface(), Point{0, 0}, all);
    }
    Window* w = Find(handle);
    if (w == nullptr) return 0;
    origin = ScreenRectOf(*w);
    clip = VisibleScreenRect(*w);
    if (localClip != nullptr) clip = Inter(clip, Offset(*localClip, origin.Left, origin.Top));
  }
  return sim::CreateSurfaceDC(sim::ScreenSurface(), Point{origin.Left, origin.Top}, clip);
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
    if (before.Left == next.Left && before.Top == next.Top && before.Right == next.Right && before.Bottom == next.Bottom)
      return;
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

Atom RegisterCommon(const std::wstring& name, Atom requested, uint32_t style, WndProc proc, int32_t windowExtra,
                    HInstance instance, HCursor cursor, HBrush background) {
  Guard hold(S().Lock);
  if (proc == nullptr || name.empty()) {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (FindClass(&name, 0) != nullptr) {
    SetLastError(ErrorClassAlreadyExists);
    return 0;
  }
  WindowClass c;
  c.Name = name;
  c.Key = Lower(name);
  c.Id = requested ? requested : S().NextAtom++;
  c.Style = style;
  c.Proc = proc;
  c.WindowExtra = windowExtra;
  c.Instance = instance;
  c.Cursor = cursor;
  c.Background = background;
  S().Classes.push_back(c);
  return c.Id;
}

bool UnregisterCommon(const std::wstring* name, Atom atom) {
  Guard hold(S().Lock);
  WindowClass* c = FindClass(name, atom);
  if (c == nullptr) {
    SetLastError(ErrorClassDoesNotExist);
    return false;
  }
  for (const auto& entry : S().Windows) {
    if (entry.second.ClassKey == c->Key) {
      SetLastError(ErrorClassHasWindows);
      return false;
    }
  }
  S().Classes.erase(S().Classes.begin() + (c - S().Classes.data()));
  return true;
}

}  // namespace

namespace sim {

Surface& ScreenSurface() { return PrimaryFrameBuffer(); }

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
  s.SystemClasses = false;
}

}  // namespace sim

Atom RegisterClassA(const WndClassA* c) {
  if (c == nullptr) return 0;
  const uintptr_t name = reinterpret_cast<uintptr_t>(c->ClassName);
  if (IsAtom(name)) return 0;
  return RegisterCommon(WidenBytes(c->ClassName), 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor,
                        c->Background);
}

Atom RegisterClassW(const WndClassW* c) {
  if (c == nullptr || c->ClassName == nullptr || IsAtom(reinterpret_cast<uintptr_t>(c->ClassName))) return 0;
  return RegisterCommon(c->ClassName, 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor, c->Background);
}

Atom RegisterClassExA(const WndClassExA* c) {
  if (c == nullptr || c->Size != sizeof(WndClassExA)) {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (IsAtom(reinterpret_cast<uintptr_t>(c->ClassName))) return 0;
  return RegisterCommon(WidenBytes(c->ClassName), 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor,
                        c->Background);
}

bool UnregisterClassA(const char* className, HInstance) {
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  if (IsAtom(name)) return UnregisterCommon(nullptr, static_cast<Atom>(name));
  std::wstring wide = WidenBytes(className);
  return UnregisterCommon(&wide, 0);
}

bool UnregisterClassW(const wchar_t* className, HInstance) {
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  if (IsAtom(name)) return UnregisterCommon(nullptr, static_cast<Atom>(name));
  std::wstring wide = className ? className : L"";
  return UnregisterCommon(&wide, 0);
}

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
    if (topLevel && w->Visible) sim::SaveScreenshot(title);
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

bool UpdateWindow(Hwnd window) {
  std::vector<Hwnd> order;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) return false;
    // The window and then its children, as far as they wait for paint.
    std::vector<Hwnd> pending{window};
    while (!pending.empty()) {
      Hwnd h = pending.front();
      pending.erase(pending.begin());
      Window* x = Find(h);
      if (x == nullptr || !x->Visible) continue;
      if (x->HasUpdate) order.push_back(h);
      pending.insert(pending.end(), x->Children.begin(), x->Children.end());
    }
  }
  for (Hwnd h : order) {
    bool still = false;
    {
      Guard hold(S().Lock);
      Window* x = Find(h);
      still = x != nullptr && x->HasUpdate;
    }
    if (still) Send(h, WmPaint, 0, 0);
  }
  return true;
}

bool MoveWindow(Hwnd window, int32_t x, int32_t y, int32_t width, int32_t height, bool repaint) {
  if (!IsWindow(window)) return false;
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
    if ((flags & SwpNoMove) == 0) next = Offset(next, x - next.Left, y - next.Top);
    if ((flags & SwpNoSize) == 0) {
      next.Right = next.Left + std::max(width, 0);
      next.Bottom = next.Top + std::max(height, 0);
    }
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

namespace {

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

namespace {

// The machine's timed events while the program waits: the shell may drop a kill file then. True
// when one happened; else `wakeAt` is lowered to the next one.
bool TimedEventsAct(uint32_t now, uint32_t& wakeAt) {
  const sim::Machine& machine = sim::CurrentMachine();
  bool acted = false;
  for (const sim::MapEvent& event : machine.Events) {
    if (event.AtMap != 0 || event.Happened) continue;
    const uint32_t due = machine.StartTick + event.AtTime;
    if (static_cast<int32_t>(now - due) >= 0) {
      event.Happened = true;
      if (std::FILE* file = OpenFile(event.Path, "wb")) std::fclose(file);
      acted = true;
    } else if (static_cast<int32_t>(due - wakeAt) < 0) {
      wakeAt = due;
    }
  }
  return acted;
}

}  // namespace

int32_t GetMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax) {
  if (message == nullptr) return -1;
  if (window != 0 && !IsWindow(window)) {
    SetLastError(ErrorInvalidWindowHandle);
    return -1;
  }
  for (;;) {
    if (TakeMessage(message, window, filterMin, filterMax, true)) return message->Message == WmQuit ? 0 : 1;
    const uint32_t now = GetTickCount();
    uint32_t wakeAt = now + 3600000;
    if (TimedEventsAct(now, wakeAt)) continue;
    if (sim::OperatorAct(now, wakeAt)) continue;
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
  if (message == nullptr || message->Message != WmKeyDown) return false;
  Guard hold(S().Lock);
  const wchar_t c = CharOf(static_cast<uint32_t>(message->Wparam), S().ShiftDown);
  if (c == 0) return false;
  Msg ch = *message;
  ch.Message = WmChar;
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

bool InvalidateRect(Hwnd window, const Rect* rect, bool erase) {
  Guard hold(S().Lock);
  if (window == 0) {
    for (auto& entry : S().Windows) InvalidateLocked(entry.second, nullptr, erase, false);
    return true;
  }
  Window* w = Find(window);
  if (w == nullptr) return false;
  InvalidateLocked(*w, rect, erase, (w->Style & WsClipChildren) == 0);
  return true;
}

bool ValidateRect(Hwnd window, const Rect* rect) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) return false;
  if (!w->HasUpdate) return true;
  if (rect == nullptr) {
    w->HasUpdate = false;
    w->Erase = false;
    return true;
  }
  // The update area is one rectangle: it shrinks where `rect` takes a whole band off one side.
  Rect& u = w->Update;
  const Rect& v = *rect;
  if (v.Left <= u.Left && v.Right >= u.Right) {
    if (v.Top <= u.Top && v.Bottom > u.Top) u.Top = std::min(v.Bottom, u.Bottom);
    else if (v.Bottom >= u.Bottom && v.Top < u.Bottom) u.Bottom = std::max(v.Top, u.Top);
  } else if (v.Top <= u.Top && v.Bottom >= u.Bottom) {
    if (v.Left <= u.Left && v.Right > u.Left) u.Left = std::min(v.Right, u.Right);
    else if (v.Right >= u.Right && v.Left < u.Right) u.Right = std::max(v.Left, u.Left);
  }
  if (Empty(u)) {
    w->HasUpdate = false;
    w->Erase = false;
  }
  return true;
}

bool RedrawWindow(Hwnd window, const Rect* rect, uintptr_t region, uint32_t flags) {
  if (region != 0) return false;
  std::vector<Hwnd> targets;
  {
    Guard hold(S().Lock);
    if (window == 0 || window == DesktopHandle) targets = S().ZOrder;
    else if (Find(window) != nullptr) targets.push_back(window);
    else return false;
    for (Hwnd t : targets) {
      Window* w = Find(t);
      if ((flags & RdwInvalidate) != 0) InvalidateLocked(*w, rect, (flags & RdwErase) != 0, (flags & RdwAllChildren) != 0);
    }
  }
  for (Hwnd t : targets) {
    if ((flags & RdwValidate) != 0) ValidateRect(t, rect);
    if ((flags & (RdwUpdateNow | RdwEraseNow)) != 0) UpdateWindow(t);
  }
  return true;
}

Hdc BeginPaint(Hwnd window, PaintStruct* paint) {
  if (paint == nullptr) return 0;
  Rect area;
  bool erase = false;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) return 0;
    area = w->HasUpdate ? Inter(w->Update, ClientOf(*w)) : Rect{};
    erase = w->HasUpdate && w->Erase;
    w->HasUpdate = false;
    w->Erase = false;
  }
  // The context draws only where the window waited for paint, as the system's update region does.
  Hdc dc = MakeWindowDc(window, &area);
  *paint = PaintStruct{};
  paint->Dc = dc;
  paint->Paint = area;
  paint->Erase = erase && Send(window, WmEraseBkgnd, static_cast<WParam>(dc), 0) == 0 ? 1 : 0;
  return dc;
}

bool EndPaint(Hwnd, const PaintStruct* paint) {
  if (paint != nullptr && paint->Dc != 0) DeleteDC(paint->Dc);
  return true;
}

Hdc GetDC(Hwnd window) { return MakeWindowDc(window, nullptr); }

int32_t ReleaseDC(Hwnd, Hdc dc) { return dc != 0 && DeleteDC(dc) ? 1 : 0; }

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
