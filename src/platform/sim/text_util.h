// Small text rules shared by the readers of machine files and scripts.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace platform {
namespace sim {

inline std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Without the blanks, tabs and carriage returns at either end.
inline std::string Strip(const std::string& text) {
  const char* blanks = " \t\r";
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The items of a comma-separated list, stripped; a trailing comma gives an empty last item.
inline std::vector<std::string> SplitList(const std::string& text) {
  std::vector<std::string> items;
  std::istringstream in(text);
  std::string item;
  while (std::getline(in, item, ',')) items.push_back(Strip(item));
  if (!text.empty() && text.back() == ',') items.push_back("");
  return items;
}

// true/yes/1 and false/no/0, in any case.
inline bool ParseBool(const std::string& value, bool& out) {
  const std::string word = Lower(value);
  if (word == "true" || word == "yes" || word == "1") out = true;
  else if (word == "false" || word == "no" || word == "0") out = false;
  else return false;
  return true;
}

// Upper-case hexadecimal, zero-filled to `digits`, as device identifiers are written.
inline std::string HexDigits(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*X", digits, value);
  return text;
}

}  // namespace sim
}  // namespace platform
