#pragma once

#include "framework/KestDiag.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/ScreenFlow.h"

// Draws four fans of lines in four pens from the edges of the screen to its centre in each chosen
// display mode, judged by the operator or by a checksum.
class LineTest : public KestDiag {
 public:
  LineTest();
  ~LineTest() override;
  bool Run() override;

  // The picture: solid black from the top edge, dash-dot red from the right, dotted green from the
  // bottom, dashed blue from the left, a line every 10 pixels.
  static void DrawTestScreen(platform::Hwnd window, platform::Hdc dc);

 private:
  ScreenFlow Flow;
};
