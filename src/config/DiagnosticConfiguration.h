// The look of the operator windows, read from the resource file (diagconf.ini by default):
// section "WindowSettings" of an IniBase model.
#pragma once

#include <cstdint>
#include <string>

#include "platform/gdi.h"
#include "text/IniBase.h"

class DiagnosticConfiguration {
 public:
  DiagnosticConfiguration();
  // Reads the file and makes the background brush: BackgroundColor, or the button-face brush.
  explicit DiagnosticConfiguration(const std::string& path);
  virtual ~DiagnosticConfiguration() = default;

  // Handed to the window class and not deleted with the configuration.
  platform::HBrush GetBackgroundBrush() const { return backgroundBrush; }
  // The non-empty value of `key` in the section, else the default.
  std::string GetString(const std::string& key, const std::string& defaultValue) const;
  uint32_t GetUnsigned(const std::string& key, uint32_t defaultValue) const;
  int32_t GetInteger(const std::string& key, int32_t defaultValue) const;

 private:
  std::string sectionName;
  platform::HBrush backgroundBrush = 0;
  IniBase ini;
};
