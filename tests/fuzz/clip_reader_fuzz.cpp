// clock.avi is a file anyone can replace: any bytes are either refused by the clip reader or
// decode and show frame by frame, never a fault and never a clip without frames or time.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/sim/media/clip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::unique_ptr<platform::sim::Clip> clip;
  if (platform::Failed(platform::sim::Clip::Open(std::vector<uint8_t>(data, data + size), clip))) {
    if (clip != nullptr) std::abort();
    return 0;
  }
  if (clip == nullptr || clip->FrameCount() == 0 || !(clip->Duration() > 0)) std::abort();
  // A small screen in each depth, the video window hanging over its edges.
  static platform::sim::Surface screens[4];
  const int32_t depths[4] = {8, 16, 24, 32};
  for (int i = 0; i < 4; ++i)
    if (screens[i].Width == 0) screens[i].Allocate(48, 32, depths[i]);
  for (size_t frame = 0; frame < clip->FrameCount(); ++frame) {
    if (clip->FrameTime(frame) < 0) std::abort();
    if (!clip->Decode(frame)) continue;
    platform::sim::Surface& screen = screens[frame % 4];
    clip->Present(frame, screen, -5, 3, 40, 40, 0, 0, screen.Width, screen.Height);
  }
  return 0;
}
