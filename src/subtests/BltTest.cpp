#include "subtests/BltTest.h"

#include "framework/KestArgument.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "screen/MissingFiles.h"
#include "screen/ScreenArguments.h"
#include "subtests/ScreenSubtestTable.h"

namespace {

const uint32_t kMissingMedia = 990618;
const char* const kBitmapName = "Ball.bmp";
const int32_t kBitmapSize = 64;

}  // namespace

const uint32_t BltTest::RasterOperations[RasterOperationCount] = {
    platform::SrcCopy,  platform::Blackness,  platform::MergeCopy, platform::DstInvert,  platform::NotSrcCopy,
    platform::NotSrcErase, platform::PatCopy, platform::PatInvert, platform::MergePaint, platform::PatPaint,
    platform::SrcAnd,   platform::SrcErase,   platform::SrcInvert, platform::SrcPaint,   platform::Whiteness};

BltTest::BltTest() : Flow(*this, BltTestTraits()) {
  SetDescription("Tests the Blt capability of the Video Card.");
  AddScreenArguments(*this);
  AddModeArguments(*this);
}

BltTest::~BltTest() = default;

bool BltTest::Run() { return Flow.Run(); }

void BltTest::CheckMedia() {
  const std::string missing = FindMissingFiles({"ball.bmp", nullptr});
  if (missing.empty()) return;
  KestException* failure = new KestException(kMissingMedia);
  failure->AddMessage(CategoryDeviceErrors, 30, missing);
  throw failure;
}

void BltTest::DrawTestScreen(platform::Hwnd window, platform::Hdc dc, bool plantFault) {
  platform::Rect client;
  platform::GetClientRect(window, &client);

  const platform::Hdc memory = platform::CreateCompatibleDC(dc);
  platform::SetMapMode(memory, platform::GetMapMode(dc));
  platform::Point source;
  platform::DPtoLP(memory, &source, 1);

  const platform::HBitmap bitmap = platform::LoadImageA(0, kBitmapName, platform::ImageBitmap, kBitmapSize,
                                                        kBitmapSize, platform::LrLoadFromFile);
  platform::Bitmap info;
  platform::GetObjectA(bitmap, static_cast<int32_t>(sizeof info), &info);
  const platform::HGdiObj oldBitmap = platform::SelectObject(memory, bitmap);
  const int32_t width = info.Width, height = info.Height;

  const platform::HBrush brush = platform::CreateSolidBrush(PatternColor);
  const platform::HGdiObj oldBrush = platform::SelectObject(dc, brush);

  // A file that exists but does not load leaves a zero size: no tile, and no endless loop.
  if (width > 0 && height > 0) {
    for (int32_t x = 0; x < client.Right; x += width)
      platform::BitBlt(dc, x, 0, width, height, memory, source.X, source.Y, platform::SrcCopy);
    // Every further tile reads the first tile of the screen, and the operations run on across rows.
    int32_t index = 0;
    for (int32_t y = height; y < client.Bottom; y += height)
      for (int32_t x = 0; x < client.Right; x += width) {
        platform::BitBlt(dc, x, y, width, height, dc, source.X, source.Y, RasterOperations[index]);
        index = index == RasterOperationCount - 1 ? 0 : index + 1;
      }
  }

  if (plantFault) platform::SetPixelV(dc, 99, 100, 0x0000FF);
  platform::SelectObject(memory, oldBitmap);
  platform::DeleteDC(memory);
  platform::SelectObject(dc, oldBrush);
  platform::DeleteObject(brush);
  platform::DeleteObject(bitmap);
}
