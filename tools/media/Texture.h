// texture3.bmp of the media kit: the face of OpenGL3DRenderingTest's cube, 128x128 at 24 bits.
// Four quadrants in different colours and an "F" show which way the texture lies (a mirrored or
// turned face shows at once); a strip of one-pixel checks, a ramp and a one-pixel white frame show
// how it is filtered and wrapped. Integer arithmetic only, so every platform makes the same bytes.
// Header only, so that tests can make the same bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "Bitmap24.h"

namespace media {

constexpr int32_t TextureSize = 128;

// The pixel at (x, y), y counted from the top.
inline Rgb24 TexturePixel(int32_t x, int32_t y) {
  const int32_t last = TextureSize - 1, half = TextureSize / 2;
  if (x == 0 || y == 0 || x == last || y == last) return Rgb24{255, 255, 255};
  if (y >= 4 && y < 12) return ((x + y) & 1) != 0 ? Rgb24{255, 255, 255} : Rgb24{0, 0, 0};
  const bool left = x < half, top = y < half;
  if (left && top) {
    const bool stem = x >= 16 && x < 24 && y >= 16 && y < 56;
    const bool bar = y >= 16 && y < 24 && x >= 16 && x < 48;
    const bool middle = y >= 32 && y < 40 && x >= 16 && x < 40;
    return stem || bar || middle ? Rgb24{255, 255, 255} : Rgb24{170, 30, 30};
  }
  if (top) return Rgb24{30, 140, 50};
  if (left) return Rgb24{20, 40, static_cast<uint8_t>(96 + x * 2)};  // a ramp to the right
  // The diagonal runs from the centre to the bottom right corner.
  return x - half == y - half ? Rgb24{255, 255, 255} : Rgb24{210, 160, 20};
}

// The whole file, a 24-bit BMP of the pixels above.
inline std::vector<uint8_t> TextureBitmapFile() { return Bitmap24File(TextureSize, TextureSize, TexturePixel); }

}  // namespace media
