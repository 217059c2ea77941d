#include "platform/sim/host/host_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace sim {

bool ReadHostFile(const std::string& path, size_t limit, std::string& content, std::string& error) {
  // Opened without blocking, so that a pipe with no writer is refused instead of waited for.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    error = std::strerror(errno);
    return false;
  }
  struct stat info {};
  bool ok = fstat(fd, &info) == 0;
  if (!ok) error = std::strerror(errno);
  else if (S_ISDIR(info.st_mode)) error = "it is a folder", ok = false;
  else if (!S_ISREG(info.st_mode)) error = "it is not a regular file", ok = false;
  else if (static_cast<unsigned long long>(info.st_size) > limit)
    error = "it is larger than " + std::to_string(limit) + " bytes", ok = false;
  content.clear();
  char chunk[65536];
  while (ok) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error = std::strerror(errno);
      ok = false;
    } else if (got == 0) {
      break;
    } else if (content.size() + static_cast<size_t>(got) > limit) {
      error = "it is larger than " + std::to_string(limit) + " bytes";
      ok = false;
    } else {
      content.append(chunk, static_cast<size_t>(got));
    }
  }
  close(fd);
  return ok;
}

bool WriteHostFile(const std::string& path, const std::string& content, std::string& error) {
  const std::string temporary = path + "." + std::to_string(getpid()) + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (file == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  errno = 0;
  bool good = std::fwrite(content.data(), 1, content.size(), file) == content.size() && std::fflush(file) == 0;
  int reason = errno;
  good = std::fclose(file) == 0 && good;
  if (reason == 0) reason = errno;
  if (good && std::rename(temporary.c_str(), path.c_str()) == 0) return true;
  if (reason == 0) reason = errno;
  std::remove(temporary.c_str());
  error = reason != 0 ? std::strerror(reason) : "the write failed";
  return false;
}

}  // namespace sim
}  // namespace platform
