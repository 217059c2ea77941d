// What the machine file says about the display: adapters (with pseudo devices among them), their
// modes and refusals, monitors. The running state built from it is in display_model.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/memory_faults.h"

namespace platform {
namespace sim {

struct MachineText;  // machine.h, which may hold a DisplayConfig itself

struct ModeSize {
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t Bits = 0;
};
bool operator==(const ModeSize& a, const ModeSize& b);

struct MonitorConfig {
  std::string Description = "Generic PnP Monitor";
  bool Connected = true;
  // false: a broken link: the monitor is connected and reported, but shows nothing (a fault).
  bool LinkSound = true;
  // The connector it is plugged into, from 1 in the adapter's list; 0: the next free one.
  int32_t Port = 0;
  // The source that drives it when it is on the desktop.
  uint32_t Source = 0;
};

// A video output of an adapter: its output technology (DISPLAYCONFIG_VIDEO_OUTPUT_TECHNOLOGY)
// and its connector instance among the outputs of that technology.
struct ConnectorConfig {
  int32_t Technology = 4;
  uint32_t Instance = 1;
};
bool operator==(const ConnectorConfig& a, const ConnectorConfig& b);

enum class AdapterKind { Adapter, Mirror, Remote };

// A frame buffer pixel whose every byte holds `Value` whatever is written (a fault).
struct StuckPixel {
  int32_t X = 0;
  int32_t Y = 0;
  uint8_t Value = 0;
};

// DirectDraw calls that a faulty device refuses, as bits.
enum DirectDrawCall : uint32_t {
  DdCallSetCooperativeLevel = 0x1,
  DdCallSetDisplayMode = 0x2,
  DdCallCreateSurface = 0x4,
  DdCallLock = 0x8,
  DdCallUnlock = 0x10,
};

struct AdapterConfig {
  AdapterKind Kind = AdapterKind::Adapter;
  std::string Description = "Simulated Display Adapter";
  std::string DeviceId = "PCI\\VEN_1234&DEV_1111&SUBSYS_11001AF4&REV_02";
  bool Primary = false;
  bool Attached = true;
  // Display settings list, in the driver's order; every mode at each refresh rate.
  std::vector<ModeSize> Modes;
  std::vector<uint32_t> RefreshRates{60, 75};
  // Modes without 60 Hz: set with 60 Hz they are refused (bad mode), without a frequency taken.
  std::vector<ModeSize> No60Hz;
  // Modes that the driver lists but fails to set, through either world.
  std::vector<ModeSize> Refused;
  // DirectDraw's list; empty means the same as Modes.
  std::vector<ModeSize> DirectDrawModes;
  bool DirectDrawAvailable = true;
  // false: the driver has no OpenGL, so no pixel format can be set and no context made.
  bool OpenGLAvailable = true;
  // DirectDrawCall bits: calls that fail on this device whenever they are made (a fault).
  uint32_t FailingDirectDrawCalls = 0;
  // A lock of the primary surface hands out a buffer of the driver's own, zeros at first, that
  // nothing drawn on the screen reaches and that never reaches the screen (a fault).
  bool LockShowsOwnBuffer = false;
  // The mode at start (attached) and the stored one; a zero size stores nothing.
  ModeSize Current{1024, 768, 32};
  uint32_t CurrentRefresh = 0;  // 0: the mode's first rate
  ModeSize Registry{0, 0, 0};  // zero: as Current
  bool RegistryGiven = false;  // Registry=none leaves no stored settings
  int32_t PositionX = 0;
  int32_t PositionY = 0;
  // Frame buffer rows: the row's bytes rounded up to PitchAlign, plus PitchExtra.
  int32_t PitchAlign = 4;
  int32_t PitchExtra = 0;
  int32_t Dpi = 96;
  // The device refuses to be attached or moved (a fault).
  bool RefuseAttach = false;
  // Pixels outside the present mode have no effect in it.
  std::vector<StuckPixel> StuckPixels;
  // Faulty bytes of the frame buffer's memory, by byte offset from its first byte in whatever
  // mode is set; offsets past the frame buffer have no effect in that mode (a fault).
  std::vector<ByteFault> FrameBufferFaults;
  std::vector<MonitorConfig> Monitors;
  // Its outputs; without the key "dvi 1, vga 1" (and more DVI outputs for more monitors).
  std::vector<ConnectorConfig> Connectors;
  // The sources (desktops) it can drive at once; paths are listed for each source and output.
  uint32_t Sources = 1;
  // The PCI function of the card, "bb:dd.f"; empty: the display controllers in bus order.
  std::string PciFunction;
  // The card's PnP instance id, set by the machine builder from its PCI function.
  std::string InstanceId;
};

struct DisplayConfig {
  std::vector<AdapterConfig> Adapters;
  // SetDisplayConfig calls, counted from 1, that the system refuses (a fault).
  std::vector<uint32_t> RefusedSetCalls;
  // Host file rewritten after each applied SetDisplayConfig with the outputs and desktops, so
  // that what a program left behind can be looked at; empty: none.
  std::string StateFile;
  // Host file rewritten whenever a display's mode, place or stored settings change, and when the
  // machine starts; empty: none.
  std::string ModeFile;
};

// Output technology names of machine files and operator steps ("dvi", "vga", "hdmi"...); a
// number is taken as the value itself.
bool ParseOutputTechnology(const std::string& text, int32_t& out);
// "dvi 1": a technology and a connector instance.
bool ParseConnector(const std::string& text, ConnectorConfig& out);

// The built-in display: one adapter with one monitor and a wide mode list, 1024x768x32 at 60 Hz.
DisplayConfig DefaultDisplayConfig();

// True for a section this file owns: "display.N", "monitor.N" (lowered, N a number) and
// "displaypaths".
bool IsDisplaySection(const std::string& section);

// Builds the display from the [Display.N] and [Monitor.N] sections of a machine text, checking
// every key and value; other sections are left alone. Without any [Display.N] the built-in display
// is taken.
bool BuildDisplayConfig(const MachineText& text, DisplayConfig& out, std::string& error);

// "640x480x8".
bool ParseModeSize(const std::string& text, ModeSize& out);
std::string ModeSizeText(const ModeSize& mode);

}  // namespace sim
}  // namespace platform
