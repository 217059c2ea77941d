#include "config/FileMutex.h"

#include <cstdint>

#include "platform/fullpath.h"

std::string FileMutexName(const std::string& path, const std::string& suffix) {
  char full[1024] = {};
  uint32_t length = platform::GetFullPathNameA(path.c_str(), sizeof full, full);
  std::string name = length < sizeof full ? std::string(full, length) : std::string();
  for (char& c : name)
    if (c == '\\' || c == ':' || c == '.') c = '_';
  return name + suffix;
}

FileMutexLock::FileMutexLock(const std::string& path, const std::string& suffix)
    : mutex(platform::CreateMutexA(nullptr, false, FileMutexName(path, suffix).c_str())) {
  platform::WaitForSingleObject(mutex, platform::WaitInfinite);
}

FileMutexLock::~FileMutexLock() {
  platform::ReleaseMutex(mutex);
  platform::CloseMutexHandle(mutex);
}
