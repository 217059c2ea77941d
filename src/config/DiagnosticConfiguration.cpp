#include "config/DiagnosticConfiguration.h"

#include "platform/syscolor_brush.h"
#include "text/TextHelpers.h"

namespace {

const char kSection[] = "WindowSettings";
constexpr uint32_t kNoColour = 0xFFFFFFFFu;

}  // namespace

DiagnosticConfiguration::DiagnosticConfiguration() : sectionName(kSection) {}

DiagnosticConfiguration::DiagnosticConfiguration(const std::string& path) : sectionName(kSection), ini(path) {
  const uint32_t colour = GetUnsigned("BackgroundColor", kNoColour);
  backgroundBrush = colour < kNoColour ? platform::CreateSolidBrush(colour)
                                       : platform::GetSysColorBrush(platform::ColorBtnFace);
}

std::string DiagnosticConfiguration::GetString(const std::string& key, const std::string& defaultValue) const {
  const Section* section = ini.GetSection(sectionName);
  const Record* record = section ? section->GetRecord(key) : nullptr;
  if (!record || record->Value().empty()) return defaultValue;
  return record->Value();
}

uint32_t DiagnosticConfiguration::GetUnsigned(const std::string& key, uint32_t defaultValue) const {
  const std::string text = GetString(key, "");
  return text.empty() ? defaultValue : ToUInt32(text);
}

int32_t DiagnosticConfiguration::GetInteger(const std::string& key, int32_t defaultValue) const {
  const std::string text = GetString(key, "");
  return text.empty() ? defaultValue : ToInt32(text);
}
