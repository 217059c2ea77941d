#include "platform/sim/memory_faults.h"

#include <csignal>
#include <cstring>

#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

namespace platform {
namespace sim {

namespace {

constexpr size_t PageSize = 4096;
constexpr size_t MaxByteFaults = 64;
constexpr size_t MaxTrappedPages = 256;
constexpr size_t MaxPending = 4;

struct ByteFault {
  uint32_t Physical;
  uint8_t StuckClear;  // bits forced to 0
  uint8_t StuckSet;    // bits forced to 1
  uint8_t FlipMask;
  uint32_t FlipsLeft;
};

struct TrappedPage {
  uintptr_t Page;
  uint32_t Physical;
  bool Live;
};

// Fixed arrays: the signal handlers read them and must not allocate.
ByteFault faults[MaxByteFaults];
size_t faultCount = 0;
TrappedPage pages[MaxTrappedPages];
size_t pageCount = 0;

TrappedPage* pending[MaxPending];
size_t pendingCount = 0;
volatile uint8_t* flipAt = nullptr;
ByteFault* flipFault = nullptr;

struct sigaction previousSegv;
struct sigaction previousTrap;
bool handlersInstalled = false;

bool HasLiveFault(uint32_t pagePhysical) {
  for (size_t i = 0; i < faultCount; ++i) {
    const ByteFault& f = faults[i];
    if (f.Physical - pagePhysical < PageSize && ((f.StuckClear | f.StuckSet) != 0 || f.FlipsLeft != 0)) return true;
  }
  return false;
}

void EnforceStuckBits(const TrappedPage& page) {
  for (size_t i = 0; i < faultCount; ++i) {
    const ByteFault& f = faults[i];
    if (f.Physical - page.Physical >= PageSize) continue;
    volatile uint8_t* byte = reinterpret_cast<volatile uint8_t*>(page.Page + (f.Physical - page.Physical));
    *byte = static_cast<uint8_t>((*byte & ~f.StuckClear) | f.StuckSet);
  }
}

#if defined(__x86_64__) || defined(__i386__)
#if defined(__x86_64__)
constexpr int FlagsRegister = REG_EFL;
#else
constexpr int FlagsRegister = REG_EFL;
#endif
constexpr greg_t TrapFlag = 0x100;

void OnSegv(int signalNumber, siginfo_t* info, void* context) {
  auto* uc = static_cast<ucontext_t*>(context);
  uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
  TrappedPage* page = nullptr;
  for (size_t i = 0; i < pageCount; ++i)
    if (pages[i].Live && address - pages[i].Page < PageSize) page = &pages[i];
  if (!page || pendingCount == MaxPending) {
    // Not ours: the old handler sees the access again.
    sigaction(signalNumber, &previousSegv, nullptr);
    return;
  }
  // Open the page first: the flip below and the instruction both need it.
  mprotect(reinterpret_cast<void*>(page->Page), PageSize, PROT_READ | PROT_WRITE);
  pending[pendingCount++] = page;
  bool isWrite = (uc->uc_mcontext.gregs[REG_ERR] & 2) != 0;
  if (!isWrite && !flipAt) {
    uint32_t physical = page->Physical + static_cast<uint32_t>(address - page->Page);
    for (size_t i = 0; i < faultCount; ++i) {
      if (faults[i].Physical == physical && faults[i].FlipsLeft != 0) {
        flipAt = reinterpret_cast<volatile uint8_t*>(address);
        flipFault = &faults[i];
        *flipAt = static_cast<uint8_t>(*flipAt ^ flipFault->FlipMask);
        break;
      }
    }
  }
  uc->uc_mcontext.gregs[FlagsRegister] |= TrapFlag;
}

void OnTrap(int signalNumber, siginfo_t* /*info*/, void* context) {
  auto* uc = static_cast<ucontext_t*>(context);
  if (pendingCount == 0) {
    sigaction(signalNumber, &previousTrap, nullptr);
    raise(signalNumber);
    return;
  }
  if (flipAt) {
    *flipAt = static_cast<uint8_t>(*flipAt ^ flipFault->FlipMask);
    --flipFault->FlipsLeft;
    flipAt = nullptr;
    flipFault = nullptr;
  }
  for (size_t i = 0; i < pendingCount; ++i) {
    TrappedPage& page = *pending[i];
    EnforceStuckBits(page);
    if (HasLiveFault(page.Physical)) mprotect(reinterpret_cast<void*>(page.Page), PageSize, PROT_NONE);
    else page.Live = false;  // nothing left to do here: full speed from now on
  }
  pendingCount = 0;
  uc->uc_mcontext.gregs[FlagsRegister] &= ~TrapFlag;
}

void InstallHandlers() {
  if (handlersInstalled) return;
  struct sigaction action {};
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = OnSegv;
  sigaction(SIGSEGV, &action, &previousSegv);
  action.sa_sigaction = OnTrap;
  sigaction(SIGTRAP, &action, &previousTrap);
  handlersInstalled = true;
}
#else
void InstallHandlers() {}
#endif

}  // namespace

void ResetMemoryFaults(const std::vector<MemoryFault>& list) {
  faultCount = 0;
  for (const MemoryFault& f : list) {
    if (f.Type != MemoryFault::Kind::StuckBit && f.Type != MemoryFault::Kind::FlakyByte) continue;
    ByteFault* slot = nullptr;
    for (size_t i = 0; i < faultCount; ++i)
      if (faults[i].Physical == f.Address) slot = &faults[i];
    if (!slot) {
      if (faultCount == MaxByteFaults) continue;
      slot = &faults[faultCount++];
      *slot = ByteFault{f.Address, 0, 0, 0, 0};
    }
    if (f.Type == MemoryFault::Kind::StuckBit) {
      if (f.StuckHigh) slot->StuckSet = static_cast<uint8_t>(slot->StuckSet | f.Mask);
      else slot->StuckClear = static_cast<uint8_t>(slot->StuckClear | f.Mask);
    } else {
      slot->FlipMask = static_cast<uint8_t>(slot->FlipMask | f.Mask);
      slot->FlipsLeft += f.Reads;
    }
  }
}

void ApplyStuckBits(uint8_t* memory, uint32_t physical, size_t length) {
  for (size_t i = 0; i < faultCount; ++i) {
    const ByteFault& f = faults[i];
    if (f.Physical - physical < length) {
      uint8_t& byte = memory[f.Physical - physical];
      byte = static_cast<uint8_t>((byte & ~f.StuckClear) | f.StuckSet);
    }
  }
}

void AttachFaults(uintptr_t view, size_t length, uint32_t physical) {
  for (size_t i = 0; i < faultCount; ++i) {
    const ByteFault& f = faults[i];
    if (f.Physical - physical >= length) continue;
    if ((f.StuckClear | f.StuckSet) == 0 && f.FlipsLeft == 0) continue;
    uintptr_t page = (view + (f.Physical - physical)) & ~(uintptr_t{PageSize} - 1);
    bool known = false;
    for (size_t j = 0; j < pageCount; ++j)
      if (pages[j].Page == page && pages[j].Live) known = true;
    if (known || pageCount == MaxTrappedPages) continue;
    InstallHandlers();
    pages[pageCount++] = TrappedPage{page, static_cast<uint32_t>(physical + (page - view)), true};
    mprotect(reinterpret_cast<void*>(page), PageSize, PROT_NONE);
  }
}

void DetachFaults(uintptr_t view, size_t length) {
  size_t kept = 0;
  for (size_t i = 0; i < pageCount; ++i)
    if (pages[i].Page - view >= length) pages[kept++] = pages[i];
  pageCount = kept;
}

}  // namespace sim
}  // namespace platform
