#include "platform/walltime.h"

#include <ctime>

#include "platform/clock.h"
#include "platform/sim/machine.h"

namespace platform {

int64_t Time() {
  // The virtual clock's calendar starts at a fixed moment (2011-01-01 00:00:00 UTC), so that
  // time-outs are as exact as the tick.
  if (sim::CurrentMachine().VirtualClock) return int64_t{1293840000} + GetTickCount() / 1000;
  return static_cast<int64_t>(std::time(nullptr));
}

}  // namespace platform
