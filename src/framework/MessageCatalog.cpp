#include "framework/MessageCatalog.h"

#include <algorithm>

#include "framework/CmdLineParser.h"
#include "platform/profile.h"
#include "text/TextHelpers.h"

namespace {

const char kMarker[] = "<DO NOT TRANSLATE>";
const size_t kMarkerLength = 18;
const size_t kFormattedLimit = 1023;  // a buffer of 1,024 with its terminator
const uint32_t kValueBuffer = 255;

template <typename Text>
Text Format(const Text& value, const Text& insert) {
  Text out;
  bool inserted = false;
  for (size_t i = 0; i < value.size() && out.size() < kFormattedLimit; ++i) {
    if (value[i] == '%' && i + 1 < value.size()) {
      if (value[i + 1] == '%') {
        out += value[i];
        ++i;
        continue;
      }
      if (value[i + 1] == 's' && !inserted) {
        out += insert;
        inserted = true;
        ++i;
        continue;
      }
    }
    out += value[i];
  }
  if (out.size() > kFormattedLimit) out.resize(kFormattedLimit);
  return out;
}

template <typename Text>
Text NumberAndInsert(uint32_t number, const Text& insert) {
  const std::string head = std::to_string(number) + " \"";
  return Text(head.begin(), head.end()) + insert + Text(1, '"');
}

std::wstring WideValue(const WIniFile& catalogue, const std::string& key, const std::string& locale) {
  return StripTranslationMarker(catalogue.GetValue(Widen(locale), Widen(key)));
}

// The picture of a message: the "all multimedia" entry if it names a file that exists; the key
// when the entry names nothing that exists; nothing when there is no entry.
void ResolveMedia(const std::string& path, const std::string& key, std::wstring& media) {
  wchar_t buffer[kValueBuffer] = {};
  const std::wstring wideKey = Widen(key);
  platform::GetPrivateProfileStringW(L"all multimedia", wideKey.c_str(), wideKey.c_str(), buffer, kValueBuffer,
                                     Widen(path).c_str());
  const std::wstring text(buffer);
  if (FileExists(Narrow(text))) media = text;
  else if (text == wideKey) media.clear();
  else media = wideKey;
}

const MessageCatalogues& WorkingDirectoryCatalogues() {
  static const MessageCatalogues catalogues(GetWorkingDirectory(),
                                            CatalogueBaseName(CmdLineParser::Instance().GetProgramName()));
  return catalogues;
}

}  // namespace

MessageCatalogues::MessageCatalogues(const std::string& folder, const std::string& base)
    : Paths{folder + "\\x_" + base + ".msg", folder + "\\" + base + ".msg"},
      NarrowFiles{IniFile(Paths[0]), IniFile(Paths[1])},
      WideFiles{WIniFile(Widen(Paths[0])), WIniFile(Widen(Paths[1]))} {}

std::string MessageCatalogues::GetText(uint32_t number, const std::string& insert, const std::string& locale) const {
  const std::string key = std::to_string(number);
  for (const IniFile& catalogue : NarrowFiles) {
    if (!catalogue.Exists()) continue;
    const std::string value = StripTranslationMarker(catalogue.GetValue(locale, key));
    if (!value.empty()) return Format(value, insert);
  }
  return NumberAndInsert(number, insert);
}

std::wstring MessageCatalogues::GetWideTextOr(uint32_t number, const std::wstring& insert,
                                              const std::wstring& fallback, const std::string& locale) const {
  const std::string key = std::to_string(number);
  for (const WIniFile& catalogue : WideFiles) {
    const std::wstring value = WideValue(catalogue, key, locale);
    if (!value.empty()) return Format(value, insert);
  }
  return fallback;
}

std::wstring MessageCatalogues::GetWideTextWithMedia(uint32_t number, const std::wstring& insert,
                                                     const std::wstring& fallback, std::wstring& media,
                                                     const std::string& locale) const {
  const std::string key = std::to_string(number);
  std::wstring value;
  if (WideFiles[0].Exists()) {
    ResolveMedia(Paths[0], key, media);
    value = WideValue(WideFiles[0], key, locale);
    if (!media.empty() && !value.empty()) return Format(value, insert);
  }
  if (WideFiles[1].Exists()) {
    if (media.empty()) ResolveMedia(Paths[1], key, media);
    if (value.empty()) value = WideValue(WideFiles[1], key, locale);
  }
  return value.empty() ? fallback : Format(value, insert);
}

std::string GetLocale() { return CmdLineParser::Instance().Get("-locale", "en_US"); }

std::string CatalogueBaseName(const std::string& programName) {
  // Either separator, as Windows paths allow both.
  const size_t separator = programName.find_last_of("\\/");
  std::string base = separator == std::string::npos ? programName : programName.substr(separator + 1);
  const size_t extension = base.find(".exe");
  if (extension != std::string::npos) base.resize(extension);
  return base;
}

std::string StripTranslationMarker(const std::string& text) {
  return text.find(kMarker) == std::string::npos ? text : text.substr(std::min(kMarkerLength, text.size()));
}

std::wstring StripTranslationMarker(const std::wstring& text) {
  return text.find(Widen(kMarker)) == std::wstring::npos ? text : text.substr(kMarkerLength);
}

std::string FormatCatalogueValue(const std::string& value, const std::string& insert) { return Format(value, insert); }

std::wstring FormatCatalogueValue(const std::wstring& value, const std::wstring& insert) {
  return Format(value, insert);
}

std::string GetMessageText(uint32_t number, const std::string& insert) {
  return WorkingDirectoryCatalogues().GetText(number, insert, GetLocale());
}

std::wstring GetWideMessageTextOr(uint32_t number, const std::wstring& insert, const std::wstring& fallback) {
  return WorkingDirectoryCatalogues().GetWideTextOr(number, insert, fallback, GetLocale());
}

std::wstring GetWideMessageText(uint32_t number, const std::wstring& insert) {
  const std::wstring text = GetWideMessageTextOr(number, insert, std::wstring());
  return text.empty() ? NumberAndInsert(number, insert) : text;
}

std::wstring GetWideMessageWithMedia(uint32_t number, const std::wstring& insert, const std::wstring& fallback,
                                     std::wstring& media) {
  return WorkingDirectoryCatalogues().GetWideTextWithMedia(number, insert, fallback, media, GetLocale());
}
