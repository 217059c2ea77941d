// d3dim9.dll, the rendering library beside the program, as the subtests that drive it load it.
#pragma once

#include <cstdint>
#include <string>

#include "platform/library.h"

constexpr char kRenderingLibrary[] = "d3dim9.dll";

using LibraryCall = int32_t (*)();
using LibraryCallWith = int32_t (*)(int32_t);

template <typename F>
F LibraryExport(platform::HModule library, const char* name) {
  return reinterpret_cast<F>(platform::GetProcAddress(library, name));
}

// Gives the library back when a launch result raises.
struct LoadedLibrary {
  platform::HModule Module = 0;
  ~LoadedLibrary() {
    if (Module != 0) platform::FreeLibrary(Module);
  }
};

inline int32_t LowByte(int32_t value) { return value & 0xFF; }

// The library, its helpers and its pictures that are not in the working directory, joined by commas.
std::string MissingRenderingFiles();

// What LaunchD3DIM9Test's result means: -1 and -2 (the library failed to start or to run the
// scene) are logged and raised as 990669 and 990670; -3 (the scene did not end as it should)
// becomes -2; anything else is the outcome itself.
int32_t LaunchOutcome(int32_t result);
