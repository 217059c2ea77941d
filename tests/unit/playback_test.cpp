// The sim's playback graph: the clip of the media kit really decoded and shown in the console
// window, the renderer's frame rate counted from what it showed on the virtual clock, and every
// clip it cannot play refused at RenderFile.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/ClockClip.h"
#include "platform/clock.h"
#include "platform/playback.h"
#include "platform/sim/media/frame_rate.h"
#include "platform/sim/machine.h"
#include "window_fixture.h"

namespace {

using platform::sim::FrameRateMeter;

TEST(FrameRateMeter, CountsFramesOverThePlayedTime) {
  FrameRateMeter meter;
  meter.Start(1000);
  for (int i = 0; i < 100; ++i) meter.Presented();
  EXPECT_EQ(meter.AverageHundredths(3000), 5000);  // while it runs, up to now
  meter.Stop(3010);
  EXPECT_EQ(meter.AverageHundredths(9000), 4975);  // rounded down, and fixed at the stop
  meter.Presented();
  EXPECT_EQ(meter.Frames(), 100u);  // nothing counts after the stop

  meter.Start(0xFFFFFF00u);  // a new start forgets, and the tick's wrap is no jump
  for (int i = 0; i < 3; ++i) meter.Presented();
  meter.Stop(0x00000100u);
  EXPECT_EQ(meter.AverageHundredths(0), 3 * 100000 / 512);

  meter.Start(5);
  meter.Presented();
  meter.Stop(5);
  EXPECT_EQ(meter.AverageHundredths(5), 100000);  // no time at all is not a division by zero
}

class PlaybackGraph : public window_test::WindowFixture {
 protected:
  static void SetUpTestSuite() {
    char pattern[] = "/tmp/raster-scan-playback-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
    std::string error;
    ASSERT_TRUE(media::WriteClockClip(folder_ + "/clock.avi", error)) << error;
    std::ifstream in(folder_ + "/clock.avi", std::ios::binary);
    clip_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static void TearDownTestSuite() {
    std::remove((folder_ + "/clock.avi").c_str());
    std::remove((folder_ + "/bad.avi").c_str());
    rmdir(folder_.c_str());
  }
  ~PlaybackGraph() override {
    if (graph_ != nullptr) graph_->Release();
  }

  static std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

  // Renders `path` into a new graph with a renderer of its own; the HRESULT of RenderFile.
  platform::HResult Render(const std::string& path) {
    EXPECT_EQ(platform::CreateFilterGraph(&graph_), platform::SOk);
    platform::BaseFilter* renderer = nullptr;
    EXPECT_EQ(platform::CreateVideoRenderer(&renderer), platform::SOk);
    EXPECT_EQ(graph_->AddFilter(renderer, L"REND"), platform::SOk);
    EXPECT_EQ(renderer->QueryQualProp(&quality_), platform::SOk);
    renderer->Release();
    quality_->Release();  // the graph keeps the renderer, and so the interface, alive
    return graph_->RenderFile(Wide(path).c_str(), nullptr);
  }

  // Plays in the console window at the rate, the way GPUTest does; the renderer's frame rate.
  int32_t PlayInConsole(double rate) {
    platform::VideoWindow* window = nullptr;
    platform::MediaControl* control = nullptr;
    platform::MediaPosition* position = nullptr;
    EXPECT_EQ(graph_->QueryVideoWindow(&window), platform::SOk);
    EXPECT_EQ(graph_->QueryMediaControl(&control), platform::SOk);
    EXPECT_EQ(graph_->QueryMediaPosition(&position), platform::SOk);
    const platform::Hwnd console = platform::GetConsoleWindow();
    platform::Rect client;
    EXPECT_TRUE(platform::GetClientRect(console, &client));
    EXPECT_EQ(window->put_Owner(console), platform::SOk);
    EXPECT_EQ(window->SetWindowPosition(0, 0, client.Right, client.Bottom), platform::SOk);
    EXPECT_EQ(position->put_Rate(rate), platform::SOk);
    start_ = platform::GetTickCount();
    EXPECT_EQ(control->Run(), platform::SOk);
    double duration = 0;
    double at = 0;
    EXPECT_EQ(position->get_Duration(&duration), platform::SOk);
    EXPECT_DOUBLE_EQ(duration, 4.0);
    int polls = 0;
    while (at < duration && polls++ < 10000) EXPECT_EQ(position->get_CurrentPosition(&at), platform::SOk);
    end_ = platform::GetTickCount();
    control->Stop();
    int32_t frameRate = -1;
    EXPECT_EQ(quality_->get_AvgFrameRate(&frameRate), platform::SOk);
    window->put_Owner(0);
    window->Release();
    control->Release();
    position->Release();
    return frameRate;
  }

  static std::string folder_;
  static std::string clip_;
  platform::GraphBuilder* graph_ = nullptr;
  platform::QualProp* quality_ = nullptr;
  uint32_t start_ = 0;
  uint32_t end_ = 0;
};

std::string PlaybackGraph::folder_;
std::string PlaybackGraph::clip_;

TEST_F(PlaybackGraph, PlaysTheClipInTheConsoleWindowAtTwiceItsSpeed) {
  platform::sim::Surface& screen = platform::sim::ScreenSurface();
  ASSERT_EQ(Render(folder_ + "/clock.avi"), platform::SOk);
  const platform::Hwnd console = platform::GetConsoleWindow();
  EXPECT_EQ(platform::GetConsoleWindow(), console);  // one console for the process
  platform::Rect client;
  ASSERT_TRUE(platform::GetClientRect(console, &client));
  EXPECT_EQ(client.Right, 640);
  EXPECT_EQ(client.Bottom, 400);

  // A 4-second clip at 25 frames a second, played twice as fast: all 100 frames in 2 seconds.
  EXPECT_EQ(PlayInConsole(2.0), 5000);
  EXPECT_EQ(end_ - start_, 2000u);

  // The clock face is in the window: its dark blue background at the corner, its white ring
  // crossing the middle column; below the window the screen is as it was.
  const uint8_t* corner = screen.Row(2) + 2 * 4;
  EXPECT_GT(corner[0], corner[2]);  // blue over red
  int whiteRows = 0;
  for (int32_t y = 0; y < 400; ++y) {
    const uint8_t* p = screen.Row(y) + 320 * 4;
    if (p[0] > 180 && p[1] > 180 && p[2] > 180) ++whiteRows;
    EXPECT_EQ(p[3], 0) << y;  // the unused byte of a 32-bit pixel stays 0
  }
  EXPECT_GT(whiteRows, 4);
  for (int32_t y = 400; y < 480; ++y)
    for (int32_t x = 0; x < 640 * 4; ++x) ASSERT_EQ(screen.Row(y)[x], 0) << x << "," << y;
}

TEST_F(PlaybackGraph, TheVideoWindowWaitsForAClip) {
  ASSERT_EQ(platform::CreateFilterGraph(&graph_), platform::SOk);
  platform::VideoWindow* window = nullptr;
  ASSERT_EQ(graph_->QueryVideoWindow(&window), platform::SOk);
  EXPECT_EQ(window->put_Owner(platform::GetConsoleWindow()), platform::VfwENotConnected);
  EXPECT_EQ(window->put_Caption(L"MEDIA"), platform::VfwENotConnected);
  window->Release();
}

TEST_F(PlaybackGraph, RefusesClipsItCannotPlay) {
  const std::string bad = folder_ + "/bad.avi";
  auto write = [&](const std::string& bytes) {
    std::ofstream(bad, std::ios::binary | std::ios::trunc) << bytes;
  };
  EXPECT_EQ(Render(folder_ + "/missing.avi"), platform::VfwENotFound);
  graph_->Release();

  const std::vector<std::pair<const char*, std::string>> cases = {
      {"empty", ""},
      {"cut in half", clip_.substr(0, clip_.size() / 2)},
      {"cut after the header", clip_.substr(0, 4096)},
      {"text", "this is not a video\n"},
      // The clip with its codec renamed to one no decoder knows.
      {"unknown codec", [&] {
         std::string s = clip_;
         for (size_t at = s.find("MJPG"); at != std::string::npos; at = s.find("MJPG", at)) s.replace(at, 4, "QQQQ");
         return s;
       }()},
  };
  for (const auto& c : cases) {
    write(c.second);
    EXPECT_TRUE(platform::Failed(Render(bad))) << c.first;
    graph_->Release();
    graph_ = nullptr;
  }
}

}  // namespace
