// The simulated machine: what the sim backend answers from. It is read once at startup from the
// file named by RASTERSCAN_MACHINE, or from the built-in default machine.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/sim/display_config.h"

namespace platform {
namespace sim {

enum class WindowsKind { Windows7, WindowsXP, WindowsPE };

// The hardware access driver's service as the machine starts: not installed, installed and
// stopped, running, or installed but refusing to start.
enum class ServiceState { Absent, Stopped, Running, Unstartable };

struct PciBar {
  enum class Kind { Unused, Memory, Io };
  Kind Type = Kind::Unused;
  bool Prefetchable = false;
  uint32_t Base = 0;
  uint32_t Size = 0;
};

// Which configuration the device tree reports resources from.
enum class ResourceConfig { Allocated, Boot, None };

struct PciDevice {
  uint8_t Bus = 0;
  uint8_t Device = 0;
  uint8_t Function = 0;
  uint16_t VendorId = 0;
  uint16_t DeviceId = 0;
  uint16_t SubsystemVendorId = 0;
  uint16_t SubsystemId = 0;
  uint32_t ClassCode = 0;  // base class, sub-class, programming interface
  uint8_t Revision = 0;
  uint16_t Command = 0x0007;
  uint8_t InterruptLine = 0;
  PciBar Bars[6];
  int SecondaryBus = -1;  // bridges: the bus behind them

  // What the device tree says of it.
  std::string Description;
  bool DisplayDriver = true;  // in the Display setup class; false: an unknown device
  bool Enabled = true;
  ResourceConfig Resources = ResourceConfig::Allocated;
  bool HasSlot = false;
  uint32_t Slot = 0;

  // PCI BIOS encoding: bus in the high byte, device in bits 7..3, function in bits 2..0.
  uint16_t Address() const { return static_cast<uint16_t>(Bus << 8 | (Device & 0x1F) << 3 | (Function & 7)); }
};

// Defects of memory behind the base address registers, by physical address.
struct MemoryFault {
  enum class Kind { StuckBit, FlakyByte, Unmappable, UnmapFails };
  Kind Type = Kind::StuckBit;
  uint32_t Address = 0;
  uint8_t Mask = 0;      // StuckBit: the bit; FlakyByte: the bits that flip
  bool StuckHigh = false;
  uint32_t Reads = 0;    // FlakyByte: how many reads see it flipped
  uint32_t Length = 1;   // Unmappable: the size of the region
};

// Something that happens from outside: when the driver maps a block for the given time, or, with
// AtMap 0, once the program has run AtTime milliseconds and waits for a window message, or right
// after the AtPolicyWrite-th write of the power policy. The world (world.h) sets them off and
// keeps which have happened.
struct MapEvent {
  enum class Kind { KillFile, ConsoleBreak, ConsoleClose };
  Kind Action = Kind::KillFile;
  uint32_t AtMap = 1;
  uint32_t AtTime = 0;
  uint32_t AtPolicyWrite = 0;
  std::string Path;  // KillFile: a Windows path
};

// The operating system's power policy on mains power, and the monitor's power saving.
struct PowerSettings {
  enum class Failing { None, Read, Write };
  uint32_t VideoTimeout = 600;  // seconds of idle input before the display goes dark; 0: never
  Failing Fails = Failing::None;
  bool MonitorBlanks = true;    // false: a monitor that never goes dark
  std::string PolicyFile;       // host file that keeps the policy across runs; empty: none
};

// What the operator's turn of the screen does to the primary display's mode.
struct RotationSettings {
  enum class Kind { Swap, None, Depth, Mode };
  Kind Turn = Kind::Swap;
  ModeSize Portrait;  // Kind::Mode: the mode a turn from landscape sets
};

enum class BoardIdSource { None, Eisa, Int15 };

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
  // Files open for reading only, as on a write-protected medium.
  bool WriteProtected = false;

  ServiceState DriverService = ServiceState::Absent;
  // Virtual milliseconds that one mapped block takes to test (the virtual clock only).
  uint32_t MapMilliseconds = 0;

  // Milliseconds the video decoder spends on each frame, on top of its real work (a slow adapter).
  uint32_t DecodeMilliseconds = 0;
  // False: the video renderer cannot be created.
  bool VideoRenderer = true;

  // Direct3D 9 on the primary display, which libraries that render in 3D draw through: whether the
  // runtime is there, the Direct3DCall bits of the calls its driver refuses, and whether the
  // driver ever finishes a frame (false: a hung one, whose scene never ends by itself).
  bool Direct3DRuntime = true;
  uint32_t FailingDirect3DCalls = 0;
  bool Direct3DFramesComplete = true;

  BoardIdSource BoardIdFrom = BoardIdSource::None;
  uint16_t BoardId = 0;

  std::vector<PciDevice> PciDevices;  // in bus, device, function order
  std::vector<MemoryFault> Faults;
  std::vector<MapEvent> Events;

  PowerSettings Power = PowerSettings();
  RotationSettings Rotation;

  // What the person at the machine does, steps separated by ';'.
  std::string OperatorScript;

  // Display adapters, monitors and their modes.
  DisplayConfig Display = DefaultDisplayConfig();
};

enum Direct3DCall : uint32_t {
  D3dCallCreateDevice = 0x1,
  D3dCallCreateTexture = 0x2,
  D3dCallPresent = 0x4,
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

// Rises whenever the machine in force is replaced, so that the simulated hardware can rebuild
// its state from it.
uint32_t MachineGeneration();

}  // namespace sim
}  // namespace platform
