#include "platform/platform.h"
#include "platform/sim/clock_state.h"
#include "platform/sim/machine.h"

namespace platform {

bool Startup(std::string& error) {
  if (!sim::LoadMachine(error)) return false;
  sim::ResetClock();
  return true;
}

}  // namespace platform
