#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "framework/KestDiag.h"
#include "platform/display.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/ScreenArguments.h"

// A textured cube spinning about its vertical axis for 200 frames in a window in each chosen mode,
// on one display or on every display, judged by the operator's digit or by the screen's sum.
class OpenGL3DRenderingTest : public KestDiag {
 public:
  OpenGL3DRenderingTest();
  ~OpenGL3DRenderingTest() override;
  OpenGL3DRenderingTest(const OpenGL3DRenderingTest&) = delete;
  OpenGL3DRenderingTest& operator=(const OpenGL3DRenderingTest&) = delete;
  bool Run() override;

  // The texture's rows as GL takes them: RGB, each row TextureStride bytes. Only a 24-bit
  // uncompressed bottom-up image is converted; any other stays black. `pixels` holds `size` bytes
  // of the file's pixel rows, each padded to four bytes; rows it does not hold stay black too.
  static size_t TextureStride(int32_t width);
  static std::vector<uint8_t> ConvertTextureRows(const uint8_t* pixels, size_t size, int32_t width, int32_t height,
                                                 uint16_t bitCount, uint32_t compression);

  // The glOrtho box of a client area (bottom and top run the other way from the usual).
  struct OrthoBox {
    double Left;
    double Right;
    double Bottom;
    double Top;
  };
  static OrthoBox ProjectionBox(int32_t width, int32_t height);

  // The angle after one frame's step: below 0 it comes round by 360.
  static float WrapAngle(float angle);

  // On the current GL context: the display list that loads the texture file `name` (a file that
  // does not load leaves none), and one frame of the cube on a client area of that size turned by
  // the two angles.
  static uint32_t BuildTextureList(const char* name);
  static void DrawCubeFrame(uint32_t textureList, int32_t width, int32_t height, float firstAngle, float secondAngle);

 private:
  struct MonitorRecord {
    platform::DisplayRect Monitor;
    platform::DisplayRect Work;
    uint32_t Flags = 0;
    int32_t DeviceHeight = 0;
    int32_t DeviceWidth = 0;
  };

  bool BuildModeList();
  int32_t RunOnDisplays();
  void RunOneDisplay();
  int32_t SingleDisplayResult() const;
  void RunTestWindow();
  void EnumerateMonitors();
  static platform::LResult PLATFORM_CALLBACK OpenGLWindowProc(platform::Hwnd window, uint32_t message,
                                                              platform::WParam wParam, platform::LParam lParam);
  void OnCreate(platform::Hwnd window);
  void OnPaint(platform::Hwnd window);
  void OnVerify(platform::Hwnd window);
  void OnDestroy(platform::Hwnd window);
  void HandleTestKey(uint32_t key, platform::Hwnd window);
  void BuildPalette();
  void DrawCube();
  void SetProjection(int32_t width, int32_t height);
  void CaptureFrame(int32_t width, int32_t height, int32_t bits);

  // Arguments.
  bool Interactive = true;
  int32_t Display = 0;
  int32_t Retries = 1;
  bool ConvertVideo = false;
  bool PrimaryDisp = false;
  bool ActiveDisplay = false;
  bool TestAll = false;
  bool Calibrate = false;
  int32_t Prompt = 0;
  bool CaptureScreen = false;
  std::string ScreenshotDir;
  bool VerifyChecksum = true;

  std::vector<ScreenMode> Modes;
  std::vector<MonitorRecord> Monitors;
  int32_t DisplayUnderTest = 0;
  int32_t WrongKeys = 0;
  int32_t RetriesLeft = 0;
  bool WindowPassed = false;
  float FirstAngle = 0.0f;
  float SecondAngle = 0.0f;
  int32_t ClientWidth = 0;
  int32_t ClientHeight = 0;
  platform::HPalette Palette = 0;
  int32_t PrimaryWidth = 0;
  int32_t PrimaryHeight = 0;
  // Whether the window has a pixel format and a current context; without one there is no picture.
  bool ContextReady = false;
  // A failure raised inside the window, raised again once its loop has ended.
  std::exception_ptr PendingFailure;
};
