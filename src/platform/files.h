// File access with Windows path rules.
#pragma once

#include <cstdio>
#include <string>

namespace platform {

// fopen of a Windows path. "\" and "/" both separate, "\name" and "C:\name" start at the root of
// the drive, ".\name" and "name" at the working directory. In the sim an existing file or folder
// is found whatever the case of its name.
std::FILE* OpenFile(const std::string& path, const char* mode);

// The path the operating system sees for a Windows path (in the sim: the host path).
std::string ResolvePath(const std::string& path);

}  // namespace platform
