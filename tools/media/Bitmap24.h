// A 24-bit BMP file of the media kit, from a function that gives each pixel.
#pragma once

#include <cstdint>
#include <vector>

namespace media {

struct Rgb24 {
  uint8_t Red, Green, Blue;
};

// BITMAPFILEHEADER, BITMAPINFOHEADER, then the rows bottom up in blue, green, red, each padded to
// four bytes. `pixel(x, y)` counts y from the top.
template <typename Pixel>
std::vector<uint8_t> Bitmap24File(int32_t width, int32_t height, Pixel pixel) {
  const uint32_t rowBytes = (static_cast<uint32_t>(width) * 3 + 3) & ~3u;
  const uint32_t pixelBytes = rowBytes * static_cast<uint32_t>(height);
  const uint32_t offset = 14 + 40;
  std::vector<uint8_t> file;
  file.reserve(offset + pixelBytes);
  const auto put = [&file](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  file.push_back('B');
  file.push_back('M');
  put(offset + pixelBytes, 4);
  put(0, 4);
  put(offset, 4);
  put(40, 4);
  put(static_cast<uint32_t>(width), 4);
  put(static_cast<uint32_t>(height), 4);
  put(1, 2);
  put(24, 2);
  put(0, 4);  // BI_RGB
  put(pixelBytes, 4);
  put(2835, 4);  // 72 dots per inch
  put(2835, 4);
  put(0, 4);
  put(0, 4);
  for (int32_t y = height - 1; y >= 0; --y) {
    for (int32_t x = 0; x < width; ++x) {
      const Rgb24 p = pixel(x, y);
      file.push_back(p.Blue);
      file.push_back(p.Green);
      file.push_back(p.Red);
    }
    for (uint32_t pad = static_cast<uint32_t>(width) * 3; pad < rowBytes; ++pad) file.push_back(0);
  }
  return file;
}

}  // namespace media
