#include "platform/debug_output.h"

#include <windows.h>

namespace platform {

void OutputDebugStringA(const char* text) { ::OutputDebugStringA(text); }

}  // namespace platform
