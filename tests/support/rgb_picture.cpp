#include "rgb_picture.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wunused-function"
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

RgbPicture ReadRgbPicture(const std::string& path) {
  RgbPicture picture;
  int channels = 0;
  uint8_t* rgb = stbi_load(path.c_str(), &picture.Width, &picture.Height, &channels, 3);
  if (rgb == nullptr) return RgbPicture();
  picture.Pixels.assign(rgb, rgb + static_cast<size_t>(picture.Width) * static_cast<size_t>(picture.Height) * 3);
  stbi_image_free(rgb);
  return picture;
}
