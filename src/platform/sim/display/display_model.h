// The running display of the simulated machine: each adapter's present and stored settings, its
// frame buffer in the present mode, and the DirectDraw exclusive owner. The display calls
// (display.h) and DirectDraw (ddraw.h) of the sim both work on this one model, and the drawing
// layer draws into its frame buffers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/display.h"
#include "platform/setupapi.h"  // Guid
#include "platform/sim/display_config.h"
#include "platform/sim/surface.h"

namespace platform {
namespace sim {

// HMONITOR of the adapter at a place in the list (one monitor per adapter on the desktop).
constexpr uintptr_t MonitorHandleBase = 0x10000;

struct DisplaySettings {
  ModeSize Mode;
  uint32_t Refresh = 0;
  int32_t PositionX = 0;
  int32_t PositionY = 0;
  bool Attached = false;
};

// One output of an adapter as the display configuration sees it: a target, with or without a
// monitor on its cable, on the desktop (active) from one of the adapter's sources or not.
struct TargetState {
  ConnectorConfig Connector;
  uint32_t Id = 0;
  bool HasMonitor = false;
  std::string MonitorName;
  bool LinkBroken = false;  // the monitor on it shows nothing
  bool Active = false;
  uint32_t Source = 0;
};

struct AdapterState {
  AdapterConfig Config;
  // The adapter's LUID (low part; the high part is 0) and its outputs.
  uint32_t Luid = 0;
  std::vector<TargetState> Targets;
  std::string Name;  // "\\.\DISPLAY1"; pseudo devices "\\.\DISPLAYV1"
  Guid DirectDrawGuid;
  // Present settings; when not attached, Mode is the one it would come back in.
  DisplaySettings Current;
  bool HasRegistry = false;
  DisplaySettings Registry;
  Surface FrameBuffer;  // empty while not attached
  // Rises with each change of mode: DirectDraw surfaces made before are lost.
  uint32_t ModeGeneration = 0;
  // The DirectDraw object that holds exclusive mode on this adapter, 0 for none.
  uintptr_t ExclusiveOwner = 0;
  // What a lock hands out on a device with a buffer of its own: as large as the frame buffer.
  std::vector<uint8_t> OwnLockBuffer;

  bool IsPseudo() const { return Config.Kind != AdapterKind::Adapter; }
  bool OnDesktop() const { return Current.Attached && !IsPseudo(); }
  // No monitor on any output, as the machine file says and no cable plugged in since: the
  // system lists no display monitor for it.
  bool Headless() const {
    for (const MonitorConfig& m : Config.Monitors)
      if (m.Connected) return false;
    for (const TargetState& t : Targets)
      if (t.HasMonitor) return false;
    return !Config.Monitors.empty();
  }
  // The refresh rates the driver offers for a mode (60 Hz left out where refused).
  std::vector<uint32_t> RatesOf(const ModeSize& mode) const;
  const std::vector<ModeSize>& DirectDrawModes() const {
    return Config.DirectDrawModes.empty() ? Config.Modes : Config.DirectDrawModes;
  }
};

class DisplayModel {
 public:
  // The model of the machine in force; rebuilt from the display configuration when the machine
  // is replaced or SetDisplayConfig is called.
  static DisplayModel& Get();

  std::vector<AdapterState>& Adapters() { return adapters_; }
  AdapterState& Primary();
  // By device name, without regard to case; null or empty is the primary. Null if unknown.
  AdapterState* Find(const char* name);
  // Rises with every rebuild, so that objects made on an earlier model can tell.
  uint32_t Epoch() const { return epoch_; }

  // ChangeDisplaySettingsExA.
  int32_t ChangeSettings(const char* deviceName, const DevMode* mode, uint32_t flags);
  // DirectDraw's mode change on one adapter: an HRESULT.
  int32_t SetDirectDrawMode(AdapterState& adapter, const ModeSize& mode, uint32_t refresh);
  // Makes `settings` the present ones: a new frame buffer when the mode or attach state changes.
  void Apply(AdapterState& adapter, const DisplaySettings& settings);

  DisplayRect RectOf(const AdapterState& adapter) const;
  DisplayRect VirtualScreen() const;

  // A cable plugged into the first output of that kind that has none; false if there is none.
  bool ConnectMonitor(const ConnectorConfig& connector);
  // SetDisplayConfig calls so far, for the refusals of the display configuration.
  uint32_t SetDisplayConfigCalls = 0;

 private:
  DisplayModel() = default;
  void Build(const DisplayConfig& config);
  // Rewrites the mode file, if the machine has one.
  void WriteModeFile() const;

  std::vector<AdapterState> adapters_;
  uint32_t epoch_ = 0;
  std::string modeFile_;
  uint32_t machineGeneration_ = ~0u;
  uint32_t configGeneration_ = ~0u;
  friend void SetDisplayConfig(const DisplayConfig& config);
};

// Replaces the display configuration and rebuilds the model at once (tests, and the machine
// loader). The configuration stays in force across later machine replacements.
void SetDisplayConfig(const DisplayConfig& config);
const DisplayConfig& CurrentDisplayConfig();

// The primary adapter's frame buffer: what the screen shows.
Surface& PrimaryFrameBuffer();

// True when every monitor that shows the primary desktop has a broken link: a person sees nothing.
bool PrimaryMonitorsShowNothing();

// When `surface` is an adapter's frame buffer, puts that adapter's stuck pixels and stuck bits
// (inside the present mode) into it: called before every read of the frame buffer, so that what
// was written there since never shows.
void ForceFrameBufferFaults(Surface& surface);

// Called after each applied change of a device's settings (for WM_DISPLAYCHANGE).
void SetDisplayChangeHook(std::function<void(const AdapterState& adapter)> hook);

// How DirectDraw's GetDC makes a device context on a surface: set by the drawing layer. Without
// it GetDC hands out a token that SurfaceOfDirectDrawDc resolves.
struct SurfaceDcHooks {
  std::function<uintptr_t(Surface& surface)> Create;
  std::function<void(uintptr_t dc)> Release;
};
void SetSurfaceDcHooks(SurfaceDcHooks hooks);
// The surface behind a DC that a DirectDraw surface's GetDC gave out and has not taken back.
Surface* SurfaceOfDirectDrawDc(uintptr_t dc);

}  // namespace sim
}  // namespace platform
