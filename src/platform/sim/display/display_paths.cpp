// The display configuration of the simulated machine: a path for each source and output of each
// adapter, listed adapter by adapter, output by output, source by source. A path is active when
// its output's monitor is on the desktop from that source. SetDisplayConfig changes which
// monitors are on the desktop, and so the display model, the screen and what draws on it.
#include "platform/sim/display/display_paths.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/sim/display/display_model.h"
#include "platform/sim/host/host_file.h"
#include "platform/sim/machine.h"

namespace platform {
namespace sim {

namespace {

constexpr int32_t kErrorInvalidParameter = 87;
constexpr int32_t kErrorInsufficientBuffer = 122;
constexpr uint32_t kTargetInUse = 0x1;
constexpr uint32_t kSourceInUse = 0x1;
constexpr uint32_t kScalingIdentity = 1;
constexpr uint32_t kRotationIdentity = 1;
constexpr uint32_t kScanLineProgressive = 1;
constexpr char kAdapterInterface[] = "#{5b45201d-f2f2-4f3b-85bb-30ff1f953599}";
constexpr char kMonitorInterface[] = "#{e6f07b5f-ee97-4a90-b076-33f57bf4eaa7}";

Luid LuidOf(const AdapterState& adapter) { return Luid{adapter.Luid, 0}; }

bool SameLuid(const Luid& id, const AdapterState& adapter) {
  return !adapter.IsPseudo() && id.LowPart == adapter.Luid && id.HighPart == 0;
}

uint32_t PixelFormatOf(int32_t bits) { return bits == 8 ? 1 : bits == 16 ? 2 : bits == 24 ? 3 : 4; }

void CopyText(const std::string& text, char16_t* out, size_t size) {
  size_t n = std::min(text.size(), size - 1);
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<char16_t>(static_cast<unsigned char>(text[i]));
  out[n] = 0;
}

// Paths and modes as the system lists them.
void Collect(bool onlyActive, std::vector<DisplayConfigPathInfo>& paths, std::vector<DisplayConfigModeInfo>& modes) {
  DisplayModel& model = DisplayModel::Get();
  for (const AdapterState& a : model.Adapters()) {
    if (a.IsPseudo()) continue;
    uint32_t sourceMode = DisplayConfigPathModeIdxInvalid;
    for (const TargetState& t : a.Targets) {
      for (uint32_t source = 0; source < a.Config.Sources; ++source) {
        const bool active = t.Active && t.Source == source && a.OnDesktop();
        if (onlyActive && !active) continue;
        DisplayConfigPathInfo path;
        path.SourceInfo.AdapterId = LuidOf(a);
        path.SourceInfo.Id = source;
        path.SourceInfo.ModeInfoIdx = DisplayConfigPathModeIdxInvalid;
        path.TargetInfo.AdapterId = LuidOf(a);
        path.TargetInfo.Id = t.Id;
        path.TargetInfo.ModeInfoIdx = DisplayConfigPathModeIdxInvalid;
        path.TargetInfo.OutputTechnology = t.Connector.Technology;
        path.TargetInfo.Rotation = kRotationIdentity;
        path.TargetInfo.Scaling = kScalingIdentity;
        path.TargetInfo.ScanLineOrdering = kScanLineProgressive;
        path.TargetInfo.TargetAvailable = t.HasMonitor ? 1 : 0;
        if (active) {
          path.Flags = DisplayConfigPathActive;
          path.SourceInfo.StatusFlags = kSourceInUse;
          path.TargetInfo.StatusFlags = kTargetInUse;
          path.TargetInfo.RefreshRate = {a.Current.Refresh, 1};
          if (sourceMode == DisplayConfigPathModeIdxInvalid) {
            DisplayConfigModeInfo mode;
            mode.InfoType = DisplayConfigModeInfoTypeSource;
            mode.Id = source;
            mode.AdapterId = LuidOf(a);
            mode.SourceMode = {static_cast<uint32_t>(a.Current.Mode.Width), static_cast<uint32_t>(a.Current.Mode.Height),
                               PixelFormatOf(a.Current.Mode.Bits), a.Current.PositionX, a.Current.PositionY};
            sourceMode = static_cast<uint32_t>(modes.size());
            modes.push_back(mode);
          }
          DisplayConfigModeInfo mode;
          mode.InfoType = DisplayConfigModeInfoTypeTarget;
          mode.Id = t.Id;
          mode.AdapterId = LuidOf(a);
          mode.TargetMode.ActiveSize = {static_cast<uint32_t>(a.Current.Mode.Width),
                                        static_cast<uint32_t>(a.Current.Mode.Height)};
          mode.TargetMode.TotalSize = mode.TargetMode.ActiveSize;
          mode.TargetMode.VSyncFreq = {a.Current.Refresh, 1};
          mode.TargetMode.ScanLineOrdering = kScanLineProgressive;
          path.SourceInfo.ModeInfoIdx = sourceMode;
          path.TargetInfo.ModeInfoIdx = static_cast<uint32_t>(modes.size());
          modes.push_back(mode);
        }
        paths.push_back(path);
      }
    }
  }
}

AdapterState* AdapterOf(const Luid& id) {
  for (AdapterState& a : DisplayModel::Get().Adapters())
    if (SameLuid(id, a)) return &a;
  return nullptr;
}

TargetState* TargetOf(AdapterState& adapter, uint32_t id) {
  for (TargetState& t : adapter.Targets)
    if (t.Id == id) return &t;
  return nullptr;
}

// "\\.\DISPLAY1 4 1 active 0,0 primary": each output, whether it is on the desktop, and where.
void WriteStateFile(const std::string& path) {
  std::string text;
  for (const AdapterState& a : DisplayModel::Get().Adapters())
    for (const TargetState& t : a.Targets) {
      text += a.Name + " " + std::to_string(static_cast<int>(t.Connector.Technology)) + " " +
              std::to_string(t.Connector.Instance) + (t.Active && a.OnDesktop() ? " active" : " inactive");
      if (t.Active && a.OnDesktop())
        text += " " + std::to_string(a.Current.PositionX) + "," + std::to_string(a.Current.PositionY) +
                (a.Config.Primary ? " primary" : "");
      text += "\n";
    }
  std::string error;
  if (!WriteHostFile(path, text, error)) std::fprintf(stderr, "display: cannot write '%s': %s\n", path.c_str(), error.c_str());
}

}  // namespace

std::string AdapterDevicePath(const AdapterState& adapter) {
  std::string id = adapter.Config.InstanceId;
  std::replace(id.begin(), id.end(), '\\', '#');
  return "\\\\?\\" + id + kAdapterInterface;
}

int32_t PLATFORM_CALLBACK GetDisplayConfigBufferSizes(uint32_t flags, uint32_t* pathCount, uint32_t* modeCount) {
  if (pathCount == nullptr || modeCount == nullptr || (flags != QdcAllPaths && flags != QdcOnlyActivePaths))
    return kErrorInvalidParameter;
  std::vector<DisplayConfigPathInfo> paths;
  std::vector<DisplayConfigModeInfo> modes;
  Collect(flags == QdcOnlyActivePaths, paths, modes);
  *pathCount = static_cast<uint32_t>(paths.size());
  *modeCount = static_cast<uint32_t>(modes.size());
  return 0;
}

int32_t PLATFORM_CALLBACK QueryDisplayConfig(uint32_t flags, uint32_t* pathCount, DisplayConfigPathInfo* paths,
                                             uint32_t* modeCount, DisplayConfigModeInfo* modes, uint32_t* topologyId) {
  if (pathCount == nullptr || modeCount == nullptr || paths == nullptr || modes == nullptr || topologyId != nullptr ||
      (flags != QdcAllPaths && flags != QdcOnlyActivePaths))
    return kErrorInvalidParameter;
  std::vector<DisplayConfigPathInfo> foundPaths;
  std::vector<DisplayConfigModeInfo> foundModes;
  Collect(flags == QdcOnlyActivePaths, foundPaths, foundModes);
  if (foundPaths.size() > *pathCount || foundModes.size() > *modeCount) return kErrorInsufficientBuffer;
  std::copy(foundPaths.begin(), foundPaths.end(), paths);
  std::copy(foundModes.begin(), foundModes.end(), modes);
  *pathCount = static_cast<uint32_t>(foundPaths.size());
  *modeCount = static_cast<uint32_t>(foundModes.size());
  return 0;
}

int32_t PLATFORM_CALLBACK DisplayConfigGetDeviceInfo(DisplayConfigDeviceInfoHeader* request) {
  if (request == nullptr) return kErrorInvalidParameter;
  AdapterState* adapter = AdapterOf(request->AdapterId);
  if (request->Type == DisplayConfigDeviceInfoGetTargetName) {
    if (request->Size != DisplayConfigTargetDeviceNameSize || adapter == nullptr) return kErrorInvalidParameter;
    TargetState* target = TargetOf(*adapter, request->Id);
    if (target == nullptr) return kErrorInvalidParameter;
    auto* name = reinterpret_cast<DisplayConfigTargetDeviceName*>(request);
    name->Flags = target->HasMonitor ? 0x1 : 0;  // friendly name from EDID
    name->OutputTechnology = target->Connector.Technology;
    name->EdidManufactureId = target->HasMonitor ? 0x3E4C : 0;  // "SIM"
    name->EdidProductCodeId = target->HasMonitor ? 0x1000 : 0;
    name->ConnectorInstance = target->Connector.Instance;
    std::memset(name->MonitorFriendlyDeviceName, 0, sizeof name->MonitorFriendlyDeviceName);
    std::memset(name->MonitorDevicePath, 0, sizeof name->MonitorDevicePath);
    if (target->HasMonitor) {
      char uid[16];
      std::snprintf(uid, sizeof uid, "UID%u", static_cast<unsigned>(target->Id));
      CopyText(target->MonitorName, name->MonitorFriendlyDeviceName, 64);
      CopyText(std::string("\\\\?\\DISPLAY#SIM1000#") + uid + kMonitorInterface, name->MonitorDevicePath, 128);
    }
    return 0;
  }
  if (request->Type == DisplayConfigDeviceInfoGetAdapterName) {
    if (request->Size != DisplayConfigAdapterNameSize || adapter == nullptr) return kErrorInvalidParameter;
    auto* name = reinterpret_cast<DisplayConfigAdapterName*>(request);
    std::memset(name->AdapterDevicePath, 0, sizeof name->AdapterDevicePath);
    CopyText(AdapterDevicePath(*adapter), name->AdapterDevicePath, 128);
    return 0;
  }
  return ErrorNotSupported;
}

// Only the supplied configuration is taken, as the program gives it: active paths are checked
// against the outputs, and where no source mode is given the system places the desktops itself.
int32_t PLATFORM_CALLBACK SetDisplayConfig(uint32_t pathCount, DisplayConfigPathInfo* paths, uint32_t modeCount,
                                           DisplayConfigModeInfo* modes, uint32_t flags) {
  DisplayModel& model = DisplayModel::Get();
  if ((flags & (SdcApply | SdcUseSuppliedDisplayConfig)) != (SdcApply | SdcUseSuppliedDisplayConfig) ||
      pathCount == 0 || paths == nullptr || (modeCount != 0 && modes == nullptr))
    return kErrorInvalidParameter;
  const uint32_t call = ++model.SetDisplayConfigCalls;
  const std::vector<uint32_t>& refused = CurrentDisplayConfig().RefusedSetCalls;
  if (std::find(refused.begin(), refused.end(), call) != refused.end()) return ErrorBadConfiguration;

  struct Wanted {
    bool Attached = false;
    bool Placed = false;
    DisplaySettings Settings;
    std::vector<std::pair<uint32_t, uint32_t>> Targets;  // id, source
  };
  std::vector<AdapterState>& adapters = model.Adapters();
  std::vector<Wanted> wanted(adapters.size());
  for (size_t i = 0; i < adapters.size(); ++i) wanted[i].Settings = adapters[i].Current;
  for (uint32_t p = 0; p < pathCount; ++p) {
    const DisplayConfigPathInfo& path = paths[p];
    if ((path.Flags & DisplayConfigPathActive) == 0) continue;
    AdapterState* source = AdapterOf(path.SourceInfo.AdapterId);
    AdapterState* owner = AdapterOf(path.TargetInfo.AdapterId);
    if (source == nullptr || source != owner) return kErrorInvalidParameter;
    TargetState* target = TargetOf(*owner, path.TargetInfo.Id);
    if (target == nullptr || path.SourceInfo.Id >= owner->Config.Sources) return kErrorInvalidParameter;
    if (!target->HasMonitor) return ErrorBadConfiguration;
    Wanted& w = wanted[static_cast<size_t>(owner - adapters.data())];
    for (const auto& seen : w.Targets)
      if (seen.first == target->Id) return ErrorBadConfiguration;
    w.Targets.emplace_back(target->Id, path.SourceInfo.Id);
    w.Attached = true;
    const uint32_t index = path.SourceInfo.ModeInfoIdx;
    if (index != DisplayConfigPathModeIdxInvalid) {
      if (index >= modeCount || modes[index].InfoType != DisplayConfigModeInfoTypeSource) return kErrorInvalidParameter;
      const DisplayConfigSourceMode& m = modes[index].SourceMode;
      const int32_t bits[] = {8, 16, 24, 32};
      if (m.PixelFormat < 1 || m.PixelFormat > 4) return kErrorInvalidParameter;
      ModeSize size{static_cast<int32_t>(m.Width), static_cast<int32_t>(m.Height), bits[m.PixelFormat - 1]};
      if (std::find(owner->Config.Modes.begin(), owner->Config.Modes.end(), size) == owner->Config.Modes.end())
        return ErrorBadConfiguration;
      if (!(size == w.Settings.Mode)) w.Settings.Refresh = owner->RatesOf(size).front();
      w.Settings.Mode = size;
      w.Settings.PositionX = m.PositionX;
      w.Settings.PositionY = m.PositionY;
      w.Placed = true;
    }
  }
  auto any = std::find_if(wanted.begin(), wanted.end(), [](const Wanted& w) { return w.Attached; });
  if (any == wanted.end()) return kErrorInvalidParameter;

  // Desktops without a given place keep theirs; a lone one, or one coming back, goes where the
  // system puts it: at the origin when nothing else is there, else to the right of the others.
  int32_t right = 0;
  for (size_t i = 0; i < adapters.size(); ++i)
    if (wanted[i].Attached && (wanted[i].Placed || adapters[i].OnDesktop()))
      right = std::max(right, wanted[i].Settings.PositionX + wanted[i].Settings.Mode.Width);
  for (size_t i = 0; i < adapters.size(); ++i) {
    Wanted& w = wanted[i];
    if (!w.Attached || w.Placed || adapters[i].OnDesktop()) continue;
    w.Settings.PositionX = right;
    w.Settings.PositionY = 0;
    right += w.Settings.Mode.Width;
  }
  // The desktop at the origin is the primary one; with none there, the first is moved there.
  size_t primary = adapters.size();
  for (size_t i = 0; i < adapters.size(); ++i)
    if (wanted[i].Attached && wanted[i].Settings.PositionX == 0 && wanted[i].Settings.PositionY == 0) primary = i;
  if (primary == adapters.size()) {
    primary = static_cast<size_t>(any - wanted.begin());
    const int32_t dx = wanted[primary].Settings.PositionX, dy = wanted[primary].Settings.PositionY;
    for (Wanted& w : wanted) {
      w.Settings.PositionX -= dx;
      w.Settings.PositionY -= dy;
    }
  }
  for (size_t i = 0; i < adapters.size(); ++i) {
    AdapterState& a = adapters[i];
    if (a.IsPseudo()) continue;
    Wanted& w = wanted[i];
    for (TargetState& t : a.Targets) {
      auto on = std::find_if(w.Targets.begin(), w.Targets.end(), [&t](const auto& e) { return e.first == t.Id; });
      t.Active = on != w.Targets.end();
      if (t.Active) t.Source = on->second;
    }
    a.Config.Primary = i == primary;
    w.Settings.Attached = w.Attached;
    model.Apply(a, w.Settings);
  }
  if (!CurrentDisplayConfig().StateFile.empty()) WriteStateFile(CurrentDisplayConfig().StateFile);
  return 0;
}

}  // namespace sim
}  // namespace platform
