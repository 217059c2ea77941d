#include "platform/fullpath.h"

#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "platform/sim/machine.h"
#include "platform/system.h"

namespace platform {

namespace {

// The working directory in Windows form: its place below the drive root, on drive C.
std::string WindowsWorkingDirectory() {
  std::string cwd = GetCwd();
  std::string root = sim::CurrentMachine().DriveRoot;
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  if (root != "/" && cwd.compare(0, root.size(), root) == 0 && (cwd.size() == root.size() || cwd[root.size()] == '/'))
    cwd.erase(0, root.size());
  std::string result = "C:";
  for (char c : cwd) result += c == '/' ? '\\' : c;
  if (result.size() == 2) result += '\\';
  return result;
}

}  // namespace

uint32_t GetFullPathNameA(const char* path, uint32_t size, char* buffer) {
  if (!path || !*path) return 0;
  std::string p = path;
  for (char& c : p)
    if (c == '/') c = '\\';
  std::string drive;
  std::string rest;
  if (p.size() >= 2 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':') {
    drive = p.substr(0, 2);
    rest = p.substr(2);
    if (rest.empty() || rest[0] != '\\') rest = "\\" + rest;  // "C:name": taken from the root here
  } else if (p[0] == '\\') {
    drive = "C:";
    rest = p;
  } else {
    std::string cwd = WindowsWorkingDirectory();
    drive = cwd.substr(0, 2);
    rest = cwd.substr(2) + "\\" + p;
  }
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= rest.size()) {
    size_t end = rest.find('\\', start);
    if (end == std::string::npos) end = rest.size();
    std::string part = rest.substr(start, end - start);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::string full = drive;
  for (const auto& part : parts) full += "\\" + part;
  if (parts.empty() || (rest.size() > 1 && rest.back() == '\\')) full += '\\';
  const auto length = static_cast<uint32_t>(full.size());
  if (!buffer || size <= length) return length + 1;
  std::memcpy(buffer, full.c_str(), full.size() + 1);
  return length;
}

}  // namespace platform
