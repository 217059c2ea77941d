#include "platform/handles.h"

#include <windows.h>

namespace platform {

bool CloseHandle(Handle handle) { return ::CloseHandle(reinterpret_cast<HANDLE>(handle)) != FALSE; }

uint32_t GetLastError() { return ::GetLastError(); }

void SetLastError(uint32_t error) { ::SetLastError(error); }

}  // namespace platform
