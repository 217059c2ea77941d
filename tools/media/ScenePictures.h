// The three pictures of the rendering library's scene, written by the media kit. Header only, so
// that tests can make the same bytes.
//   COIN.BMP    128x128, 32 bits with alpha (V4 header): a gold coin with a square hole, clear
//               outside the rim and in the hole
//   BW.BMP      64x64, 8 bits with a two-colour table: black and white squares, 8 by 8 pixels
//   BLOCKS.BMP  64x64, 24 bits: four bricks in mortar, each its own colour
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace media {

namespace scene_detail {

inline void Put(std::vector<uint8_t>& file, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) file.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// BITMAPFILEHEADER and the start of a BITMAPINFOHEADER of a bottom-up picture.
inline std::vector<uint8_t> Headers(int32_t size, uint32_t headerSize, uint16_t bits, uint32_t compression,
                                    uint32_t extra, uint32_t pixelBytes, uint32_t colours) {
  std::vector<uint8_t> file{'B', 'M'};
  const uint32_t offset = 14 + headerSize + extra;
  Put(file, offset + pixelBytes, 4);
  Put(file, 0, 4);
  Put(file, offset, 4);
  Put(file, headerSize, 4);
  Put(file, static_cast<uint32_t>(size), 4);
  Put(file, static_cast<uint32_t>(size), 4);
  Put(file, 1, 2);
  Put(file, bits, 2);
  Put(file, compression, 4);
  Put(file, pixelBytes, 4);
  Put(file, 2835, 4);
  Put(file, 2835, 4);
  Put(file, colours, 4);
  Put(file, 0, 4);
  return file;
}

}  // namespace scene_detail

constexpr int32_t CoinSize = 128;

// 0xAARRGGBB of the coin picture at (x, y), y from the top.
inline uint32_t CoinPixel(int32_t x, int32_t y) {
  const double c = CoinSize / 2.0;
  const double dx = (x + 0.5 - c) / c, dy = (y + 0.5 - c) / c;
  const double r = std::sqrt(dx * dx + dy * dy);
  if (r > 0.98 || (std::fabs(dx) < 0.16 && std::fabs(dy) < 0.16)) return 0;  // outside, and the hole
  // A raised rim, a ring of beads and sixteen rays, lit from the upper left.
  double light = 0.78 - 0.22 * (dx + dy) / std::max(r, 1e-6) * std::min(1.0, r);
  if (r > 0.86) light += 0.2;
  else if (r > 0.72 && std::fmod(std::atan2(dy, dx) + 4.0, 0.3927) < 0.2) light -= 0.25;
  else if (std::fmod(std::atan2(dy, dx) + 4.0, 0.3927) < 0.06 && r > 0.25) light -= 0.15;
  if (std::fabs(std::fabs(dx) - 0.16) < 0.03 && std::fabs(dy) < 0.19) light -= 0.3;
  if (std::fabs(std::fabs(dy) - 0.16) < 0.03 && std::fabs(dx) < 0.19) light -= 0.3;
  light = std::min(1.0, std::max(0.15, light));
  const auto channel = [light](double base) { return static_cast<uint32_t>(std::min(255.0, base * light + 0.5)); };
  return 0xFF000000u | channel(255) << 16 | channel(200) << 8 | channel(60);
}

inline std::vector<uint8_t> CoinBitmapFile() {
  const uint32_t pixelBytes = CoinSize * CoinSize * 4;
  // BITMAPV4HEADER: the 40 bytes, four masks, colour space and its 48 bytes of end points and gammas.
  std::vector<uint8_t> file = scene_detail::Headers(CoinSize, 108, 32, 3, 0, pixelBytes, 0);
  for (uint32_t mask : {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFF000000u}) scene_detail::Put(file, mask, 4);
  scene_detail::Put(file, 0x73524742, 4);  // 'sRGB'
  file.resize(file.size() + 48, 0);
  for (int32_t y = CoinSize - 1; y >= 0; --y)
    for (int32_t x = 0; x < CoinSize; ++x) scene_detail::Put(file, CoinPixel(x, y), 4);
  return file;
}

constexpr int32_t FloorSize = 64;

inline bool FloorWhite(int32_t x, int32_t y) { return ((x / 8) + (y / 8)) % 2 == 0; }

inline std::vector<uint8_t> FloorBitmapFile() {
  const uint32_t pixelBytes = FloorSize * FloorSize;
  std::vector<uint8_t> file = scene_detail::Headers(FloorSize, 40, 8, 0, 8, pixelBytes, 2);
  scene_detail::Put(file, 0x00101010, 4);  // black, a little lifted
  scene_detail::Put(file, 0x00F0F0F0, 4);
  for (int32_t y = FloorSize - 1; y >= 0; --y)
    for (int32_t x = 0; x < FloorSize; ++x) file.push_back(FloorWhite(x, y) ? 1 : 0);
  return file;
}

constexpr int32_t BlocksSize = 64;

// 0x00RRGGBB of the blocks picture at (x, y), y from the top.
inline uint32_t BlocksPixel(int32_t x, int32_t y) {
  const int32_t row = y / 32;
  const int32_t shifted = (x + (row % 2) * 16) % 64;
  const int32_t column = shifted / 32;
  if (y % 32 < 3 || shifted % 32 < 3) return 0x8C8C84;  // mortar
  static const uint32_t bricks[4] = {0xB4402C, 0xD07A2A, 0x3C6EB4, 0x4E9A3C};
  const uint32_t base = bricks[row * 2 + column];
  // A bevel: lighter at the brick's top and left, darker at its bottom and right.
  const int32_t u = shifted % 32, v = y % 32;
  const int shade = u < 6 || v < 6 ? 40 : u > 28 || v > 28 ? -50 : 0;
  uint32_t out = 0;
  for (int shift = 16; shift >= 0; shift -= 8) {
    const int value = std::min(255, std::max(0, static_cast<int>((base >> shift) & 0xFF) + shade));
    out |= static_cast<uint32_t>(value) << shift;
  }
  return out;
}

inline std::vector<uint8_t> BlocksBitmapFile() {
  const uint32_t pixelBytes = BlocksSize * BlocksSize * 3;
  std::vector<uint8_t> file = scene_detail::Headers(BlocksSize, 40, 24, 0, 0, pixelBytes, 0);
  for (int32_t y = BlocksSize - 1; y >= 0; --y)
    for (int32_t x = 0; x < BlocksSize; ++x) scene_detail::Put(file, BlocksPixel(x, y), 3);
  return file;
}

}  // namespace media
