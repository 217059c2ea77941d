// What the rest of the simulated machine needs of GDI: device contexts on a surface, the record of
// the text drawn there (which the simulated operator reads), and the colour conversions.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/surface.h"

namespace platform {
namespace sim {

// A device context on `surface`: logical (0, 0) is the surface pixel `origin`, and drawing is cut
// to `clip` (surface coordinates), and always to the surface itself, whatever its size at the time
// of the call. DeleteDC releases it. The surface must outlive the context.
Hdc CreateSurfaceDC(Surface& surface, Point origin, const Rect& clip);
// Moves a context made by CreateSurfaceDC, for a window that moved or changed its size.
bool SetSurfaceDCPlacement(Hdc dc, Point origin, const Rect& clip);

// The surface that CreateDCA("DISPLAY") draws on and whose depth compatible bitmaps and loaded
// images take; none (the default) makes such contexts fail and images 32-bit.
void SetDisplaySurface(std::function<Surface*()> provider);

// The pixels of a bitmap object (null if `bitmap` is not one).
Surface* BitmapSurface(HBitmap bitmap);

// One string drawn by TextOutA/W or one line of DrawTextA/W, as it was rendered.
struct TextRun {
  std::wstring Text;
  Rect Bounds;           // the text's cell, surface coordinates, before clipping
  ColorRef Color = 0;    // the text colour asked for
  int32_t Height = 0;    // cell height in pixels
};
// The runs whose cell meets `region` (surface coordinates), oldest first. A run is forgotten when a
// fill, blit or opaque text later covers its whole cell.
std::vector<TextRun> TextRunsIn(const Surface& surface, const Rect& region);
// For code that writes the pixels without GDI (a locked surface, a mode change): forget the runs
// whose cell lies within `region`, or all of them.
void ForgetTextRuns(const Surface& surface, const Rect& region);
void ForgetAllTextRuns(const Surface& surface);

// The surface's pixel value for a colour (8 bits: the nearest palette entry, first on a tie) and
// the colour a pixel value stands for. 16-bit fields expand by repeating their top bits
// (0x1F -> 0xFF, 0x10 -> 0x84), so black and white survive the round trip.
uint32_t ColorToPixel(const Surface& surface, ColorRef color);
ColorRef PixelToColor(const Surface& surface, uint32_t pixel);

// GetSysColor's values for the brush numbers 1 to 31 of FillRect (Windows 7 defaults).
ColorRef SystemColor(int32_t index);

// Whether text is really rendered (FreeType and the Liberation fonts were found).
bool TextRenderingAvailable();

}  // namespace sim
}  // namespace platform
