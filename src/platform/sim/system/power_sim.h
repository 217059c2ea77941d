// The simulated machine's power policy and monitor. The monitor goes dark once the input has been
// idle for the policy's video time-out, and lights again at the next input or when a time-out is
// written that the idle time has not reached. Time is looked at lazily: at each wait for a window
// message, each input, each call on the policy and each look at the screen.
#pragma once

#include <cstdint>

namespace platform {
namespace sim {

// Time has come to `now`: a monitor idle past the time-out goes dark (and, when screenshots are
// asked for, the dark screen is kept).
void UpdateMonitor(uint32_t now);

// The operator pressed a key or clicked at `now`: the idle time starts again, the monitor wakes.
void InputSeen(uint32_t now);

// Whether the monitor is dark now, and how often it went dark since the machine started.
bool MonitorDark();
uint32_t MonitorDarkenings();

// The AC video time-out in force, in seconds (tests).
uint32_t PolicyVideoTimeout();

}  // namespace sim
}  // namespace platform
