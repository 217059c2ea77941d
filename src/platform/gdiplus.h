// Pictures through GDI+'s flat interface: start and stop, load a picture file (BMP, PNG, JPEG,
// GIF), its size, and drawing it through a graphics object made on a device context. One call
// here for one Gdip call, with its status codes.
#pragma once

#include <cstdint>

#include "platform/gdi.h"

namespace platform {

using GpStatus = int32_t;        // Gdiplus::Status
using GpImage = uintptr_t;       // GpImage*
using GpGraphics = uintptr_t;    // GpGraphics*

constexpr GpStatus GpOk = 0;
constexpr GpStatus GpInvalidParameter = 2;
constexpr GpStatus GpOutOfMemory = 3;
constexpr GpStatus GpFileNotFound = 10;
constexpr GpStatus GpUnknownImageFormat = 13;
constexpr GpStatus GpGdiplusNotInitialized = 18;

struct GdiplusStartupInput {  // Gdiplus::GdiplusStartupInput
  uint32_t GdiplusVersion = 1;
  void* DebugEventCallback = nullptr;
  int32_t SuppressBackgroundThread = 0;
  int32_t SuppressExternalCodecs = 0;
};

GpStatus GdiplusStartup(uintptr_t* token, const GdiplusStartupInput* input, void* output);
void GdiplusShutdown(uintptr_t token);

GpStatus GdipLoadImageFromFile(const wchar_t* path, GpImage* image);
GpStatus GdipGetImageWidth(GpImage image, uint32_t* width);
GpStatus GdipGetImageHeight(GpImage image, uint32_t* height);
GpStatus GdipDisposeImage(GpImage image);

GpStatus GdipCreateFromHDC(Hdc dc, GpGraphics* graphics);
// Draws the whole picture scaled into the rectangle (x, y, width, height), cut by the context.
GpStatus GdipDrawImageRectI(GpGraphics graphics, GpImage image, int32_t x, int32_t y, int32_t width, int32_t height);
GpStatus GdipDeleteGraphics(GpGraphics graphics);

}  // namespace platform
