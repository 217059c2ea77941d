#include "text/IniFile.h"

#include <cstdint>

#include "platform/profile.h"
#include "text/TextHelpers.h"

namespace {

constexpr uint32_t kValueBuffer = 255;
constexpr uint32_t kSectionBuffer = 8196;
const char kFallbackSection[] = "en_US";
const wchar_t kWideFallbackSection[] = L"en_US";

}  // namespace

WIniFile::WIniFile(const std::wstring& path) : fileName(path), exists(FileExists(Narrow(path))) {}

std::wstring WIniFile::GetValue(const std::wstring& section, const std::wstring& key) const {
  if (!exists) return std::wstring();
  wchar_t buffer[kValueBuffer] = {};
  platform::GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", buffer, kValueBuffer, fileName.c_str());
  if (buffer[0] == 0)
    platform::GetPrivateProfileStringW(kWideFallbackSection, key.c_str(), L"", buffer, kValueBuffer,
                                       fileName.c_str());
  return buffer;
}

IniFile::IniFile(const std::string& path) : fileName(path), exists(FileExists(path)) {}

std::string IniFile::GetValue(const std::string& section, const std::string& key,
                              const std::string& defaultValue) const {
  if (!exists) return std::string();
  char buffer[kValueBuffer] = {};
  if (platform::GetPrivateProfileStringA(section.c_str(), key.c_str(), defaultValue.c_str(), buffer, kValueBuffer,
                                         fileName.c_str()) == 0)
    platform::GetPrivateProfileStringA(kFallbackSection, key.c_str(), defaultValue.c_str(), buffer, kValueBuffer,
                                       fileName.c_str());
  return buffer;
}

std::string IniFile::GetValue(const std::string& section, const std::string& key) const {
  return GetValue(section, key, std::string());
}

std::string IniFile::GetSectionText(const std::string& section, const std::string& defaultValue) {
  char buffer[kSectionBuffer] = {};
  const uint32_t count = platform::GetPrivateProfileSectionA(section.c_str(), buffer, kSectionBuffer, fileName.c_str());
  if (count == 0) return defaultValue;
  for (uint32_t i = 0; i < count; ++i)
    if (buffer[i] == 0) buffer[i] = '\n';
  exists = true;
  return buffer;
}

bool IniFile::SetValue(const std::string& section, const std::string& key, const std::string& value) {
  const bool written = platform::WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), fileName.c_str());
  exists = true;
  return written;
}
