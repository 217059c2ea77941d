// What both video memory tests write: the eight test patterns in their order, and the C runtime's
// pseudo-random numbers, so that one seed gives the same bytes on every platform.
#pragma once

#include <cstdint>

constexpr uint8_t MemoryTestPatterns[8] = {0x00, 0xA5, 0x5A, 0x55, 0xAA, 0x00, 0xFF, 0x00};

// rand() of the Microsoft C runtime after srand(seed): 0 to 32767.
inline uint32_t NextRandom(uint32_t& seed) {
  seed = seed * 214013u + 2531011u;
  return (seed >> 16) & 0x7FFF;
}
