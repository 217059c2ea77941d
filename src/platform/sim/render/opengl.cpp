// OpenGL on the simulated machine: Mesa's off-screen renderer draws into a buffer of the window's
// client size, and SwapBuffers converts that buffer into the screen's depth and writes it into the
// window's part of the frame buffer, as a driver's presentation would.
#include "platform/opengl.h"

#include <GL/gl.h>

#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "platform/display.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_internal.h"
#include "platform/sim/render/mesa.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

#if defined(__SANITIZE_ADDRESS__)
// Mesa keeps the framebuffers that it makes for a context's buffers, and its compiler's state,
// until the process ends: not leaks of ours.
extern "C" const char* __lsan_default_suppressions() { return "leak:libOSMesa.so\nleak:libLLVM\nleak:libglapi.so\n"; }
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }
#endif

namespace platform {
namespace sim {
namespace {

struct GlContext {
  OSMesaContext Mesa = nullptr;
  Hwnd Window = 0;
  std::vector<uint8_t> Buffer;  // RGBA, bottom row first as GL has it
  int32_t Width = 0;
  int32_t Height = 0;
};

struct GlState {
  std::mutex Lock;
  std::map<Hwnd, int32_t> Formats;  // the format set on each window
  std::map<HGlrc, GlContext> Contexts;
  HGlrc Current = 0;
  HGlrc NextHandle = 0x30000;
};

GlState& G() {
  static GlState state;
  return state;
}

// The adapter whose part of the desktop holds the window's top-left corner, else the primary.
const AdapterState* AdapterOf(Hwnd window) {
  Rect rect;
  if (!GetWindowRect(window, &rect)) return nullptr;
  DisplayModel& model = DisplayModel::Get();
  for (const AdapterState& adapter : model.Adapters()) {
    if (!adapter.OnDesktop()) continue;
    const DisplayRect r = model.RectOf(adapter);
    if (rect.Left >= r.Left && rect.Left < r.Right && rect.Top >= r.Top && rect.Top < r.Bottom) return &adapter;
  }
  return &model.Primary();
}

bool HasOpenGL(Hwnd window) {
  const AdapterState* adapter = window != 0 ? AdapterOf(window) : nullptr;
  return adapter != nullptr && adapter->Config.OpenGLAvailable;
}

// The one format of a window on a screen of `bits`: RGBA in the screen's depth, double-buffered,
// 32 depth bits; at 8 bits red, green and blue in 3, 3 and 2 bits of an index, through a palette.
PixelFormatDescriptor FormatFor(int32_t bits) {
  PixelFormatDescriptor f;
  f.Flags = PfdDrawToWindow | PfdSupportOpenGL | PfdDoubleBuffer;
  f.PixelType = PfdTypeRgba;
  f.ColorBits = static_cast<uint8_t>(bits);
  f.DepthBits = 32;
  f.LayerType = PfdMainPlane;
  switch (bits) {
    case 8:
      f.Flags |= PfdNeedPalette;
      f.RedBits = 3, f.RedShift = 0, f.GreenBits = 3, f.GreenShift = 3, f.BlueBits = 2, f.BlueShift = 6;
      break;
    case 16: f.RedBits = 5, f.RedShift = 11, f.GreenBits = 6, f.GreenShift = 5, f.BlueBits = 5, f.BlueShift = 0; break;
    default: f.RedBits = 8, f.RedShift = 16, f.GreenBits = 8, f.GreenShift = 8, f.BlueBits = 8, f.BlueShift = 0; break;
  }
  return f;
}

int32_t ScreenBits() { return PrimaryFrameBuffer().Bits; }

// One row of RGBA pixels in the surface's format. Whole words where the depth allows, so that the
// compiler can do many pixels at a time.
void ConvertRow(const uint8_t* __restrict in, uint8_t* __restrict out, int32_t count, int32_t bits,
                const PixelFormatDescriptor& format) {
  switch (bits) {
    case 8:
      for (int32_t x = 0; x < count; ++x, in += 4)
        out[x] = static_cast<uint8_t>((in[0] >> 5) << format.RedShift | (in[1] >> 5) << format.GreenShift |
                                      (in[2] >> 6) << format.BlueShift);
      return;
    case 16:
      for (int32_t x = 0; x < count; ++x) {
        uint32_t rgba;
        std::memcpy(&rgba, in + 4 * x, 4);
        const uint16_t pixel = static_cast<uint16_t>((rgba & 0xF8) << 8 | (rgba & 0xFC00) >> 5 | (rgba & 0xF80000) >> 19);
        std::memcpy(out + 2 * x, &pixel, 2);
      }
      return;
    case 24:
      for (int32_t x = 0; x < count; ++x) {
        out[3 * x] = in[4 * x + 2];
        out[3 * x + 1] = in[4 * x + 1];
        out[3 * x + 2] = in[4 * x];
      }
      return;
    default:
      for (int32_t x = 0; x < count; ++x) {
        uint32_t rgba;
        std::memcpy(&rgba, in + 4 * x, 4);
        const uint32_t pixel = (rgba & 0xFF) << 16 | (rgba & 0xFF00) | (rgba >> 16 & 0xFF);
        std::memcpy(out + 4 * x, &pixel, 4);
      }
      return;
  }
}

// Writes the RGBA buffer into the context's target in the surface's depth; the caller holds the
// drawing layer's lock.
void Present(const GlContext& context, const gdi::Target& target) {
  Surface& surface = *target.Pixels;
  const Rect whole{0, 0, surface.Width, surface.Height};
  const Rect area{target.OriginX, target.OriginY, target.OriginX + context.Width, target.OriginY + context.Height};
  const Rect cut = Intersect(Intersect(area, target.Clip), whole);
  if (IsEmpty(cut)) return;
  const PixelFormatDescriptor format = FormatFor(surface.Bits);
  const size_t bytes = static_cast<size_t>(surface.BytesPerPixel());
  for (int32_t y = cut.Top; y < cut.Bottom; ++y) {
    const uint8_t* in = context.Buffer.data() +
                        (static_cast<size_t>(area.Bottom - 1 - y) * static_cast<size_t>(context.Width) +
                         static_cast<size_t>(cut.Left - area.Left)) * 4;
    ConvertRow(in, surface.Row(y) + static_cast<size_t>(cut.Left) * bytes, cut.Right - cut.Left, surface.Bits, format);
  }
  gdi::CoverTextRuns(surface, cut);
}

}  // namespace
}  // namespace sim

using namespace sim;

int32_t ChoosePixelFormat(Hdc dc, const PixelFormatDescriptor* request) {
  if (request == nullptr || !HasOpenGL(WindowOfDc(dc))) return 0;
  return 1;
}

bool SetPixelFormat(Hdc dc, int32_t format, const PixelFormatDescriptor*) {
  const Hwnd window = WindowOfDc(dc);
  if (format != 1 || !HasOpenGL(window)) return false;
  std::lock_guard<std::mutex> hold(G().Lock);
  // A window takes one format in its life; setting the same again is allowed.
  auto it = G().Formats.find(window);
  if (it != G().Formats.end()) return it->second == format;
  G().Formats[window] = format;
  return true;
}

int32_t DescribePixelFormat(Hdc dc, int32_t format, uint32_t bytes, PixelFormatDescriptor* out) {
  if (!HasOpenGL(WindowOfDc(dc))) return 0;
  if (out != nullptr) {
    if (format != 1 || bytes < sizeof(PixelFormatDescriptor)) return 0;
    *out = FormatFor(ScreenBits());
  }
  return 1;
}

int32_t GetPixelFormat(Hdc dc) {
  const Hwnd window = WindowOfDc(dc);
  std::lock_guard<std::mutex> hold(G().Lock);
  auto it = G().Formats.find(window);
  return it == G().Formats.end() ? 0 : it->second;
}

HGlrc wglCreateContext(Hdc dc) {
  const Hwnd window = WindowOfDc(dc);
  if (GetPixelFormat(dc) == 0 || !HasOpenGL(window)) return 0;
  const MesaLibrary* library = Mesa();
  if (library == nullptr) return 0;
  const OSMesaContext mesa = library->CreateContextExt(OSMESA_RGBA, 32, 0, 0, nullptr);
  if (mesa == nullptr) return 0;
  std::lock_guard<std::mutex> hold(G().Lock);
  const HGlrc handle = G().NextHandle++;
  GlContext& context = G().Contexts[handle];
  context.Mesa = mesa;
  context.Window = window;
  return handle;
}

bool wglMakeCurrent(Hdc dc, HGlrc handle) {
  std::lock_guard<std::mutex> hold(G().Lock);
  if (handle == 0) {
    G().Current = 0;
    const MesaLibrary* library = Mesa();
    return library == nullptr || library->MakeCurrent(nullptr, nullptr, 0, 0, 0) != GL_FALSE;
  }
  auto it = G().Contexts.find(handle);
  const Hwnd window = WindowOfDc(dc);
  if (it == G().Contexts.end() || window == 0 || window != it->second.Window) return false;
  GlContext& context = it->second;
  Rect client;
  if (!GetClientRect(window, &client)) return false;
  // The buffer follows the window's size at the time it becomes current.
  const int32_t width = client.Right > 0 ? client.Right : 1;
  const int32_t height = client.Bottom > 0 ? client.Bottom : 1;
  if (width != context.Width || height != context.Height) {
    context.Buffer.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0);
    context.Width = width;
    context.Height = height;
  }
  if (!Mesa()->MakeCurrent(context.Mesa, context.Buffer.data(), GL_UNSIGNED_BYTE, width, height)) return false;
  G().Current = handle;
  return true;
}

bool wglDeleteContext(HGlrc handle) {
  std::lock_guard<std::mutex> hold(G().Lock);
  auto it = G().Contexts.find(handle);
  if (it == G().Contexts.end()) return false;
  if (G().Current == handle) {
    Mesa()->MakeCurrent(nullptr, nullptr, 0, 0, 0);
    G().Current = 0;
  }
  Mesa()->DestroyContext(it->second.Mesa);
  G().Contexts.erase(it);
  return true;
}

bool SwapBuffers(Hdc dc) {
  const Hwnd window = WindowOfDc(dc);
  std::lock_guard<std::mutex> hold(G().Lock);
  auto it = G().Contexts.find(G().Current);
  if (window == 0 || it == G().Contexts.end() || it->second.Window != window) return false;
  // Mesa may still be drawing on its own threads.
  glFinish();
  std::lock_guard<std::mutex> drawing(gdi::Lock());
  gdi::Dc* target = gdi::FindDc(dc);
  gdi::Target where;
  if (target == nullptr || !gdi::ResolveTarget(*target, where)) return false;
  Present(it->second, where);
  return true;
}

}  // namespace platform
