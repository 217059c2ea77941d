#include "platform/window.h"

#include <cstddef>

#include <windows.h>

// On 32-bit Windows these are macros for the 32-bit calls; the layer's own names must survive.
#undef GetWindowLongPtrA
#undef SetWindowLongPtrA

namespace platform {

namespace {

// The layer's records are handed to user32 as they are: their layouts must agree.
static_assert(sizeof(Msg) == sizeof(MSG), "MSG layout");
static_assert(offsetof(Msg, Message) == offsetof(MSG, message), "MSG layout");
static_assert(offsetof(Msg, Lparam) == offsetof(MSG, lParam), "MSG layout");
static_assert(offsetof(Msg, Pt) == offsetof(MSG, pt), "MSG layout");
static_assert(sizeof(CreateStructA) == sizeof(CREATESTRUCTA), "CREATESTRUCTA layout");
static_assert(offsetof(CreateStructA, Cy) == offsetof(CREATESTRUCTA, cy), "CREATESTRUCTA layout");
static_assert(offsetof(CreateStructA, ExStyle) == offsetof(CREATESTRUCTA, dwExStyle), "CREATESTRUCTA layout");
static_assert(sizeof(CreateStructW) == sizeof(CREATESTRUCTW), "CREATESTRUCTW layout");
static_assert(sizeof(PaintStruct) == sizeof(PAINTSTRUCT), "PAINTSTRUCT layout");
static_assert(offsetof(PaintStruct, Paint) == offsetof(PAINTSTRUCT, rcPaint), "PAINTSTRUCT layout");
static_assert(sizeof(DrawItemStruct) == sizeof(DRAWITEMSTRUCT), "DRAWITEMSTRUCT layout");
static_assert(offsetof(DrawItemStruct, ItemRect) == offsetof(DRAWITEMSTRUCT, rcItem), "DRAWITEMSTRUCT layout");
static_assert(sizeof(MinMaxInfo) == sizeof(MINMAXINFO), "MINMAXINFO layout");
static_assert(sizeof(Rect) == sizeof(RECT), "RECT layout");
static_assert(sizeof(Hwnd) == sizeof(HWND), "handle width");

HWND H(Hwnd window) { return reinterpret_cast<HWND>(window); }
Hwnd Back(HWND window) { return reinterpret_cast<Hwnd>(window); }
HINSTANCE Inst(HInstance instance) { return reinterpret_cast<HINSTANCE>(instance); }
// The procedures differ from WNDPROC and TIMERPROC only in the spelling of equal-width types.
WNDPROC Proc(WndProc proc) { return reinterpret_cast<WNDPROC>(reinterpret_cast<void (*)()>(proc)); }
RECT* R(Rect* rect) { return reinterpret_cast<RECT*>(rect); }
const RECT* R(const Rect* rect) { return reinterpret_cast<const RECT*>(rect); }
MSG* M(Msg* message) { return reinterpret_cast<MSG*>(message); }
const MSG* M(const Msg* message) { return reinterpret_cast<const MSG*>(message); }

}  // namespace

Atom RegisterClassA(const WndClassA* c) {
  if (c == nullptr) return 0;
  WNDCLASSA w{};
  w.style = c->Style;
  w.lpfnWndProc = Proc(c->Proc);
  w.cbClsExtra = c->ClassExtra;
  w.cbWndExtra = c->WindowExtra;
  w.hInstance = Inst(c->Instance);
  w.hIcon = reinterpret_cast<HICON>(c->Icon);
  w.hCursor = reinterpret_cast<HCURSOR>(c->Cursor);
  w.hbrBackground = reinterpret_cast<HBRUSH>(c->Background);
  w.lpszMenuName = c->MenuName;
  w.lpszClassName = c->ClassName;
  return ::RegisterClassA(&w);
}

Atom RegisterClassW(const WndClassW* c) {
  if (c == nullptr) return 0;
  WNDCLASSW w{};
  w.style = c->Style;
  w.lpfnWndProc = Proc(c->Proc);
  w.cbClsExtra = c->ClassExtra;
  w.cbWndExtra = c->WindowExtra;
  w.hInstance = Inst(c->Instance);
  w.hIcon = reinterpret_cast<HICON>(c->Icon);
  w.hCursor = reinterpret_cast<HCURSOR>(c->Cursor);
  w.hbrBackground = reinterpret_cast<HBRUSH>(c->Background);
  w.lpszMenuName = c->MenuName;
  w.lpszClassName = c->ClassName;
  return ::RegisterClassW(&w);
}

Atom RegisterClassExA(const WndClassExA* c) {
  if (c == nullptr) return 0;
  WNDCLASSEXA w{};
  w.cbSize = c->Size == sizeof(WndClassExA) ? sizeof(WNDCLASSEXA) : c->Size;
  w.style = c->Style;
  w.lpfnWndProc = Proc(c->Proc);
  w.cbClsExtra = c->ClassExtra;
  w.cbWndExtra = c->WindowExtra;
  w.hInstance = Inst(c->Instance);
  w.hIcon = reinterpret_cast<HICON>(c->Icon);
  w.hCursor = reinterpret_cast<HCURSOR>(c->Cursor);
  w.hbrBackground = reinterpret_cast<HBRUSH>(c->Background);
  w.lpszMenuName = c->MenuName;
  w.lpszClassName = c->ClassName;
  w.hIconSm = reinterpret_cast<HICON>(c->SmallIcon);
  return ::RegisterClassExA(&w);
}

bool UnregisterClassA(const char* className, HInstance instance) {
  return ::UnregisterClassA(className, Inst(instance)) != FALSE;
}
bool UnregisterClassW(const wchar_t* className, HInstance instance) {
  return ::UnregisterClassW(className, Inst(instance)) != FALSE;
}

Hwnd CreateWindowExA(uint32_t exStyle, const char* className, const char* windowName, uint32_t style, int32_t x,
                     int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu, HInstance instance,
                     void* param) {
  return Back(::CreateWindowExA(exStyle, className, windowName, style, x, y, width, height, H(parent),
                                reinterpret_cast<HMENU>(menu), Inst(instance), param));
}

Hwnd CreateWindowExW(uint32_t exStyle, const wchar_t* className, const wchar_t* windowName, uint32_t style,
                     int32_t x, int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu,
                     HInstance instance, void* param) {
  return Back(::CreateWindowExW(exStyle, className, windowName, style, x, y, width, height, H(parent),
                                reinterpret_cast<HMENU>(menu), Inst(instance), param));
}

bool DestroyWindow(Hwnd window) { return ::DestroyWindow(H(window)) != FALSE; }
bool IsWindow(Hwnd window) { return ::IsWindow(H(window)) != FALSE; }
bool IsWindowVisible(Hwnd window) { return ::IsWindowVisible(H(window)) != FALSE; }
bool ShowWindow(Hwnd window, int32_t command) { return ::ShowWindow(H(window), command) != FALSE; }
bool UpdateWindow(Hwnd window) { return ::UpdateWindow(H(window)) != FALSE; }
bool MoveWindow(Hwnd window, int32_t x, int32_t y, int32_t width, int32_t height, bool repaint) {
  return ::MoveWindow(H(window), x, y, width, height, repaint ? TRUE : FALSE) != FALSE;
}
bool SetWindowPos(Hwnd window, Hwnd insertAfter, int32_t x, int32_t y, int32_t width, int32_t height,
                  uint32_t flags) {
  return ::SetWindowPos(H(window), H(insertAfter), x, y, width, height, flags) != FALSE;
}
bool GetClientRect(Hwnd window, Rect* rect) { return ::GetClientRect(H(window), R(rect)) != FALSE; }
bool GetWindowRect(Hwnd window, Rect* rect) { return ::GetWindowRect(H(window), R(rect)) != FALSE; }
Hwnd GetParent(Hwnd window) { return Back(::GetParent(H(window))); }
Hwnd GetWindow(Hwnd window, uint32_t relation) { return Back(::GetWindow(H(window), relation)); }
Hwnd GetDesktopWindow() { return Back(::GetDesktopWindow()); }
Hwnd GetDlgItem(Hwnd dialog, int32_t id) { return Back(::GetDlgItem(H(dialog), id)); }
int32_t GetDlgCtrlID(Hwnd window) { return ::GetDlgCtrlID(H(window)); }
int32_t GetWindowTextA(Hwnd window, char* text, int32_t size) { return ::GetWindowTextA(H(window), text, size); }
int32_t GetWindowTextW(Hwnd window, wchar_t* text, int32_t size) { return ::GetWindowTextW(H(window), text, size); }
bool SetWindowTextA(Hwnd window, const char* text) { return ::SetWindowTextA(H(window), text) != FALSE; }
bool SetWindowTextW(Hwnd window, const wchar_t* text) { return ::SetWindowTextW(H(window), text) != FALSE; }

int32_t GetWindowLongA(Hwnd window, int32_t index) { return static_cast<int32_t>(::GetWindowLongA(H(window), index)); }
int32_t SetWindowLongA(Hwnd window, int32_t index, int32_t value) {
  return static_cast<int32_t>(::SetWindowLongA(H(window), index, value));
}
#ifdef _WIN64
intptr_t GetWindowLongPtrA(Hwnd window, int32_t index) {
  return static_cast<intptr_t>(::GetWindowLongPtrA(H(window), index));
}
intptr_t SetWindowLongPtrA(Hwnd window, int32_t index, intptr_t value) {
  return static_cast<intptr_t>(::SetWindowLongPtrA(H(window), index, static_cast<LONG_PTR>(value)));
}
#else
intptr_t GetWindowLongPtrA(Hwnd window, int32_t index) {
  return static_cast<intptr_t>(::GetWindowLongA(H(window), index));
}
intptr_t SetWindowLongPtrA(Hwnd window, int32_t index, intptr_t value) {
  return static_cast<intptr_t>(::SetWindowLongA(H(window), index, static_cast<LONG>(value)));
}
#endif

LResult DefWindowProcA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return ::DefWindowProcA(H(window), message, wParam, lParam);
}
LResult CallWindowProcA(WndProc proc, Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return ::CallWindowProcA(Proc(proc), H(window), message, wParam, lParam);
}
int32_t GetMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax) {
  return ::GetMessageA(M(message), H(window), filterMin, filterMax);
}
bool PeekMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax, uint32_t remove) {
  return ::PeekMessageA(M(message), H(window), filterMin, filterMax, remove) != FALSE;
}
bool TranslateMessage(const Msg* message) { return ::TranslateMessage(M(message)) != FALSE; }
LResult DispatchMessageA(const Msg* message) { return ::DispatchMessageA(M(message)); }
static_assert(sizeof(ScrollInfo) == sizeof(SCROLLINFO), "SCROLLINFO layout");

int32_t SetScrollInfo(Hwnd window, int32_t bar, const ScrollInfo* info, bool redraw) {
  return ::SetScrollInfo(H(window), bar, reinterpret_cast<const SCROLLINFO*>(info), redraw);
}
bool GetScrollInfo(Hwnd window, int32_t bar, ScrollInfo* info) {
  return ::GetScrollInfo(H(window), bar, reinterpret_cast<SCROLLINFO*>(info)) != FALSE;
}
int32_t SetScrollPos(Hwnd window, int32_t bar, int32_t position, bool redraw) {
  return ::SetScrollPos(H(window), bar, position, redraw);
}
int32_t GetScrollPos(Hwnd window, int32_t bar) { return ::GetScrollPos(H(window), bar); }
bool ShowScrollBar(Hwnd window, int32_t bar, bool show) { return ::ShowScrollBar(H(window), bar, show) != FALSE; }
bool SetDlgItemTextW(Hwnd dialog, int32_t id, const wchar_t* text) {
  return ::SetDlgItemTextW(H(dialog), id, text) != FALSE;
}
uint32_t GetDlgItemTextA(Hwnd dialog, int32_t id, char* text, int32_t size) {
  return ::GetDlgItemTextA(H(dialog), id, text, size);
}

uint32_t SetClassLongA(Hwnd window, int32_t index, int32_t value) {
  return static_cast<uint32_t>(::SetClassLongPtrA(H(window), index, value));
}

bool IsDialogMessageA(Hwnd dialog, Msg* message) { return ::IsDialogMessageA(H(dialog), M(message)) != FALSE; }
LResult SendMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return ::SendMessageA(H(window), message, wParam, lParam);
}
bool PostMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return ::PostMessageA(H(window), message, wParam, lParam) != FALSE;
}
void PostQuitMessage(int32_t exitCode) { ::PostQuitMessage(exitCode); }

uintptr_t SetTimer(Hwnd window, uintptr_t id, uint32_t elapse, TimerProc proc) {
  return ::SetTimer(H(window), id, elapse, reinterpret_cast<TIMERPROC>(reinterpret_cast<void (*)()>(proc)));
}
bool KillTimer(Hwnd window, uintptr_t id) { return ::KillTimer(H(window), id) != FALSE; }

bool InvalidateRect(Hwnd window, const Rect* rect, bool erase) {
  return ::InvalidateRect(H(window), R(rect), erase ? TRUE : FALSE) != FALSE;
}
bool ValidateRect(Hwnd window, const Rect* rect) { return ::ValidateRect(H(window), R(rect)) != FALSE; }
bool RedrawWindow(Hwnd window, const Rect* rect, uintptr_t region, uint32_t flags) {
  return ::RedrawWindow(H(window), R(rect), reinterpret_cast<HRGN>(region), flags) != FALSE;
}
Hdc BeginPaint(Hwnd window, PaintStruct* paint) {
  return reinterpret_cast<Hdc>(::BeginPaint(H(window), reinterpret_cast<PAINTSTRUCT*>(paint)));
}
bool EndPaint(Hwnd window, const PaintStruct* paint) {
  return ::EndPaint(H(window), reinterpret_cast<const PAINTSTRUCT*>(paint)) != FALSE;
}
Hdc GetDC(Hwnd window) { return reinterpret_cast<Hdc>(::GetDC(H(window))); }
int32_t ReleaseDC(Hwnd window, Hdc dc) { return ::ReleaseDC(H(window), reinterpret_cast<HDC>(dc)); }

Hwnd SetFocus(Hwnd window) { return Back(::SetFocus(H(window))); }
Hwnd GetFocus() { return Back(::GetFocus()); }
Hwnd SetActiveWindow(Hwnd window) { return Back(::SetActiveWindow(H(window))); }
Hwnd GetActiveWindow() { return Back(::GetActiveWindow()); }
bool SetForegroundWindow(Hwnd window) { return ::SetForegroundWindow(H(window)) != FALSE; }
Hwnd GetForegroundWindow() { return Back(::GetForegroundWindow()); }

int32_t ShowCursor(bool show) { return ::ShowCursor(show ? TRUE : FALSE); }
HCursor LoadCursorA(HInstance instance, uintptr_t name) {
  return reinterpret_cast<HCursor>(::LoadCursorA(Inst(instance), reinterpret_cast<LPCSTR>(name)));
}

}  // namespace platform
