// GetFileAttributesA: whether a path names a file or folder, with Windows path rules.
#pragma once

#include <cstdint>

namespace platform {

constexpr uint32_t InvalidFileAttributes = 0xFFFFFFFF;  // INVALID_FILE_ATTRIBUTES
constexpr uint32_t FileAttributeDirectory = 0x10;
constexpr uint32_t FileAttributeNormal = 0x80;

// The attribute bits of the file or folder, InvalidFileAttributes when there is none. A path that
// ends in "\" names a folder only.
uint32_t GetFileAttributesA(const char* path);

}  // namespace platform
