// ball.bmp of the media kit: a shaded ball with a highlight on a checkerboard, 64x64 at 24 bits.
// The checkerboard gives every raster operation of BltTest both dark and bright source bits, and
// the shading gives it gradients. Header only, so that tests can make the same bytes.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "Bitmap24.h"

namespace media {

constexpr int32_t BallSize = 64;

// The pixel at (x, y), y counted from the top.
inline Rgb24 BallPixel(int32_t x, int32_t y) {
  const double radius = 27.0;
  const double dx = (x + 0.5 - 32.0) / radius;
  const double dy = (y + 0.5 - 32.0) / radius;
  const double d2 = dx * dx + dy * dy;
  if (d2 > 1.0) {
    const bool light = ((x / 8) + (y / 8)) % 2 == 0;
    return light ? Rgb24{250, 214, 40} : Rgb24{24, 56, 150};
  }
  const double dz = std::sqrt(1.0 - d2);
  // Light from the upper left and in front; the half vector with a viewer straight ahead.
  const double lx = -0.48, ly = -0.56, lz = 0.675;
  const double diffuse = std::max(0.0, dx * lx + dy * ly + dz * lz);
  const double hLength = std::sqrt(lx * lx + ly * ly + (lz + 1.0) * (lz + 1.0));
  double shine = std::max(0.0, (dx * lx + dy * ly + dz * (lz + 1.0)) / hLength);
  for (int i = 0; i < 5; ++i) shine *= shine;  // to the 32nd power, exactly on every platform
  const auto channel = [&](double base) {
    const double value = base * (0.12 + 0.88 * diffuse) + 255.0 * shine;
    return static_cast<uint8_t>(std::min(255.0, value + 0.5));
  };
  return Rgb24{channel(225.0), channel(36.0), channel(48.0)};
}

inline std::vector<uint8_t> BallBitmapFile() { return Bitmap24File(BallSize, BallSize, BallPixel); }

}  // namespace media
