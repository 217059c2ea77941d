// A named mutex made from a file's full path, so that processes working on the same file take
// turns while threads of other files go on.
#pragma once

#include <string>

#include "platform/mutex.h"

// The mutex name of a path: its full path with "\", ":" and "." made "_", then `suffix`.
std::string FileMutexName(const std::string& path, const std::string& suffix);

// Owns the mutex of `path` from construction to destruction; must be destroyed on the thread
// that made it.
class FileMutexLock {
 public:
  FileMutexLock(const std::string& path, const std::string& suffix);
  ~FileMutexLock();
  FileMutexLock(const FileMutexLock&) = delete;
  FileMutexLock& operator=(const FileMutexLock&) = delete;

 private:
  platform::MutexHandle mutex;
};
