// A video clip read whole into memory and decoded frame by frame: what the sim's playback graph
// plays. Only AVI is taken, as the graph is asked for "clock.avi". The decoder, built on FFmpeg's
// libraries, lives in a module of its own beside the program (clip.cpp), so that a run that plays
// nothing does not load the hundred-odd libraries FFmpeg brings.
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
  // the HRESULT RenderFile gives for it. This is the decoder itself; the program reaches it through
  // OpenClip.
  static HResult Open(std::vector<uint8_t> bytes, std::unique_ptr<Clip>& out);
  virtual ~Clip() = default;

  virtual size_t FrameCount() const = 0;
  // When the frame is due, in seconds of the clip, and how long the clip lasts.
  virtual double FrameTime(size_t frame) const = 0;
  virtual double Duration() const = 0;
  virtual int32_t Width() const = 0;
  virtual int32_t Height() const = 0;

  // Decodes the frames in order; false when the frame's data does not decode (it is not shown).
  // A decoded frame stays until the frame after next is decoded, so that one frame can be shown on
  // one thread while the next is decoded on another.
  virtual bool Decode(size_t frame) = 0;
  // Scales a decoded frame to `width` x `height` at (x, y) of the surface, in its depth
  // (an 8-bit surface by the nearest colours of its palette), cut to the `clip` rectangle.
  virtual void Present(size_t frame, Surface& surface, int32_t x, int32_t y, int32_t width, int32_t height,
                       int32_t clipLeft, int32_t clipTop, int32_t clipRight, int32_t clipBottom) = 0;
};

// Clip::Open as the decoder module exports it, unmangled, for OpenClip to find by this name.
constexpr char OpenClipSymbol[] = "RasterScanOpenClip";
using OpenClipFunction = HResult(std::vector<uint8_t>& bytes, std::unique_ptr<Clip>& out);

// Clip::Open through the decoder module, loaded from beside the program at the first call. Without
// the module every clip is refused as one no decoder knows, and standard error names the module.
HResult OpenClip(std::vector<uint8_t> bytes, std::unique_ptr<Clip>& out);

}  // namespace sim
}  // namespace platform
