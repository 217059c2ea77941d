// Little-endian words in byte records: the driver's requests, firmware tables, files on disk.
#pragma once

#include <cstdint>

namespace platform {

inline uint16_t Get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t Get32(const uint8_t* p) { return uint32_t{Get16(p)} | uint32_t{Get16(p + 2)} << 16; }
inline void Put16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void Put32(uint8_t* p, uint32_t v) {
  Put16(p, v);
  Put16(p + 2, v >> 16);
}

}  // namespace platform
