// Faults of the simulated display's memory and driver: the StuckBit, FlakyByte and DirectDrawFails
// keys, the faulty bytes as a program sees them through a DirectDraw lock, and a picture of the
// screen each time a lock changed it.
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "platform/ddraw.h"
#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/screenshot.h"

using namespace display_test;
namespace sim = platform::sim;

namespace {

bool BuildText(const std::string& text, DisplayConfig& config, std::string& error) {
  sim::MachineText parsed;
  return sim::ParseMachineText(text, parsed, error) && sim::BuildDisplayConfig(parsed, config, error);
}

sim::ByteFault Stuck(uint32_t offset, uint8_t clear, uint8_t set) {
  sim::ByteFault f;
  f.Offset = offset;
  f.StuckClear = clear;
  f.StuckSet = set;
  return f;
}

sim::ByteFault Flaky(uint32_t offset, uint8_t mask, uint32_t reads) {
  sim::ByteFault f;
  f.Offset = offset;
  f.FlipMask = mask;
  f.Flips = reads;
  return f;
}

DisplayConfig Faulty(std::vector<sim::ByteFault> faults, uint32_t failing = 0) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].Current = {640, 480, 32};
  config.Adapters[0].PitchExtra = 64;
  config.Adapters[0].FrameBufferFaults = std::move(faults);
  config.Adapters[0].FailingDirectDrawCalls = failing;
  return config;
}

// Exclusive DirectDraw on the primary adapter with its primary surface; each access through a
// lock is one load or store, as a program makes it.
struct Primary {
  platform::DirectDraw* Dd = nullptr;
  platform::DirectDrawSurface* Surface = nullptr;
  platform::SurfaceDesc Desc;
  Primary() {
    EXPECT_EQ(platform::DirectDrawCreate(nullptr, Dd), platform::DdOk);
    EXPECT_EQ(Dd->SetCooperativeLevel(0x1234, platform::DdsclExclusive | platform::DdsclFullscreen), platform::DdOk);
    MakeSurface();
  }
  ~Primary() {
    if (Surface != nullptr) Surface->Release();
    Dd->Release();
  }
  void MakeSurface() {
    if (Surface != nullptr) Surface->Release();
    platform::SurfaceDesc desc;
    desc.Flags = platform::DdsdCaps;
    desc.Caps = platform::DdsCapsPrimarySurface;
    EXPECT_EQ(Dd->CreateSurface(desc, Surface), platform::DdOk);
  }
  platform::HResult Lock() { return Surface->Lock(nullptr, Desc, platform::DdlockWait); }
  platform::HResult Unlock() { return Surface->Unlock(Desc.Surface); }
  void Write(uint32_t offset, uint8_t value) { *(static_cast<volatile uint8_t*>(Desc.Surface) + offset) = value; }
  uint8_t Read(uint32_t offset) { return *(static_cast<volatile uint8_t*>(Desc.Surface) + offset); }
};

}  // namespace

TEST(DisplayMemoryFaultSchema, KeysTakeFaultsAndCallsAndRefuseBadValues) {
  const std::string head = "[Display.1]\nModes=640x480x32\nCurrent=640x480x32\n";
  DisplayConfig config;
  std::string error;
  ASSERT_TRUE(BuildText(head + "StuckBit = 0x10 5 0; 17 0 1\nFlakyByte=4096 0x81 3\nDirectDrawFails=lock, UNLOCK\n",
                        config, error))
      << error;
  const auto& faults = config.Adapters[0].FrameBufferFaults;
  ASSERT_EQ(faults.size(), 3u);
  // The schema reads keys in name order: the flaky byte first.
  EXPECT_EQ(faults[0].Offset, 4096u);
  EXPECT_EQ(faults[0].FlipMask, 0x81);
  EXPECT_EQ(faults[0].Flips, 3u);
  EXPECT_EQ(faults[1].Offset, 16u);
  EXPECT_EQ(faults[1].StuckClear, 0x20);
  EXPECT_EQ(faults[2].Offset, 17u);
  EXPECT_EQ(faults[2].StuckSet, 0x01);
  EXPECT_EQ(config.Adapters[0].FailingDirectDrawCalls, sim::DdCallLock | sim::DdCallUnlock);

  const struct {
    const char* Key;
    const char* Value;
  } bad[] = {{"StuckBit", ""},          {"StuckBit", "1 8 0"},       {"StuckBit", "1 2 2"},
             {"StuckBit", "1 2"},       {"StuckBit", "1 2 0 4"},     {"StuckBit", "1 2 0;"},
             {"StuckBit", "-1 2 0"},    {"StuckBit", "0x100000000 1 0"}, {"FlakyByte", "1 0 3"},
             {"FlakyByte", "1 0x100 3"}, {"FlakyByte", "x 1 3"},     {"DirectDrawFails", ""},
             {"DirectDrawFails", "Lock,Blt"}, {"DirectDrawFails", "DirectDrawCreate"}};
  for (const auto& b : bad) {
    error.clear();
    EXPECT_FALSE(BuildText(head + b.Key + "=" + b.Value + "\n", config, error)) << b.Key << "=" << b.Value;
    EXPECT_NE(error.find("line 4: bad value"), std::string::npos) << error;
  }
}

TEST(DisplayMemoryFaults, ALockShowsTheFaultyBytesAsAProgramReadsAndWritesThem) {
  // In 640x480x32 with 64 bytes of padding a row is 2624 bytes apart.
  DisplayScope scope(Faulty({Stuck(2624 + 8, 0x0F, 0), Flaky(5 * 2624 + 3, 0x80, 2)}));
  Primary primary;
  ASSERT_EQ(primary.Lock(), platform::DdOk);
  EXPECT_EQ(primary.Desc.Pitch, 2624);
  primary.Write(2624 + 8, 0xFF);
  EXPECT_EQ(primary.Read(2624 + 8), 0xF0);
  EXPECT_EQ(primary.Read(5 * 2624 + 3), 0x80);
  EXPECT_EQ(primary.Read(5 * 2624 + 2), 0x00);
  ASSERT_EQ(primary.Unlock(), platform::DdOk);

  // Unlocked, the memory is the program's plain storage again: nothing is trapped.
  sim::Surface& screen = sim::PrimaryFrameBuffer();
  screen.Pixels[2624 + 8] = 0xFF;
  EXPECT_EQ(screen.Pixels[2624 + 8], 0xFF);
  EXPECT_EQ(screen.Pixels[5 * 2624 + 3], 0x00);

  // The stuck bits are in place again for any reader; the flaky byte has one wrong read left.
  ASSERT_EQ(primary.Lock(), platform::DdOk);
  EXPECT_EQ(primary.Read(2624 + 8), 0xF0);
  EXPECT_EQ(primary.Read(5 * 2624 + 3), 0x80);
  EXPECT_EQ(primary.Read(5 * 2624 + 3), 0x00);
  ASSERT_EQ(primary.Unlock(), platform::DdOk);
  screen.Pixels[2624 + 8] = 0xFF;
  const platform::Hdc dc = sim::CreateSurfaceDC(screen, {0, 0}, {0, 0, 640, 480});
  EXPECT_EQ(platform::GetPixel(dc, 2, 1), 0xF00000u);  // blue 0xF0
  platform::DeleteDC(dc);
}

TEST(DisplayMemoryFaults, AModeChangeWhileLockedLetsGoOfTheOldFrameBuffer) {
  DisplayScope scope(Faulty({Stuck(100, 0, 0x01)}));
  Primary primary;
  ASSERT_EQ(primary.Lock(), platform::DdOk);
  primary.Write(100, 0);
  EXPECT_EQ(primary.Read(100), 0x01);
  ASSERT_EQ(primary.Dd->SetDisplayMode(800, 600, 32), platform::DdOk);
  // The lost surface's unlock leaves the new frame buffer alone.
  primary.Unlock();
  sim::Surface& screen = sim::PrimaryFrameBuffer();
  EXPECT_EQ(screen.Width, 800);
  screen.Pixels[100] = 0;
  EXPECT_EQ(screen.Pixels[100], 0x00);
  // The new surface has the fault at the same offset of the new frame buffer.
  primary.MakeSurface();
  ASSERT_EQ(primary.Lock(), platform::DdOk);
  primary.Write(100, 0);
  EXPECT_EQ(primary.Read(100), 0x01);
  primary.Unlock();
}

TEST(DisplayMemoryFaults, ALockThatChangedTheScreenLeavesAPictureOfIt) {
  char folder[] = "/tmp/lock-shots-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  {
    DisplayScope scope(OneAdapter());
    sim::SetScreenshotFolder(folder);
    Primary primary;
    ASSERT_EQ(primary.Lock(), platform::DdOk);
    primary.Read(0);
    ASSERT_EQ(primary.Unlock(), platform::DdOk);
    ASSERT_EQ(primary.Lock(), platform::DdOk);
    primary.Write(40, 0x7F);
    ASSERT_EQ(primary.Unlock(), platform::DdOk);
    sim::SetScreenshotFolder("");
  }
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
  EXPECT_EQ(names, std::vector<std::string>{"0001-primary-surface.png"});
  std::filesystem::remove_all(folder);
}
