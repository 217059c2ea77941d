#pragma once

#include <cstdint>

#include "framework/KestDiag.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/ScreenFlow.h"

// Tiles a small bitmap over the screen through the fifteen named raster operations of GDI in each
// chosen display mode, judged by the operator or by a checksum.
class BltTest : public KestDiag {
 public:
  BltTest();
  ~BltTest() override;
  bool Run() override;

  static constexpr int32_t RasterOperationCount = 15;
  static const uint32_t RasterOperations[RasterOperationCount];
  // The pattern of the operations that use one: red 0x9B, green 0xFF, blue 0x32.
  static constexpr platform::ColorRef PatternColor = 0x32FF9B;

  // The picture: the bitmap along the top row, then tiles of the first tile through the raster
  // operations in turn. `plantFault` adds the red pixel at (99, 100) that the analysis must find.
  static void DrawTestScreen(platform::Hwnd window, platform::Hdc dc, bool plantFault);
  // ball.bmp must lie in the working directory (KestException 990618).
  static void CheckMedia();

 private:
  ScreenFlow Flow;
};
