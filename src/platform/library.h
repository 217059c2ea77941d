// Loading a library by name: one call here for LoadLibraryA, GetProcAddress and FreeLibrary.
#pragma once

#include <cstdint>

namespace platform {

using HModule = uintptr_t;  // HMODULE, 0 when the library did not load

// On Windows the system's search order; in the sim the name is a path by Windows rules (a bare name
// is in the working directory, found whatever its case). Loading a library that is loaded already
// gives the same module and counts one more use of it.
HModule LoadLibraryA(const char* name);
// The export's address, or null when the module has no export of that name.
void* GetProcAddress(HModule module, const char* name);
// One use fewer; the library goes when the last is given back.
bool FreeLibrary(HModule module);

}  // namespace platform
