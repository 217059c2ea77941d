// Kernel object handles and the thread's last error, shared by the driver, token and device calls.
#pragma once

#include <cstdint>

namespace platform {

using Handle = uintptr_t;
// INVALID_HANDLE_VALUE: all bits set.
constexpr Handle InvalidHandleValue = ~Handle{0};

// CloseHandle.
bool CloseHandle(Handle handle);

// GetLastError and SetLastError of the calling thread.
uint32_t GetLastError();
void SetLastError(uint32_t error);

constexpr uint32_t ErrorFileNotFound = 2;
constexpr uint32_t ErrorAccessDenied = 5;
constexpr uint32_t ErrorInvalidHandle = 6;
constexpr uint32_t ErrorInvalidParameter = 87;
constexpr uint32_t ErrorInsufficientBuffer = 122;
constexpr uint32_t ErrorModNotFound = 126;
constexpr uint32_t ErrorNoMoreItems = 259;
constexpr uint32_t ErrorNoToken = 1008;
constexpr uint32_t ErrorServiceAlreadyRunning = 1056;
constexpr uint32_t ErrorServiceDoesNotExist = 1060;
constexpr uint32_t ErrorServiceExists = 1073;
constexpr uint32_t ErrorInvalidUserBuffer = 0x6F8;

}  // namespace platform
