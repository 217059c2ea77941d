// clock.avi, the clip GPUTest plays: a clock face whose hand turns once a second and the frame's
// number below it, Motion JPEG in an AVI file.
#pragma once

#include <string>

namespace media {

constexpr int ClockClipFramesPerSecond = 25;
constexpr int ClockClipFrames = 4 * ClockClipFramesPerSecond;

// Writes the clip; false with a reason when it cannot.
bool WriteClockClip(const std::string& path, std::string& error);

}  // namespace media
