#include "platform/system.h"

#include <climits>
#include <set>

#include <unistd.h>

#include "platform/sim/machine.h"
#include "platform/sim/text_util.h"

namespace platform {

namespace {

using sim::Lower;

}  // namespace

bool RegOpenKeyForRead(RegistryRoot root, const std::string& subKey) {
  // The sim's registry holds only the keys that the machine's kind of Windows implies.
  std::string key = Lower(subKey);
  while (!key.empty() && key.back() == '\\') key.pop_back();
  if (root != RegistryRoot::LocalMachine) return false;
  std::set<std::string> keys = {"software", "system", "system\\controlset001", "system\\controlset001\\control"};
  if (sim::CurrentMachine().Windows == sim::WindowsKind::WindowsPE) keys.insert("system\\controlset001\\control\\minint");
  return keys.count(key) != 0;
}

bool GetOsVersion(OsVersionInfo& info, bool /*extended*/) {
  info = OsVersionInfo{};
  info.PlatformId = VerPlatformWin32Nt;
  switch (sim::CurrentMachine().Windows) {
    case sim::WindowsKind::Windows7:
      info.MajorVersion = 6, info.MinorVersion = 1, info.BuildNumber = 7601, info.CsdVersion = "Service Pack 1";
      break;
    case sim::WindowsKind::WindowsXP:
      info.MajorVersion = 5, info.MinorVersion = 1, info.BuildNumber = 2600, info.CsdVersion = "Service Pack 3";
      break;
    case sim::WindowsKind::WindowsPE:
      // Windows PE 3.1, built on Windows 7.
      info.MajorVersion = 6, info.MinorVersion = 1, info.BuildNumber = 7601;
      break;
  }
  return true;
}

bool IsWow64Process() { return sim::CurrentMachine().Wow64; }

std::string GetModulePathName() {
  char buffer[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return "";
  return std::string(buffer, static_cast<size_t>(length));
}

uint32_t GetCurrentProcessId() { return static_cast<uint32_t>(getpid()); }

std::string GetCwd() {
  char buffer[PATH_MAX];
  if (!getcwd(buffer, sizeof buffer)) return "";
  return buffer;
}

}  // namespace platform
