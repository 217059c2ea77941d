// Windows, window classes, the message queue, timers and painting: one call here for one user32
// call, with its arguments, flags and results. Handles are plain integers, 0 is the null handle.
#pragma once

#include <cstdint>

#include "platform/gdi.h"

// Window and timer procedures use the system's calling convention, so that the win32 backend can
// hand them to user32 unchanged.
#if defined(_WIN32) && !defined(_WIN64)
#define PLATFORM_CALLBACK __stdcall
#else
#define PLATFORM_CALLBACK
#endif

namespace platform {

using Hwnd = uintptr_t;     // HWND
using HMenu = uintptr_t;    // HMENU, or a child's control id
using HCursor = uintptr_t;  // HCURSOR
using HIcon = uintptr_t;    // HICON
using WParam = uintptr_t;   // WPARAM
using LParam = intptr_t;    // LPARAM
using LResult = intptr_t;   // LRESULT
using Atom = uint16_t;      // ATOM

using WndProc = LResult(PLATFORM_CALLBACK*)(Hwnd window, uint32_t message, WParam wParam, LParam lParam);
using TimerProc = void(PLATFORM_CALLBACK*)(Hwnd window, uint32_t message, uintptr_t id, uint32_t time);

constexpr uint16_t LoWord(uintptr_t value) { return static_cast<uint16_t>(value & 0xFFFF); }
constexpr uint16_t HiWord(uintptr_t value) { return static_cast<uint16_t>((value >> 16) & 0xFFFF); }
constexpr WParam MakeWParam(uint16_t low, uint16_t high) { return static_cast<WParam>(low) | (static_cast<WParam>(high) << 16); }
constexpr LParam MakeLParam(uint16_t low, uint16_t high) {
  return static_cast<LParam>(static_cast<uint32_t>(low) | (static_cast<uint32_t>(high) << 16));
}

// Messages.
constexpr uint32_t WmNull = 0x0000;
constexpr uint32_t WmCreate = 0x0001;
constexpr uint32_t WmDestroy = 0x0002;
constexpr uint32_t WmMove = 0x0003;
constexpr uint32_t WmSize = 0x0005;
constexpr uint32_t WmActivate = 0x0006;
constexpr uint32_t WmSetFocus = 0x0007;
constexpr uint32_t WmKillFocus = 0x0008;
constexpr uint32_t WmSetText = 0x000C;
constexpr uint32_t WmGetText = 0x000D;
constexpr uint32_t WmGetTextLength = 0x000E;
constexpr uint32_t WmPaint = 0x000F;
constexpr uint32_t WmClose = 0x0010;
constexpr uint32_t WmQuit = 0x0012;
constexpr uint32_t WmEraseBkgnd = 0x0014;
constexpr uint32_t WmShowWindow = 0x0018;
constexpr uint32_t WmGetMinMaxInfo = 0x0024;
constexpr uint32_t WmDrawItem = 0x002B;
constexpr uint32_t WmSetFont = 0x0030;
constexpr uint32_t WmGetFont = 0x0031;
constexpr uint32_t WmWindowPosChanged = 0x0047;
constexpr uint32_t WmDisplayChange = 0x007E;
constexpr uint32_t WmNcCreate = 0x0081;
constexpr uint32_t WmNcDestroy = 0x0082;
constexpr uint32_t WmSyncPaint = 0x0088;
constexpr uint32_t WmKeyDown = 0x0100;
constexpr uint32_t WmKeyUp = 0x0101;
constexpr uint32_t WmChar = 0x0102;
constexpr uint32_t WmSysKeyDown = 0x0104;
constexpr uint32_t WmSysKeyUp = 0x0105;
constexpr uint32_t WmSysChar = 0x0106;
constexpr uint32_t WmSysDeadChar = 0x0107;
constexpr uint32_t WmUniChar = 0x0109;
constexpr uint32_t WmCommand = 0x0111;
constexpr uint32_t WmTimer = 0x0113;
constexpr uint32_t WmHScroll = 0x0114;
constexpr uint32_t WmVScroll = 0x0115;
constexpr uint32_t WmCtlColorBtn = 0x0135;
constexpr uint32_t WmCtlColorStatic = 0x0138;
constexpr uint32_t WmHotKey = 0x0312;
constexpr uint32_t WmAppCommand = 0x0319;
constexpr uint32_t WmLButtonDown = 0x0201;
constexpr uint32_t WmLButtonUp = 0x0202;
constexpr uint32_t WmQueryNewPalette = 0x030F;
constexpr uint32_t WmPaletteChanged = 0x0311;
constexpr uint32_t WmUser = 0x0400;
constexpr uint32_t BmClick = 0x00F5;
constexpr uint16_t BnClicked = 0;

// WM_ACTIVATE's low word.
constexpr uint16_t WaInactive = 0;
constexpr uint16_t WaActive = 1;

// Virtual keys; the digits and letters are their own characters ('0' to '9', 'A' to 'Z').
constexpr uint32_t VkBack = 0x08;
constexpr uint32_t VkTab = 0x09;
constexpr uint32_t VkReturn = 0x0D;
constexpr uint32_t VkShift = 0x10;
constexpr uint32_t VkMenu = 0x12;  // Alt
constexpr uint32_t VkEscape = 0x1B;
constexpr uint32_t VkSpace = 0x20;
constexpr uint32_t VkLeft = 0x25;
constexpr uint32_t VkUp = 0x26;
constexpr uint32_t VkRight = 0x27;
constexpr uint32_t VkDown = 0x28;
constexpr uint32_t VkNumpad0 = 0x60;
constexpr uint32_t VkNumpad9 = 0x69;
constexpr uint32_t VkF1 = 0x70;
constexpr uint32_t VkF12 = 0x7B;

// Window styles.
constexpr uint32_t WsOverlapped = 0x00000000;
constexpr uint32_t WsPopup = 0x80000000;
constexpr uint32_t WsChild = 0x40000000;
constexpr uint32_t WsMinimize = 0x20000000;
constexpr uint32_t WsVisible = 0x10000000;
constexpr uint32_t WsDisabled = 0x08000000;
constexpr uint32_t WsClipChildren = 0x02000000;
constexpr uint32_t WsBorder = 0x00800000;
constexpr uint32_t WsThickFrame = 0x00040000;
constexpr uint32_t WsTabStop = 0x00010000;
constexpr uint32_t WsExTopmost = 0x00000008;
constexpr uint32_t BsDefPushButton = 0x00000001;
constexpr uint32_t BsOwnerDraw = 0x0000000B;

// Class styles.
constexpr uint32_t CsVRedraw = 0x0001;
constexpr uint32_t CsHRedraw = 0x0002;

// CreateWindowEx's "use the default" position and size.
constexpr int32_t CwUseDefault = static_cast<int32_t>(0x80000000u);

// GetWindowLong and SetWindowLong indices; 0 and above are byte offsets into the extra bytes.
constexpr int32_t GwlWndProc = -4;
constexpr int32_t GwlHInstance = -6;
constexpr int32_t GwlId = -12;
constexpr int32_t GwlStyle = -16;
constexpr int32_t GwlExStyle = -20;
constexpr int32_t GwlUserData = -21;

// ShowWindow commands.
constexpr int32_t SwHide = 0;
constexpr int32_t SwShowNormal = 1;
constexpr int32_t SwShowMaximized = 3;
constexpr int32_t SwMaximize = 3;
constexpr int32_t SwShowNoActivate = 4;
constexpr int32_t SwShow = 5;

// SetWindowPos: the z-order markers and the flags.
const Hwnd HwndTop = 0;
const Hwnd HwndBottom = 1;
const Hwnd HwndTopmost = ~Hwnd{0};           // (HWND)-1
const Hwnd HwndNoTopmost = ~Hwnd{0} - 1;     // (HWND)-2
constexpr uint32_t SwpNoSize = 0x0001;
constexpr uint32_t SwpNoMove = 0x0002;
constexpr uint32_t SwpNoZOrder = 0x0004;
constexpr uint32_t SwpNoActivate = 0x0010;
constexpr uint32_t SwpShowWindow = 0x0040;
constexpr uint32_t SwpHideWindow = 0x0080;

// GetWindow relations.
constexpr uint32_t GwHwndFirst = 0;
constexpr uint32_t GwHwndLast = 1;
constexpr uint32_t GwHwndNext = 2;
constexpr uint32_t GwHwndPrev = 3;
constexpr uint32_t GwOwner = 4;
constexpr uint32_t GwChild = 5;

// PeekMessage.
constexpr uint32_t PmNoRemove = 0x0000;
constexpr uint32_t PmRemove = 0x0001;

// RedrawWindow.
constexpr uint32_t RdwInvalidate = 0x0001;
constexpr uint32_t RdwErase = 0x0004;
constexpr uint32_t RdwValidate = 0x0008;
constexpr uint32_t RdwNoErase = 0x0020;
constexpr uint32_t RdwAllChildren = 0x0080;
constexpr uint32_t RdwUpdateNow = 0x0100;
constexpr uint32_t RdwEraseNow = 0x0200;

// Scroll bars: which bar, what SetScrollInfo sets, and the codes of WM_HSCROLL and WM_VSCROLL.
constexpr int32_t SbHorz = 0;
constexpr int32_t SbVert = 1;
constexpr int32_t SbCtl = 2;
constexpr uint32_t SifRange = 0x0001;
constexpr uint32_t SifPage = 0x0002;
constexpr uint32_t SifPos = 0x0004;
constexpr uint32_t SbsHorz = 0x0000;
constexpr uint32_t SbsVert = 0x0001;
constexpr uint16_t SbLineUp = 0;
constexpr uint16_t SbLineDown = 1;
constexpr uint16_t SbThumbPosition = 4;
constexpr uint16_t SbThumbTrack = 5;
constexpr uint16_t SbTop = 6;
constexpr uint16_t SbBottom = 7;

// The least timer interval; shorter ones are raised to it (USER_TIMER_MINIMUM).
constexpr uint32_t UserTimerMinimum = 10;

// LoadCursor's system cursors.
constexpr uintptr_t IdcArrow = 32512;

// The records below have the layout of their Windows namesakes.
struct Msg {  // MSG
  Hwnd Window = 0;
  uint32_t Message = 0;
  WParam Wparam = 0;
  LParam Lparam = 0;
  uint32_t Time = 0;
  Point Pt;
};

struct WndClassA {  // WNDCLASSA
  uint32_t Style = 0;
  WndProc Proc = nullptr;
  int32_t ClassExtra = 0;
  int32_t WindowExtra = 0;
  HInstance Instance = 0;
  HIcon Icon = 0;
  HCursor Cursor = 0;
  HBrush Background = 0;
  const char* MenuName = nullptr;
  const char* ClassName = nullptr;
};

struct WndClassW {  // WNDCLASSW
  uint32_t Style = 0;
  WndProc Proc = nullptr;
  int32_t ClassExtra = 0;
  int32_t WindowExtra = 0;
  HInstance Instance = 0;
  HIcon Icon = 0;
  HCursor Cursor = 0;
  HBrush Background = 0;
  const wchar_t* MenuName = nullptr;
  const wchar_t* ClassName = nullptr;
};

struct WndClassExA {  // WNDCLASSEXA
  uint32_t Size = sizeof(WndClassExA);
  uint32_t Style = 0;
  WndProc Proc = nullptr;
  int32_t ClassExtra = 0;
  int32_t WindowExtra = 0;
  HInstance Instance = 0;
  HIcon Icon = 0;
  HCursor Cursor = 0;
  HBrush Background = 0;
  const char* MenuName = nullptr;
  const char* ClassName = nullptr;
  HIcon SmallIcon = 0;
};

// What WM_CREATE and WM_NCCREATE carry in lParam.
struct CreateStructA {  // CREATESTRUCTA
  void* CreateParams = nullptr;
  HInstance Instance = 0;
  HMenu Menu = 0;
  Hwnd Parent = 0;
  int32_t Cy = 0;
  int32_t Cx = 0;
  int32_t Y = 0;
  int32_t X = 0;
  int32_t Style = 0;
  const char* Name = nullptr;
  const char* ClassName = nullptr;
  uint32_t ExStyle = 0;
};

struct CreateStructW {  // CREATESTRUCTW
  void* CreateParams = nullptr;
  HInstance Instance = 0;
  HMenu Menu = 0;
  Hwnd Parent = 0;
  int32_t Cy = 0;
  int32_t Cx = 0;
  int32_t Y = 0;
  int32_t X = 0;
  int32_t Style = 0;
  const wchar_t* Name = nullptr;
  const wchar_t* ClassName = nullptr;
  uint32_t ExStyle = 0;
};

struct PaintStruct {  // PAINTSTRUCT
  Hdc Dc = 0;
  int32_t Erase = 0;
  Rect Paint;
  int32_t Restore = 0;
  int32_t IncUpdate = 0;
  uint8_t Reserved[32] = {};
};

struct ScrollInfo {  // SCROLLINFO
  uint32_t Size = sizeof(ScrollInfo);
  uint32_t Mask = 0;
  int32_t Min = 0;
  int32_t Max = 0;
  uint32_t Page = 0;
  int32_t Pos = 0;
  int32_t TrackPos = 0;
};

// WM_DRAWITEM's lParam.
struct DrawItemStruct {  // DRAWITEMSTRUCT
  uint32_t CtlType = 0;
  uint32_t CtlId = 0;
  uint32_t ItemId = 0;
  uint32_t ItemAction = 0;
  uint32_t ItemState = 0;
  Hwnd Item = 0;
  Hdc Dc = 0;
  Rect ItemRect;
  uintptr_t ItemData = 0;
};
constexpr uint32_t OdtButton = 4;
constexpr uint32_t OdaDrawEntire = 1;

struct MinMaxInfo {  // MINMAXINFO
  Point Reserved;
  Point MaxSize;
  Point MaxPosition;
  Point MinTrackSize;
  Point MaxTrackSize;
};

// Classes. A class name may also be an atom in the low word (MAKEINTATOM). Registering a name
// that is registered already fails with 0.
Atom RegisterClassA(const WndClassA* windowClass);
Atom RegisterClassW(const WndClassW* windowClass);
Atom RegisterClassExA(const WndClassExA* windowClass);
bool UnregisterClassA(const char* className, HInstance instance);
bool UnregisterClassW(const wchar_t* className, HInstance instance);
// Class words of the window's class: GCL_STYLE only.
constexpr int32_t GclStyle = -26;
uint32_t SetClassLongA(Hwnd window, int32_t index, int32_t value);

// Windows. `menu` is a child's control id. CreateWindowEx sends WM_NCCREATE, WM_CREATE (a result
// of -1 destroys the window and gives 0), WM_SIZE and WM_MOVE; a visible top-level window is
// then activated and takes the focus.
Hwnd CreateWindowExA(uint32_t exStyle, const char* className, const char* windowName, uint32_t style, int32_t x,
                     int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu, HInstance instance,
                     void* param);
Hwnd CreateWindowExW(uint32_t exStyle, const wchar_t* className, const wchar_t* windowName, uint32_t style,
                     int32_t x, int32_t y, int32_t width, int32_t height, Hwnd parent, HMenu menu,
                     HInstance instance, void* param);
// Sends WM_DESTROY and then WM_NCDESTROY, to the window and then its children; false for a
// window that is no longer there.
bool DestroyWindow(Hwnd window);
bool IsWindow(Hwnd window);
bool IsWindowVisible(Hwnd window);
bool ShowWindow(Hwnd window, int32_t command);
bool UpdateWindow(Hwnd window);
bool MoveWindow(Hwnd window, int32_t x, int32_t y, int32_t width, int32_t height, bool repaint);
bool SetWindowPos(Hwnd window, Hwnd insertAfter, int32_t x, int32_t y, int32_t width, int32_t height,
                  uint32_t flags);
bool GetClientRect(Hwnd window, Rect* rect);
bool GetWindowRect(Hwnd window, Rect* rect);
Hwnd GetParent(Hwnd window);
Hwnd GetWindow(Hwnd window, uint32_t relation);
Hwnd GetDesktopWindow();
Hwnd GetDlgItem(Hwnd dialog, int32_t id);
int32_t GetDlgCtrlID(Hwnd window);
int32_t GetWindowTextA(Hwnd window, char* text, int32_t size);
int32_t GetWindowTextW(Hwnd window, wchar_t* text, int32_t size);
bool SetWindowTextA(Hwnd window, const char* text);
bool SetWindowTextW(Hwnd window, const wchar_t* text);
bool SetDlgItemTextW(Hwnd dialog, int32_t id, const wchar_t* text);
// Copies at most size - 1 characters and a zero; the count copied.
uint32_t GetDlgItemTextA(Hwnd dialog, int32_t id, char* text, int32_t size);

// Window words: GWL_* indices or byte offsets into the window's extra bytes. The 32-bit forms
// read and write four bytes, the pointer forms a pointer's width.
int32_t GetWindowLongA(Hwnd window, int32_t index);
int32_t SetWindowLongA(Hwnd window, int32_t index, int32_t value);
intptr_t GetWindowLongPtrA(Hwnd window, int32_t index);
intptr_t SetWindowLongPtrA(Hwnd window, int32_t index, intptr_t value);

// Procedures and messages.
LResult DefWindowProcA(Hwnd window, uint32_t message, WParam wParam, LParam lParam);
LResult CallWindowProcA(WndProc proc, Hwnd window, uint32_t message, WParam wParam, LParam lParam);
// 0 for WM_QUIT, -1 for a bad window, else nonzero.
int32_t GetMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax);
bool PeekMessageA(Msg* message, Hwnd window, uint32_t filterMin, uint32_t filterMax, uint32_t remove);
bool TranslateMessage(const Msg* message);
LResult DispatchMessageA(const Msg* message);
bool IsDialogMessageA(Hwnd dialog, Msg* message);
LResult SendMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam);
bool PostMessageA(Hwnd window, uint32_t message, WParam wParam, LParam lParam);
void PostQuitMessage(int32_t exitCode);

// Timers: WM_TIMER comes through the queue when nothing else is there. An id of 0 on a window
// is a timer of that id; the result is then 1.
uintptr_t SetTimer(Hwnd window, uintptr_t id, uint32_t elapse, TimerProc proc);
bool KillTimer(Hwnd window, uintptr_t id);

// Scroll bars. `bar` is SbCtl for a "SCROLLBAR" control, SbHorz or SbVert for a window's own.
int32_t SetScrollInfo(Hwnd window, int32_t bar, const ScrollInfo* info, bool redraw);
bool GetScrollInfo(Hwnd window, int32_t bar, ScrollInfo* info);
int32_t SetScrollPos(Hwnd window, int32_t bar, int32_t position, bool redraw);
int32_t GetScrollPos(Hwnd window, int32_t bar);
bool ShowScrollBar(Hwnd window, int32_t bar, bool show);

// Painting.
bool InvalidateRect(Hwnd window, const Rect* rect, bool erase);
bool ValidateRect(Hwnd window, const Rect* rect);
// `region` must be 0: the layer has no regions.
bool RedrawWindow(Hwnd window, const Rect* rect, uintptr_t region, uint32_t flags);
Hdc BeginPaint(Hwnd window, PaintStruct* paint);
bool EndPaint(Hwnd window, const PaintStruct* paint);
// A context on the window's client area; GetDC(0) covers the screen.
Hdc GetDC(Hwnd window);
int32_t ReleaseDC(Hwnd window, Hdc dc);

// Focus, activation, foreground.
Hwnd SetFocus(Hwnd window);
Hwnd GetFocus();
Hwnd SetActiveWindow(Hwnd window);
Hwnd GetActiveWindow();
bool SetForegroundWindow(Hwnd window);
Hwnd GetForegroundWindow();

// The display counter of the cursor: shown while 0 or above.
int32_t ShowCursor(bool show);
HCursor LoadCursorA(HInstance instance, uintptr_t name);

}  // namespace platform
