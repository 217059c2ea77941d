// Pixels of the simulated machine: the frame buffer of the primary display and the bitmaps of
// memory contexts share this one layout, so that GDI, DirectDraw and the checksums all see the
// same bytes a real adapter would hold.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace platform {
namespace sim {

// Whole pages straight from the system, zeroed and page-aligned: a frame buffer costs nothing
// until something draws on it, which keeps a run that never draws cheap, and a page of it can be
// trapped for a memory fault (memory_faults.h) without touching anything else.
void* AllocateZeroedPages(size_t bytes);
void FreeZeroedPages(void* memory, size_t bytes);

template <typename T>
struct ZeroedAllocator {
  using value_type = T;
  ZeroedAllocator() = default;
  template <typename U>
  ZeroedAllocator(const ZeroedAllocator<U>&) {}
  T* allocate(size_t count) { return static_cast<T*>(AllocateZeroedPages(count * sizeof(T))); }
  void deallocate(T* memory, size_t count) { FreeZeroedPages(memory, count * sizeof(T)); }
  // A value-initialised element is already zero.
  template <typename U>
  void construct(U*) noexcept {}
  template <typename U, typename... Args>
  void construct(U* at, Args&&... args) {
    ::new (static_cast<void*>(at)) U(std::forward<Args>(args)...);
  }
  template <typename U>
  bool operator==(const ZeroedAllocator<U>&) const { return true; }
  template <typename U>
  bool operator!=(const ZeroedAllocator<U>&) const { return false; }
};

using PixelStorage = std::vector<uint8_t, ZeroedAllocator<uint8_t>>;

struct PaletteEntry {
  uint8_t Red = 0;
  uint8_t Green = 0;
  uint8_t Blue = 0;
  uint8_t Flags = 0;
};

// Rows top-down, `Pitch` bytes apart (at least the row's length). Pixel formats by depth:
//   8  one palette index
//   16 5-6-5, little-endian: red in bits 11-15, green 5-10, blue 0-4
//   24 blue, green, red
//   32 blue, green, red, one unused byte (0)
struct Surface {
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t Bits = 32;
  int32_t Pitch = 0;
  PixelStorage Pixels;
  // The hardware palette; only an 8-bit surface uses it.
  std::array<PaletteEntry, 256> Palette{};

  // Sets the size and depth and clears the pixels; `pitch` 0 means the row's own length rounded
  // up to four bytes.
  void Allocate(int32_t width, int32_t height, int32_t bits, int32_t pitch = 0) {
    Width = width;
    Height = height;
    Bits = bits;
    const int32_t row = (width * bits / 8 + 3) & ~3;
    Pitch = pitch > row ? pitch : row;
    Pixels = PixelStorage(static_cast<size_t>(Pitch) * static_cast<size_t>(height));
  }
  int32_t BytesPerPixel() const { return Bits / 8; }
  uint8_t* Row(int32_t y) { return Pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(Pitch); }
  const uint8_t* Row(int32_t y) const { return Pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(Pitch); }
};

}  // namespace sim
}  // namespace platform
