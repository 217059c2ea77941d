// The video renderer's own measure of how fast it played: the frames it really presented over the
// milliseconds it really played, in hundredths of a frame per second (IQualProp's unit).
#pragma once

#include <cstdint>

namespace platform {
namespace sim {

class FrameRateMeter {
 public:
  // Playback starts: the count and the time start afresh.
  void Start(uint32_t tick) {
    start_ = tick;
    frames_ = 0;
    running_ = true;
    elapsed_ = 0;
  }
  void Presented() {
    if (running_) ++frames_;
  }
  // Playback ends (the stream ran out, or it was stopped); later calls change nothing.
  void Stop(uint32_t tick) {
    if (!running_) return;
    elapsed_ = tick - start_;  // unsigned: right across the tick's wrap
    running_ = false;
  }
  bool Running() const { return running_; }
  uint32_t Frames() const { return frames_; }
  // Rounded down. No time played: every frame counts as shown within one millisecond.
  int32_t AverageHundredths(uint32_t tick) const {
    const uint64_t elapsed = running_ ? static_cast<uint32_t>(tick - start_) : elapsed_;
    const uint64_t rate = uint64_t{frames_} * 100000u / (elapsed == 0 ? 1 : elapsed);
    return rate > INT32_MAX ? INT32_MAX : static_cast<int32_t>(rate);
  }

 private:
  uint32_t start_ = 0;
  uint32_t frames_ = 0;
  uint32_t elapsed_ = 0;
  bool running_ = false;
};

}  // namespace sim
}  // namespace platform
