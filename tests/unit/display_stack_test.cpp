// The display stack as a screen subtest uses it: a mode is set, a full-screen window is drawn
// with GDI, the operator reads the digit off the screen and presses it, and DirectDraw hands out
// the bytes that were drawn.
#include <cstring>

#include "platform/ddraw.h"
#include "platform/gdi.h"
#include "screen/DirectDrawSession.h"
#include "screen/DisplayControl.h"
#include "window_fixture.h"

using namespace platform;
using window_test::Log;
using window_test::Seen;
using window_test::WindowFixture;

namespace {

const ColorRef kRed = Rgb(255, 0, 0);

// A test card: a grey fill, lines of two pens, a blitted block, one red pixel and the digit 4.
LResult PLATFORM_CALLBACK CardWindow(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  switch (message) {
    case WmPaint: {
      PaintStruct paint;
      Hdc dc = BeginPaint(window, &paint);
      Rect client;
      GetClientRect(window, &client);
      HBrush grey = CreateSolidBrush(Rgb(128, 128, 128));
      FillRect(dc, &client, grey);
      DeleteObject(grey);
      HPen dash = CreatePen(PsDash, 1, Rgb(0, 0, 255));
      HGdiObj old = SelectObject(dc, dash);
      MoveToEx(dc, 0, 20, nullptr);
      LineTo(dc, client.Right, 20);
      SelectObject(dc, old);
      DeleteObject(dash);
      BitBlt(dc, 100, 100, 32, 32, dc, 0, 0, NotSrcCopy);
      SetPixelV(dc, 10, 10, kRed);
      LogFontA font;
      font.Height = -60;
      std::strcpy(font.FaceName, "Times New Roman");
      HFont big = CreateFontIndirectA(&font);
      old = SelectObject(dc, big);
      SetBkMode(dc, Transparent);
      SetTextColor(dc, Rgb(0, 255, 0));
      TextOutA(dc, client.Right / 2, client.Bottom / 2, "4", 1);
      SelectObject(dc, old);
      DeleteObject(big);
      EndPaint(window, &paint);
      return 0;
    }
    case WmKeyDown:
      Log().push_back(Seen{window, message, wParam, GetTickCount()});
      DestroyWindow(window);
      return 0;
    case WmDestroy:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

struct Mode {
  int32_t Width, Height, Bits;
};

class DisplayStack : public WindowFixture, public ::testing::WithParamInterface<Mode> {};

TEST_P(DisplayStack, WindowDrawnOperatorAnswersSurfaceHoldsThePicture) {
  const Mode mode = GetParam();
  ASSERT_EQ(SetDisplayMode(mode.Width, mode.Height, mode.Bits), 0);
  Register("CardWindow", CardWindow);
  std::string error;
  ASSERT_TRUE(sim::SetOperatorScript("digit", error)) << error;
  Hwnd window = CreateWindowExA(0, "CardWindow", "Card", WsPopup | WsVisible, 0, 0, mode.Width, mode.Height, 0, 0,
                                0, nullptr);
  ASSERT_NE(window, 0u);

  DirectDrawSession session;
  session.Create()->SetCooperation(window)->SetMode(mode.Width, mode.Height, mode.Bits, 0)->CreatePrimarySurface();
  ASSERT_EQ(session.LastResult, 0);

  RunLoop();
  ASSERT_EQ(Log().size(), 1u);
  EXPECT_EQ(Log()[0].W, static_cast<WParam>('4'));

  SurfaceDesc desc;
  ASSERT_EQ(session.PrimarySurface->Lock(nullptr, desc, 1), 0);
  EXPECT_EQ(desc.Width, static_cast<uint32_t>(mode.Width));
  EXPECT_EQ(desc.Height, static_cast<uint32_t>(mode.Height));
  EXPECT_GE(desc.Pitch, mode.Width * mode.Bits / 8);
  const sim::Surface& screen = sim::ScreenSurface();
  const int32_t bytes = mode.Bits / 8;
  uint32_t red = 0, grey = 0;
  std::memcpy(&red, desc.Surface + 10 * desc.Pitch + 10 * bytes, static_cast<size_t>(bytes));
  std::memcpy(&grey, desc.Surface + 300 * desc.Pitch + 5 * bytes, static_cast<size_t>(bytes));
  EXPECT_EQ(red, sim::ColorToPixel(screen, kRed));
  EXPECT_EQ(grey, sim::ColorToPixel(screen, Rgb(128, 128, 128)));
  // Some pixels of the digit are green, and the inverted block is no longer grey.
  bool green = false;
  for (int32_t y = mode.Height / 2 - 60; y < mode.Height / 2 + 60 && !green; ++y)
    for (int32_t x = mode.Width / 2; x < mode.Width / 2 + 60 && !green; ++x) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, desc.Surface + y * desc.Pitch + x * bytes, static_cast<size_t>(bytes));
      green = pixel == sim::ColorToPixel(screen, Rgb(0, 255, 0));
    }
  EXPECT_TRUE(green);
  uint32_t inverted = 0;
  std::memcpy(&inverted, desc.Surface + 110 * desc.Pitch + 110 * bytes, static_cast<size_t>(bytes));
  EXPECT_NE(inverted, grey);
  session.PrimarySurface->Unlock(nullptr);
  session.ReleaseSurfaces()->ReleaseDirectDraw();
}

INSTANTIATE_TEST_SUITE_P(Modes, DisplayStack,
                         ::testing::Values(Mode{800, 600, 16}, Mode{640, 480, 8}, Mode{1024, 768, 32}));

}  // namespace
