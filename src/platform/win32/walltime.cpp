#include "platform/walltime.h"

#include <ctime>

namespace platform {

int64_t Time() { return static_cast<int64_t>(std::time(nullptr)); }

}  // namespace platform
