#include "platform/debug_output.h"

#include <cstdio>

#include "platform/sim/system/debug_log.h"
#include "platform/sim/host/environment.h"

namespace platform {

namespace sim {

std::vector<std::string>& DebugOutput() {
  static std::vector<std::string> lines;
  return lines;
}

}  // namespace sim

void OutputDebugStringA(const char* text) {
  std::string line = text ? text : "";
  sim::DebugOutput().push_back(line);
  // A person debugging the sim sees the text on standard error, never in the protocol.
  if (sim::Environment().EchoDebugOutput)
    std::fprintf(stderr, "warning: OutputDebugString: %s\n", line.c_str());
}

}  // namespace platform
