#include "platform/sim/host/environment.h"

#include <cstdlib>

namespace platform {
namespace sim {

namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

EnvironmentSettings Read() {
  EnvironmentSettings settings;
  settings.MachineFile = Variable("RASTERSCAN_MACHINE");
  settings.Clock = Variable("RASTERSCAN_CLOCK");
  settings.Operator = Variable("RASTERSCAN_OPERATOR");
  settings.ScreenshotFolder = Variable("RASTERSCAN_SCREENSHOTS");
  settings.FontFolder = Variable("RASTERSCAN_FONT_DIR");
  settings.EchoDebugOutput = !Variable("RASTERSCAN_DEBUG_OUTPUT").empty();
  return settings;
}

}  // namespace

const EnvironmentSettings& Environment() {
  static const EnvironmentSettings settings = Read();
  return settings;
}

}  // namespace sim
}  // namespace platform
