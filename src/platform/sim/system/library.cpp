// Libraries loaded by name are shared objects of the host. A library that the program loads may
// call the platform back (the program exports its platform calls), so it draws on this machine.
#include "platform/library.h"

#include <dlfcn.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/files.h"
#include "platform/handles.h"
#include "platform/sim/display/display_paths.h"
#include "platform/sim/system/host_module.h"
#include "platform/sim/machine.h"

namespace platform {
namespace sim {

void* OpenHostModule(const std::string& hostPath, std::string& error) {
  void* module = dlopen(hostPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : hostPath;
  }
  return module;
}

namespace {

// The system's own "user32.dll": its display configuration calls, which Windows 7 has and
// Windows XP does not. The handle is no host module's address.
const HModule kUser32 = 0x7E410000;

bool IsUser32(const char* name) {
  std::string lowered(name);
  for (char& c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lowered == "user32.dll" || lowered == "user32";
}

void* User32Export(const char* name) {
  if (CurrentMachine().Windows == WindowsKind::WindowsXP) return nullptr;
  if (std::strcmp(name, "GetDisplayConfigBufferSizes") == 0) return reinterpret_cast<void*>(&GetDisplayConfigBufferSizes);
  if (std::strcmp(name, "QueryDisplayConfig") == 0) return reinterpret_cast<void*>(&QueryDisplayConfig);
  if (std::strcmp(name, "DisplayConfigGetDeviceInfo") == 0) return reinterpret_cast<void*>(&DisplayConfigGetDeviceInfo);
  if (std::strcmp(name, "SetDisplayConfig") == 0) return reinterpret_cast<void*>(&SetDisplayConfig);
  return nullptr;
}

}  // namespace
}  // namespace sim

HModule LoadLibraryA(const char* name) {
  if (name == nullptr || *name == '\0') {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (sim::IsUser32(name)) return sim::kUser32;
  std::string path = ResolvePath(name);
  // A path without a folder would send dlopen through the host's search list.
  if (path.find('/') == std::string::npos) path = "./" + path;
  std::string error;
  void* module = sim::OpenHostModule(path, error);
  if (module == nullptr) {
    // Present but not loadable is worth a word; absent is the common case and says nothing.
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
      std::fclose(file);
      std::fprintf(stderr, "error: LoadLibrary: %s\n", error.c_str());
    }
    SetLastError(ErrorModNotFound);
    return 0;
  }
  return reinterpret_cast<HModule>(module);
}

void* GetProcAddress(HModule module, const char* name) {
  if (module == 0 || name == nullptr) return nullptr;
  if (module == sim::kUser32) return sim::User32Export(name);
  return dlsym(reinterpret_cast<void*>(module), name);
}

bool FreeLibrary(HModule module) {
  if (module == 0) return false;
  if (module == sim::kUser32) return true;
  return dlclose(reinterpret_cast<void*>(module)) == 0;
}

}  // namespace platform
