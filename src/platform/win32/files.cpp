#include "platform/files.h"

#include <windows.h>

#include <cerrno>
#include <io.h>

namespace platform {

std::FILE* OpenFile(const std::string& path, const char* mode) {
  if (path.empty()) return nullptr;
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return nullptr;
  // A device, a pipe or the console is no file of the program's.
  if (GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)))) != FILE_TYPE_DISK) {
    std::fclose(file);
    errno = EINVAL;
    return nullptr;
  }
  return file;
}

std::string ResolvePath(const std::string& path) { return path; }

}  // namespace platform
