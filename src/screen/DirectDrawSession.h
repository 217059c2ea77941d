// One use of DirectDraw by a screen subtest: the objects, the primary surface, the last result,
// and the modes the driver offers.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ddraw.h"

struct DisplayModeEntry {
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t BitsPerPixel = 0;
};

constexpr int DirectDrawModeCapacity = 325;

class DirectDrawSession {
 public:
  // Result of the last DirectDraw call, 0 on success.
  int32_t LastResult = 0;
  platform::DirectDraw* DirectDraw = nullptr;
  platform::DirectDraw* DirectDraw2 = nullptr;
  platform::DirectDrawSurface* PrimarySurface = nullptr;
  platform::DirectDrawSurface* PrimarySurface2 = nullptr;
  uint8_t ModeFound = 0;
  uint32_t Checksum = 0;
  platform::SurfaceDesc SurfaceDesc;
  DisplayModeEntry Modes[DirectDrawModeCapacity];

  // Create and CreateOnDevice start afresh; the steps after them do nothing while LastResult
  // holds a failure.
  // DirectDrawCreate on the default device, then IDirectDraw2.
  DirectDrawSession* Create();
  // The same on the device of `guid`.
  DirectDrawSession* CreateOnDevice(const platform::Guid& guid);
  // Exclusive full screen for `window` (an HWND).
  DirectDrawSession* SetCooperation(uintptr_t window);
  // IDirectDraw2::SetDisplayMode with flags 0.
  DirectDrawSession* SetMode(int32_t width, int32_t height, int32_t bitsPerPixel, int32_t refreshRate);
  // The primary surface, then IDirectDrawSurface2 of it.
  DirectDrawSession* CreatePrimarySurface();
  DirectDrawSession* ReleaseSurfaces();
  DirectDrawSession* ReleaseDirectDraw();
  // Fills Modes from the default device's DirectDraw list, at most DirectDrawModeCapacity of
  // them; the count, 0 when DirectDraw cannot be made.
  int32_t EnumerateModes();
  // Sets ModeFound when the default device's DirectDraw list has the mode.
  DirectDrawSession* HasMode(int32_t width, int32_t height, int32_t bitsPerPixel);

  // The screen walks, defined with the calibration store and the failure analysis.
  DirectDrawSession* ChecksumSurface();
  DirectDrawSession* DumpSurfaceWhite(const std::string& fileName);
  DirectDrawSession* DumpSurfaceBlack(const std::string& fileName);
  DirectDrawSession* ChecksumAndDumpSurface(const std::string& fileName);

 private:
  DirectDrawSession* CreateOn(const platform::Guid* guid);
};
