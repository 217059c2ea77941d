#include "platform/file_attributes.h"

#include <windows.h>

namespace platform {

uint32_t GetFileAttributesA(const char* path) { return ::GetFileAttributesA(path); }

}  // namespace platform
