// Simulated GDI text: the faces behind the names, the record of what was drawn that the simulated
// operator reads, and DrawText's layout. The operator's digit itself, monochrome in its cell, is
// pinned end to end by its screenshot.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"

using namespace platform;
using platform::sim::Surface;

namespace {

constexpr ColorRef kGreen = 0x00FF00;
constexpr ColorRef kRed = 0x0000FF;

struct Screen {
  Surface Pixels;
  Hdc Dc = 0;
  HFont Font = 0;
  Screen(int32_t width, int32_t height, int32_t fontHeight, int32_t weight, const char* face) {
    Pixels.Allocate(width, height, 32);  // black
    Dc = sim::CreateSurfaceDC(Pixels, {0, 0}, {0, 0, width, height});
    Font = MakeFont(fontHeight, weight, face);
    SelectObject(Dc, Font);
  }
  ~Screen() {
    // The text record is kept by surface address, which the next case's surface may reuse.
    sim::ForgetAllTextRuns(Pixels);
    SelectObject(Dc, GetStockObject(SystemFont));
    DeleteObject(Font);
    DeleteDC(Dc);
  }
  static HFont MakeFont(int32_t height, int32_t weight, const char* face) {
    LogFontA log;
    log.Height = height;
    log.Weight = weight;
    std::strncpy(log.FaceName, face, LfFaceSize - 1);
    return CreateFontIndirectA(&log);
  }
  std::vector<sim::TextRun> All() const { return sim::TextRunsIn(Pixels, {0, 0, Pixels.Width, Pixels.Height}); }
  Size Extent(const char* text) const {
    Size size;
    GetTextExtentPoint32A(Dc, text, -1, &size);
    return size;
  }
};

#define REQUIRE_FONTS()                                                           \
  if (!sim::TextRenderingAvailable()) GTEST_SKIP() << "FreeType or fonts missing"

}  // namespace

TEST(GdiText, DigitsDifferAndFacesMapToTheirLiberationCousins) {
  REQUIRE_FONTS();
  auto inkOf = [](const char* digit) {
    Screen s(80, 80, -53, FwBold, "Times New Roman");
    SetBkMode(s.Dc, Transparent);
    SetTextColor(s.Dc, kGreen);
    TextOutA(s.Dc, 0, 0, digit, -1);
    int32_t ink = 0;
    for (int32_t y = 0; y < 80; ++y)
      for (int32_t x = 0; x < 80; ++x) ink += GetPixel(s.Dc, x, y) == kGreen;
    return ink;
  };
  EXPECT_LT(inkOf("1"), inkOf("8"));
  const char* sample = "Raster scan 0123456789";
  const Size times = Screen(10, 10, -20, FwNormal, "Times New Roman").Extent(sample);
  const Size serif = Screen(10, 10, -20, FwNormal, "Liberation Serif").Extent(sample);
  const Size arial = Screen(10, 10, -20, FwNormal, "Arial").Extent(sample);
  const Size boldTimes = Screen(10, 10, -20, FwBold, "Times New Roman").Extent(sample);
  EXPECT_EQ(times.Cx, serif.Cx);
  EXPECT_NE(times.Cx, arial.Cx);
  EXPECT_NE(times.Cx, boldTimes.Cx);
  // A positive height is the whole cell.
  EXPECT_NEAR(Screen(10, 10, 20, FwNormal, "Arial").Extent("x").Cy, 20, 1);
  // The stock GUI font is the one prompts copy and change.
  LogFontA gui;
  ASSERT_EQ(GetObjectA(GetStockObject(DefaultGuiFont), sizeof gui, &gui), static_cast<int32_t>(sizeof gui));
  EXPECT_EQ(gui.Height, -11);
  EXPECT_STREQ(gui.FaceName, "MS Shell Dlg");
}

TEST(GdiText, RecordsLeaveWhenTheirCellIsCoveredOnly) {
  Screen s(100, 40, -20, FwNormal, "Arial");
  TextOutW(s.Dc, 10, 5, L"42", -1);
  const Size cell = s.Extent("42");
  const HBrush brush = CreateSolidBrush(0x808080);
  const Rect half{10, 5, 10 + cell.Cx / 2, 5 + cell.Cy};
  FillRect(s.Dc, &half, brush);
  ASSERT_EQ(s.All().size(), 1u);
  EXPECT_TRUE(sim::TextRunsIn(s.Pixels, {60, 30, 100, 40}).empty());  // elsewhere
  BitBlt(s.Dc, 0, 0, 100, 40, 0, 0, 0, Blackness);
  EXPECT_TRUE(s.All().empty());
  TextOutA(s.Dc, 10, 5, "9", 1);
  sim::ForgetTextRuns(s.Pixels, {0, 0, 100, 40});
  EXPECT_TRUE(s.All().empty());
  DeleteObject(brush);
}

TEST(GdiText, DrawTextBreaksWordsCentresAndMeasures) {
  REQUIRE_FONTS();
  Screen s(300, 200, -16, FwNormal, "Arial");
  const wchar_t* text = L"alpha beta gamma delta epsilon zeta";
  Rect measure{10, 10, 110, 10};
  const int32_t measured = DrawTextW(s.Dc, text, -1, &measure, DtWordBreak | DtCalcRect);
  EXPECT_TRUE(s.All().empty());  // measuring draws nothing
  Rect box{10, 10, 110, 190};
  const int32_t height = DrawTextW(s.Dc, text, -1, &box, DtWordBreak);
  EXPECT_EQ(height, measured);
  EXPECT_EQ(measure.Bottom - measure.Top, measured);
  EXPECT_LE(measure.Right, 110);
  const auto lines = s.All();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(height, static_cast<int32_t>(lines.size()) * lines[0].Height);
  std::wstring joined;
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_LE(lines[i].Bounds.Right, 110) << i;
    EXPECT_EQ(lines[i].Bounds.Top, 10 + static_cast<int32_t>(i) * lines[0].Height);
    joined += (i ? L" " : L"") + lines[i].Text;
  }
  EXPECT_EQ(joined, text);

  Screen c(200, 100, -16, FwNormal, "Arial");
  Rect button{0, 0, 200, 100};
  DrawTextW(c.Dc, L"&Yes", -1, &button, DtCenter | DtVCenter | DtSingleLine);
  const auto runs = c.All();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].Text, L"Yes");
  const int32_t w = runs[0].Bounds.Right - runs[0].Bounds.Left;
  EXPECT_EQ(runs[0].Bounds.Left, (200 - w) / 2);
  EXPECT_EQ(runs[0].Bounds.Top, (100 - runs[0].Height) / 2);
}

TEST(GdiText, LongWordsAreCutOnlyLikeAnEditControl) {
  REQUIRE_FONTS();
  Screen s(300, 300, -16, FwNormal, "Arial");
  Rect narrow{0, 0, 30, 300};
  const int32_t one = DrawTextA(s.Dc, "WWWWWWWW", -1, &narrow, DtWordBreak | DtCalcRect);
  narrow = Rect{0, 0, 30, 300};
  const int32_t cut = DrawTextA(s.Dc, "WWWWWWWW", -1, &narrow, DtWordBreak | DtEditControl | DtCalcRect);
  EXPECT_GT(cut, one);
  EXPECT_LE(narrow.Right, 30);
  // An edit control shows no partly visible last line.
  Rect shallow{0, 0, 30, one + one / 2};
  DrawTextA(s.Dc, "WWWWWWWW", -1, &shallow, DtWordBreak | DtEditControl);
  EXPECT_EQ(s.All().size(), 1u);
}
