// Stuck and flaky bytes of simulated memory, acting on the program's own loads and stores.
//
// Why a trap: the driver hands out a plain address for physical memory, and DirectDraw a plain
// pointer to the locked frame buffer; the program reads and writes them with ordinary
// instructions, so no call of ours sits between the test and the byte. A page of a view that holds
// a faulty byte is kept without access; the first access to it stops with SIGSEGV, the handler
// opens the page (flipping the flaky bytes that a read covers first), sets the trap flag and lets
// exactly that one instruction run; the SIGTRAP that follows puts the flaky bytes and the stuck
// bits back (a write cannot have set them otherwise), closes the page again and clears the flag.
// Pages without live faults are never touched, so the test runs at full speed everywhere else.
// This needs an x86 host; machine files with such faults are refused elsewhere.
//
// Faults live in spaces: physical memory keyed by address, and each adapter's frame buffer keyed
// by the byte offset from its first byte, so that the same number means different bytes in each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {
namespace sim {

using FaultSpace = uint32_t;
constexpr FaultSpace PhysicalMemory = 0;
// The frame buffer of the adapter at `index` in the display model.
constexpr FaultSpace FrameBufferOf(size_t index) { return static_cast<FaultSpace>(1 + index); }

// One faulty byte of a space. Faults given twice at one offset add up.
struct ByteFault {
  uint32_t Offset = 0;     // physical address, or byte offset in the frame buffer
  uint8_t StuckClear = 0;  // bits that always read 0
  uint8_t StuckSet = 0;    // bits that always read 1
  uint8_t FlipMask = 0;    // bits that read inverted...
  uint32_t Flips = 0;      // ...on this many reads of the byte, then it is sound
};

// True where the traps work (x86 hosts).
constexpr bool ByteFaultsSupported() {
#if defined(__x86_64__) || defined(__i386__)
  return true;
#else
  return false;
#endif
}

// Replaces the faults of one space, with their read counts at the start. Views of the space that
// are attached keep the pages they trap.
void SetByteFaults(FaultSpace space, const std::vector<ByteFault>& faults);

// The faults of one space as they stand, flaky reads left included.
std::vector<ByteFault> ByteFaultsOf(FaultSpace space);

// Puts the stuck bits of the space into `memory`, which holds its bytes [offset, offset + length).
void ApplyStuckBits(FaultSpace space, uint8_t* memory, uint32_t offset, size_t length);

// A view: `view` is page-aligned and shows the space from `offset` on, `length` bytes. Its pages
// that hold live faults are trapped until DetachFaults.
void AttachFaults(FaultSpace space, uintptr_t view, size_t length, uint32_t offset);
// The view goes away or is no longer watched: its trapped pages are open again.
void DetachFaults(uintptr_t view, size_t length);

// How many bytes a read by the instruction at `code` covers, for the loads the program's memory
// walks use (byte, word, double word and quad word moves, compares and tests, and 16-byte SSE
// loads). Any other instruction counts as a read of the one byte at its address.
size_t ReadWidth(const uint8_t* code);

}  // namespace sim
}  // namespace platform
