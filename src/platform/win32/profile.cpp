#include "platform/profile.h"

#include <windows.h>

namespace platform {

uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* defaultValue, char* buffer,
                                  uint32_t size, const char* fileName) {
  return ::GetPrivateProfileStringA(section, key, defaultValue, buffer, size, fileName);
}

uint32_t GetPrivateProfileStringW(const wchar_t* section, const wchar_t* key, const wchar_t* defaultValue,
                                  wchar_t* buffer, uint32_t size, const wchar_t* fileName) {
  return ::GetPrivateProfileStringW(section, key, defaultValue, buffer, size, fileName);
}

uint32_t GetPrivateProfileSectionA(const char* section, char* buffer, uint32_t size, const char* fileName) {
  return ::GetPrivateProfileSectionA(section, buffer, size, fileName);
}

uint32_t GetPrivateProfileSectionNamesA(char* buffer, uint32_t size, const char* fileName) {
  return ::GetPrivateProfileSectionNamesA(buffer, size, fileName);
}

bool WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* fileName) {
  return ::WritePrivateProfileStringA(section, key, value, fileName) != FALSE;
}

bool WritePrivateProfileStructA(const char* section, const char* key, const void* data, uint32_t size,
                                const char* fileName) {
  // The Windows prototype takes a non-const pointer but only reads through it.
  return ::WritePrivateProfileStructA(section, key, const_cast<void*>(data), size, fileName) != FALSE;
}

}  // namespace platform
