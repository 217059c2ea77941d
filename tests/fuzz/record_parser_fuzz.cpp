// Record files are edited by hand: any bytes as a file must split into bounded fields, stop at a
// bad quote, and read as an INI model, without crashing.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "config/FileParser.h"
#include "text/IniBase.h"

namespace {

std::string ScratchFile() {
  static const std::string path = "/tmp/record-fuzz-" + std::to_string(getpid()) + ".ini";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = ScratchFile();
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  std::vector<std::string> names;
  {
    FileParser parser(path);
    const int count = parser.ReadSectionNames();
    if (count < 0 || static_cast<size_t>(count) != parser.SectionNames().size()) std::abort();
    names = parser.SectionNames();
    if (!names.empty() && parser.ReadKey(names[0], "1")) {
      std::string field;
      while (parser.GetField(field))
        if (field.size() > 1023) std::abort();
    }
  }
  for (size_t i = 0; i < names.size() && i < 4; ++i) {
    OrgFileParser parser(path);
    const int lines = parser.ReadSection(names[i]);
    int walked = 0;
    while (parser.NextLine()) {
      if (++walked > lines) std::abort();
      int number = 0;
      unsigned char byte = 0;
      double real = 0;
      char text[16] = {};
      std::string rest;
      parser.GetField(number, 0);
      parser.GetField(byte, 16);
      parser.GetField(real);
      parser.GetField(text);
      if (text[sizeof text - 1] != '\0') std::abort();
      while (parser.GetField(rest))
        if (rest.size() > 1023) std::abort();
    }
  }
  IniBase model(path);
  model.ToString();
  std::remove(path.c_str());
  return 0;
}
