// OpenGL contexts on Windows: each call passes straight to gdi32 and opengl32. The descriptor has
// the layout of PIXELFORMATDESCRIPTOR, so it passes through unchanged.
#include "platform/opengl.h"

#include <windows.h>

namespace platform {

static_assert(sizeof(PixelFormatDescriptor) == sizeof(PIXELFORMATDESCRIPTOR), "PIXELFORMATDESCRIPTOR layout");

namespace {

HDC D(Hdc dc) { return reinterpret_cast<HDC>(dc); }
HGLRC G(HGlrc context) { return reinterpret_cast<HGLRC>(context); }
const PIXELFORMATDESCRIPTOR* P(const PixelFormatDescriptor* descriptor) {
  return reinterpret_cast<const PIXELFORMATDESCRIPTOR*>(descriptor);
}

}  // namespace

int32_t ChoosePixelFormat(Hdc dc, const PixelFormatDescriptor* request) { return ::ChoosePixelFormat(D(dc), P(request)); }
bool SetPixelFormat(Hdc dc, int32_t format, const PixelFormatDescriptor* request) {
  return ::SetPixelFormat(D(dc), format, P(request)) != FALSE;
}
int32_t DescribePixelFormat(Hdc dc, int32_t format, uint32_t bytes, PixelFormatDescriptor* out) {
  return ::DescribePixelFormat(D(dc), format, bytes, reinterpret_cast<PIXELFORMATDESCRIPTOR*>(out));
}
int32_t GetPixelFormat(Hdc dc) { return ::GetPixelFormat(D(dc)); }
bool SwapBuffers(Hdc dc) { return ::SwapBuffers(D(dc)) != FALSE; }

HGlrc wglCreateContext(Hdc dc) { return reinterpret_cast<HGlrc>(::wglCreateContext(D(dc))); }
bool wglMakeCurrent(Hdc dc, HGlrc context) { return ::wglMakeCurrent(D(dc), G(context)) != FALSE; }
bool wglDeleteContext(HGlrc context) { return ::wglDeleteContext(G(context)) != FALSE; }

}  // namespace platform
