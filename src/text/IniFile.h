// INI files read through the platform's private-profile calls: the file is read at each lookup and
// nothing of it is kept. What these classes add is a remembered check that the file exists, fixed
// buffers, and a second try in section "en_US".
#pragma once

#include <string>

// Wide-text reader.
class WIniFile {
 public:
  WIniFile() = default;
  explicit WIniFile(const std::wstring& path);
  virtual ~WIniFile() = default;

  bool Exists() const { return exists; }
  // The value, cut to 254 characters; from section "en_US" when the asked section gives nothing.
  // Empty, without touching the file, when the file did not exist at construction.
  std::wstring GetValue(const std::wstring& section, const std::wstring& key) const;

 private:
  std::wstring fileName;
  bool exists = false;
};

// 8-bit-text reader and writer.
class IniFile {
 public:
  IniFile() = default;
  explicit IniFile(const std::string& path);
  virtual ~IniFile() = default;

  bool Exists() const { return exists; }
  // The value or the default, cut to 254 characters. Section "en_US" is asked only when the
  // first call brings nothing, so a non-empty default keeps it from being asked. Empty, not the
  // default, when the file did not exist at construction.
  std::string GetValue(const std::string& section, const std::string& key, const std::string& defaultValue) const;
  std::string GetValue(const std::string& section, const std::string& key) const;
  // The section's lines, each ended by a line feed, or the default when the section is missing or
  // empty. Asks the file even when it did not exist at construction.
  std::string GetSectionText(const std::string& section, const std::string& defaultValue);
  // Writes one value, creating file, section and key as needed; returns the write's result.
  bool SetValue(const std::string& section, const std::string& key, const std::string& value);

 private:
  std::string fileName;
  bool exists = false;
};
