// What the sim's clock needs to know of the program's helper threads (thread.h).
#pragma once

#include "platform/handles.h"

namespace platform {
namespace sim {

// True on a thread that CreateThread started.
bool OnHelperThread();
// Ends the calling helper thread here if TerminateThread was called on it.
void EndIfTerminated();
// CloseHandle of a thread's handle; false for a handle that is no thread's.
bool CloseThreadHandle(Handle handle);

}  // namespace sim
}  // namespace platform
