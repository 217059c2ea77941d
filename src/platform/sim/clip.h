// A video clip read whole into memory and decoded frame by frame with FFmpeg's libraries: what the
// sim's playback graph plays. Only AVI is taken, as the graph is asked for "clock.avi".
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/playback.h"
#include "platform/sim/surface.h"

namespace platform {
namespace sim {

class Clip {
 public:
  // Reads the file's bytes. A file that is no AVI, holds no video, has a video no decoder knows,
  // holds fewer frames than its header claims or whose first frame does not decode is refused with
  // the HRESULT RenderFile gives for it.
  static HResult Open(std::vector<uint8_t> bytes, std::unique_ptr<Clip>& out);
  ~Clip();

  size_t FrameCount() const;
  // When the frame is due, in seconds of the clip, and how long the clip lasts.
  double FrameTime(size_t frame) const;
  double Duration() const;
  int32_t Width() const;
  int32_t Height() const;

  // Decodes the frames in order; false when the frame's data does not decode (it is not shown).
  // A decoded frame stays until the frame after next is decoded, so that one frame can be shown on
  // one thread while the next is decoded on another.
  bool Decode(size_t frame);
  // Scales a decoded frame to `width` x `height` at (x, y) of the surface, in its depth
  // (an 8-bit surface by the nearest colours of its palette), cut to the `clip` rectangle.
  void Present(size_t frame, Surface& surface, int32_t x, int32_t y, int32_t width, int32_t height, int32_t clipLeft,
               int32_t clipTop, int32_t clipRight, int32_t clipBottom);

 private:
  struct Data;
  explicit Clip(std::unique_ptr<Data> data);
  std::unique_ptr<Data> data_;
};

}  // namespace sim
}  // namespace platform
