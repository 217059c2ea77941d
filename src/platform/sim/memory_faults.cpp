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
constexpr size_t MaxByteFaults = 128;
constexpr size_t MaxTrappedPages = 256;
constexpr size_t MaxPending = 4;
constexpr size_t MaxFlips = 16;

struct SpaceFault {
  FaultSpace Space;
  ByteFault Fault;  // Flips counts the reads left
};

struct TrappedPage {
  uintptr_t Page;
  FaultSpace Space;
  uint32_t Offset;  // of the page's first byte in its space
  bool Live;
};

struct Flip {
  volatile uint8_t* At;
  ByteFault* Fault;
};

// Fixed arrays: the signal handlers read them and must not allocate.
SpaceFault faults[MaxByteFaults];
size_t faultCount = 0;
TrappedPage pages[MaxTrappedPages];
size_t pageCount = 0;

TrappedPage* pending[MaxPending];
size_t pendingCount = 0;
Flip flips[MaxFlips];
size_t flipCount = 0;

struct sigaction previousSegv;
struct sigaction previousTrap;
bool handlersInstalled = false;

bool IsLive(const ByteFault& f) { return (f.StuckClear | f.StuckSet) != 0 || f.Flips != 0; }

bool HasLiveFault(FaultSpace space, uint32_t pageOffset) {
  for (size_t i = 0; i < faultCount; ++i) {
    const SpaceFault& f = faults[i];
    if (f.Space == space && f.Fault.Offset - pageOffset < PageSize && IsLive(f.Fault)) return true;
  }
  return false;
}

void EnforceStuckBits(const TrappedPage& page) {
  for (size_t i = 0; i < faultCount; ++i) {
    const SpaceFault& f = faults[i];
    if (f.Space != page.Space || f.Fault.Offset - page.Offset >= PageSize) continue;
    if ((f.Fault.StuckClear | f.Fault.StuckSet) == 0) continue;
    volatile uint8_t* byte = reinterpret_cast<volatile uint8_t*>(page.Page + (f.Fault.Offset - page.Offset));
    *byte = static_cast<uint8_t>((*byte & ~f.Fault.StuckClear) | f.Fault.StuckSet);
  }
}

#if defined(__x86_64__) || defined(__i386__)
#if defined(__x86_64__)
constexpr int InstructionRegister = REG_RIP;
#else
constexpr int InstructionRegister = REG_EIP;
#endif
constexpr int FlagsRegister = REG_EFL;
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
  // Open the page first: the flips below and the instruction both need it.
  mprotect(reinterpret_cast<void*>(page->Page), PageSize, PROT_READ | PROT_WRITE);
  pending[pendingCount++] = page;
  const bool isWrite = (uc->uc_mcontext.gregs[REG_ERR] & 2) != 0;
  if (!isWrite) {
    // Every flaky byte of this page that the read covers reads inverted, once.
    const uint32_t first = page->Offset + static_cast<uint32_t>(address - page->Page);
    const size_t width = ReadWidth(reinterpret_cast<const uint8_t*>(uc->uc_mcontext.gregs[InstructionRegister]));
    for (size_t i = 0; i < faultCount && flipCount < MaxFlips; ++i) {
      SpaceFault& f = faults[i];
      if (f.Space != page->Space || f.Fault.Flips == 0 || f.Fault.Offset - first >= width ||
          f.Fault.Offset - page->Offset >= PageSize)
        continue;
      volatile uint8_t* at = reinterpret_cast<volatile uint8_t*>(page->Page + (f.Fault.Offset - page->Offset));
      *at = static_cast<uint8_t>(*at ^ f.Fault.FlipMask);
      flips[flipCount++] = Flip{at, &f.Fault};
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
  for (size_t i = 0; i < flipCount; ++i) {
    *flips[i].At = static_cast<uint8_t>(*flips[i].At ^ flips[i].Fault->FlipMask);
    --flips[i].Fault->Flips;
  }
  flipCount = 0;
  for (size_t i = 0; i < pendingCount; ++i) {
    TrappedPage& page = *pending[i];
    EnforceStuckBits(page);
    if (HasLiveFault(page.Space, page.Offset)) mprotect(reinterpret_cast<void*>(page.Page), PageSize, PROT_NONE);
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

size_t ReadWidth(const uint8_t* code) {
  bool operand16 = false, repeat = false, repeatNot = false;
  size_t at = 0;
  for (;; ++at) {
    const uint8_t b = code[at];
    if (b == 0x66) operand16 = true;
    else if (b == 0xF3) repeat = true;
    else if (b == 0xF2) repeatNot = true;
    else if (b != 0x67 && b != 0xF0 && b != 0x2E && b != 0x36 && b != 0x3E && b != 0x26 && b != 0x64 && b != 0x65)
      break;
    if (at == 14) return 1;  // no instruction is this long
  }
  bool wide = false;
#if defined(__x86_64__)
  if ((code[at] & 0xF0) == 0x40) wide = (code[at++] & 0x08) != 0;
#endif
  const size_t word = wide ? 8 : operand16 ? 2 : 4;
  switch (code[at]) {
    // mov, cmp, test and the arithmetic with a byte in memory
    case 0x02: case 0x0A: case 0x12: case 0x1A: case 0x22: case 0x2A: case 0x32: case 0x38: case 0x3A:
    case 0x80: case 0x84: case 0x8A: case 0xF6:
      return 1;
    // the same with a word, double word or quad word
    case 0x03: case 0x0B: case 0x13: case 0x1B: case 0x23: case 0x2B: case 0x33: case 0x39: case 0x3B:
    case 0x81: case 0x83: case 0x85: case 0x8B: case 0xF7:
      return word;
    case 0x0F:
      switch (code[at + 1]) {
        case 0xB6: case 0xBE: return 1;          // movzx, movsx from a byte
        case 0xB7: case 0xBF: return 2;          // from a word
        case 0x10: return repeat ? 4 : repeatNot ? 8 : 16;  // movss, movsd, movups, movupd
        case 0x28: return 16;                   // movaps, movapd
        case 0x6F: return operand16 || repeat ? 16 : 8;  // movdqa, movdqu; movq to an MMX register
        case 0x74: case 0x75: case 0x76: return operand16 ? 16 : 8;  // pcmpeqb, w, d
        case 0x7E: return repeat ? 8 : 1;       // movq to an SSE register
        case 0xF6: return operand16 ? 16 : 8;   // psadbw, which the frame-buffer sum may read memory with
        default: return 1;
      }
    default:
      return 1;
  }
}

void SetByteFaults(FaultSpace space, const std::vector<ByteFault>& list) {
  size_t kept = 0;
  for (size_t i = 0; i < faultCount; ++i)
    if (faults[i].Space != space) faults[kept++] = faults[i];
  faultCount = kept;
  const size_t first = faultCount;
  for (const ByteFault& f : list) {
    SpaceFault* slot = nullptr;
    for (size_t i = first; i < faultCount; ++i)
      if (faults[i].Fault.Offset == f.Offset) slot = &faults[i];
    if (!slot) {
      if (faultCount == MaxByteFaults) continue;
      slot = &faults[faultCount++];
      *slot = SpaceFault{space, ByteFault{f.Offset, 0, 0, 0, 0}};
    }
    ByteFault& merged = slot->Fault;
    merged.StuckClear = static_cast<uint8_t>(merged.StuckClear | f.StuckClear);
    merged.StuckSet = static_cast<uint8_t>(merged.StuckSet | f.StuckSet);
    merged.FlipMask = static_cast<uint8_t>(merged.FlipMask | f.FlipMask);
    merged.Flips += f.Flips;
  }
}

std::vector<ByteFault> ByteFaultsOf(FaultSpace space) {
  std::vector<ByteFault> out;
  for (size_t i = 0; i < faultCount; ++i)
    if (faults[i].Space == space) out.push_back(faults[i].Fault);
  return out;
}

void ApplyStuckBits(FaultSpace space, uint8_t* memory, uint32_t offset, size_t length) {
  for (size_t i = 0; i < faultCount; ++i) {
    const SpaceFault& f = faults[i];
    if (f.Space != space || f.Fault.Offset - offset >= length || (f.Fault.StuckClear | f.Fault.StuckSet) == 0) continue;
    uint8_t& byte = memory[f.Fault.Offset - offset];
    byte = static_cast<uint8_t>((byte & ~f.Fault.StuckClear) | f.Fault.StuckSet);
  }
}

void AttachFaults(FaultSpace space, uintptr_t view, size_t length, uint32_t offset) {
  for (size_t i = 0; i < faultCount; ++i) {
    const SpaceFault& f = faults[i];
    if (f.Space != space || f.Fault.Offset - offset >= length || !IsLive(f.Fault)) continue;
    uintptr_t page = (view + (f.Fault.Offset - offset)) & ~(uintptr_t{PageSize} - 1);
    bool known = false;
    for (size_t j = 0; j < pageCount; ++j)
      if (pages[j].Page == page && pages[j].Live) known = true;
    if (known || pageCount == MaxTrappedPages) continue;
    InstallHandlers();
    pages[pageCount++] = TrappedPage{page, space, static_cast<uint32_t>(offset + (page - view)), true};
    mprotect(reinterpret_cast<void*>(page), PageSize, PROT_NONE);
  }
}

void DetachFaults(uintptr_t view, size_t length) {
  size_t kept = 0;
  for (size_t i = 0; i < pageCount; ++i) {
    if (pages[i].Page - view >= length) {
      pages[kept++] = pages[i];
      continue;
    }
    if (pages[i].Live) mprotect(reinterpret_cast<void*>(pages[i].Page), PageSize, PROT_READ | PROT_WRITE);
  }
  pageCount = kept;
}

}  // namespace sim
}  // namespace platform
