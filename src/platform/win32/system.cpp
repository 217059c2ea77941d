#include "platform/system.h"

#include <windows.h>

#include <direct.h>

namespace platform {

bool RegOpenKeyForRead(RegistryRoot root, const std::string& subKey) {
  HKEY hive = root == RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
  HKEY key = nullptr;
  if (::RegOpenKeyExA(hive, subKey.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  ::RegCloseKey(key);
  return true;
}

bool GetOsVersion(OsVersionInfo& info, bool extended) {
  info = OsVersionInfo{};
  OSVERSIONINFOEXA ex{};
  ex.dwOSVersionInfoSize = extended ? sizeof(OSVERSIONINFOEXA) : sizeof(OSVERSIONINFOA);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
  BOOL ok = ::GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&ex));
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
  if (!ok) return false;
  info.MajorVersion = ex.dwMajorVersion;
  info.MinorVersion = ex.dwMinorVersion;
  info.BuildNumber = ex.dwBuildNumber;
  info.PlatformId = ex.dwPlatformId;
  info.CsdVersion = ex.szCSDVersion;
  return true;
}

bool IsWow64Process() {
  // Looked up by name: IsWow64Process is missing from the oldest systems the program meets.
  using Query = BOOL(WINAPI*)(HANDLE, PBOOL);
  HMODULE kernel = ::GetModuleHandleA("kernel32");
  if (!kernel) return false;
  auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(::GetProcAddress(kernel, "IsWow64Process")));
  BOOL wow64 = FALSE;
  return query && query(::GetCurrentProcess(), &wow64) && wow64;
}

std::string GetModulePathName() {
  char buffer[MAX_PATH] = {};
  DWORD length = ::GetModuleFileNameA(nullptr, buffer, MAX_PATH - 1);
  return std::string(buffer, length);
}

uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }

std::string GetCwd() {
  char buffer[260];
  if (!::_getcwd(buffer, sizeof buffer)) return "";
  return buffer;
}

}  // namespace platform
