// GDI+'s pictures on the simulated machine: files decoded by stb_image (BMP, PNG, JPEG, GIF's
// first frame, as GDI+ shows a GIF), drawn through a context of the sim GDI with their alpha.
#include "platform/gdiplus.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/files.h"
#include "platform/sim/gdi/gdi_internal.h"

// Static, so that the program's tests may bring their own copy of the decoder.
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_BMP
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_GIF
#define STBI_NO_STDIO
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wdouble-promotion"
#endif
#include <stb/stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace platform {

namespace {

struct Picture {
  int32_t Width = 0;
  int32_t Height = 0;
  std::vector<uint8_t> Rgba;
};

struct Library {
  std::mutex Lock;
  int32_t Started = 0;
  uintptr_t NextHandle = 0x6000;
  std::map<uintptr_t, std::unique_ptr<Picture>> Pictures;
  std::map<uintptr_t, Hdc> Graphics;
};

Library& L() {
  static Library library;
  return library;
}

constexpr size_t MaxFileBytes = 256u << 20;

bool ReadAll(const std::string& path, std::vector<uint8_t>& bytes) {
  std::FILE* file = OpenFile(path, "rb");
  if (file == nullptr) return false;
  uint8_t chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0 && bytes.size() <= MaxFileBytes)
    bytes.insert(bytes.end(), chunk, chunk + n);
  std::fclose(file);
  return bytes.size() <= MaxFileBytes;
}

}  // namespace

GpStatus GdiplusStartup(uintptr_t* token, const GdiplusStartupInput* input, void*) {
  if (token == nullptr || input == nullptr) return GpInvalidParameter;
  if (input->GdiplusVersion != 1) return 17;  // UnsupportedGdiplusVersion
  std::lock_guard<std::mutex> hold(L().Lock);
  *token = static_cast<uintptr_t>(++L().Started);
  return GpOk;
}

void GdiplusShutdown(uintptr_t) {
  std::lock_guard<std::mutex> hold(L().Lock);
  if (L().Started > 0) --L().Started;
}

GpStatus GdipLoadImageFromFile(const wchar_t* path, GpImage* image) {
  if (path == nullptr || image == nullptr) return GpInvalidParameter;
  {
    std::lock_guard<std::mutex> hold(L().Lock);
    if (L().Started == 0) return GpGdiplusNotInitialized;
  }
  std::string narrow;
  for (const wchar_t* c = path; *c != 0; ++c) narrow.push_back(static_cast<char>(*c));
  std::vector<uint8_t> bytes;
  if (!ReadAll(narrow, bytes)) return GpFileNotFound;
  int width = 0;
  int height = 0;
  int channels = 0;
  stbi_uc* pixels = stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height, &channels, 4);
  if (pixels == nullptr) return GpUnknownImageFormat;
  auto picture = std::make_unique<Picture>();
  picture->Width = width;
  picture->Height = height;
  picture->Rgba.assign(pixels, pixels + static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  stbi_image_free(pixels);
  std::lock_guard<std::mutex> hold(L().Lock);
  const uintptr_t handle = L().NextHandle += 4;
  L().Pictures[handle] = std::move(picture);
  *image = handle;
  return GpOk;
}

GpStatus GdipGetImageWidth(GpImage image, uint32_t* width) {
  std::lock_guard<std::mutex> hold(L().Lock);
  auto it = L().Pictures.find(image);
  if (it == L().Pictures.end() || width == nullptr) return GpInvalidParameter;
  *width = static_cast<uint32_t>(it->second->Width);
  return GpOk;
}

GpStatus GdipGetImageHeight(GpImage image, uint32_t* height) {
  std::lock_guard<std::mutex> hold(L().Lock);
  auto it = L().Pictures.find(image);
  if (it == L().Pictures.end() || height == nullptr) return GpInvalidParameter;
  *height = static_cast<uint32_t>(it->second->Height);
  return GpOk;
}

GpStatus GdipDisposeImage(GpImage image) {
  std::lock_guard<std::mutex> hold(L().Lock);
  return L().Pictures.erase(image) ? GpOk : GpInvalidParameter;
}

GpStatus GdipCreateFromHDC(Hdc dc, GpGraphics* graphics) {
  if (graphics == nullptr || dc == 0) return GpInvalidParameter;
  {
    std::lock_guard<std::mutex> gdiHold(sim::gdi::Lock());
    if (sim::gdi::FindDc(dc) == nullptr) return GpOutOfMemory;  // what GDI+ says of a bad context
  }
  std::lock_guard<std::mutex> hold(L().Lock);
  const uintptr_t handle = L().NextHandle += 4;
  L().Graphics[handle] = dc;
  *graphics = handle;
  return GpOk;
}

GpStatus GdipDeleteGraphics(GpGraphics graphics) {
  std::lock_guard<std::mutex> hold(L().Lock);
  return L().Graphics.erase(graphics) ? GpOk : GpInvalidParameter;
}

GpStatus GdipDrawImageRectI(GpGraphics graphics, GpImage image, int32_t x, int32_t y, int32_t width, int32_t height) {
  using namespace sim::gdi;
  if (width <= 0 || height <= 0) return GpInvalidParameter;
  std::lock_guard<std::mutex> hold(L().Lock);
  auto g = L().Graphics.find(graphics);
  auto p = L().Pictures.find(image);
  if (g == L().Graphics.end() || p == L().Pictures.end()) return GpInvalidParameter;
  const Picture& picture = *p->second;
  std::lock_guard<std::mutex> gdiHold(Lock());
  Dc* dc = FindDc(g->second);
  Target target;
  if (dc == nullptr || !ResolveTarget(*dc, target)) return GpInvalidParameter;
  sim::Surface& surface = *target.Pixels;
  const Rect wanted{target.OriginX + x, target.OriginY + y, target.OriginX + x + width, target.OriginY + y + height};
  const Rect area = sim::Intersect(wanted, target.Clip);
  for (int32_t sy = area.Top; sy < area.Bottom; ++sy) {
    const int64_t py = static_cast<int64_t>(sy - wanted.Top) * picture.Height / height;
    for (int32_t sx = area.Left; sx < area.Right; ++sx) {
      const int64_t px = static_cast<int64_t>(sx - wanted.Left) * picture.Width / width;
      const uint8_t* rgba = &picture.Rgba[static_cast<size_t>((py * picture.Width + px) * 4)];
      const uint32_t alpha = rgba[3];
      if (alpha == 0) continue;
      uint32_t r = rgba[0];
      uint32_t gr = rgba[1];
      uint32_t b = rgba[2];
      if (alpha < 255) {
        const ColorRef under = sim::PixelToColor(surface, ReadPixel(surface, sx, sy));
        r = (r * alpha + (under & 0xFF) * (255 - alpha) + 127) / 255;
        gr = (gr * alpha + ((under >> 8) & 0xFF) * (255 - alpha) + 127) / 255;
        b = (b * alpha + ((under >> 16) & 0xFF) * (255 - alpha) + 127) / 255;
      }
      WritePixel(surface, sx, sy, DcColorToPixel(*dc, surface, r | (gr << 8) | (b << 16)));
    }
  }
  CoverTextRuns(surface, area);
  return GpOk;
}

}  // namespace platform
