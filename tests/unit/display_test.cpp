// The simulated display settings: the machine schema, devices, modes, mode changes, the frame
// buffer, monitors and metrics.
#include <vector>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "machine_fixture.h"
#include "platform/display.h"

using namespace display_test;
using platform::DevMode;
using platform::DisplayDevice;

namespace {

bool BuildText(const std::string& text, DisplayConfig& config, std::string& error) {
  platform::sim::MachineText parsed;
  return platform::sim::ParseMachineText(text, parsed, error) && platform::sim::BuildDisplayConfig(parsed, config, error);
}

DevMode ModeRequest(uint32_t width, uint32_t height, uint32_t bits, uint32_t frequency) {
  DevMode mode;
  mode.PelsWidth = width;
  mode.PelsHeight = height;
  mode.BitsPerPel = bits;
  mode.DisplayFrequency = frequency;
  mode.Fields = platform::DmPelsWidth | platform::DmPelsHeight | platform::DmBitsPerPel |
                (frequency != 0 ? platform::DmDisplayFrequency : 0u);
  return mode;
}

DevMode Current(const char* device = nullptr) {
  DevMode mode;
  EXPECT_TRUE(platform::EnumDisplaySettingsA(device, platform::EnumCurrentSettings, mode));
  return mode;
}

}  // namespace

TEST(DisplaySchema, MachineFileBuildsAdaptersPseudoDevicesAndMonitors) {
  DisplayConfig config;
  std::string error;
  ASSERT_TRUE(BuildText(machine_test::MachineFile("display-dual.ini"), config, error)) << error;
  ASSERT_EQ(config.Adapters.size(), 3u);
  const AdapterConfig& first = config.Adapters[0];
  EXPECT_TRUE(first.Primary);
  EXPECT_EQ(first.Modes.size(), 12u);
  EXPECT_EQ(first.PitchAlign, 256);
  EXPECT_EQ(first.PitchExtra, 64);
  EXPECT_EQ(first.No60Hz, (std::vector<ModeSize>{{1280, 1024, 32}}));
  EXPECT_EQ(first.Refused, (std::vector<ModeSize>{{1600, 1200, 8}}));
  ASSERT_EQ(first.Monitors.size(), 1u);
  EXPECT_EQ(first.Monitors[0].Description, "Wide Flat Panel");
  EXPECT_EQ(config.Adapters[1].Kind, AdapterKind::Mirror);
  EXPECT_FALSE(config.Adapters[1].Attached);
  EXPECT_TRUE(config.Adapters[1].Monitors.empty());
  EXPECT_FALSE(config.Adapters[2].Attached);
  EXPECT_EQ(config.Adapters[2].Monitors.size(), 1u);
}

TEST(DisplaySchema, MistakesNameTheirPlace) {
  const std::string good = "[Display.1]\nModes=640x480x8,800x600x16\nCurrent=640x480x8\n";
  DisplayConfig config;
  std::string error;
  ASSERT_TRUE(BuildText(good, config, error)) << error;
  struct Case {
    std::string text;
    std::string mention;
  };
  const Case cases[] = {
      {good + "Colour=red\n", "unknown key 'colour'"},
      {"[Display.1]\nModes=640x480x8,800x600x12\nCurrent=640x480x8\n", "bad value"},
      {"[Display.1]\nModes=640x480x8\nCurrent=800x600x16\n", "not in Modes"},
      {good + "No60Hz=1024x768x32\n", "not in Modes"},
      {good + "Primary=true\n[Display.2]\nPrimary=true\nModes=640x480x8\nCurrent=640x480x8\n", "more than one primary"},
      {good + "[Monitor.1]\nDisplay=2\n", "names no [display.N]"},
      {good + "[Monitor.1]\nDescription=x\n", "needs Display"},
      {"[Display.1]\nKind=mirror\n", "no display adapter"},
      {good + "[Display.2]\nKind=remote\nPrimary=true\n", "pseudo device cannot be the primary"},
      {"[Display.1]\nModes=640x480x8\nCurrent=640x480x8\nAttached=false\n", "must be attached"},
  };
  for (const Case& c : cases) {
    error.clear();
    EXPECT_FALSE(BuildText(c.text, config, error)) << c.text;
    EXPECT_NE(error.find(c.mention), std::string::npos) << error;
  }
  EXPECT_TRUE(platform::sim::IsDisplaySection("display.12"));
  EXPECT_TRUE(platform::sim::IsDisplaySection("monitor.1"));
  EXPECT_FALSE(platform::sim::IsDisplaySection("display"));
  EXPECT_FALSE(platform::sim::IsDisplaySection("display.x"));
}

TEST(DisplayDevices, AdaptersComeInOrderWithStateFlagsAndMonitors) {
  DisplayConfig config = TwoAdapters(false);
  config.Adapters.insert(config.Adapters.begin() + 1, Pseudo(AdapterKind::Mirror));
  config.Adapters.push_back(Pseudo(AdapterKind::Remote));
  DisplayScope scope(config);

  std::vector<DisplayDevice> devices;
  DisplayDevice d;
  for (uint32_t i = 0; platform::EnumDisplayDevicesA(nullptr, i, d, 0); ++i) devices.push_back(d);
  ASSERT_EQ(devices.size(), 4u);
  EXPECT_EQ(devices[0].DeviceName, "\\\\.\\DISPLAY1");
  EXPECT_EQ(devices[0].DeviceString, "Card A");
  EXPECT_EQ(devices[0].StateFlags & 0x5u, 0x5u);  // attached, primary
  EXPECT_EQ(devices[1].StateFlags & 0x4000009u, 0x8u);
  EXPECT_EQ(devices[2].DeviceName, "\\\\.\\DISPLAY2");
  EXPECT_EQ(devices[2].StateFlags & 0x5u, 0u);
  EXPECT_EQ(devices[3].StateFlags & 0x4000000u, 0x4000000u);

  // Monitors by adapter name, in any case of letters; a connected monitor of a detached adapter
  // is attached but not active.
  ASSERT_TRUE(platform::EnumDisplayDevicesA("\\\\.\\display1", 0, d, 0));
  EXPECT_EQ(d.DeviceName, "\\\\.\\DISPLAY1\\Monitor0");
  EXPECT_EQ(d.StateFlags, platform::DisplayDeviceActive | platform::DisplayDeviceAttached);
  ASSERT_TRUE(platform::EnumDisplayDevicesA("\\\\.\\DISPLAY2", 0, d, 0));
  EXPECT_EQ(d.StateFlags, platform::DisplayDeviceAttached);
  EXPECT_FALSE(platform::EnumDisplayDevicesA("\\\\.\\DISPLAY1", 1, d, 0));
  EXPECT_FALSE(platform::EnumDisplayDevicesA(devices[1].DeviceName.c_str(), 0, d, 0));
  EXPECT_FALSE(platform::EnumDisplayDevicesA("\\\\.\\DISPLAY9", 0, d, 0));
}

TEST(DisplaySettings, ListHasEveryModeAtEachRateAndReadsCurrentAndRegistry) {
  DisplayConfig config = TwoAdapters(false);
  config.Adapters[0].No60Hz = {{800, 600, 32}};
  config.Adapters[1].RegistryGiven = true;  // Registry=none
  DisplayScope scope(config);

  std::vector<std::string> listed;
  DevMode m;
  for (uint32_t i = 0; platform::EnumDisplaySettingsA(nullptr, i, m); ++i)
    listed.push_back(std::to_string(m.PelsWidth) + "x" + std::to_string(m.PelsHeight) + "x" +
                     std::to_string(m.BitsPerPel) + "@" + std::to_string(m.DisplayFrequency));
  EXPECT_EQ(listed, (std::vector<std::string>{"640x480x8@60", "640x480x8@75", "640x480x16@60", "640x480x16@75",
                                              "800x600x16@60", "800x600x16@75", "800x600x32@75", "1024x768x16@60",
                                              "1024x768x16@75", "1024x768x32@60", "1024x768x32@75"}));

  DevMode current = Current();
  EXPECT_EQ(current.PelsWidth, 1024u);
  EXPECT_EQ(current.BitsPerPel, 32u);
  EXPECT_EQ(current.DisplayFrequency, 60u);
  EXPECT_NE(current.Fields & platform::DmPosition, 0u);
  // A device off the desktop has no current settings; this one has none stored either.
  EXPECT_FALSE(platform::EnumDisplaySettingsExA("\\\\.\\DISPLAY2", platform::EnumCurrentSettings, m, 0));
  EXPECT_FALSE(platform::EnumDisplaySettingsExA("\\\\.\\DISPLAY2", platform::EnumRegistrySettings, m, 0));
  EXPECT_FALSE(platform::EnumDisplaySettingsExA("\\\\.\\NOSUCH", 0, m, 0));
}

TEST(DisplaySettings, ChangeGivesTheRealResultCodes) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].No60Hz = {{800, 600, 32}};
  config.Adapters[0].Refused = {{640, 480, 8}};
  DisplayScope scope(config);

  DevMode at60 = ModeRequest(800, 600, 32, 60);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&at60, platform::CdsFullscreen), platform::DispChangeBadMode);
  EXPECT_EQ(Current().PelsWidth, 1024u);
  DevMode any = ModeRequest(800, 600, 32, 0);
  any.DisplayFrequency = 60;  // not in dmFields: does not count
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&any, platform::CdsFullscreen), platform::DispChangeSuccessful);
  EXPECT_EQ(Current().PelsWidth, 800u);
  EXPECT_EQ(Current().DisplayFrequency, 75u);

  DevMode refused = ModeRequest(640, 480, 8, 0);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&refused, platform::CdsFullscreen), platform::DispChangeFailed);
  DevMode unknown = ModeRequest(1280, 1024, 32, 0);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&unknown, 0), platform::DispChangeBadMode);
  DevMode fine = ModeRequest(640, 480, 16, 0);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&fine, platform::CdsNoReset), platform::DispChangeBadFlags);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&fine, 0x80), platform::DispChangeBadFlags);
  EXPECT_EQ(platform::ChangeDisplaySettingsExA("\\\\.\\DISPLAY7", &fine, 0), platform::DispChangeBadParam);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&fine, platform::CdsTest), platform::DispChangeSuccessful);
  EXPECT_EQ(Current().PelsWidth, 800u);
  EXPECT_EQ(platform::ChangeDisplaySettingsExW(L"\\\\.\\DISPLAY1", &fine, 0), platform::DispChangeSuccessful);
  EXPECT_EQ(Current().PelsWidth, 640u);
  EXPECT_EQ(platform::ChangeDisplaySettingsExW(L"Card A", nullptr, platform::CdsReset | platform::CdsUpdateRegistry),
            platform::DispChangeBadParam);

  // A temporary change is forgotten when the stored settings are applied again.
  EXPECT_EQ(platform::ChangeDisplaySettingsA(nullptr, 0), platform::DispChangeSuccessful);
  EXPECT_EQ(Current().PelsWidth, 1024u);
}

TEST(FrameBuffer, FollowsTheModeWithItsDepthAndPitch) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].PitchAlign = 256;
  config.Adapters[0].PitchExtra = 64;
  DisplayScope scope(config);
  platform::sim::Surface& screen = platform::sim::PrimaryFrameBuffer();
  EXPECT_EQ(screen.Width, 1024);
  EXPECT_EQ(screen.Bits, 32);
  EXPECT_EQ(screen.Pitch, 4096 + 64);
  ASSERT_EQ(screen.Pixels.size(), static_cast<size_t>(4160 * 768));

  screen.Row(5)[7] = 0xAB;
  DevMode same = ModeRequest(1024, 768, 32, 60);
  EXPECT_EQ(platform::ChangeDisplaySettingsA(&same, platform::CdsFullscreen), 0);
  EXPECT_EQ(platform::sim::PrimaryFrameBuffer().Row(5)[7], 0xAB) << "an unchanged mode keeps the picture";

  DevMode small = ModeRequest(640, 480, 8, 0);
  ASSERT_EQ(platform::ChangeDisplaySettingsA(&small, platform::CdsFullscreen), 0);
  platform::sim::Surface& eight = platform::sim::PrimaryFrameBuffer();
  EXPECT_EQ(eight.Width, 640);
  EXPECT_EQ(eight.Bits, 8);
  EXPECT_EQ(eight.Pitch, 768 + 64);
  EXPECT_EQ(eight.Row(5)[7], 0);
  EXPECT_EQ(eight.Palette[249].Red, 255);  // the static colours of an 8-bit palette
  EXPECT_EQ(eight.Palette[249].Green, 0);
  EXPECT_EQ(eight.Palette[7].Blue, 192);

  DevMode sixteen = ModeRequest(800, 600, 16, 0);
  ASSERT_EQ(platform::ChangeDisplaySettingsA(&sixteen, platform::CdsFullscreen), 0);
  EXPECT_EQ(platform::sim::PrimaryFrameBuffer().Pitch, 1792 + 64);

  EXPECT_EQ(platform::GetDisplayDeviceCaps("DISPLAY", platform::CapsHorzRes), 800);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("", platform::CapsVertRes), 600);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("display", platform::CapsBitsPixel), 16);
  EXPECT_EQ(platform::GetDisplayDeviceCaps("", platform::CapsLogPixelsY), 96);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCxScreen), 800);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCyScreen), 600);
}

TEST(SecondaryDisplay, StoredPositionTakesEffectWhenApplied) {
  DisplayScope scope(TwoAdapters(false));
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCxVirtualScreen), 1024);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCMonitors), 1);

  DevMode position;
  position.Fields = platform::DmPosition;
  position.PositionX = 1024;
  ASSERT_EQ(platform::ChangeDisplaySettingsExA("\\\\.\\DISPLAY2", &position,
                                               platform::CdsUpdateRegistry | platform::CdsNoReset),
            0);
  EXPECT_FALSE(scope.AdapterAt(1).Current.Attached) << "stored, not yet applied";
  ASSERT_EQ(platform::ChangeDisplaySettingsA(nullptr, 0), 0);
  EXPECT_TRUE(scope.AdapterAt(1).Current.Attached);
  EXPECT_EQ(scope.AdapterAt(1).FrameBuffer.Width, 800);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCxVirtualScreen), 1824);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCyVirtualScreen), 768);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCMonitors), 2);

  std::vector<platform::MonitorInfo> monitors;
  platform::EnumDisplayMonitors([&](platform::MonitorHandle h, const platform::DisplayRect& rect) {
    platform::MonitorInfo info;
    EXPECT_TRUE(platform::GetMonitorInfoA(h, info));
    EXPECT_EQ(info.Monitor.Right, rect.Right);
    monitors.push_back(info);
    return true;
  });
  ASSERT_EQ(monitors.size(), 2u);
  EXPECT_EQ(monitors[0].Flags, platform::MonitorInfoPrimary);
  EXPECT_LT(monitors[0].Work.Bottom, monitors[0].Monitor.Bottom);
  EXPECT_EQ(monitors[1].Flags, 0u);
  EXPECT_EQ(monitors[1].Monitor.Left, 1024);
  EXPECT_EQ(monitors[1].Monitor.Right, 1824);
  EXPECT_EQ(monitors[1].DeviceName, "\\\\.\\DISPLAY2");

  // Width and height 0 detach; the primary cannot be detached.
  DevMode zero;
  zero.Fields = 0x7C0020;
  EXPECT_EQ(platform::ChangeDisplaySettingsExA("\\\\.\\DISPLAY2", &zero, platform::CdsUpdateRegistry), 0);
  EXPECT_FALSE(scope.AdapterAt(1).Current.Attached);
  EXPECT_EQ(scope.AdapterAt(1).FrameBuffer.Pixels.size(), 0u);
  EXPECT_EQ(platform::ChangeDisplaySettingsExA("\\\\.\\DISPLAY2", &zero, platform::CdsUpdateRegistry), 0);
  EXPECT_EQ(platform::ChangeDisplaySettingsExA("\\\\.\\DISPLAY1", &zero, platform::CdsUpdateRegistry),
            platform::DispChangeFailed);
  EXPECT_EQ(platform::GetSystemMetrics(platform::SmCMonitors), 1);
  platform::MonitorInfo gone;
  EXPECT_FALSE(platform::GetMonitorInfoA(platform::sim::MonitorHandleBase + 1, gone));
}
