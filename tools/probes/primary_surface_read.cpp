// What a DirectDraw lock of the primary surface reads where GDI has drawn, in the fewest calls:
// a full-screen window filled red through GDI, then the primary surface locked in exclusive mode
// (as the screen subtests take it) and the same pixel read through both. On Windows both see the
// red; under Wine the lock hands out the surface's own memory, which GDI drawing never reaches.
// Prints one line and ends with 0 when both agree, 1 when they do not, 2 when a call failed.
#include <windows.h>
#include <ddraw.h>

#include <cstdio>

int main() {
  const int width = ::GetSystemMetrics(SM_CXSCREEN);
  const int height = ::GetSystemMetrics(SM_CYSCREEN);
  WNDCLASSA c{};
  c.lpfnWndProc = ::DefWindowProcA;
  c.lpszClassName = "PrimarySurfaceRead";
  c.hbrBackground = ::CreateSolidBrush(RGB(255, 0, 0));
  ::RegisterClassA(&c);
  HWND window = ::CreateWindowExA(WS_EX_TOPMOST, c.lpszClassName, "", WS_POPUP | WS_VISIBLE, 0, 0, width, height,
                                  nullptr, nullptr, nullptr, nullptr);
  IDirectDraw* dd = nullptr;
  if (window == nullptr || ::DirectDrawCreate(nullptr, &dd, nullptr) != DD_OK ||
      dd->SetCooperativeLevel(window, DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN) != DD_OK) {
    std::printf("primary surface read: no window or no exclusive DirectDraw\n");
    return 2;
  }
  DDSURFACEDESC desc{};
  desc.dwSize = sizeof(desc);
  desc.dwFlags = DDSD_CAPS;
  desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
  IDirectDrawSurface* primary = nullptr;
  if (dd->CreateSurface(&desc, &primary, nullptr) != DD_OK) {
    std::printf("primary surface read: no primary surface\n");
    return 2;
  }
  // The whole window painted red by GDI, after the mode is taken.
  RECT all{0, 0, width, height};
  HDC dc = ::GetDC(window);
  ::FillRect(dc, &all, c.hbrBackground);
  ::GdiFlush();
  const COLORREF gdi = ::GetPixel(dc, width / 2, height / 2);
  ::ReleaseDC(window, dc);

  DDSURFACEDESC locked{};
  locked.dwSize = sizeof(locked);
  if (primary->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr) != DD_OK) {
    std::printf("primary surface read: the lock failed\n");
    return 2;
  }
  const unsigned bytesPerPixel = locked.ddpfPixelFormat.dwRGBBitCount / 8;
  const unsigned char* row = static_cast<const unsigned char*>(locked.lpSurface) + (height / 2) * locked.lPitch;
  unsigned long surface = 0;
  for (unsigned i = 0; i < bytesPerPixel; ++i) surface |= static_cast<unsigned long>(row[(width / 2) * bytesPerPixel + i]) << (8 * i);
  unsigned long nonZero = 0;
  for (DWORD y = 0; y < locked.dwHeight; ++y) {
    const unsigned char* line = static_cast<const unsigned char*>(locked.lpSurface) + y * locked.lPitch;
    for (DWORD x = 0; x < locked.dwWidth * bytesPerPixel; ++x) nonZero += line[x] != 0;
  }
  primary->Unlock(nullptr);
  primary->Release();
  dd->Release();
  ::DestroyWindow(window);
  std::printf("primary surface read: %dx%dx%lu, GDI sees 0x%06lx in the middle, the locked surface holds 0x%06lx "
              "there and %lu non-zero bytes in all\n",
              width, height, locked.ddpfPixelFormat.dwRGBBitCount, static_cast<unsigned long>(gdi), surface, nonZero);
  return nonZero == 0 ? 1 : 0;
}
