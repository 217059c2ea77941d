#include "platform/cpuid.h"

#include <cpuid.h>

namespace platform {

void Cpuid(uint32_t leaf, uint32_t (&registers)[4]) {
  unsigned int a = 0, b = 0, c = 0, d = 0;
  __cpuid(leaf, a, b, c, d);
  registers[0] = a;
  registers[1] = b;
  registers[2] = c;
  registers[3] = d;
}

}  // namespace platform
