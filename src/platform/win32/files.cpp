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

bool MoveFileReplacing(const std::string& from, const std::string& to) {
  if (MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
  // The C library's reasons are what the program reports.
  errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : GetLastError() == ERROR_DISK_FULL ? ENOSPC : EIO;
  return false;
}

bool RemoveFile(const std::string& path) { return ::DeleteFileA(path.c_str()) != 0; }

std::string ResolvePath(const std::string& path) { return path; }

}  // namespace platform
