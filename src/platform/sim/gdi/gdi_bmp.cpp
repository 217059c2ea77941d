// LoadImageA of BMP files into sim bitmaps: 1, 4, 8, 16, 24 and 32 bits, uncompressed or with
// bit-field masks, bottom-up or top-down, with the core or the info header.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/files.h"
#include "platform/sim/gdi/gdi_internal.h"

namespace platform {

using namespace sim::gdi;

namespace {

uint32_t Le(const std::vector<uint8_t>& b, size_t at, size_t bytes) {
  uint32_t v = 0;
  for (size_t i = 0; i < bytes; ++i) v |= static_cast<uint32_t>(b[at + i]) << (8 * i);
  return v;
}

// The value of a masked field scaled to 8 bits.
uint8_t Field(uint32_t value, uint32_t mask) {
  if (mask == 0) return 0;
  int shift = 0;
  while (((mask >> shift) & 1) == 0) ++shift;
  uint32_t width = 0;
  while (shift + static_cast<int>(width) < 32 && ((mask >> (shift + static_cast<int>(width))) & 1)) ++width;
  const uint32_t v = (value & mask) >> shift;
  if (width >= 8) return static_cast<uint8_t>(v >> (width - 8));
  // Repeat the field's bits downward, as the 16-bit display does.
  uint32_t out = 0;
  uint32_t filled = 0;
  for (; filled < 8; filled += width) out = (out << width) | v;
  return static_cast<uint8_t>(out >> (filled - 8));
}

struct Decoded {
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t Bits = 0;
  std::vector<sim::PaletteEntry> Table;
  std::vector<uint32_t> Index;  // per pixel, top-down, for tables
  std::vector<ColorRef> Color;  // per pixel, top-down
};

bool Decode(const std::vector<uint8_t>& b, Decoded& out) {
  if (b.size() < 26 || b[0] != 'B' || b[1] != 'M') return false;
  const size_t offBits = Le(b, 10, 4);
  const size_t headerSize = Le(b, 14, 4);
  if (headerSize < 12 || 14 + headerSize > b.size()) return false;
  int32_t width, height;
  uint32_t bits, compression = BiRgb, colors = 0;
  size_t tableEntry = 4;
  if (headerSize == 12) {
    width = static_cast<int16_t>(Le(b, 18, 2));
    height = static_cast<int16_t>(Le(b, 20, 2));
    bits = Le(b, 24, 2);
    tableEntry = 3;
  } else {
    if (headerSize < 40) return false;
    width = static_cast<int32_t>(Le(b, 18, 4));
    height = static_cast<int32_t>(Le(b, 22, 4));
    bits = Le(b, 28, 2);
    compression = Le(b, 30, 4);
    colors = Le(b, 46, 4);
  }
  const bool topDown = height < 0;
  // The lowest height has no positive counterpart; it is far beyond any size read here anyway.
  if (height == INT32_MIN) return false;
  if (topDown) height = -height;
  if (width <= 0 || height <= 0 || width > 32768 || height > 32768) return false;
  if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return false;
  uint32_t masks[3] = {0, 0, 0};
  if (compression == BiBitfields && (bits == 16 || bits == 32)) {
    const size_t at = headerSize >= 52 ? 14 + 40 : 14 + headerSize;
    if (at + 12 > b.size()) return false;
    for (size_t i = 0; i < 3; ++i) masks[i] = Le(b, at + 4 * i, 4);
  } else if (compression != BiRgb) {
    return false;  // run-length and embedded formats are not read
  } else if (bits == 16) {
    masks[0] = 0x7C00, masks[1] = 0x03E0, masks[2] = 0x001F;
  } else if (bits == 32) {
    masks[0] = 0xFF0000, masks[1] = 0x00FF00, masks[2] = 0x0000FF;
  }
  out.Width = width;
  out.Height = height;
  out.Bits = static_cast<int32_t>(bits);
  if (bits <= 8) {
    const size_t count = colors != 0 && colors <= (1u << bits) ? colors : (1u << bits);
    const size_t at = 14 + headerSize;
    if (at + count * tableEntry > b.size()) return false;
    for (size_t i = 0; i < count; ++i) {
      const size_t p = at + i * tableEntry;
      out.Table.push_back(sim::PaletteEntry{b[p + 2], b[p + 1], b[p], 0});
    }
  }
  const size_t stride = (static_cast<size_t>(width) * bits + 31) / 32 * 4;
  if (offBits + stride * static_cast<size_t>(height) > b.size()) return false;
  const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
  out.Index.assign(pixels, 0);
  out.Color.assign(pixels, 0);
  for (int32_t y = 0; y < height; ++y) {
    const size_t fileRow = topDown ? static_cast<size_t>(y) : static_cast<size_t>(height - 1 - y);
    const uint8_t* row = b.data() + offBits + fileRow * stride;
    for (int32_t x = 0; x < width; ++x) {
      const size_t at = static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
      ColorRef c = 0;
      if (bits <= 8) {
        const uint32_t perByte = 8 / bits;
        const uint32_t byte = row[static_cast<uint32_t>(x) / perByte];
        const uint32_t shift = 8 - bits * (static_cast<uint32_t>(x) % perByte + 1);
        uint32_t index = (byte >> shift) & ((1u << bits) - 1);
        if (index >= out.Table.size()) index = 0;
        out.Index[at] = index;
        const sim::PaletteEntry& e = out.Table[index];
        c = Rgb(e.Red, e.Green, e.Blue);
      } else if (bits == 24) {
        const uint8_t* p = row + static_cast<size_t>(x) * 3;
        c = Rgb(p[2], p[1], p[0]);
      } else {
        const size_t n = bits / 8;
        uint32_t v = 0;
        for (size_t i = 0; i < n; ++i) v |= static_cast<uint32_t>(row[static_cast<size_t>(x) * n + i]) << (8 * i);
        c = Rgb(Field(v, masks[0]), Field(v, masks[1]), Field(v, masks[2]));
      }
      out.Color[at] = c;
    }
  }
  return true;
}

}  // namespace

// Only bitmaps from files. A non-zero size without LR_DEFAULTSIZE stretches the picture to it,
// pixel by pixel (nearest source pixel). Without LR_CREATEDIBSECTION the bitmap takes the
// display's depth; with it, the file's table for 1 to 8 bits, else 24 or 32 bits.
HGdiObj LoadImageA(HInstance, const char* name, uint32_t type, int32_t width, int32_t height, uint32_t flags) {
  if (name == nullptr || type != ImageBitmap || (flags & LrLoadFromFile) == 0) return 0;
  std::vector<uint8_t> bytes;
  if (std::FILE* file = OpenFile(name, "rb")) {
    uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0) bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(file);
  } else {
    return 0;
  }
  Decoded d;
  if (!Decode(bytes, d)) return 0;
  const bool defaultSize = (flags & LrDefaultSize) != 0;
  const int32_t outW = width > 0 && !defaultSize ? width : d.Width;
  const int32_t outH = height > 0 && !defaultSize ? height : d.Height;

  std::lock_guard<std::mutex> lock(Lock());
  const bool dib = (flags & LrCreateDibSection) != 0;
  int32_t bits = dib ? (d.Bits <= 8 ? 8 : d.Bits == 32 ? 32 : 24) : DisplayBits();
  Object bitmap;
  bitmap.Type = Kind::Bitmap;
  bitmap.Pixels = std::make_unique<sim::Surface>();
  sim::Surface& s = *bitmap.Pixels;
  s.Allocate(outW, outH, bits);
  const bool keepIndices = dib && d.Bits <= 8;
  if (keepIndices) {
    for (size_t i = 0; i < d.Table.size(); ++i) s.Palette[i] = d.Table[i];
  } else if (bits == 8) {
    if (const sim::Surface* display = DisplaySurface()) s.Palette = display->Palette;
  }
  for (int32_t y = 0; y < outH; ++y) {
    const int32_t sy = static_cast<int32_t>(int64_t{y} * d.Height / outH);
    for (int32_t x = 0; x < outW; ++x) {
      const int32_t sx = static_cast<int32_t>(int64_t{x} * d.Width / outW);
      const size_t at = static_cast<size_t>(sy) * static_cast<size_t>(d.Width) + static_cast<size_t>(sx);
      WritePixel(s, x, y, keepIndices ? d.Index[at] : sim::ColorToPixel(s, d.Color[at]));
    }
  }
  return AddObject(std::move(bitmap));
}

}  // namespace platform
