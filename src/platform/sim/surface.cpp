#include "platform/sim/surface.h"

#include <sys/mman.h>

namespace platform {
namespace sim {

namespace {

constexpr size_t PageSize = 4096;

size_t WholePages(size_t bytes) { return bytes == 0 ? PageSize : (bytes + PageSize - 1) & ~(PageSize - 1); }

}  // namespace

void* AllocateZeroedPages(size_t bytes) {
  void* memory = mmap(nullptr, WholePages(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return memory;
}

void FreeZeroedPages(void* memory, size_t bytes) {
  if (memory != nullptr) munmap(memory, WholePages(bytes));
}

}  // namespace sim
}  // namespace platform
