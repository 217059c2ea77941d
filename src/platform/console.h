// Console control handler (SetConsoleCtrlHandler).
#pragma once

#include <cstdint>

namespace platform {

constexpr uint32_t CtrlCEvent = 0;
constexpr uint32_t CtrlBreakEvent = 1;
constexpr uint32_t CtrlCloseEvent = 2;
constexpr uint32_t CtrlLogoffEvent = 5;
constexpr uint32_t CtrlShutdownEvent = 6;

// Returns nonzero when the event was handled.
using ConsoleCtrlHandler = int (*)(uint32_t eventType);

// Adds or removes a handler. As on Windows, handlers run on a thread of their own: in the sim
// SIGINT arrives as CtrlCEvent, SIGTERM as CtrlBreakEvent and SIGHUP (the terminal gone) as
// CtrlCloseEvent, after which the process ends as a closed console ends it.
bool SetConsoleCtrlHandler(ConsoleCtrlHandler handler, bool add);

}  // namespace platform
