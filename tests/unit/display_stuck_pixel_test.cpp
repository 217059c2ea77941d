// A stuck frame buffer pixel of the simulated display controller: the StuckPixel key, and the pixel
// as DirectDraw locks, GDI reads and screenshots see it.
#include <unistd.h>

#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "rgb_picture.h"
#include "platform/ddraw.h"
#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/screenshot.h"

using namespace display_test;
namespace sim = platform::sim;
using Bytes = std::vector<uint8_t>;

namespace {

bool BuildText(const std::string& text, DisplayConfig& config, std::string& error) {
  sim::MachineText parsed;
  return sim::ParseMachineText(text, parsed, error) && sim::BuildDisplayConfig(parsed, config, error);
}

DisplayConfig Screen(ModeSize mode, std::vector<sim::StuckPixel> stuck) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].Current = mode;
  config.Adapters[0].StuckPixels = std::move(stuck);
  return config;
}

// What a program draws over the stuck pixel: the whole screen white, through GDI.
void PaintWhite() {
  sim::Surface& s = sim::PrimaryFrameBuffer();
  const platform::Rect all{0, 0, s.Width, s.Height};
  const platform::Hdc dc = sim::CreateSurfaceDC(s, {0, 0}, all);
  const platform::HBrush white = platform::CreateSolidBrush(0xFFFFFF);
  platform::FillRect(dc, &all, white);
  platform::DeleteObject(white);
  platform::DeleteDC(dc);
}

Bytes PixelBytes(const uint8_t* at, int32_t bits) { return Bytes(at, at + bits / 8); }

// Exclusive DirectDraw on the primary adapter, with its primary surface.
struct Primary {
  platform::DirectDraw* Dd = nullptr;
  platform::DirectDrawSurface* Surface = nullptr;
  Primary() {
    EXPECT_EQ(platform::DirectDrawCreate(nullptr, Dd), platform::DdOk);
    EXPECT_EQ(Dd->SetCooperativeLevel(0x1234, platform::DdsclExclusive | platform::DdsclFullscreen), platform::DdOk);
    MakeSurface();
  }
  ~Primary() {
    Surface->Release();
    Dd->Release();
  }
  // A new primary surface, as after a mode change.
  void MakeSurface() {
    if (Surface != nullptr) Surface->Release();
    platform::SurfaceDesc desc;
    desc.Flags = platform::DdsdCaps;
    desc.Caps = platform::DdsCapsPrimarySurface;
    EXPECT_EQ(Dd->CreateSurface(desc, Surface), platform::DdOk);
  }
  // The bytes of pixel (x, y) while locked; `write` then goes into them, as a program's store.
  // With `reread` the bytes are read again after the store, in the same lock.
  Bytes Lock(int32_t x, int32_t y, const Bytes& write = {}, bool reread = false) {
    platform::SurfaceDesc desc;
    EXPECT_EQ(Surface->Lock(nullptr, desc, platform::DdlockWait), platform::DdOk);
    const int32_t bits = static_cast<int32_t>(desc.PixelFormat.RGBBitCount);
    uint8_t* at = desc.Surface + y * desc.Pitch + x * bits / 8;
    Bytes seen = PixelBytes(at, bits);
    std::copy(write.begin(), write.end(), at);
    if (reread)  // through volatile, so that the load really happens
      for (size_t i = 0; i < seen.size(); ++i) seen[i] = static_cast<volatile uint8_t*>(at)[i];
    Surface->Unlock(nullptr);
    return seen;
  }
};

}  // namespace

TEST(StuckPixelSchema, KeyTakesPixelsAndRefusesBadValues) {
  const std::string head = "[Display.1]\nModes=640x480x32\nCurrent=640x480x32\nStuckPixel = ";
  DisplayConfig config;
  std::string error;
  ASSERT_TRUE(BuildText(head + "99,100,0x5A; 5, 5 ,0;0,7,255\n", config, error)) << error;
  const auto& stuck = config.Adapters[0].StuckPixels;
  ASSERT_EQ(stuck.size(), 3u);
  EXPECT_EQ(std::make_tuple(stuck[0].X, stuck[0].Y, stuck[0].Value), std::make_tuple(99, 100, uint8_t{0x5A}));
  EXPECT_EQ(std::make_tuple(stuck[1].X, stuck[1].Y, stuck[1].Value), std::make_tuple(5, 5, uint8_t{0}));
  EXPECT_EQ(stuck[2].Value, 255);

  for (const char* bad : {"", "1,2", "1,2,3,4", "1,2,256", "1,2,0x100", "1,2,0x", "1,2,-1", "-1,2,3", "1,16384,0",
                          "1,2,3;", "1,2,3;;4,5,6", "1,2,3;1,2,4", "a,2,3"}) {
    error.clear();
    EXPECT_FALSE(BuildText(head + bad + "\n", config, error)) << bad;
    EXPECT_NE(error.find("line 4: bad value"), std::string::npos) << error;
    EXPECT_NE(error.find("stuckpixel"), std::string::npos) << error;
  }
}

TEST(StuckPixelDisplay, LockGdiReadsAndScreenshotsShowTheStuckBytesAfterGdiDrewThere) {
  char folder[] = "/tmp/stuck-pixel-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  for (int32_t bits : {8, 16, 32}) {
    SCOPED_TRACE(bits);
    DisplayScope scope(Screen({640, 480, bits}, {{99, 100, 0x5A}}));
    sim::Surface& screen = sim::PrimaryFrameBuffer();
    const Bytes stuck(static_cast<size_t>(bits / 8), 0x5A);
    Primary primary;

    PaintWhite();
    const Bytes white = PixelBytes(screen.Row(100) + 100 * bits / 8, bits);
    const Bytes zero(stuck.size(), 0);
    EXPECT_EQ(primary.Lock(99, 100, zero), stuck);
    EXPECT_EQ(primary.Lock(100, 100), white);
    EXPECT_EQ(primary.Lock(99, 100), stuck) << "a store through the lock sticks";
    EXPECT_EQ(primary.Lock(99, 100, zero, true), stuck) << "a load after a store in the same lock";

    PaintWhite();
    uintptr_t dc = 0;
    ASSERT_EQ(primary.Surface->GetDC(dc), platform::DdOk);
    EXPECT_EQ(PixelBytes(screen.Row(100) + 99 * bits / 8, bits), stuck);
    primary.Surface->ReleaseDC(dc);

    // GDI reads of the screen: a pixel, and a copy into a bitmap.
    PaintWhite();
    const platform::Hdc screenDc = sim::CreateSurfaceDC(screen, {0, 0}, {0, 0, 640, 480});
    EXPECT_NE(platform::GetPixel(screenDc, 99, 100), platform::GetPixel(screenDc, 100, 100));
    PaintWhite();
    const platform::Hdc memory = platform::CreateCompatibleDC(screenDc);
    const platform::HBitmap bitmap = platform::CreateCompatibleBitmap(screenDc, 4, 4);
    platform::SelectObject(memory, bitmap);
    platform::BitBlt(memory, 0, 0, 4, 4, screenDc, 98, 99, platform::SrcCopy);
    const sim::Surface* copy = sim::BitmapSurface(bitmap);
    ASSERT_EQ(copy->Bits, bits);
    EXPECT_EQ(PixelBytes(copy->Row(1) + 1 * bits / 8, bits), stuck);
    EXPECT_EQ(PixelBytes(copy->Row(1) + 2 * bits / 8, bits), white);
    platform::DeleteDC(memory);
    platform::DeleteObject(bitmap);
    platform::DeleteDC(screenDc);

    PaintWhite();
    sim::SetScreenshotFolder(folder);
    sim::SaveScreenshot(L"shot" + std::to_wstring(bits));
    sim::SetScreenshotFolder("");
    const std::string png = std::string(folder) + "/000" + std::to_string(bits == 8 ? 1 : bits == 16 ? 2 : 3) + "-shot" +
                            std::to_string(bits) + ".png";
    const RgbPicture picture = ReadRgbPicture(png);
    ASSERT_FALSE(picture.Empty()) << png;
    const uint8_t* at = picture.At(99, 100);
    const platform::ColorRef color = sim::PixelToColor(screen, 0x5A5A5A5Au & (bits == 8 ? 0xFF : 0xFFFFFF));
    EXPECT_EQ(Bytes(at, at + 3), (Bytes{platform::RedOf(color), platform::GreenOf(color), platform::BlueOf(color)}));
    EXPECT_EQ(Bytes(at + 3, at + 6), Bytes(3, 0xFF));
  }
  std::filesystem::remove_all(folder);
}

TEST(StuckPixelDisplay, PixelOutsideTheModeHasNoEffectUntilAModeReachesIt) {
  DisplayConfig config = Screen({640, 480, 32}, {{640, 0, 0x5A}, {700, 500, 0x77}});
  config.Adapters[0].PitchExtra = 64;  // x 640 would land in the row's padding
  DisplayScope scope(config);
  Primary primary;
  PaintWhite();
  const sim::PixelStorage before = sim::PrimaryFrameBuffer().Pixels;
  primary.Lock(0, 0);
  EXPECT_TRUE(sim::PrimaryFrameBuffer().Pixels == before);

  ASSERT_EQ(primary.Dd->SetDisplayMode(800, 600, 32), platform::DdOk);
  primary.MakeSurface();
  PaintWhite();
  EXPECT_EQ(primary.Lock(640, 0), Bytes(4, 0x5A));
  EXPECT_EQ(primary.Lock(700, 500), Bytes(4, 0x77));
}

TEST(StuckPixelDisplay, AdapterWithoutTheKeyIsUntouched) {
  DisplayConfig second = TwoAdapters(true);
  second.Adapters[1].StuckPixels = {{99, 100, 0x5A}};
  for (const DisplayConfig& config : {OneAdapter(), second}) {
    DisplayScope scope(config);
    Primary primary;
    PaintWhite();
    const sim::PixelStorage before = sim::PrimaryFrameBuffer().Pixels;
    EXPECT_EQ(primary.Lock(99, 100), Bytes({0xFF, 0xFF, 0xFF, 0}));
    EXPECT_TRUE(sim::PrimaryFrameBuffer().Pixels == before);
  }
}
