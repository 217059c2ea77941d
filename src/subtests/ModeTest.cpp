#include "subtests/ModeTest.h"

#include <cstdio>
#include <cstring>

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/ScreenSubtestTable.h"

namespace {

const int32_t kCheckModeFailed = -990374;

float Scaled(double factor, int32_t value) { return static_cast<float>(factor * value); }

}  // namespace

ModeTest::ModeTest() : Flow(*this, ModeTestTraits()) {
  SetDescription("Tests the different video modes using RGB shaded rectangles");
  AddScreenArguments(*this);
  AddModeArguments(*this);
  AddArgument("-BPP", KestArgument::TypeInteger, "0",
              "This value specifies the refresh BPP.",
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-Width", KestArgument::TypeInteger, "0",
              "This value specifies the refresh Width.",
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-Height", KestArgument::TypeInteger, "0",
              "This value specifies the refresh Height.",
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-CheckMode", KestArgument::TypeBoolean, "false",
              " This option will check if test supports the\n\theight, width and refresh rate values provided.",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-RefreshRate", KestArgument::TypeInteger, "0",
              "This is refresh rate.",
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-CheckRefreshRate", KestArgument::TypeBoolean, "false",
              "This option will select refresh rate to be tested.");
}

ModeTest::~ModeTest() = default;

bool ModeTest::Run() { return Flow.Run(); }

bool ModeTest::ExtraRow(const ScreenFlow& flow, ScreenMode& row) {
  const KestDiag& test = flow.Subtest();
  row = ScreenMode{test.GetArgumentInt("-Width", 0), test.GetArgumentInt("-Height", 0), test.GetArgumentInt("-BPP", 0)};
  return row.Width != 0 && row.Height != 0 && row.Bits != 0;
}

void ModeTest::CheckModes(ScreenFlow& flow, bool& pass, int32_t& code) {
  const KestDiag& test = flow.Subtest();
  if (test.GetArgumentBool("-CheckRefreshRate", false)) flow.RefreshRate = test.GetArgumentInt("-RefreshRate", 0);
  flow.CheckMode = test.GetArgumentBool("-CheckMode", false);
  if (!flow.CheckMode) return;
  const int32_t width = test.GetArgumentInt("-Width", 0);
  const int32_t height = test.GetArgumentInt("-Height", 0);
  const int32_t bits = test.GetArgumentInt("-BPP", 0);
  if (!flow.ModeAvailable(width, height, bits)) {
    pass = false;
    code = kCheckModeFailed;
    return;
  }
  SetDisplayMode(width, height, bits);
  const DisplayModeEntry screen = ReadScreenMode();
  pass = screen.Width == width && screen.Height == height && screen.BitsPerPixel == bits;
  code = pass ? 0 : kCheckModeFailed;
}

void ModeTest::DrawBox(platform::Hdc dc, float left, float right, float top, float bottom) {
  const auto l = static_cast<int32_t>(left), r = static_cast<int32_t>(right);
  const auto t = static_cast<int32_t>(top), b = static_cast<int32_t>(bottom);
  platform::MoveToEx(dc, l, t, nullptr);
  platform::LineTo(dc, r, t);
  platform::MoveToEx(dc, r, t, nullptr);
  platform::LineTo(dc, r, b);
  platform::MoveToEx(dc, r, b, nullptr);
  platform::LineTo(dc, l, b);
  platform::MoveToEx(dc, l, b, nullptr);
  platform::LineTo(dc, l, t);
}

void ModeTest::ShadeBox(platform::Hwnd window, platform::Hdc /*dc*/, float left, float nextEdge, float top,
                        float bottom, int32_t red, int32_t green, int32_t blue, float right, int32_t step) {
  do {
    platform::Rect slice;
    slice.Left = static_cast<int32_t>(left);
    slice.Top = static_cast<int32_t>(top);
    slice.Right = static_cast<int32_t>(nextEdge);
    slice.Bottom = static_cast<int32_t>(bottom);
    const platform::HBrush brush = platform::CreateSolidBrush(
        platform::Rgb(static_cast<uint8_t>(red), static_cast<uint8_t>(green), static_cast<uint8_t>(blue)));
    const platform::Hdc own = platform::GetDC(window);
    const platform::HGdiObj old = platform::SelectObject(own, brush);
    platform::FillRect(own, &slice, brush);
    platform::SelectObject(own, old);
    platform::ReleaseDC(window, own);
    platform::DeleteObject(brush);
    left = nextEdge;
    nextEdge = nextEdge + static_cast<float>(step);
    if (red != 0) --red;
    if (green != 0) --green;
    if (blue != 0) --blue;
  } while (!(nextEdge > right));
}

void ModeTest::DrawTestScreen(platform::Hwnd window, platform::Hdc dc) {
  const DisplayModeEntry screen = ReadScreenMode();
  const int32_t W = screen.Width, H = screen.Height, D = screen.BitsPerPixel;

  const platform::HPen pen = platform::CreatePen(platform::PsSolid, 1, 0);
  const platform::Hdc own = platform::GetDC(window);
  const platform::HGdiObj oldPen = platform::SelectObject(own, pen);

  for (const int32_t inset : {5, 10, 15})
    DrawBox(dc, static_cast<float>(inset), static_cast<float>(W - inset), static_cast<float>(inset),
            static_cast<float>(H - inset));

  char label[64];
  std::snprintf(label, sizeof label, "%d x %d x %d", W, H, D);
  platform::SetTextColor(dc, 0);
  const int32_t labelLength = static_cast<int32_t>(std::strlen(label));
  if (W == 320 && H == 200) {
    platform::SetBkColor(dc, 0xFFFFFF);
    platform::TextOutA(dc, 105, 5, label, labelLength);
  } else {
    platform::SetBkColor(dc, 0xC0C0C0);
    platform::TextOutA(dc, static_cast<int32_t>(0.45 * W), static_cast<int32_t>(0.05 * H), label, labelLength);
  }

  const float left = Scaled(0.1, W);
  const float right = Scaled(0.9, W);
  int32_t step = static_cast<int32_t>((right - left) * 0.00390625);
  // Below a width of 320 the step would be 0 and a bar would never end.
  if (step < 1) step = 1;
  const struct {
    double Top;
    int32_t Red, Green, Blue;
  } bars[] = {{0.2, 255, 0, 0}, {0.35, 0, 255, 0}, {0.5, 0, 0, 255}, {0.65, 255, 255, 255}};
  for (const auto& bar : bars) {
    const float top = Scaled(bar.Top, H);
    const float bottom = static_cast<float>(bar.Top * H + 0.125 * H);
    ShadeBox(window, dc, left, left + static_cast<float>(step), top, bottom, bar.Red, bar.Green, bar.Blue, right, step);
    DrawBox(dc, left, right, top, bottom);
  }

  const struct {
    double Left, Right;
    int32_t Red, Green, Blue;
  } swatches[] = {{0.3, 0.35, 255, 0, 0},   {0.35, 0.4, 0, 255, 0},   {0.4, 0.45, 0, 0, 255},
                  {0.45, 0.5, 255, 255, 0}, {0.5, 0.55, 0, 255, 255}, {0.55, 0.6, 255, 0, 255},
                  {0.6, 0.65, 0, 0, 0},     {0.65, 0.7, 255, 255, 255}};
  const float swatchTop = Scaled(0.1, H);
  const float swatchBottom = static_cast<float>(0.05 * H + 0.1 * H);
  for (const auto& swatch : swatches) {
    const float swatchLeft = Scaled(swatch.Left, W);
    const float swatchRight = Scaled(swatch.Right, W);
    ShadeBox(window, dc, swatchLeft, swatchRight, swatchTop, swatchBottom, swatch.Red, swatch.Green, swatch.Blue,
             swatchRight, step);
    DrawBox(dc, swatchLeft, swatchRight, swatchTop, swatchBottom);
  }

  platform::SelectObject(own, oldPen);
  platform::ReleaseDC(window, own);
  platform::DeleteObject(pen);
}
