// The world around the simulated PC: what happens from outside while the program runs. The
// events of the machine file (by map count or by time), the operator at the keyboard, what a
// display change does to the windows, and the screenshots kept of the screen. The hardware and
// the window system tell it what they are doing; it decides what happens then.
#pragma once

#include <cstdint>
#include <string>

namespace platform {
namespace sim {

// The world's turn, given by every wait for a window message when nothing is ready: timed events
// first, then the operator. True when something happened (input or a file may now be waiting);
// otherwise `wakeAt` is lowered to the tick at which the world wants its next turn.
bool WorldTurn(uint32_t now, uint32_t& wakeAt);

// The driver has mapped its `count`-th block (from 1): the events set for that count happen.
void BlockMapped(uint32_t count);

// The power policy has been written for the `count`-th time (from 1): the events set for that
// write happen.
void PolicyWritten(uint32_t count);

// A window is about to be made: from the first one on, a display change repaints the windows and
// reaches them as WM_DISPLAYCHANGE.
void WindowsInUse();

// A top-level window that is on the screen is about to go: the screen is kept, when screenshots
// are asked for, under the window's title.
void WindowLeavesScreen(const std::wstring& title);

}  // namespace sim
}  // namespace platform
