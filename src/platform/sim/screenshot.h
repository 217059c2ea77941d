// Screenshots of the simulated screen: with RASTERSCAN_SCREENSHOTS=<folder> set, the frame buffer
// is written as a PNG file each time a top-level window is destroyed, and each time a DirectDraw
// lock of the screen changed it, so that a person can page through a run. Files are named
// "<number>-<title>.png", numbered on from the highest number in the folder.
#pragma once

#include <string>

#include "platform/sim/surface.h"

namespace platform {
namespace sim {

// Writes the screen if screenshots are asked for; `title` names the window that goes, or the
// window whose picture was put on the screen through a DirectDraw lock.
void SaveScreenshot(const std::wstring& title);
// Whether screenshots are asked for.
bool ScreenshotsWanted();

// Writes `surface` as a PNG file of 8-bit RGB (an 8-bit surface through its palette).
bool WriteSurfacePng(const Surface& surface, const std::string& path);

// The folder screenshots go to; empty turns them off. Starts as RASTERSCAN_SCREENSHOTS.
void SetScreenshotFolder(const std::string& folder);

}  // namespace sim
}  // namespace platform
