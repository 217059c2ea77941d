// Video playback: a DirectShow filter graph and its video renderer, one call here for one COM
// call, with its arguments and HRESULTs. Objects are reference counted as on Windows: whoever
// gets one through a Create or Query call releases it once.
#pragma once

#include <cstdint>

#include "platform/window.h"
#include "platform/wmi.h"  // HResult, SOk, SFalse, CoUninitialize: COM's, shared with the management queries

namespace platform {

constexpr HResult ENoInterface = static_cast<HResult>(0x80004002u);
constexpr HResult EPointer = static_cast<HResult>(0x80004003u);
constexpr HResult EFail = static_cast<HResult>(0x80004005u);
constexpr HResult EUnexpected = static_cast<HResult>(0x8000FFFFu);
constexpr HResult ClassENotRegistered = static_cast<HResult>(0x80040154u);
// RenderFile: no file, no stream it knows, a format no decoder takes.
constexpr HResult VfwENotFound = static_cast<HResult>(0x80040216u);
constexpr HResult VfwEUnknownFileType = static_cast<HResult>(0x80040240u);
constexpr HResult VfwECannotRender = static_cast<HResult>(0x80040218u);
constexpr HResult VfwEInvalidFileFormat = static_cast<HResult>(0x8004022Fu);
constexpr HResult VfwENotConnected = static_cast<HResult>(0x80040209u);
inline bool Failed(HResult result) { return result < 0; }

// IUnknown's part that the program uses.
class ComObject {
 public:
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;

 protected:
  virtual ~ComObject() = default;
};

class MediaControl : public ComObject {  // IMediaControl
 public:
  virtual HResult Run() = 0;
  virtual HResult Stop() = 0;
};

// IMediaPosition: times in seconds of the clip.
class MediaPosition : public ComObject {
 public:
  virtual HResult get_Duration(double* seconds) = 0;
  virtual HResult get_CurrentPosition(double* seconds) = 0;
  virtual HResult put_Rate(double rate) = 0;
};

class VideoWindow : public ComObject {  // IVideoWindow
 public:
  virtual HResult put_Owner(Hwnd owner) = 0;
  virtual HResult put_WindowStyle(int32_t style) = 0;
  virtual HResult SetWindowPosition(int32_t left, int32_t top, int32_t width, int32_t height) = 0;
  virtual HResult put_Caption(const wchar_t* caption) = 0;
};

// IQualProp: the renderer's own count of what it showed; the rate in hundredths of a frame per
// second.
class QualProp : public ComObject {
 public:
  virtual HResult get_AvgFrameRate(int32_t* hundredths) = 0;
};

class BaseFilter : public ComObject {  // IBaseFilter
 public:
  virtual HResult QueryQualProp(QualProp** out) = 0;
};

class GraphBuilder : public ComObject {  // IGraphBuilder
 public:
  virtual HResult QueryMediaControl(MediaControl** out) = 0;
  virtual HResult QueryMediaPosition(MediaPosition** out) = 0;
  virtual HResult QueryVideoWindow(VideoWindow** out) = 0;
  virtual HResult AddFilter(BaseFilter* filter, const wchar_t* name) = 0;
  virtual HResult RenderFile(const wchar_t* file, const wchar_t* playList) = 0;
};

// CoInitialize(NULL).
HResult CoInitialize();
// CoCreateInstance of CLSID_FilterGraph for IID_IGraphBuilder, and of CLSID_VideoRenderer for
// IID_IBaseFilter, in process.
HResult CreateFilterGraph(GraphBuilder** out);
HResult CreateVideoRenderer(BaseFilter** out);

// The console window of the process, 0 when it has none.
Hwnd GetConsoleWindow();

}  // namespace platform
