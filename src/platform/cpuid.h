// The CPUID instruction of the processor that runs the program (in the sim: the simulated
// machine's first processor).
#pragma once

#include <cstdint>

namespace platform {

// EAX, EBX, ECX, EDX of `leaf`.
void Cpuid(uint32_t leaf, uint32_t (&registers)[4]);

}  // namespace platform
