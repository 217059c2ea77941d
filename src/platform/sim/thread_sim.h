// What the sim's clock needs to know of the program's helper threads (thread.h).
#pragma once

namespace platform {
namespace sim {

// True on a thread that CreateThread started.
bool OnHelperThread();
// Ends the calling helper thread here if TerminateThread was called on it.
void EndIfTerminated();

}  // namespace sim
}  // namespace platform
