// Simulated DirectDraw: devices and GUIDs, objects, cooperative levels, modes and the primary
// surface's bytes.
#include <vector>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "platform/ddraw.h"

using namespace display_test;
using platform::DirectDraw;
using platform::DirectDrawSurface;
using platform::Guid;
using platform::HResult;
using platform::SurfaceDesc;

namespace {

struct Device {
  bool NullGuid;
  Guid Id;
  std::string Description;
  std::string Driver;
};

std::vector<Device> Enumerate(uint32_t flags) {
  std::vector<Device> devices;
  platform::DirectDrawEnumerateExA(
      [&](const Guid* guid, const std::string& description, const std::string& driver, platform::MonitorHandle) {
        devices.push_back({guid == nullptr, guid != nullptr ? *guid : Guid{}, description, driver});
        return true;
      },
      flags);
  return devices;
}

bool SameGuid(const Guid& a, const Guid& b) {
  return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
         std::equal(std::begin(a.Data4), std::end(a.Data4), std::begin(b.Data4));
}

// A DirectDraw object in exclusive full-screen mode on the default device.
DirectDraw* Exclusive() {
  DirectDraw* dd = nullptr;
  EXPECT_EQ(platform::DirectDrawCreate(nullptr, dd), platform::DdOk);
  EXPECT_EQ(dd->SetCooperativeLevel(0x1234, platform::DdsclExclusive | platform::DdsclFullscreen), platform::DdOk);
  return dd;
}

DirectDrawSurface* Primary(DirectDraw* dd) {
  SurfaceDesc desc;
  desc.Flags = platform::DdsdCaps;
  desc.Caps = platform::DdsCapsPrimarySurface;
  DirectDrawSurface* surface = nullptr;
  EXPECT_EQ(dd->CreateSurface(desc, surface), platform::DdOk);
  return surface;
}

}  // namespace

TEST(DirectDrawDevices, DefaultDeviceFirstAndOneEntryPerDeviceOnlyWithSeveral) {
  {
    DisplayScope scope(OneAdapter());
    std::vector<Device> devices = Enumerate(3);
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_TRUE(devices[0].NullGuid);
    EXPECT_EQ(devices[0].Description, "Primary Display Driver");
    EXPECT_EQ(devices[0].Driver, "display");
  }
  DisplayConfig config = TwoAdapters(true);
  config.Adapters.insert(config.Adapters.begin() + 1, Pseudo(AdapterKind::Mirror));
  DisplayScope scope(config);
  std::vector<Device> devices = Enumerate(platform::DdenumAttachedSecondaryDevices);
  ASSERT_EQ(devices.size(), 3u);
  EXPECT_TRUE(devices[0].NullGuid);
  EXPECT_FALSE(devices[1].NullGuid);
  EXPECT_EQ(devices[1].Description, "Card A");
  EXPECT_EQ(devices[1].Driver, "\\\\.\\DISPLAY1");
  EXPECT_EQ(devices[2].Description, "Card B");
  EXPECT_FALSE(SameGuid(devices[1].Id, devices[2].Id));
  EXPECT_FALSE(SameGuid(devices[1].Id, Guid{}));
  EXPECT_EQ(Enumerate(0).size(), 1u);

  DirectDraw* dd = nullptr;
  EXPECT_EQ(platform::DirectDrawCreateEx(&devices[2].Id, dd, platform::DirectDrawInterface::DirectDraw7), platform::DdOk);
  ASSERT_NE(dd, nullptr);
  EXPECT_EQ(dd->Release(), 0u);
  EXPECT_EQ(platform::DirectDrawCreateEx(&devices[2].Id, dd, platform::DirectDrawInterface::DirectDraw2),
            platform::DdErrInvalidParams);
  Guid unknown = devices[2].Id;
  unknown.Data4[7] ^= 1;
  EXPECT_EQ(platform::DirectDrawCreate(&unknown, dd), platform::DdErrInvalidDirectDrawGuid);
  EXPECT_EQ(dd, nullptr);
  EXPECT_EQ(platform::DirectDrawEnumerateExA([](const Guid*, const std::string&, const std::string&,
                                                platform::MonitorHandle) { return true; },
                                             0x100),
            platform::DdErrInvalidParams);
}

TEST(DirectDrawDevices, DetachedDevicesAreListedOnRequestButCannotBeOpened) {
  DisplayConfig config = TwoAdapters(false);
  config.Adapters.push_back(Adapter("Card C", false, true));
  config.Adapters.back().DirectDrawAvailable = false;
  DisplayScope scope(config);
  std::vector<Device> attached = Enumerate(platform::DdenumAttachedSecondaryDevices);
  ASSERT_EQ(attached.size(), 3u);
  EXPECT_EQ(attached[2].Description, "Card C");
  std::vector<Device> all = Enumerate(3);
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[2].Description, "Card B");
  DirectDraw* dd = nullptr;
  EXPECT_EQ(platform::DirectDrawCreate(&all[2].Id, dd), platform::DdErrNoDirectDrawHw);
  EXPECT_EQ(platform::DirectDrawCreate(&all[3].Id, dd), platform::EFail);
}

TEST(DirectDrawObject, CooperativeLevelRules) {
  DisplayScope scope(OneAdapter());
  DirectDraw* a = nullptr;
  DirectDraw* b = nullptr;
  ASSERT_EQ(platform::DirectDrawCreate(nullptr, a), platform::DdOk);
  ASSERT_EQ(platform::DirectDrawCreate(nullptr, b), platform::DdOk);
  EXPECT_EQ(a->SetDisplayMode(800, 600, 32), platform::DdErrNoCooperativeLevelSet);
  EXPECT_EQ(a->SetCooperativeLevel(1, platform::DdsclExclusive), platform::DdErrInvalidParams);
  EXPECT_EQ(a->SetCooperativeLevel(1, platform::DdsclFullscreen), platform::DdErrInvalidParams);
  EXPECT_EQ(a->SetCooperativeLevel(0, 0x11), platform::DdErrInvalidParams);
  EXPECT_EQ(a->SetCooperativeLevel(1, 0), platform::DdErrInvalidParams);
  EXPECT_EQ(a->SetCooperativeLevel(1, 0x11), platform::DdOk);
  EXPECT_EQ(b->SetCooperativeLevel(2, 0x11), platform::DdErrExclusiveModeAlreadySet);
  EXPECT_EQ(b->SetCooperativeLevel(2, platform::DdsclNormal), platform::DdOk);
  EXPECT_EQ(b->SetDisplayMode(800, 600, 32), platform::DdErrNoExclusiveMode);
  EXPECT_EQ(a->Release(), 0u);
  EXPECT_EQ(b->SetCooperativeLevel(2, 0x11), platform::DdOk) << "released with its owner";
  b->Release();
}

TEST(DirectDrawObject, ModesComeFromTheDriverAndReleaseRestoresTheScreen) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].DirectDrawModes = {{640, 480, 16}, {800, 600, 32}, {1024, 768, 32}};
  config.Adapters[0].Refused = {{640, 480, 16}};
  config.Adapters[0].No60Hz = {{800, 600, 32}};
  DisplayScope scope(config);

  DirectDraw* dd = Exclusive();
  std::vector<std::string> modes;
  auto collect = [&](const SurfaceDesc& m) {
    modes.push_back(std::to_string(m.Width) + "x" + std::to_string(m.Height) + "x" +
                    std::to_string(m.PixelFormat.RGBBitCount) + "@" + std::to_string(m.RefreshRate));
    return true;
  };
  EXPECT_EQ(dd->EnumDisplayModes(0, nullptr, collect), platform::DdOk);
  EXPECT_EQ(modes, (std::vector<std::string>{"640x480x16@0", "800x600x32@0", "1024x768x32@0"}));
  modes.clear();
  SurfaceDesc filter;
  filter.Flags = platform::DdsdWidth;
  filter.Width = 800;
  dd->EnumDisplayModes(platform::DdedmRefreshRates, &filter, collect);
  EXPECT_EQ(modes, (std::vector<std::string>{"800x600x32@75"}));
  modes.clear();
  dd->EnumDisplayModes(0, nullptr, [&](const SurfaceDesc& m) { return collect(m), false; });
  EXPECT_EQ(modes.size(), 1u);

  EXPECT_EQ(dd->SetDisplayMode(640, 480, 8), platform::DdErrInvalidMode) << "in the settings list only";
  EXPECT_EQ(dd->SetDisplayMode(640, 480, 16), platform::DdErrUnsupportedMode);
  EXPECT_EQ(dd->SetDisplayMode(800, 600, 32, 60, 0), platform::DdErrInvalidMode);
  EXPECT_EQ(dd->SetDisplayMode(800, 600, 32, 0, 2), platform::DdErrInvalidParams);
  EXPECT_EQ(dd->SetDisplayMode(800, 600, 32, 0, 0), platform::DdOk);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("DISPLAY", platform::CapsHorzRes), 800);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("DISPLAY", platform::CapsVRefresh), 75);

  DirectDraw* dd2 = nullptr;
  ASSERT_EQ(dd->QueryInterface(platform::DirectDrawInterface::DirectDraw2, dd2), platform::DdOk);
  EXPECT_EQ(dd2->SetDisplayMode(1024, 768, 32, 75, 0), platform::DdOk);
  EXPECT_EQ(dd2->Release(), 1u) << "the first reference still holds the object";
  EXPECT_EQ(platform::GetDisplayDeviceCaps("DISPLAY", platform::CapsVRefresh), 75);
  EXPECT_EQ(dd->Release(), 0u);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("DISPLAY", platform::CapsVRefresh), 60);
}

TEST(DirectDrawSurface, LockGivesTheFrameBufferBytesAndPitch) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].PitchAlign = 512;
  DisplayScope scope(config);
  DirectDraw* dd = Exclusive();
  ASSERT_EQ(dd->SetDisplayMode(800, 600, 16), platform::DdOk);
  DirectDrawSurface* surface = Primary(dd);
  DirectDrawSurface* again = nullptr;
  SurfaceDesc extra;
  extra.Flags = platform::DdsdCaps;
  extra.Caps = platform::DdsCapsPrimarySurface;
  EXPECT_EQ(dd->CreateSurface(extra, again), platform::DdErrPrimarySurfaceAlreadyExists);
  extra.Caps = 0x40;  // an off-screen plain surface
  EXPECT_EQ(dd->CreateSurface(extra, again), platform::DdErrUnsupported);

  SurfaceDesc desc;
  ASSERT_EQ(surface->Lock(nullptr, desc, platform::DdlockWait), platform::DdOk);
  EXPECT_EQ(desc.Width, 800u);
  EXPECT_EQ(desc.Height, 600u);
  EXPECT_EQ(desc.Pitch, 2048);
  EXPECT_EQ(desc.PixelFormat.RGBBitCount, 16u);
  EXPECT_EQ(desc.PixelFormat.RBitMask, 0xF800u);
  desc.Surface[3 * desc.Pitch + 10] = 0x5A;
  SurfaceDesc second;
  EXPECT_EQ(surface->Lock(nullptr, second, platform::DdlockWait), platform::DdErrSurfaceBusy);
  EXPECT_EQ(surface->Unlock(nullptr), platform::DdOk);
  EXPECT_EQ(surface->Unlock(nullptr), platform::DdErrNotLocked);
  EXPECT_EQ(platform::sim::PrimaryFrameBuffer().Row(3)[10], 0x5A);

  platform::DisplayRect rect{2, 3, 10, 4};
  ASSERT_EQ(surface->Lock(&rect, desc, 0), platform::DdOk);
  EXPECT_EQ(desc.Surface[6], 0x5A) << "the rectangle's first byte is pixel (2,3)";
  surface->Unlock(nullptr);
  rect.Right = 801;
  EXPECT_EQ(surface->Lock(&rect, desc, 0), platform::DdErrInvalidRect);
  SurfaceDesc wrongSize;
  wrongSize.Size = 100;
  EXPECT_EQ(surface->Lock(nullptr, wrongSize, 0), platform::DdErrInvalidParams);

  // A mode change loses the surface; its description stays the one it was made with.
  ASSERT_EQ(dd->SetDisplayMode(640, 480, 8), platform::DdOk);
  EXPECT_EQ(surface->Lock(nullptr, desc, 0), platform::DdErrSurfaceLost);
  SurfaceDesc old;
  EXPECT_EQ(surface->GetSurfaceDesc(old), platform::DdOk);
  EXPECT_EQ(old.Width, 800u);
  EXPECT_EQ(surface->Release(), 0u);
  dd->Release();
}

TEST(DirectDrawSurface, DeviceContextsGoThroughTheDrawingLayerHooks) {
  DisplayScope scope(OneAdapter());
  DirectDraw* dd = Exclusive();
  DirectDrawSurface* surface = Primary(dd);
  uintptr_t dc = 0;
  EXPECT_EQ(surface->ReleaseDC(1), platform::DdErrNoDc);
  ASSERT_EQ(surface->GetDC(dc), platform::DdOk);
  EXPECT_EQ(platform::sim::SurfaceOfDirectDrawDc(dc), &platform::sim::PrimaryFrameBuffer());
  uintptr_t second = 0;
  EXPECT_EQ(surface->GetDC(second), platform::DdErrDcAlreadyCreated);
  SurfaceDesc desc;
  EXPECT_EQ(surface->Lock(nullptr, desc, 0), platform::DdErrSurfaceBusy);
  EXPECT_EQ(surface->ReleaseDC(dc + 1), platform::DdErrInvalidParams);
  EXPECT_EQ(surface->ReleaseDC(dc), platform::DdOk);
  EXPECT_EQ(platform::sim::SurfaceOfDirectDrawDc(dc), nullptr);

  std::vector<uintptr_t> released;
  platform::sim::Surface* drawnOn = nullptr;
  platform::sim::SetSurfaceDcHooks({[&](platform::sim::Surface& s) { return drawnOn = &s, uintptr_t{77}; },
                                    [&](uintptr_t h) { released.push_back(h); }});
  ASSERT_EQ(surface->GetDC(dc), platform::DdOk);
  EXPECT_EQ(dc, 77u);
  EXPECT_EQ(drawnOn, &platform::sim::PrimaryFrameBuffer());
  // The surface gives its context back when it goes.
  surface->Release();
  EXPECT_EQ(released, std::vector<uintptr_t>{77});
  platform::sim::SetSurfaceDcHooks({});
  dd->Release();
}
