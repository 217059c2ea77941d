// GetFullPathNameA: the absolute Windows form of a path.
#pragma once

#include <cstdint>

namespace platform {

// Writes the full path ("C:\dir\name", separators as "\", "." and ".." resolved) and returns its
// length; when it does not fit, writes nothing and returns the size needed with the terminator.
// In the sim a relative path is taken from the working directory, seen from the drive root.
uint32_t GetFullPathNameA(const char* path, uint32_t size, char* buffer);

}  // namespace platform
