// The device tree's names of a PCI function. The device installation lists and the management
// service both take them from here, so that an instance id one of them gives is found by the other.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/machine.h"

namespace platform {
namespace sim {

// Most specific first: VEN&DEV&SUBSYS&REV, VEN&DEV&SUBSYS, VEN&DEV&CC_<class>, VEN&DEV&CC_<base+sub>.
std::vector<std::string> PciHardwareIds(const PciDevice& device);

// The PnP instance id: the first hardware id, then "\" and the parent bus's part, as
// "PCI\VEN_102B&DEV_0534&SUBSYS_02351028&REV_00\4&<hash>&0&00".
std::string PciInstanceId(const PciDevice& device);

}  // namespace sim
}  // namespace platform
