// D3DX9_25.dll: textures from BMP files. Takes uncompressed pictures of 8 bits with a colour table,
// 24 bits, and 32 bits, whose fourth byte is alpha when the header's masks name it (a V4 or V5
// header, or BI_BITFIELDS) and unused otherwise.
#include <cstddef>
#include <cstdint>
#include <new>

#include "d3dx/D3DX9.h"

using d3dx::Image;

namespace {

constexpr int32_t kLargest = 8192;

uint32_t Le(const uint8_t* bytes, uint32_t at, uint32_t count) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < count; ++i) value |= static_cast<uint32_t>(bytes[at + i]) << (8 * i);
  return value;
}

// The mask's bits of a pixel, widened to 8 bits.
uint32_t Channel(uint32_t pixel, uint32_t mask) {
  if (mask == 0) return 0;
  int shift = 0;
  while (((mask >> shift) & 1) == 0) ++shift;
  const uint32_t max = mask >> shift;
  return static_cast<uint32_t>(uint64_t{(pixel & mask) >> shift} * 255u / max);
}

}  // namespace

// 0 on success; 1 not a BMP, 2 a kind this loader does not take, 3 cut short, 4 no memory.
D3DX_EXPORT int32_t D3DXDecodeBitmap(const uint8_t* bytes, uint32_t size, Image* out) {
  if (out == nullptr) return 1;
  *out = Image{};
  if (bytes == nullptr || size < 54 || bytes[0] != 'B' || bytes[1] != 'M') return 1;
  const uint32_t offset = Le(bytes, 10, 4);
  const uint32_t header = Le(bytes, 14, 4);
  if (header < 40 || 14u + header > size) return 1;
  const auto width = static_cast<int32_t>(Le(bytes, 18, 4));
  const auto rawHeight = static_cast<int32_t>(Le(bytes, 22, 4));
  const uint32_t bits = Le(bytes, 28, 2);
  const uint32_t compression = Le(bytes, 30, 4);
  if (rawHeight == INT32_MIN) return 2;
  const bool topDown = rawHeight < 0;
  const int32_t height = topDown ? -rawHeight : rawHeight;
  if (width <= 0 || height <= 0 || width > kLargest || height > kLargest) return 2;
  if (bits != 8 && bits != 24 && bits != 32) return 2;
  uint32_t masks[4] = {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0};
  if (compression == 3) {  // BI_BITFIELDS: masks in the header, or behind a short one
    if (bits != 32) return 2;
    const uint32_t at = 54;  // the masks follow the 40-byte part of any header
    if (at + 12 > size) return 3;
    for (uint32_t i = 0; i < 3; ++i) masks[i] = Le(bytes, at + 4 * i, 4);
    if (header >= 56) masks[3] = Le(bytes, 66, 4);
  } else if (compression == 0) {
    // A V4 or V5 header names an alpha mask for 32-bit BI_RGB pictures too.
    if (bits == 32 && header >= 56) masks[3] = Le(bytes, 66, 4);
  } else {
    return 2;
  }
  uint32_t palette[256] = {};
  if (bits == 8) {
    uint32_t colours = Le(bytes, 46, 4);
    if (colours == 0 || colours > 256) colours = 256;
    const uint32_t table = 14 + header;
    if (table + colours * 4 > size) return 3;
    for (uint32_t i = 0; i < colours; ++i) palette[i] = 0xFF000000u | (Le(bytes, table + 4 * i, 4) & 0xFFFFFF);
  }
  const size_t stride = (static_cast<size_t>(width) * bits / 8 + 3) & ~size_t{3};
  if (offset > size || stride * static_cast<size_t>(height) > size - offset) return 3;
  auto* pixels = new (std::nothrow) uint32_t[static_cast<size_t>(width) * static_cast<size_t>(height)];
  if (pixels == nullptr) return 4;
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* row = bytes + offset + stride * static_cast<size_t>(topDown ? y : height - 1 - y);
    uint32_t* outRow = pixels + static_cast<size_t>(y) * static_cast<size_t>(width);
    for (int32_t x = 0; x < width; ++x) {
      if (bits == 8) {
        outRow[x] = palette[row[x]];
      } else if (bits == 24) {
        const uint8_t* p = row + 3 * x;
        outRow[x] = 0xFF000000u | static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[1]) << 8 | p[0];
      } else {
        const uint32_t v = Le(row, static_cast<uint32_t>(4 * x), 4);
        const uint32_t a = masks[3] != 0 ? Channel(v, masks[3]) : 255u;
        outRow[x] = a << 24 | Channel(v, masks[0]) << 16 | Channel(v, masks[1]) << 8 | Channel(v, masks[2]);
      }
    }
  }
  *out = Image{width, height, pixels};
  return 0;
}

D3DX_EXPORT void D3DXFreeImage(Image* image) {
  if (image == nullptr) return;
  delete[] image->Pixels;
  *image = Image{};
}
