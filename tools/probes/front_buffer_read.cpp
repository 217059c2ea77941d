// What Direct3D 9 reads back of the screen it has presented, in the fewest calls: a full-screen
// device made as the rendering library makes it, cleared red and presented, then the front buffer
// copied out (GetFrontBufferData, as the library sums the screen) and the middle pixel read
// through it and through GDI. On Windows both see the red; under Wine the back buffer holds the
// red, but what was presented reads back as zeros through both.
// Prints one line and ends with 0 when the copy shows the red, 1 when not, 2 when a call failed.
#include <windows.h>
#include <d3d9.h>

#include <cstdio>

// The middle pixel of the back buffer, copied out; 0xFFFFFFFF when it cannot be read.
unsigned long BackBufferMiddle(IDirect3DDevice9* device, const D3DDISPLAYMODE& mode) {
  unsigned long pixel = 0xFFFFFFFFu;
  IDirect3DSurface9* back = nullptr;
  IDirect3DSurface9* copy = nullptr;
  D3DLOCKED_RECT locked;
  if (SUCCEEDED(device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back)) &&
      SUCCEEDED(device->CreateOffscreenPlainSurface(mode.Width, mode.Height, mode.Format, D3DPOOL_SYSTEMMEM, &copy,
                                                    nullptr)) &&
      SUCCEEDED(device->GetRenderTargetData(back, copy)) && SUCCEEDED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY))) {
    const auto* row = reinterpret_cast<const DWORD*>(static_cast<const BYTE*>(locked.pBits) + (mode.Height / 2) * locked.Pitch);
    pixel = row[mode.Width / 2] & 0xFFFFFFu;
    copy->UnlockRect();
  }
  if (copy != nullptr) copy->Release();
  if (back != nullptr) back->Release();
  return pixel;
}

int main() {
  IDirect3D9* runtime = ::Direct3DCreate9(D3D_SDK_VERSION);
  D3DDISPLAYMODE mode;
  if (runtime == nullptr || FAILED(runtime->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode))) {
    std::printf("front buffer read: no Direct3D 9\n");
    return 2;
  }
  WNDCLASSA c{};
  c.lpfnWndProc = ::DefWindowProcA;
  c.lpszClassName = "FrontBufferRead";
  ::RegisterClassA(&c);
  const int width = static_cast<int>(mode.Width), height = static_cast<int>(mode.Height);
  HWND window = ::CreateWindowExA(WS_EX_TOPMOST, c.lpszClassName, "", WS_POPUP | WS_VISIBLE, 0, 0, width, height,
                                  nullptr, nullptr, nullptr, nullptr);
  D3DPRESENT_PARAMETERS present{};
  present.BackBufferWidth = mode.Width;
  present.BackBufferHeight = mode.Height;
  present.BackBufferFormat = mode.Format;
  present.BackBufferCount = 1;
  present.SwapEffect = D3DSWAPEFFECT_COPY;
  present.hDeviceWindow = window;
  present.Windowed = FALSE;
  present.FullScreen_RefreshRateInHz = mode.RefreshRate;
  IDirect3DDevice9* device = nullptr;
  if (window == nullptr || FAILED(runtime->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window,
                                                        D3DCREATE_SOFTWARE_VERTEXPROCESSING, &present, &device))) {
    std::printf("front buffer read: no window or no full-screen device\n");
    return 2;
  }
  device->Clear(0, nullptr, D3DCLEAR_TARGET, D3DCOLOR_XRGB(255, 0, 0), 1.0f, 0);
  // The back buffer, kept by the copy swap: it shows that the red was drawn.
  const unsigned long back = BackBufferMiddle(device, mode);
  device->Present(nullptr, nullptr, nullptr, nullptr);

  HDC screen = ::GetDC(nullptr);
  const COLORREF gdi = ::GetPixel(screen, width / 2, height / 2);
  ::ReleaseDC(nullptr, screen);

  IDirect3DSurface9* copy = nullptr;
  if (FAILED(device->CreateOffscreenPlainSurface(mode.Width, mode.Height, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &copy,
                                                 nullptr))) {
    std::printf("front buffer read: no surface to copy into\n");
    return 2;
  }
  const HRESULT read = device->GetFrontBufferData(0, copy);
  D3DLOCKED_RECT locked;
  if (FAILED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY))) {
    std::printf("front buffer read: the copy cannot be locked\n");
    return 2;
  }
  const auto* middle = reinterpret_cast<const DWORD*>(static_cast<const BYTE*>(locked.pBits) + (height / 2) * locked.Pitch);
  const unsigned long front = middle[width / 2] & 0xFFFFFFu;
  copy->UnlockRect();
  copy->Release();
  device->Release();
  runtime->Release();
  ::DestroyWindow(window);
  std::printf("front buffer read: %dx%d, the back buffer holds 0x%06lx in the middle before the present; after it "
              "GDI sees 0x%06lx there and the front buffer's copy (0x%08lx) holds 0x%06lx\n",
              width, height, back, static_cast<unsigned long>(gdi), static_cast<unsigned long>(read), front);
  return front == 0xFF0000u ? 0 : 1;
}
