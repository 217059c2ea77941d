#include "platform/syscolor_brush.h"

#include <windows.h>

namespace platform {

HBrush GetSysColorBrush(int32_t index) { return reinterpret_cast<HBrush>(::GetSysColorBrush(index)); }

}  // namespace platform
