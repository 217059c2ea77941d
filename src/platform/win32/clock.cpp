#include "platform/clock.h"

#include <windows.h>

namespace platform {

uint32_t GetTickCount() { return ::GetTickCount(); }

void Sleep(uint32_t milliseconds) { ::Sleep(milliseconds); }

}  // namespace platform
