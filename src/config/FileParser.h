// Record files of INI form: each line of a section is a list of comma-separated fields, quoted
// with double quotes where a field holds a comma. A parser keeps every other parser on the same
// file, in any process, waiting for as long as it lives.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "platform/mutex.h"

class FileParser {
 public:
  // Blocks until the file's named mutex is owned.
  explicit FileParser(const std::string& path);
  // Releases the mutex; must run on the thread that built the parser.
  virtual ~FileParser();
  FileParser(const FileParser&) = delete;
  FileParser& operator=(const FileParser&) = delete;

  // The mutex name of a path: its full path with "\", ":" and "." made "_", then
  // "_LumoraFileParser".
  static std::string MutexName(const std::string& path);

  // The next field of the current line; false, with the output untouched, when none is left.
  // Integers go through strtol or strtoul in `base` (0: the text picks decimal, octal or 0x)
  // and are cut to the output's width.
  bool GetField(signed char& value, int base = 10);
  bool GetField(int& value, int base = 10);
  bool GetField(long& value, int base = 10);
  bool GetField(unsigned char& value, int base = 10);
  bool GetField(unsigned short& value, int base = 10);
  bool GetField(unsigned int& value, int base = 10);
  bool GetField(float& value);
  bool GetField(double& value);
  bool GetField(std::string& text);
  // The field cut to the buffer.
  template <size_t N>
  bool GetField(char (&buffer)[N]) {
    std::string text;
    if (!GetField(text)) return false;
    size_t length = text.size() < N - 1 ? text.size() : N - 1;
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return true;
  }

  // The value of `key` split as a line; true when there was a value.
  bool ReadKey(const std::string& section, const std::string& key);
  // Reads the names of all sections once; returns their count.
  int ReadSectionNames();
  const std::vector<std::string>& SectionNames() const { return sectionNames; }

  void SetOutputFileName(const std::string& path) { outputFileName = path; }
  // Writes each line of `section` to the output file under the key `keyPrefix` + index, the index
  // counting from `firstIndex`; returns the number of lines written.
  int ConvertToIni(const std::string& section, const std::string& keyPrefix, bool replaceSection, int firstIndex);

  int FieldCount() const { return fieldCount; }

 protected:
  static constexpr size_t LineBufferSize = 1024;

  // Splits `lineBuffer` into `fields`; false for an unterminated quote.
  bool SplitLine();
  const std::string& FileName() const { return fileName; }

  std::vector<std::string> sectionNames;
  char lineBuffer[LineBufferSize] = {};
  std::string fileName;
  std::string outputFileName;
  std::vector<std::string> fields;
  size_t cursor = 0;
  int fieldCount = 0;
  int fieldIndex = 0;
  platform::MutexHandle mutex = 0;
  int sectionCount = -1;

 private:
  bool NextField(std::string& field);
  bool TakeField(std::string& text);
};

class OrgFileParser : public FileParser {
 public:
  explicit OrgFileParser(const std::string& path) : FileParser(path) {}
  ~OrgFileParser() override = default;

  // Reads the lines of `section`; an object serves one section, so a second call returns the
  // first one's count.
  int ReadSection(const std::string& section);
  // Splits the next line into fields; false at the end, at an empty line, or at a line with an
  // unterminated quote (which stays the next line).
  bool NextLine();
  // The line that `NextLine` takes next; empty when there is none.
  std::string PendingLine() const {
    return lineIndex < lineTotal ? lines[static_cast<size_t>(lineIndex)] : std::string();
  }

 private:
  std::vector<std::string> lines;
  int lineCount = 0;
  int lineIndex = 0;
  int lineTotal = 0;
};
