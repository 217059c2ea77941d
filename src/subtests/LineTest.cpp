#include "subtests/LineTest.h"

#include "framework/KestArgument.h"
#include "screen/ScreenArguments.h"
#include "subtests/ScreenSubtestTable.h"

namespace {

const int32_t kSpacing = 10;

}  // namespace

LineTest::LineTest() : Flow(*this, LineTestTraits()) {
  SetDescription("Tests the line acceleration operation of the video card using black lines");
  AddScreenArguments(*this);
  AddModeArguments(*this);
}

LineTest::~LineTest() = default;

bool LineTest::Run() { return Flow.Run(); }

void LineTest::DrawTestScreen(platform::Hwnd window, platform::Hdc dc) {
  platform::Rect client;
  platform::GetClientRect(window, &client);
  const int32_t centreX = client.Right / 2, centreY = client.Bottom / 2;
  const auto line = [dc, centreX, centreY](int32_t x, int32_t y) {
    platform::MoveToEx(dc, x, y, nullptr);
    platform::LineTo(dc, centreX, centreY);
  };

  const platform::HPen solid = platform::CreatePen(platform::PsSolid, 1, 0x000000);
  const platform::HPen dashDot = platform::CreatePen(platform::PsDashDot, 1, 0x0000FF);
  const platform::HPen dotted = platform::CreatePen(platform::PsDot, 1, 0x00FF00);
  const platform::HPen dashed = platform::CreatePen(platform::PsDash, 1, 0xFF0000);

  const platform::HGdiObj oldPen = platform::SelectObject(dc, solid);
  for (int32_t x = 0; x < client.Right; x += kSpacing) line(x, 0);
  platform::SelectObject(dc, dashDot);
  for (int32_t y = client.Top; y < client.Bottom; y += kSpacing) line(client.Right, y);
  platform::SelectObject(dc, dotted);
  for (int32_t x = 0; x < client.Right; x += kSpacing) line(x, client.Bottom);
  platform::SelectObject(dc, dashed);
  for (int32_t y = client.Top; y < client.Bottom; y += kSpacing) line(client.Left, y);

  const platform::HBrush brush = platform::CreateSolidBrush(0x000000);
  const platform::HGdiObj oldBrush = platform::SelectObject(dc, brush);
  platform::SetBkColor(dc, 0xFFFFFF);
  platform::SetTextColor(dc, 0x000000);

  platform::SelectObject(dc, oldPen);
  for (const platform::HPen pen : {solid, dashDot, dotted, dashed}) platform::DeleteObject(pen);
  platform::SelectObject(dc, oldBrush);
  platform::DeleteObject(brush);
}
