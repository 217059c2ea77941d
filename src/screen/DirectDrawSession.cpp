#include "screen/DirectDrawSession.h"

#include "screen/DisplayControl.h"

DirectDrawSession* DirectDrawSession::CreateOn(const platform::Guid* guid) {
  LastResult = platform::DirectDrawCreate(guid, DirectDraw);
  if (LastResult != 0) return this;
  LastResult = DirectDraw->QueryInterface(platform::DirectDrawInterface::DirectDraw2, DirectDraw2);
  return this;
}

DirectDrawSession* DirectDrawSession::Create() { return CreateOn(nullptr); }

DirectDrawSession* DirectDrawSession::CreateOnDevice(const platform::Guid& guid) { return CreateOn(&guid); }

DirectDrawSession* DirectDrawSession::SetCooperation(uintptr_t window) {
  if (LastResult != 0) return this;
  if (DirectDraw == nullptr) {
    LastResult = platform::DdErrInvalidObject;
    return this;
  }
  LastResult = DirectDraw->SetCooperativeLevel(window, platform::DdsclExclusive | platform::DdsclFullscreen);
  return this;
}

DirectDrawSession* DirectDrawSession::SetMode(int32_t width, int32_t height, int32_t bitsPerPixel, int32_t refreshRate) {
  if (LastResult != 0) return this;
  if (DirectDraw2 == nullptr) {
    LastResult = platform::DdErrInvalidObject;
    return this;
  }
  NoteStartModeToPutBack();
  LastResult = DirectDraw2->SetDisplayMode(static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                                           static_cast<uint32_t>(bitsPerPixel), static_cast<uint32_t>(refreshRate), 0);
  return this;
}

DirectDrawSession* DirectDrawSession::CreatePrimarySurface() {
  if (LastResult != 0) return this;
  if (DirectDraw == nullptr) {
    LastResult = platform::DdErrInvalidObject;
    return this;
  }
  platform::SurfaceDesc desc;
  desc.Size = 108;
  desc.Flags = platform::DdsdCaps;
  desc.Caps = platform::DdsCapsPrimarySurface;
  LastResult = DirectDraw->CreateSurface(desc, PrimarySurface);
  if (LastResult != 0) return this;
  LastResult = PrimarySurface->QueryInterface(platform::SurfaceInterface::Surface2, PrimarySurface2);
  return this;
}

DirectDrawSession* DirectDrawSession::ReleaseSurfaces() {
  if (PrimarySurface2 != nullptr) PrimarySurface2->Release();
  if (PrimarySurface != nullptr) PrimarySurface->Release();
  PrimarySurface2 = nullptr;
  PrimarySurface = nullptr;
  return this;
}

DirectDrawSession* DirectDrawSession::ReleaseDirectDraw() {
  if (DirectDraw2 != nullptr) DirectDraw2->Release();
  if (DirectDraw != nullptr) DirectDraw->Release();
  DirectDraw2 = nullptr;
  DirectDraw = nullptr;
  return this;
}

int32_t DirectDrawSession::EnumerateModes() {
  Create();
  if (LastResult == platform::EFail || DirectDraw2 == nullptr) {
    ReleaseDirectDraw();
    return 0;
  }
  int32_t count = 0;
  DirectDraw2->EnumDisplayModes(0, nullptr, [this, &count](const platform::SurfaceDesc& mode) {
    if (count >= DirectDrawModeCapacity) return false;
    Modes[count] = DisplayModeEntry{static_cast<int32_t>(mode.Width), static_cast<int32_t>(mode.Height),
                                    static_cast<int32_t>(mode.PixelFormat.RGBBitCount)};
    ++count;
    return true;
  });
  ReleaseDirectDraw();
  return count;
}

DirectDrawSession* DirectDrawSession::HasMode(int32_t width, int32_t height, int32_t bitsPerPixel) {
  ModeFound = 0;
  const int32_t count = EnumerateModes();
  for (int32_t i = 0; i < count; ++i) {
    if (Modes[i].Width == width && Modes[i].Height == height && Modes[i].BitsPerPixel == bitsPerPixel) {
      ModeFound = 1;
      break;
    }
  }
  return this;
}
