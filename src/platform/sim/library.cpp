// Libraries loaded by name are shared objects of the host. A library that the program loads may
// call the platform back (the program exports its platform calls), so it draws on this machine.
#include "platform/library.h"

#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "platform/files.h"
#include "platform/handles.h"
#include "platform/sim/host_module.h"

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

}  // namespace sim

HModule LoadLibraryA(const char* name) {
  if (name == nullptr || *name == '\0') {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  std::string path = ResolvePath(name);
  // A path without a folder would send dlopen through the host's search list.
  if (path.find('/') == std::string::npos) path = "./" + path;
  std::string error;
  void* module = sim::OpenHostModule(path, error);
  if (module == nullptr) {
    // Present but not loadable is worth a word; absent is the common case and says nothing.
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
      std::fclose(file);
      std::fprintf(stderr, "LoadLibrary: %s\n", error.c_str());
    }
    SetLastError(ErrorModNotFound);
    return 0;
  }
  return reinterpret_cast<HModule>(module);
}

void* GetProcAddress(HModule module, const char* name) {
  if (module == 0 || name == nullptr) return nullptr;
  return dlsym(reinterpret_cast<void*>(module), name);
}

bool FreeLibrary(HModule module) {
  if (module == 0) return false;
  return dlclose(reinterpret_cast<void*>(module)) == 0;
}

}  // namespace platform
