#include "platform/file_attributes.h"

#include <sys/stat.h>

#include <string>

#include "platform/files.h"

namespace platform {

uint32_t GetFileAttributesA(const char* path) {
  if (path == nullptr || *path == '\0') return InvalidFileAttributes;
  // A trailing separator survives ResolvePath, so stat refuses a plain file there, as Windows does.
  struct stat info {};
  if (stat(ResolvePath(path).c_str(), &info) != 0) return InvalidFileAttributes;
  return S_ISDIR(info.st_mode) ? FileAttributeDirectory : FileAttributeNormal;
}

}  // namespace platform
