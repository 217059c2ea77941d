// Machine files for the simulator's tests: the repository's machines/ read by name, a text built
// into a machine, and a scope that puts one in force and the built-in one back.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/sim/display/display_model.h"
#include "platform/sim/machine.h"
#include "platform/sim/world/clock_state.h"

namespace machine_test {

// The checkout's top folder. ccache makes __FILE__ relative to the folder the tests are compiled
// in, so a path read from it must not depend on where the binary runs.
inline std::filesystem::path SourceRoot() {
  std::filesystem::path here = __FILE__;
  if (here.is_relative()) here = std::filesystem::path(RASTERSCAN_BUILD_DIR) / "tests" / here;
  return here.lexically_normal().parent_path().parent_path().parent_path();
}

inline std::string MachineFile(const std::string& name) {
  std::ifstream file(SourceRoot() / "machines" / name);
  EXPECT_TRUE(file) << name;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline bool Build(const std::string& text, platform::sim::Machine& machine, std::string& error) {
  platform::sim::MachineText parsed;
  return platform::sim::ParseMachineText(text, parsed, error) && platform::sim::BuildMachine(parsed, machine, error);
}

// Puts a machine in force; with `ownDisplay` its display too, on the virtual clock.
class MachineScope {
 public:
  explicit MachineScope(const std::string& text, bool ownDisplay = false) {
    platform::sim::Machine machine;
    std::string error;
    EXPECT_TRUE(Build(text, machine, error)) << error;
    Enter(machine, ownDisplay);
  }
  explicit MachineScope(const platform::sim::Machine& machine) { Enter(machine, false); }
  ~MachineScope() {
    platform::sim::SetCurrentMachine(platform::sim::Machine{});
    platform::sim::SetDisplayConfig(platform::sim::DefaultDisplayConfig());
    platform::sim::ResetClock();
  }
  MachineScope(const MachineScope&) = delete;
  MachineScope& operator=(const MachineScope&) = delete;

 private:
  static void Enter(platform::sim::Machine machine, bool ownDisplay) {
    if (ownDisplay) machine.VirtualClock = true;
    platform::sim::SetCurrentMachine(machine);
    if (ownDisplay) platform::sim::SetDisplayConfig(machine.Display);
    platform::sim::ResetClock();
  }
};

}  // namespace machine_test
