// GetSysColorBrush of user32: the system's own brush for a colour index, the same handle at every
// call. It stands beside the GDI objects of platform/gdi.h and is never deleted by the program.
#pragma once

#include <cstdint>

#include "platform/gdi.h"

namespace platform {

constexpr int32_t ColorBtnFace = 15;  // COLOR_BTNFACE

// 0 for an index the system does not know.
HBrush GetSysColorBrush(int32_t index);

}  // namespace platform
