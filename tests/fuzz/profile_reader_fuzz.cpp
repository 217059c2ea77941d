// INI files are edited by hand: any bytes as a file must give bounded, terminated answers from
// every profile read.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/profile.h"
#include "text/IniFile.h"

namespace {

std::string ScratchFile() {
  static const std::string path = "/tmp/profile-fuzz-" + std::to_string(getpid()) + ".ini";
  return path;
}

// A list answer stays in the buffer and ends in two zeros: the last item's and the list's, or,
// for a list cut to fit, the two written after the cut.
void CheckList(const char* buffer, uint32_t size, uint32_t count) {
  if (count > size - 1 || buffer[count] != '\0') std::abort();
  const bool itemEnded = count == 0 || buffer[count - 1] == '\0';
  const bool cut = count == size - 2 && buffer[count + 1] == '\0';
  if (!itemEnded && !cut) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = ScratchFile();
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  for (uint32_t bufferSize : {2u, 7u, 255u}) {
    char buffer[256];
    std::memset(buffer, 'Z', sizeof buffer);
    uint32_t count = platform::GetPrivateProfileStringA("en_US", "2", "default", buffer, bufferSize, path.c_str());
    if (count >= bufferSize || buffer[count] != '\0') std::abort();
    count = platform::GetPrivateProfileStringA(nullptr, nullptr, "", buffer, bufferSize, path.c_str());
    CheckList(buffer, bufferSize, count);
    count = platform::GetPrivateProfileStringA("en_US", nullptr, "", buffer, bufferSize, path.c_str());
    CheckList(buffer, bufferSize, count);
    count = platform::GetPrivateProfileSectionA("en_US", buffer, bufferSize, path.c_str());
    if (count > 0) CheckList(buffer, bufferSize, count);
    count = platform::GetPrivateProfileSectionNamesA(buffer, bufferSize, path.c_str());
    CheckList(buffer, bufferSize, count);
  }
  IniFile ini(path);
  if (ini.GetValue("en_US", "2").size() > 254) std::abort();
  ini.GetSectionText("en_US", "");
  WIniFile wide(std::wstring(path.begin(), path.end()));
  if (wide.GetValue(L"de_DE", L"3").size() > 254) std::abort();
  std::remove(path.c_str());
  return 0;
}
