#include "platform/sim/display_config.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>

#include "platform/sim/machine.h"
#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

bool operator==(const ModeSize& a, const ModeSize& b) {
  return a.Width == b.Width && a.Height == b.Height && a.Bits == b.Bits;
}

bool operator==(const ConnectorConfig& a, const ConnectorConfig& b) {
  return a.Technology == b.Technology && a.Instance == b.Instance;
}

namespace {

// A decimal number below 2^31, optionally negative.
bool ParseInt(const std::string& text, int32_t& out, bool allowNegative = false) {
  std::string digits = text;
  bool negative = false;
  if (allowNegative && !digits.empty() && digits[0] == '-') {
    negative = true;
    digits = digits.substr(1);
  }
  if (digits.empty() || digits.size() > 10 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return false;
  long long value = std::strtoll(digits.c_str(), nullptr, 10);
  if (value > 0x7FFFFFFF) return false;
  out = static_cast<int32_t>(negative ? -value : value);
  return true;
}

// A byte, decimal or after 0x hexadecimal.
bool ParseByte(const std::string& text, uint8_t& out) {
  const std::string t = Lower(text);
  const bool hex = t.rfind("0x", 0) == 0;
  const std::string digits = hex ? t.substr(2) : t;
  auto digit = [hex](char c) { return hex ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c >= '0' && c <= '9'; };
  if (digits.empty() || digits.size() > 3 || !std::all_of(digits.begin(), digits.end(), digit)) return false;
  const long value = std::strtol(digits.c_str(), nullptr, hex ? 16 : 10);
  if (value > 255) return false;
  out = static_cast<uint8_t>(value);
  return true;
}

// "x,y,value; x,y,value": each pixel once, inside the largest mode size.
bool ParseStuckPixels(const std::string& text, std::vector<StuckPixel>& out) {
  out.clear();
  std::istringstream in(text);
  std::string item;
  while (std::getline(in, item, ';')) {
    std::vector<std::string> parts = SplitList(Strip(item));
    StuckPixel p;
    if (parts.size() != 3 || !ParseInt(parts[0], p.X) || !ParseInt(parts[1], p.Y) || !ParseByte(parts[2], p.Value))
      return false;
    if (p.X >= 16384 || p.Y >= 16384) return false;
    for (const StuckPixel& seen : out)
      if (seen.X == p.X && seen.Y == p.Y) return false;
    out.push_back(p);
  }
  // A trailing ';' would leave an empty pixel unnoticed by getline.
  return !out.empty() && Strip(text).back() != ';';
}

// A 32-bit number, decimal or after 0x hexadecimal.
bool ParseOffset(const std::string& text, uint32_t& out) {
  const std::string t = Lower(text);
  const bool hex = t.rfind("0x", 0) == 0;
  const std::string digits = hex ? t.substr(2) : t;
  auto digit = [hex](char c) { return hex ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c >= '0' && c <= '9'; };
  if (digits.empty() || digits.size() > (hex ? 8u : 10u) || !std::all_of(digits.begin(), digits.end(), digit))
    return false;
  const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
  if (value > 0xFFFFFFFFull) return false;
  out = static_cast<uint32_t>(value);
  return true;
}

// Frame buffer faults, three words each, several separated by ';': "<offset> <bit> <0|1>" for a
// stuck bit, "<offset> <mask> <reads>" for a flaky byte.
bool ParseFrameBufferFaults(const std::string& text, bool stuck, std::vector<ByteFault>& out) {
  std::istringstream in(text);
  std::string item;
  bool any = false;
  while (std::getline(in, item, ';')) {
    std::istringstream words(item);
    std::string offset, second, third, extra;
    ByteFault fault;
    uint32_t a = 0, b = 0;
    if (!(words >> offset >> second >> third) || (words >> extra) || !ParseOffset(offset, fault.Offset) ||
        !ParseOffset(second, a) || !ParseOffset(third, b))
      return false;
    if (stuck) {
      if (a > 7 || b > 1) return false;
      (b == 1 ? fault.StuckSet : fault.StuckClear) = static_cast<uint8_t>(1u << a);
    } else {
      if (a == 0 || a > 0xFF) return false;
      fault.FlipMask = static_cast<uint8_t>(a);
      fault.Flips = b;
    }
    out.push_back(fault);
    any = true;
  }
  return any && Strip(text).back() != ';';
}

// "Lock, Unlock": the DirectDraw calls that fail.
bool ParseDirectDrawCalls(const std::string& text, uint32_t& out) {
  static const std::map<std::string, uint32_t> calls = {{"setcooperativelevel", DdCallSetCooperativeLevel},
                                                        {"setdisplaymode", DdCallSetDisplayMode},
                                                        {"createsurface", DdCallCreateSurface},
                                                        {"lock", DdCallLock},
                                                        {"unlock", DdCallUnlock}};
  out = 0;
  for (const std::string& item : SplitList(text)) {
    auto call = calls.find(Lower(item));
    if (call == calls.end()) return false;
    out |= call->second;
  }
  return out != 0;
}

bool ParseModeList(const std::string& text, std::vector<ModeSize>& out) {
  out.clear();
  if (Lower(Strip(text)) == "none") return true;
  for (const std::string& item : SplitList(text)) {
    ModeSize mode;
    if (!ParseModeSize(item, mode)) return false;
    out.push_back(mode);
  }
  return true;
}

bool Contains(const std::vector<ModeSize>& modes, const ModeSize& mode) {
  return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

// Section "display.12" or "monitor.3": the number, or -1.
int SectionNumber(const std::string& section, const std::string& prefix) {
  if (section.rfind(prefix, 0) != 0) return -1;
  int32_t n = 0;
  if (!ParseInt(section.substr(prefix.size()), n) || n < 1) return -1;
  return n;
}

using AdapterReader = std::function<bool(const std::string&, AdapterConfig&)>;

const std::map<std::string, AdapterReader>& AdapterSchema() {
  static const std::map<std::string, AdapterReader> schema = {
      {"kind",
       [](const std::string& v, AdapterConfig& a) {
         std::string k = Lower(v);
         if (k == "adapter") a.Kind = AdapterKind::Adapter;
         else if (k == "mirror") a.Kind = AdapterKind::Mirror;
         else if (k == "remote") a.Kind = AdapterKind::Remote;
         else return false;
         return true;
       }},
      {"description", [](const std::string& v, AdapterConfig& a) { return a.Description = v, !v.empty(); }},
      {"deviceid", [](const std::string& v, AdapterConfig& a) { return a.DeviceId = v, true; }},
      {"primary", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.Primary); }},
      {"attached", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.Attached); }},
      {"modes", [](const std::string& v, AdapterConfig& a) { return ParseModeList(v, a.Modes); }},
      {"refreshrates",
       [](const std::string& v, AdapterConfig& a) {
         a.RefreshRates.clear();
         for (const std::string& item : SplitList(v)) {
           int32_t rate = 0;
           if (!ParseInt(item, rate) || rate < 2) return false;
           a.RefreshRates.push_back(static_cast<uint32_t>(rate));
         }
         return !a.RefreshRates.empty();
       }},
      {"no60hz", [](const std::string& v, AdapterConfig& a) { return ParseModeList(v, a.No60Hz); }},
      {"refuse", [](const std::string& v, AdapterConfig& a) { return ParseModeList(v, a.Refused); }},
      {"directdrawmodes", [](const std::string& v, AdapterConfig& a) { return ParseModeList(v, a.DirectDrawModes); }},
      {"directdraw", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.DirectDrawAvailable); }},
      {"opengl", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.OpenGLAvailable); }},
      {"current", [](const std::string& v, AdapterConfig& a) { return ParseModeSize(v, a.Current); }},
      {"refresh",
       [](const std::string& v, AdapterConfig& a) {
         int32_t rate = 0;
         if (!ParseInt(v, rate)) return false;
         a.CurrentRefresh = static_cast<uint32_t>(rate);
         return true;
       }},
      {"registry",
       [](const std::string& v, AdapterConfig& a) {
         a.RegistryGiven = true;
         if (Lower(v) == "none") return a.Registry = ModeSize{}, true;
         return ParseModeSize(v, a.Registry);
       }},
      {"position",
       [](const std::string& v, AdapterConfig& a) {
         std::vector<std::string> xy = SplitList(v);
         return xy.size() == 2 && ParseInt(xy[0], a.PositionX, true) && ParseInt(xy[1], a.PositionY, true);
       }},
      {"pitchalign",
       [](const std::string& v, AdapterConfig& a) { return ParseInt(v, a.PitchAlign) && a.PitchAlign >= 1 && a.PitchAlign <= 4096; }},
      {"pitchextra",
       [](const std::string& v, AdapterConfig& a) { return ParseInt(v, a.PitchExtra) && a.PitchExtra <= 65536; }},
      {"dpi", [](const std::string& v, AdapterConfig& a) { return ParseInt(v, a.Dpi) && a.Dpi >= 1; }},
      {"refuseattach", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.RefuseAttach); }},
      {"stuckpixel", [](const std::string& v, AdapterConfig& a) { return ParseStuckPixels(v, a.StuckPixels); }},
      {"stuckbit",
       [](const std::string& v, AdapterConfig& a) { return ParseFrameBufferFaults(v, true, a.FrameBufferFaults); }},
      {"flakybyte",
       [](const std::string& v, AdapterConfig& a) { return ParseFrameBufferFaults(v, false, a.FrameBufferFaults); }},
      {"directdrawfails",
       [](const std::string& v, AdapterConfig& a) { return ParseDirectDrawCalls(v, a.FailingDirectDrawCalls); }},
      {"lockshowsownbuffer", [](const std::string& v, AdapterConfig& a) { return ParseBool(v, a.LockShowsOwnBuffer); }},
      {"connectors",
       [](const std::string& v, AdapterConfig& a) {
         a.Connectors.clear();
         for (const std::string& item : SplitList(v)) {
           ConnectorConfig c;
           if (!ParseConnector(item, c) ||
               std::find(a.Connectors.begin(), a.Connectors.end(), c) != a.Connectors.end())
             return false;
           a.Connectors.push_back(c);
         }
         return !a.Connectors.empty() && a.Connectors.size() <= 16;
       }},
      {"sources",
       [](const std::string& v, AdapterConfig& a) {
         int32_t n = 0;
         if (!ParseInt(v, n) || n < 1 || n > 4) return false;
         a.Sources = static_cast<uint32_t>(n);
         return true;
       }},
      {"pci",
       [](const std::string& v, AdapterConfig& a) {
         unsigned bus = 0, device = 0, function = 0;
         char end = 0;
         if (std::sscanf(v.c_str(), "%2x:%2x.%1x%c", &bus, &device, &function, &end) != 3) return false;
         a.PciFunction = Lower(v);
         return device <= 0x1F && function <= 7;
       }},
  };
  return schema;
}

std::string KeyError(const MachineText::Entry& entry, const std::string& what, const std::string& key,
                     const std::string& section) {
  return "line " + std::to_string(entry.Line) + ": " + what + " '" + key + "' in [" + section + "]";
}

bool CheckAdapter(const AdapterConfig& a, int number, std::string& error) {
  const std::string where = "[display." + std::to_string(number) + "]";
  if (a.Kind != AdapterKind::Adapter) {
    if (a.Primary) return error = where + ": a pseudo device cannot be the primary", false;
    return true;
  }
  if (a.Modes.empty()) return error = where + ": an adapter needs Modes", false;
  if (!Contains(a.Modes, a.Current)) return error = where + ": Current " + ModeSizeText(a.Current) + " is not in Modes", false;
  if (a.CurrentRefresh != 0 && std::find(a.RefreshRates.begin(), a.RefreshRates.end(), a.CurrentRefresh) == a.RefreshRates.end())
    return error = where + ": Refresh is not in RefreshRates", false;
  if (a.Registry.Width != 0 && !Contains(a.Modes, a.Registry))
    return error = where + ": Registry " + ModeSizeText(a.Registry) + " is not in Modes", false;
  for (const auto* list : {&a.No60Hz, &a.Refused})
    for (const ModeSize& m : *list)
      if (!Contains(a.Modes, m)) return error = where + ": " + ModeSizeText(m) + " is not in Modes", false;
  if (a.Primary && !a.Attached) return error = where + ": the primary adapter must be attached", false;
  std::vector<bool> taken(a.Connectors.size(), false);
  for (const MonitorConfig& m : a.Monitors) {
    if (m.Port < 1 || static_cast<size_t>(m.Port) > a.Connectors.size())
      return error = where + ": a monitor's Port names no connector", false;
    if (taken[static_cast<size_t>(m.Port - 1)]) return error = where + ": two monitors on one connector", false;
    taken[static_cast<size_t>(m.Port - 1)] = true;
    if (m.Source >= a.Sources) return error = where + ": a monitor's Source is not below Sources", false;
  }
  if ((!a.FrameBufferFaults.empty() || !a.StuckPixels.empty()) && !ByteFaultsSupported())
    return error = where + ": stuck pixels and stuck or flaky frame buffer bytes need an x86 host", false;
  return true;
}

// Outputs for an adapter that does not list its own: a digital and an analogue one, and one
// more digital output for each further monitor.
void DefaultConnectors(AdapterConfig& a) {
  if (!a.Connectors.empty() || a.Kind != AdapterKind::Adapter) return;
  a.Connectors = {{4, 1}, {0, 1}};
  for (uint32_t n = 2; a.Connectors.size() < a.Monitors.size(); ++n) a.Connectors.push_back({4, n});
}

// Monitors without a Port take the free connectors in order.
void PlaceMonitors(AdapterConfig& a) {
  std::vector<bool> taken(a.Connectors.size(), false);
  for (const MonitorConfig& m : a.Monitors)
    if (m.Port >= 1 && static_cast<size_t>(m.Port) <= taken.size()) taken[static_cast<size_t>(m.Port - 1)] = true;
  for (MonitorConfig& m : a.Monitors) {
    if (m.Port != 0) continue;
    for (size_t i = 0; i < taken.size(); ++i)
      if (!taken[i]) {
        taken[i] = true;
        m.Port = static_cast<int32_t>(i + 1);
        break;
      }
  }
}

}  // namespace

bool ParseModeSize(const std::string& text, ModeSize& out) {
  std::string t = Lower(Strip(text));
  size_t x1 = t.find('x');
  size_t x2 = x1 == std::string::npos ? x1 : t.find('x', x1 + 1);
  if (x2 == std::string::npos) return false;
  ModeSize m;
  if (!ParseInt(t.substr(0, x1), m.Width) || !ParseInt(t.substr(x1 + 1, x2 - x1 - 1), m.Height) ||
      !ParseInt(t.substr(x2 + 1), m.Bits))
    return false;
  if (m.Width < 1 || m.Height < 1 || m.Width > 16384 || m.Height > 16384) return false;
  if (m.Bits != 8 && m.Bits != 16 && m.Bits != 24 && m.Bits != 32) return false;
  out = m;
  return true;
}

std::string ModeSizeText(const ModeSize& mode) {
  return std::to_string(mode.Width) + "x" + std::to_string(mode.Height) + "x" + std::to_string(mode.Bits);
}

DisplayConfig DefaultDisplayConfig() {
  AdapterConfig adapter;
  adapter.Primary = true;
  const ModeSize sizes[] = {{640, 480, 0},   {720, 480, 0},   {800, 600, 0},   {1024, 768, 0},  {1152, 864, 0},
                            {1280, 720, 0},  {1280, 768, 0},  {1280, 1024, 0}, {1360, 768, 0},  {1400, 1050, 0},
                            {1600, 1200, 0}, {1680, 1050, 0}, {1920, 1080, 0}, {1920, 1200, 0}};
  for (const ModeSize& size : sizes) {
    for (int32_t bits : {8, 16, 24, 32}) {
      // Like most adapters, 24 bits only in the small classic sizes.
      if (bits == 24 && size.Width > 1024) continue;
      adapter.Modes.push_back({size.Width, size.Height, bits});
    }
  }
  adapter.Monitors.push_back(MonitorConfig{});
  DefaultConnectors(adapter);
  PlaceMonitors(adapter);
  DisplayConfig config;
  config.Adapters.push_back(adapter);
  return config;
}

bool IsDisplaySection(const std::string& section) {
  return SectionNumber(section, "display.") > 0 || SectionNumber(section, "monitor.") > 0 || section == "displaypaths";
}

bool ParseOutputTechnology(const std::string& text, int32_t& out) {
  static const std::map<std::string, int32_t> names = {
      {"other", -1},         {"vga", 0},   {"hd15", 0},  {"svideo", 1},   {"composite", 2},
      {"component", 3},      {"dvi", 4},   {"hdmi", 5},  {"lvds", 6},     {"d-jpn", 8},
      {"sdi", 9},            {"displayport", 10},        {"displayport-embedded", 11},
      {"udi", 12},           {"udi-embedded", 13},       {"sdtv-dongle", 14},
      {"internal", static_cast<int32_t>(0x80000000u)}};
  const std::string t = Lower(Strip(text));
  auto named = names.find(t);
  if (named != names.end()) return out = named->second, true;
  return ParseInt(t, out, true);
}

bool ParseConnector(const std::string& text, ConnectorConfig& out) {
  std::istringstream words(text);
  std::string technology, instance, extra;
  if (!(words >> technology >> instance) || (words >> extra)) return false;
  int32_t number = 0;
  if (!ParseOutputTechnology(technology, out.Technology) || !ParseInt(instance, number)) return false;
  out.Instance = static_cast<uint32_t>(number);
  return true;
}


bool BuildDisplayConfig(const MachineText& text, DisplayConfig& out, std::string& error) {
  std::map<int, AdapterConfig> adapters;
  std::map<int, std::pair<int, MonitorConfig>> monitors;  // number -> (display, monitor)
  std::vector<uint32_t> refusedSetCalls;
  std::string stateFile;
  std::string modeFile;
  for (const auto& [section, keys] : text.Sections) {
    if (section == "displaypaths") {
      for (const auto& [key, entry] : keys) {
        if (key == "statefile") {
          stateFile = entry.Value;
          continue;
        }
        if (key == "modefile") {
          modeFile = entry.Value;
          continue;
        }
        if (key != "refuseset") return error = KeyError(entry, "unknown key", key, section), false;
        for (const std::string& item : SplitList(entry.Value)) {
          int32_t call = 0;
          if (!ParseInt(item, call) || call < 1)
            return error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key +
                           "' in [" + section + "]",
                   false;
          refusedSetCalls.push_back(static_cast<uint32_t>(call));
        }
      }
    } else if (int n = SectionNumber(section, "display."); n > 0) {
      AdapterConfig a;
      a.Description.clear();
      bool attachedGiven = keys.count("attached") != 0;
      for (const auto& [key, entry] : keys) {
        auto reader = AdapterSchema().find(key);
        if (reader == AdapterSchema().end()) return error = KeyError(entry, "unknown key", key, section), false;
        if (!reader->second(entry.Value, a))
          return error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
                         section + "]",
                 false;
      }
      if (a.Description.empty())
        a.Description = a.Kind == AdapterKind::Adapter ? "Simulated Display Adapter"
                        : a.Kind == AdapterKind::Mirror ? "Simulated Mirror Driver"
                                                        : "Simulated Remote Display";
      // Pseudo devices are not on the desktop unless the file says so.
      if (a.Kind != AdapterKind::Adapter && !attachedGiven) a.Attached = false;
      adapters[n] = a;
    } else if (int m = SectionNumber(section, "monitor."); m > 0) {
      MonitorConfig monitor;
      int display = 0;
      for (const auto& [key, entry] : keys) {
        bool good = true;
        if (key == "display") {
          int32_t d = 0;
          good = ParseInt(entry.Value, d) && d >= 1;
          display = d;
        } else if (key == "description") {
          monitor.Description = entry.Value;
          good = !entry.Value.empty();
        } else if (key == "connected") {
          good = ParseBool(entry.Value, monitor.Connected);
        } else if (key == "link") {
          good = entry.Value == "sound" || entry.Value == "broken";
          monitor.LinkSound = entry.Value == "sound";
        } else if (key == "port") {
          good = ParseInt(entry.Value, monitor.Port) && monitor.Port >= 1;
        } else if (key == "source") {
          int32_t source = 0;
          good = ParseInt(entry.Value, source);
          monitor.Source = static_cast<uint32_t>(source);
        } else {
          return error = KeyError(entry, "unknown key", key, section), false;
        }
        if (!good)
          return error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
                         section + "]",
                 false;
      }
      if (display == 0) return error = "[" + section + "] needs Display", false;
      monitors[m] = {display, monitor};
    }
  }
  if (adapters.empty()) {
    if (!monitors.empty()) return error = "[monitor.N] without any [display.N]", false;
    out = DefaultDisplayConfig();
    out.RefusedSetCalls = refusedSetCalls;
    out.StateFile = stateFile;
    out.ModeFile = modeFile;
    return true;
  }

  std::map<int, size_t> index;  // section number -> place in the list
  DisplayConfig config;
  for (auto& [n, a] : adapters) {
    index[n] = config.Adapters.size();
    config.Adapters.push_back(a);
  }
  for (const auto& [m, entry] : monitors) {
    auto place = index.find(entry.first);
    if (place == index.end())
      return error = "[monitor." + std::to_string(m) + "]: Display=" + std::to_string(entry.first) + " names no [display.N]",
             false;
    config.Adapters[place->second].Monitors.push_back(entry.second);
  }
  int primaries = 0;
  for (const AdapterConfig& a : config.Adapters) primaries += a.Primary ? 1 : 0;
  if (primaries > 1) return error = "more than one primary display adapter", false;
  if (primaries == 0) {
    auto first = std::find_if(config.Adapters.begin(), config.Adapters.end(),
                              [](const AdapterConfig& a) { return a.Kind == AdapterKind::Adapter; });
    if (first == config.Adapters.end()) return error = "no display adapter among the [display.N] sections", false;
    first->Primary = true;
  }
  for (const auto& [n, place] : index) {
    AdapterConfig& a = config.Adapters[place];
    // An adapter that no [monitor.N] names has one monitor; pseudo devices have none.
    bool named = std::any_of(monitors.begin(), monitors.end(), [n = n](const auto& e) { return e.second.first == n; });
    if (!named && a.Kind == AdapterKind::Adapter) a.Monitors.push_back(MonitorConfig{});
    DefaultConnectors(a);
    PlaceMonitors(a);
    if (!CheckAdapter(a, n, error)) return false;
  }
  config.RefusedSetCalls = refusedSetCalls;
  config.StateFile = stateFile;
  config.ModeFile = modeFile;
  out = config;
  return true;
}

}  // namespace sim
}  // namespace platform
