#include "platform/ddraw.h"

#include <windows.h>

#include <initguid.h>  // the interface GUIDs of ddraw.h are defined here, not taken from dxguid

#include <ddraw.h>

#include <type_traits>

namespace platform {

namespace {

// ddraw.dll is loaded at first use, so that the program still starts where there is none
// (Windows PE), where no DirectDraw call is made.
struct DdrawLibrary {
  using Create = HRESULT(WINAPI*)(GUID*, LPDIRECTDRAW*, IUnknown*);
  using CreateEx = HRESULT(WINAPI*)(GUID*, LPVOID*, REFIID, IUnknown*);
  using EnumerateEx = HRESULT(WINAPI*)(LPDDENUMCALLBACKEXA, LPVOID, DWORD);
  Create create = nullptr;
  CreateEx createEx = nullptr;
  EnumerateEx enumerateEx = nullptr;
};

template <typename T>
T Proc(HMODULE module, const char* name) {
  return reinterpret_cast<T>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

const DdrawLibrary& Ddraw() {
  static DdrawLibrary library = [] {
    DdrawLibrary l;
    if (HMODULE module = ::LoadLibraryA("ddraw.dll")) {
      l.create = Proc<DdrawLibrary::Create>(module, "DirectDrawCreate");
      l.createEx = Proc<DdrawLibrary::CreateEx>(module, "DirectDrawCreateEx");
      l.enumerateEx = Proc<DdrawLibrary::EnumerateEx>(module, "DirectDrawEnumerateExA");
    }
    return l;
  }();
  return library;
}

GUID ToGuid(const Guid& g) {
  GUID out;
  out.Data1 = g.Data1;
  out.Data2 = g.Data2;
  out.Data3 = g.Data3;
  for (int i = 0; i < 8; ++i) out.Data4[i] = g.Data4[i];
  return out;
}

Guid FromGuid(const GUID& g) {
  Guid out;
  out.Data1 = static_cast<uint32_t>(g.Data1);
  out.Data2 = g.Data2;
  out.Data3 = g.Data3;
  for (int i = 0; i < 8; ++i) out.Data4[i] = g.Data4[i];
  return out;
}

bool ValidDescSize(uint32_t size) { return size == 108 || size == 124; }

template <typename Desc>
void ToNative(const SurfaceDesc& in, Desc& out) {
  out = Desc{};
  out.dwSize = sizeof(Desc);
  out.dwFlags = in.Flags;
  out.dwHeight = in.Height;
  out.dwWidth = in.Width;
  out.lPitch = in.Pitch;
  out.dwBackBufferCount = in.BackBufferCount;
  out.dwRefreshRate = in.RefreshRate;
  out.dwAlphaBitDepth = in.AlphaBitDepth;
  out.lpSurface = in.Surface;
  out.ddpfPixelFormat.dwSize = sizeof(DDPIXELFORMAT);
  out.ddpfPixelFormat.dwFlags = in.PixelFormat.Flags;
  out.ddpfPixelFormat.dwFourCC = in.PixelFormat.FourCC;
  out.ddpfPixelFormat.dwRGBBitCount = in.PixelFormat.RGBBitCount;
  out.ddpfPixelFormat.dwRBitMask = in.PixelFormat.RBitMask;
  out.ddpfPixelFormat.dwGBitMask = in.PixelFormat.GBitMask;
  out.ddpfPixelFormat.dwBBitMask = in.PixelFormat.BBitMask;
  out.ddpfPixelFormat.dwRGBAlphaBitMask = in.PixelFormat.RGBAlphaBitMask;
  out.ddsCaps.dwCaps = in.Caps;
}

template <typename Desc>
void FromNative(const Desc& in, SurfaceDesc& out) {
  const uint32_t size = out.Size;
  out = SurfaceDesc{};
  out.Size = size;
  out.Flags = in.dwFlags;
  out.Height = in.dwHeight;
  out.Width = in.dwWidth;
  out.Pitch = in.lPitch;
  out.BackBufferCount = in.dwBackBufferCount;
  out.RefreshRate = in.dwRefreshRate;
  out.AlphaBitDepth = in.dwAlphaBitDepth;
  out.Surface = static_cast<uint8_t*>(in.lpSurface);
  out.PixelFormat.Flags = in.ddpfPixelFormat.dwFlags;
  out.PixelFormat.FourCC = in.ddpfPixelFormat.dwFourCC;
  out.PixelFormat.RGBBitCount = in.ddpfPixelFormat.dwRGBBitCount;
  out.PixelFormat.RBitMask = in.ddpfPixelFormat.dwRBitMask;
  out.PixelFormat.GBitMask = in.ddpfPixelFormat.dwGBitMask;
  out.PixelFormat.BBitMask = in.ddpfPixelFormat.dwBBitMask;
  out.PixelFormat.RGBAlphaBitMask = in.ddpfPixelFormat.dwRGBAlphaBitMask;
  out.Caps = in.ddsCaps.dwCaps;
}

HResult Result(HRESULT hr) { return static_cast<HResult>(hr); }

// One wrapper per COM interface pointer: Release gives the pointer back and ends the wrapper.
template <typename I>
class Win32Surface final : public DirectDrawSurface {
 public:
  explicit Win32Surface(I* surface) : surface_(surface) {}

  uint32_t AddRef() override {
    ++wrapperRefs_;
    return static_cast<uint32_t>(surface_->AddRef());
  }
  uint32_t Release() override {
    ULONG left = surface_->Release();
    if (--wrapperRefs_ == 0) delete this;
    return static_cast<uint32_t>(left);
  }
  HResult QueryInterface(SurfaceInterface iid, DirectDrawSurface*& out) override {
    out = nullptr;
    if (iid == SurfaceInterface::Surface2) return Query<IDirectDrawSurface2>(IID_IDirectDrawSurface2, out);
    return Query<IDirectDrawSurface>(IID_IDirectDrawSurface, out);
  }
  HResult Lock(const DisplayRect* rect, SurfaceDesc& desc, uint32_t flags) override {
    if (!ValidDescSize(desc.Size)) return DdErrInvalidParams;
    RECT r;
    if (rect != nullptr) r = RECT{rect->Left, rect->Top, rect->Right, rect->Bottom};
    DDSURFACEDESC native{};
    native.dwSize = sizeof(native);
    HRESULT hr = surface_->Lock(rect != nullptr ? &r : nullptr, &native, flags, nullptr);
    if (SUCCEEDED(hr)) FromNative(native, desc);
    return Result(hr);
  }
  HResult Unlock(void* surfaceData) override { return Result(surface_->Unlock(surfaceData)); }
  HResult GetSurfaceDesc(SurfaceDesc& desc) override {
    if (!ValidDescSize(desc.Size)) return DdErrInvalidParams;
    DDSURFACEDESC native{};
    native.dwSize = sizeof(native);
    HRESULT hr = surface_->GetSurfaceDesc(&native);
    if (SUCCEEDED(hr)) FromNative(native, desc);
    return Result(hr);
  }
  HResult GetDC(uintptr_t& dc) override {
    HDC native = nullptr;
    HRESULT hr = surface_->GetDC(&native);
    dc = reinterpret_cast<uintptr_t>(native);
    return Result(hr);
  }
  HResult ReleaseDC(uintptr_t dc) override { return Result(surface_->ReleaseDC(reinterpret_cast<HDC>(dc))); }

 private:
  ~Win32Surface() override = default;

  template <typename J>
  HResult Query(REFIID iid, DirectDrawSurface*& out) {
    J* other = nullptr;
    HRESULT hr = surface_->QueryInterface(iid, reinterpret_cast<void**>(&other));
    if (SUCCEEDED(hr)) out = new Win32Surface<J>(other);
    return Result(hr);
  }

  I* surface_;
  uint32_t wrapperRefs_ = 1;
};

struct EnumModesContext {
  const std::function<bool(const SurfaceDesc&)>* callback;
};

template <typename Desc>
HRESULT WINAPI EnumModesThunk(Desc* native, LPVOID context) {
  SurfaceDesc desc;
  FromNative(*native, desc);
  return (*static_cast<EnumModesContext*>(context)->callback)(desc) ? DDENUMRET_OK : DDENUMRET_CANCEL;
}

template <typename I>
class Win32DirectDraw final : public DirectDraw {
  static constexpr bool Seven = std::is_same<I, IDirectDraw7>::value;
  using Desc = typename std::conditional<Seven, DDSURFACEDESC2, DDSURFACEDESC>::type;

 public:
  explicit Win32DirectDraw(I* object) : object_(object) {}

  uint32_t AddRef() override {
    ++wrapperRefs_;
    return static_cast<uint32_t>(object_->AddRef());
  }
  uint32_t Release() override {
    ULONG left = object_->Release();
    if (--wrapperRefs_ == 0) delete this;
    return static_cast<uint32_t>(left);
  }
  HResult QueryInterface(DirectDrawInterface iid, DirectDraw*& out) override {
    out = nullptr;
    switch (iid) {
      case DirectDrawInterface::DirectDraw:
        return Query<IDirectDraw>(IID_IDirectDraw, out);
      case DirectDrawInterface::DirectDraw2:
        return Query<IDirectDraw2>(IID_IDirectDraw2, out);
      case DirectDrawInterface::DirectDraw7:
        return Query<IDirectDraw7>(IID_IDirectDraw7, out);
    }
    return ENoInterface;
  }
  HResult SetCooperativeLevel(uintptr_t window, uint32_t flags) override {
    return Result(object_->SetCooperativeLevel(reinterpret_cast<HWND>(window), flags));
  }
  HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel) override {
    if constexpr (std::is_same<I, IDirectDraw>::value)
      return Result(object_->SetDisplayMode(width, height, bitsPerPixel));
    else
      return Result(object_->SetDisplayMode(width, height, bitsPerPixel, 0, 0));
  }
  HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel, uint32_t refreshRate,
                         uint32_t flags) override {
    // The first interface has no refresh rate.
    if constexpr (std::is_same<I, IDirectDraw>::value) {
      (void)width, (void)height, (void)bitsPerPixel, (void)refreshRate, (void)flags;
      return DdErrUnsupported;
    } else {
      return Result(object_->SetDisplayMode(width, height, bitsPerPixel, refreshRate, flags));
    }
  }
  HResult RestoreDisplayMode() override { return Result(object_->RestoreDisplayMode()); }
  HResult EnumDisplayModes(uint32_t flags, const SurfaceDesc* filter,
                           const std::function<bool(const SurfaceDesc& mode)>& callback) override {
    if (filter != nullptr && !ValidDescSize(filter->Size)) return DdErrInvalidParams;
    Desc native{};
    if (filter != nullptr) ToNative(*filter, native);
    EnumModesContext context{&callback};
    return Result(object_->EnumDisplayModes(flags, filter != nullptr ? &native : nullptr, &context, &EnumModesThunk<Desc>));
  }
  HResult CreateSurface(const SurfaceDesc& desc, DirectDrawSurface*& out) override {
    out = nullptr;
    if (!ValidDescSize(desc.Size)) return DdErrInvalidParams;
    Desc native{};
    ToNative(desc, native);
    if constexpr (Seven) {
      IDirectDrawSurface7* surface = nullptr;
      HRESULT hr = object_->CreateSurface(&native, &surface, nullptr);
      if (FAILED(hr)) return Result(hr);
      // The session's surfaces are the first interfaces.
      IDirectDrawSurface* first = nullptr;
      hr = surface->QueryInterface(IID_IDirectDrawSurface, reinterpret_cast<void**>(&first));
      surface->Release();
      if (SUCCEEDED(hr)) out = new Win32Surface<IDirectDrawSurface>(first);
      return Result(hr);
    } else {
      IDirectDrawSurface* surface = nullptr;
      HRESULT hr = object_->CreateSurface(&native, &surface, nullptr);
      if (SUCCEEDED(hr)) out = new Win32Surface<IDirectDrawSurface>(surface);
      return Result(hr);
    }
  }

 private:
  ~Win32DirectDraw() override = default;

  template <typename J>
  HResult Query(REFIID iid, DirectDraw*& out) {
    J* other = nullptr;
    HRESULT hr = object_->QueryInterface(iid, reinterpret_cast<void**>(&other));
    if (SUCCEEDED(hr)) out = new Win32DirectDraw<J>(other);
    return Result(hr);
  }

  I* object_;
  uint32_t wrapperRefs_ = 1;
};

struct EnumDevicesContext {
  const std::function<bool(const Guid*, const std::string&, const std::string&, MonitorHandle)>* callback;
};

BOOL WINAPI EnumDevicesThunk(GUID* guid, LPSTR description, LPSTR driverName, LPVOID context, HMONITOR monitor) {
  Guid id;
  if (guid != nullptr) id = FromGuid(*guid);
  const auto& callback = *static_cast<EnumDevicesContext*>(context)->callback;
  return callback(guid != nullptr ? &id : nullptr, description != nullptr ? description : "",
                  driverName != nullptr ? driverName : "", reinterpret_cast<MonitorHandle>(monitor))
             ? TRUE
             : FALSE;
}

}  // namespace

HResult DirectDrawCreate(const Guid* guid, DirectDraw*& out) {
  out = nullptr;
  if (Ddraw().create == nullptr) return DdErrGeneric;
  GUID native;
  if (guid != nullptr) native = ToGuid(*guid);
  IDirectDraw* object = nullptr;
  HRESULT hr = Ddraw().create(guid != nullptr ? &native : nullptr, &object, nullptr);
  if (SUCCEEDED(hr)) out = new Win32DirectDraw<IDirectDraw>(object);
  return Result(hr);
}

HResult DirectDrawCreateEx(const Guid* guid, DirectDraw*& out, DirectDrawInterface iid) {
  out = nullptr;
  if (iid != DirectDrawInterface::DirectDraw7) return DdErrInvalidParams;
  if (Ddraw().createEx == nullptr) return DdErrGeneric;
  GUID native;
  if (guid != nullptr) native = ToGuid(*guid);
  IDirectDraw7* object = nullptr;
  HRESULT hr = Ddraw().createEx(guid != nullptr ? &native : nullptr, reinterpret_cast<LPVOID*>(&object),
                                IID_IDirectDraw7, nullptr);
  if (SUCCEEDED(hr)) out = new Win32DirectDraw<IDirectDraw7>(object);
  return Result(hr);
}

HResult DirectDrawEnumerateExA(const std::function<bool(const Guid* guid, const std::string& description,
                                                        const std::string& driverName, MonitorHandle monitor)>& callback,
                               uint32_t flags) {
  if (Ddraw().enumerateEx == nullptr) return DdErrGeneric;
  EnumDevicesContext context{&callback};
  return Result(Ddraw().enumerateEx(&EnumDevicesThunk, &context, flags));
}

}  // namespace platform
