// The state and helpers that the window system's source files share: the windows, classes,
// queue and timers behind one lock. The lookups and the ...Locked functions expect the caller to
// hold it; the others take it themselves and call window procedures without it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/window.h"

namespace platform {
namespace sim {
namespace wnd {

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
  std::vector<Rect> Holes;  // validated parts inside Update that a band cannot take off
  bool Destroying = false;
  std::vector<Hwnd> Children;  // in child order: first made, first
  ScrollInfo Bars[3];           // SbHorz, SbVert, and SbCtl for a scroll bar control
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
  bool AltDown = false;
  bool SystemClasses = false;
};

State& S();

using Guard = std::lock_guard<std::recursive_mutex>;

// Narrow text taken byte for character.
std::wstring WidenBytes(const char* text);

// A class name that is an atom rather than a string.
inline bool IsAtom(uintptr_t name) { return name != 0 && name < 0x10000; }

// window_classes.cpp: a class by name (any case) or, without a name, by atom.
WindowClass* FindClass(const std::wstring* name, Atom atom);

// window_tree.cpp: the tree and where its windows are.
Window* Find(Hwnd handle);
Rect ClientOf(const Window& w);
Rect ScreenSize();
// The window's rectangle on the screen.
Rect ScreenRectOf(const Window& w);
// What of the window can be drawn on: its own area cut by its ancestors', in screen pixels.
Rect VisibleScreenRect(const Window& w);
bool ShownOnScreen(const Window& w);
Hwnd TopLevelOf(Hwnd handle);
bool IsWithin(Hwnd handle, Hwnd ancestor);
bool BeingDestroyed(Hwnd handle);
void PlaceInZOrder(Hwnd handle, bool front);

// window_queue.cpp: calls the window's procedure without the lock, so that it may call back into
// the layer.
LResult Send(Hwnd handle, uint32_t message, WParam wParam, LParam lParam);

// window_paint.cpp: adds to the window's update area (`rect` in client coordinates, null for the
// whole), and to its children's when asked.
void InvalidateLocked(Window& w, const Rect* rect, bool erase, bool children);
// After a window vanished or moved away, what lay beneath it is painted again.
void ExposeLocked(const Rect& screenArea, Hwnd except);

// window_focus.cpp: activation follows the top-level window; focus is lost with the window that
// holds it.
Hwnd ActivateWindow(Hwnd handle);
// The next window in z-order takes over when the active one goes.
void ActivateNext(Hwnd leaving);
void LoseFocusWithin(Hwnd handle);

}  // namespace wnd
}  // namespace sim
}  // namespace platform
