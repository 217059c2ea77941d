// GDI drawing on Windows: each call passes straight to gdi32/user32. The layer's records have the
// layout of the Windows ones, so pointers pass through unchanged.
#include "platform/gdi.h"

#include <windows.h>

namespace platform {

static_assert(sizeof(Rect) == sizeof(RECT), "RECT layout");
static_assert(sizeof(Point) == sizeof(POINT), "POINT layout");
static_assert(sizeof(Size) == sizeof(SIZE), "SIZE layout");
static_assert(sizeof(LogFontA) == sizeof(LOGFONTA), "LOGFONTA layout");
static_assert(sizeof(PaletteEntry) == sizeof(PALETTEENTRY), "PALETTEENTRY layout");
static_assert(sizeof(LogPalette) == sizeof(LOGPALETTE), "LOGPALETTE layout");
static_assert(sizeof(Bitmap) == sizeof(BITMAP), "BITMAP layout");
static_assert(sizeof(BitmapInfoHeader) == sizeof(BITMAPINFOHEADER), "BITMAPINFOHEADER layout");
static_assert(sizeof(BitmapInfo) == sizeof(BITMAPINFO), "BITMAPINFO layout");
static_assert(sizeof(wchar_t) == sizeof(WCHAR), "wide text is UTF-16");

namespace {

HDC D(Hdc dc) { return reinterpret_cast<HDC>(dc); }
HGDIOBJ O(HGdiObj object) { return reinterpret_cast<HGDIOBJ>(object); }
template <typename T>
uintptr_t H(T handle) {
  return reinterpret_cast<uintptr_t>(handle);
}

}  // namespace

Hdc CreateDCA(const char* driver, const char* device, const char* output, const void* initData) {
  return H(::CreateDCA(driver, device, output, static_cast<const DEVMODEA*>(initData)));
}
Hdc CreateCompatibleDC(Hdc dc) { return H(::CreateCompatibleDC(D(dc))); }
bool DeleteDC(Hdc dc) { return ::DeleteDC(D(dc)) != FALSE; }
int32_t SaveDC(Hdc dc) { return ::SaveDC(D(dc)); }
bool RestoreDC(Hdc dc, int32_t savedDc) { return ::RestoreDC(D(dc), savedDc) != FALSE; }
int32_t GetDeviceCaps(Hdc dc, int32_t index) { return ::GetDeviceCaps(D(dc), index); }
int32_t GetMapMode(Hdc dc) { return ::GetMapMode(D(dc)); }
int32_t SetMapMode(Hdc dc, int32_t mode) { return ::SetMapMode(D(dc), mode); }
bool DPtoLP(Hdc dc, Point* points, int32_t count) {
  return ::DPtoLP(D(dc), reinterpret_cast<POINT*>(points), count) != FALSE;
}
bool LPtoDP(Hdc dc, Point* points, int32_t count) {
  return ::LPtoDP(D(dc), reinterpret_cast<POINT*>(points), count) != FALSE;
}

HPen CreatePen(int32_t style, int32_t width, ColorRef color) { return H(::CreatePen(style, width, color)); }
HBrush CreateSolidBrush(ColorRef color) { return H(::CreateSolidBrush(color)); }
HGdiObj GetStockObject(int32_t index) { return H(::GetStockObject(index)); }
HFont CreateFontIndirectA(const LogFontA* font) {
  return H(::CreateFontIndirectA(reinterpret_cast<const LOGFONTA*>(font)));
}
HGdiObj SelectObject(Hdc dc, HGdiObj object) { return H(::SelectObject(D(dc), O(object))); }
bool DeleteObject(HGdiObj object) { return ::DeleteObject(O(object)) != FALSE; }
bool UnrealizeObject(HGdiObj object) { return ::UnrealizeObject(O(object)) != FALSE; }
int32_t GetObjectA(HGdiObj object, int32_t size, void* buffer) { return ::GetObjectA(O(object), size, buffer); }

ColorRef SetBkColor(Hdc dc, ColorRef color) { return ::SetBkColor(D(dc), color); }
ColorRef GetBkColor(Hdc dc) { return ::GetBkColor(D(dc)); }
int32_t SetBkMode(Hdc dc, int32_t mode) { return ::SetBkMode(D(dc), mode); }
int32_t GetBkMode(Hdc dc) { return ::GetBkMode(D(dc)); }
ColorRef SetTextColor(Hdc dc, ColorRef color) { return ::SetTextColor(D(dc), color); }
ColorRef GetTextColor(Hdc dc) { return ::GetTextColor(D(dc)); }

bool MoveToEx(Hdc dc, int32_t x, int32_t y, Point* previous) {
  return ::MoveToEx(D(dc), x, y, reinterpret_cast<POINT*>(previous)) != FALSE;
}
bool LineTo(Hdc dc, int32_t x, int32_t y) { return ::LineTo(D(dc), x, y) != FALSE; }
int32_t FillRect(Hdc dc, const Rect* rect, HBrush brush) {
  return ::FillRect(D(dc), reinterpret_cast<const RECT*>(rect), reinterpret_cast<HBRUSH>(brush));
}
int32_t FrameRect(Hdc dc, const Rect* rect, HBrush brush) {
  return ::FrameRect(D(dc), reinterpret_cast<const RECT*>(rect), reinterpret_cast<HBRUSH>(brush));
}
bool SetPixelV(Hdc dc, int32_t x, int32_t y, ColorRef color) { return ::SetPixelV(D(dc), x, y, color) != FALSE; }
ColorRef GetPixel(Hdc dc, int32_t x, int32_t y) { return ::GetPixel(D(dc), x, y); }

bool TextOutA(Hdc dc, int32_t x, int32_t y, const char* text, int32_t count) {
  if (count < 0) count = text != nullptr ? static_cast<int32_t>(lstrlenA(text)) : 0;
  return ::TextOutA(D(dc), x, y, text, count) != FALSE;
}
bool TextOutW(Hdc dc, int32_t x, int32_t y, const wchar_t* text, int32_t count) {
  if (count < 0) count = text != nullptr ? static_cast<int32_t>(lstrlenW(text)) : 0;
  return ::TextOutW(D(dc), x, y, text, count) != FALSE;
}
int32_t DrawTextA(Hdc dc, const char* text, int32_t count, Rect* rect, uint32_t format) {
  return ::DrawTextA(D(dc), text, count, reinterpret_cast<RECT*>(rect), format);
}
int32_t DrawTextW(Hdc dc, const wchar_t* text, int32_t count, Rect* rect, uint32_t format) {
  return ::DrawTextW(D(dc), text, count, reinterpret_cast<RECT*>(rect), format);
}
bool GetTextExtentPoint32A(Hdc dc, const char* text, int32_t count, Size* size) {
  if (count < 0) count = text != nullptr ? static_cast<int32_t>(lstrlenA(text)) : 0;
  return ::GetTextExtentPoint32A(D(dc), text, count, reinterpret_cast<SIZE*>(size)) != FALSE;
}
bool GetTextExtentPoint32W(Hdc dc, const wchar_t* text, int32_t count, Size* size) {
  if (count < 0) count = text != nullptr ? static_cast<int32_t>(lstrlenW(text)) : 0;
  return ::GetTextExtentPoint32W(D(dc), text, count, reinterpret_cast<SIZE*>(size)) != FALSE;
}

bool BitBlt(Hdc dest, int32_t x, int32_t y, int32_t width, int32_t height, Hdc source, int32_t sourceX,
            int32_t sourceY, uint32_t rop) {
  return ::BitBlt(D(dest), x, y, width, height, D(source), sourceX, sourceY, rop) != FALSE;
}
HBitmap CreateCompatibleBitmap(Hdc dc, int32_t width, int32_t height) {
  return H(::CreateCompatibleBitmap(D(dc), width, height));
}
HGdiObj LoadImageA(HInstance instance, const char* name, uint32_t type, int32_t width, int32_t height,
                   uint32_t flags) {
  return H(::LoadImageA(reinterpret_cast<HINSTANCE>(instance), name, type, width, height, flags));
}
int32_t SetDIBitsToDevice(Hdc dc, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t sourceX,
                          int32_t sourceY, uint32_t startScan, uint32_t lines, const void* bits,
                          const BitmapInfo* info, uint32_t usage) {
  return ::SetDIBitsToDevice(D(dc), x, y, width, height, sourceX, sourceY, startScan, lines, bits,
                             reinterpret_cast<const BITMAPINFO*>(info), usage);
}

int32_t GetDIBits(Hdc dc, HBitmap bitmap, uint32_t start, uint32_t lines, void* bits, BitmapInfo* info,
                  uint32_t usage) {
  return ::GetDIBits(D(dc), reinterpret_cast<HBITMAP>(bitmap), start, lines, bits,
                     reinterpret_cast<BITMAPINFO*>(info), usage);
}

HPalette CreatePalette(const LogPalette* palette) {
  return H(::CreatePalette(reinterpret_cast<const LOGPALETTE*>(palette)));
}
HPalette SelectPalette(Hdc dc, HPalette palette, bool forceBackground) {
  return H(::SelectPalette(D(dc), reinterpret_cast<HPALETTE>(palette), forceBackground ? TRUE : FALSE));
}
uint32_t RealizePalette(Hdc dc) { return ::RealizePalette(D(dc)); }

}  // namespace platform
