#include "platform/sim/machine.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <vector>

#include <sys/stat.h>

#include "platform/sim/display/display_model.h"
#include "platform/sim/management/pnp_ids.h"
#include "platform/sim/host/environment.h"
#include "platform/sim/host/host_file.h"
#include "platform/sim/management/management.h"
#include "platform/sim/world/operator.h"
#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

namespace {

// Machine files are a few kilobytes; anything near this is not one.
constexpr size_t kMaxMachineFileSize = 16u << 20;

// The operator's steps as the environment gives them: the content of the file of that name when
// there is one, else the text itself.
bool ReadOperatorScript(const std::string& value, std::string& script, std::string& error) {
  struct stat info {};
  if (stat(value.c_str(), &info) != 0) {
    script = value;
    return true;
  }
  std::string reason;
  if (ReadHostFile(value, kMaxMachineFileSize, script, reason)) return true;
  error = "cannot read '" + value + "': " + reason;
  return false;
}

Machine& Current() {
  static Machine machine;
  return machine;
}

bool ParseUInt32(const std::string& value, uint32_t& out) {
  if (value.empty() || !std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return false;
  errno = 0;
  unsigned long long v = std::strtoull(value.c_str(), nullptr, 10);
  if (v > 0xFFFFFFFFull) return false;
  out = static_cast<uint32_t>(v);
  return true;
}

// Decimal, or hexadecimal after "0x".
bool ParseNumber(const std::string& value, uint32_t& out) {
  std::string v = Lower(value);
  if (v.size() > 2 && v[0] == '0' && v[1] == 'x') {
    std::string digits = v.substr(2);
    if (digits.size() > 8 || !std::all_of(digits.begin(), digits.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }))
      return false;
    out = static_cast<uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
    return true;
  }
  return ParseUInt32(v, out);
}

template <typename T>
bool ParseLimited(const std::string& value, uint32_t limit, T& out) {
  uint32_t v = 0;
  if (!ParseNumber(value, v) || v > limit) return false;
  out = static_cast<T>(v);
  return true;
}

// A byte count: a number with an optional K or M suffix.
bool ParseSize(const std::string& value, uint32_t& out) {
  if (value.empty()) return false;
  uint64_t scale = 1;
  std::string number = value;
  char last = static_cast<char>(std::toupper(static_cast<unsigned char>(value.back())));
  if (last == 'K' || last == 'M') {
    scale = last == 'K' ? 1024u : 1024u * 1024u;
    number.pop_back();
  }
  uint32_t v = 0;
  if (!ParseNumber(number, v)) return false;
  uint64_t bytes = uint64_t{v} * scale;
  if (bytes == 0 || bytes > 0x80000000ull) return false;
  out = static_cast<uint32_t>(bytes);
  return true;
}

std::vector<std::string> Words(const std::string& value) {
  std::vector<std::string> words;
  std::istringstream in(value);
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

bool IsPowerOfTwo(uint32_t v) { return v != 0 && (v & (v - 1)) == 0; }

// "memory [prefetchable] <base> <size>" or "io <base> <size>".
bool ParseBar(const std::string& value, PciBar& bar) {
  std::vector<std::string> w = Words(value);
  if (w.empty()) return false;
  std::string kind = Lower(w[0]);
  PciBar b;
  size_t at = 1;
  if (kind == "memory") {
    b.Type = PciBar::Kind::Memory;
    if (w.size() > at && Lower(w[at]) == "prefetchable") {
      b.Prefetchable = true;
      ++at;
    }
  } else if (kind == "io") {
    b.Type = PciBar::Kind::Io;
  } else {
    return false;
  }
  if (w.size() != at + 2 || !ParseNumber(w[at], b.Base) || !ParseSize(w[at + 1], b.Size)) return false;
  if (!IsPowerOfTwo(b.Size) || (b.Base & (b.Size - 1)) != 0) return false;
  if (b.Type == PciBar::Kind::Memory && b.Size < 16) return false;
  if (b.Type == PciBar::Kind::Io && (b.Size < 4 || b.Size > 256 || uint64_t{b.Base} + b.Size > 0x10000)) return false;
  if (b.Type == PciBar::Kind::Memory && uint64_t{b.Base} + b.Size > 0x100000000ull) return false;
  bar = b;
  return true;
}

using DeviceKeyReader = std::function<bool(const std::string& value, PciDevice& d)>;

const std::map<std::string, DeviceKeyReader>& DeviceSchema() {
  static const std::map<std::string, DeviceKeyReader> schema = [] {
    std::map<std::string, DeviceKeyReader> keys = {
        {"vendor", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFF, d.VendorId); }},
        {"device", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFF, d.DeviceId); }},
        {"subsystemvendor", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFF, d.SubsystemVendorId); }},
        {"subsystem", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFF, d.SubsystemId); }},
        {"class", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFFFF, d.ClassCode); }},
        {"revision", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFF, d.Revision); }},
        {"command", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFFFF, d.Command); }},
        {"interruptline", [](const std::string& v, PciDevice& d) { return ParseLimited(v, 0xFF, d.InterruptLine); }},
        {"secondarybus",
         [](const std::string& v, PciDevice& d) {
           uint8_t bus = 0;
           if (!ParseLimited(v, 0xFF, bus) || bus == 0) return false;
           d.SecondaryBus = bus;
           return true;
         }},
        {"description",
         [](const std::string& v, PciDevice& d) {
           if (v.empty()) return false;
           d.Description = v;
           return true;
         }},
        {"displaydriver", [](const std::string& v, PciDevice& d) { return ParseBool(v, d.DisplayDriver); }},
        {"enabled", [](const std::string& v, PciDevice& d) { return ParseBool(v, d.Enabled); }},
        {"resources",
         [](const std::string& v, PciDevice& d) {
           std::string w = Lower(v);
           if (w == "allocated") d.Resources = ResourceConfig::Allocated;
           else if (w == "boot") d.Resources = ResourceConfig::Boot;
           else if (w == "none") d.Resources = ResourceConfig::None;
           else return false;
           return true;
         }},
        {"slot",
         [](const std::string& v, PciDevice& d) {
           d.HasSlot = true;
           return ParseNumber(v, d.Slot);
         }},
    };
    for (int i = 0; i < 6; ++i)
      keys["bar" + std::to_string(i)] = [i](const std::string& v, PciDevice& d) { return ParseBar(v, d.Bars[i]); };
    return keys;
  }();
  return schema;
}

// "[PCI bb:dd.f]", hexadecimal as lspci writes it.
bool ParseDeviceSection(const std::string& section, PciDevice& d) {
  if (section.rfind("pci ", 0) != 0) return false;
  std::string where = Strip(section.substr(4));
  size_t colon = where.find(':');
  size_t dot = where.find('.');
  if (colon == std::string::npos || dot == std::string::npos || dot < colon) return false;
  uint32_t bus = 0, device = 0, function = 0;
  if (!ParseNumber("0x" + where.substr(0, colon), bus) || bus > 0xFF) return false;
  if (!ParseNumber("0x" + where.substr(colon + 1, dot - colon - 1), device) || device > 0x1F) return false;
  if (!ParseNumber(where.substr(dot + 1), function) || function > 7) return false;
  d.Bus = static_cast<uint8_t>(bus);
  d.Device = static_cast<uint8_t>(device);
  d.Function = static_cast<uint8_t>(function);
  return true;
}

// A key of [Faults] or [Events] is a kind, optionally numbered: StuckBit, StuckBit2...
bool KeyOfKind(const std::string& key, const std::string& kind) {
  if (key.rfind(kind, 0) != 0) return false;
  std::string rest = key.substr(kind.size());
  return std::all_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool ParseFault(const std::string& key, const std::string& value, MemoryFault& f) {
  std::vector<std::string> w = Words(value);
  if (KeyOfKind(key, "stuckbit")) {
    // <address> <bit 0..7> <0|1>
    uint32_t bit = 0, level = 0;
    if (w.size() != 3 || !ParseNumber(w[0], f.Address) || !ParseNumber(w[1], bit) || bit > 7 ||
        !ParseNumber(w[2], level) || level > 1)
      return false;
    f.Type = MemoryFault::Kind::StuckBit;
    f.Mask = static_cast<uint8_t>(1u << bit);
    f.StuckHigh = level == 1;
    return true;
  }
  if (KeyOfKind(key, "flakybyte")) {
    // <address> <mask of the flipping bits> <reads>
    uint32_t mask = 0;
    if (w.size() != 3 || !ParseNumber(w[0], f.Address) || !ParseNumber(w[1], mask) || mask == 0 || mask > 0xFF ||
        !ParseNumber(w[2], f.Reads))
      return false;
    f.Type = MemoryFault::Kind::FlakyByte;
    f.Mask = static_cast<uint8_t>(mask);
    return true;
  }
  if (KeyOfKind(key, "unmappable")) {
    // <address> <size>
    if (w.size() != 2 || !ParseNumber(w[0], f.Address) || !ParseSize(w[1], f.Length)) return false;
    f.Type = MemoryFault::Kind::Unmappable;
    return true;
  }
  if (KeyOfKind(key, "unmapfails")) {
    if (w.size() != 1 || !ParseNumber(w[0], f.Address)) return false;
    f.Type = MemoryFault::Kind::UnmapFails;
    return true;
  }
  return false;
}

bool ParseEvent(const std::string& key, const std::string& value, MapEvent& e) {
  std::vector<std::string> w = Words(value);
  if (KeyOfKind(key, "killfileatmap")) {
    // <map count> <Windows path>
    if (w.size() != 2 || !ParseNumber(w[0], e.AtMap) || e.AtMap == 0) return false;
    e.Action = MapEvent::Kind::KillFile;
    e.Path = w[1];
    return true;
  }
  if (KeyOfKind(key, "consolebreakatmap")) {
    if (w.size() != 1 || !ParseNumber(w[0], e.AtMap) || e.AtMap == 0) return false;
    e.Action = MapEvent::Kind::ConsoleBreak;
    return true;
  }
  if (KeyOfKind(key, "killfileattime")) {
    // <milliseconds since the start> <Windows path>
    if (w.size() != 2 || !ParseNumber(w[0], e.AtTime)) return false;
    e.AtMap = 0;
    e.Action = MapEvent::Kind::KillFile;
    e.Path = w[1];
    return true;
  }
  if (KeyOfKind(key, "killfileatpolicywrite")) {
    // <write count> <Windows path>
    if (w.size() != 2 || !ParseNumber(w[0], e.AtPolicyWrite) || e.AtPolicyWrite == 0) return false;
    e.AtMap = 0;
    e.Action = MapEvent::Kind::KillFile;
    e.Path = w[1];
    return true;
  }
  if (KeyOfKind(key, "consolebreakatpolicywrite")) {
    if (w.size() != 1 || !ParseNumber(w[0], e.AtPolicyWrite) || e.AtPolicyWrite == 0) return false;
    e.AtMap = 0;
    e.Action = MapEvent::Kind::ConsoleBreak;
    return true;
  }
  // The console window closed: by map count, by time or by policy write, as above.
  if (KeyOfKind(key, "consolecloseatmap")) {
    if (w.size() != 1 || !ParseNumber(w[0], e.AtMap) || e.AtMap == 0) return false;
    e.Action = MapEvent::Kind::ConsoleClose;
    return true;
  }
  if (KeyOfKind(key, "consolecloseattime")) {
    if (w.size() != 1 || !ParseNumber(w[0], e.AtTime)) return false;
    e.AtMap = 0;
    e.Action = MapEvent::Kind::ConsoleClose;
    return true;
  }
  if (KeyOfKind(key, "consolecloseatpolicywrite")) {
    if (w.size() != 1 || !ParseNumber(w[0], e.AtPolicyWrite) || e.AtPolicyWrite == 0) return false;
    e.AtMap = 0;
    e.Action = MapEvent::Kind::ConsoleClose;
    return true;
  }
  return false;
}

bool IsKnownFaultKey(const std::string& key) {
  return KeyOfKind(key, "stuckbit") || KeyOfKind(key, "flakybyte") || KeyOfKind(key, "unmappable") ||
         KeyOfKind(key, "unmapfails");
}

bool IsKnownEventKey(const std::string& key) {
  return KeyOfKind(key, "killfileatmap") || KeyOfKind(key, "consolebreakatmap") || KeyOfKind(key, "killfileattime") ||
         KeyOfKind(key, "killfileatpolicywrite") || KeyOfKind(key, "consolebreakatpolicywrite") ||
         KeyOfKind(key, "consolecloseatmap") || KeyOfKind(key, "consolecloseattime") ||
         KeyOfKind(key, "consolecloseatpolicywrite");
}

const PciBar* MemoryBarAt(const Machine& m, uint32_t address) {
  for (const PciDevice& d : m.PciDevices)
    for (const PciBar& bar : d.Bars)
      if (bar.Type == PciBar::Kind::Memory && address >= bar.Base && address - bar.Base < bar.Size) return &bar;
  return nullptr;
}

// What can only be judged with the whole machine at hand.
bool CheckHardware(const Machine& m, std::string& error) {
  for (size_t i = 0; i < m.PciDevices.size(); ++i) {
    const PciDevice& d = m.PciDevices[i];
    char where[16];
    std::snprintf(where, sizeof where, "%02x:%02x.%x", d.Bus, d.Device, d.Function);
    if (d.VendorId == 0 || d.VendorId == 0xFFFF) {
      error = std::string("[PCI ") + where + "] needs a Vendor";
      return false;
    }
    for (size_t j = 0; j < i; ++j)
      if (m.PciDevices[j].Address() == d.Address()) {
        error = std::string("[PCI ") + where + "] is given twice";
        return false;
      }
    for (const PciBar& bar : d.Bars) {
      if (bar.Type != PciBar::Kind::Memory) continue;
      for (const PciDevice& other : m.PciDevices)
        for (const PciBar& o : other.Bars)
          // In 64 bits: a range at the top of the address space ends at 4 GB, which is 0 in 32.
          if (&o != &bar && o.Type == PciBar::Kind::Memory && bar.Base < uint64_t{o.Base} + o.Size &&
              o.Base < uint64_t{bar.Base} + bar.Size) {
            error = std::string("[PCI ") + where + "] has a memory range that overlaps another";
            return false;
          }
    }
  }
  for (const MemoryFault& f : m.Faults) {
    bool inMemory = MemoryBarAt(m, f.Address) != nullptr;
    if (f.Type == MemoryFault::Kind::StuckBit || f.Type == MemoryFault::Kind::FlakyByte) {
      if (!inMemory) {
        error = "[Faults] names an address outside every memory range of the PCI devices";
        return false;
      }
#if !defined(__x86_64__) && !defined(__i386__)
      error = "[Faults] stuck and flaky bytes need an x86 host";
      return false;
#endif
    }
  }
  return true;
}

// One key of the schema: parses its value into the machine, or says what is wrong with it.
using KeyReader = std::function<bool(const std::string& value, Machine& m)>;

const std::map<std::string, std::map<std::string, KeyReader>>& Schema() {
  static const std::map<std::string, std::map<std::string, KeyReader>> schema = {
      {"machine",
       {
           {"name", [](const std::string& v, Machine& m) { m.Name = v; return true; }},
           {"description", [](const std::string& v, Machine& m) { m.Description = v; return true; }},
       }},
      {"system",
       {
           {"windows",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "7") m.Windows = WindowsKind::Windows7;
              else if (w == "xp") m.Windows = WindowsKind::WindowsXP;
              else if (w == "pe") m.Windows = WindowsKind::WindowsPE;
              else return false;
              return true;
            }},
           {"administrator", [](const std::string& v, Machine& m) { return ParseBool(v, m.Administrator); }},
           {"wow64", [](const std::string& v, Machine& m) { return ParseBool(v, m.Wow64); }},
       }},
      {"clock",
       {
           {"mode",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "real") m.VirtualClock = false;
              else if (w == "virtual") m.VirtualClock = true;
              else return false;
              return true;
            }},
           {"starttick", [](const std::string& v, Machine& m) { return ParseUInt32(v, m.StartTick); }},
       }},
      {"files",
       {
           {"driveroot",
            [](const std::string& v, Machine& m) {
              if (v.empty()) return false;
              m.DriveRoot = v;
              return true;
            }},
           {"writeprotected", [](const std::string& v, Machine& m) { return ParseBool(v, m.WriteProtected); }},
       }},
      {"operator",
       {
           {"script",
            [](const std::string& v, Machine& m) {
              m.OperatorScript = v;
              return true;
            }},
       }},
      {"driver",
       {
           {"service",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "absent") m.DriverService = ServiceState::Absent;
              else if (w == "stopped") m.DriverService = ServiceState::Stopped;
              else if (w == "running") m.DriverService = ServiceState::Running;
              else if (w == "unstartable") m.DriverService = ServiceState::Unstartable;
              else return false;
              return true;
            }},
           {"mapmilliseconds", [](const std::string& v, Machine& m) { return ParseNumber(v, m.MapMilliseconds); }},
       }},
      {"video",
       {
           {"decodemilliseconds",
            [](const std::string& v, Machine& m) { return ParseNumber(v, m.DecodeMilliseconds); }},
           {"renderer", [](const std::string& v, Machine& m) { return ParseBool(v, m.VideoRenderer); }},
       }},
      {"direct3d",
       {
           {"runtime", [](const std::string& v, Machine& m) { return ParseBool(v, m.Direct3DRuntime); }},
           {"fails",
            [](const std::string& v, Machine& m) {
              m.FailingDirect3DCalls = 0;
              for (const std::string& call : SplitList(v)) {
                const std::string w = Lower(call);
                if (w == "createdevice") m.FailingDirect3DCalls |= D3dCallCreateDevice;
                else if (w == "createtexture") m.FailingDirect3DCalls |= D3dCallCreateTexture;
                else if (w == "present") m.FailingDirect3DCalls |= D3dCallPresent;
                else return false;
              }
              return true;
            }},
           {"framescomplete",
            [](const std::string& v, Machine& m) { return ParseBool(v, m.Direct3DFramesComplete); }},
       }},
      {"bios",
       {
           {"boardidfrom",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "none") m.BoardIdFrom = BoardIdSource::None;
              else if (w == "eisa") m.BoardIdFrom = BoardIdSource::Eisa;
              else if (w == "int15") m.BoardIdFrom = BoardIdSource::Int15;
              else return false;
              return true;
            }},
           {"boardid", [](const std::string& v, Machine& m) { return ParseLimited(v, 0x7FFF, m.BoardId); }},
       }},
      {"power",
       {
           {"videotimeout", [](const std::string& v, Machine& m) { return ParseUInt32(v, m.Power.VideoTimeout); }},
           {"policyfails",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "none") m.Power.Fails = PowerSettings::Failing::None;
              else if (w == "read") m.Power.Fails = PowerSettings::Failing::Read;
              else if (w == "write") m.Power.Fails = PowerSettings::Failing::Write;
              else return false;
              return true;
            }},
           {"monitorblanks", [](const std::string& v, Machine& m) { return ParseBool(v, m.Power.MonitorBlanks); }},
           {"policyfile",
            [](const std::string& v, Machine& m) {
              m.Power.PolicyFile = v;
              return !v.empty();
            }},
       }},
      {"rotation",
       {
           {"turn",
            [](const std::string& v, Machine& m) {
              std::string w = Lower(v);
              if (w == "swap") m.Rotation.Turn = RotationSettings::Kind::Swap;
              else if (w == "none") m.Rotation.Turn = RotationSettings::Kind::None;
              else if (w == "depth") m.Rotation.Turn = RotationSettings::Kind::Depth;
              else if (ParseModeSize(w, m.Rotation.Portrait)) m.Rotation.Turn = RotationSettings::Kind::Mode;
              else return false;
              return true;
            }},
       }},
  };
  return schema;
}

// Each display adapter is a card on PCI: the one its Pci key names, else the display controllers
// in bus order. Its adapter path (display configuration) holds the card's instance id, as the
// device tree and the management class give it.
bool LinkAdaptersToCards(Machine& machine, std::string& error) {
  std::vector<const PciDevice*> cards;
  for (const PciDevice& device : machine.PciDevices)
    if ((device.ClassCode >> 16) == 0x03 && device.DisplayDriver) cards.push_back(&device);
  size_t next = 0;
  int number = 0;
  for (AdapterConfig& adapter : machine.Display.Adapters) {
    if (adapter.Kind != AdapterKind::Adapter) continue;
    ++number;
    const PciDevice* card = nullptr;
    if (!adapter.PciFunction.empty()) {
      for (const PciDevice& device : machine.PciDevices) {
        char name[16];
        std::snprintf(name, sizeof name, "%02x:%02x.%x", device.Bus, device.Device, device.Function);
        if (adapter.PciFunction == name) card = &device;
      }
      if (card == nullptr) return error = "a [display.N] Pci=" + adapter.PciFunction + " names no [PCI bb:dd.f]", false;
    } else if (next < cards.size()) {
      card = cards[next++];
    }
    // Without a card on PCI the adapter still needs an id of its own.
    adapter.InstanceId = card != nullptr ? PciInstanceId(*card) : adapter.DeviceId + "\\0&0&0&" + std::to_string(number);
  }
  return true;
}

}  // namespace

bool ParseMachineText(const std::string& text, MachineText& out, std::string& error) {
  out.Sections.clear();
  std::istringstream in(text);
  std::string raw;
  std::string section;
  int lineNumber = 0;
  while (std::getline(in, raw)) {
    ++lineNumber;
    std::string line = Strip(raw);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line[0] == '[') {
      if (line.back() != ']' || line.size() < 3) {
        error = "line " + std::to_string(lineNumber) + ": malformed section header '" + line + "'";
        return false;
      }
      section = Lower(Strip(line.substr(1, line.size() - 2)));
      if (out.Sections.count(section)) {
        error = "line " + std::to_string(lineNumber) + ": section [" + section + "] appears twice";
        return false;
      }
      out.Sections[section];
      continue;
    }
    size_t eq = line.find('=');
    if (eq == std::string::npos || eq == 0) {
      error = "line " + std::to_string(lineNumber) + ": expected key=value, found '" + line + "'";
      return false;
    }
    if (section.empty()) {
      error = "line " + std::to_string(lineNumber) + ": key outside any section";
      return false;
    }
    std::string key = Lower(Strip(line.substr(0, eq)));
    auto& keys = out.Sections[section];
    if (keys.count(key)) {
      error = "line " + std::to_string(lineNumber) + ": key '" + key + "' given twice in [" + section + "]";
      return false;
    }
    keys[key] = {Strip(line.substr(eq + 1)), lineNumber};
  }
  return true;
}

bool BuildMachine(const MachineText& text, Machine& out, std::string& error) {
  Machine machine;
  const auto& schema = Schema();
  for (const auto& [section, keys] : text.Sections) {
    PciDevice device;
    if (ParseDeviceSection(section, device)) {
      const auto& deviceSchema = DeviceSchema();
      for (const auto& [key, entry] : keys) {
        auto reader = deviceSchema.find(key);
        if (reader == deviceSchema.end()) {
          error = "line " + std::to_string(entry.Line) + ": unknown key '" + key + "' in [" + section + "]";
          return false;
        }
        if (!reader->second(entry.Value, device)) {
          error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
                  section + "]";
          return false;
        }
      }
      if (device.Description.empty()) device.Description = "PCI standard device";
      machine.PciDevices.push_back(device);
      continue;
    }
    if (section == "faults" || section == "events") {
      for (const auto& [key, entry] : keys) {
        bool known = section == "faults" ? IsKnownFaultKey(key) : IsKnownEventKey(key);
        if (!known) {
          error = "line " + std::to_string(entry.Line) + ": unknown key '" + key + "' in [" + section + "]";
          return false;
        }
        bool good = false;
        if (section == "faults") {
          MemoryFault fault;
          good = ParseFault(key, entry.Value, fault);
          if (good) machine.Faults.push_back(fault);
        } else {
          MapEvent event;
          good = ParseEvent(key, entry.Value, event);
          if (good) machine.Events.push_back(event);
        }
        if (!good) {
          error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
                  section + "]";
          return false;
        }
      }
      continue;
    }
    // Displays and management data are checked by their own builders below.
    if (IsDisplaySection(section) || IsManagementSection(section)) continue;
    auto known = schema.find(section);
    if (known == schema.end()) {
      error = "unknown section [" + section + "]";
      return false;
    }
    for (const auto& [key, entry] : keys) {
      auto reader = known->second.find(key);
      if (reader == known->second.end()) {
        error = "line " + std::to_string(entry.Line) + ": unknown key '" + key + "' in [" + section + "]";
        return false;
      }
      if (!reader->second(entry.Value, machine)) {
        error = "line " + std::to_string(entry.Line) + ": bad value '" + entry.Value + "' for '" + key + "' in [" +
                section + "]";
        return false;
      }
    }
  }
  std::sort(machine.PciDevices.begin(), machine.PciDevices.end(),
            [](const PciDevice& a, const PciDevice& b) { return a.Address() < b.Address(); });
  if (!CheckHardware(machine, error)) return false;
  if (!BuildDisplayConfig(text, machine.Display, error)) return false;
  // The built-in display is the machine's display controller: the display device, the device
  // tree and the management class give it one name.
  const bool displaysGiven = std::any_of(text.Sections.begin(), text.Sections.end(),
                                         [](const auto& section) { return section.first.rfind("display.", 0) == 0; });
  if (!displaysGiven)
    for (const PciDevice& device : machine.PciDevices)
      if ((device.ClassCode >> 16) == 0x03 && device.DisplayDriver) {
        machine.Display.Adapters[0].Description = device.Description;
        break;
      }
  if (!LinkAdaptersToCards(machine, error)) return false;
  out = machine;
  return true;
}

bool LoadMachine(std::string& error) {
  const EnvironmentSettings& settings = Environment();
  std::string text = DefaultMachineText();
  std::string source = "built-in machine";
  std::string folder;
  if (!settings.MachineFile.empty()) {
    const std::string& path = settings.MachineFile;
    std::string reason;
    if (!ReadHostFile(path, kMaxMachineFileSize, text, reason)) {
      error = "cannot read machine file '" + path + "': " + reason;
      return false;
    }
    source = "machine file '" + path + "'";
    const size_t slash = path.rfind('/');
    folder = slash == std::string::npos ? std::string(".") : path.substr(0, slash);
  }
  MachineText parsed;
  Machine machine;
  ManagementModel management;
  if (!ParseMachineText(text, parsed, error) || !BuildMachine(parsed, machine, error) ||
      !BuildManagementFromText(parsed, folder, management, error)) {
    error = source + ", " + error;
    return false;
  }
  SetCurrentManagement(management);
  // A relative drive root is taken from the machine file's folder, so that a test can keep a
  // whole simulated drive beside its machine file.
  if (!folder.empty() && machine.DriveRoot[0] != '/') machine.DriveRoot = folder + "/" + machine.DriveRoot;
  if (!folder.empty() && !machine.Power.PolicyFile.empty() && machine.Power.PolicyFile[0] != '/')
    machine.Power.PolicyFile = folder + "/" + machine.Power.PolicyFile;
  if (!folder.empty() && !machine.Display.StateFile.empty() && machine.Display.StateFile[0] != '/')
    machine.Display.StateFile = folder + "/" + machine.Display.StateFile;
  if (!folder.empty() && !machine.Display.ModeFile.empty() && machine.Display.ModeFile[0] != '/')
    machine.Display.ModeFile = folder + "/" + machine.Display.ModeFile;
  if (!settings.Clock.empty()) {
    const std::string mode = Lower(settings.Clock);
    if (mode == "virtual") machine.VirtualClock = true;
    else if (mode == "real") machine.VirtualClock = false;
    else {
      error = "RASTERSCAN_CLOCK must be 'virtual' or 'real', not '" + settings.Clock + "'";
      return false;
    }
  }
  SetCurrentMachine(machine);
  // One operator: the environment's when it names one, else the machine file's. A script that
  // cannot be read stops the program here, before anything runs.
  if (!settings.Operator.empty()) {
    std::string script;
    if (!ReadOperatorScript(settings.Operator, script, error) || !SetOperatorScript(script, error)) {
      error = "RASTERSCAN_OPERATOR: " + error;
      return false;
    }
  } else if (!SetOperatorScript(machine.OperatorScript, error)) {
    error = source + ", [operator] script: " + error;
    return false;
  }
  return true;
}

namespace {
uint32_t generation = 0;
}  // namespace

const Machine& CurrentMachine() { return Current(); }

void SetCurrentMachine(const Machine& machine) {
  Current() = machine;
  ++generation;
  SetDisplayConfig(machine.Display);
}

uint32_t MachineGeneration() { return generation; }

}  // namespace sim
}  // namespace platform
