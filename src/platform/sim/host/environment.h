// What the simulated machine takes from the environment, read once and in one place. The table of
// machines/README.md describes each variable.
#pragma once

#include <string>

namespace platform {
namespace sim {

struct EnvironmentSettings {
  std::string MachineFile;      // RASTERSCAN_MACHINE: empty for the built-in machine
  std::string Clock;            // RASTERSCAN_CLOCK: "virtual" or "real", over [Clock] Mode
  std::string Operator;         // RASTERSCAN_OPERATOR: the operator's steps, or a file holding them
  std::string ScreenshotFolder; // RASTERSCAN_SCREENSHOTS
  std::string FontFolder;       // RASTERSCAN_FONT_DIR: looked in before the system's font folders
  bool EchoDebugOutput = false; // RASTERSCAN_DEBUG_OUTPUT: the debugger channel on standard error
};

// The settings as the process found them at its first look.
const EnvironmentSettings& Environment();

}  // namespace sim
}  // namespace platform
