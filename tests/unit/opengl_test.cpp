// OpenGL3DRenderingTest's texture rows and projection, and the simulated machine's OpenGL
// contexts: pixel formats by screen depth, and frames presented into the window's place.
#include <GL/gl.h>

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "platform/opengl.h"
#include "platform/sim/display/display_model.h"
#include "subtests/OpenGL3DRenderingTest.h"
#include "window_fixture.h"

namespace {

using GlTest = OpenGL3DRenderingTest;

TEST(OpenGLTexture, RowsArePaddedToFourBytesWithRedAndBlueSwapped) {
  EXPECT_EQ(GlTest::TextureStride(1), 4u);
  EXPECT_EQ(GlTest::TextureStride(2), 8u);
  EXPECT_EQ(GlTest::TextureStride(3), 12u);
  EXPECT_EQ(GlTest::TextureStride(5), 16u);
  EXPECT_EQ(GlTest::TextureStride(128), 384u);

  // Three pixels a row (9 bytes and 3 of padding), two rows, blue-green-red as the file has them.
  const std::vector<uint8_t> file{1, 2, 3, 4, 5, 6, 7, 8, 9, 0xEE, 0xEE, 0xEE,
                                  11, 12, 13, 14, 15, 16, 17, 18, 19, 0xEE, 0xEE, 0xEE};
  const std::vector<uint8_t> rows = GlTest::ConvertTextureRows(file.data(), file.size(), 3, 2, 24, 0);
  EXPECT_EQ(rows, (std::vector<uint8_t>{3, 2, 1, 6, 5, 4, 9, 8, 7, 0, 0, 0,
                                        13, 12, 11, 16, 15, 14, 19, 18, 17, 0, 0, 0}));

  const std::vector<uint8_t> one{0x10, 0x20, 0x30, 0};
  EXPECT_EQ(GlTest::ConvertTextureRows(one.data(), one.size(), 1, 1, 24, 0), (std::vector<uint8_t>{0x30, 0x20, 0x10, 0}));

  // A file cut short: the rows it lacks stay black.
  const std::vector<uint8_t> cut = GlTest::ConvertTextureRows(file.data(), 15, 3, 2, 24, 0);
  EXPECT_EQ(cut, (std::vector<uint8_t>{3, 2, 1, 6, 5, 4, 9, 8, 7, 0, 0, 0, 13, 12, 11, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(OpenGLTexture, OtherImagesStayBlack) {
  const std::vector<uint8_t> bytes(64, 0x7F);
  const std::vector<uint8_t> black(24, 0);
  EXPECT_EQ(GlTest::ConvertTextureRows(bytes.data(), bytes.size(), 3, 2, 32, 0), black);  // 32 bits
  EXPECT_EQ(GlTest::ConvertTextureRows(bytes.data(), bytes.size(), 3, 2, 8, 0), black);   // 8 bits
  EXPECT_EQ(GlTest::ConvertTextureRows(bytes.data(), bytes.size(), 3, 2, 24, 1), black);  // compressed
  EXPECT_EQ(GlTest::ConvertTextureRows(bytes.data(), bytes.size(), 3, -2, 24, 0), black);  // top-down
}

// The landscape modes are pinned by the pictures the calibration stores; a portrait screen is not.
TEST(OpenGLProjection, OnAPortraitScreenTheBoxFollowsTheHeight) {
  const GlTest::OrthoBox tall = GlTest::ProjectionBox(600, 800);
  EXPECT_DOUBLE_EQ(tall.Left, -100.0);
  EXPECT_DOUBLE_EQ(tall.Right, 100.0);
  EXPECT_DOUBLE_EQ(tall.Bottom, 100.0 * 800 / 600);
  EXPECT_DOUBLE_EQ(tall.Top, -100.0 * 800 / 600);
  // A height of 0 counts as 1.
  EXPECT_DOUBLE_EQ(GlTest::ProjectionBox(640, 0).Right, 64000.0);
}

platform::LResult PLATFORM_CALLBACK PlainProc(platform::Hwnd window, uint32_t message, platform::WParam wParam,
                                              platform::LParam lParam) {
  return platform::DefWindowProcA(window, message, wParam, lParam);
}

// A 64x32 window at (10, 20) on a 640x480 screen of the fixture's depth.
class SimOpenGL : public window_test::WindowFixture {
 protected:
  explicit SimOpenGL(int32_t bits) : WindowFixture(bits) {}
  void SetUp() override {
    Register("GL", &PlainProc);
    Window = platform::CreateWindowExA(0, "GL", "GL", platform::WsPopup | platform::WsVisible, 10, 20, 64, 32, 0, 0,
                                       0, nullptr);
    ASSERT_NE(Window, 0u);
    Dc = platform::GetDC(Window);
  }
  void TearDown() override {
    platform::wglMakeCurrent(0, 0);
    platform::ReleaseDC(Window, Dc);
    platform::DestroyWindow(Window);
  }
  platform::PixelFormatDescriptor Describe() {
    platform::PixelFormatDescriptor format;
    EXPECT_EQ(platform::DescribePixelFormat(Dc, 1, sizeof format, &format), 1);
    return format;
  }
  // A context made current on the window, the frame cleared to red with its top half green.
  void DrawRedWithGreenTop() {
    platform::PixelFormatDescriptor request;
    ASSERT_EQ(platform::ChoosePixelFormat(Dc, &request), 1);
    ASSERT_TRUE(platform::SetPixelFormat(Dc, 1, &request));
    Context = platform::wglCreateContext(Dc);
    ASSERT_NE(Context, 0u);
    ASSERT_TRUE(platform::wglMakeCurrent(Dc, Context));
    glClearColor(1, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 16, 64, 16);
    glClearColor(0, 1, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    ASSERT_TRUE(platform::SwapBuffers(Dc));
  }
  static uint32_t Pixel(int32_t x, int32_t y) {
    const platform::sim::Surface& s = platform::sim::ScreenSurface();
    const uint8_t* p = s.Row(y) + x * s.BytesPerPixel();
    uint32_t value = 0;
    for (int i = 0; i < s.BytesPerPixel(); ++i) value |= static_cast<uint32_t>(p[i]) << (8 * i);
    return value;
  }
  platform::Hwnd Window = 0;
  platform::Hdc Dc = 0;
  platform::HGlrc Context = 0;
};

class SimOpenGL16 : public SimOpenGL {
 protected:
  SimOpenGL16() : SimOpenGL(16) {}
};
class SimOpenGL32 : public SimOpenGL {
 protected:
  SimOpenGL32() : SimOpenGL(32) {}
};

TEST_F(SimOpenGL16, AFramePresentsInto565PixelsAtTheWindowsPlaceTopRowFirst) {
  const platform::PixelFormatDescriptor format = Describe();
  EXPECT_EQ(format.ColorBits, 16);
  EXPECT_EQ(format.RedShift, 11);
  EXPECT_EQ(format.Flags & platform::PfdNeedPalette, 0u);
  DrawRedWithGreenTop();
  EXPECT_EQ(Pixel(10, 20), 0x07E0u);  // top left: green
  EXPECT_EQ(Pixel(73, 35), 0x07E0u);
  EXPECT_EQ(Pixel(10, 36), 0xF800u);  // bottom half: red
  EXPECT_EQ(Pixel(73, 51), 0xF800u);
  EXPECT_EQ(Pixel(9, 20), 0u);        // beside and below the window: untouched
  EXPECT_EQ(Pixel(74, 51), 0u);
  EXPECT_EQ(Pixel(10, 52), 0u);
  EXPECT_EQ(platform::GetPixelFormat(Dc), 1);
  EXPECT_TRUE(platform::wglDeleteContext(Context));
  EXPECT_FALSE(platform::wglDeleteContext(Context));
}

TEST_F(SimOpenGL32, AContextNeedsAFormatAndPresentsOnlyThroughItsWindow) {
  EXPECT_EQ(platform::wglCreateContext(Dc), 0u);
  EXPECT_FALSE(platform::SetPixelFormat(Dc, 2, nullptr));
  EXPECT_EQ(platform::GetPixelFormat(Dc), 0);
  DrawRedWithGreenTop();
  EXPECT_EQ(Pixel(40, 25), 0x0000FF00u);
  EXPECT_EQ(Pixel(40, 45), 0x00FF0000u);
  // The screen's context is not the window's: nothing to present through it.
  const platform::Hdc screen = platform::GetDC(0);
  EXPECT_FALSE(platform::SwapBuffers(screen));
  platform::ReleaseDC(0, screen);
  platform::wglDeleteContext(Context);
}

TEST_F(SimOpenGL32, AnAdapterWithoutOpenGLHasNoFormat) {
  platform::sim::DisplayConfig config = window_test::Screen(32);
  config.Adapters[0].OpenGLAvailable = false;
  platform::sim::SetDisplayConfig(config);
  platform::PixelFormatDescriptor request;
  EXPECT_EQ(platform::ChoosePixelFormat(Dc, &request), 0);
  EXPECT_FALSE(platform::SetPixelFormat(Dc, 1, &request));
  EXPECT_EQ(platform::DescribePixelFormat(Dc, 1, sizeof request, &request), 0);
  EXPECT_EQ(platform::wglCreateContext(Dc), 0u);
}

}  // namespace
