#include "screen/MissingFiles.h"

#include "text/TextHelpers.h"

namespace {
const size_t kLongest = 1024;
}

std::string FindMissingFiles(std::initializer_list<const char*> names) {
  std::string missing;
  for (const char* name : names) {
    if (name == nullptr) break;
    if (FileExists(name)) continue;
    if (!missing.empty()) missing += ",";
    missing += name;
  }
  if (missing.size() > kLongest) missing.resize(kLongest);
  return missing;
}
