#pragma once

#include <cstdint>
#include <string>

#include "framework/KestDiag.h"
#include "platform/window.h"

// A resolution as the display-change message gives it: "<width>x<height>x<bits per pixel>".
std::string ResolutionText(int32_t width, int32_t height, int32_t bitsPerPixel);

// Whether a change to width x height turns the screen the wrong way: it keeps the orientation
// (landscape while the width exceeds the height) that the screen had. A square screen is no fault.
bool KeepsOrientation(int32_t width, int32_t height, bool landscape);

class RotationTest : public KestDiag {
 public:
  RotationTest();
  ~RotationTest() override;
  bool Run() override;

 private:
  // Sets a "WxHxB" resolution at 60 Hz, else at the driver's choice of rate; true when it was set.
  static bool SetResolution(const std::string& text);
  static int32_t OnDisplayChange(platform::Hwnd window, uint32_t message, platform::WParam wParam,
                                 platform::LParam lParam);

  std::string InitialResolution;
  std::string ExpectedResolution;
  int32_t NumberOfRotations = 4;
  uint32_t Rotations = 0;
  bool Landscape = true;
};
