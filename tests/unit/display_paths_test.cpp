// The simulated display configuration: paths and names as the program looks them up in
// "user32.dll", a configuration applied and the one found first put back, refusals, a cable the
// operator connects, and the helper thread that polls the clock.
#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/display.h"
#include "platform/display_paths.h"
#include "platform/library.h"
#include "machine_fixture.h"
#include "platform/sim/display/display_model.h"
#include "platform/thread.h"

namespace {

using namespace platform;

using machine_test::MachineFile;

// A machine file's display in force, on the virtual clock.
struct MachineScope : machine_test::MachineScope {
  explicit MachineScope(const std::string& text) : machine_test::MachineScope(text, true) {}
};

// The four calls as the program finds them.
struct Calls {
  HModule User32 = LoadLibraryA("USER32.DLL");
  GetDisplayConfigBufferSizesProc Sizes =
      reinterpret_cast<GetDisplayConfigBufferSizesProc>(GetProcAddress(User32, "GetDisplayConfigBufferSizes"));
  QueryDisplayConfigProc Query = reinterpret_cast<QueryDisplayConfigProc>(GetProcAddress(User32, "QueryDisplayConfig"));
  DisplayConfigGetDeviceInfoProc Info =
      reinterpret_cast<DisplayConfigGetDeviceInfoProc>(GetProcAddress(User32, "DisplayConfigGetDeviceInfo"));
  SetDisplayConfigProc Set = reinterpret_cast<SetDisplayConfigProc>(GetProcAddress(User32, "SetDisplayConfig"));

  int32_t QueryAll(std::vector<DisplayConfigPathInfo>& paths, std::vector<DisplayConfigModeInfo>& modes) {
    uint32_t pathCount = 0, modeCount = 0;
    if (int32_t error = Sizes(QdcAllPaths, &pathCount, &modeCount)) return error;
    paths.resize(pathCount);
    modes.resize(modeCount);
    const int32_t error = Query(QdcAllPaths, &pathCount, paths.data(), &modeCount, modes.data(), nullptr);
    paths.resize(pathCount);
    modes.resize(modeCount);
    return error;
  }
  // Only the path at `index` active, with no mode given, as the port test asks.
  int32_t OnlyActive(std::vector<DisplayConfigPathInfo> paths, std::vector<DisplayConfigModeInfo> modes, size_t index) {
    for (DisplayConfigPathInfo& p : paths) p.Flags &= ~DisplayConfigPathActive;
    paths[index].Flags |= DisplayConfigPathActive;
    paths[index].SourceInfo.ModeInfoIdx = DisplayConfigPathModeIdxInvalid;
    paths[index].TargetInfo.ModeInfoIdx = DisplayConfigPathModeIdxInvalid;
    return Set(static_cast<uint32_t>(paths.size()), paths.data(), static_cast<uint32_t>(modes.size()), modes.data(), 0x4A0);
  }
};

std::string Text(const char16_t* text) {
  std::string out;
  for (; *text != 0; ++text) out.push_back(static_cast<char>(*text));
  return out;
}

TEST(DisplayPaths, EveryOutputOfEveryCardIsAPathAndItsNamesLeadToTheCard) {
  MachineScope scope(MachineFile("ports-two-identical-cards.ini"));
  Calls calls;
  ASSERT_NE(calls.Set, nullptr);
  std::vector<DisplayConfigPathInfo> paths;
  std::vector<DisplayConfigModeInfo> modes;
  ASSERT_EQ(calls.QueryAll(paths, modes), 0);
  // Two cards, each with DVI 1 (monitor, on the desktop) and VGA 1 (nothing plugged in).
  ASSERT_EQ(paths.size(), 4u);
  EXPECT_EQ(modes.size(), 4u);  // a source and a target mode for each desktop
  for (size_t i = 0; i < paths.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(paths[i].Flags, i % 2 == 0 ? DisplayConfigPathActive : 0u);
  }
  EXPECT_NE(paths[0].TargetInfo.Id, paths[2].TargetInfo.Id);

  DisplayConfigTargetDeviceName target;
  target.Header = {DisplayConfigDeviceInfoGetTargetName, DisplayConfigTargetDeviceNameSize, paths[2].TargetInfo.AdapterId,
                   paths[2].TargetInfo.Id};
  ASSERT_EQ(calls.Info(&target.Header), 0);
  EXPECT_EQ(Text(target.MonitorDevicePath).rfind("\\\\?\\DISPLAY#", 0), 0u);
  target.Header.Size = 276;
  EXPECT_EQ(calls.Info(&target.Header), 87);

  // The second card's adapter path holds its instance id, which differs from the first's.
  DisplayConfigAdapterName adapter;
  adapter.Header = {DisplayConfigDeviceInfoGetAdapterName, DisplayConfigAdapterNameSize, paths[2].SourceInfo.AdapterId, 0};
  ASSERT_EQ(calls.Info(&adapter.Header), 0);
  std::string path = Text(adapter.AdapterDevicePath);
  EXPECT_EQ(path.rfind("\\\\?\\PCI#VEN_102B&DEV_0534&SUBSYS_02351028&REV_00#4&", 0), 0u) << path;
  DisplayConfigAdapterName first;
  first.Header = {DisplayConfigDeviceInfoGetAdapterName, DisplayConfigAdapterNameSize, paths[0].SourceInfo.AdapterId, 0};
  ASSERT_EQ(calls.Info(&first.Header), 0);
  EXPECT_NE(Text(first.AdapterDevicePath), path);

  // Too small an array is refused, as Windows refuses it.
  uint32_t pathCount = 2, modeCount = 4;
  EXPECT_EQ(calls.Query(QdcAllPaths, &pathCount, paths.data(), &modeCount, modes.data(), nullptr), 122);
}

TEST(DisplayPaths, OneOutputAloneMovesTheDesktopThereAndTheSavedConfigurationComesBack) {
  MachineScope scope(MachineFile("ports-two-identical-cards.ini"));
  Calls calls;
  std::vector<DisplayConfigPathInfo> saved;
  std::vector<DisplayConfigModeInfo> savedModes;
  ASSERT_EQ(calls.QueryAll(saved, savedModes), 0);
  EXPECT_EQ(GetSystemMetrics(SmCMonitors), 2);

  // The second card's monitor alone: it becomes the primary desktop at the origin.
  ASSERT_EQ(calls.OnlyActive(saved, savedModes, 2), 0);
  EXPECT_EQ(GetSystemMetrics(SmCMonitors), 1);
  sim::DisplayModel& model = sim::DisplayModel::Get();
  EXPECT_EQ(model.Primary().Name, "\\\\.\\DISPLAY2");
  EXPECT_EQ(model.Primary().Current.PositionX, 0);
  EXPECT_TRUE(model.Adapters()[0].FrameBuffer.Pixels.empty());

  // An output without a monitor cannot go on the desktop.
  EXPECT_EQ(calls.OnlyActive(saved, savedModes, 1), ErrorBadConfiguration);

  ASSERT_EQ(calls.Set(static_cast<uint32_t>(saved.size()), saved.data(), static_cast<uint32_t>(savedModes.size()),
                      savedModes.data(), 0x4A0),
            0);
  EXPECT_EQ(model.Primary().Name, "\\\\.\\DISPLAY1");
  EXPECT_EQ(model.Adapters()[1].Current.PositionX, 320);
  EXPECT_EQ(GetSystemMetrics(SmCMonitors), 2);
  std::vector<DisplayConfigPathInfo> after;
  std::vector<DisplayConfigModeInfo> afterModes;
  ASSERT_EQ(calls.QueryAll(after, afterModes), 0);
  for (size_t i = 0; i < after.size(); ++i) EXPECT_EQ(after[i].Flags, saved[i].Flags) << i;
}

TEST(DisplayPaths, RefusedCallsAndAConnectedCable) {
  MachineScope scope(MachineFile("ports-missing-monitor.ini") + "\n[DisplayPaths]\nRefuseSet=2\n");
  Calls calls;
  std::vector<DisplayConfigPathInfo> paths;
  std::vector<DisplayConfigModeInfo> modes;
  ASSERT_EQ(calls.QueryAll(paths, modes), 0);
  ASSERT_EQ(paths.size(), 2u);  // DVI 1 with a monitor, HDMI 1 without
  EXPECT_EQ(paths[1].TargetInfo.TargetAvailable, 0);
  EXPECT_EQ(calls.OnlyActive(paths, modes, 0), 0);
  EXPECT_EQ(calls.OnlyActive(paths, modes, 0), ErrorBadConfiguration);  // the second call
  EXPECT_EQ(calls.OnlyActive(paths, modes, 0), 0);

  EXPECT_FALSE(sim::DisplayModel::Get().ConnectMonitor({OutputTechnologyHdmi, 2}));
  EXPECT_TRUE(sim::DisplayModel::Get().ConnectMonitor({OutputTechnologyHdmi, 1}));
  ASSERT_EQ(calls.QueryAll(paths, modes), 0);
  EXPECT_EQ(paths[1].TargetInfo.TargetAvailable, 1);
  EXPECT_EQ(calls.OnlyActive(paths, modes, 1), 0);
}

TEST(DisplayPaths, WindowsXpHasNoDisplayConfigurationCalls) {
  MachineScope scope(MachineFile("winxp-user.ini"));
  const HModule user32 = LoadLibraryA("user32.dll");
  ASSERT_NE(user32, 0u);
  EXPECT_EQ(GetProcAddress(user32, "QueryDisplayConfig"), nullptr);
  EXPECT_TRUE(FreeLibrary(user32));
}

std::atomic<bool> started{false};
std::atomic<uint32_t> wokeAt{0};

uint32_t PLATFORM_CALLBACK SleepsForASecond(void*) {
  started = true;
  Sleep(1000);
  wokeAt = GetTickCount();
  for (;;) Sleep(50);
}

TEST(HelperThreads, ASleepWaitsForTheProgramsClockAndATerminatedThreadEnds) {
  MachineScope scope(MachineFile("default.ini"));
  started = false;
  wokeAt = 0;
  uint32_t id = 0;
  const Handle thread = CreateThread(&SleepsForASecond, nullptr, &id);
  ASSERT_NE(thread, 0u);
  EXPECT_NE(id, 0u);
  while (!started) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  // The helper's sleep does not move the virtual clock: it ends once the program's thread has.
  Sleep(600);
  EXPECT_EQ(wokeAt.load(), 0u);
  Sleep(600);
  for (int i = 0; i < 5000 && wokeAt == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_GE(wokeAt.load(), 1000u);
  uint32_t code = 0;
  ASSERT_TRUE(GetExitCodeThread(thread, code));
  EXPECT_EQ(code, StillActive);
  ASSERT_TRUE(TerminateThread(thread, 7));
  ASSERT_TRUE(GetExitCodeThread(thread, code));
  EXPECT_EQ(code, 7u);
  EXPECT_TRUE(CloseHandle(thread));
  EXPECT_FALSE(GetExitCodeThread(thread, code));
}

}  // namespace
