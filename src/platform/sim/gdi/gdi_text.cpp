// The sim GDI's text: fonts through FreeType with the metric-compatible Liberation faces, rendered
// monochrome (no anti-aliasing) so that every pixel is either the text colour or untouched and
// sums do not depend on blending. Also the record of the text runs drawn on each surface.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "platform/sim/host/environment.h"
#include "platform/sim/gdi/gdi_internal.h"

#ifdef RASTERSCAN_HAVE_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#endif

namespace platform {
namespace sim {
namespace gdi {

namespace {

std::map<const Surface*, std::vector<TextRun>>& Runs() {
  static std::map<const Surface*, std::vector<TextRun>> runs;
  return runs;
}

bool Meets(const Rect& a, const Rect& b) { return !IsEmpty(Intersect(a, b)); }

}  // namespace

void RecordTextRun(const Surface& surface, TextRun run) {
  auto& runs = Runs()[&surface];
  for (const TextRun& r : runs) {
    if (r.Text == run.Text && r.Color == run.Color && Same(r.Bounds, run.Bounds))
      return;  // a repaint of the same text
  }
  runs.push_back(std::move(run));
}

void CoverTextRuns(const Surface& surface, const Rect& covered) {
  auto it = Runs().find(&surface);
  if (it == Runs().end()) return;
  const Rect whole{0, 0, surface.Width, surface.Height};
  auto& runs = it->second;
  runs.erase(std::remove_if(runs.begin(), runs.end(),
                            [&](const TextRun& r) {
                              const Rect visible = Intersect(r.Bounds, whole);
                              return IsEmpty(visible) || Within(visible, covered);
                            }),
             runs.end());
}

void ForgetSurfaceRuns(const Surface* surface) { Runs().erase(surface); }

namespace {

enum class Family { Sans, Serif, Mono };

Family FamilyOf(const char* face) {
  std::string name(face);
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  auto has = [&](const char* part) { return name.find(part) != std::string::npos; };
  if (has("courier") || has("mono") || has("consolas") || has("fixed") || has("console")) return Family::Mono;
  if ((has("times") || has("serif") || has("roman") || has("georgia")) && !has("sans")) return Family::Serif;
  return Family::Sans;
}

std::string FontFileName(Family family, bool bold, bool italic) {
  const char* base = family == Family::Serif ? "LiberationSerif" : family == Family::Mono ? "LiberationMono"
                                                                                            : "LiberationSans";
  const char* style = bold && italic ? "BoldItalic" : bold ? "Bold" : italic ? "Italic" : "Regular";
  return std::string(base) + "-" + style + ".ttf";
}

// The file's path: the Debian place first, then a search under the usual font folders.
std::string FindFontFile(const std::string& name) {
  namespace fs = std::filesystem;
  std::error_code ec;
  std::vector<std::string> roots;
  if (!sim::Environment().FontFolder.empty()) roots.push_back(sim::Environment().FontFolder);
  for (const char* dir : {"/usr/share/fonts/truetype/liberation", "/usr/share/fonts/truetype/liberation2",
                          "/usr/share/fonts/liberation", "/usr/share/fonts/TTF"}) {
    roots.emplace_back(dir);
  }
  for (const std::string& root : roots) {
    const fs::path candidate = fs::path(root) / name;
    if (fs::is_regular_file(candidate, ec)) return candidate.string();
  }
  for (const char* root : {"/usr/share/fonts", "/usr/local/share/fonts"}) {
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
      if (it->path().filename() == name) return it->path().string();
    }
    ec.clear();
  }
  return std::string();
}

struct Glyph {
  int32_t Left = 0;   // from the pen position to the bitmap's left edge
  int32_t Top = 0;    // from the baseline up to the bitmap's top row
  int32_t Width = 0;
  int32_t Rows = 0;
  int32_t Advance = 0;
  std::vector<uint8_t> Ink;  // one byte per pixel, 1 where the glyph is drawn
};

// A font as a context uses it: the face and the pixel metrics of its size.
struct Metrics {
  int32_t Face = -1;  // index into the loaded faces, -1 without FreeType
  int32_t Em = 16;
  int32_t Ascent = 14;
  int32_t Descent = 4;
};

#ifdef RASTERSCAN_HAVE_FREETYPE

struct Engine {
  FT_Library Library = nullptr;
  bool Tried = false;
  std::vector<std::string> Names;
  std::vector<FT_Face> Faces;  // nullptr where the file is missing
  std::map<std::tuple<int32_t, int32_t, uint32_t>, Glyph> Glyphs;
};

Engine& Fonts() {
  static Engine engine;
  if (!engine.Tried) {
    engine.Tried = true;
    if (FT_Init_FreeType(&engine.Library) != 0) engine.Library = nullptr;
  }
  return engine;
}

int32_t LoadFace(const std::string& name) {
  Engine& e = Fonts();
  if (e.Library == nullptr) return -1;
  for (size_t i = 0; i < e.Names.size(); ++i) {
    if (e.Names[i] == name) return e.Faces[i] != nullptr ? static_cast<int32_t>(i) : -1;
  }
  FT_Face face = nullptr;
  const std::string path = FindFontFile(name);
  if (path.empty() || FT_New_Face(e.Library, path.c_str(), 0, &face) != 0) face = nullptr;
  e.Names.push_back(name);
  e.Faces.push_back(face);
  return face != nullptr ? static_cast<int32_t>(e.Faces.size() - 1) : -1;
}

bool SetSize(const Metrics& m) {
  return FT_Set_Pixel_Sizes(Fonts().Faces[static_cast<size_t>(m.Face)], 0, static_cast<FT_UInt>(m.Em)) == 0;
}

const Glyph& GlyphOf(const Metrics& m, wchar_t ch) {
  Engine& e = Fonts();
  const auto key = std::make_tuple(m.Face, m.Em, static_cast<uint32_t>(ch));
  auto it = e.Glyphs.find(key);
  if (it != e.Glyphs.end()) return it->second;
  Glyph g;
  FT_Face face = e.Faces[static_cast<size_t>(m.Face)];
  if (SetSize(m) &&
      FT_Load_Char(face, static_cast<FT_ULong>(ch), FT_LOAD_RENDER | FT_LOAD_TARGET_MONO | FT_LOAD_MONOCHROME) == 0) {
    const FT_GlyphSlot slot = face->glyph;
    g.Left = slot->bitmap_left;
    g.Top = slot->bitmap_top;
    g.Width = static_cast<int32_t>(slot->bitmap.width);
    g.Rows = static_cast<int32_t>(slot->bitmap.rows);
    g.Advance = static_cast<int32_t>((slot->advance.x + 32) >> 6);
    g.Ink.assign(static_cast<size_t>(g.Width) * static_cast<size_t>(g.Rows), 0);
    for (int32_t y = 0; y < g.Rows; ++y) {
      const unsigned char* row = slot->bitmap.buffer + static_cast<ptrdiff_t>(y) * slot->bitmap.pitch;
      for (int32_t x = 0; x < g.Width; ++x) {
        const bool on = slot->bitmap.pixel_mode == FT_PIXEL_MODE_MONO ? ((row[x >> 3] >> (7 - (x & 7))) & 1) != 0
                                                                       : row[x] >= 128;
        g.Ink[static_cast<size_t>(y * g.Width + x)] = on ? 1 : 0;
      }
    }
  }
  return e.Glyphs.emplace(key, std::move(g)).first->second;
}

#endif

// Height in logical units: negative is the character (em) height, positive the cell height,
// zero a 16-pixel cell.
Metrics MetricsOf(const LogFontA& font) {
  Metrics m;
  const bool bold = font.Weight >= 600;
  const bool italic = font.Italic != 0;
  const int32_t height = font.Height == 0 ? 16 : font.Height;
#ifdef RASTERSCAN_HAVE_FREETYPE
  m.Face = LoadFace(FontFileName(FamilyOf(font.FaceName), bold, italic));
  if (m.Face < 0) m.Face = LoadFace(FontFileName(Family::Sans, bold, italic));
  if (m.Face >= 0) {
    FT_Face face = Fonts().Faces[static_cast<size_t>(m.Face)];
    const int32_t cellUnits = face->ascender - face->descender;
    m.Em = height < 0 ? -height
                      : std::max(1, static_cast<int32_t>((int64_t{height} * face->units_per_EM + cellUnits / 2) /
                                                         cellUnits));
    if (SetSize(m)) {
      m.Ascent = static_cast<int32_t>((face->size->metrics.ascender + 63) >> 6);
      m.Descent = static_cast<int32_t>((-face->size->metrics.descender + 63) >> 6);
      return m;
    }
    m.Face = -1;
  }
#else
  (void)bold;
  (void)italic;
#endif
  // Without FreeType: Liberation's proportions (cell 1.15 em, ascent 0.9 em), nothing drawn.
  m.Em = height < 0 ? -height : std::max(1, height * 20 / 23);
  m.Ascent = (m.Em * 9 + 9) / 10;
  m.Descent = (m.Em * 23 + 19) / 20 - m.Ascent;
  return m;
}

int32_t Advance(const Metrics& m, wchar_t ch) {
#ifdef RASTERSCAN_HAVE_FREETYPE
  if (m.Face >= 0) return GlyphOf(m, ch).Advance;
#endif
  (void)ch;
  return (m.Em + 1) / 2;
}

int32_t WidthOf(const Metrics& m, const std::wstring& text) {
  int32_t width = 0;
  for (wchar_t ch : text) width += Advance(m, ch);
  return width;
}

Metrics DcMetrics(const Dc& dc) {
  const Object* font = FindObject(dc.State.Font);
  LogFontA log;
  if (font != nullptr && font->Type == Kind::Font) log = font->Font;
  return MetricsOf(log);
}

// Draws one line with its cell's top-left at logical (x, y), cut to `clip` (surface coordinates).
void DrawLine(const Dc& dc, const Target& t, const Metrics& m, int32_t x, int32_t y, const std::wstring& text,
              const Rect& clip) {
  const int32_t sx = x + t.OriginX, sy = y + t.OriginY;
  const Rect cell{sx, sy, sx + WidthOf(m, text), sy + m.Ascent + m.Descent};
  if (dc.State.BkMode == Opaque) {
    FillPixels(*t.Pixels, Intersect(cell, clip), DcColorToPixel(dc, *t.Pixels, dc.State.BkColor));
  }
#ifdef RASTERSCAN_HAVE_FREETYPE
  if (m.Face >= 0) {
    const uint32_t ink = DcColorToPixel(dc, *t.Pixels, dc.State.TextColor);
    int32_t penX = sx;
    const int32_t baseline = sy + m.Ascent;
    for (wchar_t ch : text) {
      const Glyph& g = GlyphOf(m, ch);
      for (int32_t gy = 0; gy < g.Rows; ++gy) {
        const int32_t py = baseline - g.Top + gy;
        if (py < clip.Top || py >= clip.Bottom) continue;
        for (int32_t gx = 0; gx < g.Width; ++gx) {
          const int32_t px = penX + g.Left + gx;
          if (px < clip.Left || px >= clip.Right || g.Ink[static_cast<size_t>(gy * g.Width + gx)] == 0) continue;
          WritePixel(*t.Pixels, px, py, ink);
        }
      }
      penX += g.Advance;
    }
  }
#endif
  if (!text.empty()) {
    TextRun run;
    run.Text = text;
    run.Bounds = cell;
    run.Color = dc.State.TextColor;
    run.Height = m.Ascent + m.Descent;
    RecordTextRun(*t.Pixels, std::move(run));
  }
}

std::wstring FromNarrow(const char* text, int32_t count) {
  std::wstring wide;
  if (text == nullptr) return wide;
  const size_t n = count < 0 ? std::char_traits<char>::length(text) : static_cast<size_t>(count);
  wide.reserve(n);
  // Narrow text is taken as Latin-1, byte for character.
  for (size_t i = 0; i < n; ++i) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(text[i])));
  return wide;
}

std::wstring FromWide(const wchar_t* text, int32_t count) {
  if (text == nullptr) return std::wstring();
  return count < 0 ? std::wstring(text) : std::wstring(text, static_cast<size_t>(count));
}

bool TextOut(Hdc handle, int32_t x, int32_t y, const std::wstring& text) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  Target t;
  if (dc == nullptr || !ResolveTarget(*dc, t)) return false;
  DrawLine(*dc, t, DcMetrics(*dc), x, y, text, t.Clip);
  return true;
}

bool TextExtent(Hdc handle, const std::wstring& text, Size* size) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  if (dc == nullptr || size == nullptr) return false;
  const Metrics m = DcMetrics(*dc);
  size->Cx = WidthOf(m, text);
  size->Cy = m.Ascent + m.Descent;
  return true;
}

// Splits a paragraph into lines no wider than `width` at spaces; a word wider than a line is cut
// between characters only with DT_EDITCONTROL.
void WrapParagraph(const Metrics& m, const std::wstring& paragraph, int32_t width, bool cutWords,
                   std::vector<std::wstring>& lines) {
  std::wstring line;
  size_t i = 0;
  bool any = false;
  while (i < paragraph.size()) {
    size_t end = paragraph.find(L' ', i);
    if (end == std::wstring::npos) end = paragraph.size();
    std::wstring word = paragraph.substr(i, end - i);
    const std::wstring candidate = line.empty() ? word : line + L" " + word;
    if (line.empty() || WidthOf(m, candidate) <= width) {
      line = candidate;
    } else {
      lines.push_back(line);
      any = true;
      line = word;
    }
    while (cutWords && line.size() > 1 && WidthOf(m, line) > width) {
      size_t fit = 1;
      while (fit < line.size() && WidthOf(m, line.substr(0, fit + 1)) <= width) ++fit;
      lines.push_back(line.substr(0, fit));
      any = true;
      line = line.substr(fit);
    }
    i = end + 1;
  }
  if (!line.empty() || !any) lines.push_back(line);
}

int32_t DrawTextImpl(Hdc handle, std::wstring text, Rect* rect, uint32_t format) {
  std::lock_guard<std::mutex> lock(Lock());
  const Dc* dc = FindDc(handle);
  if (dc == nullptr || rect == nullptr) return 0;
  const Metrics m = DcMetrics(*dc);
  if ((format & DtNoPrefix) == 0) {
    // "&x" shows x (its underline is not drawn), "&&" shows "&".
    std::wstring shown;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == L'&' && i + 1 < text.size()) ++i;
      shown.push_back(text[i]);
    }
    text = shown;
  }
  if (format & DtExpandTabs) {
    std::wstring expanded;
    for (wchar_t ch : text) expanded += ch == L'\t' ? std::wstring(8 - expanded.size() % 8, L' ') : std::wstring(1, ch);
    text = expanded;
  }
  std::vector<std::wstring> lines;
  const int32_t width = rect->Right - rect->Left;
  if (format & DtSingleLine) {
    std::wstring line;
    for (wchar_t ch : text)
      if (ch != L'\r' && ch != L'\n') line.push_back(ch);
    lines.push_back(line);
  } else {
    size_t start = 0;
    while (true) {
      size_t end = text.find(L'\n', start);
      std::wstring paragraph = text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
      if (!paragraph.empty() && paragraph.back() == L'\r') paragraph.pop_back();
      if (format & DtWordBreak) {
        WrapParagraph(m, paragraph, width, (format & DtEditControl) != 0, lines);
      } else {
        lines.push_back(paragraph);
      }
      if (end == std::wstring::npos) break;
      start = end + 1;
    }
  }
  const int32_t lineHeight = m.Ascent + m.Descent;
  const int32_t total = lineHeight * static_cast<int32_t>(lines.size());
  if (format & DtCalcRect) {
    int32_t widest = 0;
    for (const std::wstring& line : lines) widest = std::max(widest, WidthOf(m, line));
    rect->Right = rect->Left + widest;
    rect->Bottom = rect->Top + total;
    return total;
  }
  Target t;
  if (!ResolveTarget(*dc, t)) return 0;
  int32_t y = rect->Top;
  if (format & DtSingleLine) {
    if (format & DtVCenter) y = rect->Top + (rect->Bottom - rect->Top - lineHeight) / 2;
    else if (format & DtBottom) y = rect->Bottom - lineHeight;
  }
  Rect clip = t.Clip;
  if ((format & DtNoClip) == 0) {
    clip = Intersect(clip, Rect{rect->Left + t.OriginX, rect->Top + t.OriginY, rect->Right + t.OriginX,
                                rect->Bottom + t.OriginY});
  }
  for (size_t i = 0; i < lines.size(); ++i, y += lineHeight) {
    // An edit control shows no partly visible last line.
    if ((format & DtEditControl) && i > 0 && y + lineHeight > rect->Bottom) break;
    const int32_t w = WidthOf(m, lines[i]);
    int32_t x = rect->Left;
    if (format & DtCenter) x = rect->Left + (width - w) / 2;
    else if (format & DtRight) x = rect->Right - w;
    DrawLine(*dc, t, m, x, y, lines[i], clip);
  }
  if (format & (DtVCenter | DtBottom)) return y - rect->Top;
  return total;
}

}  // namespace
}  // namespace gdi

bool TextRenderingAvailable() {
  std::lock_guard<std::mutex> lock(gdi::Lock());
  LogFontA font;
  return gdi::MetricsOf(font).Face >= 0;
}

std::vector<TextRun> TextRunsIn(const Surface& surface, const Rect& region) {
  std::lock_guard<std::mutex> lock(gdi::Lock());
  std::vector<TextRun> found;
  auto it = gdi::Runs().find(&surface);
  if (it == gdi::Runs().end()) return found;
  for (const TextRun& run : it->second)
    if (gdi::Meets(run.Bounds, region)) found.push_back(run);
  return found;
}

void ForgetTextRuns(const Surface& surface, const Rect& region) {
  std::lock_guard<std::mutex> lock(gdi::Lock());
  gdi::CoverTextRuns(surface, region);
}

void ForgetAllTextRuns(const Surface& surface) {
  std::lock_guard<std::mutex> lock(gdi::Lock());
  gdi::ForgetSurfaceRuns(&surface);
}

}  // namespace sim

bool TextOutA(Hdc dc, int32_t x, int32_t y, const char* text, int32_t count) {
  return sim::gdi::TextOut(dc, x, y, sim::gdi::FromNarrow(text, count));
}

bool TextOutW(Hdc dc, int32_t x, int32_t y, const wchar_t* text, int32_t count) {
  return sim::gdi::TextOut(dc, x, y, sim::gdi::FromWide(text, count));
}

int32_t DrawTextA(Hdc dc, const char* text, int32_t count, Rect* rect, uint32_t format) {
  return sim::gdi::DrawTextImpl(dc, sim::gdi::FromNarrow(text, count), rect, format);
}

int32_t DrawTextW(Hdc dc, const wchar_t* text, int32_t count, Rect* rect, uint32_t format) {
  return sim::gdi::DrawTextImpl(dc, sim::gdi::FromWide(text, count), rect, format);
}

bool GetTextExtentPoint32A(Hdc dc, const char* text, int32_t count, Size* size) {
  return sim::gdi::TextExtent(dc, sim::gdi::FromNarrow(text, count), size);
}

bool GetTextExtentPoint32W(Hdc dc, const wchar_t* text, int32_t count, Size* size) {
  return sim::gdi::TextExtent(dc, sim::gdi::FromWide(text, count), size);
}

}  // namespace platform
