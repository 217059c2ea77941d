#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "framework/KestDiag.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "screen/DirectDrawSession.h"

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

  int32_t RunPalettePass();
  DirectDrawSession* ShowTestWindow(int32_t width, int32_t height, int32_t bits);
  static platform::LResult PLATFORM_CALLBACK TestWindowProc(platform::Hwnd window, uint32_t message,
                                                            platform::WParam wParam, platform::LParam lParam);
  void HandleTestKey(uint32_t key, platform::Hwnd window);

  std::string Resolution;
  int16_t TestWidth = 0;
  int16_t TestHeight = 0;
  int16_t TestBits = 0;
  uint8_t RedConfirmed = 0;
  uint8_t GreenConfirmed = 0;

  DirectDrawSession* Session = nullptr;
  DisplayModeEntry StartMode;
  DisplayModeEntry FailedMode;
  bool ScreenPassed = true;
  int32_t WrongKeys = 0;
  bool Interactive = true;
  int32_t Retries = 1;
  bool Calibrate = false;
  int32_t Prompt = 0;
  bool VerifyChecksum = true;

 private:
  void Paint(platform::Hwnd window);
  void VerifyScreen(platform::Hwnd window);

  // A failure raised inside the window, raised again once its loop has ended.
  std::exception_ptr PendingFailure;
};
