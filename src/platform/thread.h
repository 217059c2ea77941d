// Threads of the program's own making: one call here for CreateThread, GetExitCodeThread and
// TerminateThread. The handle is closed with CloseHandle (handles.h).
#pragma once

#include <cstdint>

#include "platform/handles.h"
#include "platform/window.h"  // PLATFORM_CALLBACK

namespace platform {

using ThreadProc = uint32_t(PLATFORM_CALLBACK*)(void* parameter);

constexpr uint32_t StillActive = 259;

// CreateThread with the default stack and no flags; 0 when the thread could not be started.
Handle CreateThread(ThreadProc proc, void* parameter, uint32_t* threadId);
// GetExitCodeThread: StillActive while it runs.
bool GetExitCodeThread(Handle thread, uint32_t& exitCode);
// TerminateThread: the thread ends where it is, with `exitCode`.
bool TerminateThread(Handle thread, uint32_t exitCode);

}  // namespace platform
