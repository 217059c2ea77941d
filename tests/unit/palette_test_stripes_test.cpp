// PaletteTest's stripes as they land in an 8-bit frame buffer, and the -Resolution forms.
#include <algorithm>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "subtests/PaletteTest.h"
#include "window_fixture.h"

using namespace platform;
using window_test::WindowFixture;

namespace {

class PaletteStripes : public WindowFixture {
 protected:
  PaletteStripes() : WindowFixture(8) {}
  void SetUp() override {
    sim::SetDisplaySurface([] { return &sim::ScreenSurface(); });
    Screen = GetDC(0);
  }
  void TearDown() override { ReleaseDC(0, Screen); }
  uint8_t Index(int32_t x, int32_t y) const { return sim::ScreenSurface().Row(y)[x]; }

  Hdc Screen = 0;
};

TEST_F(PaletteStripes, RampsOfTwoPixelStripesBetweenTheMargins) {
  // 640x480: stripes (640 - 80) / 240 = 2 wide from x 80 to 560, rows 48 to 383.
  const uint8_t outside = 250;
  std::fill(sim::ScreenSurface().Pixels.begin(), sim::ScreenSurface().Pixels.end(), outside);
  std::vector<uint8_t> block(PaletteTest::PaletteBlockSize, 0xEE);
  const HPalette palette = PaletteTest::DrawStripes(Screen, reinterpret_cast<LogPalette*>(block.data()), 640, 480);
  ASSERT_NE(palette, 0u);

  EXPECT_EQ(GetPixel(Screen, 80, 48), Rgb(255, 0, 0));
  EXPECT_EQ(GetPixel(Screen, 81, 383), Rgb(255, 0, 0));
  EXPECT_EQ(GetPixel(Screen, 82 + 2 * 9, 200), Rgb(225, 0, 0));      // stripe 10
  EXPECT_EQ(GetPixel(Screen, 80 + 2 * 79, 200), Rgb(18, 0, 0));      // the red ramp's last
  EXPECT_EQ(GetPixel(Screen, 80 + 2 * 80, 200), Rgb(0, 255, 0));
  EXPECT_EQ(GetPixel(Screen, 81 + 2 * 120, 300), Rgb(0, 135, 0));    // stripe 120: 255 - 3 * 40
  EXPECT_EQ(GetPixel(Screen, 80 + 2 * 160, 100), Rgb(0, 0, 255));
  EXPECT_EQ(GetPixel(Screen, 559, 383), Rgb(0, 0, 18));
  // Each stripe is its palette entry; nothing outside the box is touched.
  EXPECT_EQ(Index(80 + 2 * 37, 50), 37);
  EXPECT_EQ(Index(81 + 2 * 239, 380), 239);
  EXPECT_EQ(Index(560, 200), outside);
  EXPECT_EQ(Index(79, 200), outside);
  EXPECT_EQ(Index(100, 47), outside);
  EXPECT_EQ(Index(100, 384), outside);

  const auto* log = reinterpret_cast<const LogPalette*>(block.data());
  EXPECT_EQ(log->Version, 0x300);
  EXPECT_EQ(log->NumEntries, 256);
  EXPECT_EQ(log->PalEntry[240].Red + log->PalEntry[255].Blue, 0);  // unused entries are zero
  EXPECT_EQ(log->PalEntry[255].Flags, PcReserved);

  EXPECT_TRUE(UnrealizeObject(palette));
  EXPECT_TRUE(DeleteObject(palette));
}

TEST(PaletteLayout, SizesOfTheBox) {
  const PaletteTest::StripeLayout at800 = PaletteTest::Layout(800, 600);
  EXPECT_EQ(at800.Stripe, 2);
  EXPECT_EQ(at800.Margin, 160);
  EXPECT_EQ(at800.Bottom, 480);
  // 1280: (1280 - 160) / 240 = 4 in whole numbers, (1280 - 960) / 2 = 160.
  const PaletteTest::StripeLayout at1280 = PaletteTest::Layout(1280, 1024);
  EXPECT_EQ(at1280.Stripe, 4);
  EXPECT_EQ(at1280.Margin, 160);
  EXPECT_EQ(at1280.Bottom, 1024 - 204);
}

// "current" and a good resolution are taken in the palette runs.
TEST(PaletteResolution, OnlyThreeDecimalNumbers) {
  const DisplayModeEntry start{1024, 768, 16};
  DisplayModeEntry mode;
  for (const char* bad : {"800x600", "800x600x32x1", "800x600xff", "0x10x20x8", "800*600*32", "", "currentx"})
    EXPECT_FALSE(PaletteTest::ParseResolution(bad, start, mode)) << bad;
}

}  // namespace
