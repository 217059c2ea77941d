// media\rotate_screen.bmp of the media kit: the picture of RotationTest's retry prompt. A screen
// in landscape, an arrow, and the same screen turned to portrait, 240x140 at 24 bits.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Bitmap24.h"

namespace media {

constexpr int32_t RotateScreenWidth = 240;
constexpr int32_t RotateScreenHeight = 140;

inline Rgb24 RotateScreenPixel(int32_t x, int32_t y) {
  const Rgb24 background{240, 240, 240}, bezel{40, 40, 40}, glass{60, 110, 200}, arrow{200, 40, 40};
  // A screen: a bezel 4 pixels wide around the glass.
  const auto screen = [&](int32_t left, int32_t top, int32_t right, int32_t bottom, Rgb24& out) {
    if (x < left || x >= right || y < top || y >= bottom) return false;
    const bool inside = x >= left + 4 && x < right - 4 && y >= top + 4 && y < bottom - 4;
    out = inside ? glass : bezel;
    return true;
  };
  Rgb24 out = background;
  if (screen(15, 40, 105, 100, out) || screen(165, 25, 225, 115, out)) return out;
  // The arrow: a shaft from 115 to 140 and a head to 155, pointing right.
  if (x >= 115 && x < 140 && std::abs(y - 70) <= 2) return arrow;
  if (x >= 140 && x < 155 && std::abs(y - 70) <= 155 - x) return arrow;
  return background;
}

inline std::vector<uint8_t> RotateScreenBitmapFile() {
  return Bitmap24File(RotateScreenWidth, RotateScreenHeight, RotateScreenPixel);
}

}  // namespace media
