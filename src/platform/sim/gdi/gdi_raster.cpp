// The sim GDI's rasteriser: colour conversion, pixels, lines with dash styles, fills, bit-block
// transfers with the ternary raster operations, and GetDIBits.
#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_internal.h"

namespace platform {
namespace sim {

uint32_t ColorToPixel(const Surface& surface, ColorRef color) {
  const uint32_t r = RedOf(color), g = GreenOf(color), b = BlueOf(color);
  switch (surface.Bits) {
    case 8: {
      uint32_t best = 0;
      uint32_t bestDistance = UINT32_MAX;
      for (uint32_t i = 0; i < 256; ++i) {
        const PaletteEntry& e = surface.Palette[i];
        const int32_t dr = static_cast<int32_t>(e.Red) - static_cast<int32_t>(r);
        const int32_t dg = static_cast<int32_t>(e.Green) - static_cast<int32_t>(g);
        const int32_t db = static_cast<int32_t>(e.Blue) - static_cast<int32_t>(b);
        const uint32_t distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
        if (distance < bestDistance) {
          bestDistance = distance;
          best = i;
          if (distance == 0) break;
        }
      }
      return best;
    }
    case 16: return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
    default: return (r << 16) | (g << 8) | b;
  }
}

ColorRef PixelToColor(const Surface& surface, uint32_t pixel) {
  switch (surface.Bits) {
    case 8: {
      const PaletteEntry& e = surface.Palette[pixel & 0xFF];
      return Rgb(e.Red, e.Green, e.Blue);
    }
    case 16: {
      const uint32_t r = (pixel >> 11) & 0x1F, g = (pixel >> 5) & 0x3F, b = pixel & 0x1F;
      return Rgb(static_cast<uint8_t>((r << 3) | (r >> 2)), static_cast<uint8_t>((g << 2) | (g >> 4)),
                 static_cast<uint8_t>((b << 3) | (b >> 2)));
    }
    default:
      return Rgb(static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8), static_cast<uint8_t>(pixel));
  }
}

namespace gdi {

uint32_t PixelMask(int32_t bits) {
  return bits == 8 ? 0xFFu : bits == 16 ? 0xFFFFu : 0xFFFFFFu;
}

uint32_t ReadPixel(const Surface& surface, int32_t x, int32_t y) {
  const uint8_t* p = surface.Row(y) + static_cast<size_t>(x) * static_cast<size_t>(surface.BytesPerPixel());
  switch (surface.Bits) {
    case 8: return p[0];
    case 16: return static_cast<uint32_t>(p[0] | (p[1] << 8));
    case 24: return static_cast<uint32_t>(p[0] | (p[1] << 8) | (p[2] << 16));
    default: {
      uint32_t v;
      std::memcpy(&v, p, 4);
      return v & 0xFFFFFF;
    }
  }
}

void WritePixel(Surface& surface, int32_t x, int32_t y, uint32_t pixel) {
  uint8_t* p = surface.Row(y) + static_cast<size_t>(x) * static_cast<size_t>(surface.BytesPerPixel());
  switch (surface.Bits) {
    case 8: p[0] = static_cast<uint8_t>(pixel); break;
    case 16:
      p[0] = static_cast<uint8_t>(pixel);
      p[1] = static_cast<uint8_t>(pixel >> 8);
      break;
    case 24:
      p[0] = static_cast<uint8_t>(pixel);
      p[1] = static_cast<uint8_t>(pixel >> 8);
      p[2] = static_cast<uint8_t>(pixel >> 16);
      break;
    default: {
      const uint32_t v = pixel & 0xFFFFFF;
      std::memcpy(p, &v, 4);
    }
  }
}

void FillPixels(Surface& surface, const Rect& rect, uint32_t pixel) {
  if (IsEmpty(rect)) return;
  const size_t width = static_cast<size_t>(rect.Right - rect.Left);
  const size_t bpp = static_cast<size_t>(surface.BytesPerPixel());
  // Build one row, then copy it: the same bytes whatever the depth.
  std::vector<uint8_t> row(width * bpp);
  if (surface.Bits == 32) {
    const uint32_t v = pixel & 0xFFFFFF;
    for (size_t i = 0; i < width; ++i) std::memcpy(row.data() + i * 4, &v, 4);
  } else {
    for (size_t i = 0; i < width; ++i)
      for (size_t k = 0; k < bpp; ++k) row[i * bpp + k] = static_cast<uint8_t>(pixel >> (8 * k));
  }
  for (int32_t y = rect.Top; y < rect.Bottom; ++y) {
    std::memcpy(surface.Row(y) + static_cast<size_t>(rect.Left) * bpp, row.data(), row.size());
  }
  CoverTextRuns(surface, rect);
}

}  // namespace gdi
}  // namespace sim

using namespace sim::gdi;

namespace {

// Dash patterns of cosmetic pens, in pixels along the major axis, starting with a drawn run:
// dash 18 on 6 off, dot 3 on 3 off, dash-dot 9 6 3 6, dash-dot-dot 9 3 3 3 3 3.
struct DashPattern {
  int32_t Runs[6];
  int32_t Count;
};
const DashPattern kPatterns[] = {
    {{1}, 0}, {{18, 6}, 2}, {{3, 3}, 2}, {{9, 6, 3, 6}, 4}, {{9, 3, 3, 3, 3, 3}, 6}};

// Whether position `step` of the pattern is drawn (true) or a gap.
bool DashOn(const DashPattern& pattern, int32_t step) {
  int32_t period = 0;
  for (int32_t i = 0; i < pattern.Count; ++i) period += pattern.Runs[i];
  int32_t at = step % period;
  for (int32_t i = 0; i < pattern.Count; ++i) {
    if (at < pattern.Runs[i]) return i % 2 == 0;
    at -= pattern.Runs[i];
  }
  return true;
}

// Rounds n / d (d > 0) to the nearest integer, halves towards minus infinity.
int64_t RoundHalfDown(int64_t n, int64_t d) {
  // ceil((2n - d) / 2d)
  const int64_t num = 2 * n - d, den = 2 * d;
  return num >= 0 ? (num + den - 1) / den : -((-num) / den);
}

void PlotClipped(const Target& t, int32_t x, int32_t y, int32_t width, uint32_t pixel) {
  Rect r{x - (width - 1) / 2, y - (width - 1) / 2, 0, 0};
  r.Right = r.Left + width;
  r.Bottom = r.Top + width;
  r = sim::Intersect(r, t.Clip);
  for (int32_t yy = r.Top; yy < r.Bottom; ++yy)
    for (int32_t xx = r.Left; xx < r.Right; ++xx) WritePixel(*t.Pixels, xx, yy, pixel);
}

}  // namespace

bool MoveToEx(Hdc handle, int32_t x, int32_t y, Point* previous) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return false;
  if (previous != nullptr) *previous = dc->State.Position;
  dc->State.Position = Point{x, y};
  dc->State.StylePosition = 0;
  return true;
}

// Lines run from the current position up to, not including, the end point. Minor-axis positions
// are the exact ones rounded to the nearest pixel, halves towards the smaller coordinate. Styles
// advance one step per pixel and carry on into the next LineTo; gaps take the background colour
// in opaque mode. Wider pens draw squares of their width (solid).
bool LineTo(Hdc handle, int32_t x, int32_t y) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return false;
  const Point from = dc->State.Position;
  dc->State.Position = Point{x, y};
  const Object* pen = FindObject(dc->State.Pen);
  Target t;
  if (pen == nullptr || pen->PenStyle == PsNull || !ResolveTarget(*dc, t)) return true;
  const uint32_t ink = DcColorToPixel(*dc, *t.Pixels, pen->Color);
  const uint32_t gap = DcColorToPixel(*dc, *t.Pixels, dc->State.BkColor);
  const bool styled = pen->PenWidth <= 1 && pen->PenStyle >= PsDash && pen->PenStyle <= PsDashDotDot;
  const DashPattern& pattern = kPatterns[styled ? pen->PenStyle : 0];
  const int64_t dx = int64_t{x} - from.X, dy = int64_t{y} - from.Y;
  const int64_t adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
  const bool xMajor = adx >= ady;
  const int64_t steps = xMajor ? adx : ady;
  for (int64_t k = 0; k < steps; ++k) {
    int64_t px, py;
    if (xMajor) {
      px = from.X + (dx < 0 ? -k : k);
      py = from.Y + RoundHalfDown(k * dy, adx);
    } else {
      py = from.Y + (dy < 0 ? -k : k);
      px = from.X + RoundHalfDown(k * dx, ady);
    }
    bool on = true;
    if (styled) on = DashOn(pattern, dc->State.StylePosition++);
    if (!on && dc->State.BkMode == Transparent) continue;
    PlotClipped(t, static_cast<int32_t>(px) + t.OriginX, static_cast<int32_t>(py) + t.OriginY, pen->PenWidth,
                on ? ink : gap);
  }
  return true;
}

int32_t FillRect(Hdc handle, const Rect* rect, HBrush brush) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr || rect == nullptr) return 0;
  ColorRef color;
  if (brush >= 1 && brush <= 31) {
    color = sim::SystemColor(static_cast<int32_t>(brush) - 1);
  } else {
    const Object* object = FindObject(brush);
    if (object == nullptr || object->Type != Kind::Brush) return 0;
    if (object->NullBrush) return 1;
    color = object->Color;
  }
  Target t;
  if (!ResolveTarget(*dc, t)) return 0;
  // Right and bottom edges are outside the rectangle.
  const Rect area{rect->Left + t.OriginX, rect->Top + t.OriginY, rect->Right + t.OriginX, rect->Bottom + t.OriginY};
  FillPixels(*t.Pixels, sim::Intersect(area, t.Clip), DcColorToPixel(*dc, *t.Pixels, color));
  return 1;
}

int32_t FrameRect(Hdc dc, const Rect* rect, HBrush brush) {
  if (rect == nullptr) return 0;
  const Rect& r = *rect;
  if (r.Right <= r.Left || r.Bottom <= r.Top) return 1;
  const Rect edges[4] = {{r.Left, r.Top, r.Right, r.Top + 1},
                         {r.Left, r.Bottom - 1, r.Right, r.Bottom},
                         {r.Left, r.Top, r.Left + 1, r.Bottom},
                         {r.Right - 1, r.Top, r.Right, r.Bottom}};
  for (const Rect& edge : edges)
    if (FillRect(dc, &edge, brush) == 0) return 0;
  return 1;
}

bool SetPixelV(Hdc handle, int32_t x, int32_t y, ColorRef color) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  Target t;
  if (dc == nullptr || !ResolveTarget(*dc, t)) return false;
  const int32_t sx = x + t.OriginX, sy = y + t.OriginY;
  if (sx < t.Clip.Left || sx >= t.Clip.Right || sy < t.Clip.Top || sy >= t.Clip.Bottom) return false;
  WritePixel(*t.Pixels, sx, sy, DcColorToPixel(*dc, *t.Pixels, color));
  return true;
}

ColorRef GetPixel(Hdc handle, int32_t x, int32_t y) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  Target t;
  if (dc == nullptr || !ResolveTarget(*dc, t)) return ClrInvalid;
  const int32_t sx = x + t.OriginX, sy = y + t.OriginY;
  if (sx < t.Clip.Left || sx >= t.Clip.Right || sy < t.Clip.Top || sy >= t.Clip.Bottom) return ClrInvalid;
  sim::ForceFrameBufferFaults(*t.Pixels);
  return sim::PixelToColor(*t.Pixels, ReadPixel(*t.Pixels, sx, sy));
}

namespace {

// The ternary raster operation on whole pixel words: bit m of `index` gives the result for
// pattern bit (m >> 2), source bit (m >> 1) and destination bit (m & 1).
inline uint32_t Ternary(uint32_t index, uint32_t p, uint32_t s, uint32_t d) {
  uint32_t result = 0;
  for (uint32_t m = 0; m < 8; ++m) {
    if ((index >> m) & 1) result |= ((m & 4) ? p : ~p) & ((m & 2) ? s : ~s) & ((m & 1) ? d : ~d);
  }
  return result;
}

bool UsesSource(uint32_t index) { return ((index >> 2) & 0x33) != (index & 0x33); }
bool UsesPattern(uint32_t index) { return ((index >> 4) & 0x0F) != (index & 0x0F); }

// One source row converted to the destination's pixel values.
void ConvertRow(const sim::Surface& source, int32_t sx, int32_t sy, int32_t width, const sim::Surface& dest,
                std::vector<uint32_t>& out) {
  out.resize(static_cast<size_t>(width));
  const bool raw = source.Bits == dest.Bits;
  ColorRef lastColor = ClrInvalid;
  uint32_t lastPixel = 0;
  for (int32_t i = 0; i < width; ++i) {
    const uint32_t v = ReadPixel(source, sx + i, sy);
    if (raw) {
      out[static_cast<size_t>(i)] = v;
      continue;
    }
    const ColorRef c = sim::PixelToColor(source, v);
    if (c != lastColor) {
      lastColor = c;
      lastPixel = sim::ColorToPixel(dest, c);
    }
    out[static_cast<size_t>(i)] = lastPixel;
  }
}

}  // namespace

// Source pixels convert to the destination's format first (8-bit to 8-bit copies indices, as a
// device bitmap holds them); the operation then works on the destination's pixel bits.
bool BitBlt(Hdc destHandle, int32_t x, int32_t y, int32_t width, int32_t height, Hdc sourceHandle, int32_t sourceX,
            int32_t sourceY, uint32_t rop) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(destHandle);
  Target dt;
  if (dc == nullptr || !ResolveTarget(*dc, dt)) return false;
  const uint32_t index = (rop >> 16) & 0xFF;
  const bool needSource = UsesSource(index);
  Target st;
  if (needSource) {
    const Dc* source = FindDc(sourceHandle);
    if (source == nullptr || !ResolveTarget(*source, st)) return false;
    // The source is read wherever its surface has pixels, not only inside its clip.
    st.Clip = Rect{0, 0, st.Pixels->Width, st.Pixels->Height};
    sim::ForceFrameBufferFaults(*st.Pixels);
  }
  // Raster operations read the destination too.
  sim::ForceFrameBufferFaults(*dt.Pixels);
  if (width < 0 || height < 0) return false;
  // Destination and source rectangles in surface coordinates, cut to what both allow.
  Rect d{x + dt.OriginX, y + dt.OriginY, 0, 0};
  d.Right = d.Left + width;
  d.Bottom = d.Top + height;
  int32_t offX = 0, offY = 0;  // source = destination + offset
  if (needSource) {
    offX = sourceX + st.OriginX - d.Left;
    offY = sourceY + st.OriginY - d.Top;
    const Rect sAsDest{st.Clip.Left - offX, st.Clip.Top - offY, st.Clip.Right - offX, st.Clip.Bottom - offY};
    d = sim::Intersect(d, sAsDest);
  }
  d = sim::Intersect(d, dt.Clip);
  if (sim::IsEmpty(d)) return true;

  sim::Surface& dest = *dt.Pixels;
  uint32_t pattern = 0;
  if (UsesPattern(index)) {
    const Object* brush = FindObject(dc->State.Brush);
    if (brush != nullptr && !brush->NullBrush) pattern = DcColorToPixel(*dc, dest, brush->Color);
  }
  const uint32_t mask = PixelMask(dest.Bits);
  const int32_t w = d.Right - d.Left;
  const size_t bpp = static_cast<size_t>(dest.BytesPerPixel());

  if (index == 0xF0 || index == 0x00 || index == 0xFF || index == 0x0F) {
    // Fills: pattern, its inverse, black (all bits 0) and white (all bits 1, on 8 bits index 255).
    const uint32_t value = index == 0xF0 ? pattern : index == 0x0F ? ~pattern : index == 0x00 ? 0u : ~0u;
    FillPixels(dest, d, value & mask);
    return true;
  }

  const bool sameSurface = needSource && st.Pixels == &dest;
  // Rows in an order that reads each source row before it is overwritten.
  const bool upward = sameSurface && offY < 0;
  const bool rawCopy = index == 0xCC && needSource && st.Pixels->Bits == dest.Bits;
  std::vector<uint32_t> src;
  for (int32_t n = 0; n < d.Bottom - d.Top; ++n) {
    const int32_t row = upward ? d.Bottom - 1 - n : d.Top + n;
    uint8_t* out = dest.Row(row) + static_cast<size_t>(d.Left) * bpp;
    if (rawCopy) {
      const uint8_t* in = st.Pixels->Row(row + offY) + static_cast<size_t>(d.Left + offX) * bpp;
      std::memmove(out, in, static_cast<size_t>(w) * bpp);
      continue;
    }
    if (dest.Bits == 32 && (!needSource || st.Pixels->Bits == 32)) {
      // Whole 32-bit words straight from the rows; the source row is copied first for overlaps.
      if (needSource) {
        src.resize(static_cast<size_t>(w));
        std::memcpy(src.data(), st.Pixels->Row(row + offY) + static_cast<size_t>(d.Left + offX) * 4,
                    static_cast<size_t>(w) * 4);
      }
      for (int32_t i = 0; i < w; ++i) {
        uint32_t dv;
        std::memcpy(&dv, out + static_cast<size_t>(i) * 4, 4);
        const uint32_t v = Ternary(index, pattern, needSource ? src[static_cast<size_t>(i)] : 0, dv) & mask;
        std::memcpy(out + static_cast<size_t>(i) * 4, &v, 4);
      }
      continue;
    }
    if (needSource) ConvertRow(*st.Pixels, d.Left + offX, row + offY, w, dest, src);
    for (int32_t i = 0; i < w; ++i) {
      const uint32_t s = needSource ? src[static_cast<size_t>(i)] : 0;
      const uint32_t dv = ReadPixel(dest, d.Left + i, row);
      WritePixel(dest, d.Left + i, row, Ternary(index, pattern, s, dv) & mask);
    }
  }
  CoverTextRuns(dest, d);
  return true;
}

// A whole 24 or 32-bit picture, each pixel converted to the surface's format; an 8-bit surface
// takes the nearest palette entry, remembered for runs of one colour.
int32_t SetDIBitsToDevice(Hdc handle, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t sourceX,
                          int32_t sourceY, uint32_t startScan, uint32_t lines, const void* bits,
                          const BitmapInfo* info, uint32_t usage) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  Target t;
  if (dc == nullptr || !ResolveTarget(*dc, t) || bits == nullptr || info == nullptr || usage != DibRgbColors)
    return 0;
  const BitmapInfoHeader& h = info->Header;
  const int32_t dibHeight = h.Height < 0 ? -h.Height : h.Height;
  if (h.Size < 40 || (h.BitCount != 24 && h.BitCount != 32) || h.Compression != BiRgb || h.Width <= 0 ||
      startScan != 0 || lines != static_cast<uint32_t>(dibHeight))
    return 0;
  const size_t bytes = h.BitCount / 8u;
  const size_t stride = (static_cast<size_t>(h.Width) * bytes + 3) & ~size_t{3};
  Rect d{x + t.OriginX, y + t.OriginY, 0, 0};
  d.Right = d.Left + static_cast<int32_t>(width);
  d.Bottom = d.Top + static_cast<int32_t>(height);
  d = sim::Intersect(d, t.Clip);
  const auto* picture = static_cast<const uint8_t*>(bits);
  uint32_t lastColor = 0xFFFFFFFF, lastPixel = 0;
  for (int32_t row = d.Top; row < d.Bottom; ++row) {
    const int32_t sy = row - (y + t.OriginY) + sourceY;
    if (sy < 0 || sy >= dibHeight) continue;
    const int32_t fileRow = h.Height < 0 ? sy : dibHeight - 1 - sy;
    const uint8_t* in = picture + static_cast<size_t>(fileRow) * stride;
    for (int32_t col = d.Left; col < d.Right; ++col) {
      const int32_t sx = col - (x + t.OriginX) + sourceX;
      if (sx < 0 || sx >= h.Width) continue;
      const uint8_t* p = in + static_cast<size_t>(sx) * bytes;
      const ColorRef color = Rgb(p[2], p[1], p[0]);
      if (color != lastColor) {
        lastColor = color;
        lastPixel = sim::ColorToPixel(*t.Pixels, color);
      }
      WritePixel(*t.Pixels, col, row, lastPixel);
    }
  }
  CoverTextRuns(*t.Pixels, d);
  return dibHeight;
}

// Gives the bitmap's rows bottom-up (positive height) or top-down, as 8-bit with its colour table,
// 16-bit 5-5-5 (BI_RGB) or 5-6-5 (BI_BITFIELDS), 24 or 32 bits. With no buffer and no bit count,
// fills in the header: a 16-bit bitmap reports BI_BITFIELDS, as Windows does.
int32_t GetDIBits(Hdc handle, HBitmap bitmapHandle, uint32_t start, uint32_t lines, void* bits, BitmapInfo* info,
                  uint32_t usage) {
  std::lock_guard<std::mutex> lock(Lock());
  const Object* bitmap = FindObject(bitmapHandle);
  if (FindDc(handle) == nullptr || bitmap == nullptr || bitmap->Type != Kind::Bitmap || info == nullptr ||
      info->Header.Size < 40 || usage != DibRgbColors)
    return 0;
  const sim::Surface& s = *bitmap->Pixels;
  BitmapInfoHeader& h = info->Header;
  if (bits == nullptr && h.BitCount == 0) {
    h.Width = s.Width;
    h.Height = s.Height;
    h.Planes = 1;
    h.BitCount = static_cast<uint16_t>(s.Bits);
    h.Compression = s.Bits == 16 ? BiBitfields : BiRgb;
    h.SizeImage = static_cast<uint32_t>((s.Width * s.Bits + 31) / 32 * 4 * s.Height);
    h.ClrUsed = 0;
    h.ClrImportant = 0;
    return 1;
  }
  const uint32_t outBits = h.BitCount;
  if (outBits != 8 && outBits != 16 && outBits != 24 && outBits != 32) return 0;
  if (outBits == 8 && s.Bits != 8) return 0;  // no halftone palette here
  const bool fields565 = outBits == 16 && h.Compression == BiBitfields;
  if (h.Compression != BiRgb && !(outBits == 16 || outBits == 32)) return 0;
  const int32_t width = h.Width != 0 ? h.Width : s.Width;
  const int32_t outHeight = h.Height < 0 ? -h.Height : h.Height;
  const bool topDown = h.Height < 0;
  const size_t stride = static_cast<size_t>((width * static_cast<int32_t>(outBits) + 31) / 32 * 4);
  h.SizeImage = static_cast<uint32_t>(stride * static_cast<size_t>(outHeight));
  // Colour table or masks behind the header.
  if (outBits == 8) {
    for (int32_t i = 0; i < 256; ++i) {
      const sim::PaletteEntry& e = s.Palette[static_cast<size_t>(i)];
      info->Colors[i] = RgbQuad{e.Blue, e.Green, e.Red, 0};
    }
  } else if (h.Compression == BiBitfields) {
    const uint32_t masks[3] = {outBits == 16 ? 0xF800u : 0xFF0000u, outBits == 16 ? 0x07E0u : 0x00FF00u,
                               outBits == 16 ? 0x001Fu : 0x0000FFu};
    std::memcpy(info->Colors, masks, sizeof masks);
  }
  if (bits == nullptr) return 1;
  // Scan line n counts from the bottom of the picture.
  int32_t copied = 0;
  for (uint32_t n = 0; n < lines; ++n) {
    const int64_t line = int64_t{start} + n;
    if (line >= outHeight) break;
    const int32_t sourceRow = s.Height - 1 - static_cast<int32_t>(line);
    const size_t bufferRow = topDown ? static_cast<size_t>(outHeight - 1 - line) : static_cast<size_t>(n);
    uint8_t* out = static_cast<uint8_t*>(bits) + (topDown ? bufferRow : n) * stride;
    std::memset(out, 0, stride);
    if (sourceRow < 0 || sourceRow >= s.Height) {
      ++copied;
      continue;
    }
    for (int32_t x = 0; x < width && x < s.Width; ++x) {
      const uint32_t v = ReadPixel(s, x, sourceRow);
      if (outBits == 8) {
        out[x] = static_cast<uint8_t>(v);
        continue;
      }
      const ColorRef c = sim::PixelToColor(s, v);
      const uint32_t r = RedOf(c), g = GreenOf(c), b = BlueOf(c);
      uint8_t* p = out + static_cast<size_t>(x) * (outBits / 8);
      if (outBits == 16) {
        const uint32_t w16 = fields565 ? ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3)
                                       : ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
        p[0] = static_cast<uint8_t>(w16);
        p[1] = static_cast<uint8_t>(w16 >> 8);
      } else {
        p[0] = static_cast<uint8_t>(b);
        p[1] = static_cast<uint8_t>(g);
        p[2] = static_cast<uint8_t>(r);
      }
    }
    ++copied;
  }
  return copied;
}

}  // namespace platform
