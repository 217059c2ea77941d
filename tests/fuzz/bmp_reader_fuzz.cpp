// Pictures beside the program are files anyone can replace: any bytes as a BMP file give either
// no bitmap or one of the size the header claims (or was asked for), never a fault.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/gdi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path = "/tmp/bmp-fuzz-" + std::to_string(getpid()) + ".bmp";
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  const uint32_t flags = platform::LrLoadFromFile | platform::LrCreateDibSection;
  // As the file says, then stretched to a small size, which walks the source pixels differently.
  const int32_t sizes[2][2] = {{0, 0}, {7, 5}};
  for (const auto& asked : sizes) {
    const platform::HGdiObj bitmap = platform::LoadImageA(0, path.c_str(), platform::ImageBitmap, asked[0], asked[1],
                                                          flags);
    if (bitmap == 0) continue;
    platform::Bitmap info;
    if (platform::GetObjectA(bitmap, sizeof info, &info) != sizeof info) std::abort();
    if (info.Width < 1 || info.Height < 1 || info.Width > 32768 || info.Height > 32768) std::abort();
    if (asked[0] != 0 && (info.Width != asked[0] || info.Height != asked[1])) std::abort();
    platform::DeleteObject(bitmap);
  }
  std::remove(path.c_str());
  return 0;
}
