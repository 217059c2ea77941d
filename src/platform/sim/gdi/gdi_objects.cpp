// The sim GDI's objects and device contexts: handles, stock objects, selection, saved states,
// device capabilities and logical palettes.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform/sim/gdi/gdi_internal.h"

namespace platform {
namespace sim {
namespace gdi {

namespace {

struct Table {
  std::unordered_map<uintptr_t, Object> Objects;
  std::unordered_map<uintptr_t, Dc> Dcs;
  uintptr_t Next = 0x10000;
  HGdiObj Stock[20] = {};
  HBitmap StockBitmap = 0;
  std::function<Surface*()> Display;
};

Table& State() {
  static Table table;
  return table;
}

// The twenty static colours of the default palette, in Windows' order.
const platform::PaletteEntry kDefaultPalette[20] = {
    {0, 0, 0, 0},       {128, 0, 0, 0},     {0, 128, 0, 0},     {128, 128, 0, 0},   {0, 0, 128, 0},
    {128, 0, 128, 0},   {0, 128, 128, 0},   {192, 192, 192, 0}, {192, 220, 192, 0}, {166, 202, 240, 0},
    {255, 251, 240, 0}, {160, 160, 164, 0}, {128, 128, 128, 0}, {255, 0, 0, 0},     {0, 255, 0, 0},
    {255, 255, 0, 0},   {0, 0, 255, 0},     {255, 0, 255, 0},   {0, 255, 255, 0},   {255, 255, 255, 0}};

HGdiObj NewHandle() {
  Table& t = State();
  const uintptr_t handle = t.Next;
  t.Next += 4;
  return handle;
}

Object MakeFont(int32_t height, int32_t weight, const char* face) {
  Object font;
  font.Type = Kind::Font;
  font.Font.Height = height;
  font.Font.Weight = weight;
  std::strncpy(font.Font.FaceName, face, LfFaceSize - 1);
  return font;
}

void EnsureStock() {
  Table& t = State();
  if (t.Stock[WhiteBrush] != 0) return;
  auto add = [&](int32_t index, Object object) {
    object.Stock = true;
    const HGdiObj handle = NewHandle();
    t.Objects.emplace(handle, std::move(object));
    t.Stock[index] = handle;
  };
  auto brush = [](ColorRef color, bool null) {
    Object o;
    o.Type = Kind::Brush;
    o.Color = color;
    o.NullBrush = null;
    return o;
  };
  auto pen = [](int32_t style, ColorRef color) {
    Object o;
    o.Type = Kind::Pen;
    o.PenStyle = style;
    o.Color = color;
    return o;
  };
  add(WhiteBrush, brush(0xFFFFFF, false));
  add(LtGrayBrush, brush(0xC0C0C0, false));
  add(GrayBrush, brush(0x808080, false));
  add(DkGrayBrush, brush(0x404040, false));
  add(BlackBrush, brush(0x000000, false));
  add(NullBrush, brush(0, true));
  add(WhitePen, pen(PsSolid, 0xFFFFFF));
  add(BlackPen, pen(PsSolid, 0x000000));
  add(NullPen, pen(PsNull, 0));
  add(SystemFont, MakeFont(16, FwBold, "System"));
  add(DefaultGuiFont, MakeFont(-11, FwNormal, "MS Shell Dlg"));
  Object palette;
  palette.Type = Kind::Palette;
  palette.Entries.assign(std::begin(kDefaultPalette), std::end(kDefaultPalette));
  add(DefaultPalette, std::move(palette));
  // Memory contexts start on a 1x1 bitmap (Windows' is monochrome; here it has the common depth).
  Object bitmap;
  bitmap.Type = Kind::Bitmap;
  bitmap.Stock = true;
  bitmap.Pixels = std::make_unique<Surface>();
  bitmap.Pixels->Allocate(1, 1, 32);
  t.StockBitmap = NewHandle();
  t.Objects.emplace(t.StockBitmap, std::move(bitmap));
}

DcState DefaultState(bool memory) {
  EnsureStock();
  const Table& t = State();
  DcState s;
  s.Pen = t.Stock[BlackPen];
  s.Brush = t.Stock[WhiteBrush];
  s.Font = t.Stock[SystemFont];
  s.Palette = t.Stock[DefaultPalette];
  s.Bitmap = memory ? t.StockBitmap : 0;
  return s;
}

void Release(HGdiObj handle) {
  Object* object = FindObject(handle);
  if (object == nullptr) return;
  if (object->SelectCount > 0) --object->SelectCount;
  if (object->SelectCount == 0 && object->DeletePending) {
    if (object->Pixels) ForgetSurfaceRuns(object->Pixels.get());
    State().Objects.erase(handle);
  }
}

void Hold(HGdiObj handle) {
  Object* object = FindObject(handle);
  if (object != nullptr) ++object->SelectCount;
}

void HoldAll(const DcState& s) {
  for (HGdiObj h : {s.Pen, s.Brush, s.Font, s.Bitmap, s.Palette}) Hold(h);
}
void ReleaseAll(const DcState& s) {
  for (HGdiObj h : {s.Pen, s.Brush, s.Font, s.Bitmap, s.Palette}) Release(h);
}

Hdc AddDc(Dc dc) {
  HoldAll(dc.State);
  const Hdc handle = NewHandle();
  State().Dcs.emplace(handle, std::move(dc));
  return handle;
}

int32_t RoundDiv(int64_t a, int64_t b) { return static_cast<int32_t>((a + b / 2) / b); }

}  // namespace

std::mutex& Lock() {
  static std::mutex mutex;
  return mutex;
}

Object* FindObject(HGdiObj handle) {
  EnsureStock();
  auto it = State().Objects.find(handle);
  return it == State().Objects.end() ? nullptr : &it->second;
}

Dc* FindDc(Hdc handle) {
  auto it = State().Dcs.find(handle);
  return it == State().Dcs.end() ? nullptr : &it->second;
}

HGdiObj AddObject(Object object) {
  EnsureStock();
  const HGdiObj handle = NewHandle();
  State().Objects.emplace(handle, std::move(object));
  return handle;
}

Surface* DisplaySurface() {
  const Table& t = State();
  return t.Display ? t.Display() : nullptr;
}

int32_t DisplayBits() {
  const Surface* display = DisplaySurface();
  return display != nullptr ? display->Bits : 32;
}

bool ResolveTarget(const Dc& dc, Target& target) {
  Surface* surface = nullptr;
  Rect clip{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
  if (dc.Memory) {
    const Object* bitmap = FindObject(dc.State.Bitmap);
    if (bitmap == nullptr || !bitmap->Pixels) return false;
    surface = bitmap->Pixels.get();
  } else if (dc.Display) {
    surface = DisplaySurface();
  } else {
    surface = dc.External;
    clip = dc.Clip;
  }
  if (surface == nullptr) return false;
  target.Pixels = surface;
  target.OriginX = dc.Memory || dc.Display ? 0 : dc.Origin.X;
  target.OriginY = dc.Memory || dc.Display ? 0 : dc.Origin.Y;
  target.Clip = Intersect(clip, Rect{0, 0, surface->Width, surface->Height});
  return true;
}

uint32_t DcColorToPixel(const Dc& dc, const Surface& surface, ColorRef color) {
  if ((color >> 24) == 1) {
    const Object* palette = FindObject(dc.State.Palette);
    const uint32_t index = color & 0xFFFF;
    if (palette == nullptr || palette->Entries.empty()) return ColorToPixel(surface, 0);
    // A realized palette is laid 1:1 over the hardware palette (see RealizePalette).
    if (surface.Bits == 8 && dc.State.PaletteRealized && !palette->Stock) {
      return index < palette->Entries.size() && index < 256 ? index : 0;
    }
    const platform::PaletteEntry& e = index < palette->Entries.size() ? palette->Entries[index] : palette->Entries[0];
    return ColorToPixel(surface, Rgb(e.Red, e.Green, e.Blue));
  }
  return ColorToPixel(surface, color & 0xFFFFFF);
}

}  // namespace gdi

using namespace gdi;

Hdc CreateSurfaceDC(Surface& surface, Point origin, const Rect& clip) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc dc;
  dc.External = &surface;
  dc.Origin = origin;
  dc.Clip = clip;
  dc.Bits = surface.Bits;
  dc.State = DefaultState(false);
  return AddDc(std::move(dc));
}

bool SetSurfaceDCPlacement(Hdc handle, Point origin, const Rect& clip) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr || dc->External == nullptr) return false;
  dc->Origin = origin;
  dc->Clip = clip;
  return true;
}

void SetDisplaySurface(std::function<Surface*()> provider) {
  std::lock_guard<std::mutex> lock(Lock());
  State().Display = std::move(provider);
}

Surface* BitmapSurface(HBitmap bitmap) {
  std::lock_guard<std::mutex> lock(Lock());
  Object* object = FindObject(bitmap);
  return object != nullptr && object->Type == Kind::Bitmap ? object->Pixels.get() : nullptr;
}

ColorRef SystemColor(int32_t index) {
  switch (index) {
    case 1: return 0x000000;   // COLOR_BACKGROUND
    case 4: return 0xF0F0F0;   // COLOR_MENU
    case 5: return 0xFFFFFF;   // COLOR_WINDOW
    case 6: return 0x646464;   // COLOR_WINDOWFRAME
    case 7: return 0x000000;   // COLOR_MENUTEXT
    case 8: return 0x000000;   // COLOR_WINDOWTEXT
    case 12: return 0xABABAB;  // COLOR_APPWORKSPACE
    case 13: return 0xFF9933;  // COLOR_HIGHLIGHT
    case 14: return 0xFFFFFF;  // COLOR_HIGHLIGHTTEXT
    case 15: return 0xF0F0F0;  // COLOR_BTNFACE
    case 16: return 0xA0A0A0;  // COLOR_BTNSHADOW
    case 17: return 0x6D6D6D;  // COLOR_GRAYTEXT
    case 18: return 0x000000;  // COLOR_BTNTEXT
    case 20: return 0xFFFFFF;  // COLOR_BTNHIGHLIGHT
    default: return 0xC0C0C0;
  }
}

}  // namespace sim

using namespace sim::gdi;

Hdc CreateDCA(const char* driver, const char* device, const char*, const void*) {
  std::lock_guard<std::mutex> lock(Lock());
  const char* name = driver != nullptr ? driver : device;
  if (name == nullptr) return 0;
  std::string upper(name);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (upper != "DISPLAY" && upper != "\\\\.\\DISPLAY1") return 0;
  const sim::Surface* display = DisplaySurface();
  if (display == nullptr) return 0;
  Dc dc;
  dc.Display = true;
  dc.Bits = display->Bits;
  dc.State = DefaultState(false);
  return AddDc(std::move(dc));
}

Hdc CreateCompatibleDC(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc dc;
  dc.Memory = true;
  if (handle == 0) {
    dc.Bits = DisplayBits();
  } else {
    const Dc* source = FindDc(handle);
    if (source == nullptr) return 0;
    Target target;
    dc.Bits = !source->Memory && ResolveTarget(*source, target) ? target.Pixels->Bits : source->Bits;
  }
  dc.State = DefaultState(true);
  return AddDc(std::move(dc));
}

bool DeleteDC(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return false;
  ReleaseAll(dc->State);
  sim::gdi::State().Dcs.erase(handle);
  return true;
}

int32_t SaveDC(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return 0;
  dc->Saved.push_back(dc->State);
  return static_cast<int32_t>(dc->Saved.size());
}

bool RestoreDC(Hdc handle, int32_t savedDc) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return false;
  const int32_t depth = static_cast<int32_t>(dc->Saved.size());
  const int32_t level = savedDc < 0 ? depth + savedDc + 1 : savedDc;
  if (level < 1 || level > depth) return false;
  DcState restored = dc->Saved[static_cast<size_t>(level - 1)];
  dc->Saved.resize(static_cast<size_t>(level - 1));
  // Objects deleted since the save give way to the defaults.
  const DcState defaults = DefaultState(dc->Memory);
  for (auto field : {&DcState::Pen, &DcState::Brush, &DcState::Font, &DcState::Bitmap, &DcState::Palette}) {
    const Object* object = FindObject(restored.*field);
    if (object == nullptr || object->DeletePending) restored.*field = defaults.*field;
  }
  ReleaseAll(dc->State);
  HoldAll(restored);
  dc->State = restored;
  return true;
}

int32_t GetDeviceCaps(Hdc handle, int32_t index) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  if (dc == nullptr) return 0;
  Target target;
  const bool hasTarget = ResolveTarget(*dc, target);
  // Sizes are those of the device; a memory context reports the display's.
  const sim::Surface* device = dc->Memory ? DisplaySurface() : (hasTarget ? target.Pixels : nullptr);
  if (device == nullptr && hasTarget) device = target.Pixels;
  const int32_t width = device != nullptr ? device->Width : 0;
  const int32_t height = device != nullptr ? device->Height : 0;
  const int32_t bits = dc->Memory ? dc->Bits : (hasTarget ? target.Pixels->Bits : dc->Bits);
  switch (index) {
    case Technology: return DtRasDisplay;
    case HorzSize: return RoundDiv(int64_t{width} * 254, 960);
    case VertSize: return RoundDiv(int64_t{height} * 254, 960);
    case HorzRes: return width;
    case VertRes: return height;
    case BitsPixel: return bits;
    case Planes: return 1;
    case NumColors: return bits == 8 ? 20 : -1;
    case RasterCaps: return RcBitBlt | (bits == 8 ? RcPalette : 0);
    case LogPixelsX:
    case LogPixelsY: return 96;
    case SizePalette: return bits == 8 ? 256 : 0;
    case NumReserved: return bits == 8 ? 20 : 0;
    case ColorRes: return bits == 8 ? 18 : bits;
    case VRefresh: return 60;
    default: return 0;
  }
}

int32_t GetMapMode(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  return dc != nullptr ? dc->State.MapMode : 0;
}

int32_t SetMapMode(Hdc handle, int32_t mode) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr || mode < 1 || mode > 8) return 0;
  const int32_t previous = dc->State.MapMode;
  dc->State.MapMode = mode;
  return previous;
}

// Only MM_TEXT without window or viewport origins is drawn, so the conversions are identities.
bool DPtoLP(Hdc handle, Point* points, int32_t count) {
  std::lock_guard<std::mutex> lock(Lock());
  return FindDc(handle) != nullptr && (points != nullptr || count == 0);
}

bool LPtoDP(Hdc handle, Point* points, int32_t count) {
  std::lock_guard<std::mutex> lock(Lock());
  return FindDc(handle) != nullptr && (points != nullptr || count == 0);
}

HPen CreatePen(int32_t style, int32_t width, ColorRef color) {
  std::lock_guard<std::mutex> lock(Lock());
  if (style < PsSolid || style > 6) return 0;
  Object pen;
  pen.Type = Kind::Pen;
  pen.PenStyle = style;
  pen.PenWidth = width < 1 ? 1 : width;
  pen.Color = color;
  return AddObject(std::move(pen));
}

HBrush CreateSolidBrush(ColorRef color) {
  std::lock_guard<std::mutex> lock(Lock());
  Object brush;
  brush.Type = Kind::Brush;
  brush.Color = color;
  return AddObject(std::move(brush));
}

HGdiObj GetStockObject(int32_t index) {
  std::lock_guard<std::mutex> lock(Lock());
  EnsureStock();
  if (index < 0 || index >= 20) return 0;
  return sim::gdi::State().Stock[index];
}

HFont CreateFontIndirectA(const LogFontA* font) {
  std::lock_guard<std::mutex> lock(Lock());
  if (font == nullptr) return 0;
  Object object;
  object.Type = Kind::Font;
  object.Font = *font;
  object.Font.FaceName[LfFaceSize - 1] = '\0';
  return AddObject(std::move(object));
}

HGdiObj SelectObject(Hdc handle, HGdiObj objectHandle) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  Object* object = FindObject(objectHandle);
  if (dc == nullptr || object == nullptr || object->DeletePending) return 0;
  HGdiObj* slot = nullptr;
  switch (object->Type) {
    case Kind::Pen: slot = &dc->State.Pen; break;
    case Kind::Brush: slot = &dc->State.Brush; break;
    case Kind::Font: slot = &dc->State.Font; break;
    case Kind::Palette: return 0;  // palettes go through SelectPalette
    case Kind::Bitmap:
      // Only memory contexts hold bitmaps, and a bitmap sits in one context at a time.
      if (!dc->Memory) return 0;
      if (!object->Stock && object->SelectCount > 0 && dc->State.Bitmap != objectHandle) return 0;
      slot = &dc->State.Bitmap;
      break;
  }
  const HGdiObj previous = *slot;
  if (previous == objectHandle) return previous;
  *slot = objectHandle;
  Hold(objectHandle);
  Release(previous);
  return previous;
}

bool DeleteObject(HGdiObj handle) {
  std::lock_guard<std::mutex> lock(Lock());
  Object* object = FindObject(handle);
  if (object == nullptr) return false;
  if (object->Stock) return true;
  if (object->SelectCount > 0) {
    object->DeletePending = true;
    return true;
  }
  if (object->Pixels) ForgetSurfaceRuns(object->Pixels.get());
  sim::gdi::State().Objects.erase(handle);
  return true;
}

bool UnrealizeObject(HGdiObj handle) {
  std::lock_guard<std::mutex> lock(Lock());
  const Object* object = FindObject(handle);
  if (object == nullptr) return false;
  if (object->Type == Kind::Palette) {
    for (auto& entry : sim::gdi::State().Dcs) {
      if (entry.second.State.Palette == handle) entry.second.State.PaletteRealized = false;
    }
    return true;
  }
  return object->Type == Kind::Brush;
}

int32_t GetObjectA(HGdiObj handle, int32_t size, void* buffer) {
  std::lock_guard<std::mutex> lock(Lock());
  const Object* object = FindObject(handle);
  if (object == nullptr) return 0;
  auto give = [&](const void* record, size_t recordSize) -> int32_t {
    if (buffer == nullptr) return static_cast<int32_t>(recordSize);
    if (size < 0) return 0;
    const size_t n = std::min(recordSize, static_cast<size_t>(size));
    std::memcpy(buffer, record, n);
    return static_cast<int32_t>(n);
  };
  switch (object->Type) {
    case Kind::Bitmap: {
      Bitmap b;
      b.Width = object->Pixels->Width;
      b.Height = object->Pixels->Height;
      b.Planes = 1;
      b.BitsPixel = static_cast<uint16_t>(object->Pixels->Bits);
      // Device-dependent bitmaps have rows padded to 16 bits.
      b.WidthBytes = (b.Width * b.BitsPixel + 15) / 16 * 2;
      if (buffer != nullptr && size < static_cast<int32_t>(sizeof(Bitmap))) return 0;
      return give(&b, sizeof b);
    }
    case Kind::Font: return give(&object->Font, sizeof(LogFontA));
    case Kind::Pen: {
      LogPen p;
      p.Style = static_cast<uint32_t>(object->PenStyle);
      p.Width.X = object->PenWidth;
      p.Color = object->Color;
      return give(&p, sizeof p);
    }
    case Kind::Brush: {
      LogBrush b;
      b.Style = object->NullBrush ? 1u : 0u;
      b.Color = object->Color;
      return give(&b, sizeof b);
    }
    case Kind::Palette: {
      const uint16_t count = static_cast<uint16_t>(object->Entries.size());
      return give(&count, sizeof count);
    }
  }
  return 0;
}

ColorRef SetBkColor(Hdc handle, ColorRef color) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return ClrInvalid;
  return std::exchange(dc->State.BkColor, color);
}

ColorRef GetBkColor(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  return dc != nullptr ? dc->State.BkColor : ClrInvalid;
}

int32_t SetBkMode(Hdc handle, int32_t mode) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr || (mode != Transparent && mode != Opaque)) return 0;
  return std::exchange(dc->State.BkMode, mode);
}

int32_t GetBkMode(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  return dc != nullptr ? dc->State.BkMode : 0;
}

ColorRef SetTextColor(Hdc handle, ColorRef color) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return ClrInvalid;
  return std::exchange(dc->State.TextColor, color);
}

ColorRef GetTextColor(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  return dc != nullptr ? dc->State.TextColor : ClrInvalid;
}

HBitmap CreateCompatibleBitmap(Hdc handle, int32_t width, int32_t height) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  if (dc == nullptr || width < 0 || height < 0) return 0;
  if (width == 0 || height == 0) return sim::gdi::State().StockBitmap;
  Target target;
  const bool hasTarget = ResolveTarget(*dc, target);
  const int32_t bits = dc->Memory ? dc->Bits : (hasTarget ? target.Pixels->Bits : dc->Bits);
  Object bitmap;
  bitmap.Type = Kind::Bitmap;
  bitmap.Pixels = std::make_unique<sim::Surface>();
  bitmap.Pixels->Allocate(width, height, bits);
  // An 8-bit bitmap holds indices of the device's palette.
  if (bits == 8 && hasTarget && target.Pixels->Bits == 8) bitmap.Pixels->Palette = target.Pixels->Palette;
  return AddObject(std::move(bitmap));
}

HPalette CreatePalette(const LogPalette* palette) {
  std::lock_guard<std::mutex> lock(Lock());
  if (palette == nullptr || palette->Version != 0x300 || palette->NumEntries == 0) return 0;
  Object object;
  object.Type = Kind::Palette;
  object.Entries.assign(palette->PalEntry, palette->PalEntry + palette->NumEntries);
  return AddObject(std::move(object));
}

HPalette SelectPalette(Hdc handle, HPalette paletteHandle, bool) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  const Object* palette = FindObject(paletteHandle);
  if (dc == nullptr || palette == nullptr || palette->Type != Kind::Palette || palette->DeletePending) return 0;
  const HPalette previous = dc->State.Palette;
  if (previous != paletteHandle) {
    dc->State.Palette = paletteHandle;
    Hold(paletteHandle);
    Release(previous);
  }
  dc->State.PaletteRealized = false;
  return previous;
}

// The sim's display runs without static colours: a realized palette's entry i becomes hardware
// entry i, so PALETTEINDEX(i) draws index i. Returns the number of entries mapped.
uint32_t RealizePalette(Hdc handle) {
  std::lock_guard<std::mutex> lock(Lock());
  Dc* dc = FindDc(handle);
  if (dc == nullptr) return GdiError;
  const Object* palette = FindObject(dc->State.Palette);
  Target target;
  if (palette == nullptr || !ResolveTarget(*dc, target)) return GdiError;
  if (palette->Stock || target.Pixels->Bits != 8) return 0;
  const size_t count = std::min<size_t>(palette->Entries.size(), 256);
  for (size_t i = 0; i < count; ++i) {
    const PaletteEntry& e = palette->Entries[i];
    target.Pixels->Palette[i] = sim::PaletteEntry{e.Red, e.Green, e.Blue, 0};
  }
  dc->State.PaletteRealized = true;
  return static_cast<uint32_t>(count);
}

}  // namespace platform
