// Private-profile calls answered from the file itself, read at each call. The file is handled as
// 16-bit units: bytes widened one by one (as the program's Widen does), or UTF-16LE when the file
// starts with its byte-order mark. A rewrite keeps the file's encoding and line breaks.
#include "platform/profile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include "platform/files.h"

namespace platform {

namespace {

using Text = std::wstring;

const wchar_t kBlanks[] = L" \t\r\v\f";

wchar_t WidenByte(char c) {
  return static_cast<wchar_t>(static_cast<uint16_t>(static_cast<int16_t>(static_cast<signed char>(c))));
}

// Inverse of WidenByte; other units that a byte cannot hold become "?".
char NarrowUnit(wchar_t c) {
  const auto unit = static_cast<uint32_t>(c) & 0xFFFFu;
  return unit < 0x100u || unit >= 0xFF80u ? static_cast<char>(unit & 0xFFu) : '?';
}

Text ToText(const char* text) {
  Text out;
  for (; *text; ++text) out.push_back(WidenByte(*text));
  return out;
}

Text ToText(const wchar_t* text) { return Text(text); }

std::string ToPath(const char* path) { return path; }

std::string ToPath(const wchar_t* path) {
  std::string out;
  for (; *path; ++path) out.push_back(NarrowUnit(*path));
  return out;
}

Text Trim(const Text& text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == Text::npos) return Text();
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

wchar_t FoldCase(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

bool SameName(const Text& a, const Text& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) { return FoldCase(x) == FoldCase(y); });
}

// ---- The file as lines ----

struct Document {
  std::vector<Text> lines;
  bool utf16 = false;
  bool crlf = true;  // a new file gets Windows line breaks
  bool endsWithBreak = true;
};

enum class LoadResult { Loaded, Missing, Unreadable };

LoadResult Read(const std::string& fileName, Document& doc) {
  doc = Document{};
  std::FILE* file = OpenFile(fileName, "rb");
  if (!file) return errno == ENOENT ? LoadResult::Missing : LoadResult::Unreadable;
  // A file past any real one's size is not read at all.
  if (std::fseek(file, 0, SEEK_END) != 0 || std::ftell(file) > MaxTextFileBytes || std::fseek(file, 0, SEEK_SET) != 0) {
    std::fclose(file);
    return LoadResult::Unreadable;
  }
  std::string bytes;
  char chunk[4096];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) bytes.append(chunk, got);
  const bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) return LoadResult::Unreadable;

  Text text;
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xFE) {
    doc.utf16 = true;
    for (size_t i = 2; i + 1 < bytes.size(); i += 2)
      text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                          (static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8)));
  } else {
    text.reserve(bytes.size());
    for (char c : bytes) text.push_back(WidenByte(c));
  }

  const size_t firstBreak = text.find(L'\n');
  if (firstBreak != Text::npos) doc.crlf = firstBreak > 0 && text[firstBreak - 1] == L'\r';
  doc.endsWithBreak = text.empty() || text.back() == L'\n';
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(L'\n', start);
    if (end == Text::npos) end = text.size();
    Text line = text.substr(start, end - start);
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    doc.lines.push_back(line);
    start = end + 1;
  }
  return LoadResult::Loaded;
}

bool Load(const std::string& fileName, Document& doc) { return Read(fileName, doc) == LoadResult::Loaded; }

bool Save(const std::string& fileName, const Document& doc) {
  const Text lineBreak = doc.crlf ? L"\r\n" : L"\n";
  Text text;
  for (size_t i = 0; i < doc.lines.size(); ++i) {
    text += doc.lines[i];
    if (i + 1 < doc.lines.size() || doc.endsWithBreak) text += lineBreak;
  }
  std::string bytes;
  if (doc.utf16) {
    bytes = "\xFF\xFE";
    for (wchar_t c : text) {
      const auto unit = static_cast<uint32_t>(c);
      bytes.push_back(static_cast<char>(unit & 0xFFu));
      bytes.push_back(static_cast<char>((unit >> 8) & 0xFFu));
    }
  } else {
    for (wchar_t c : text) bytes.push_back(NarrowUnit(c));
  }
  // Whole or not at all: the file is made beside the old one and takes its place when written.
  const std::string temporary = fileName + "." + std::to_string(getpid()) + ".tmp";
  std::FILE* file = OpenFile(temporary, "wb");
  if (!file) return false;
  bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  written = std::fclose(file) == 0 && written && MoveFileReplacing(temporary, fileName);
  if (!written) RemoveFile(temporary);
  return written;
}

// ---- What each line is ----

enum class Kind { Blank, Comment, Header, Entry, Other };

struct Line {
  Kind kind = Kind::Blank;
  Text name;   // section name of a header, key of an entry
  Text value;  // value of an entry, trimmed
};

Line Parse(const Text& raw) {
  Line line;
  const Text text = Trim(raw);
  if (text.empty()) return line;
  if (text[0] == L';') {
    line.kind = Kind::Comment;
  } else if (text[0] == L'[') {
    line.kind = Kind::Header;
    line.name = Trim(text.substr(1, text.find(L']') - 1));
  } else if (const size_t equals = text.find(L'='); equals != Text::npos) {
    line.kind = Kind::Entry;
    line.name = Trim(text.substr(0, equals));
    line.value = Trim(text.substr(equals + 1));
  } else {
    line.kind = Kind::Other;
    line.name = text;
  }
  return line;
}

constexpr size_t kNone = static_cast<size_t>(-1);

// The header line of the first section of that name.
size_t FindSection(const Document& doc, const Text& name) {
  for (size_t i = 0; i < doc.lines.size(); ++i) {
    const Line line = Parse(doc.lines[i]);
    if (line.kind == Kind::Header && SameName(line.name, name)) return i;
  }
  return kNone;
}

// The line after the last one of the section whose header is at `header`.
size_t SectionEnd(const Document& doc, size_t header) {
  size_t i = header + 1;
  while (i < doc.lines.size() && Parse(doc.lines[i]).kind != Kind::Header) ++i;
  return i;
}

size_t FindKey(const Document& doc, size_t header, const Text& key) {
  const size_t end = SectionEnd(doc, header);
  for (size_t i = header + 1; i < end; ++i) {
    const Line line = Parse(doc.lines[i]);
    if (line.kind == Kind::Entry && SameName(line.name, key)) return i;
  }
  return kNone;
}

std::vector<Text> SectionNames(const Document& doc) {
  std::vector<Text> names;
  for (const Text& raw : doc.lines) {
    const Line line = Parse(raw);
    if (line.kind == Kind::Header) names.push_back(line.name);
  }
  return names;
}

// Keys of the section's entries; or, with `wholeLines`, every line but comments and blanks,
// entries as "key=value".
std::vector<Text> SectionItems(const Document& doc, const Text& section, bool wholeLines) {
  std::vector<Text> items;
  const size_t header = FindSection(doc, section);
  if (header == kNone) return items;
  const size_t end = SectionEnd(doc, header);
  for (size_t i = header + 1; i < end; ++i) {
    const Line line = Parse(doc.lines[i]);
    if (line.kind == Kind::Entry && !wholeLines && !line.name.empty()) items.push_back(line.name);
    else if (line.kind == Kind::Entry && wholeLines) items.push_back(line.name + L"=" + line.value);
    else if (line.kind == Kind::Other && wholeLines) items.push_back(line.name);
  }
  return items;
}

// ---- Copying into the caller's buffer ----

template <typename Char>
Char Out(wchar_t unit);
template <>
char Out<char>(wchar_t unit) {
  return NarrowUnit(unit);
}
template <>
wchar_t Out<wchar_t>(wchar_t unit) {
  return unit;
}

template <typename Char>
uint32_t CopyValue(const Text& value, Char* buffer, uint32_t size) {
  if (!buffer || size == 0) return 0;
  const size_t count = std::min<size_t>(value.size(), size - 1);
  for (size_t i = 0; i < count; ++i) buffer[i] = Out<Char>(value[i]);
  buffer[count] = 0;
  return static_cast<uint32_t>(count);
}

template <typename Char>
uint32_t CopyList(const std::vector<Text>& items, Char* buffer, uint32_t size) {
  if (!buffer || size == 0) return 0;
  Text list;
  for (const Text& item : items) {
    list += item;
    list.push_back(L'\0');
  }
  if (list.size() < size) {
    for (size_t i = 0; i < list.size(); ++i) buffer[i] = Out<Char>(list[i]);
    buffer[list.size()] = 0;
    if (list.empty() && size >= 2) buffer[1] = 0;  // an empty list still reads as double-zero ended
    return static_cast<uint32_t>(list.size());
  }
  if (size < 2) {
    buffer[0] = 0;
    return 0;
  }
  for (size_t i = 0; i < size - 2; ++i) buffer[i] = Out<Char>(list[i]);
  buffer[size - 2] = 0;
  buffer[size - 1] = 0;
  return size - 2;
}

template <typename Char>
uint32_t GetString(const Char* section, const Char* key, const Char* defaultValue, Char* buffer, uint32_t size,
                   const Char* fileName) {
  Document doc;
  const bool loaded = fileName && Load(ToPath(fileName), doc);
  if (!section) return CopyList(SectionNames(doc), buffer, size);
  const Text sectionName = Trim(ToText(section));
  if (!key) return CopyList(SectionItems(doc, sectionName, false), buffer, size);

  if (loaded) {
    const size_t header = FindSection(doc, sectionName);
    const size_t line = header == kNone ? kNone : FindKey(doc, header, Trim(ToText(key)));
    if (line != kNone) {
      const auto parsed = Parse(doc.lines[line]);
      const Text& value = parsed.value;
      const bool quoted = value.size() >= 2 && (value[0] == L'"' || value[0] == L'\'') && value.back() == value[0];
      return CopyValue(quoted ? value.substr(1, value.size() - 2) : value, buffer, size);
    }
  }
  Text fallback = defaultValue ? ToText(defaultValue) : Text();
  fallback.erase(fallback.find_last_not_of(L" \t") + 1);
  return CopyValue(fallback, buffer, size);
}

// ---- Writing ----

// Sets, or with a null value deletes, one key; a null key deletes the section.
bool WriteEntry(const char* section, const char* key, const Text* value, const char* fileName) {
  if (!fileName || !*fileName) return false;
  // All three null only flushes a cache, which the sim does not keep.
  if (!section) return !key && !value;
  Document doc;
  // A file that is there but cannot be read is not overwritten.
  if (Read(fileName, doc) == LoadResult::Unreadable) return false;
  const Text sectionName = Trim(ToText(section));
  const size_t header = FindSection(doc, sectionName);

  if (!key) {
    if (header == kNone) return true;
    const size_t end = SectionEnd(doc, header);
    doc.lines.erase(doc.lines.begin() + static_cast<std::ptrdiff_t>(header),
                    doc.lines.begin() + static_cast<std::ptrdiff_t>(end));
    return Save(fileName, doc);
  }

  const Text keyName = Trim(ToText(key));
  const size_t line = header == kNone ? kNone : FindKey(doc, header, keyName);
  if (!value) {
    if (line == kNone) return true;
    doc.lines.erase(doc.lines.begin() + static_cast<std::ptrdiff_t>(line));
    return Save(fileName, doc);
  }

  if (line != kNone) {
    doc.lines[line] = Parse(doc.lines[line]).name + L"=" + *value;
  } else if (header != kNone) {
    // After the section's last line that is not blank, so blank lines before the next header stay.
    size_t at = SectionEnd(doc, header);
    while (at > header + 1 && Parse(doc.lines[at - 1]).kind == Kind::Blank) --at;
    if (at == doc.lines.size()) doc.endsWithBreak = true;
    doc.lines.insert(doc.lines.begin() + static_cast<std::ptrdiff_t>(at), keyName + L"=" + *value);
  } else {
    doc.lines.push_back(L"[" + sectionName + L"]");
    doc.lines.push_back(keyName + L"=" + *value);
    doc.endsWithBreak = true;
  }
  return Save(fileName, doc);
}

}  // namespace

uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* defaultValue, char* buffer,
                                  uint32_t size, const char* fileName) {
  return GetString(section, key, defaultValue, buffer, size, fileName);
}

uint32_t GetPrivateProfileStringW(const wchar_t* section, const wchar_t* key, const wchar_t* defaultValue,
                                  wchar_t* buffer, uint32_t size, const wchar_t* fileName) {
  return GetString(section, key, defaultValue, buffer, size, fileName);
}

uint32_t GetPrivateProfileSectionA(const char* section, char* buffer, uint32_t size, const char* fileName) {
  Document doc;
  if (section && fileName) Load(fileName, doc);
  return CopyList(section ? SectionItems(doc, Trim(ToText(section)), true) : std::vector<Text>(), buffer, size);
}

uint32_t GetPrivateProfileSectionNamesA(char* buffer, uint32_t size, const char* fileName) {
  Document doc;
  if (fileName) Load(fileName, doc);
  return CopyList(SectionNames(doc), buffer, size);
}

bool WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* fileName) {
  if (!value) return WriteEntry(section, key, nullptr, fileName);
  const Text text = ToText(value);
  return WriteEntry(section, key, &text, fileName);
}

bool WritePrivateProfileStructA(const char* section, const char* key, const void* data, uint32_t size,
                                const char* fileName) {
  if (!data) return WriteEntry(section, key, nullptr, fileName);
  static const wchar_t kDigits[] = L"0123456789ABCDEF";
  const auto* bytes = static_cast<const unsigned char*>(data);
  Text text;
  unsigned checksum = 0;
  for (uint32_t i = 0; i <= size; ++i) {
    const unsigned byte = i < size ? bytes[i] : checksum & 0xFFu;
    checksum += byte;
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 0xFu]);
  }
  return WriteEntry(section, key, &text, fileName);
}

}  // namespace platform
