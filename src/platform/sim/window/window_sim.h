// What the rest of the simulated machine needs of the window system: keyboard input, the screen
// the windows live on, display-change notices, and a clean slate for tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/surface.h"
#include "platform/window.h"

namespace platform {
namespace sim {

// The frame buffer that windows draw on and screenshots are taken of: the primary display's.
Surface& ScreenSurface();

// One key going down or up, as the keyboard reports it. It reaches the window that has the focus
// (else the active window) when the program next takes input from its queue.
void PressKey(uint32_t virtualKey, bool down);

// Sends WM_DISPLAYCHANGE to every top-level window.
void BroadcastDisplayChange(uint32_t bitsPerPixel, int32_t width, int32_t height);

// The window's class name as registered, and its title.
std::wstring WindowClassName(Hwnd window);
std::wstring WindowTitle(Hwnd window);
// Visible top-level windows, front first.
std::vector<Hwnd> TopLevelWindows();
// The children of a window in child order.
std::vector<Hwnd> ChildWindows(Hwnd parent);

// The window whose GetDC gave `dc` and whose ReleaseDC has not taken it back; 0 for any other.
Hwnd WindowOfDc(Hdc dc);

// Forgets every window, class, timer and queued message, and the cursor count (tests).
void ResetWindowSystem();

// Registers the system's control classes ("BUTTON", "STATIC", "EDIT", "SCROLLBAR"); the window
// system calls it once before the first class lookup.
void RegisterSystemClasses();

}  // namespace sim
}  // namespace platform
