// System facts: registry probes, Windows version, process and environment.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

enum class RegistryRoot { LocalMachine, CurrentUser };

// RegOpenKeyExA for reading, closed again at once: true when the key exists and opens.
bool RegOpenKeyForRead(RegistryRoot root, const std::string& subKey);

constexpr uint32_t VerPlatformWin32Windows = 1;
constexpr uint32_t VerPlatformWin32Nt = 2;

struct OsVersionInfo {
  uint32_t MajorVersion = 0;
  uint32_t MinorVersion = 0;
  uint32_t BuildNumber = 0;
  uint32_t PlatformId = 0;
  std::string CsdVersion;
};

// GetVersionExA with OSVERSIONINFOEXA when `extended`, else with OSVERSIONINFOA.
bool GetOsVersion(OsVersionInfo& info, bool extended);

// IsWow64Process of the current process: a 32-bit program on 64-bit Windows.
bool IsWow64Process();

// GetModuleFileNameA of the program itself, empty on failure.
std::string GetModulePathName();

// GetCurrentProcessId.
uint32_t GetCurrentProcessId();

// _getcwd; empty on failure.
std::string GetCwd();

// getenv; false when the variable is not set.
bool GetEnv(const std::string& name, std::string& value);

}  // namespace platform
