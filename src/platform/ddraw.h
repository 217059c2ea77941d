// DirectDraw: device enumeration, DirectDraw objects and the primary surface. The COM interfaces
// are C++ objects with the same reference counting: every pointer handed out (by a create call,
// CreateSurface or QueryInterface) is given back with Release. One call here is one COM call
// with the same arguments and HRESULTs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/display.h"
#include "platform/setupapi.h"  // Guid

namespace platform {

using HResult = int32_t;

constexpr HResult DdOk = 0;
constexpr HResult MakeDdHResult(uint32_t code) { return static_cast<HResult>(0x88760000u | code); }
constexpr HResult EFail = static_cast<HResult>(0x80004005u);
constexpr HResult ENotImpl = static_cast<HResult>(0x80004001u);
constexpr HResult EInvalidArg = static_cast<HResult>(0x80070057u);
constexpr HResult EOutOfMemory = static_cast<HResult>(0x8007000Eu);
constexpr HResult ENoInterface = static_cast<HResult>(0x80004002u);

constexpr HResult DdErrGeneric = EFail;
constexpr HResult DdErrInvalidParams = EInvalidArg;
constexpr HResult DdErrUnsupported = ENotImpl;
constexpr HResult DdErrOutOfMemory = EOutOfMemory;
constexpr HResult DdErrInvalidCaps = MakeDdHResult(100);
constexpr HResult DdErrInvalidMode = MakeDdHResult(120);
constexpr HResult DdErrInvalidObject = MakeDdHResult(130);
constexpr HResult DdErrInvalidRect = MakeDdHResult(150);
constexpr HResult DdErrNoCooperativeLevelSet = MakeDdHResult(212);
constexpr HResult DdErrNoExclusiveMode = MakeDdHResult(225);
constexpr HResult DdErrSurfaceBusy = MakeDdHResult(430);
constexpr HResult DdErrSurfaceLost = MakeDdHResult(450);
constexpr HResult DdErrInvalidDirectDrawGuid = MakeDdHResult(561);
constexpr HResult DdErrNoDirectDrawHw = MakeDdHResult(563);
constexpr HResult DdErrPrimarySurfaceAlreadyExists = MakeDdHResult(564);
constexpr HResult DdErrExclusiveModeAlreadySet = MakeDdHResult(581);
constexpr HResult DdErrNotLocked = MakeDdHResult(584);
constexpr HResult DdErrCantCreateDc = MakeDdHResult(585);
constexpr HResult DdErrNoDc = MakeDdHResult(586);
constexpr HResult DdErrUnsupportedMode = MakeDdHResult(590);
constexpr HResult DdErrDcAlreadyCreated = MakeDdHResult(620);

// DDPIXELFORMAT.
struct DdPixelFormat {
  uint32_t Size = 32;
  uint32_t Flags = 0;
  uint32_t FourCC = 0;
  uint32_t RGBBitCount = 0;
  uint32_t RBitMask = 0;
  uint32_t GBitMask = 0;
  uint32_t BBitMask = 0;
  uint32_t RGBAlphaBitMask = 0;
};
constexpr uint32_t DdpfPaletteIndexed8 = 0x20;
constexpr uint32_t DdpfRgb = 0x40;

// DDSURFACEDESC: `Size` must be 108 (or 124, DDSURFACEDESC2) in a call.
struct SurfaceDesc {
  uint32_t Size = 108;
  uint32_t Flags = 0;
  uint32_t Height = 0;
  uint32_t Width = 0;
  int32_t Pitch = 0;  // lPitch
  uint32_t BackBufferCount = 0;
  uint32_t RefreshRate = 0;
  uint32_t AlphaBitDepth = 0;
  uint8_t* Surface = nullptr;  // lpSurface
  DdPixelFormat PixelFormat;
  uint32_t Caps = 0;  // ddsCaps.dwCaps
};
constexpr uint32_t DdsdCaps = 0x1;
constexpr uint32_t DdsdHeight = 0x2;
constexpr uint32_t DdsdWidth = 0x4;
constexpr uint32_t DdsdPitch = 0x8;
constexpr uint32_t DdsdPixelFormat = 0x1000;
constexpr uint32_t DdsdLpSurface = 0x800;
constexpr uint32_t DdsdRefreshRate = 0x40000;
constexpr uint32_t DdsCapsPrimarySurface = 0x200;
constexpr uint32_t DdsCapsVideoMemory = 0x4000;
constexpr uint32_t DdsCapsVisible = 0x8000;
constexpr uint32_t DdsCapsLocalVidMem = 0x10000000;

// SetCooperativeLevel flags.
constexpr uint32_t DdsclFullscreen = 0x1;
constexpr uint32_t DdsclAllowReboot = 0x2;
constexpr uint32_t DdsclNoWindowChanges = 0x4;
constexpr uint32_t DdsclNormal = 0x8;
constexpr uint32_t DdsclExclusive = 0x10;

constexpr uint32_t DdlockWait = 0x1;

// EnumDisplayModes flag: one call per refresh rate.
constexpr uint32_t DdedmRefreshRates = 0x1;

// DirectDrawEnumerateExA flags.
constexpr uint32_t DdenumAttachedSecondaryDevices = 0x1;
constexpr uint32_t DdenumDetachedSecondaryDevices = 0x2;
constexpr uint32_t DdenumNonDisplayDevices = 0x4;

// The interface asked for, in place of the IID.
enum class DirectDrawInterface { DirectDraw, DirectDraw2, DirectDraw7 };
enum class SurfaceInterface { Surface, Surface2 };

// IDirectDrawSurface / IDirectDrawSurface2.
class DirectDrawSurface {
 public:
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;
  virtual HResult QueryInterface(SurfaceInterface iid, DirectDrawSurface*& out) = 0;
  // A null `rect` locks the whole surface. `desc` gets size, pitch, format and the bytes.
  virtual HResult Lock(const DisplayRect* rect, SurfaceDesc& desc, uint32_t flags) = 0;
  virtual HResult Unlock(void* surfaceData) = 0;
  virtual HResult GetSurfaceDesc(SurfaceDesc& desc) = 0;
  // A GDI device context (HDC) on the surface, until ReleaseDC.
  virtual HResult GetDC(uintptr_t& dc) = 0;
  virtual HResult ReleaseDC(uintptr_t dc) = 0;

 protected:
  virtual ~DirectDrawSurface() = default;
};

// IDirectDraw / IDirectDraw2 / IDirectDraw7.
class DirectDraw {
 public:
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;
  virtual HResult QueryInterface(DirectDrawInterface iid, DirectDraw*& out) = 0;
  // `window` is the HWND.
  virtual HResult SetCooperativeLevel(uintptr_t window, uint32_t flags) = 0;
  // IDirectDraw::SetDisplayMode.
  virtual HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel) = 0;
  // IDirectDraw2::SetDisplayMode; a refresh rate of 0 takes the driver's choice.
  virtual HResult SetDisplayMode(uint32_t width, uint32_t height, uint32_t bitsPerPixel, uint32_t refreshRate,
                                 uint32_t flags) = 0;
  virtual HResult RestoreDisplayMode() = 0;
  // The callback returns true (DDENUMRET_OK) to go on. A `filter` with width, height, depth or
  // refresh rate set lists only the modes that match it.
  virtual HResult EnumDisplayModes(uint32_t flags, const SurfaceDesc* filter,
                                   const std::function<bool(const SurfaceDesc& mode)>& callback) = 0;
  virtual HResult CreateSurface(const SurfaceDesc& desc, DirectDrawSurface*& out) = 0;

 protected:
  virtual ~DirectDraw() = default;
};

// DirectDrawCreate on the device of `guid`, or on the default device for a null or all-zero GUID.
HResult DirectDrawCreate(const Guid* guid, DirectDraw*& out);
// DirectDrawCreateEx; `iid` must be DirectDraw7.
HResult DirectDrawCreateEx(const Guid* guid, DirectDraw*& out, DirectDrawInterface iid);

// DirectDrawEnumerateExA: the callback gets each device's GUID (null for the default device,
// which comes first), description, driver name and monitor, and returns true to go on.
HResult DirectDrawEnumerateExA(const std::function<bool(const Guid* guid, const std::string& description,
                                                        const std::string& driverName, MonitorHandle monitor)>& callback,
                               uint32_t flags);

}  // namespace platform
