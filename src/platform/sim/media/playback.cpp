// The playback graph of the simulated machine. It plays as the caller looks at the position: each
// look decodes the next frame, waits on the clock until the frame is due at the rate asked for,
// and hands it to the renderer, which puts it into the video window's part of the frame buffer on
// a thread of its own while the next frame is decoded, as DirectShow's renderer does. On the
// virtual clock the waits cost nothing, so a playback is instant and exact; on the real one it
// takes real time.
#include <cmath>
#include <cstdio>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/playback.h"
#include "platform/sim/media/clip.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/media/frame_rate.h"
#include "platform/sim/machine.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/window/window_sim.h"

namespace platform {
namespace {

constexpr HResult EInvalidArg = static_cast<HResult>(0x80070057u);
// Larger clips are not read into memory.
constexpr long MaxClipBytes = 256L << 20;

template <typename T>
HResult Hand(T* object, T** out) {
  if (out == nullptr) return EPointer;
  object->AddRef();
  *out = object;
  return SOk;
}

// Waits on the clock until `tick`, when that is still ahead.
void WaitUntil(uint32_t tick) {
  const auto ahead = static_cast<int32_t>(tick - GetTickCount());
  if (ahead > 0) Sleep(static_cast<uint32_t>(ahead));
}

class Renderer final : public BaseFilter, public QualProp {
 public:
  uint32_t AddRef() override { return ++references_; }
  uint32_t Release() override {
    const uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HResult QueryQualProp(QualProp** out) override { return Hand<QualProp>(this, out); }
  HResult get_AvgFrameRate(int32_t* hundredths) override {
    if (hundredths == nullptr) return EPointer;
    *hundredths = Meter.AverageHundredths(GetTickCount());
    return SOk;
  }

  sim::FrameRateMeter Meter;

 private:
  ~Renderer() override = default;
  uint32_t references_ = 1;
};

class Graph final : public GraphBuilder, public MediaControl, public MediaPosition, public VideoWindow {
 public:
  uint32_t AddRef() override { return ++references_; }
  uint32_t Release() override {
    const uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HResult QueryMediaControl(MediaControl** out) override { return Hand<MediaControl>(this, out); }
  HResult QueryMediaPosition(MediaPosition** out) override { return Hand<MediaPosition>(this, out); }
  HResult QueryVideoWindow(VideoWindow** out) override { return Hand<VideoWindow>(this, out); }

  HResult AddFilter(BaseFilter* filter, const wchar_t* name) override {
    auto* renderer = dynamic_cast<Renderer*>(filter);
    if (renderer == nullptr || name == nullptr) return EPointer;
    if (renderer_ != nullptr) return EFail;  // the graph has one renderer
    renderer->AddRef();
    renderer_ = renderer;
    return SOk;
  }

  HResult RenderFile(const wchar_t* file, const wchar_t*) override {
    if (file == nullptr) return EPointer;
    if (clip_ != nullptr) return EUnexpected;
    std::string path;
    for (const wchar_t* c = file; *c != 0; ++c) path += static_cast<char>(*c);
    std::vector<uint8_t> bytes;
    if (!ReadWhole(path, bytes)) return VfwENotFound;
    // Without a renderer of the caller's the graph brings its own, as DirectShow does.
    if (renderer_ == nullptr) {
      BaseFilter* own = nullptr;
      if (Failed(CreateVideoRenderer(&own))) return VfwECannotRender;
      renderer_ = static_cast<Renderer*>(own);
    }
    return sim::OpenClip(std::move(bytes), clip_);
  }

  HResult Run() override {
    if (clip_ == nullptr) return SOk;  // an empty graph runs and shows nothing
    start_ = GetTickCount();
    next_ = 0;
    position_ = 0;
    running_ = true;
    renderer_->Meter.Start(start_);
    return SOk;
  }

  HResult Stop() override {
    if (running_) End(GetTickCount());
    return SOk;
  }

  HResult get_Duration(double* seconds) override {
    if (seconds == nullptr) return EPointer;
    if (clip_ == nullptr) return VfwENotConnected;
    *seconds = clip_->Duration();
    return SOk;
  }

  HResult get_CurrentPosition(double* seconds) override {
    if (seconds == nullptr) return EPointer;
    if (running_) PlayOn();
    *seconds = position_;
    return SOk;
  }

  HResult put_Rate(double rate) override {
    if (!(rate > 0) || !std::isfinite(rate)) return EInvalidArg;
    rate_ = rate;
    return SOk;
  }

  HResult put_Owner(Hwnd owner) override {
    if (clip_ == nullptr) return VfwENotConnected;
    owner_ = owner;
    return SOk;
  }
  HResult put_WindowStyle(int32_t style) override {
    if (clip_ == nullptr) return VfwENotConnected;
    style_ = style;
    return SOk;
  }
  HResult SetWindowPosition(int32_t left, int32_t top, int32_t width, int32_t height) override {
    if (clip_ == nullptr) return VfwENotConnected;
    if (width < 0 || height < 0) return EInvalidArg;
    area_ = Rect{left, top, left + width, top + height};
    placed_ = true;
    return SOk;
  }
  HResult put_Caption(const wchar_t* caption) override {
    if (caption == nullptr) return EPointer;
    if (clip_ == nullptr) return VfwENotConnected;
    caption_ = caption;
    return SOk;
  }

 private:
  ~Graph() override {
    FinishPresenting();
    if (renderer_ != nullptr) renderer_->Release();
  }

  static bool ReadWhole(const std::string& path, std::vector<uint8_t>& bytes) {
    std::FILE* file = OpenFile(path, "rb");
    if (file == nullptr) return false;
    bool ok = std::fseek(file, 0, SEEK_END) == 0;
    const long size = ok ? std::ftell(file) : -1;
    ok = size >= 0 && size <= MaxClipBytes && std::fseek(file, 0, SEEK_SET) == 0;
    if (ok) {
      bytes.resize(static_cast<size_t>(size));
      ok = std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
    }
    std::fclose(file);
    return ok;
  }

  uint32_t TickAt(double clipSeconds) const {
    return start_ + static_cast<uint32_t>(std::llround(clipSeconds * 1000.0 / rate_));
  }

  // One step of the playback: the next frame decoded and shown when it is due, or, with none
  // left, the wait to the clip's end.
  void PlayOn() {
    if (next_ < clip_->FrameCount()) {
      const size_t frame = next_++;
      const uint32_t cost = sim::CurrentMachine().DecodeMilliseconds;
      if (cost != 0) Sleep(cost);
      const bool decoded = clip_->Decode(frame);
      WaitUntil(TickAt(clip_->FrameTime(frame)));
      if (decoded) {
        FinishPresenting();
        shown_ = std::async(std::launch::async, [this, frame] { Present(frame); });
        renderer_->Meter.Presented();
      }
    } else {
      WaitUntil(TickAt(clip_->Duration()));
    }
    const uint32_t now = GetTickCount();
    position_ = std::min(clip_->Duration(), static_cast<uint32_t>(now - start_) / 1000.0 * rate_);
    if (position_ >= clip_->Duration()) End(now);
  }

  // The frame handed over last is on the screen.
  void FinishPresenting() {
    if (shown_.valid()) shown_.get();
  }

  void End(uint32_t now) {
    FinishPresenting();
    running_ = false;
    renderer_->Meter.Stop(now);
    // The last frame as the screen shows it.
    if (sim::ScreenshotsWanted()) sim::SaveScreenshot(caption_.empty() ? L"ActiveMovie Window" : caption_);
  }

  // The frame fills the video window: a child of its owner, placed in the owner's client area.
  void Present(size_t frame) {
    sim::Surface& screen = sim::ScreenSurface();
    Rect bounds{0, 0, screen.Width, screen.Height};
    Rect area = placed_ ? area_ : Rect{0, 0, clip_->Width(), clip_->Height()};
    if (owner_ != 0) {
      Rect owner;
      if (!GetWindowRect(owner_, &owner)) return;
      area = Rect{owner.Left + area.Left, owner.Top + area.Top, owner.Left + area.Right, owner.Top + area.Bottom};
      bounds = owner;
    }
    clip_->Present(frame, screen, area.Left, area.Top, area.Right - area.Left, area.Bottom - area.Top, bounds.Left, bounds.Top,
                   bounds.Right, bounds.Bottom);
    sim::ForceFrameBufferFaults(screen);
  }

  uint32_t references_ = 1;
  Renderer* renderer_ = nullptr;
  std::unique_ptr<sim::Clip> clip_;
  double rate_ = 1.0;
  bool running_ = false;
  uint32_t start_ = 0;
  size_t next_ = 0;
  double position_ = 0;
  Hwnd owner_ = 0;
  int32_t style_ = 0;
  Rect area_;
  bool placed_ = false;
  std::wstring caption_;
  std::future<void> shown_;  // the renderer's work on the frame handed over last
};

Hwnd consoleWindow = 0;

LResult PLATFORM_CALLBACK ConsoleProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

// One apartment for the process, as the management queries' CoInitializeEx has it.
HResult CoInitialize() { return CoInitializeEx(CoinitApartmentThreaded); }

HResult CreateFilterGraph(GraphBuilder** out) {
  if (out == nullptr) return EPointer;
  *out = new Graph;
  return SOk;
}

HResult CreateVideoRenderer(BaseFilter** out) {
  if (out == nullptr) return EPointer;
  *out = nullptr;
  if (!sim::CurrentMachine().VideoRenderer) return ClassENotRegistered;
  *out = new Renderer;
  return SOk;
}

// The console the program was started from: 80 columns of 25 lines of an 8x16 font at the top
// left of the screen, made when first asked for.
Hwnd GetConsoleWindow() {
  if (consoleWindow != 0 && IsWindow(consoleWindow)) return consoleWindow;
  WndClassW windowClass;
  windowClass.Proc = ConsoleProc;
  windowClass.ClassName = L"ConsoleWindowClass";
  RegisterClassW(&windowClass);  // already there after an earlier console: fine
  consoleWindow = CreateWindowExW(0, L"ConsoleWindowClass", L"raster-scan", WsOverlapped | WsVisible, 0, 0, 640, 400,
                                  0, 0, 0, nullptr);
  return consoleWindow;
}

}  // namespace platform
