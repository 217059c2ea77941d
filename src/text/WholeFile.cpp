#include "text/WholeFile.h"

#include <cerrno>
#include <cstring>
#include <set>

#include "platform/files.h"
#include "platform/fullpath.h"
#include "platform/system.h"
#include "text/TextHelpers.h"

WholeFile::WholeFile(std::string name, bool keepOld, bool text, std::string content)
    : path(std::move(name)), what(std::move(content)), temporary(path + "." + std::to_string(platform::GetCurrentProcessId()) + ".tmp") {
  // No name, no file: as an open of an empty path, which fails without a word.
  if (path.empty()) return;
  // What stands under the name must be a file the program may replace: a folder or a file it
  // cannot open fails here, as an open of the name itself would.
  errno = 0;
  std::FILE* old = platform::OpenFile(path, "rb");
  if (old == nullptr && errno != ENOENT) {
    Tell(errno);
    return;
  }
  if (!keepOld && old != nullptr) {
    std::fclose(old);
    old = nullptr;
  }
  errno = 0;
  file = platform::OpenFile(temporary, text ? "w+t" : "w+b");
  if (file == nullptr) {
    Tell(errno);
    if (old != nullptr) std::fclose(old);
    return;
  }
  if (old == nullptr) return;
  char chunk[65536];
  size_t got = 0;
  while ((got = std::fread(chunk, 1, sizeof chunk, old)) > 0) std::fwrite(chunk, 1, got, file);
  std::fclose(old);
  std::fflush(file);
  std::rewind(file);
}

WholeFile::~WholeFile() { Discard(); }

void WholeFile::Discard() {
  if (file == nullptr) return;
  std::fclose(file);
  file = nullptr;
  platform::RemoveFile(temporary);
}

bool WholeFile::Commit() {
  if (file == nullptr) return false;
  errno = 0;
  bool good = std::fflush(file) == 0 && std::ferror(file) == 0;
  int error = errno;
  if (!good && error == 0) {
    // The failed write was buffered long ago and its reason is gone: one byte more at the end
    // meets the same full disk or size limit and says which.
    std::clearerr(file);
    std::fseek(file, 0, SEEK_END);
    std::fputc(0, file);
    std::fflush(file);
    error = errno;
  }
  good = std::fclose(file) == 0 && good;
  if (error == 0) error = errno;
  file = nullptr;
  if (good) {
    errno = 0;
    good = platform::MoveFileReplacing(temporary, path);
    error = errno;
  }
  if (good) return true;
  platform::RemoveFile(temporary);
  Tell(error);
  return false;
}

void WholeFile::Tell(int error) const {
  static std::set<std::string>* told = new std::set<std::string>;
  if (!told->insert(ToLower(path)).second) return;
  char full[1024] = {};
  const uint32_t length = platform::GetFullPathNameA(path.c_str(), sizeof full, full);
  const std::string named = length > 0 && length < sizeof full ? std::string(full, length) : path;
  const std::string reason = error != 0 ? std::strerror(error) : "the write failed";
  if (what.empty()) std::fprintf(stderr, "error: cannot write %s: %s\n", named.c_str(), reason.c_str());
  else std::fprintf(stderr, "error: cannot write %s to %s: %s\n", what.c_str(), named.c_str(), reason.c_str());
  std::fflush(stderr);
}
