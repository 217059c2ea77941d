// Named mutexes of kernel32 (CreateMutexA, WaitForSingleObject, ReleaseMutex, CloseHandle). As on
// Windows they serialise threads and processes alike: a mutex belongs to the thread that waited
// for it, that thread may wait again without blocking (each wait needs its own release), and a
// process that ends while it owns one leaves it abandoned for the next waiter.
#pragma once

#include <cstdint>

namespace platform {

using MutexHandle = uintptr_t;

constexpr uint32_t WaitInfinite = 0xFFFFFFFFu;
constexpr uint32_t WaitObject0 = 0;
constexpr uint32_t WaitAbandoned = 0x80;
constexpr uint32_t WaitTimeout = 0x102;
constexpr uint32_t WaitFailed = 0xFFFFFFFFu;

// CreateMutexA with default security: creates the mutex or opens the one of that name. 0 on
// failure. With `initialOwner` the caller owns it at once if nobody else does.
MutexHandle CreateMutexA(const void* securityAttributes, bool initialOwner, const char* name);

// WaitForSingleObject on a mutex: WaitObject0 or WaitAbandoned once owned, WaitTimeout, or
// WaitFailed for a handle that is not an open mutex.
uint32_t WaitForSingleObject(MutexHandle mutex, uint32_t milliseconds);

// False when the calling thread does not own the mutex.
bool ReleaseMutex(MutexHandle mutex);

// CloseHandle of a mutex handle. Closing does not give up ownership.
bool CloseMutexHandle(MutexHandle mutex);

}  // namespace platform
