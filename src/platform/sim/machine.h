// The simulated machine: what the sim backend answers from. It is read once at startup from the
// file named by RASTERSCAN_MACHINE, or from the built-in default machine.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace platform {
namespace sim {

enum class WindowsKind { Windows7, WindowsXP, WindowsPE };

struct Machine {
  std::string Name;
  std::string Description;

  WindowsKind Windows = WindowsKind::Windows7;
  bool Administrator = true;
  bool Wow64 = true;

  bool VirtualClock = false;
  uint32_t StartTick = 0;

  // Host folder that stands for the root of the current drive ("\name", "C:\name").
  std::string DriveRoot = "/";
};

// One INI document: section name (lowered) to key (lowered) to value, plus the line of each key
// so that errors can point at it.
struct MachineText {
  struct Entry {
    std::string Value;
    int Line = 0;
  };
  std::map<std::string, std::map<std::string, Entry>> Sections;
};

// Parses machine-file text. On failure returns false and a reason naming the line.
bool ParseMachineText(const std::string& text, MachineText& out, std::string& error);

// Builds a machine from parsed text, checking every section, key and value.
bool BuildMachine(const MachineText& text, Machine& out, std::string& error);

// Loads the machine named by RASTERSCAN_MACHINE, or the built-in one, and applies
// RASTERSCAN_CLOCK. Called once by platform::Startup.
bool LoadMachine(std::string& error);

// The built-in default machine's text.
const char* DefaultMachineText();

// The machine in force. Before LoadMachine: the built-in default.
const Machine& CurrentMachine();

// Replaces the machine in force (unit tests of the sim).
void SetCurrentMachine(const Machine& machine);

}  // namespace sim
}  // namespace platform
