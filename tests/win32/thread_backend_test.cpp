// The win32 thread calls and the display configuration as the program finds it in user32: a
// thread is seen running, stopped and its code read back; the paths of the system come with a
// named target on every available one. Wine names the target as an internal output where its
// path says DisplayPort, and has no adapter names (ERROR_NOT_SUPPORTED).
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "platform/clock.h"
#include "platform/display_paths.h"
#include "platform/handles.h"
#include "platform/library.h"
#include "platform/thread.h"

namespace {

std::atomic<bool> running{false};

uint32_t PLATFORM_CALLBACK Spins(void*) {
  running = true;
  for (;;) platform::Sleep(10);
}

TEST(ThreadBackend, ARunningThreadIsStoppedWithItsCode) {
  uint32_t id = 0;
  const platform::Handle thread = platform::CreateThread(&Spins, nullptr, &id);
  ASSERT_NE(thread, 0u);
  EXPECT_NE(id, 0u);
  while (!running) platform::Sleep(1);
  uint32_t code = 0;
  ASSERT_TRUE(platform::GetExitCodeThread(thread, code));
  EXPECT_EQ(code, platform::StillActive);
  ASSERT_TRUE(platform::TerminateThread(thread, 5));
  for (int i = 0; i < 500 && platform::GetExitCodeThread(thread, code) && code == platform::StillActive; ++i)
    platform::Sleep(10);
  EXPECT_EQ(code, 5u);
  EXPECT_TRUE(platform::CloseHandle(thread));
}

TEST(DisplayPathsBackend, EveryAvailableTargetHasAName) {
  const platform::HModule user32 = platform::LoadLibraryA("user32.dll");
  ASSERT_NE(user32, 0u);
  const auto sizes = reinterpret_cast<platform::GetDisplayConfigBufferSizesProc>(
      platform::GetProcAddress(user32, "GetDisplayConfigBufferSizes"));
  const auto query =
      reinterpret_cast<platform::QueryDisplayConfigProc>(platform::GetProcAddress(user32, "QueryDisplayConfig"));
  const auto info = reinterpret_cast<platform::DisplayConfigGetDeviceInfoProc>(
      platform::GetProcAddress(user32, "DisplayConfigGetDeviceInfo"));
  ASSERT_TRUE(sizes != nullptr && query != nullptr && info != nullptr);
  uint32_t pathCount = 0, modeCount = 0;
  ASSERT_EQ(sizes(platform::QdcAllPaths, &pathCount, &modeCount), 0);
  std::vector<platform::DisplayConfigPathInfo> paths(pathCount);
  std::vector<platform::DisplayConfigModeInfo> modes(modeCount);
  ASSERT_EQ(query(platform::QdcAllPaths, &pathCount, paths.data(), &modeCount, modes.data(), nullptr), 0);
  ASSERT_GT(pathCount, 0u);
  bool active = false;
  for (uint32_t i = 0; i < pathCount; ++i) {
    active = active || (paths[i].Flags & platform::DisplayConfigPathActive) != 0;
    if (paths[i].TargetInfo.TargetAvailable == 0) continue;
    platform::DisplayConfigTargetDeviceName name;
    name.Header = {platform::DisplayConfigDeviceInfoGetTargetName, platform::DisplayConfigTargetDeviceNameSize,
                   paths[i].TargetInfo.AdapterId, paths[i].TargetInfo.Id};
    EXPECT_EQ(info(&name.Header), 0) << i;
    EXPECT_EQ(name.OutputTechnology, RunningUnderWine() ? platform::OutputTechnologyInternal
                                                         : paths[i].TargetInfo.OutputTechnology)
        << i;
    platform::DisplayConfigAdapterName adapter;
    adapter.Header = {platform::DisplayConfigDeviceInfoGetAdapterName, platform::DisplayConfigAdapterNameSize,
                      paths[i].SourceInfo.AdapterId, paths[i].SourceInfo.Id};
    EXPECT_EQ(info(&adapter.Header), RunningUnderWine() ? platform::ErrorNotSupported : 0) << i;
  }
  EXPECT_TRUE(active);
  platform::FreeLibrary(user32);
}

}  // namespace
