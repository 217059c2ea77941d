// The operating-system services the program needs, one header each. The sim backend (every
// non-Windows build) answers them from the simulated machine; the win32 backend passes them
// through to the real calls.
#pragma once

#include <string>

namespace platform {

// Prepares the backend before anything else runs: the sim loads its machine description.
// Returns false with a one-line reason when the machine cannot be set up.
bool Startup(std::string& error);

}  // namespace platform
