#pragma once

#include "framework/KestDiag.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/ScreenFlow.h"

// Shows a card of shaded colour bars in each chosen display mode, judged by the operator or by a
// checksum.
class ModeTest : public KestDiag {
 public:
  ModeTest();
  ~ModeTest() override;
  bool Run() override;

  // The test card, drawn on every paint.
  static void DrawTestScreen(platform::Hwnd window, platform::Hdc dc);
  // The 65th row of the table: -Width x -Height x -BPP, selected when none of them is 0.
  static bool ExtraRow(const ScreenFlow& flow, ScreenMode& row);
  // -CheckRefreshRate and -CheckMode, before any window.
  static void CheckModes(ScreenFlow& flow, bool& pass, int32_t& code);
  // A frame through the four corners, the values truncated.
  static void DrawBox(platform::Hdc dc, float left, float right, float top, float bottom);
  // Slices of `step` from `left` towards `right`, each one darker by 1 in every colour that is
  // not 0; one slice when `nextEdge` is `right` already.
  static void ShadeBox(platform::Hwnd window, platform::Hdc dc, float left, float nextEdge, float top, float bottom,
                       int32_t red, int32_t green, int32_t blue, float right, int32_t step);

 private:
  ScreenFlow Flow;
};
