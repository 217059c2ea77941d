// The OpenGL context of a window: pixel formats of a window's device context, the wgl context
// calls and SwapBuffers, one call here for one Windows call. The drawing itself is plain OpenGL
// (opengl32 on Windows; OSMesa on the simulated machine, whose contexts render into a buffer of
// the window's size that SwapBuffers presents into the window's part of the frame buffer).
#pragma once

#include <cstdint>

#include "platform/gdi.h"

namespace platform {

using HGlrc = uintptr_t;  // HGLRC

// PIXELFORMATDESCRIPTOR, the 40-byte record.
struct PixelFormatDescriptor {
  uint16_t Size = 40;
  uint16_t Version = 1;
  uint32_t Flags = 0;
  uint8_t PixelType = 0;
  uint8_t ColorBits = 0;
  uint8_t RedBits = 0;
  uint8_t RedShift = 0;
  uint8_t GreenBits = 0;
  uint8_t GreenShift = 0;
  uint8_t BlueBits = 0;
  uint8_t BlueShift = 0;
  uint8_t AlphaBits = 0;
  uint8_t AlphaShift = 0;
  uint8_t AccumBits = 0;
  uint8_t AccumRedBits = 0;
  uint8_t AccumGreenBits = 0;
  uint8_t AccumBlueBits = 0;
  uint8_t AccumAlphaBits = 0;
  uint8_t DepthBits = 0;
  uint8_t StencilBits = 0;
  uint8_t AuxBuffers = 0;
  uint8_t LayerType = 0;
  uint8_t Reserved = 0;
  uint32_t LayerMask = 0;
  uint32_t VisibleMask = 0;
  uint32_t DamageMask = 0;
};

// Flags.
constexpr uint32_t PfdDoubleBuffer = 0x00000001;
constexpr uint32_t PfdDrawToWindow = 0x00000004;
constexpr uint32_t PfdSupportOpenGL = 0x00000020;
constexpr uint32_t PfdNeedPalette = 0x00000080;
// Pixel types and layers.
constexpr uint8_t PfdTypeRgba = 0;
constexpr uint8_t PfdMainPlane = 0;

// The format of the device context's kind that comes nearest the request, from 1; 0 for none.
int32_t ChoosePixelFormat(Hdc dc, const PixelFormatDescriptor* request);
// Sets the window's format, once in its life; false for a format the context has not.
bool SetPixelFormat(Hdc dc, int32_t format, const PixelFormatDescriptor* request);
// Fills `out` (when given, `bytes` long) with format `format`; the number of formats, 0 on error.
int32_t DescribePixelFormat(Hdc dc, int32_t format, uint32_t bytes, PixelFormatDescriptor* out);
// The window's format, 0 when none was set.
int32_t GetPixelFormat(Hdc dc);
// Shows the back buffer of the window's context.
bool SwapBuffers(Hdc dc);

// wgl. A context draws for the context whose window has a pixel format set; 0 on failure.
HGlrc wglCreateContext(Hdc dc);
// Makes the context the thread's current one on `dc`; a null context releases the current one.
bool wglMakeCurrent(Hdc dc, HGlrc context);
bool wglDeleteContext(HGlrc context);

}  // namespace platform
