#include "platform/sim/pnp_ids.h"

#include <cstdio>

namespace platform {
namespace sim {

namespace {

std::string Hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*X", digits, value);
  return text;
}

}  // namespace

std::vector<std::string> PciHardwareIds(const PciDevice& d) {
  const std::string venDev = "PCI\\VEN_" + Hex(d.VendorId, 4) + "&DEV_" + Hex(d.DeviceId, 4);
  const std::string subsys = "&SUBSYS_" + Hex(d.SubsystemId, 4) + Hex(d.SubsystemVendorId, 4);
  return {venDev + subsys + "&REV_" + Hex(d.Revision, 2), venDev + subsys, venDev + "&CC_" + Hex(d.ClassCode, 6),
          venDev + "&CC_" + Hex(d.ClassCode >> 8, 4)};
}

std::string PciInstanceId(const PciDevice& d) {
  // The parent's part differs per bus, as a real tree's does; devices behind a bridge are one level deeper.
  const uint32_t parentHash = 0x1D9A1E5Cu ^ (uint32_t{d.Bus} * 0x9E3779B1u);
  return PciHardwareIds(d)[0] + "\\" + (d.Bus == 0 ? "3&" : "4&") + Hex(parentHash, 1) + "&0&" +
         Hex(uint32_t{d.Device} << 3 | d.Function, 2);
}

}  // namespace sim
}  // namespace platform
