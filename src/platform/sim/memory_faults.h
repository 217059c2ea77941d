// Stuck and flaky bytes of simulated physical memory, acting on the program's own loads and
// stores through a mapped view.
//
// Why a trap: the driver hands out a plain address and the memory test reads and writes it with
// ordinary instructions, so no call of ours sits between the test and the byte. A page of a view
// that holds a faulty byte is kept without access; the first access to it stops with SIGSEGV,
// the handler opens the page (flipping a flaky byte first when the access is a read of it),
// sets the trap flag and lets exactly that one instruction run; the SIGTRAP that follows puts
// the stuck bits back (a write cannot have set them otherwise), closes the page again and
// clears the flag. Pages without live faults are never touched, so the test runs at full speed
// everywhere else. This needs an x86 host; the machine file is refused elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/sim/machine.h"

namespace platform {
namespace sim {

// Takes the byte faults of a machine, with their read counts at the start.
void ResetMemoryFaults(const std::vector<MemoryFault>& faults);

// Puts the stuck bits into memory that holds physical [physical, physical + length).
void ApplyStuckBits(uint8_t* memory, uint32_t physical, size_t length);

// A new view: `view` is page-aligned and shows physical memory from `physical` on.
void AttachFaults(uintptr_t view, size_t length, uint32_t physical);
// The view goes away.
void DetachFaults(uintptr_t view, size_t length);

}  // namespace sim
}  // namespace platform
