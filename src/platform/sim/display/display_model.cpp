#include "platform/sim/display/display_model.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "platform/ddraw.h"
#include "platform/sim/host/host_file.h"
#include "platform/sim/machine.h"

namespace platform {
namespace sim {

namespace {

DisplayConfig& Config() {
  static DisplayConfig config = DefaultDisplayConfig();
  return config;
}

// Rises with every new display configuration; the model is built again at its next use, so a run
// that never looks at the displays (answering -help) never fills a frame buffer.
uint32_t& ConfigGeneration() {
  static uint32_t generation = 0;
  return generation;
}

std::function<void(const AdapterState&)>& ChangeHook() {
  static std::function<void(const AdapterState&)> hook;
  return hook;
}

bool SameName(const std::string& a, const char* b) {
  size_t n = std::char_traits<char>::length(b);
  if (a.size() != n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

bool Contains(const std::vector<ModeSize>& modes, const ModeSize& mode) {
  return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

// The Windows static colours at both ends of an 8-bit hardware palette; the middle starts black.
void SetDefaultPalette(Surface& surface) {
  static const uint8_t low[10][3] = {{0, 0, 0},     {128, 0, 0},   {0, 128, 0},     {128, 128, 0},   {0, 0, 128},
                                     {128, 0, 128}, {0, 128, 128}, {192, 192, 192}, {192, 220, 192}, {166, 202, 240}};
  static const uint8_t high[10][3] = {{255, 251, 240}, {160, 160, 164}, {128, 128, 128}, {255, 0, 0},   {0, 255, 0},
                                      {255, 255, 0},   {0, 0, 255},     {255, 0, 255},   {0, 255, 255}, {255, 255, 255}};
  surface.Palette = {};
  for (int i = 0; i < 10; ++i) {
    surface.Palette[static_cast<size_t>(i)] = {low[i][0], low[i][1], low[i][2], 0};
    surface.Palette[static_cast<size_t>(246 + i)] = {high[i][0], high[i][1], high[i][2], 0};
  }
}

// The frame buffer's pages stop being watched before its storage goes back to the system.
void DetachFrameBuffer(Surface& frameBuffer) {
  DetachFaults(reinterpret_cast<uintptr_t>(frameBuffer.Pixels.data()), frameBuffer.Pixels.size());
}

void AllocateFrameBuffer(AdapterState& adapter) {
  DetachFrameBuffer(adapter.FrameBuffer);
  const ModeSize& mode = adapter.Current.Mode;
  if (!adapter.Current.Attached || mode.Width <= 0 || mode.Height <= 0) {
    adapter.FrameBuffer = Surface{};
    return;
  }
  const int32_t align = adapter.Config.PitchAlign;
  const int32_t row = mode.Width * mode.Bits / 8;
  const int32_t pitch = (row + align - 1) / align * align + adapter.Config.PitchExtra;
  adapter.FrameBuffer.Allocate(mode.Width, mode.Height, mode.Bits, pitch);
  if (mode.Bits == 8) SetDefaultPalette(adapter.FrameBuffer);
}

// A stuck pixel is a stuck byte of the frame buffer wherever the present mode puts the pixel, so
// that it acts on every access as the stuck bits do: DirectDraw locks (through the traps), GDI
// reads and screenshots. Flaky bytes keep the reads they have left across the change of mode.
void PlaceStuckPixels(size_t index, const AdapterState& adapter) {
  const AdapterConfig& c = adapter.Config;
  if (c.StuckPixels.empty()) return;
  std::vector<ByteFault> list = c.FrameBufferFaults;
  for (ByteFault& f : list) f.Flips = 0;
  for (const ByteFault& now : ByteFaultsOf(FrameBufferOf(index)))
    for (ByteFault& f : list)
      if (f.Offset == now.Offset && f.FlipMask != 0) {
        f.Flips = now.Flips;
        break;
      }
  const Surface& screen = adapter.FrameBuffer;
  const int32_t bytes = screen.BytesPerPixel();
  for (const StuckPixel& p : c.StuckPixels) {
    if (p.X >= screen.Width || p.Y >= screen.Height) continue;
    const uint32_t at = static_cast<uint32_t>(p.Y * screen.Pitch + p.X * bytes);
    for (int32_t b = 0; b < bytes; ++b)
      list.push_back(ByteFault{at + static_cast<uint32_t>(b), static_cast<uint8_t>(~p.Value), p.Value, 0, 0});
  }
  SetByteFaults(FrameBufferOf(index), list);
}

}  // namespace

std::vector<uint32_t> AdapterState::RatesOf(const ModeSize& mode) const {
  std::vector<uint32_t> rates = Config.RefreshRates;
  if (Contains(Config.No60Hz, mode)) {
    rates.erase(std::remove(rates.begin(), rates.end(), 60u), rates.end());
    if (rates.empty()) rates.push_back(75);
  }
  return rates;
}

DisplayModel& DisplayModel::Get() {
  static DisplayModel model;
  if (model.machineGeneration_ != MachineGeneration() || model.configGeneration_ != ConfigGeneration()) {
    model.machineGeneration_ = MachineGeneration();
    model.configGeneration_ = ConfigGeneration();
    model.Build(Config());
  }
  return model;
}

void DisplayModel::Build(const DisplayConfig& config) {
  ++epoch_;
  SetDisplayConfigCalls = 0;
  for (size_t i = 0; i < adapters_.size(); ++i) {
    DetachFrameBuffer(adapters_[i].FrameBuffer);
    SetByteFaults(FrameBufferOf(i), {});
  }
  adapters_.clear();
  int adapterNumber = 0;
  int pseudoNumber = 0;
  for (const AdapterConfig& c : config.Adapters) {
    AdapterState a;
    a.Config = c;
    if (c.Kind == AdapterKind::Adapter) {
      a.Name = "\\\\.\\DISPLAY" + std::to_string(++adapterNumber);
      a.DirectDrawGuid = Guid{0x67685559u + static_cast<uint32_t>(adapterNumber), 0x3106, 0x11D0,
                              {0xB9, 0x71, 0x00, 0xAA, 0x00, 0x34, 0x2F, 0x9F}};
    } else {
      a.Name = "\\\\.\\DISPLAYV" + std::to_string(++pseudoNumber);
    }
    a.Current.Mode = c.Current;
    std::vector<uint32_t> rates = a.RatesOf(c.Current);
    a.Current.Refresh = c.CurrentRefresh != 0 ? c.CurrentRefresh : (rates.empty() ? 60 : rates.front());
    a.Current.PositionX = c.PositionX;
    a.Current.PositionY = c.PositionY;
    a.Current.Attached = c.Attached;
    a.Registry = a.Current;
    a.HasRegistry = !(c.RegistryGiven && c.Registry.Width == 0);
    if (c.Registry.Width != 0) {
      a.Registry.Mode = c.Registry;
      a.Registry.Refresh = a.RatesOf(c.Registry).front();
    }
    if (c.Kind == AdapterKind::Adapter) {
      // Target ids are unique across adapters, as the program keys its ports by them alone.
      a.Luid = 0xD000u + static_cast<uint32_t>(adapterNumber);
      for (size_t i = 0; i < c.Connectors.size(); ++i) {
        TargetState t;
        t.Connector = c.Connectors[i];
        t.Id = static_cast<uint32_t>(adapterNumber) * 0x1000u + 0x100u + static_cast<uint32_t>(i);
        a.Targets.push_back(t);
      }
      bool activeTaken = false;
      for (const MonitorConfig& m : c.Monitors) {
        if (!m.Connected || m.Port < 1 || static_cast<size_t>(m.Port) > a.Targets.size()) continue;
        TargetState& t = a.Targets[static_cast<size_t>(m.Port - 1)];
        t.HasMonitor = true;
        t.MonitorName = m.Description;
        t.LinkBroken = !m.LinkSound;
        t.Source = m.Source;
        // One monitor of an attached adapter is on the desktop: the first connected one.
        t.Active = c.Attached && !activeTaken;
        activeTaken = activeTaken || t.Active;
      }
    }
    SetByteFaults(FrameBufferOf(adapters_.size()), c.FrameBufferFaults);
    adapters_.push_back(std::move(a));
    AllocateFrameBuffer(adapters_.back());
    PlaceStuckPixels(adapters_.size() - 1, adapters_.back());
  }
  modeFile_ = config.ModeFile;
  WriteModeFile();
}

namespace {

std::string SettingsText(const DisplaySettings& s) {
  return std::to_string(s.Mode.Width) + "x" + std::to_string(s.Mode.Height) + "x" + std::to_string(s.Mode.Bits) + " " +
         std::to_string(s.Refresh) + " " + (s.Attached ? "attached" : "detached") + " " + std::to_string(s.PositionX) +
         "," + std::to_string(s.PositionY);
}

}  // namespace

// "\\.\DISPLAY1 1024x768x32 60 attached 0,0 registry 1024x768x32 60 attached 0,0": each display
// device's present settings and the stored ones.
void DisplayModel::WriteModeFile() const {
  if (modeFile_.empty()) return;
  std::string text;
  for (const AdapterState& a : adapters_) {
    if (a.IsPseudo()) continue;
    text += a.Name + " " + SettingsText(a.Current) + " registry " + (a.HasRegistry ? SettingsText(a.Registry) : "none") +
            "\n";
  }
  std::string error;
  if (!WriteHostFile(modeFile_, text, error))
    std::fprintf(stderr, "display: cannot write '%s': %s\n", modeFile_.c_str(), error.c_str());
}

AdapterState& DisplayModel::Primary() {
  for (AdapterState& a : adapters_)
    if (a.Config.Primary) return a;
  return adapters_.front();
}

AdapterState* DisplayModel::Find(const char* name) {
  if (name == nullptr || *name == 0) return &Primary();
  for (AdapterState& a : adapters_)
    if (SameName(a.Name, name)) return &a;
  return nullptr;
}

void DisplayModel::Apply(AdapterState& adapter, const DisplaySettings& settings) {
  const DisplaySettings before = adapter.Current;
  adapter.Current = settings;
  bool modeChanged = before.Attached != settings.Attached ||
                     (settings.Attached && (!(before.Mode == settings.Mode) || before.Refresh != settings.Refresh));
  bool moved = before.PositionX != settings.PositionX || before.PositionY != settings.PositionY;
  if (modeChanged) {
    AllocateFrameBuffer(adapter);
    PlaceStuckPixels(static_cast<size_t>(&adapter - adapters_.data()), adapter);
    ++adapter.ModeGeneration;
  }
  if (modeChanged || moved) WriteModeFile();
  if ((modeChanged || moved) && ChangeHook()) ChangeHook()(adapter);
}

int32_t DisplayModel::ChangeSettings(const char* deviceName, const DevMode* mode, uint32_t flags) {
  const uint32_t known = CdsUpdateRegistry | CdsTest | CdsFullscreen | CdsGlobal | CdsSetPrimary | CdsNoReset | CdsReset;
  if ((flags & ~known) != 0) return DispChangeBadFlags;
  if ((flags & (CdsNoReset | CdsGlobal)) != 0 && (flags & CdsUpdateRegistry) == 0) return DispChangeBadFlags;
  AdapterState* target = Find(deviceName);
  if (target == nullptr) return DispChangeBadParam;

  if (mode == nullptr) {
    // Back to the stored settings: of every device without a name, else of the one named.
    if ((flags & CdsTest) != 0) return DispChangeSuccessful;
    for (AdapterState& a : adapters_) {
      if (deviceName != nullptr && *deviceName != 0 && &a != target) continue;
      if (a.HasRegistry && !a.IsPseudo()) Apply(a, a.Registry);
    }
    return DispChangeSuccessful;
  }
  if (target->IsPseudo()) return DispChangeFailed;

  DisplaySettings next = target->Current.Attached || !target->HasRegistry ? target->Current : target->Registry;
  const uint32_t fields = mode->Fields;
  bool detach = false;
  bool attach = false;
  if ((fields & (DmPelsWidth | DmPelsHeight)) != 0) {
    uint32_t w = (fields & DmPelsWidth) != 0 ? mode->PelsWidth : static_cast<uint32_t>(next.Mode.Width);
    uint32_t h = (fields & DmPelsHeight) != 0 ? mode->PelsHeight : static_cast<uint32_t>(next.Mode.Height);
    if (w == 0 || h == 0) {
      detach = true;
    } else {
      next.Mode.Width = static_cast<int32_t>(w);
      next.Mode.Height = static_cast<int32_t>(h);
    }
  }
  if ((fields & DmBitsPerPel) != 0 && mode->BitsPerPel != 0) next.Mode.Bits = static_cast<int32_t>(mode->BitsPerPel);
  // Without a frequency (or with 0 or 1, "the default") the driver picks its first rate.
  uint32_t refresh = (fields & DmDisplayFrequency) != 0 && mode->DisplayFrequency > 1 ? mode->DisplayFrequency : 0;
  if ((fields & DmPosition) != 0) {
    next.PositionX = mode->PositionX;
    next.PositionY = mode->PositionY;
    attach = !detach;
  }
  if (detach) {
    if (target->Config.Primary) return DispChangeFailed;
    next.Attached = false;
  } else if (attach) {
    next.Attached = true;
  }
  if (next.Attached) {
    if (!Contains(target->Config.Modes, next.Mode)) return DispChangeBadMode;
    std::vector<uint32_t> rates = target->RatesOf(next.Mode);
    if (refresh != 0 && std::find(rates.begin(), rates.end(), refresh) == rates.end()) return DispChangeBadMode;
    next.Refresh = refresh != 0 ? refresh : rates.front();
    if (Contains(target->Config.Refused, next.Mode)) return DispChangeFailed;
  }
  if (target->Config.RefuseAttach && !target->Config.Primary &&
      (next.Attached != target->Current.Attached || next.PositionX != target->Current.PositionX ||
       next.PositionY != target->Current.PositionY))
    return DispChangeFailed;
  if ((flags & CdsTest) != 0) return DispChangeSuccessful;
  if ((flags & CdsUpdateRegistry) != 0) {
    target->Registry = next;
    target->HasRegistry = true;
    WriteModeFile();
    if ((flags & CdsNoReset) != 0) return DispChangeSuccessful;
  }
  Apply(*target, next);
  return DispChangeSuccessful;
}

int32_t DisplayModel::SetDirectDrawMode(AdapterState& adapter, const ModeSize& mode, uint32_t refresh) {
  if (!Contains(adapter.DirectDrawModes(), mode)) return DdErrInvalidMode;
  std::vector<uint32_t> rates = adapter.RatesOf(mode);
  if (refresh != 0 && std::find(rates.begin(), rates.end(), refresh) == rates.end()) return DdErrInvalidMode;
  if (Contains(adapter.Config.Refused, mode)) return DdErrUnsupportedMode;
  DisplaySettings next = adapter.Current;
  next.Mode = mode;
  next.Refresh = refresh != 0 ? refresh : rates.front();
  next.Attached = true;
  Apply(adapter, next);
  return DdOk;
}

DisplayRect DisplayModel::RectOf(const AdapterState& adapter) const {
  const DisplaySettings& s = adapter.Current;
  return DisplayRect{s.PositionX, s.PositionY, s.PositionX + s.Mode.Width, s.PositionY + s.Mode.Height};
}

DisplayRect DisplayModel::VirtualScreen() const {
  DisplayRect box;
  bool first = true;
  for (const AdapterState& a : adapters_) {
    if (!a.OnDesktop()) continue;
    DisplayRect r = RectOf(a);
    if (first) {
      box = r;
      first = false;
      continue;
    }
    box.Left = std::min(box.Left, r.Left);
    box.Top = std::min(box.Top, r.Top);
    box.Right = std::max(box.Right, r.Right);
    box.Bottom = std::max(box.Bottom, r.Bottom);
  }
  return box;
}

bool DisplayModel::ConnectMonitor(const ConnectorConfig& connector) {
  for (AdapterState& a : adapters_)
    for (TargetState& t : a.Targets)
      if (t.Connector == connector && !t.HasMonitor) {
        t.HasMonitor = true;
        t.MonitorName = "Generic PnP Monitor";
        return true;
      }
  return false;
}

void SetDisplayConfig(const DisplayConfig& config) {
  Config() = config;
  ++ConfigGeneration();
}

const DisplayConfig& CurrentDisplayConfig() { return Config(); }

Surface& PrimaryFrameBuffer() { return DisplayModel::Get().Primary().FrameBuffer; }

bool PrimaryMonitorsShowNothing() {
  bool shown = false;
  for (const TargetState& t : DisplayModel::Get().Primary().Targets) {
    if (!t.Active || !t.HasMonitor) continue;
    if (!t.LinkBroken) return false;
    shown = true;
  }
  return shown;
}

void ForceFrameBufferFaults(Surface& surface) {
  auto& adapters = DisplayModel::Get().Adapters();
  for (size_t index = 0; index < adapters.size(); ++index) {
    AdapterState& a = adapters[index];
    if (&a.FrameBuffer != &surface) continue;
    ApplyStuckBits(FrameBufferOf(index), surface.Pixels.data(), 0, surface.Pixels.size());
    return;
  }
}

void SetDisplayChangeHook(std::function<void(const AdapterState& adapter)> hook) { ChangeHook() = std::move(hook); }

}  // namespace sim
}  // namespace platform
