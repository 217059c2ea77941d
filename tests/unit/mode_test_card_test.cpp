// ModeTest's frames drawn through fractional corners, which the card of no mode has. The card
// itself, fading bars and swatches, is pinned end to end by ModeTest's calibrated pictures.
#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "subtests/ModeTest.h"
#include "window_fixture.h"

using namespace platform;
using window_test::WindowFixture;

namespace {

class ModeTestCard : public WindowFixture {
 protected:
  void SetUp() override {
    // "Display" contexts read the frame buffer that the window system draws into.
    sim::SetDisplaySurface([] { return &sim::ScreenSurface(); });
    Register("CardWindow", &ModeTestCard::Procedure);
    Window = CreateWindowExA(0, "CardWindow", "Card", WsPopup | WsVisible, 0, 0, 640, 480, 0, 0, 0, nullptr);
    ASSERT_NE(Window, 0u);
    Screen = GetDC(0);
  }
  void TearDown() override { ReleaseDC(0, Screen); }
  static LResult PLATFORM_CALLBACK Procedure(Hwnd window, uint32_t message, WParam w, LParam l) {
    return DefWindowProcA(window, message, w, l);
  }
  ColorRef At(int32_t x, int32_t y) const { return GetPixel(Screen, x, y); }

  Hwnd Window = 0;
  Hdc Screen = 0;
};

TEST_F(ModeTestCard, BoxHasFourEdgesThroughTheTruncatedCorners) {
  HBrush white = CreateSolidBrush(Rgb(255, 255, 255));
  Rect all{0, 0, 640, 480};
  FillRect(Screen, &all, white);
  DeleteObject(white);
  ModeTest::DrawBox(Screen, 20.9f, 60.7f, 30.2f, 70.99f);
  const ColorRef black = Rgb(0, 0, 0);
  EXPECT_EQ(At(20, 50), black);
  EXPECT_EQ(At(60, 50), black);
  EXPECT_EQ(At(40, 30), black);
  EXPECT_EQ(At(40, 70), black);
  EXPECT_EQ(At(21, 50), Rgb(255, 255, 255));
  EXPECT_EQ(At(40, 71), Rgb(255, 255, 255));
}

}  // namespace
