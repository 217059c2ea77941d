#include "platform/fullpath.h"

#include <windows.h>

namespace platform {

uint32_t GetFullPathNameA(const char* path, uint32_t size, char* buffer) {
  return ::GetFullPathNameA(path, size, buffer, nullptr);
}

}  // namespace platform
