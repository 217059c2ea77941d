#pragma once

#include <cstdint>
#include <string>

#include "framework/KestDiag.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/DirectDrawSession.h"
#include "screen/ScreenFlow.h"

// 240 stripes out of a logical palette of red, green and blue ramps in one display mode, judged by
// three digits pressed in order or by a checksum.
class PaletteTest : public KestDiag {
 public:
  PaletteTest();
  ~PaletteTest() override;
  PaletteTest(const PaletteTest&) = delete;
  PaletteTest& operator=(const PaletteTest&) = delete;
  bool Run() override;

  // The test mode of a lowered -Resolution text: "current" is `current`, else exactly three
  // decimal numbers, width, height and bits per pixel. False for anything else.
  static bool ParseResolution(const std::string& text, const DisplayModeEntry& current, DisplayModeEntry& mode);

  // Room for the header and 256 entries, as the picture allocates it.
  static constexpr size_t PaletteBlockSize = 1032;
  // Fills a block of PaletteBlockSize bytes with the three ramps.
  static void BuildPalette(platform::LogPalette* palette);

  struct StripeLayout {
    int32_t Stripe;
    int32_t Margin;
    int32_t Top;
    int32_t Bottom;
  };
  static StripeLayout Layout(int32_t width, int32_t height);

  // Realizes the ramps on `dc` and fills the 240 stripes of a screen of that size. Returns the
  // palette, still selected, for the caller to unrealize and delete (0 if it could not be made).
  static platform::HPalette DrawStripes(platform::Hdc dc, platform::LogPalette* block, int32_t width, int32_t height);

  // The picture, the three digits, and on an unattended screen the request for the verification:
  // the whole WM_PAINT, as the palette and the second context outlive the digits.
  static void Paint(ScreenFlow& flow, platform::Hwnd window);

  int32_t RunPalettePass();

  std::string Resolution;
  int16_t TestWidth = 0;
  int16_t TestHeight = 0;
  int16_t TestBits = 0;

 private:
  ScreenFlow Flow;
};
