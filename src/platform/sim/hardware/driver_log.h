// What the sim's driver was asked, for tests of the client's records.
#pragma once

#include <cstdint>
#include <vector>

namespace platform {
namespace sim {

struct DriverRequest {
  uint32_t Code = 0;
  std::vector<uint8_t> In;
  uint32_t OutSize = 0;
};

const std::vector<DriverRequest>& DriverRequests();
void ClearDriverRequests();

}  // namespace sim
}  // namespace platform
