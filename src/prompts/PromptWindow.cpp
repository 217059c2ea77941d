#include "prompts/PromptWindow.h"

#include <algorithm>
#include <vector>

#include "framework/Kestout.h"
#include "framework/MessageCatalog.h"
#include "platform/display.h"
#include "platform/gdi.h"
#include "platform/syscolor_brush.h"
#include "text/TextHelpers.h"

using namespace platform;

namespace {

constexpr uint32_t ClassStyleRedraw = CsHRedraw | CsVRedraw;
constexpr uint32_t ImageWindowStyle = 0x90840001;  // popup, visible, border, sizing frame
constexpr uint32_t PlainWindowStyle = 0x90800001;  // popup, visible, border
constexpr uint32_t ButtonStyle = 0x50010300;
constexpr uint32_t DefaultButtonStyle = 0x50010301;
constexpr uint32_t OwnerDrawnButtonStyle = 0x5001030B;
constexpr uint32_t TextStyle = 0x50802000;
constexpr uint32_t PictureStyle = 0x5000000E;
constexpr uint32_t FailedPictureStyle = 0x50800000;
constexpr uint32_t HorizontalBarStyle = 0x50000004;
constexpr uint32_t VerticalBarStyle = 0x50000005;
constexpr uint32_t ShowNoMoveNoSize = 0x43;
constexpr uint32_t OnTopTimer = 0;

Hwnd MakeControl(const wchar_t* className, const std::wstring& text, uint32_t style, const Rect& r, Hwnd parent,
                 int32_t id) {
  return CreateWindowExW(0, className, text.c_str(), style, r.Left, r.Top, r.Right - r.Left, r.Bottom - r.Top,
                         parent, static_cast<HMenu>(id), 0, nullptr);
}

void Place(Hwnd control, const Rect& r) {
  if (control != 0) MoveWindow(control, r.Left, r.Top, r.Right - r.Left, r.Bottom - r.Top, true);
}

bool IsButtonId(int32_t id) { return id >= FirstButtonId && id <= LastButtonId; }

void SetUpBar(Hwnd bar, int32_t maximum, int32_t page, bool needed) {
  if (bar == 0) return;
  ScrollInfo info;
  info.Mask = SifRange | SifPage | SifPos;
  info.Min = 0;
  info.Max = maximum;
  info.Page = static_cast<uint32_t>(std::max(page, 0));
  info.Pos = 0;
  SetScrollInfo(bar, SbCtl, &info, true);
  ShowScrollBar(bar, SbCtl, needed);
}

// The text control, the picture and its bars, and the button row for the present client size.
void LayOut(PromptState& s) {
  const ImagePromptLayout l = LayOutImagePrompt(s.clientWidth, s.clientHeight, s.hasText, s.hasImage || s.imageFailed);
  Place(s.textControl, l.Text);
  if (s.imageControl != 0) {
    Place(s.imageControl, l.Image);
    Rect view;
    GetClientRect(s.imageControl, &view);
    s.viewWidth = view.Right;
    s.viewHeight = view.Bottom;
  }
  Place(s.horizontalBar, l.HorizontalBar);
  Place(s.verticalBar, l.VerticalBar);
  s.horizontalPosition = 0;
  s.verticalPosition = 0;
  SetUpBar(s.horizontalBar, s.imageWidth, s.viewWidth, s.imageWidth > s.viewWidth);
  SetUpBar(s.verticalBar, s.imageHeight, s.viewHeight, s.imageHeight > s.viewHeight);
}

// The picture's place in the window's client area.
Rect ImageArea(const PromptState& s) {
  if (s.imageControl == 0) return Rect{};
  return LayOutImagePrompt(s.clientWidth, s.clientHeight, s.hasText, true).Image;
}

void PaintImage(PromptState& s) {
  if (s.imageDC == 0) s.imageDC = GetDC(s.imageControl);
  GpGraphics graphics = 0;
  GpImage image = 0;
  if (GdipCreateFromHDC(s.imageDC, &graphics) == GpOk) {
    if (GdipLoadImageFromFile(s.imagePath.c_str(), &image) == GpOk) {
      GdipDrawImageRectI(graphics, image, -s.horizontalPosition, -s.verticalPosition, s.imageWidth, s.imageHeight);
      GdipDisposeImage(image);
    }
    GdipDeleteGraphics(graphics);
  }
  const Rect area = ImageArea(s);
  ValidateRect(s.window, &area);
}

void Scroll(PromptState& s, Hwnd bar, uint16_t code, uint16_t thumb, int32_t limit, int32_t& position) {
  int32_t pos = GetScrollPos(bar, SbCtl);
  switch (code) {
    case SbLineUp:
      if (pos > 0) --pos;
      break;
    case SbLineDown:
      if (pos < limit) ++pos;
      break;
    case SbThumbPosition:
    case SbThumbTrack:
      pos = thumb;
      break;
    case SbTop:
      pos = 0;
      break;
    case SbBottom:
      pos = limit;
      break;
    default:
      return;  // the page codes do nothing
  }
  SetScrollPos(bar, SbCtl, pos, true);
  position = GetScrollPos(bar, SbCtl);
  const Rect area = ImageArea(s);
  InvalidateRect(s.window, &area, false);
}

// A close request: what the platform's message box does with its button set. Where the set has
// Cancel, closing is Cancel; a lone OK is OK; Yes/No and Abort/Retry/Ignore cannot be closed.
PromptResult CloseAnswer(uint32_t set) {
  const ButtonSet buttons = ButtonSetOf(set);
  if (std::find(buttons.Buttons.begin(), buttons.Buttons.end(), PromptCancel) != buttons.Buttons.end())
    return PromptCancel;
  return buttons.Buttons.size() == 1 ? PromptOk : PromptNoAnswer;
}

void FocusFirstButton(Hwnd window) {
  Hwnd first = GetWindow(window, GwChild);
  if (first != 0 && IsButtonId(GetDlgCtrlID(first))) SetFocus(first);
}

struct Start {
  Hwnd window = 0;
  std::vector<std::wstring> labels;
  ButtonSet set;
};

// Steps common to both shapes: the class, the window on top or in front, the labels and the font.
Start OpenWindow(PromptState& s, const PromptKind& kind, const std::wstring& title, uint32_t style, int32_t x,
                 int32_t y, int32_t width, int32_t height, int32_t labelBase) {
  WndClassA c;
  c.Style = ClassStyleRedraw;
  c.Proc = kind.handler;
  c.WindowExtra = PromptWindowExtra;
  c.Cursor = LoadCursorA(0, IdcArrow);
  c.Background = kind.background != 0 ? kind.background : GetSysColorBrush(ColorBtnFace);
  c.ClassName = kind.className;
  RegisterClassA(&c);
  s.title = TitleOrProgramPath(title);
  const std::wstring className = Widen(kind.className);
  Start start;
  start.window = CreateWindowExW(0, className.c_str(), s.title.c_str(), style, x, y, width, height, 0, 0, 0,
                                 kind.createParam);
  SetWindowPos(start.window, s.onTop ? HwndTopmost : HwndTop, 0, 0, 0, 0, ShowNoMoveNoSize);
  start.set = ButtonSetOf(s.buttonSet);
  for (PromptResult b : start.set.Buttons)
    start.labels.push_back(GetWideMessageTextOr(ButtonLabelNumber(b), L"", ButtonDefaultLabel(b)));
  s.labelFont = MakeLabelFont();
  s.buttonWidth = ButtonWidth(start.labels, LabelRate(GetLocale(), labelBase));
  return start;
}

void MakeButtons(PromptState& s, const PromptKind& kind, const Start& start, const std::vector<Rect>& places) {
  Hwnd focus = 0;
  for (size_t i = 0; i < start.set.Buttons.size(); ++i) {
    const PromptResult b = start.set.Buttons[i];
    const bool isDefault = b == start.set.Default;
    uint32_t style = isDefault ? DefaultButtonStyle : ButtonStyle;
    // The Retry of Retry/Cancel keeps the system's look: it is the one default button that is not
    // drawn by the window.
    if (kind.ownerDrawnButtons && !(s.buttonSet == 5 && b == PromptRetry)) style = OwnerDrawnButtonStyle;
    Hwnd button = MakeControl(L"BUTTON", start.labels[i], style, places[i], start.window, 0);
    SetWindowLongA(button, GwlId, ButtonIdBase + b);
    SendMessageA(button, WmSetFont, static_cast<WParam>(s.labelFont), 1);
    if (isDefault) focus = button;
  }
  if (focus != 0) SetFocus(focus);
}

PromptResult Loop(PromptState& s, PromptResult* result) {
  Msg msg;
  int32_t got;
  while ((got = GetMessageA(&msg, 0, 0, 0)) > 0) {
    if (*result != PromptNoAnswer) break;
    if (!IsDialogMessageA(s.window, &msg)) {
      TranslateMessage(&msg);
      DispatchMessageA(&msg);
    }
  }
  // The quit was meant for the loop of the window beneath (a test window that ended while the
  // prompt was up): it gets it again, as it would from a message box.
  if (got == 0) PostQuitMessage(static_cast<int32_t>(msg.Wparam));
  return *result;
}

void Close(PromptState& s, const PromptKind& kind) {
  DeleteObject(s.labelFont);
  if (s.imageDC != 0) ReleaseDC(s.imageControl, s.imageDC);
  DestroyWindow(s.window);
  UnregisterClassA(kind.className, 0);
}

}  // namespace

std::wstring TitleOrProgramPath(const std::wstring& title) { return title.empty() ? Widen(GetModulePath()) : title; }

HFont MakeLabelFont() {
  LogFontA font;
  GetObjectA(GetStockObject(DefaultGuiFont), sizeof font, &font);
  font.Height = 18;
  font.Weight = 600;
  return CreateFontIndirectA(&font);
}

PromptResult RunImagePrompt(PromptState& s, const PromptKind& kind, PromptResult* result, const std::wstring& text,
                            const std::wstring& title, uint32_t style, const std::wstring& imagePath) {
  const uint32_t onTop = style & PromptOnTop;
  s = PromptState{};
  s.onTop = onTop != 0;
  s.buttonSet = style & ~PromptOnTop;
  *result = PromptNoAnswer;
  uintptr_t token = 0;
  GdiplusStartupInput input;
  GdiplusStartup(&token, &input, nullptr);

  const int32_t screenWidth = GetSystemMetrics(SmCxScreen);
  const int32_t screenHeight = GetSystemMetrics(SmCyScreen);
  int32_t width = 540;
  int32_t height = 300;
  if (!imagePath.empty()) {
    std::wstring lower = imagePath;
    for (wchar_t& c : lower)
      if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    GpImage image = 0;
    uint32_t w = 0;
    uint32_t h = 0;
    if (GdipLoadImageFromFile(lower.c_str(), &image) == GpOk && GdipGetImageWidth(image, &w) == GpOk &&
        GdipGetImageHeight(image, &h) == GpOk) {
      s.imagePath = lower;
      s.imageWidth = static_cast<int32_t>(w);
      s.imageHeight = static_cast<int32_t>(h);
      const Size size = ImagePromptWindowSize(s.imageWidth, s.imageHeight, screenWidth, screenHeight);
      width = size.Cx;
      height = size.Cy;
      s.hasImage = true;
    } else {
      Kestout::LogMessage(CategoryDebug, 8, "Error Loading Image File.");
      s.imageFailed = true;
      s.imageWidth = 490;
      s.imageHeight = 160;
    }
    if (image != 0) GdipDisposeImage(image);
  }
  s.hasText = !text.empty();
  const Start start = OpenWindow(s, kind, title, ImageWindowStyle, screenWidth / 2 - width / 2,
                                 screenHeight / 2 - height / 2, width, height, 30);
  s.window = start.window;
  s.buttonCount = static_cast<int32_t>(start.set.Buttons.size());
  MakeButtons(s, kind, start, ButtonRow(s.clientWidth, s.clientHeight, s.buttonCount, s.buttonWidth));
  const ImagePromptLayout l = LayOutImagePrompt(s.clientWidth, s.clientHeight, s.hasText, s.hasImage || s.imageFailed);
  if (s.hasText) {
    s.textControl = MakeControl(L"STATIC", text, TextStyle, l.Text, s.window, TextControlId);
    SendMessageA(s.textControl, WmSetFont, static_cast<WParam>(s.labelFont), 1);
  }
  if (s.hasImage || s.imageFailed) {
    // A picture that did not load shows the path the caller gave, so the operator sees which file
    // was meant.
    s.imageControl = s.hasImage ? MakeControl(L"STATIC", L"", PictureStyle, l.Image, s.window, ImageControlId)
                                : MakeControl(L"STATIC", imagePath, FailedPictureStyle, l.Image, s.window, ImageControlId);
    SetClassLongA(s.imageControl, GclStyle, static_cast<int32_t>(ClassStyleRedraw));
    s.horizontalBar = MakeControl(L"SCROLLBAR", L"", HorizontalBarStyle, l.HorizontalBar, s.window, 0);
    s.verticalBar = MakeControl(L"SCROLLBAR", L"", VerticalBarStyle, l.VerticalBar, s.window, 0);
    LayOut(s);
  }
  const PromptResult answer = Loop(s, result);
  Close(s, kind);
  GdiplusShutdown(token);
  return answer;
}

PromptResult RunPlainPrompt(PromptState& s, const PromptKind& kind, PromptResult* result, const std::wstring& text,
                            const std::wstring& title, uint32_t style) {
  s = PromptState{};
  s.onTop = (style & PromptOnTop) != 0;
  s.buttonSet = style & ~PromptOnTop;
  *result = PromptNoAnswer;
  const int32_t screenWidth = GetSystemMetrics(SmCxScreen);
  const int32_t screenHeight = GetSystemMetrics(SmCyScreen);
  const Start start =
      OpenWindow(s, kind, title, PlainWindowStyle, screenWidth / 2 - 270, screenHeight / 2 - 145, 540, 290, 10);
  s.window = start.window;
  // hasText, hasImage and buttonCount stay unset: this window is never laid out again.
  MakeButtons(s, kind, start,
              ButtonColumn(s.clientWidth, static_cast<int32_t>(start.set.Buttons.size()), s.buttonWidth));
  s.textControl = MakeControl(L"STATIC", text, TextStyle, Rect{10, 10, 350, 280}, s.window, TextControlId);
  SendMessageA(s.textControl, WmSetFont, static_cast<WParam>(s.labelFont), 1);
  const PromptResult answer = Loop(s, result);
  Close(s, kind);
  return answer;
}

LResult HandlePromptMessage(PromptState& s, PromptResult& result, Hwnd window, uint32_t message, WParam wParam,
                            LParam lParam, bool& handled) {
  handled = true;
  switch (message) {
    case WmSize: {
      s.clientWidth = LoWord(static_cast<uintptr_t>(lParam));
      s.clientHeight = HiWord(static_cast<uintptr_t>(lParam));
      if (s.clientWidth == 0 || s.clientHeight == 0) return 0;
      if (s.window == 0) s.window = window;
      LayOut(s);
      const std::vector<Rect> row = ButtonRow(s.clientWidth, s.clientHeight, s.buttonCount, s.buttonWidth);
      size_t i = 0;
      for (Hwnd child = GetWindow(window, GwChild); child != 0; child = GetWindow(child, GwHwndNext)) {
        if (!IsButtonId(GetDlgCtrlID(child)) || i >= row.size()) continue;
        Place(child, row[i++]);
      }
      const Rect area = ImageArea(s);
      if (s.imageControl != 0) InvalidateRect(window, &area, true);
      return 0;
    }
    case WmGetMinMaxInfo: {
      auto* info = reinterpret_cast<MinMaxInfo*>(lParam);
      info->MinTrackSize = Point{540, 300};
      info->MaxTrackSize = Point{GetSystemMetrics(SmCxScreen), GetSystemMetrics(SmCyScreen)};
      return 0;
    }
    case WmSetFocus:
    case WmLButtonUp: {
      Hwnd focus = GetFocus();
      if (focus == 0 || GetParent(focus) != window) FocusFirstButton(window);
      handled = false;
      return 0;
    }
    case WmKillFocus:
      SetWindowPos(window, HwndTopmost, 0, 0, 0, 0, ShowNoMoveNoSize);
      SetForegroundWindow(window);
      SetActiveWindow(window);
      handled = false;
      return 0;
    case WmCommand: {
      const int32_t id = LoWord(wParam);
      if (IsButtonId(id)) result = id - ButtonIdBase;
      handled = false;
      return 0;
    }
    case WmClose: {
      const PromptResult answer = CloseAnswer(s.buttonSet);
      if (answer != PromptNoAnswer) {
        result = answer;
        // The loop looks at the answer when the next message comes: make sure one does.
        PostMessageA(window, WmNull, 0, 0);
      }
      return 0;
    }
    case WmHScroll:
    case WmVScroll: {
      const bool horizontal = message == WmHScroll;
      Hwnd bar = horizontal ? s.horizontalBar : s.verticalBar;
      if (bar != 0)
        Scroll(s, bar, LoWord(wParam), HiWord(wParam), horizontal ? s.imageWidth : s.imageHeight,
               horizontal ? s.horizontalPosition : s.verticalPosition);
      return 0;
    }
    case WmPaint:
      if (s.hasImage) PaintImage(s);
      handled = false;
      return 0;
    case WmSyncPaint:
      if (s.hasImage) PaintImage(s);
      return 0;
    default:
      handled = false;
      return 0;
  }
}

void ReclaimForeground(const PromptState& s, const std::wstring& title) {
  const Hwnd front = GetForegroundWindow();
  if (front == s.window) return;
  wchar_t text[512] = {};
  GetWindowTextW(front, text, 512);
  if (title == text) return;
  SetForegroundWindow(s.window);
  FocusFirstButton(s.window);
}
