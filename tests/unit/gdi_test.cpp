// The simulated GDI's rasteriser: small pictures whose every pixel is worked out by hand. What
// BltTest, LineTest and PaletteTest draw (the tile table's raster operations, the pens' patterns,
// a realized palette) is pinned by their calibrated pictures end to end; here is what they do not.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"

using namespace platform;
using platform::sim::Surface;

namespace {

constexpr ColorRef kWhite = 0xFFFFFF;
constexpr ColorRef kBlack = 0x000000;
constexpr ColorRef kGrey = 0x808080;

// A surface with a context drawing on all of it, pre-filled with one colour.
struct Canvas {
  Surface Pixels;
  Hdc Dc = 0;
  Canvas(int32_t width, int32_t height, int32_t bits = 32, ColorRef fill = kGrey) {
    Pixels.Allocate(width, height, bits);
    Dc = sim::CreateSurfaceDC(Pixels, {0, 0}, {0, 0, width, height});
    if (bits != 8) Fill(fill);
  }
  ~Canvas() { DeleteDC(Dc); }
  void Fill(ColorRef color) {
    const HBrush brush = CreateSolidBrush(color);
    const Rect all{0, 0, Pixels.Width, Pixels.Height};
    FillRect(Dc, &all, brush);
    DeleteObject(brush);
  }
  // One row as characters: X black, w white, . grey, ? anything else.
  std::string Row(int32_t y) const {
    std::string row;
    for (int32_t x = 0; x < Pixels.Width; ++x) {
      const ColorRef c = GetPixel(Dc, x, y);
      row += c == kBlack ? 'X' : c == kWhite ? 'w' : c == kGrey ? '.' : '?';
    }
    return row;
  }
};

std::string Runs(std::initializer_list<std::pair<int, char>> runs) {
  std::string s;
  for (const auto& run : runs) s += std::string(static_cast<size_t>(run.first), run.second);
  return s;
}

void DrawWithPen(Canvas& canvas, int32_t style, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  const HPen pen = CreatePen(style, 1, kBlack);
  const HGdiObj old = SelectObject(canvas.Dc, pen);
  MoveToEx(canvas.Dc, x0, y0, nullptr);
  LineTo(canvas.Dc, x1, y1);
  SelectObject(canvas.Dc, old);
  DeleteObject(pen);
}

}  // namespace

TEST(GdiLines, SteepLinesStepOnePixelPerRow) {
  Canvas c(3, 5);
  DrawWithPen(c, PsSolid, 0, 0, 1, 4);
  EXPECT_EQ(c.Row(0), "X..");
  EXPECT_EQ(c.Row(1), "X..");
  EXPECT_EQ(c.Row(2), "X..");
  EXPECT_EQ(c.Row(3), ".X.");
  EXPECT_EQ(c.Row(4), "...");
}

// The patterns of the dashed, dotted and dash-dotted pens and where a line stops are pinned by
// LineTest's calibrated pictures; what LineTest does not draw is here.
TEST(GdiLines, ANullPenDrawsNothingAndTransparentGapsAreLeftAlone) {
  Canvas n(50, 1);
  DrawWithPen(n, PsNull, 0, 0, 48, 0);
  EXPECT_EQ(n.Row(0), Runs({{50, '.'}}));
  // Transparent mode leaves the gaps alone.
  Canvas t(50, 1);
  SetBkMode(t.Dc, Transparent);
  DrawWithPen(t, PsDot, 0, 0, 12, 0);
  EXPECT_EQ(t.Row(0), Runs({{3, 'X'}, {3, '.'}, {3, 'X'}, {41, '.'}}));
  // Vertical lines count the pattern along their own axis.
  Canvas v(1, 8);
  DrawWithPen(v, PsDot, 0, 0, 0, 8);
  std::string column;
  for (int32_t y = 0; y < 8; ++y) column += v.Row(y);
  EXPECT_EQ(column, "XXXwwwXX");
}

TEST(GdiLines, PatternCarriesOnAcrossLineToAndRestartsAtMoveTo) {
  Canvas c(12, 2);
  const HPen pen = CreatePen(PsDot, 1, kBlack);
  SelectObject(c.Dc, pen);
  MoveToEx(c.Dc, 0, 0, nullptr);
  LineTo(c.Dc, 4, 0);
  LineTo(c.Dc, 10, 0);
  EXPECT_EQ(c.Row(0), "XXXwwwXXXw..");
  MoveToEx(c.Dc, 0, 1, nullptr);
  LineTo(c.Dc, 4, 1);
  MoveToEx(c.Dc, 4, 1, nullptr);
  LineTo(c.Dc, 10, 1);
  EXPECT_EQ(c.Row(1), "XXXwXXXwww..");
  Point previous;
  MoveToEx(c.Dc, 1, 1, &previous);
  EXPECT_EQ(previous.X, 10);
  EXPECT_EQ(previous.Y, 1);
  SelectObject(c.Dc, GetStockObject(BlackPen));
  DeleteObject(pen);
}

TEST(GdiLines, ContextOriginAndClipApply) {
  Canvas whole(8, 4, 32, kWhite);
  const Hdc dc = sim::CreateSurfaceDC(whole.Pixels, {2, 1}, {2, 1, 6, 3});
  MoveToEx(dc, -2, 0, nullptr);
  LineTo(dc, 8, 0);  // logical row 0 is surface row 1, cut to x 2..5
  EXPECT_EQ(whole.Row(0), "wwwwwwww");
  EXPECT_EQ(whole.Row(1), "wwXXXXww");
  EXPECT_EQ(GetPixel(dc, 0, 0), kBlack);
  EXPECT_EQ(GetPixel(dc, 4, 0), ClrInvalid);  // outside the clip
  EXPECT_FALSE(SetPixelV(dc, -1, 0, kBlack));
  ASSERT_TRUE(SetPixelV(dc, 1, 1, kBlack));
  EXPECT_EQ(whole.Row(2), "wwwXwwww");
  // The placement can move with its window.
  ASSERT_TRUE(sim::SetSurfaceDCPlacement(dc, {0, 0}, {0, 0, 8, 4}));
  SetPixelV(dc, 0, 3, kBlack);
  EXPECT_EQ(whole.Row(3), "Xwwwwwww");
  DeleteDC(dc);
}

TEST(GdiFill, FillRectLeavesRightAndBottomEdgesOut) {
  Canvas c(5, 5);
  const HBrush black = static_cast<HBrush>(GetStockObject(BlackBrush));
  const Rect r{1, 1, 3, 4};
  EXPECT_EQ(FillRect(c.Dc, &r, black), 1);
  EXPECT_EQ(c.Row(0), ".....");
  EXPECT_EQ(c.Row(1), ".XX..");
  EXPECT_EQ(c.Row(3), ".XX..");
  EXPECT_EQ(c.Row(4), ".....");
  // Empty, inverted and null-brush rectangles draw nothing.
  const Rect inverted{4, 4, 2, 2};
  FillRect(c.Dc, &inverted, black);
  FillRect(c.Dc, &r, GetStockObject(NullBrush));
  EXPECT_EQ(c.Row(4), ".....");
  // A system colour number plus one stands for that colour: COLOR_BTNFACE.
  const Rect all{0, 0, 5, 5};
  FillRect(c.Dc, &all, 16);
  EXPECT_EQ(GetPixel(c.Dc, 2, 2), sim::SystemColor(15));
}

TEST(GdiBlt, OperationsOnEightBitsWorkOnIndicesAndKeepTheUnusedByte) {
  Canvas c8(1, 1, 8);
  c8.Pixels.Row(0)[0] = 5;
  BitBlt(c8.Dc, 0, 0, 1, 1, 0, 0, 0, DstInvert);
  EXPECT_EQ(c8.Pixels.Row(0)[0], 250);
  BitBlt(c8.Dc, 0, 0, 1, 1, 0, 0, 0, Whiteness);
  EXPECT_EQ(c8.Pixels.Row(0)[0], 255);
  Canvas c32(1, 1, 32, kBlack);
  BitBlt(c32.Dc, 0, 0, 1, 1, 0, 0, 0, DstInvert);
  EXPECT_EQ(c32.Pixels.Row(0)[3], 0);
  EXPECT_EQ(GetPixel(c32.Dc, 0, 0), kWhite);
}

TEST(GdiBlt, OverlappingCopiesAndEdgeTilesAreExact) {
  Canvas c(6, 2);
  SetPixelV(c.Dc, 0, 0, kBlack);
  SetPixelV(c.Dc, 2, 0, kWhite);
  // Row 0 is "X.w..." ; copying x 0..3 one to the right reads each pixel before it is overwritten.
  BitBlt(c.Dc, 1, 0, 4, 1, c.Dc, 0, 0, SrcCopy);
  EXPECT_EQ(c.Row(0), "XX.w..");
  // Downward by one row, then a tile hanging over the right edge is cut there.
  BitBlt(c.Dc, 3, 1, 4, 1, c.Dc, 0, 0, SrcCopy);
  EXPECT_EQ(c.Row(1), "...XX.");
  // A source rectangle partly outside its bitmap only copies what exists.
  Canvas small(2, 1, 32, kBlack);
  Canvas big(4, 1);
  BitBlt(big.Dc, 0, 0, 4, 1, small.Dc, 0, 0, SrcCopy);
  EXPECT_EQ(big.Row(0), "XX..");
  // Copies between depths go through the colour.
  Canvas c16(2, 1, 16, kBlack);
  BitBlt(c16.Dc, 0, 0, 1, 1, c.Dc, 3, 0, SrcCopy);
  EXPECT_EQ(GetPixel(c16.Dc, 0, 0), kWhite);
}

TEST(GdiPalette, PaletteIndexOnTrueColourTakesTheEntryColour) {
  Canvas c(1, 1, 32);
  // The default palette's entry 13 is pure red.
  SetPixelV(c.Dc, 0, 0, PaletteIndex(13));
  EXPECT_EQ(GetPixel(c.Dc, 0, 0), Rgb(255, 0, 0));
  LogPalette one;
  one.NumEntries = 1;
  one.PalEntry[0] = PaletteEntry{1, 2, 3, 0};
  const HPalette palette = CreatePalette(&one);
  SelectPalette(c.Dc, palette, false);
  EXPECT_EQ(RealizePalette(c.Dc), 0u);  // nothing to map on a true-colour device
  SetPixelV(c.Dc, 0, 0, PaletteIndex(0));
  EXPECT_EQ(GetPixel(c.Dc, 0, 0), Rgb(1, 2, 3));
  SelectPalette(c.Dc, GetStockObject(DefaultPalette), false);
  DeleteObject(palette);
  LogPalette bad;
  bad.Version = 0x200;
  bad.NumEntries = 1;
  EXPECT_EQ(CreatePalette(&bad), 0u);
}

TEST(GdiDc, StateSavesRestoresAndReportsTheDevice) {
  Canvas c(640, 480, 16);
  EXPECT_EQ(GetDeviceCaps(c.Dc, HorzRes), 640);
  EXPECT_EQ(GetDeviceCaps(c.Dc, VertRes), 480);
  EXPECT_EQ(GetDeviceCaps(c.Dc, BitsPixel), 16);
  EXPECT_EQ(GetDeviceCaps(c.Dc, LogPixelsY), 96);
  const int32_t saved = SaveDC(c.Dc);
  EXPECT_EQ(saved, 1);
  SetBkColor(c.Dc, 0x123456);
  SetTextColor(c.Dc, 0x00FF00);
  const HPen pen = CreatePen(PsDash, 1, kWhite);
  SelectObject(c.Dc, pen);
  DeleteObject(pen);  // still selected: lives on until the context lets go
  LogPen log;
  EXPECT_EQ(GetObjectA(pen, sizeof log, &log), static_cast<int32_t>(sizeof log));
  EXPECT_TRUE(RestoreDC(c.Dc, -1));
  EXPECT_EQ(GetBkColor(c.Dc), kWhite);
  EXPECT_EQ(GetTextColor(c.Dc), kBlack);
  EXPECT_EQ(GetObjectA(pen, sizeof log, &log), 0);  // freed once deselected
  EXPECT_FALSE(RestoreDC(c.Dc, -1));
  Point p{7, 9};
  EXPECT_TRUE(DPtoLP(c.Dc, &p, 1));
  EXPECT_EQ(p.X, 7);
  EXPECT_EQ(GetMapMode(c.Dc), MmText);
}

TEST(GdiDc, DisplayContextsFollowTheDisplaySurface) {
  EXPECT_EQ(CreateDCA("DISPLAY", nullptr, nullptr, nullptr), 0u);
  Surface display;
  display.Allocate(320, 200, 16);
  sim::SetDisplaySurface([&display] { return &display; });
  const Hdc dc = CreateDCA("Display", nullptr, nullptr, nullptr);
  ASSERT_NE(dc, 0u);
  EXPECT_EQ(GetDeviceCaps(dc, HorzRes), 320);
  const Hdc memory = CreateCompatibleDC(0);
  EXPECT_EQ(GetDeviceCaps(memory, BitsPixel), 16);
  EXPECT_EQ(GetDeviceCaps(memory, VertRes), 200);
  display.Allocate(800, 600, 32);  // a mode change
  EXPECT_EQ(GetDeviceCaps(dc, HorzRes), 800);
  EXPECT_EQ(GetDeviceCaps(dc, BitsPixel), 32);
  DeleteDC(memory);
  DeleteDC(dc);
  sim::SetDisplaySurface(nullptr);
}
