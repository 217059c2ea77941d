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
  // A file that another process is reading cannot be replaced until it lets go; readers of the
  // program's files hold them for moments only, so the move is tried again for up to a second.
  DWORD error = ERROR_SUCCESS;
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED && error != ERROR_LOCK_VIOLATION) break;
    Sleep(20);
  }
  // The C library's reasons are what the program reports.
  errno = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ? EACCES
          : error == ERROR_DISK_FULL                                        ? ENOSPC
                                                                            : EIO;
  return false;
}

bool RemoveFile(const std::string& path) { return ::DeleteFileA(path.c_str()) != 0; }

std::string ResolvePath(const std::string& path) { return path; }

}  // namespace platform
