// Direct3D 9 on Windows: each step of the library is the Direct3D call of that name. The swap
// effect is a copy, so that the last frame stays in the back buffer for the digit drawn over it.
#include <windows.h>
#include <d3d9.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Backend.h"

namespace d3dim9 {
namespace {

constexpr char kClassName[] = "D3DIM9Scene";
constexpr DWORD kVertexFormat = D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX1;
static_assert(sizeof(d3dx::Vertex) == 24, "the vertex is D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX1");
static_assert(sizeof(d3dx::Matrix) == sizeof(D3DMATRIX), "a matrix is a D3DMATRIX");

bool windowGone = false;

LRESULT CALLBACK SceneProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_DESTROY) windowGone = true;
  if (message == WM_SETCURSOR) {
    SetCursor(nullptr);
    return TRUE;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

template <typename T>
void ReleaseOf(T*& object) {
  if (object != nullptr) object->Release();
  object = nullptr;
}

const D3DMATRIX* AsD3D(const d3dx::Matrix& m) { return reinterpret_cast<const D3DMATRIX*>(&m); }

class D3D9Backend : public Backend {
 public:
  ~D3D9Backend() override {
    CloseDevice();
    ReleaseOf(Runtime_);
  }

  // Beside this library, not on the system's search path, where other helpers of these names lie.
  uintptr_t LoadHelper(const char* name) override {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&SceneProc), &self);
    char path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(self, path, MAX_PATH);
    std::string full(path, length);
    full.erase(full.find_last_of("\\/") + 1);
    return reinterpret_cast<uintptr_t>(LoadLibraryA((full + name).c_str()));
  }
  void* HelperExport(uintptr_t module, const char* name) override {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
  }
  void FreeHelper(uintptr_t module) override { FreeLibrary(reinterpret_cast<HMODULE>(module)); }

  bool ReadPicture(const char* name, std::vector<uint8_t>& bytes) override {
    std::FILE* file = std::fopen(name, "rb");
    if (file == nullptr) return false;
    bytes.clear();
    uint8_t block[65536];
    size_t got = 0;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0) bytes.insert(bytes.end(), block, block + got);
    const bool ok = std::ferror(file) == 0;
    std::fclose(file);
    return ok;
  }

  bool CreateRuntime() override {
    if (Runtime_ == nullptr) Runtime_ = Direct3DCreate9(D3D_SDK_VERSION);
    return Runtime_ != nullptr;
  }

  bool OpenDevice(const std::string& title, int32_t& width, int32_t& height) override {
    D3DDISPLAYMODE mode;
    if (Runtime_ == nullptr || FAILED(Runtime_->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode))) return false;
    width = static_cast<int32_t>(mode.Width);
    height = static_cast<int32_t>(mode.Height);
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = SceneProc;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = kClassName;
    RegisterClassA(&windowClass);
    windowGone = false;
    Window_ = CreateWindowExA(WS_EX_TOPMOST, kClassName, title.c_str(), WS_POPUP | WS_VISIBLE, 0, 0, width, height,
                              nullptr, nullptr, windowClass.hInstance, nullptr);
    if (Window_ == nullptr) return false;
    D3DPRESENT_PARAMETERS present = {};
    present.BackBufferWidth = mode.Width;
    present.BackBufferHeight = mode.Height;
    present.BackBufferFormat = mode.Format;
    present.BackBufferCount = 1;
    present.SwapEffect = D3DSWAPEFFECT_COPY;
    present.hDeviceWindow = Window_;
    present.Windowed = FALSE;
    present.EnableAutoDepthStencil = TRUE;
    present.AutoDepthStencilFormat = D3DFMT_D16;
    present.Flags = D3DPRESENTFLAG_LOCKABLE_BACKBUFFER;
    present.FullScreen_RefreshRateInHz = mode.RefreshRate;
    present.PresentationInterval = D3DPRESENT_INTERVAL_DEFAULT;
    if (FAILED(Runtime_->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, Window_, D3DCREATE_SOFTWARE_VERTEXPROCESSING,
                                      &present, &Device_))) {
      // A driver without an exclusive mode: the same size in a window over the whole screen.
      present.Windowed = TRUE;
      present.FullScreen_RefreshRateInHz = 0;
      if (FAILED(Runtime_->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, Window_,
                                        D3DCREATE_SOFTWARE_VERTEXPROCESSING, &present, &Device_)))
        return false;
    }
    Device_->SetFVF(kVertexFormat);
    Device_->SetRenderState(D3DRS_LIGHTING, FALSE);
    Device_->SetRenderState(D3DRS_ZENABLE, D3DZB_TRUE);
    Device_->SetRenderState(D3DRS_ZFUNC, D3DCMP_LESS);
    // Texels with no alpha draw nothing: the coin's hole.
    Device_->SetRenderState(D3DRS_ALPHATESTENABLE, TRUE);
    Device_->SetRenderState(D3DRS_ALPHAREF, 0);
    Device_->SetRenderState(D3DRS_ALPHAFUNC, D3DCMP_GREATER);
    Device_->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
    Device_->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA);
    Device_->SetSamplerState(0, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
    Device_->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
    Device_->SetSamplerState(0, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
    Device_->SetSamplerState(0, D3DSAMP_ADDRESSV, D3DTADDRESS_WRAP);
    Device_->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    Device_->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    Device_->SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
    Device_->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
    Device_->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    Device_->SetTextureStageState(0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE);
    return true;
  }

  int32_t CreateTexture(const Texture& picture) override {
    IDirect3DTexture9* texture = nullptr;
    if (FAILED(Device_->CreateTexture(static_cast<UINT>(picture.Width), static_cast<UINT>(picture.Height), 1, 0,
                                      D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture, nullptr)))
      return -1;
    D3DLOCKED_RECT locked;
    if (FAILED(texture->LockRect(0, &locked, nullptr, 0))) {
      texture->Release();
      return -1;
    }
    for (int32_t y = 0; y < picture.Height; ++y)
      std::copy(picture.Pixels.begin() + y * picture.Width, picture.Pixels.begin() + (y + 1) * picture.Width,
                reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(locked.pBits) + y * locked.Pitch));
    texture->UnlockRect(0);
    Textures_.push_back(texture);
    return static_cast<int32_t>(Textures_.size()) - 1;
  }

  void BeginFrame(uint32_t clearColor, const d3dx::Matrix& view, const d3dx::Matrix& projection) override {
    Device_->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, clearColor | 0xFF000000u, 1.0f, 0);
    Device_->SetTransform(D3DTS_VIEW, AsD3D(view));
    Device_->SetTransform(D3DTS_PROJECTION, AsD3D(projection));
    Device_->BeginScene();
  }

  void Draw(const std::vector<d3dx::Vertex>& triangles, int32_t texture, const d3dx::Matrix& world,
            const d3dx::Matrix&, const DrawState& state) override {
    Device_->SetTransform(D3DTS_WORLD, AsD3D(world));
    Device_->SetTexture(0, Textures_.at(static_cast<size_t>(texture)));
    Device_->SetRenderState(D3DRS_ZENABLE, state.DepthTest ? D3DZB_TRUE : D3DZB_FALSE);
    Device_->SetRenderState(D3DRS_ZWRITEENABLE, state.DepthWrite ? TRUE : FALSE);
    Device_->SetRenderState(D3DRS_ALPHABLENDENABLE, state.Blend ? TRUE : FALSE);
    Device_->SetRenderState(D3DRS_CULLMODE, state.CullBack ? D3DCULL_CCW : D3DCULL_NONE);
    Device_->DrawPrimitiveUP(D3DPT_TRIANGLELIST, static_cast<UINT>(triangles.size() / 3), triangles.data(),
                             sizeof(d3dx::Vertex));
  }

  PresentResult EndFrame() override {
    Device_->EndScene();
    const HRESULT shown = Device_->Present(nullptr, nullptr, nullptr, nullptr);
    if (shown == D3DERR_WASSTILLDRAWING) return PresentResult::StillDrawing;
    return FAILED(shown) ? PresentResult::DeviceLost : PresentResult::Shown;
  }

  bool WaitNextFrame(uint32_t& key) override {
    key = 0;
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) {
        PostQuitMessage(static_cast<int>(message.wParam));
        return false;
      }
      if (message.message == WM_KEYDOWN && message.hwnd == Window_) key = static_cast<uint32_t>(message.wParam);
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    return !windowGone;
  }

  // The front buffer as the screen shows it, over the window's part of the screen; where the
  // driver cannot give the front buffer, the last frame kept in the back buffer.
  uint32_t ScreenChecksum() override {
    RECT area;
    GetWindowRect(Window_, &area);
    const int32_t screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    IDirect3DSurface9* copy = nullptr;
    if (FAILED(Device_->CreateOffscreenPlainSurface(static_cast<UINT>(screenWidth), static_cast<UINT>(screenHeight),
                                                     D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &copy, nullptr)))
      return 0;
    bool read = SUCCEEDED(Device_->GetFrontBufferData(0, copy));
    if (!read) {
      ReleaseOf(copy);
      IDirect3DSurface9* back = nullptr;
      D3DSURFACE_DESC desc = {};
      if (SUCCEEDED(Device_->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back)) && SUCCEEDED(back->GetDesc(&desc)) &&
          SUCCEEDED(Device_->CreateOffscreenPlainSurface(desc.Width, desc.Height, desc.Format, D3DPOOL_SYSTEMMEM, &copy,
                                                         nullptr)))
        read = SUCCEEDED(Device_->GetRenderTargetData(back, copy));
      ReleaseOf(back);
      area = RECT{0, 0, static_cast<LONG>(desc.Width), static_cast<LONG>(desc.Height)};
    }
    uint32_t sum = 0;
    D3DLOCKED_RECT locked;
    if (read && SUCCEEDED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY))) {
      for (LONG y = std::max<LONG>(area.top, 0); y < std::min<LONG>(area.bottom, screenHeight); ++y) {
        const auto* row = reinterpret_cast<const uint32_t*>(static_cast<const uint8_t*>(locked.pBits) + y * locked.Pitch);
        for (LONG x = std::max<LONG>(area.left, 0); x < std::min<LONG>(area.right, screenWidth); ++x) sum += row[x] & 0xFFFFFF;
      }
      copy->UnlockRect();
    }
    ReleaseOf(copy);
    return sum;
  }

  void ShowDigit(int32_t digit, const std::string& prompt) override {
    IDirect3DSurface9* back = nullptr;
    if (FAILED(Device_->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back))) return;
    D3DSURFACE_DESC size;
    back->GetDesc(&size);
    const int height = static_cast<int>(size.Height), width = static_cast<int>(size.Width);
    HDC dc = nullptr;
    if (SUCCEEDED(back->GetDC(&dc))) {
      HFONT big = CreateFontA(-height / 6, 0, 0, 0, FW_BOLD, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, "Arial");
      HFONT small = CreateFontA(-height / 32, 0, 0, 0, FW_BOLD, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, "Arial");
      HGDIOBJ old = SelectObject(dc, big);
      SetBkMode(dc, TRANSPARENT);
      SetTextColor(dc, RGB(255, 255, 0));
      const char text[2] = {static_cast<char>('0' + digit), 0};
      TextOutA(dc, width / 2 - height / 24, height / 20, text, 1);
      RECT line{0, height - height / 10, width, height};
      FillRect(dc, &line, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
      SelectObject(dc, small);
      SetTextColor(dc, RGB(255, 255, 255));
      DrawTextA(dc, prompt.c_str(), -1, &line, DT_CENTER | DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX);
      SelectObject(dc, old);
      DeleteObject(big);
      DeleteObject(small);
      back->ReleaseDC(dc);
    }
    back->Release();
    Device_->Present(nullptr, nullptr, nullptr, nullptr);
  }

  uint32_t WaitKey(const std::atomic<bool>& stop, uint32_t milliseconds) override {
    const DWORD start = GetTickCount();
    MSG message;
    while (!windowGone && !stop) {
      if (GetTickCount() - start >= milliseconds) return kNoKeyInTime;
      while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
          PostQuitMessage(static_cast<int>(message.wParam));
          return 0;
        }
        if (message.message == WM_KEYDOWN && message.hwnd == Window_) return static_cast<uint32_t>(message.wParam);
        TranslateMessage(&message);
        DispatchMessageA(&message);
      }
      // Woken by input, or after a frame's time to look at the stop request.
      MsgWaitForMultipleObjects(0, nullptr, FALSE, 16, QS_ALLINPUT);
    }
    return 0;
  }

  void CloseDevice() override {
    for (IDirect3DTexture9*& texture : Textures_) ReleaseOf(texture);
    Textures_.clear();
    ReleaseOf(Device_);
    if (Window_ != nullptr) {
      if (!windowGone) DestroyWindow(Window_);
      UnregisterClassA(kClassName, GetModuleHandleA(nullptr));
    }
    Window_ = nullptr;
  }

  uint32_t Seed() override { return GetTickCount(); }

 private:
  IDirect3D9* Runtime_ = nullptr;
  IDirect3DDevice9* Device_ = nullptr;
  HWND Window_ = nullptr;
  std::vector<IDirect3DTexture9*> Textures_;
};

}  // namespace

std::unique_ptr<Backend> MakeBackend() { return std::make_unique<D3D9Backend>(); }

}  // namespace d3dim9
