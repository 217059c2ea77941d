// File access with Windows path rules.
#pragma once

#include <cstdio>
#include <string>

namespace platform {

// fopen of a Windows path. "\" and "/" both separate, "\name" and "C:\name" start at the root of
// the drive, ".\name" and "name" at the working directory. In the sim an existing file or folder
// is found whatever the case of its name. Only files on a disk are opened: a folder (EISDIR), a
// device, a pipe or a console (EINVAL) is refused, without waiting for a pipe's other end.
std::FILE* OpenFile(const std::string& path, const char* mode);

// No text the program reads (settings, port lists, catalogues, control files) comes near this
// size; a larger file is refused unread, as one that cannot be read (EFBIG).
constexpr long MaxTextFileBytes = 8L << 20;

// MoveFileExA with MOVEFILE_REPLACE_EXISTING: `from` takes the place of `to`, in one step when
// both are in one folder. Windows paths.
bool MoveFileReplacing(const std::string& from, const std::string& to);
// DeleteFileA of a Windows path.
bool RemoveFile(const std::string& path);

// The path the operating system sees for a Windows path (in the sim: the host path).
std::string ResolvePath(const std::string& path);

}  // namespace platform
