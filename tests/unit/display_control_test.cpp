// Display control: mode setting with its sleeps, the mode lists, secondary displays and their
// table, DirectDraw devices, sessions and the choice of display (the high mode is checked end to end).
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "platform/display.h"
#include "screen/DisplayControl.h"

using namespace display_test;

namespace {

template <typename Action>
std::string Captured(Action action) {
  ::testing::internal::CaptureStdout();
  action();
  return ::testing::internal::GetCapturedStdout();
}

platform::DevMode Current(const char* device = nullptr) {
  platform::DevMode mode;
  platform::EnumDisplaySettingsA(device, platform::EnumCurrentSettings, mode);
  return mode;
}

}  // namespace

TEST(DisplayControlMode, SetDisplayModeTriesSixtyHertzThenTheDriversRate) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].No60Hz = {{800, 600, 32}};
  config.Adapters[0].Refused = {{640, 480, 8}};
  DisplayScope scope(config);
  const uint32_t start = platform::GetTickCount();

  EXPECT_EQ(SetDisplayMode(640, 480, 16), 0);
  EXPECT_EQ(Current().PelsWidth, 640u);
  EXPECT_EQ(Current().DisplayFrequency, 60u);
  EXPECT_EQ(platform::GetTickCount() - start, 1000u);

  EXPECT_EQ(SetDisplayMode(800, 600, 32), 0) << "refused at 60 Hz, taken without a frequency";
  EXPECT_EQ(Current().PelsWidth, 800u);
  EXPECT_EQ(Current().DisplayFrequency, 75u);

  EXPECT_EQ(SetDisplayMode(640, 480, 8), platform::DispChangeFailed);
  EXPECT_EQ(SetDisplayMode(1600, 1200, 32), platform::DispChangeBadMode);
  EXPECT_EQ(Current().PelsWidth, 800u) << "a refused mode leaves the screen alone";
  EXPECT_EQ(platform::GetTickCount() - start, 4000u) << "one second for every call, failed or not";
}

TEST(DisplayControlMode, DriverListAndDirectDrawListBothCount) {
  DisplayConfig config = OneAdapter();
  // More modes than a session holds: the surplus is seen through the driver's list alone.
  AdapterConfig& a = config.Adapters[0];
  a.DirectDrawModes.clear();
  for (int32_t w = 1; w <= 400; ++w) a.DirectDrawModes.push_back({640 + w, 480, 32});
  a.Modes.push_back({1040, 480, 32});  // the 400th DirectDraw mode
  DisplayScope scope(config);

  DirectDrawSession session;
  const int32_t count = session.EnumerateModes();
  EXPECT_EQ(count, DirectDrawModeCapacity);
  EXPECT_EQ(session.Modes[324].Width, 965);
  EXPECT_EQ(session.DirectDraw, nullptr) << "the objects are released again";
  EXPECT_TRUE(IsModeInDriverList(1040, 480, 32));
  EXPECT_FALSE(IsModeInDriverList(1040, 480, 16));

  EXPECT_EQ(Captured([&] { EXPECT_TRUE(ModeAvailable(session, count, 700, 480, 32)); }),
            "LogMessage 14 202 \"700x480x32\" \"\"\n");
  EXPECT_EQ(Captured([&] { EXPECT_TRUE(ModeAvailable(session, count, 1040, 480, 32)); }),
            "LogMessage 14 202 \"1040x480x32\" \"\"\n");
  EXPECT_EQ(Captured([&] { EXPECT_FALSE(ModeAvailable(session, count, 1039, 480, 32)); }),
            "LogMessage 14 203 \"1039x480x32\" \"\"\n");
  // Only the first `count` entries are searched; ModeFound ends the search at once.
  EXPECT_FALSE(Captured([&] { EXPECT_FALSE(ModeAvailable(session, 2, 700, 480, 32)); }).empty());
  session.ModeFound = 1;
  Captured([&] { EXPECT_TRUE(ModeAvailable(session, 0, 1039, 480, 32)); });

  session.HasMode(1039, 480, 32);
  EXPECT_EQ(session.ModeFound, 0);
  session.HasMode(641, 480, 32);
  EXPECT_EQ(session.ModeFound, 1);
  session.HasMode(1040, 480, 32);
  EXPECT_EQ(session.ModeFound, 0) << "beyond what the session holds";
}

TEST(DisplayControlMode, WithoutDirectDrawThereAreNoModesAndTheDriverListMustServe) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].DirectDrawAvailable = false;
  DisplayScope scope(config);
  DirectDrawSession session;
  EXPECT_EQ(session.EnumerateModes(), 0);
  EXPECT_EQ(session.LastResult, platform::EFail);
  session.HasMode(1024, 768, 32);
  EXPECT_EQ(session.ModeFound, 0);
  Captured([&] { EXPECT_TRUE(ModeAvailable(session, 0, 1024, 768, 32)); });

  scope.AdapterAt(0).Config.Modes.clear();
  EXPECT_FALSE(IsModeInDriverList(1024, 768, 32)) << "an empty list ends at index 0";
}

TEST(DisplayControlSession, ShownModeTakesTheScreenAndGivesItBack) {
  DisplayConfig config = OneAdapter();
  config.Adapters[0].PitchExtra = 32;
  DisplayScope scope(config);
  DirectDrawSession* session = new DirectDrawSession;
  session->Create()->SetCooperation(0x4242)->SetMode(800, 600, 16, 0)->CreatePrimarySurface();
  ASSERT_EQ(session->LastResult, 0);
  ASSERT_NE(session->PrimarySurface2, nullptr);
  ASSERT_EQ(session->PrimarySurface2->Lock(nullptr, session->SurfaceDesc, platform::DdlockWait), 0);
  EXPECT_EQ(session->SurfaceDesc.Pitch, 1600 + 32);
  EXPECT_EQ(session->SurfaceDesc.PixelFormat.RGBBitCount, 16u);
  session->SurfaceDesc.Surface[599 * session->SurfaceDesc.Pitch + 1599] = 0xEE;
  session->PrimarySurface2->Unlock(nullptr);
  EXPECT_EQ(platform::sim::PrimaryFrameBuffer().Row(599)[1599], 0xEE);

  session->ReleaseSurfaces()->ReleaseDirectDraw();
  EXPECT_EQ(session->PrimarySurface, nullptr);
  EXPECT_EQ(session->DirectDraw2, nullptr);
  EXPECT_EQ(Current().PelsWidth, 1024u) << "the start mode is back";

  session->Create()->SetCooperation(1)->SetMode(800, 600, 24, 0);
  EXPECT_EQ(session->LastResult, platform::DdErrInvalidMode);
  session->ReleaseDirectDraw();
  delete session;
}

TEST(DisplayControlSecondary, MirrorTakesNoPlaceAndTheSecondIsAttachedRightOfTheDesktop) {
  DisplayConfig config = TwoAdapters(false);
  config.Adapters.insert(config.Adapters.begin() + 1, Pseudo(AdapterKind::Mirror));
  DisplayScope scope(config);
  const uint32_t start = platform::GetTickCount();
  EXPECT_EQ(AttachSecondaryDisplays(), 1);
  EXPECT_EQ(platform::GetTickCount() - start, 2000u);
  ASSERT_EQ(DisplayDeviceTable.Count, 2u);
  const DisplayDeviceEntry& second = DisplayDeviceTable.Entries[1];
  EXPECT_STREQ(second.DeviceName, "\\\\.\\DISPLAY2");
  EXPECT_STREQ(second.DeviceString, "Card B");
  EXPECT_EQ(second.Attached, 0) << "as it was before the attach";
  EXPECT_EQ(second.Primary, 0);
  EXPECT_EQ(second.Pseudo, 0);
  EXPECT_EQ(DisplayDeviceTable.Entries[2].Pseudo, 1);

  platform::DevMode placed = Current("\\\\.\\DISPLAY2");
  EXPECT_EQ(placed.PositionX, 1024);
  EXPECT_EQ(placed.PositionY, 0);
  EXPECT_EQ(placed.PelsWidth, 800u);

  EXPECT_EQ(DetachSecondaryDisplays(), 1);
  platform::DevMode gone;
  EXPECT_FALSE(platform::EnumDisplaySettingsA("\\\\.\\DISPLAY2", platform::EnumCurrentSettings, gone));
  EXPECT_EQ(platform::GetTickCount() - start, 2000u) << "detaching does not wait";
}

TEST(DisplayControlSecondary, AnAttachedSecondaryMovesToTheRightOfTheVirtualDesktop) {
  DisplayScope scope(TwoAdapters(true));
  EXPECT_EQ(AttachSecondaryDisplays(), 1);
  EXPECT_EQ(DisplayDeviceTable.Entries[1].Attached, 1);
  EXPECT_EQ(Current("\\\\.\\DISPLAY2").PositionX, 1824) << "the virtual width included the display itself";
}

TEST(DisplayControlSecondary, FailuresAreCountedAndTheWalkGoesOn) {
  DisplayConfig config = TwoAdapters(false);
  config.Adapters[1].RefuseAttach = true;
  config.Adapters.push_back(Adapter("Card C", false, false));
  config.Adapters.back().PositionX = 2000;
  // A monitor that is not connected, and a card without stored settings, are not in the table.
  config.Adapters.push_back(Adapter("Card D", false, false));
  config.Adapters.back().Monitors[0].Connected = false;
  config.Adapters.push_back(Adapter("Card E", false, false));
  config.Adapters.back().RegistryGiven = true;
  DisplayScope scope(config);

  EXPECT_EQ(AttachSecondaryDisplays(), AttachDisplaysFailed);
  EXPECT_EQ(DisplayDeviceTable.Count, 5u);
  EXPECT_EQ(DisplayDeviceTable.Entries[1].Primary, 0);
  EXPECT_EQ(DisplayDeviceTable.Entries[2].Primary, 0);
  EXPECT_EQ(DisplayDeviceTable.Entries[3].Primary, 1);
  EXPECT_EQ(DisplayDeviceTable.Entries[4].Primary, 1);
  EXPECT_FALSE(scope.AdapterAt(1).Current.Attached);
  EXPECT_TRUE(scope.AdapterAt(2).Current.Attached) << "the failure before it did not stop the walk";
  EXPECT_FALSE(scope.AdapterAt(3).Current.Attached);

  EXPECT_EQ(DetachSecondaryDisplays(), DetachDisplaysFailed);
  EXPECT_FALSE(scope.AdapterAt(2).Current.Attached);
}

TEST(DisplayControlDevices, LoadKeepsTheDevicesThatOpen) {
  DirectDrawDeviceEntry mine[DirectDrawDeviceCapacity];
  uint32_t count = 99;
  {
    DisplayScope scope(OneAdapter());
    LoadDirectDrawDevices(mine, count);
    EXPECT_EQ(count, 1u);
    EXPECT_STREQ(mine[0].Description, "Primary Display Driver");
    EXPECT_STREQ(mine[0].DriverName, "display");
    EXPECT_EQ(mine[0].Guid.Data1, 0u);
  }
  DisplayConfig config = TwoAdapters(true);
  config.Adapters.push_back(Adapter("Card C", false, false));
  config.Adapters[1].Description = std::string(300, 'B');
  DisplayScope scope(config);
  LoadDirectDrawDevices(mine, count);
  ASSERT_EQ(count, 3u) << "the detached card is listed but does not open";
  EXPECT_EQ(DirectDrawDeviceTable.Count, 3u);
  EXPECT_STREQ(mine[1].Description, "Card A");
  EXPECT_EQ(std::strlen(mine[2].Description), 255u);
  EXPECT_STREQ(mine[2].DriverName, "\\\\.\\DISPLAY2");

  DirectDrawSession session;
  session.CreateOnDevice(mine[2].Guid)->SetCooperation(7)->SetMode(1024, 768, 16, 0);
  EXPECT_EQ(session.LastResult, 0);
  EXPECT_EQ(Current("\\\\.\\DISPLAY2").BitsPerPel, 16u);
  EXPECT_EQ(Current().BitsPerPel, 32u) << "the primary is untouched";
  session.ReleaseDirectDraw();
  EXPECT_EQ(Current("\\\\.\\DISPLAY2").BitsPerPel, 32u);
}

TEST(DisplayControlChoice, DisplayNumberRules) {
  // One adapter without -ActiveDisplay: no devices loaded, -Display 1 passes, 2 does not.
  EXPECT_EQ(PlanDisplays(0, 1, false, false), DisplayPlan::Once);
  EXPECT_EQ(PlanDisplays(0, 2, false, false), DisplayPlan::BadDisplay);
  EXPECT_EQ(PlanDisplays(0, 2, false, true), DisplayPlan::Once);
  // With -ActiveDisplay the count bounds the number, unless -TestAll.
  EXPECT_EQ(PlanDisplays(3, 2, true, false), DisplayPlan::Once);
  EXPECT_EQ(PlanDisplays(3, 3, true, false), DisplayPlan::BadDisplay);
  EXPECT_EQ(PlanDisplays(1, 1, true, false), DisplayPlan::BadDisplay);
  EXPECT_EQ(PlanDisplays(3, 3, true, true), DisplayPlan::EveryDevice);
  EXPECT_EQ(PlanDisplays(0, 0, true, true), DisplayPlan::EveryDevice);
  EXPECT_FALSE(UseDeviceGuid(2));
  EXPECT_TRUE(UseDeviceGuid(3));
}

TEST(DisplayControlChoice, LegacyModeCallOnAlphaOrArchitecture255) {
  EXPECT_FALSE(IsLegacyModePlatform("", ""));
  EXPECT_FALSE(IsLegacyModePlatform("x86", "0"));
  EXPECT_TRUE(IsLegacyModePlatform("DEC-ALPHA-21164", "0"));
  EXPECT_FALSE(IsLegacyModePlatform("alpha", "9"));
  EXPECT_TRUE(IsLegacyModePlatform("", "255"));
  EXPECT_FALSE(IsLegacyModePlatform(std::string(80, 'x') + "ALPHA", "")) << "only 80 characters are read";
  EXPECT_TRUE(IsLegacyModePlatform(std::string(75, 'x') + "ALPHA", ""));

  const char* saved = std::getenv("Cpu");
  std::string keep = saved != nullptr ? saved : "";
  setenv("Cpu", "ALPHA", 1);
  EXPECT_TRUE(UseLegacyModeCall());
  unsetenv("Cpu");
  EXPECT_FALSE(UseLegacyModeCall());
  if (saved != nullptr) setenv("Cpu", keep.c_str(), 1);
}
