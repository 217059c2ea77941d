// OutputDebugStringA: text for an attached debugger, never the program's standard output.
#pragma once

namespace platform {

void OutputDebugStringA(const char* text);

}  // namespace platform
