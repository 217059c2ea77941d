#include "text/TextHelpers.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <sstream>

#include "platform/files.h"
#include "platform/system.h"

namespace {

const char kTrimSet[] = " \b\f\n\r\t\v";

// The text after one optional leading "-".
std::string WithoutSign(const std::string& text) {
  return !text.empty() && text[0] == '-' ? text.substr(1) : text;
}

template <typename T>
T Extract(const std::string& text) {
  std::istringstream in(text);
  T value = 0;
  if (IsDecimal(text)) in >> std::dec >> value;
  else if (IsHex(text)) in >> std::hex >> value;
  return value;
}

}  // namespace

bool IsHexDigits(const std::string& text) {
  if (text.size() < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return false;
  for (size_t i = 2; i < text.size(); ++i)
    if (!std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  return true;
}

bool IsDigits(const std::string& text) {
  for (char c : text)
    if (c < '0' || c > '9') return false;
  return true;
}

bool IsDecimal(const std::string& text) { return !text.empty() && IsDigits(WithoutSign(text)); }

bool IsHex(const std::string& text) { return !text.empty() && IsHexDigits(WithoutSign(text)); }

bool IsInteger(const std::string& text) { return IsDecimal(text) || IsHex(text); }

bool IsDouble(const std::string& text) {
  if (text.empty()) return false;
  size_t digits = 0, dots = 0, digitsAfterDot = 0;
  size_t i = 0;
  if ((text[0] == '-' || text[0] == '+') && text.size() > 1 && text[1] >= '0' && text[1] <= '9') i = 1;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c >= '0' && c <= '9') {
      ++digits;
      if (dots > 0) ++digitsAfterDot;
    } else if (c == '.') {
      ++dots;
    } else {
      return false;
    }
  }
  return digits > 0 && dots <= 1 && (dots == 0 || digitsAfterDot > 0);
}

int32_t ToInt32(const std::string& text) {
  // "-" passes IsDecimal (an empty run of digits) and converts to 0; extraction fails on it
  // and leaves 0, and out-of-range text leaves the nearest limit.
  return Extract<int32_t>(text);
}

uint32_t ToUInt32(const std::string& text) { return Extract<uint32_t>(text); }

int64_t ToInt64(const std::string& text) {
  if (IsDecimal(text)) return std::strtoll(text.c_str(), nullptr, 10);
  if (IsHex(text)) return static_cast<int64_t>(std::strtoull(text.c_str(), nullptr, 16));
  return 0;
}

double ToDouble(const std::string& text) {
  std::istringstream in(text);
  double value = 0;
  in >> value;
  return value;
}

namespace {
template <typename T>
std::string StreamText(T value) {
  std::ostringstream out;
  out << value;
  return out.str();
}
}  // namespace

std::string ToText(int32_t value) { return StreamText(value); }
std::string ToText(uint32_t value) { return StreamText(value); }
std::string ToText(int64_t value) { return StreamText(value); }
std::string ToText(double value) { return StreamText(value); }

std::string ToHexText(uint32_t value) {
  std::ostringstream out;
  out << std::hex << value;
  return out.str();
}

std::string ToLower(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string ToUpper(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::wstring ToLowerW(const std::wstring& text) {
  std::wstring out = text;
  for (wchar_t& c : out) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  return out;
}

std::string TrimLeft(const std::string& text) {
  size_t first = text.find_first_not_of(kTrimSet);
  return first == std::string::npos ? std::string() : text.substr(first);
}

std::string TrimRight(const std::string& text) {
  size_t last = text.find_last_not_of(kTrimSet);
  return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

std::string Trim(const std::string& text) { return TrimLeft(TrimRight(text)); }

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty() || to.find(from) != std::string::npos) return;  // would never end
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from))
    text.replace(at, from.size(), to);
}

void Split(const std::string& text, const std::string& delimiters, std::vector<std::string>& out) {
  size_t start = text.find_first_not_of(delimiters);
  while (start != std::string::npos) {
    size_t end = text.find_first_of(delimiters, start);
    out.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    start = end == std::string::npos ? end : text.find_first_not_of(delimiters, end);
  }
}

std::wstring Widen(const std::string& text) {
  std::wstring out;
  out.reserve(text.size());
  for (char c : text) {
    auto wide = static_cast<uint16_t>(static_cast<int16_t>(static_cast<signed char>(c)));
    out.push_back(static_cast<wchar_t>(wide));
  }
  return out;
}

std::string Narrow(const std::wstring& text) {
  std::string out;
  char buffer[MB_LEN_MAX];
  std::mbstate_t state{};
  for (wchar_t c : text) {
    size_t n = std::wcrtomb(buffer, c, &state);
    if (n != static_cast<size_t>(-1)) {
      out.append(buffer, n);
      continue;
    }
    // What the code page cannot say: a widened byte goes back to that byte, so that Widen and
    // Narrow round-trip; anything else becomes "?".
    state = std::mbstate_t{};
    auto unit = static_cast<uint32_t>(c) & 0xFFFFu;
    out.push_back(unit >= 0xFF80u || unit < 0x100u ? static_cast<char>(unit & 0xFFu) : '?');
  }
  return out;
}

std::string XmlEscape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (static_cast<unsigned char>(c)) {
      case '\'': case '`': case 0x92: out += "&apos;"; break;
      case '"': case 0x93: case 0x94: out += "&quot;"; break;
      case '>': out += "&gt;"; break;
      case '<': out += "&lt;"; break;
      case '&': out += "&amp;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string OneLine(const std::string& text) {
  std::string out = text;
  ReplaceAll(out, "\n", " ");
  return out;
}

std::string CatalogDescription(const std::string& description) {
  return OneLine(" Description=\"" + XmlEscape(description) + "\"");
}

bool FileExists(const std::string& path) {
  if (path.empty()) return false;
  std::FILE* file = platform::OpenFile(path, "r");
  if (!file) return false;
  std::fclose(file);
  return true;
}

std::FILE* OpenTextFile(const std::string& path) {
  std::FILE* file = platform::OpenFile(path, "r");
  if (!file) return nullptr;
  const bool fits = std::fseek(file, 0, SEEK_END) == 0 && std::ftell(file) <= platform::MaxTextFileBytes &&
                    std::fseek(file, 0, SEEK_SET) == 0;
  if (fits) return file;
  std::fclose(file);
  errno = EFBIG;
  return nullptr;
}

bool ReadTextFile(const std::string& path, std::string& text) {
  std::FILE* file = OpenTextFile(path);
  if (!file) return false;
  text.clear();
  char buffer[4096];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, got);
  std::fclose(file);
  size_t nul = text.find('\0');
  if (nul != std::string::npos) text.resize(nul);
  return true;
}

std::string GetWorkingDirectory() { return platform::GetCwd(); }

std::string GetModulePath() {
  std::string path = platform::GetModulePathName();
  return path.size() > 259 ? path.substr(0, 259) : path;
}
