// Millisecond tick and sleep.
#pragma once

#include <cstdint>

namespace platform {

// GetTickCount: milliseconds since the machine started, wrapping at 2^32.
uint32_t GetTickCount();

// Sleep: gives up the thread for at least `milliseconds`. On the sim's virtual clock the tick
// advances by that amount at once.
void Sleep(uint32_t milliseconds);

}  // namespace platform
