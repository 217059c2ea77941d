// The object table and drawing helpers shared by the sim GDI's source files. Every public call
// takes the one lock; nothing in here takes it again.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/gdi/rects.h"
#include "platform/sim/surface.h"

namespace platform {
namespace sim {
namespace gdi {

std::mutex& Lock();

enum class Kind { Pen, Brush, Font, Bitmap, Palette };

struct Object {
  Kind Type = Kind::Pen;
  bool Stock = false;
  int32_t SelectCount = 0;      // contexts holding it
  bool DeletePending = false;   // deleted while selected: freed when the last context lets go
  // Pen
  int32_t PenStyle = PsSolid;
  int32_t PenWidth = 1;
  // Pen and brush
  ColorRef Color = 0;
  bool NullBrush = false;
  // Font
  LogFontA Font;
  // Bitmap
  std::unique_ptr<Surface> Pixels;
  // Palette
  std::vector<platform::PaletteEntry> Entries;
};

struct DcState {
  HPen Pen = 0;
  HBrush Brush = 0;
  HFont Font = 0;
  HBitmap Bitmap = 0;
  HPalette Palette = 0;
  ColorRef BkColor = 0xFFFFFF;
  ColorRef TextColor = 0;
  int32_t BkMode = Opaque;
  int32_t MapMode = MmText;
  Point Position;
  int32_t StylePosition = 0;  // how far along its dash pattern the current line is
  bool PaletteRealized = false;
};

struct Dc {
  bool Memory = false;
  Surface* External = nullptr;  // the surface of a window or display context
  bool Display = false;         // follows the display surface (CreateDCA)
  Point Origin;
  Rect Clip;
  int32_t Bits = 32;            // depth of compatible bitmaps
  DcState State;
  std::vector<DcState> Saved;
};

// Where a context draws: the surface, logical-to-surface offset and the clip in surface pixels.
struct Target {
  Surface* Pixels = nullptr;
  int32_t OriginX = 0;
  int32_t OriginY = 0;
  Rect Clip;
};

Object* FindObject(HGdiObj handle);
Dc* FindDc(Hdc handle);
bool ResolveTarget(const Dc& dc, Target& target);
Surface* DisplaySurface();
HGdiObj AddObject(Object object);

// The pixel value of `color` as context `dc` draws it on `surface` (palette indices resolved
// through the selected palette).
uint32_t DcColorToPixel(const Dc& dc, const Surface& surface, ColorRef color);
// Fills the surface rectangle (already clipped) with one pixel value.
void FillPixels(Surface& surface, const Rect& rect, uint32_t pixel);
uint32_t ReadPixel(const Surface& surface, int32_t x, int32_t y);
void WritePixel(Surface& surface, int32_t x, int32_t y, uint32_t pixel);
uint32_t PixelMask(int32_t bits);

// Text runs: record one, and drop those that `covered` (surface coordinates) hides.
void RecordTextRun(const Surface& surface, TextRun run);
void CoverTextRuns(const Surface& surface, const Rect& covered);
void ForgetSurfaceRuns(const Surface* surface);

// The surface a bitmap of the display's kind would have: its depth, and its palette when 8-bit.
int32_t DisplayBits();

}  // namespace gdi
}  // namespace sim
}  // namespace platform
