#include "platform/mutex.h"

#include <windows.h>

namespace platform {

namespace {

HANDLE ToHandle(MutexHandle mutex) { return reinterpret_cast<HANDLE>(mutex); }

}  // namespace

MutexHandle CreateMutexA(const void* securityAttributes, bool initialOwner, const char* name) {
  HANDLE mutex = ::CreateMutexA(static_cast<LPSECURITY_ATTRIBUTES>(const_cast<void*>(securityAttributes)),
                                initialOwner ? TRUE : FALSE, name);
  return reinterpret_cast<MutexHandle>(mutex);
}

uint32_t WaitForSingleObject(MutexHandle mutex, uint32_t milliseconds) {
  return ::WaitForSingleObject(ToHandle(mutex), milliseconds);
}

bool ReleaseMutex(MutexHandle mutex) { return ::ReleaseMutex(ToHandle(mutex)) != FALSE; }

bool CloseMutexHandle(MutexHandle mutex) { return ::CloseHandle(ToHandle(mutex)) != FALSE; }

}  // namespace platform
