// Screenshots read back for the tests' checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// A picture as RGB bytes, rows top first; empty when the file cannot be read.
struct RgbPicture {
  int Width = 0;
  int Height = 0;
  std::vector<uint8_t> Pixels;

  bool Empty() const { return Pixels.empty(); }
  const uint8_t* At(int x, int y) const {
    return Pixels.data() + (static_cast<size_t>(y) * static_cast<size_t>(Width) + static_cast<size_t>(x)) * 3;
  }
};

RgbPicture ReadRgbPicture(const std::string& path);
