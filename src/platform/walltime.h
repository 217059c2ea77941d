// Calendar time of the C runtime.
#pragma once

#include <cstdint>

namespace platform {

// time(): whole seconds since 1970. On the sim's virtual clock it moves with the tick.
int64_t Time();

}  // namespace platform
