// ModeTest's card as it lands in the frame buffer: fading bars, single-fill swatches, frames.
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

TEST_F(ModeTestCard, BarFadesOneStepPerSliceAndStaysBlackAfterTheLast) {
  // 800 pixels' worth of bar squeezed into the screen: 320 slices of 2 from 0.
  ModeTest::ShadeBox(Window, Screen, 0.0f, 2.0f, 100.0f, 110.0f, 255, 0, 0, 640.0f, 2);
  EXPECT_EQ(At(0, 100), Rgb(255, 0, 0));
  EXPECT_EQ(At(1, 109), Rgb(255, 0, 0));
  EXPECT_EQ(At(2, 105), Rgb(254, 0, 0));
  EXPECT_EQ(At(2 * 200, 105), Rgb(55, 0, 0));
  EXPECT_EQ(At(2 * 255, 105), Rgb(0, 0, 0));
  EXPECT_EQ(At(2 * 300, 105), Rgb(0, 0, 0));
  EXPECT_NE(At(5, 110), Rgb(255, 0, 0));  // the bottom edge is not filled
}

TEST_F(ModeTestCard, WhiteFadesInAllThreeAndASwatchIsOneFill) {
  ModeTest::ShadeBox(Window, Screen, 10.0f, 14.0f, 200.0f, 220.0f, 255, 255, 255, 400.0f, 4);
  EXPECT_EQ(At(10 + 4 * 10, 210), Rgb(245, 245, 245));
  ModeTest::ShadeBox(Window, Screen, 100.0f, 130.0f, 300.0f, 320.0f, 0, 255, 255, 130.0f, 3);
  EXPECT_EQ(At(100, 300), Rgb(0, 255, 255));
  EXPECT_EQ(At(129, 319), Rgb(0, 255, 255));
  EXPECT_NE(At(130, 310), Rgb(0, 254, 254));  // no second slice
}

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

TEST_F(ModeTestCard, CardAtSixFortyByFourEighty) {
  Hdc dc = GetDC(Window);
  ModeTest::DrawTestScreen(Window, dc);
  ReleaseDC(Window, dc);
  // Bars from 64 to 576 with a step of 2; the first slice in full colour, the blue bar at half height.
  EXPECT_EQ(At(65, 100), Rgb(255, 0, 0));  // x 64 is the frame
  EXPECT_EQ(At(66, 100), Rgb(254, 0, 0));
  EXPECT_EQ(At(65, 170), Rgb(0, 255, 0));
  EXPECT_EQ(At(64 + 2 * 100, 250), Rgb(0, 0, 155));
  EXPECT_EQ(At(570, 320), Rgb(2, 2, 2));
  // Bars are framed, and so is the screen three times.
  EXPECT_EQ(At(300, 96), Rgb(0, 0, 0));
  EXPECT_EQ(At(5, 240), Rgb(0, 0, 0));
  EXPECT_EQ(At(625, 240), Rgb(0, 0, 0));
  // Swatches: yellow from 288, black from 384, white from 416.
  EXPECT_EQ(At(290, 60), Rgb(255, 255, 0));
  EXPECT_EQ(At(390, 60), Rgb(0, 0, 0));
  EXPECT_EQ(At(420, 60), Rgb(255, 255, 255));
}

}  // namespace
