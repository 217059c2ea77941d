#include "platform/platform.h"

namespace platform {

bool Startup(std::string& /*error*/) { return true; }

}  // namespace platform
