#pragma once

#include <cstdint>

#include "framework/KestDiag.h"
#include "platform/ddraw.h"
#include "platform/window.h"
#include "screen/DirectDrawSession.h"

// The memory behind the visible screen, through the display driver: the primary surface of the
// first of seven modes that DirectDraw offers, locked in exclusive full-screen mode, filled with
// random bytes and then with eight patterns, each read back.
class VideoMemoryTest : public KestDiag {
 public:
  VideoMemoryTest();
  ~VideoMemoryTest() override;
  VideoMemoryTest(const VideoMemoryTest&) = delete;
  VideoMemoryTest& operator=(const VideoMemoryTest&) = delete;
  bool Run() override;

  // What one test of the surface gives besides the failure codes of its steps.
  static constexpr int32_t SurfacePassed = 1;
  static constexpr int32_t BadByte = 0;

  // The walks over `rows` rows of `rowBytes` bytes that lie `pitch` bytes apart. The bytes between
  // the end of a row and the next row are neither written nor read.
  // Random bytes: rand() modulo 255 of the C runtime's generator, seeded with `seed`.
  static void FillRandom(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows, uint32_t& seed);
  // The pattern in every byte of every row.
  static void FillPattern(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows, uint8_t pattern);
  // Reads every byte once. At the first one that is not the pattern, writes the pattern there again
  // and stops: false.
  static bool ComparePattern(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows, uint8_t pattern);

 private:
  // One test of the surface: SurfacePassed, BadByte, or the code of the step that failed.
  int32_t TestSurfaceMemory();
  // Ends a test that failed after its window was made: the window goes, which gives up DirectDraw
  // and the mode, and its loop runs out so that the next window's loop starts afresh.
  int32_t Abandon(platform::Hwnd window, int32_t code);
  void ReleaseDirectDraw();
  static platform::LResult PLATFORM_CALLBACK WindowProc(platform::Hwnd window, uint32_t message,
                                                        platform::WParam wParam, platform::LParam lParam);

  DirectDrawSession session;
  platform::DirectDraw* directDraw = nullptr;
  platform::DirectDrawSurface* primarySurface = nullptr;
};
