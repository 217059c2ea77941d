#include "platform/library.h"

#include <windows.h>

namespace platform {

HModule LoadLibraryA(const char* name) { return reinterpret_cast<HModule>(::LoadLibraryA(name)); }

void* GetProcAddress(HModule module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

bool FreeLibrary(HModule module) { return ::FreeLibrary(reinterpret_cast<HMODULE>(module)) != 0; }

}  // namespace platform
