// Numbered messages: their texts live in two catalogue files in the working directory, named after
// the executable, one section per language. Every lookup ends in a fallback that still shows the
// number and the insert.
#pragma once

#include <cstdint>
#include <string>

#include "text/IniFile.h"

// The override catalogue "x_<base>.msg" and the diagnostic's own "<base>.msg" of one folder,
// consulted in that order. Whether each file exists is settled when the object is made.
class MessageCatalogues {
 public:
  MessageCatalogues(const std::string& folder, const std::string& base);

  std::string GetText(uint32_t number, const std::string& insert, const std::string& locale) const;
  std::wstring GetWideTextOr(uint32_t number, const std::wstring& insert, const std::wstring& fallback,
                             const std::string& locale) const;
  std::wstring GetWideTextWithMedia(uint32_t number, const std::wstring& insert, const std::wstring& fallback,
                                    std::wstring& media, const std::string& locale) const;

 private:
  std::string Paths[2];
  IniFile NarrowFiles[2];
  WIniFile WideFiles[2];
};

// The functions below use catalogues of the working directory, named after the executable; each
// family of lookups makes its objects on first use.

// The value of -locale, default "en_US".
std::string GetLocale();

std::string GetMessageText(uint32_t number, const std::string& insert);
std::wstring GetWideMessageText(uint32_t number, const std::wstring& insert);
std::wstring GetWideMessageTextOr(uint32_t number, const std::wstring& insert, const std::wstring& fallback);
// `media` is set to the picture that belongs to the message, if a catalogue names one.
std::wstring GetWideMessageWithMedia(uint32_t number, const std::wstring& insert, const std::wstring& fallback,
                                     std::wstring& media);

// A value holding "<DO NOT TRANSLATE>" loses its first 18 characters.
std::string StripTranslationMarker(const std::string& text);
std::wstring StripTranslationMarker(const std::wstring& text);

// The catalogues' file name stem: the program name after its last separator, cut at the first
// lower-case ".exe".
std::string CatalogueBaseName(const std::string& programName);

// Puts `insert` into a catalogue value. A catalogue is an editable file, so the value is never
// handed to printf: the first "%s" takes the insert, "%%" gives "%", anything else stands as
// written. The result is cut to 1,023 characters.
std::string FormatCatalogueValue(const std::string& value, const std::string& insert);
std::wstring FormatCatalogueValue(const std::wstring& value, const std::wstring& insert);
