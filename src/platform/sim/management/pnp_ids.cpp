#include "platform/sim/management/pnp_ids.h"

#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

std::vector<std::string> PciHardwareIds(const PciDevice& d) {
  const std::string venDev = "PCI\\VEN_" + HexDigits(d.VendorId, 4) + "&DEV_" + HexDigits(d.DeviceId, 4);
  const std::string subsys = "&SUBSYS_" + HexDigits(d.SubsystemId, 4) + HexDigits(d.SubsystemVendorId, 4);
  return {venDev + subsys + "&REV_" + HexDigits(d.Revision, 2), venDev + subsys, venDev + "&CC_" + HexDigits(d.ClassCode, 6),
          venDev + "&CC_" + HexDigits(d.ClassCode >> 8, 4)};
}

std::string PciInstanceId(const PciDevice& d) {
  // The parent's part differs per bus, as a real tree's does; devices behind a bridge are one level deeper.
  const uint32_t parentHash = 0x1D9A1E5Cu ^ (uint32_t{d.Bus} * 0x9E3779B1u);
  return PciHardwareIds(d)[0] + "\\" + (d.Bus == 0 ? "3&" : "4&") + HexDigits(parentHash, 1) + "&0&" +
         HexDigits(uint32_t{d.Device} << 3 | d.Function, 2);
}

}  // namespace sim
}  // namespace platform
