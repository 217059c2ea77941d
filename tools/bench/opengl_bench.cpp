// OpenGL3DRenderingTest's 200 frames of one window at 1024x768x32 on the sim (rendered by OSMesa
// into the context's buffer and presented into the frame buffer by SwapBuffers) against OSMesa
// rendering the same frames into a buffer alone. Prints frames a second of each, best of the
// rounds (taken in turns), and their ratio (the window should reach at least 0.8). Time is the
// process's processor time, Mesa's threads included, so that other work on a shared machine does
// not weigh on one side only; the wall clock's figures follow for comparison.
//   bench-opengl [rounds]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "media/Texture.h"
#include "platform/opengl.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/machine.h"
#include "platform/sim/render/mesa.h"
#include "platform/window.h"
#include "subtests/OpenGL3DRenderingTest.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kFramesPerRun = 200;

struct Rates {
  double Processor = 0;  // frames a processor second
  double Wall = 0;       // frames a second
};

// Times `run` both ways.
template <typename Run>
Rates Measure(Run run) {
  const std::clock_t processor = std::clock();
  const auto wall = Clock::now();
  run();
  const double processorSeconds = static_cast<double>(std::clock() - processor) / CLOCKS_PER_SEC;
  const double wallSeconds = std::chrono::duration<double>(Clock::now() - wall).count();
  return Rates{kFramesPerRun / processorSeconds, kFramesPerRun / wallSeconds};
}
constexpr int kFrames = static_cast<int>(kFramesPerRun);
constexpr int kWidth = 1024;
constexpr int kHeight = 768;

// The frames of one window, the angles turning as the subtest turns them; glFinish or the
// present ends each.
template <typename Present>
void DrawFrames(uint32_t list, Present present) {
  float second = 0.0f;
  for (int frame = 0; frame < kFrames; ++frame) {
    OpenGL3DRenderingTest::DrawCubeFrame(list, kWidth, kHeight, 0.0f, second);
    present();
    second = OpenGL3DRenderingTest::WrapAngle(second - 5.0f);
  }
}

Rates Alone() {
  const platform::sim::MesaLibrary* mesa = platform::sim::Mesa();
  const OSMesaContext context = mesa != nullptr ? mesa->CreateContextExt(OSMESA_RGBA, 32, 0, 0, nullptr) : nullptr;
  std::vector<unsigned char> buffer(static_cast<size_t>(kWidth) * kHeight * 4);
  if (context == nullptr || !mesa->MakeCurrent(context, buffer.data(), GL_UNSIGNED_BYTE, kWidth, kHeight)) {
    std::fprintf(stderr, "bench-opengl: no OSMesa context\n");
    std::exit(1);
  }
  const uint32_t list = OpenGL3DRenderingTest::BuildTextureList("texture3.bmp");
  const Rates rates = Measure([list] { DrawFrames(list, [] { glFinish(); }); });
  mesa->MakeCurrent(nullptr, nullptr, 0, 0, 0);
  mesa->DestroyContext(context);
  return rates;
}

platform::LResult PLATFORM_CALLBACK Plain(platform::Hwnd window, uint32_t message, platform::WParam wParam,
                                          platform::LParam lParam) {
  return platform::DefWindowProcA(window, message, wParam, lParam);
}

Rates ThroughWindow() {
  const platform::Hwnd window = platform::CreateWindowExA(0, "Bench", "Bench", platform::WsPopup | platform::WsVisible,
                                                          0, 0, kWidth, kHeight, 0, 0, 0, nullptr);
  const platform::Hdc dc = platform::GetDC(window);
  platform::PixelFormatDescriptor request;
  request.Flags = platform::PfdDrawToWindow | platform::PfdSupportOpenGL | platform::PfdDoubleBuffer;
  request.ColorBits = 24;
  request.DepthBits = 32;
  platform::SetPixelFormat(dc, platform::ChoosePixelFormat(dc, &request), &request);
  const platform::HGlrc context = platform::wglCreateContext(dc);
  if (context == 0 || !platform::wglMakeCurrent(dc, context)) {
    std::fprintf(stderr, "bench-opengl: no context on the window\n");
    std::exit(1);
  }
  const uint32_t list = OpenGL3DRenderingTest::BuildTextureList("texture3.bmp");
  const Rates rates = Measure([list, dc] {
    DrawFrames(list, [dc] {
      if (!platform::SwapBuffers(dc)) std::exit(1);
    });
  });
  platform::wglMakeCurrent(0, 0);
  platform::wglDeleteContext(context);
  platform::ReleaseDC(window, dc);
  platform::DestroyWindow(window);
  return rates;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  char folder[] = "/tmp/raster-scan-bench-opengl-XXXXXX";
  if (mkdtemp(folder) == nullptr || chdir(folder) != 0) return 1;
  const std::vector<uint8_t> texture = media::TextureBitmapFile();
  std::FILE* file = std::fopen("texture3.bmp", "wb");
  if (file == nullptr) return 1;
  std::fwrite(texture.data(), 1, texture.size(), file);
  std::fclose(file);

  // The built-in machine's screen is 1024x768x32.
  platform::sim::Machine machine;
  machine.VirtualClock = true;
  platform::sim::SetCurrentMachine(machine);
  platform::sim::ResetClock();
  platform::WndClassA windowClass;
  windowClass.Proc = &Plain;
  windowClass.ClassName = "Bench";
  platform::RegisterClassA(&windowClass);

  // The two take turns, so that a machine busy with other work weighs on both alike.
  Rates alone, window;
  for (int round = 0; round < rounds; ++round) {
    const Rates a = Alone(), w = ThroughWindow();
    alone = Rates{std::max(alone.Processor, a.Processor), std::max(alone.Wall, a.Wall)};
    window = Rates{std::max(window.Processor, w.Processor), std::max(window.Wall, w.Wall)};
  }
  std::printf("                                  processor time      wall clock\n");
  std::printf("OSMesa rendering alone:           %8.1f frames/s  %8.1f frames/s\n", alone.Processor, alone.Wall);
  std::printf("window: rendering and presenting: %8.1f frames/s  %8.1f frames/s\n", window.Processor, window.Wall);
  std::printf("ratio (window / alone):           %8.2f           %8.2f\n", window.Processor / alone.Processor,
              window.Wall / alone.Wall);
  std::remove("texture3.bmp");
  if (chdir("/") == 0) rmdir(folder);
  return 0;
}
