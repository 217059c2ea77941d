#include "config/FileParser.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>

#include "config/FileMutex.h"
#include "platform/debug_output.h"
#include "platform/profile.h"

namespace {

constexpr uint32_t kSectionStep = 10240;
constexpr uint32_t kSectionSteps = 31;
constexpr uint32_t kConvertBuffer = 4096;

// An unterminated quote: the line cannot be split.
struct MalformedLine {};

struct ConvertError {
  int Number;
};

// Calls `read` with buffers of growing size until the list fits; returns the list's bytes
// without its closing zero. The largest buffer's answer stands when none fits.
std::string ReadList(const std::function<uint32_t(char*, uint32_t)>& read) {
  for (uint32_t step = 1; step <= kSectionSteps; ++step) {
    const uint32_t size = step * kSectionStep;
    std::vector<char> buffer(size, '\0');
    const uint32_t count = read(buffer.data(), size);
    if (count + 2 != size || step == kSectionSteps) return std::string(buffer.data(), count < size ? count : size);
  }
  return std::string();
}

// Each zero-ended item of a list.
std::vector<std::string> ListItems(const std::string& list) {
  std::vector<std::string> items;
  size_t start = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '\0') {
      items.push_back(list.substr(start, i - start));
      start = i + 1;
    }
  }
  return items;
}

std::string Unquote(const std::string& field) {
  size_t first = field.find('"');
  if (first != std::string::npos) {
    size_t last = field.rfind('"');
    return field.substr(first + 1, last - first - 1);
  }
  size_t begin = field.find_first_not_of(" \t");
  if (begin == std::string::npos) return std::string();
  size_t end = field.find_last_not_of(" \t");
  return field.substr(begin, end - begin + 1);
}

}  // namespace

std::string FileParser::MutexName(const std::string& path) { return FileMutexName(path, "_LumoraFileParser"); }

FileParser::FileParser(const std::string& path) : fileName(path) {
  mutex = platform::CreateMutexA(nullptr, false, MutexName(path).c_str());
  platform::WaitForSingleObject(mutex, platform::WaitInfinite);
}

FileParser::~FileParser() {
  platform::ReleaseMutex(mutex);
  platform::CloseMutexHandle(mutex);
}

// One field from `cursor`: false when the text collected is empty, which ends the line's fields.
bool FileParser::NextField(std::string& field) {
  const size_t start = cursor;
  size_t at = cursor;
  if (lineBuffer[at] != ',') {
    while (at < LineBufferSize - 1 && lineBuffer[at] != '\0' && lineBuffer[at] != ',' && lineBuffer[at] != ';') {
      if (lineBuffer[at] == '"') {
        ++at;
        while (at < LineBufferSize - 1 && lineBuffer[at] != '\0' && lineBuffer[at] != '"') ++at;
        if (lineBuffer[at] != '"') throw MalformedLine();
      }
      ++at;
    }
  }
  const std::string text(lineBuffer + start, at - start);
  // The end mark is consumed, but never the terminator: the cursor stays inside the buffer.
  cursor = lineBuffer[at] == '\0' ? at : at + 1;
  if (text.empty()) return false;
  field = Unquote(text);
  return true;
}

bool FileParser::SplitLine() {
  fields.clear();
  cursor = 0;
  fieldCount = 0;
  fieldIndex = 0;
  try {
    std::string field;
    while (NextField(field)) fields.push_back(field);
  } catch (const MalformedLine&) {
    return false;
  }
  fieldCount = static_cast<int>(fields.size());
  return true;
}

bool FileParser::TakeField(std::string& text) {
  if (fieldIndex >= fieldCount || fieldIndex >= static_cast<int>(fields.size())) return false;
  text = fields[static_cast<size_t>(fieldIndex++)];
  return true;
}

bool FileParser::GetField(signed char& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<signed char>(std::strtol(text.c_str(), nullptr, base));
  return true;
}

bool FileParser::GetField(int& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<int>(std::strtol(text.c_str(), nullptr, base));
  return true;
}

bool FileParser::GetField(long& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = std::strtol(text.c_str(), nullptr, base);
  return true;
}

bool FileParser::GetField(unsigned char& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<unsigned char>(std::strtoul(text.c_str(), nullptr, base));
  return true;
}

bool FileParser::GetField(unsigned short& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<unsigned short>(std::strtoul(text.c_str(), nullptr, base));
  return true;
}

bool FileParser::GetField(unsigned int& value, int base) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, base));
  return true;
}

bool FileParser::GetField(float& value) {
  std::string text;
  if (!TakeField(text)) return false;
  value = static_cast<float>(std::strtod(text.c_str(), nullptr));
  return true;
}

bool FileParser::GetField(double& value) {
  std::string text;
  if (!TakeField(text)) return false;
  value = std::strtod(text.c_str(), nullptr);
  return true;
}

bool FileParser::GetField(std::string& text) { return TakeField(text); }

bool FileParser::ReadKey(const std::string& section, const std::string& key) {
  std::memset(lineBuffer, 0, sizeof lineBuffer);
  if (platform::GetPrivateProfileStringA(section.c_str(), key.c_str(), "", lineBuffer, LineBufferSize,
                                         fileName.c_str()) == 0)
    return false;
  SplitLine();
  return true;
}

int FileParser::ReadSectionNames() {
  if (sectionCount != -1) return sectionCount;
  std::string list;
  try {
    list = ReadList([this](char* buffer, uint32_t size) {
      return platform::GetPrivateProfileSectionNamesA(buffer, size, fileName.c_str());
    });
  } catch (const std::bad_alloc&) {
    return 0;
  }
  sectionNames = ListItems(list);
  sectionCount = static_cast<int>(sectionNames.size());
  return sectionCount;
}

int FileParser::ConvertToIni(const std::string& section, const std::string& keyPrefix, bool replaceSection,
                             int firstIndex) {
  int written = 0;
  try {
    std::vector<char> buffer(kConvertBuffer, '\0');
    const uint32_t count =
        platform::GetPrivateProfileSectionA(section.c_str(), buffer.data(), kConvertBuffer, fileName.c_str());
    if (count + 2 == kConvertBuffer) throw ConvertError{-1};
    if (replaceSection)
      platform::WritePrivateProfileStructA(section.c_str(), nullptr, nullptr, 0, outputFileName.c_str());
    int index = firstIndex;
    for (const std::string& line : ListItems(std::string(buffer.data(), count))) {
      char key[LineBufferSize + 16];
      std::snprintf(key, sizeof key, "%s%d", keyPrefix.c_str(), index++);
      if (!platform::WritePrivateProfileStringA(section.c_str(), key, line.c_str(), outputFileName.c_str()))
        throw ConvertError{-3};
      ++written;
    }
  } catch (const ConvertError& error) {
    char text[64];
    std::snprintf(text, sizeof text, "ConvertToIni Failed: %d", error.Number);
    platform::OutputDebugStringA(text);
  }
  return written;
}

int OrgFileParser::ReadSection(const std::string& section) {
  if (lineCount != 0) return lineCount;
  std::string list;
  try {
    list = ReadList([&](char* buffer, uint32_t size) {
      return platform::GetPrivateProfileSectionA(section.c_str(), buffer, size, FileName().c_str());
    });
  } catch (const std::bad_alloc&) {
    return lineCount;
  }
  lines = ListItems(list);
  lineCount = static_cast<int>(lines.size());
  lineTotal = lineCount;
  lineIndex = 0;
  return lineCount;
}

bool OrgFileParser::NextLine() {
  if (lineIndex >= lineTotal) return false;
  const std::string& line = lines[static_cast<size_t>(lineIndex)];
  if (line.empty()) return false;
  std::memset(lineBuffer, 0, sizeof lineBuffer);
  std::memcpy(lineBuffer, line.data(), line.size() < LineBufferSize - 1 ? line.size() : LineBufferSize - 1);
  if (!SplitLine()) return false;
  ++lineIndex;
  return true;
}
