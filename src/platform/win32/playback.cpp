// DirectShow through COM. Each object of the layer wraps one COM interface pointer and passes
// every call straight through; the wrapper's own count lets go of the pointer at the last Release.
#include "platform/playback.h"

#include <windows.h>
#include <dshow.h>

#include <string>

namespace platform {
namespace {

// The layer's reference counting around one interface pointer of `Com`.
template <typename Base, typename Com>
class Wrapped : public Base {
 public:
  explicit Wrapped(Com* com) : com_(com) {}
  uint32_t AddRef() override { return ++references_; }
  uint32_t Release() override {
    const uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
  }
  Com* Raw() const { return com_; }

 protected:
  ~Wrapped() override { com_->Release(); }
  Com* com_;

 private:
  uint32_t references_ = 1;
};

// QueryInterface of `from` for `Com`, handed out wrapped as `Out`.
template <typename Out, typename Com>
HResult Query(IUnknown* from, REFIID iid, typename Out::Interface** out) {
  if (out == nullptr) return EPointer;
  *out = nullptr;
  Com* com = nullptr;
  const HRESULT result = from->QueryInterface(iid, reinterpret_cast<void**>(&com));
  if (SUCCEEDED(result)) *out = new Out(com);
  return static_cast<HResult>(result);
}

class Control final : public Wrapped<MediaControl, IMediaControl> {
 public:
  using Interface = MediaControl;
  using Wrapped::Wrapped;
  HResult Run() override { return static_cast<HResult>(com_->Run()); }
  HResult Stop() override { return static_cast<HResult>(com_->Stop()); }
};

class Position final : public Wrapped<MediaPosition, IMediaPosition> {
 public:
  using Interface = MediaPosition;
  using Wrapped::Wrapped;
  HResult get_Duration(double* seconds) override { return static_cast<HResult>(com_->get_Duration(seconds)); }
  HResult get_CurrentPosition(double* seconds) override {
    return static_cast<HResult>(com_->get_CurrentPosition(seconds));
  }
  HResult put_Rate(double rate) override { return static_cast<HResult>(com_->put_Rate(rate)); }
};

class Window final : public Wrapped<VideoWindow, IVideoWindow> {
 public:
  using Interface = VideoWindow;
  using Wrapped::Wrapped;
  HResult put_Owner(Hwnd owner) override { return static_cast<HResult>(com_->put_Owner(static_cast<OAHWND>(owner))); }
  HResult put_WindowStyle(int32_t style) override { return static_cast<HResult>(com_->put_WindowStyle(style)); }
  HResult SetWindowPosition(int32_t left, int32_t top, int32_t width, int32_t height) override {
    return static_cast<HResult>(com_->SetWindowPosition(left, top, width, height));
  }
  HResult put_Caption(const wchar_t* caption) override {
    if (caption == nullptr) return EPointer;
    BSTR text = SysAllocString(caption);
    const HRESULT result = com_->put_Caption(text);
    SysFreeString(text);
    return static_cast<HResult>(result);
  }
};

class Quality final : public Wrapped<QualProp, IQualProp> {
 public:
  using Interface = QualProp;
  using Wrapped::Wrapped;
  HResult get_AvgFrameRate(int32_t* hundredths) override {
    if (hundredths == nullptr) return EPointer;
    int rate = 0;
    const HRESULT result = com_->get_AvgFrameRate(&rate);
    *hundredths = rate;
    return static_cast<HResult>(result);
  }
};

class Filter final : public Wrapped<BaseFilter, IBaseFilter> {
 public:
  using Wrapped::Wrapped;
  HResult QueryQualProp(QualProp** out) override { return Query<Quality, IQualProp>(com_, IID_IQualProp, out); }
};

class Graph final : public Wrapped<GraphBuilder, IGraphBuilder> {
 public:
  using Wrapped::Wrapped;
  HResult QueryMediaControl(MediaControl** out) override {
    return Query<Control, IMediaControl>(com_, IID_IMediaControl, out);
  }
  HResult QueryMediaPosition(MediaPosition** out) override {
    return Query<Position, IMediaPosition>(com_, IID_IMediaPosition, out);
  }
  HResult QueryVideoWindow(VideoWindow** out) override {
    return Query<Window, IVideoWindow>(com_, IID_IVideoWindow, out);
  }
  HResult AddFilter(BaseFilter* filter, const wchar_t* name) override {
    auto* wrapped = dynamic_cast<Filter*>(filter);
    if (wrapped == nullptr) return EPointer;
    return static_cast<HResult>(com_->AddFilter(wrapped->Raw(), name));
  }
  HResult RenderFile(const wchar_t* file, const wchar_t* playList) override {
    return static_cast<HResult>(com_->RenderFile(file, playList));
  }
};

template <typename Out, typename Com>
HResult Create(REFCLSID type, REFIID iid, Out** out) {
  if (out == nullptr) return EPointer;
  *out = nullptr;
  Com* com = nullptr;
  const HRESULT result = CoCreateInstance(type, nullptr, CLSCTX_INPROC_SERVER, iid, reinterpret_cast<void**>(&com));
  if (SUCCEEDED(result)) *out = new Out(com);
  return static_cast<HResult>(result);
}

}  // namespace

HResult CoInitialize() { return static_cast<HResult>(::CoInitialize(nullptr)); }

HResult CreateFilterGraph(GraphBuilder** out) {
  Graph* graph = nullptr;
  const HResult result = Create<Graph, IGraphBuilder>(CLSID_FilterGraph, IID_IGraphBuilder, &graph);
  if (out != nullptr) *out = graph;
  return result;
}

HResult CreateVideoRenderer(BaseFilter** out) {
  Filter* filter = nullptr;
  const HResult result = Create<Filter, IBaseFilter>(CLSID_VideoRenderer, IID_IBaseFilter, &filter);
  if (out != nullptr) *out = filter;
  return result;
}

Hwnd GetConsoleWindow() { return reinterpret_cast<Hwnd>(::GetConsoleWindow()); }

}  // namespace platform
