#include "platform/ddraw.h"

#include <cstring>
#include <map>
#include <vector>

#include "platform/sim/display/display_model.h"
#include "platform/sim/memory_faults.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace platform {

namespace {

using sim::AdapterState;
using sim::DisplayModel;

sim::SurfaceDcHooks& DcHooks() {
  static sim::SurfaceDcHooks hooks;
  return hooks;
}

// DCs handed out by GetDC and not yet taken back, with the surface behind each.
std::map<uintptr_t, sim::Surface*>& OpenDcs() {
  static std::map<uintptr_t, sim::Surface*> dcs;
  return dcs;
}

// Tokens for GetDC when no drawing layer makes real contexts.
uintptr_t NextDcToken() {
  static uintptr_t next = 0x7DD00000;
  return ++next;
}

bool ValidDescSize(uint32_t size) { return size == 108 || size == 124; }

bool SameGuid(const Guid& a, const Guid& b) {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i)
    if (a.Data4[i] != b.Data4[i]) return false;
  return true;
}

bool IsNullGuid(const Guid* guid) { return guid == nullptr || SameGuid(*guid, Guid{}); }

// A faulty device refuses the call, however it is made.
bool Refuses(const AdapterState& adapter, uint32_t call) { return (adapter.Config.FailingDirectDrawCalls & call) != 0; }

DdPixelFormat FormatOf(int32_t bits) {
  DdPixelFormat f;
  f.Flags = DdpfRgb;
  f.RGBBitCount = static_cast<uint32_t>(bits);
  if (bits == 8) {
    f.Flags |= DdpfPaletteIndexed8;
  } else if (bits == 16) {
    f.RBitMask = 0xF800;
    f.GBitMask = 0x07E0;
    f.BBitMask = 0x001F;
  } else {
    f.RBitMask = 0xFF0000;
    f.GBitMask = 0x00FF00;
    f.BBitMask = 0x0000FF;
  }
  return f;
}

class SimDirectDraw;

class SimSurface final : public DirectDrawSurface {
 public:
  SimSurface(SimDirectDraw* owner, size_t adapter, uint32_t epoch, const AdapterState& state)
      : owner_(owner), adapter_(adapter), epoch_(epoch), generation_(state.ModeGeneration) {
    width_ = state.FrameBuffer.Width;
    height_ = state.FrameBuffer.Height;
    bits_ = state.FrameBuffer.Bits;
    pitch_ = state.FrameBuffer.Pitch;
  }

  uint32_t AddRef() override { return ++refs_; }
  uint32_t Release() override;
  HResult QueryInterface(SurfaceInterface iid, DirectDrawSurface*& out) override {
    (void)iid;
    AddRef();
    out = this;
    return DdOk;
  }

  HResult Lock(const DisplayRect* rect, SurfaceDesc& desc, uint32_t flags) override {
    (void)flags;
    if (!ValidDescSize(desc.Size)) return DdErrInvalidParams;
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrSurfaceLost;
    if (locked_ || dc_ != 0) return DdErrSurfaceBusy;
    DisplayRect whole{0, 0, width_, height_};
    DisplayRect r = rect != nullptr ? *rect : whole;
    if (r.Left < 0 || r.Top < 0 || r.Right > width_ || r.Bottom > height_ || r.Left >= r.Right || r.Top >= r.Bottom)
      return DdErrInvalidRect;
    if (Refuses(*state, sim::DdCallLock)) return DdErrGeneric;
    sim::Surface& frameBuffer = state->FrameBuffer;
    if (state->Config.LockShowsOwnBuffer) {
      state->OwnLockBuffer.resize(frameBuffer.Pixels.size());
      Describe(desc);
      desc.Flags |= DdsdLpSurface;
      desc.Surface = state->OwnLockBuffer.data() + static_cast<size_t>(r.Top) * pitch_ + r.Left * (bits_ / 8);
      locked_ = true;
      return DdOk;
    }
    sim::ForceFrameBufferFaults(frameBuffer);
    Describe(desc);
    desc.Flags |= DdsdLpSurface;
    desc.Surface = frameBuffer.Row(r.Top) + r.Left * (bits_ / 8);
    locked_ = true;
    // The program now reads and writes the bytes directly: the faulty ones answer through traps.
    lockedView_ = reinterpret_cast<uintptr_t>(frameBuffer.Pixels.data());
    lockedLength_ = frameBuffer.Pixels.size();
    if (&frameBuffer == &sim::ScreenSurface() && sim::ScreenshotsWanted())
      before_.assign(frameBuffer.Pixels.begin(), frameBuffer.Pixels.end());
    sim::AttachFaults(sim::FrameBufferOf(adapter_), lockedView_, lockedLength_, 0);
    return DdOk;
  }

  HResult Unlock(void* surfaceData) override {
    (void)surfaceData;
    if (!locked_) return DdErrNotLocked;
    AdapterState* state = SameFrameBuffer();
    // A refused unlock leaves the surface locked.
    if (state != nullptr && Refuses(*state, sim::DdCallUnlock)) return DdErrGeneric;
    locked_ = false;
    if (state != nullptr && state->Config.LockShowsOwnBuffer) return DdOk;
    std::vector<uint8_t> before;
    before.swap(before_);
    // A frame buffer made anew since the lock had its pages let go with the old one.
    if (state == nullptr) return DdOk;
    sim::DetachFaults(lockedView_, lockedLength_);
    // What was written through the lock is on the screen: a picture of it when it changed.
    const sim::Surface& frameBuffer = state->FrameBuffer;
    if (!before.empty() && std::memcmp(before.data(), frameBuffer.Pixels.data(), before.size()) != 0)
      sim::SaveScreenshot(ScreenshotTitle());
    return DdOk;
  }

  HResult GetSurfaceDesc(SurfaceDesc& desc) override {
    if (!ValidDescSize(desc.Size)) return DdErrInvalidParams;
    Describe(desc);
    return DdOk;
  }

  HResult GetDC(uintptr_t& dc) override {
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrSurfaceLost;
    if (dc_ != 0) return DdErrDcAlreadyCreated;
    if (locked_) return DdErrSurfaceBusy;
    sim::ForceFrameBufferFaults(state->FrameBuffer);
    uintptr_t made = DcHooks().Create ? DcHooks().Create(state->FrameBuffer) : NextDcToken();
    if (made == 0) return DdErrCantCreateDc;
    dc_ = made;
    OpenDcs()[made] = &state->FrameBuffer;
    dc = made;
    return DdOk;
  }

  HResult ReleaseDC(uintptr_t dc) override {
    if (dc_ == 0) return DdErrNoDc;
    if (dc != dc_) return DdErrInvalidParams;
    DropDc();
    return DdOk;
  }

  void Orphan() { owner_ = nullptr; }

 private:
  ~SimSurface() override {
    DropDc();
    if (locked_ && SameFrameBuffer() != nullptr) sim::DetachFaults(lockedView_, lockedLength_);
  }

  // The adapter while its frame buffer is still the one this surface was made on, whether or not
  // the DirectDraw object is still there.
  AdapterState* SameFrameBuffer() {
    DisplayModel& model = DisplayModel::Get();
    if (model.Epoch() != epoch_) return nullptr;
    AdapterState& state = model.Adapters()[adapter_];
    return state.ModeGeneration == generation_ ? &state : nullptr;
  }

  std::wstring ScreenshotTitle() const;

  void DropDc() {
    if (dc_ == 0) return;
    OpenDcs().erase(dc_);
    if (DcHooks().Release) DcHooks().Release(dc_);
    dc_ = 0;
  }

  // The adapter while the surface is still good: its object alive, the machine and mode unchanged.
  AdapterState* Adapter() {
    DisplayModel& model = DisplayModel::Get();
    if (owner_ == nullptr || model.Epoch() != epoch_) return nullptr;
    AdapterState& state = model.Adapters()[adapter_];
    if (state.ModeGeneration != generation_ || !state.Current.Attached) return nullptr;
    return &state;
  }

  void Describe(SurfaceDesc& desc) const {
    const uint32_t size = desc.Size;
    desc = SurfaceDesc{};
    desc.Size = size;
    desc.Flags = DdsdCaps | DdsdHeight | DdsdWidth | DdsdPitch | DdsdPixelFormat;
    desc.Width = static_cast<uint32_t>(width_);
    desc.Height = static_cast<uint32_t>(height_);
    desc.Pitch = pitch_;
    desc.PixelFormat = FormatOf(bits_);
    desc.Caps = DdsCapsPrimarySurface | DdsCapsVideoMemory | DdsCapsVisible | DdsCapsLocalVidMem;
  }

  uint32_t refs_ = 1;
  SimDirectDraw* owner_;
  size_t adapter_;
  uint32_t epoch_;
  uint32_t generation_;
  int32_t width_ = 0;
  int32_t height_ = 0;
  int32_t bits_ = 0;
  int32_t pitch_ = 0;
  bool locked_ = false;
  uintptr_t lockedView_ = 0;
  size_t lockedLength_ = 0;
  std::vector<uint8_t> before_;  // the screen at the lock, when screenshots are taken
  uintptr_t dc_ = 0;
};

class SimDirectDraw final : public DirectDraw {
 public:
  SimDirectDraw(size_t adapter, uint32_t epoch) : adapter_(adapter), epoch_(epoch) {}

  uint32_t AddRef() override { return ++refs_; }

  uint32_t Release() override {
    if (--refs_ != 0) return refs_;
    AdapterState* state = Adapter();
    if (state != nullptr) {
      // Giving up the object gives back the screen as it was before its mode change.
      RestoreDisplayMode();
      if (state->ExclusiveOwner == Id()) state->ExclusiveOwner = 0;
    }
    if (primary_ != nullptr) primary_->Orphan();
    delete this;
    return 0;
  }

  HResult QueryInterface(DirectDrawInterface iid, DirectDraw*& out) override {
    (void)iid;
    AddRef();
    out = this;
    return DdOk;
  }

  HResult SetCooperativeLevel(uintptr_t window, uint32_t flags) override {
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrInvalidObject;
    const bool exclusive = (flags & DdsclExclusive) != 0;
    const bool fullscreen = (flags & DdsclFullscreen) != 0;
    const bool normal = (flags & DdsclNormal) != 0;
    if (exclusive != fullscreen || exclusive == normal) return DdErrInvalidParams;
    if (exclusive && window == 0) return DdErrInvalidParams;
    if (Refuses(*state, sim::DdCallSetCooperativeLevel)) return DdErrGeneric;
    if (exclusive && state->ExclusiveOwner != 0 && state->ExclusiveOwner != Id()) return DdErrExclusiveModeAlreadySet;
    if (exclusive) state->ExclusiveOwner = Id();
    else if (state->ExclusiveOwner == Id()) state->ExclusiveOwner = 0;
    cooperative_ = true;
    focusWindow_ = exclusive ? window : 0;
    return DdOk;
  }

  HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel) override {
    return SetDisplayMode(width, height, bitsPerPixel, 0, 0);
  }

  HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel, uint32_t refreshRate,
                         uint32_t flags) override {
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrInvalidObject;
    if ((flags & ~1u) != 0) return DdErrInvalidParams;
    if (!cooperative_) return DdErrNoCooperativeLevelSet;
    if (state->ExclusiveOwner != 0 && state->ExclusiveOwner != Id()) return DdErrNoExclusiveMode;
    if (Refuses(*state, sim::DdCallSetDisplayMode)) return DdErrUnsupportedMode;
    sim::DisplaySettings before = state->Current;
    sim::ModeSize mode{static_cast<int32_t>(width), static_cast<int32_t>(height), static_cast<int32_t>(bitsPerPixel)};
    HResult result = DisplayModel::Get().SetDirectDrawMode(*state, mode, refreshRate);
    if (result == DdOk && !modeChanged_) {
      modeChanged_ = true;
      saved_ = before;
    }
    // In exclusive mode the focus window is made to cover the new screen, as full-screen
    // DirectDraw does.
    if (result == DdOk && focusWindow_ != 0 && IsWindow(focusWindow_))
      SetWindowPos(focusWindow_, HwndTop, 0, 0, mode.Width, mode.Height, SwpNoMove | SwpNoZOrder | SwpNoActivate);
    return result;
  }

  HResult RestoreDisplayMode() override {
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrInvalidObject;
    if (modeChanged_) DisplayModel::Get().Apply(*state, saved_);
    modeChanged_ = false;
    return DdOk;
  }

  HResult EnumDisplayModes(uint32_t flags, const SurfaceDesc* filter,
                           const std::function<bool(const SurfaceDesc& mode)>& callback) override {
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrInvalidObject;
    if (filter != nullptr && !ValidDescSize(filter->Size)) return DdErrInvalidParams;
    for (const sim::ModeSize& mode : state->DirectDrawModes()) {
      std::vector<uint32_t> rates{0};
      if ((flags & DdedmRefreshRates) != 0) rates = state->RatesOf(mode);
      for (uint32_t rate : rates) {
        SurfaceDesc desc;
        desc.Flags = DdsdHeight | DdsdWidth | DdsdPitch | DdsdPixelFormat | DdsdRefreshRate;
        desc.Width = static_cast<uint32_t>(mode.Width);
        desc.Height = static_cast<uint32_t>(mode.Height);
        desc.Pitch = (mode.Width * mode.Bits / 8 + 3) & ~3;
        desc.RefreshRate = rate;
        desc.PixelFormat = FormatOf(mode.Bits);
        if (filter != nullptr && !Matches(*filter, desc)) continue;
        if (!callback(desc)) return DdOk;
      }
    }
    return DdOk;
  }

  HResult CreateSurface(const SurfaceDesc& desc, DirectDrawSurface*& out) override {
    out = nullptr;
    AdapterState* state = Adapter();
    if (state == nullptr) return DdErrInvalidObject;
    if (!ValidDescSize(desc.Size) || (desc.Flags & DdsdCaps) == 0) return DdErrInvalidParams;
    // The simulated driver has the primary surface only.
    if ((desc.Caps & DdsCapsPrimarySurface) == 0) return DdErrUnsupported;
    if ((desc.Flags & (DdsdWidth | DdsdHeight)) != 0) return DdErrInvalidParams;
    if (!cooperative_) return DdErrNoCooperativeLevelSet;
    if (primary_ != nullptr) return DdErrPrimarySurfaceAlreadyExists;
    if (Refuses(*state, sim::DdCallCreateSurface)) return DdErrOutOfMemory;
    primary_ = new SimSurface(this, adapter_, epoch_, *state);
    out = primary_;
    return DdOk;
  }

  void SurfaceGone() { primary_ = nullptr; }
  Hwnd FocusWindow() const { return focusWindow_; }

 private:
  ~SimDirectDraw() override = default;

  uintptr_t Id() const { return reinterpret_cast<uintptr_t>(this); }

  AdapterState* Adapter() {
    DisplayModel& model = DisplayModel::Get();
    return model.Epoch() == epoch_ ? &model.Adapters()[adapter_] : nullptr;
  }

  static bool Matches(const SurfaceDesc& filter, const SurfaceDesc& mode) {
    if ((filter.Flags & DdsdWidth) != 0 && filter.Width != mode.Width) return false;
    if ((filter.Flags & DdsdHeight) != 0 && filter.Height != mode.Height) return false;
    if ((filter.Flags & DdsdPixelFormat) != 0 && filter.PixelFormat.RGBBitCount != mode.PixelFormat.RGBBitCount)
      return false;
    if ((filter.Flags & DdsdRefreshRate) != 0 && filter.RefreshRate != mode.RefreshRate) return false;
    return true;
  }

  uint32_t refs_ = 1;
  size_t adapter_;
  uint32_t epoch_;
  bool cooperative_ = false;
  Hwnd focusWindow_ = 0;
  bool modeChanged_ = false;
  sim::DisplaySettings saved_;
  SimSurface* primary_ = nullptr;
};

// Pictures of the screen through a lock are named after the window that holds exclusive mode.
std::wstring SimSurface::ScreenshotTitle() const {
  const Hwnd window = owner_ != nullptr ? owner_->FocusWindow() : 0;
  const std::wstring title = window != 0 && IsWindow(window) ? sim::WindowTitle(window) : std::wstring();
  return title.empty() ? L"primary-surface" : title;
}

uint32_t SimSurface::Release() {
  if (--refs_ != 0) return refs_;
  if (owner_ != nullptr) owner_->SurfaceGone();
  delete this;
  return 0;
}

// The adapter that a GUID names, or the failure to give.
HResult FindDevice(const Guid* guid, size_t& index) {
  DisplayModel& model = DisplayModel::Get();
  auto& adapters = model.Adapters();
  if (IsNullGuid(guid)) {
    index = static_cast<size_t>(&model.Primary() - adapters.data());
  } else {
    index = adapters.size();
    for (size_t i = 0; i < adapters.size(); ++i)
      if (!adapters[i].IsPseudo() && SameGuid(adapters[i].DirectDrawGuid, *guid)) index = i;
    if (index == adapters.size()) return DdErrInvalidDirectDrawGuid;
  }
  const AdapterState& a = adapters[index];
  if (!a.Config.DirectDrawAvailable) return DdErrGeneric;
  if (!a.Current.Attached) return DdErrNoDirectDrawHw;
  return DdOk;
}

}  // namespace

HResult DirectDrawCreate(const Guid* guid, DirectDraw*& out) {
  out = nullptr;
  size_t index = 0;
  HResult result = FindDevice(guid, index);
  if (result != DdOk) return result;
  out = new SimDirectDraw(index, DisplayModel::Get().Epoch());
  return DdOk;
}

HResult DirectDrawCreateEx(const Guid* guid, DirectDraw*& out, DirectDrawInterface iid) {
  out = nullptr;
  if (iid != DirectDrawInterface::DirectDraw7) return DdErrInvalidParams;
  return DirectDrawCreate(guid, out);
}

HResult DirectDrawEnumerateExA(const std::function<bool(const Guid* guid, const std::string& description,
                                                        const std::string& driverName, MonitorHandle monitor)>& callback,
                               uint32_t flags) {
  if ((flags & ~(DdenumAttachedSecondaryDevices | DdenumDetachedSecondaryDevices | DdenumNonDisplayDevices)) != 0)
    return DdErrInvalidParams;
  if (!callback(nullptr, "Primary Display Driver", "display", 0)) return DdOk;
  // Each display device has an entry of its own only on a machine with more than one of them.
  auto& adapters = DisplayModel::Get().Adapters();
  std::vector<size_t> listed;
  for (size_t i = 0; i < adapters.size(); ++i) {
    const AdapterState& a = adapters[i];
    if (a.IsPseudo()) continue;
    const uint32_t wanted = a.Current.Attached ? DdenumAttachedSecondaryDevices : DdenumDetachedSecondaryDevices;
    if ((flags & wanted) != 0) listed.push_back(i);
  }
  if (listed.size() < 2) return DdOk;
  for (size_t i : listed) {
    const AdapterState& a = adapters[i];
    MonitorHandle monitor = a.Current.Attached ? sim::MonitorHandleBase + i : 0;
    if (!callback(&a.DirectDrawGuid, a.Config.Description, a.Name, monitor)) break;
  }
  return DdOk;
}

namespace sim {

void SetSurfaceDcHooks(SurfaceDcHooks hooks) { DcHooks() = std::move(hooks); }

Surface* SurfaceOfDirectDrawDc(uintptr_t dc) {
  auto found = OpenDcs().find(dc);
  return found == OpenDcs().end() ? nullptr : found->second;
}

}  // namespace sim

}  // namespace platform
