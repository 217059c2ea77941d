#include "platform/cpuid.h"

#include "platform/sim/management/management.h"

namespace platform {

// Leaf 1 tells the simulated processor's signature; other leaves read as zero.
void Cpuid(uint32_t leaf, uint32_t (&registers)[4]) {
  registers[0] = registers[1] = registers[2] = registers[3] = 0;
  if (leaf == 1) registers[0] = sim::CurrentManagement().ProcessorSignature;
}

}  // namespace platform
