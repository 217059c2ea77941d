#include "platform/gdiplus.h"

#include <windows.h>
#include <gdiplus.h>

namespace platform {

namespace {

namespace flat = Gdiplus::DllExports;

Gdiplus::GpImage* I(GpImage image) { return reinterpret_cast<Gdiplus::GpImage*>(image); }
Gdiplus::GpGraphics* G(GpGraphics graphics) { return reinterpret_cast<Gdiplus::GpGraphics*>(graphics); }

static_assert(sizeof(GdiplusStartupInput) == sizeof(Gdiplus::GdiplusStartupInput), "GdiplusStartupInput layout");

}  // namespace

GpStatus GdiplusStartup(uintptr_t* token, const GdiplusStartupInput* input, void* output) {
  ULONG_PTR t = 0;
  const GpStatus status = Gdiplus::GdiplusStartup(&t, reinterpret_cast<const Gdiplus::GdiplusStartupInput*>(input),
                                                  static_cast<Gdiplus::GdiplusStartupOutput*>(output));
  if (token != nullptr) *token = static_cast<uintptr_t>(t);
  return status;
}

void GdiplusShutdown(uintptr_t token) { Gdiplus::GdiplusShutdown(static_cast<ULONG_PTR>(token)); }

GpStatus GdipLoadImageFromFile(const wchar_t* path, GpImage* image) {
  Gdiplus::GpImage* out = nullptr;
  const GpStatus status = flat::GdipLoadImageFromFile(path, &out);
  if (image != nullptr) *image = reinterpret_cast<GpImage>(out);
  return status;
}

GpStatus GdipGetImageWidth(GpImage image, uint32_t* width) {
  UINT w = 0;
  const GpStatus status = flat::GdipGetImageWidth(I(image), &w);
  if (width != nullptr) *width = w;
  return status;
}

GpStatus GdipGetImageHeight(GpImage image, uint32_t* height) {
  UINT h = 0;
  const GpStatus status = flat::GdipGetImageHeight(I(image), &h);
  if (height != nullptr) *height = h;
  return status;
}

GpStatus GdipDisposeImage(GpImage image) { return flat::GdipDisposeImage(I(image)); }

GpStatus GdipCreateFromHDC(Hdc dc, GpGraphics* graphics) {
  Gdiplus::GpGraphics* out = nullptr;
  const GpStatus status = flat::GdipCreateFromHDC(reinterpret_cast<HDC>(dc), &out);
  if (graphics != nullptr) *graphics = reinterpret_cast<GpGraphics>(out);
  return status;
}

GpStatus GdipDrawImageRectI(GpGraphics graphics, GpImage image, int32_t x, int32_t y, int32_t width, int32_t height) {
  return flat::GdipDrawImageRectI(G(graphics), I(image), x, y, width, height);
}

GpStatus GdipDeleteGraphics(GpGraphics graphics) { return flat::GdipDeleteGraphics(G(graphics)); }

}  // namespace platform
