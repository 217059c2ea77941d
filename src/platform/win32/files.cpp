#include "platform/files.h"

namespace platform {

std::FILE* OpenFile(const std::string& path, const char* mode) {
  if (path.empty()) return nullptr;
  return std::fopen(path.c_str(), mode);
}

std::string ResolvePath(const std::string& path) { return path; }

}  // namespace platform
