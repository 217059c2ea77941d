// What the program has sent to the debugger channel, kept for tests of the sim.
#pragma once

#include <string>
#include <vector>

namespace platform {
namespace sim {

std::vector<std::string>& DebugOutput();

}  // namespace sim
}  // namespace platform
