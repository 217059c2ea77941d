// The simulated machine's Direct3D 9: the scene is rasterised in software and each frame shown in
// the library's window through the machine's GDI, so it lands in the one frame buffer of the
// program's simulated machine. The library calls the program's platform layer, which the program
// exports to the libraries it loads; it holds no copy of the machine of its own.
#include <cstdio>
#include <vector>

#include "Backend.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/gdi.h"
#include "platform/library.h"
#include "platform/sim/machine.h"
#include "platform/window.h"

namespace d3dim9 {
namespace {

using namespace platform;

constexpr char kClassName[] = "D3DIM9Scene";
constexpr uintptr_t kFrameTimer = 1;
constexpr uint32_t kFrameMilliseconds = 16;

// The window's state, for its procedure.
bool windowGone = false;

LResult PLATFORM_CALLBACK SceneProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  switch (message) {
    case WmEraseBkgnd:
      return 1;  // the scene covers every pixel
    case WmDestroy:
      windowGone = true;
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

class SimBackend : public Backend {
 public:
  ~SimBackend() override { CloseDevice(); }

  uintptr_t LoadHelper(const char* name) override { return LoadLibraryA(name); }
  void* HelperExport(uintptr_t module, const char* name) override { return GetProcAddress(module, name); }
  void FreeHelper(uintptr_t module) override { FreeLibrary(module); }

  bool ReadPicture(const char* name, std::vector<uint8_t>& bytes) override {
    std::FILE* file = OpenFile(name, "rb");
    if (file == nullptr) return false;
    bytes.clear();
    uint8_t block[65536];
    size_t got = 0;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0) bytes.insert(bytes.end(), block, block + got);
    const bool ok = std::ferror(file) == 0;
    std::fclose(file);
    return ok;
  }

  bool CreateRuntime() override { return sim::CurrentMachine().Direct3DRuntime; }

  bool OpenDevice(const std::string& title, int32_t& width, int32_t& height) override {
    if (Refuses(sim::D3dCallCreateDevice)) return false;
    const Hdc screen = CreateDCA("DISPLAY", nullptr, nullptr, nullptr);
    width = GetDeviceCaps(screen, HorzRes);
    height = GetDeviceCaps(screen, VertRes);
    DeleteDC(screen);
    if (width <= 0 || height <= 0) return false;
    WndClassA windowClass;
    windowClass.Proc = SceneProc;
    windowClass.ClassName = kClassName;
    windowClass.Cursor = LoadCursorA(0, IdcArrow);
    RegisterClassA(&windowClass);
    windowGone = false;
    Window_ = CreateWindowExA(WsExTopmost, kClassName, title.c_str(), WsPopup | WsVisible, 0, 0, width, height, 0, 0,
                              0, nullptr);
    if (Window_ == 0) return false;
    // A new device shows black until its first frame: nothing of an earlier picture (a digit of
    // the port before, on the same frame buffer) is left to be read.
    const Hdc dc = GetDC(Window_);
    const Rect all{0, 0, width, height};
    const HBrush black = CreateSolidBrush(Rgb(0, 0, 0));
    FillRect(dc, &all, black);
    DeleteObject(black);
    ReleaseDC(Window_, dc);
    SetTimer(Window_, kFrameTimer, kFrameMilliseconds, nullptr);
    Target_.Resize(width, height);
    return true;
  }

  int32_t CreateTexture(const Texture& picture) override {
    if (Refuses(sim::D3dCallCreateTexture)) return -1;
    Textures_.push_back(picture);
    return static_cast<int32_t>(Textures_.size()) - 1;
  }

  void BeginFrame(uint32_t clearColor, const d3dx::Matrix&, const d3dx::Matrix&) override { Target_.Clear(clearColor); }

  void Draw(const std::vector<d3dx::Vertex>& triangles, int32_t texture, const d3dx::Matrix&,
            const d3dx::Matrix& transform, const DrawState& state) override {
    const d3dx::Mesh mesh{static_cast<int32_t>(triangles.size()), const_cast<d3dx::Vertex*>(triangles.data())};
    Target_.DrawTriangles(TransformMesh(mesh, transform), Textures_.at(static_cast<size_t>(texture)), state);
  }

  PresentResult EndFrame() override {
    if (Refuses(sim::D3dCallPresent)) return PresentResult::DeviceLost;
    if (!sim::CurrentMachine().Direct3DFramesComplete) return PresentResult::StillDrawing;
    BitmapInfo info;
    info.Header.Size = sizeof(BitmapInfoHeader);
    info.Header.Width = Target_.Width();
    info.Header.Height = -Target_.Height();  // top row first
    info.Header.Planes = 1;
    info.Header.BitCount = 32;
    info.Header.Compression = BiRgb;
    const Hdc dc = GetDC(Window_);
    SetDIBitsToDevice(dc, 0, 0, static_cast<uint32_t>(Target_.Width()), static_cast<uint32_t>(Target_.Height()), 0, 0, 0,
                      static_cast<uint32_t>(Target_.Height()), Target_.Pixels().data(), &info, DibRgbColors);
    ReleaseDC(Window_, dc);
    return PresentResult::Shown;
  }

  bool WaitNextFrame(uint32_t& key) override {
    Msg message;
    key = 0;
    while (!windowGone) {
      if (GetMessageA(&message, 0, 0, 0) <= 0) {
        PostQuitMessage(static_cast<int32_t>(message.Wparam));  // the caller's loop ends too
        return false;
      }
      if (message.Message == WmTimer && message.Window == Window_ && message.Wparam == kFrameTimer) return true;
      if (message.Message == WmKeyDown && message.Window == Window_) key = static_cast<uint32_t>(message.Wparam);
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    return false;
  }

  uint32_t ScreenChecksum() override {
    const int32_t width = Target_.Width(), height = Target_.Height();
    const Hdc dc = GetDC(Window_);
    const Hdc memory = CreateCompatibleDC(dc);
    const HBitmap bitmap = CreateCompatibleBitmap(dc, width, height);
    const HGdiObj old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, dc, 0, 0, SrcCopy);
    SelectObject(memory, old);
    BitmapInfo info;
    info.Header.Size = sizeof(BitmapInfoHeader);
    info.Header.Width = width;
    info.Header.Height = -height;
    info.Header.Planes = 1;
    info.Header.BitCount = 32;
    info.Header.Compression = BiRgb;
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    GetDIBits(memory, bitmap, 0, static_cast<uint32_t>(height), pixels.data(), &info, DibRgbColors);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(Window_, dc);
    uint32_t sum = 0;
    for (uint32_t pixel : pixels) sum += pixel & 0xFFFFFF;
    return sum;
  }

  void ShowDigit(int32_t digit, const std::string& prompt) override {
    const Hdc dc = GetDC(Window_);
    const int32_t height = Target_.Height();
    LogFontA font;
    font.Height = -height / 6;
    font.Weight = FwBold;
    std::snprintf(font.FaceName, sizeof font.FaceName, "%s", "Arial");
    const HFont big = CreateFontIndirectA(&font);
    const HGdiObj old = SelectObject(dc, big);
    SetBkMode(dc, Transparent);
    SetTextColor(dc, Rgb(255, 255, 0));
    const char text[2] = {static_cast<char>('0' + digit), 0};
    TextOutA(dc, Target_.Width() / 2 - height / 24, height / 20, text, 1);
    font.Height = -height / 32;
    const HFont small = CreateFontIndirectA(&font);
    SelectObject(dc, small);
    SetTextColor(dc, Rgb(255, 255, 255));
    Rect line{0, height - height / 10, Target_.Width(), height};
    const HBrush band = CreateSolidBrush(Rgb(0, 0, 0));
    FillRect(dc, &line, band);
    DeleteObject(band);
    DrawTextA(dc, prompt.c_str(), -1, &line, DtCenter | DtSingleLine | DtNoPrefix);
    SelectObject(dc, old);
    DeleteObject(big);
    DeleteObject(small);
    ReleaseDC(Window_, dc);
  }

  uint32_t WaitKey(const std::atomic<bool>& stop, uint32_t milliseconds) override {
    Msg message;
    const uint32_t start = GetTickCount();
    while (!windowGone && !stop) {
      if (GetTickCount() - start >= milliseconds) return kNoKeyInTime;
      if (GetMessageA(&message, 0, 0, 0) <= 0) {
        PostQuitMessage(static_cast<int32_t>(message.Wparam));
        return 0;
      }
      if (message.Message == WmKeyDown && message.Window == Window_) return static_cast<uint32_t>(message.Wparam);
      // The frame timer goes on ticking, so that a stop is seen within a frame's time.
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    return 0;
  }

  void CloseDevice() override {
    if (Window_ != 0) {
      KillTimer(Window_, kFrameTimer);
      if (!windowGone) DestroyWindow(Window_);
      UnregisterClassA(kClassName, 0);
    }
    Window_ = 0;
    Textures_.clear();
  }

  uint32_t Seed() override { return GetTickCount(); }

 private:
  static bool Refuses(uint32_t call) { return (sim::CurrentMachine().FailingDirect3DCalls & call) != 0; }

  Hwnd Window_ = 0;
  RenderTarget Target_;
  std::vector<Texture> Textures_;
};

}  // namespace

std::unique_ptr<Backend> MakeBackend() { return std::make_unique<SimBackend>(); }

}  // namespace d3dim9
