// GDI drawing: device contexts, pens, brushes, fonts, bitmaps, palettes and the calls that draw
// with them, one call here for one GDI call, with its arguments, flags and results.
// Handles are plain integers; 0 is the null handle, as on Windows.
#pragma once

#include <cstdint>

namespace platform {

using Hdc = uintptr_t;      // HDC
using HGdiObj = uintptr_t;  // HGDIOBJ
using HPen = HGdiObj;
using HBrush = HGdiObj;
using HFont = HGdiObj;
using HBitmap = HGdiObj;
using HPalette = HGdiObj;
using HInstance = uintptr_t;

// 0x00BBGGRR; with the top byte 0x01 the low 16 bits are an index into the selected palette.
using ColorRef = uint32_t;
constexpr ColorRef Rgb(uint8_t red, uint8_t green, uint8_t blue) {
  return static_cast<ColorRef>(red) | (static_cast<ColorRef>(green) << 8) | (static_cast<ColorRef>(blue) << 16);
}
constexpr ColorRef PaletteIndex(uint16_t index) { return 0x01000000u | index; }
// GetRValue, GetGValue and GetBValue (named apart from the Windows macros).
constexpr uint8_t RedOf(ColorRef color) { return static_cast<uint8_t>(color); }
constexpr uint8_t GreenOf(ColorRef color) { return static_cast<uint8_t>(color >> 8); }
constexpr uint8_t BlueOf(ColorRef color) { return static_cast<uint8_t>(color >> 16); }
constexpr ColorRef ClrInvalid = 0xFFFFFFFF;
constexpr uint32_t GdiError = 0xFFFFFFFF;

struct Rect {
  int32_t Left = 0;
  int32_t Top = 0;
  int32_t Right = 0;
  int32_t Bottom = 0;
};
struct Point {
  int32_t X = 0;
  int32_t Y = 0;
};
struct Size {
  int32_t Cx = 0;
  int32_t Cy = 0;
};

// Pen styles.
constexpr int32_t PsSolid = 0;
constexpr int32_t PsDash = 1;
constexpr int32_t PsDot = 2;
constexpr int32_t PsDashDot = 3;
constexpr int32_t PsDashDotDot = 4;
constexpr int32_t PsNull = 5;

// Stock objects.
constexpr int32_t WhiteBrush = 0;
constexpr int32_t LtGrayBrush = 1;
constexpr int32_t GrayBrush = 2;
constexpr int32_t DkGrayBrush = 3;
constexpr int32_t BlackBrush = 4;
constexpr int32_t NullBrush = 5;
constexpr int32_t WhitePen = 6;
constexpr int32_t BlackPen = 7;
constexpr int32_t NullPen = 8;
constexpr int32_t SystemFont = 13;
constexpr int32_t DefaultPalette = 15;
constexpr int32_t DefaultGuiFont = 17;

// Background modes.
constexpr int32_t Transparent = 1;
constexpr int32_t Opaque = 2;

// Map modes; the layer draws in MM_TEXT only.
constexpr int32_t MmText = 1;

// Raster operations: the high word's low byte is the ternary operation index over pattern,
// source and destination bits.
constexpr uint32_t SrcCopy = 0x00CC0020;
constexpr uint32_t SrcPaint = 0x00EE0086;
constexpr uint32_t SrcAnd = 0x008800C6;
constexpr uint32_t SrcInvert = 0x00660046;
constexpr uint32_t SrcErase = 0x00440328;
constexpr uint32_t NotSrcCopy = 0x00330008;
constexpr uint32_t NotSrcErase = 0x001100A6;
constexpr uint32_t MergeCopy = 0x00C000CA;
constexpr uint32_t MergePaint = 0x00BB0226;
constexpr uint32_t PatCopy = 0x00F00021;
constexpr uint32_t PatPaint = 0x00FB0A09;
constexpr uint32_t PatInvert = 0x005A0049;
constexpr uint32_t DstInvert = 0x00550009;
constexpr uint32_t Blackness = 0x00000042;
constexpr uint32_t Whiteness = 0x00FF0062;

// GetDeviceCaps indices.
constexpr int32_t Technology = 2;
constexpr int32_t HorzSize = 4;
constexpr int32_t VertSize = 6;
constexpr int32_t HorzRes = 8;
constexpr int32_t VertRes = 10;
constexpr int32_t BitsPixel = 12;
constexpr int32_t Planes = 14;
constexpr int32_t NumColors = 24;
constexpr int32_t RasterCaps = 38;
constexpr int32_t LogPixelsX = 88;
constexpr int32_t LogPixelsY = 90;
constexpr int32_t SizePalette = 104;
constexpr int32_t NumReserved = 106;
constexpr int32_t ColorRes = 108;
constexpr int32_t VRefresh = 116;
constexpr int32_t DtRasDisplay = 1;
constexpr int32_t RcPalette = 0x0100;
constexpr int32_t RcBitBlt = 0x0001;

// DrawText formats.
constexpr uint32_t DtTop = 0x0000;
constexpr uint32_t DtLeft = 0x0000;
constexpr uint32_t DtCenter = 0x0001;
constexpr uint32_t DtRight = 0x0002;
constexpr uint32_t DtVCenter = 0x0004;
constexpr uint32_t DtBottom = 0x0008;
constexpr uint32_t DtWordBreak = 0x0010;
constexpr uint32_t DtSingleLine = 0x0020;
constexpr uint32_t DtExpandTabs = 0x0040;
constexpr uint32_t DtNoClip = 0x0100;
constexpr uint32_t DtCalcRect = 0x0400;
constexpr uint32_t DtNoPrefix = 0x0800;
constexpr uint32_t DtEditControl = 0x2000;

// LoadImageA.
constexpr uint32_t ImageBitmap = 0;
constexpr uint32_t LrDefaultColor = 0x0000;
constexpr uint32_t LrLoadFromFile = 0x0010;
constexpr uint32_t LrDefaultSize = 0x0040;
constexpr uint32_t LrCreateDibSection = 0x2000;

// Bitmap formats.
constexpr uint32_t BiRgb = 0;
constexpr uint32_t BiBitfields = 3;
constexpr uint32_t DibRgbColors = 0;
constexpr uint32_t DibPalColors = 1;

// Palette entry flags.
constexpr uint8_t PcReserved = 0x01;
constexpr uint8_t PcExplicit = 0x02;
constexpr uint8_t PcNoCollapse = 0x04;

// Font weights and the longest face name with its terminator.
constexpr int32_t FwNormal = 400;
constexpr int32_t FwBold = 700;
constexpr int32_t LfFaceSize = 32;

// The records below have the layout of their Windows namesakes.
struct LogFontA {
  int32_t Height = 0;
  int32_t Width = 0;
  int32_t Escapement = 0;
  int32_t Orientation = 0;
  int32_t Weight = 0;
  uint8_t Italic = 0;
  uint8_t Underline = 0;
  uint8_t StrikeOut = 0;
  uint8_t CharSet = 0;
  uint8_t OutPrecision = 0;
  uint8_t ClipPrecision = 0;
  uint8_t Quality = 0;
  uint8_t PitchAndFamily = 0;
  char FaceName[LfFaceSize] = {};
};

struct PaletteEntry {  // PALETTEENTRY
  uint8_t Red = 0;
  uint8_t Green = 0;
  uint8_t Blue = 0;
  uint8_t Flags = 0;
};

// LOGPALETTE: callers allocate room for NumEntries entries behind the header.
struct LogPalette {
  uint16_t Version = 0x300;
  uint16_t NumEntries = 0;
  PaletteEntry PalEntry[1];
};

struct Bitmap {  // BITMAP
  int32_t Type = 0;
  int32_t Width = 0;
  int32_t Height = 0;
  int32_t WidthBytes = 0;
  uint16_t Planes = 0;
  uint16_t BitsPixel = 0;
  void* Bits = nullptr;
};

struct LogPen {  // LOGPEN
  uint32_t Style = 0;
  Point Width;
  ColorRef Color = 0;
};

struct LogBrush {  // LOGBRUSH
  uint32_t Style = 0;
  ColorRef Color = 0;
  uintptr_t Hatch = 0;
};

struct BitmapInfoHeader {  // BITMAPINFOHEADER
  uint32_t Size = 0;
  int32_t Width = 0;
  int32_t Height = 0;
  uint16_t Planes = 0;
  uint16_t BitCount = 0;
  uint32_t Compression = 0;
  uint32_t SizeImage = 0;
  int32_t XPelsPerMeter = 0;
  int32_t YPelsPerMeter = 0;
  uint32_t ClrUsed = 0;
  uint32_t ClrImportant = 0;
};

struct RgbQuad {  // RGBQUAD
  uint8_t Blue = 0;
  uint8_t Green = 0;
  uint8_t Red = 0;
  uint8_t Reserved = 0;
};

// BITMAPINFO: callers allocate room for the colour table or the three masks behind the header.
struct BitmapInfo {
  BitmapInfoHeader Header;
  RgbQuad Colors[1];
};

// Device contexts.
Hdc CreateDCA(const char* driver, const char* device, const char* output, const void* initData);
Hdc CreateCompatibleDC(Hdc dc);
bool DeleteDC(Hdc dc);
int32_t SaveDC(Hdc dc);
bool RestoreDC(Hdc dc, int32_t savedDc);
int32_t GetDeviceCaps(Hdc dc, int32_t index);
int32_t GetMapMode(Hdc dc);
int32_t SetMapMode(Hdc dc, int32_t mode);
bool DPtoLP(Hdc dc, Point* points, int32_t count);
bool LPtoDP(Hdc dc, Point* points, int32_t count);

// Objects.
HPen CreatePen(int32_t style, int32_t width, ColorRef color);
HBrush CreateSolidBrush(ColorRef color);
HGdiObj GetStockObject(int32_t index);
HFont CreateFontIndirectA(const LogFontA* font);
HGdiObj SelectObject(Hdc dc, HGdiObj object);
bool DeleteObject(HGdiObj object);
bool UnrealizeObject(HGdiObj object);
// Fills `buffer` with the object's record (BITMAP, LOGFONTA, LOGPEN, LOGBRUSH, or the palette's
// entry count as a 16-bit word); with no buffer returns the size needed.
int32_t GetObjectA(HGdiObj object, int32_t size, void* buffer);

// Drawing attributes.
ColorRef SetBkColor(Hdc dc, ColorRef color);
ColorRef GetBkColor(Hdc dc);
int32_t SetBkMode(Hdc dc, int32_t mode);
int32_t GetBkMode(Hdc dc);
ColorRef SetTextColor(Hdc dc, ColorRef color);
ColorRef GetTextColor(Hdc dc);

// Lines, fills, pixels.
bool MoveToEx(Hdc dc, int32_t x, int32_t y, Point* previous);
bool LineTo(Hdc dc, int32_t x, int32_t y);
// A brush value from 1 to 31 stands for the system colour of that number minus one.
int32_t FillRect(Hdc dc, const Rect* rect, HBrush brush);
// A one-pixel border inside the rectangle.
int32_t FrameRect(Hdc dc, const Rect* rect, HBrush brush);
bool SetPixelV(Hdc dc, int32_t x, int32_t y, ColorRef color);
ColorRef GetPixel(Hdc dc, int32_t x, int32_t y);

// Text; a count of -1 means up to the terminating zero.
bool TextOutA(Hdc dc, int32_t x, int32_t y, const char* text, int32_t count);
bool TextOutW(Hdc dc, int32_t x, int32_t y, const wchar_t* text, int32_t count);
int32_t DrawTextA(Hdc dc, const char* text, int32_t count, Rect* rect, uint32_t format);
int32_t DrawTextW(Hdc dc, const wchar_t* text, int32_t count, Rect* rect, uint32_t format);
bool GetTextExtentPoint32A(Hdc dc, const char* text, int32_t count, Size* size);
bool GetTextExtentPoint32W(Hdc dc, const wchar_t* text, int32_t count, Size* size);

// Bitmaps.
bool BitBlt(Hdc dest, int32_t x, int32_t y, int32_t width, int32_t height, Hdc source, int32_t sourceX,
            int32_t sourceY, uint32_t rop);
HBitmap CreateCompatibleBitmap(Hdc dc, int32_t width, int32_t height);
HGdiObj LoadImageA(HInstance instance, const char* name, uint32_t type, int32_t width, int32_t height,
                   uint32_t flags);
int32_t GetDIBits(Hdc dc, HBitmap bitmap, uint32_t start, uint32_t lines, void* bits, BitmapInfo* info,
                  uint32_t usage);
// Draws `lines` scan lines of a device-independent bitmap, from scan line `startScan` (counted from
// the bottom of the picture); the number drawn. The sim takes 24 and 32-bit BI_RGB bitmaps whole.
int32_t SetDIBitsToDevice(Hdc dc, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t sourceX,
                          int32_t sourceY, uint32_t startScan, uint32_t lines, const void* bits,
                          const BitmapInfo* info, uint32_t usage);

// Palettes.
HPalette CreatePalette(const LogPalette* palette);
HPalette SelectPalette(Hdc dc, HPalette palette, bool forceBackground);
uint32_t RealizePalette(Hdc dc);

}  // namespace platform
