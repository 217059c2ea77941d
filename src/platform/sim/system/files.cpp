#include "platform/files.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/sim/machine.h"

namespace platform {

namespace {

bool Exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

bool SameIgnoringCase(const std::string& a, const char* b) {
  size_t n = std::strlen(b);
  if (a.size() != n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

// The entry of `folder` whose name matches `name` without regard to case, or `name` itself.
std::string FindEntry(const std::string& folder, const std::string& name) {
  std::string exact = folder + name;
  if (Exists(exact)) return name;
  DIR* dir = opendir(folder.empty() ? "." : folder.c_str());
  if (!dir) return name;
  std::string found = name;
  while (dirent* entry = readdir(dir)) {
    if (SameIgnoringCase(name, entry->d_name)) {
      found = entry->d_name;
      break;
    }
  }
  closedir(dir);
  return found;
}

}  // namespace

std::string ResolvePath(const std::string& path) {
  std::string p = path;
  for (char& c : p)
    if (c == '\\') c = '/';
  bool fromRoot = false;
  if (p.size() >= 2 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':') {
    p.erase(0, 2);
    fromRoot = !p.empty() && p[0] == '/';
  } else if (!p.empty() && p[0] == '/') {
    fromRoot = true;
  }

  std::string result;
  if (fromRoot) {
    result = sim::CurrentMachine().DriveRoot;
    if (result.empty() || result.back() != '/') result += '/';
  }
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= p.size()) {
    size_t end = p.find('/', start);
    if (end == std::string::npos) end = p.size();
    if (end > start) parts.push_back(p.substr(start, end - start));
    start = end + 1;
  }
  for (size_t i = 0; i < parts.size(); ++i) {
    const std::string& part = parts[i];
    if (part == "." || part == "..") result += part;
    else result += FindEntry(result, part);
    if (i + 1 < parts.size()) result += '/';
  }
  if (result.empty()) result = fromRoot ? "/" : ".";
  else if (p.size() > 1 && p.back() == '/' && result.back() != '/') result += '/';  // "name\" names a folder
  return result;
}

std::FILE* OpenFile(const std::string& path, const char* mode) {
  if (path.empty()) return nullptr;
  if (sim::CurrentMachine().WriteProtected && std::strpbrk(mode, "wa+") != nullptr) {
    errno = EROFS;
    return nullptr;
  }
  int flags = 0;
  const bool update = std::strchr(mode, '+') != nullptr;
  switch (mode[0]) {
    case 'r': flags = update ? O_RDWR : O_RDONLY; break;
    case 'w': flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC; break;
    case 'a': flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND; break;
    default: errno = EINVAL; return nullptr;
  }
  // Without blocking, so that a pipe is refused instead of waited for.
  const int fd = open(ResolvePath(path).c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  struct stat info {};
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    const int reason = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    close(fd);
    errno = reason;
    return nullptr;
  }
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  std::FILE* file = fdopen(fd, mode);
  if (file == nullptr) close(fd);
  return file;
}

bool MoveFileReplacing(const std::string& from, const std::string& to) {
  if (sim::CurrentMachine().WriteProtected) {
    errno = EROFS;
    return false;
  }
  return std::rename(ResolvePath(from).c_str(), ResolvePath(to).c_str()) == 0;
}

bool RemoveFile(const std::string& path) { return std::remove(ResolvePath(path).c_str()) == 0; }

}  // namespace platform
