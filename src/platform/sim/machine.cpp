#include "platform/sim/machine.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

namespace platform {
namespace sim {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Strip(const std::string& text) {
  const char* blanks = " \t\r";
  size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return "";
  size_t last = text.find_last_not_of(blanks);
  return text.substr(first, last - first + 1);
}

Machine& Current() {
  static Machine machine;
  return machine;
}

bool ParseBool(const std::string& value, bool& out) {
  std::string v = Lower(value);
  if (v == "true" || v == "yes" || v == "1") {
    out = true;
    return true;
  }
  if (v == "false" || v == "no" || v == "0") {
    out = false;
    return true;
  }
  return false;
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
       }},
  };
  return schema;
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
  out = machine;
  return true;
}

bool LoadMachine(std::string& error) {
  std::string text = DefaultMachineText();
  std::string source = "built-in machine";
  if (const char* path = std::getenv("RASTERSCAN_MACHINE"); path && *path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      error = std::string("cannot read machine file '") + path + "'";
      return false;
    }
    std::ostringstream content;
    content << file.rdbuf();
    text = content.str();
    source = std::string("machine file '") + path + "'";
  }
  MachineText parsed;
  Machine machine;
  if (!ParseMachineText(text, parsed, error) || !BuildMachine(parsed, machine, error)) {
    error = source + ", " + error;
    return false;
  }
  // A relative drive root is taken from the machine file's folder, so that a test can keep a
  // whole simulated drive beside its machine file.
  if (source != "built-in machine" && machine.DriveRoot[0] != '/') {
    std::string path = std::getenv("RASTERSCAN_MACHINE");
    size_t slash = path.rfind('/');
    machine.DriveRoot = (slash == std::string::npos ? std::string(".") : path.substr(0, slash)) + "/" + machine.DriveRoot;
  }
  if (const char* clock = std::getenv("RASTERSCAN_CLOCK"); clock && *clock) {
    std::string mode = Lower(clock);
    if (mode == "virtual") machine.VirtualClock = true;
    else if (mode == "real") machine.VirtualClock = false;
    else {
      error = std::string("RASTERSCAN_CLOCK must be 'virtual' or 'real', not '") + clock + "'";
      return false;
    }
  }
  Current() = machine;
  return true;
}

const Machine& CurrentMachine() { return Current(); }

void SetCurrentMachine(const Machine& machine) { Current() = machine; }

}  // namespace sim
}  // namespace platform
