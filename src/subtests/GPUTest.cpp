#include "subtests/GPUTest.h"

#include <cstdio>
#include <string>
#include <vector>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/display.h"
#include "platform/playback.h"
#include "platform/window.h"
#include "text/TextHelpers.h"

namespace {

constexpr uint32_t PlaybackFailed = 995065;
constexpr uint32_t FrameRateTooLow = 995066;
constexpr uint32_t FrameRateMessage = 215;
constexpr int32_t VideoWindowStyle = 0x44000000;  // WS_CHILD | WS_CLIPSIBLINGS

// The interfaces of one playback; ReleasePlayback lets go of them in a fixed order.
struct Playback {
  platform::GraphBuilder* Graph = nullptr;
  platform::BaseFilter* Renderer = nullptr;
  platform::MediaControl* Control = nullptr;
  platform::MediaPosition* Position = nullptr;
  platform::VideoWindow* Window = nullptr;
  platform::QualProp* Quality = nullptr;
};

template <typename T>
void ReleaseOf(T*& object) {
  if (object != nullptr) object->Release();
  object = nullptr;
}

void ReleasePlayback(Playback& p) {
  if (p.Window != nullptr) p.Window->put_Owner(0);
  ReleaseOf(p.Window);
  ReleaseOf(p.Quality);
  ReleaseOf(p.Renderer);
  ReleaseOf(p.Control);
  ReleaseOf(p.Position);
  ReleaseOf(p.Graph);
}

[[noreturn]] void EndPlayback(Playback& p, uint32_t code) {
  ReleasePlayback(p);
  platform::CoUninitialize();
  KestException* failure = new KestException(code);
  failure->AddMessage(CategoryDeviceErrors, 4, "");
  throw failure;
}

// A step whose failure ends the playback.
void Checked(Playback& p, platform::HResult result) {
  if (platform::Failed(result)) EndPlayback(p, PlaybackFailed);
}

// The adapter at index 0 only; a mirroring or remote driver there counts as none.
bool FindDisplayAdapter(std::vector<std::string>& adapters) {
  platform::DisplayDevice device;
  if (!platform::EnumDisplayDevicesA(nullptr, 0, device, 0) ||
      (device.StateFlags & (platform::DisplayDeviceRemote | platform::DisplayDeviceMirroringDriver)) != 0)
    device = platform::DisplayDevice();
  if (device.DeviceString.empty()) return false;
  adapters.push_back(device.DeviceString);
  return true;
}

// Plays the clip at double speed in the console window and judges the renderer's frame rate,
// which comes in hundredths of a frame per second and is compared with the thresholds as it is.
void PlayBenchmarkClip(int32_t lowFps, int32_t mediumFps, int32_t highFps) {
  Playback p;
  platform::CoInitialize();
  Checked(p, platform::CreateFilterGraph(&p.Graph));
  Checked(p, platform::CreateVideoRenderer(&p.Renderer));
  Checked(p, p.Graph->QueryMediaControl(&p.Control));
  Checked(p, p.Graph->QueryMediaPosition(&p.Position));
  Checked(p, p.Graph->QueryVideoWindow(&p.Window));
  Checked(p, p.Graph->AddFilter(p.Renderer, L"REND"));
  Checked(p, p.Renderer->QueryQualProp(&p.Quality));
  Checked(p, p.Graph->RenderFile(L"clock.avi", nullptr));
  Kestout::UpdatePercentage(50);

  const platform::Hwnd console = platform::GetConsoleWindow();
  Checked(p, p.Window->put_Owner(console));
  Checked(p, p.Window->put_WindowStyle(VideoWindowStyle));
  platform::Rect client;
  platform::GetClientRect(console, &client);
  p.Window->SetWindowPosition(0, 0, client.Right, client.Bottom);
  p.Position->put_Rate(2.0);
  Checked(p, p.Window->put_Caption(L"MEDIA"));
  p.Control->Run();
  double duration = 0;
  double position = 0;
  p.Position->get_Duration(&duration);
  do {
    position = duration;  // a position that cannot be read ends the wait
    p.Position->get_CurrentPosition(&position);
  } while (position < duration);
  p.Control->Stop();

  int32_t frameRate = 0;
  Checked(p, p.Quality->get_AvgFrameRate(&frameRate));
  Kestout::LogMessage(CategoryStatus, FrameRateMessage, ToText(frameRate));
  for (const int32_t threshold : {lowFps, mediumFps, highFps})
    if (threshold > frameRate) EndPlayback(p, FrameRateTooLow);
  Kestout::UpdatePercentage(60);
  Kestout::UpdatePercentage(80);
  ReleasePlayback(p);
  platform::CoUninitialize();
}

}  // namespace

GPUTest::GPUTest() {
  SetDescription("This Test the Graphic Processsing Unit ");
  AddArgument("-Controller", KestArgument::TypeString, "",
              "Controller to be tested .Default All the controller are tested",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-BenchmarkLevel", KestArgument::TypeString, "low",
              "Benchmark level to be compared with for Pass / Fail",
              new KestConstraint("low,medium,high"), ArgumentFlag::GuiHidden);
  AddArgument("-LowFPS", KestArgument::TypeInteger, "5",
              "Number of frame per second on low end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
  AddArgument("-MediumFPS", KestArgument::TypeInteger, "10",
              "Number of frame per second on medium end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
  AddArgument("-HighFPS", KestArgument::TypeInteger, "20",
              "Number of frame per second on high end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
}

GPUTest::~GPUTest() = default;

// The display settings are left as they are: the clip plays in whatever mode the operator's
// desktop is in, so that a measurement never resets the primary display or rewrites the registry.
bool GPUTest::Run() {
  Kestout::UpdatePercentage(0);
  Kestout::UpdatePercentage(1);
  const std::string controller = GetArgumentString("-Controller", "");
  GetArgumentString("-BenchmarkLevel", "low");  // read, and judged by all three thresholds alike
  const int32_t lowFps = GetArgumentInt("-LowFPS", 5);
  const int32_t mediumFps = GetArgumentInt("-MediumFPS", 10);
  const int32_t highFps = GetArgumentInt("-HighFPS", 20);
  Kestout::UpdatePercentage(10);
  StopIfRequested();

  std::vector<std::string> adapters;
  if (FindDisplayAdapter(adapters)) {
    Kestout::UpdatePercentage(20);
    if (controller.empty()) {
      // Every adapter found; the clip plays wherever the console window is.
      for (size_t played = 0; played < adapters.size(); ++played) PlayBenchmarkClip(lowFps, mediumFps, highFps);
    } else {
      bool named = false;
      for (const std::string& adapter : adapters)
        if (adapter == controller) {
          PlayBenchmarkClip(lowFps, mediumFps, highFps);
          named = true;
          break;
        }
      if (!named) {
        // The verdict has no failure code for this; the person must still learn why.
        std::string found;
        for (const std::string& adapter : adapters) found += (found.empty() ? "\"" : ", \"") + adapter + "\"";
        std::fprintf(stderr, "error: -Controller=%s names no display adapter of this machine (it has %s): nothing "
                     "was played\n", controller.c_str(), found.c_str());
        return false;
      }
    }
  } else {
    WarnNothingTested("no display adapter: the first display device is missing, a mirroring or a remote driver");
  }
  StopIfRequested();
  Kestout::UpdatePercentage(100);
  return true;
}
