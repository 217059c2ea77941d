// Named mutexes across processes: each name is a lock file held with flock while some thread of
// this process owns the mutex; threads of one process queue on a condition variable first, since
// flock alone would not tell two threads apart. The file's first byte says whether an owner holds
// it, so that the next waiter sees a mutex whose owner died as abandoned.
#include "platform/mutex.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

struct NamedMutex {
  std::string Name;
  int Fd = -1;
  int Handles = 0;
  std::mutex Lock;
  std::condition_variable Freed;
  std::thread::id Owner;
  uint32_t Count = 0;
};

struct Table {
  std::mutex Lock;
  std::map<std::string, std::shared_ptr<NamedMutex>> ByName;
  std::map<MutexHandle, std::shared_ptr<NamedMutex>> ByHandle;
  MutexHandle Next = 0x7100;
};

Table& Mutexes() {
  static Table table;
  return table;
}

std::string LockFolder() {
  const char* tmp = std::getenv("TMPDIR");
  std::string folder = std::string(tmp && *tmp ? tmp : "/tmp") + "/rasterscan-mutex-" + std::to_string(getuid());
  mkdir(folder.c_str(), 0700);
  return folder;
}

// A file name for any mutex name: "/" cannot stand in it, and long names are shortened by a hash.
std::string LockFileName(const std::string& name) {
  std::string file;
  for (char c : name) {
    if (c == '/' || c == '%') {
      static const char digits[] = "0123456789ABCDEF";
      file += '%';
      file += digits[static_cast<unsigned char>(c) >> 4];
      file += digits[c & 15];
    } else {
      file += c;
    }
  }
  if (file.size() > 200) file = file.substr(0, 180) + "-" + std::to_string(std::hash<std::string>{}(name));
  return file.empty() ? std::string("%00") : file;
}

std::shared_ptr<NamedMutex> Find(MutexHandle handle) {
  Table& table = Mutexes();
  std::lock_guard<std::mutex> guard(table.Lock);
  auto found = table.ByHandle.find(handle);
  return found == table.ByHandle.end() ? nullptr : found->second;
}

bool LockFile(int fd, uint32_t milliseconds) {
  if (milliseconds == WaitInfinite) {
    while (flock(fd, LOCK_EX) != 0)
      if (errno != EINTR) return false;
    return true;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

MutexHandle CreateMutexA(const void* /*securityAttributes*/, bool initialOwner, const char* name) {
  Table& table = Mutexes();
  std::shared_ptr<NamedMutex> mutex;
  MutexHandle handle = 0;
  {
    std::lock_guard<std::mutex> guard(table.Lock);
    std::string key = name ? name : "";
    auto found = key.empty() ? table.ByName.end() : table.ByName.find(key);
    if (found != table.ByName.end()) {
      mutex = found->second;
    } else {
      mutex = std::make_shared<NamedMutex>();
      mutex->Name = key;
      if (!key.empty()) {
        std::string path = LockFolder() + "/" + LockFileName(key);
        mutex->Fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (mutex->Fd < 0) return 0;
        table.ByName[key] = mutex;
      }
    }
    ++mutex->Handles;
    handle = table.Next;
    table.Next += 4;
    table.ByHandle[handle] = mutex;
  }
  if (initialOwner) WaitForSingleObject(handle, 0);
  return handle;
}

uint32_t WaitForSingleObject(MutexHandle handle, uint32_t milliseconds) {
  std::shared_ptr<NamedMutex> mutex = Find(handle);
  if (!mutex) return WaitFailed;
  const auto self = std::this_thread::get_id();
  std::unique_lock<std::mutex> lock(mutex->Lock);
  if (mutex->Count > 0 && mutex->Owner == self) {
    ++mutex->Count;
    return WaitObject0;
  }
  auto free = [&] { return mutex->Count == 0 && mutex->Owner == std::thread::id(); };
  if (milliseconds == WaitInfinite) {
    mutex->Freed.wait(lock, free);
  } else if (!mutex->Freed.wait_for(lock, std::chrono::milliseconds(milliseconds), free)) {
    return WaitTimeout;
  }
  // Reserved for this thread while it waits for the other processes.
  mutex->Owner = self;
  lock.unlock();
  bool abandoned = false;
  if (mutex->Fd >= 0) {
    if (!LockFile(mutex->Fd, milliseconds)) {
      lock.lock();
      mutex->Owner = std::thread::id();
      mutex->Freed.notify_all();
      return WaitTimeout;
    }
    char mark = 0;
    abandoned = pread(mutex->Fd, &mark, 1, 0) == 1 && mark == '1';
    if (pwrite(mutex->Fd, "1", 1, 0) != 1) abandoned = false;
  }
  lock.lock();
  mutex->Count = 1;
  return abandoned ? WaitAbandoned : WaitObject0;
}

bool ReleaseMutex(MutexHandle handle) {
  std::shared_ptr<NamedMutex> mutex = Find(handle);
  if (!mutex) return false;
  std::lock_guard<std::mutex> guard(mutex->Lock);
  if (mutex->Count == 0 || mutex->Owner != std::this_thread::get_id()) return false;
  if (--mutex->Count > 0) return true;
  if (mutex->Fd >= 0) {
    if (pwrite(mutex->Fd, "0", 1, 0) != 1) {
      // The mark stays set: the next owner is told the mutex was abandoned, which errs safe.
    }
    flock(mutex->Fd, LOCK_UN);
  }
  mutex->Owner = std::thread::id();
  mutex->Freed.notify_all();
  return true;
}

bool CloseMutexHandle(MutexHandle handle) {
  Table& table = Mutexes();
  std::lock_guard<std::mutex> guard(table.Lock);
  auto found = table.ByHandle.find(handle);
  if (found == table.ByHandle.end()) return false;
  std::shared_ptr<NamedMutex> mutex = found->second;
  table.ByHandle.erase(found);
  std::lock_guard<std::mutex> mutexGuard(mutex->Lock);
  // The object lives while handles are open or a thread owns it.
  if (--mutex->Handles == 0 && mutex->Count == 0) {
    if (mutex->Fd >= 0) close(mutex->Fd);
    mutex->Fd = -1;
    if (!mutex->Name.empty()) table.ByName.erase(mutex->Name);
  }
  return true;
}

}  // namespace platform
