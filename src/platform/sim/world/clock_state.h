#pragma once

namespace platform {
namespace sim {

// Puts the tick back to the machine's start tick (startup, and tests of the sim).
void ResetClock();

}  // namespace sim
}  // namespace platform
