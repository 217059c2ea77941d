// The system's control classes as far as the program's prompts need them, and the dialog
// keyboard handling of IsDialogMessage. Labels are drawn with GDI text, so that what a control
// shows is on the screen and in the text record like anything else drawn.
#include <algorithm>
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace platform {

namespace {

constexpr int32_t FontOffset = 0;  // where a control keeps its WM_SETFONT font
constexpr int32_t ControlExtra = static_cast<int32_t>(sizeof(intptr_t));
constexpr uint32_t ButtonTypeMask = 0x0F;
constexpr WParam IdOk = 1;
constexpr WParam IdCancel = 2;
constexpr uint32_t DmGetDefId = WmUser;
constexpr uint16_t DcHasDefId = 0x534B;

bool IsClass(Hwnd window, const wchar_t* name) {
  std::wstring cls = sim::WindowClassName(window);
  for (wchar_t& c : cls)
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
  return cls == name;
}

uint32_t StyleOf(Hwnd window) { return static_cast<uint32_t>(GetWindowLongA(window, GwlStyle)); }

bool IsPushButton(Hwnd window) {
  if (!IsClass(window, L"BUTTON")) return false;
  const uint32_t type = StyleOf(window) & ButtonTypeMask;
  return type == 0 || type == BsDefPushButton || type == BsOwnerDraw;
}

void Click(Hwnd button) {
  Hwnd parent = GetParent(button);
  if (parent != 0)
    SendMessageA(parent, WmCommand, MakeWParam(static_cast<uint16_t>(GetDlgCtrlID(button)), BnClicked),
                 static_cast<LParam>(button));
}

// Fills with the brush that the parent hands out for the control and draws the label.
void PaintLabel(Hwnd window, uint32_t colorMessage, uint32_t format, bool frame) {
  PaintStruct paint;
  Hdc dc = BeginPaint(window, &paint);
  Rect client;
  GetClientRect(window, &client);
  Hwnd parent = GetParent(window);
  HBrush brush = parent ? static_cast<HBrush>(SendMessageA(parent, colorMessage, static_cast<WParam>(dc), static_cast<LParam>(window)))
                        : 0;
  if (brush == 0) brush = 16;  // COLOR_BTNFACE + 1
  FillRect(dc, &client, brush);
  if (frame) FrameRect(dc, &client, GetStockObject(BlackBrush));
  HFont font = static_cast<HFont>(GetWindowLongPtrA(window, FontOffset));
  HGdiObj oldFont = font ? SelectObject(dc, font) : 0;
  SetBkMode(dc, Transparent);
  std::wstring text = sim::WindowTitle(window);
  Rect box = client;
  if (!text.empty()) DrawTextW(dc, text.c_str(), -1, &box, format);
  if (oldFont) SelectObject(dc, oldFont);
  EndPaint(window, &paint);
}

LResult CommonControlMessage(Hwnd window, uint32_t message, WParam wParam, LParam lParam, bool& handled) {
  handled = true;
  switch (message) {
    case WmSetFont:
      SetWindowLongPtrA(window, FontOffset, static_cast<intptr_t>(wParam));
      if (lParam != 0) InvalidateRect(window, nullptr, true);
      return 0;
    case WmGetFont:
      return GetWindowLongPtrA(window, FontOffset);
    case WmSetText: {
      LResult r = DefWindowProcA(window, message, wParam, lParam);
      InvalidateRect(window, nullptr, true);
      return r;
    }
    default:
      handled = false;
      return 0;
  }
}

LResult PLATFORM_CALLBACK ButtonProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  bool handled = false;
  LResult r = CommonControlMessage(window, message, wParam, lParam, handled);
  if (handled) return r;
  switch (message) {
    case WmLButtonDown:
      InvalidateRect(window, nullptr, true);  // the pushed look
      return 0;
    case WmLButtonUp:
    case BmClick:
      InvalidateRect(window, nullptr, true);
      Click(window);
      return 0;
    case WmKeyUp:
      if (wParam == VkSpace) Click(window);
      return 0;
    case WmSetFocus:
    case WmKillFocus:
      return 0;
    case WmPaint: {
      if ((StyleOf(window) & ButtonTypeMask) == BsOwnerDraw) {
        PaintStruct paint;
        Hdc dc = BeginPaint(window, &paint);
        DrawItemStruct item;
        item.CtlType = OdtButton;
        item.CtlId = static_cast<uint32_t>(GetDlgCtrlID(window));
        item.ItemAction = OdaDrawEntire;
        item.Item = window;
        item.Dc = dc;
        GetClientRect(window, &item.ItemRect);
        SendMessageA(GetParent(window), WmDrawItem, item.CtlId, reinterpret_cast<LParam>(&item));
        EndPaint(window, &paint);
        return 0;
      }
      PaintLabel(window, WmCtlColorBtn, DtCenter | DtVCenter | DtSingleLine, true);
      return 0;
    }
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

LResult PLATFORM_CALLBACK StaticProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  bool handled = false;
  LResult r = CommonControlMessage(window, message, wParam, lParam, handled);
  if (handled) return r;
  if (message == WmPaint) {
    const uint32_t type = StyleOf(window) & 0x1F;
    if (type == 0x0E) {  // SS_BITMAP: the owner paints the picture
      ValidateRect(window, nullptr);
      return 0;
    }
    const uint32_t align = type == 1 ? DtCenter : type == 2 ? DtRight : DtLeft;
    PaintLabel(window, WmCtlColorStatic, align | DtWordBreak | ((StyleOf(window) & 0x2000) ? DtEditControl : 0),
               (StyleOf(window) & WsBorder) != 0);
    return 0;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

LResult PLATFORM_CALLBACK EditProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  bool handled = false;
  LResult r = CommonControlMessage(window, message, wParam, lParam, handled);
  if (handled) return r;
  switch (message) {
    case WmChar: {
      std::wstring text = sim::WindowTitle(window);
      if (wParam == 8) {
        if (!text.empty()) text.pop_back();
      } else if (wParam >= 0x20) {
        text.push_back(static_cast<wchar_t>(wParam));
      } else {
        return 0;
      }
      SetWindowTextW(window, text.c_str());
      return 0;
    }
    case WmPaint:
      PaintLabel(window, WmCtlColorStatic, DtLeft | DtSingleLine | DtVCenter, (StyleOf(window) & WsBorder) != 0);
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

// The track in the scroll bar colour and the thumb as a framed button face, placed by the
// position within the range less a page.
LResult PLATFORM_CALLBACK ScrollBarProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  if (message != WmPaint) return DefWindowProcA(window, message, wParam, lParam);
  ScrollInfo info;
  info.Mask = SifRange | SifPage | SifPos;
  GetScrollInfo(window, SbCtl, &info);
  PaintStruct paint;
  Hdc dc = BeginPaint(window, &paint);
  Rect client;
  GetClientRect(window, &client);
  FillRect(dc, &client, 1);  // COLOR_SCROLLBAR + 1
  const bool vertical = (StyleOf(window) & SbsVert) != 0;
  const int32_t length = vertical ? client.Bottom : client.Right;
  const int64_t span = static_cast<int64_t>(info.Max) - info.Min + 1;
  if (span > 0 && length > 0) {
    const int64_t page = std::min<int64_t>(std::max<int64_t>(info.Page, 1), span);
    const int32_t thumb = static_cast<int32_t>(std::max<int64_t>(length * page / span, 8));
    const int64_t travel = std::max<int64_t>(span - page, 1);
    const int32_t at = static_cast<int32_t>((length - thumb) * (static_cast<int64_t>(info.Pos) - info.Min) / travel);
    Rect box = vertical ? Rect{0, at, client.Right, at + thumb} : Rect{at, 0, at + thumb, client.Bottom};
    FillRect(dc, &box, GetStockObject(BlackBrush));
    box = Rect{box.Left + 1, box.Top + 1, box.Right - 1, box.Bottom - 1};
    FillRect(dc, &box, 16);  // COLOR_BTNFACE + 1
  }
  EndPaint(window, &paint);
  return 0;
}

std::vector<Hwnd> Descendants(Hwnd dialog) {
  std::vector<Hwnd> out;
  for (Hwnd c : sim::ChildWindows(dialog)) {
    out.push_back(c);
    std::vector<Hwnd> inner = Descendants(c);
    out.insert(out.end(), inner.begin(), inner.end());
  }
  return out;
}

bool IsWithin(Hwnd window, Hwnd ancestor) {
  sim::wnd::Guard hold(sim::wnd::S().Lock);
  return sim::wnd::IsWithin(window, ancestor);
}

bool ShiftIsDown() {
  sim::wnd::Guard hold(sim::wnd::S().Lock);
  return sim::wnd::S().ShiftDown;
}

wchar_t Upper(wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

}  // namespace

namespace sim {

void RegisterSystemClasses() {
  const struct {
    const char* Name;
    WndProc Proc;
  } classes[] = {{"BUTTON", ButtonProc}, {"STATIC", StaticProc}, {"EDIT", EditProc}, {"SCROLLBAR", ScrollBarProc}};
  for (const auto& entry : classes) {
    WndClassA c;
    c.Style = CsHRedraw | CsVRedraw;
    c.Proc = entry.Proc;
    c.WindowExtra = ControlExtra;
    c.ClassName = entry.Name;
    RegisterClassA(&c);
  }
}

}  // namespace sim

bool GetScrollInfo(Hwnd window, int32_t bar, ScrollInfo* info) {
  if (info == nullptr || bar < SbHorz || bar > SbCtl) return false;
  sim::wnd::Guard hold(sim::wnd::S().Lock);
  sim::wnd::Window* w = sim::wnd::Find(window);
  if (w == nullptr) return false;
  const ScrollInfo& have = w->Bars[bar];
  if (info->Mask & SifRange) {
    info->Min = have.Min;
    info->Max = have.Max;
  }
  if (info->Mask & SifPage) info->Page = have.Page;
  if (info->Mask & SifPos) info->Pos = have.Pos;
  return true;
}

int32_t SetScrollInfo(Hwnd window, int32_t bar, const ScrollInfo* info, bool redraw) {
  if (info == nullptr || bar < SbHorz || bar > SbCtl) return 0;
  int32_t position = 0;
  {
    sim::wnd::Guard hold(sim::wnd::S().Lock);
    sim::wnd::Window* w = sim::wnd::Find(window);
    if (w == nullptr) return 0;
    ScrollInfo& have = w->Bars[bar];
    if (info->Mask & SifRange) {
      have.Min = info->Min;
      have.Max = std::max(info->Max, info->Min);
    }
    const int64_t span = static_cast<int64_t>(have.Max) - have.Min + 1;
    if (info->Mask & SifPage) have.Page = static_cast<uint32_t>(std::min<int64_t>(info->Page, span));
    if (info->Mask & SifPos) have.Pos = info->Pos;
    // The position stays where a whole page still fits.
    const int64_t last = have.Max - std::max<int64_t>(static_cast<int64_t>(have.Page) - 1, 0);
    have.Pos = static_cast<int32_t>(std::max<int64_t>(have.Min, std::min<int64_t>(have.Pos, last)));
    position = have.Pos;
  }
  if (redraw && bar == SbCtl) InvalidateRect(window, nullptr, true);
  return position;
}

int32_t SetScrollPos(Hwnd window, int32_t bar, int32_t position, bool redraw) {
  ScrollInfo before;
  before.Mask = SifPos;
  if (!GetScrollInfo(window, bar, &before)) return 0;
  ScrollInfo next;
  next.Mask = SifPos;
  next.Pos = position;
  SetScrollInfo(window, bar, &next, redraw);
  return before.Pos;
}

int32_t GetScrollPos(Hwnd window, int32_t bar) {
  ScrollInfo info;
  info.Mask = SifPos;
  return GetScrollInfo(window, bar, &info) ? info.Pos : 0;
}

bool ShowScrollBar(Hwnd window, int32_t bar, bool show) {
  // A window's own bars take no room in this window system; a control is shown or hidden.
  if (bar == SbCtl) ShowWindow(window, show ? SwShow : SwHide);
  return IsWindow(window);
}

bool SetDlgItemTextW(Hwnd dialog, int32_t id, const wchar_t* text) {
  Hwnd item = GetDlgItem(dialog, id);
  return item != 0 && SetWindowTextW(item, text);
}

uint32_t GetDlgItemTextA(Hwnd dialog, int32_t id, char* text, int32_t size) {
  Hwnd item = GetDlgItem(dialog, id);
  if (item == 0) {
    if (text != nullptr && size > 0) text[0] = 0;
    return 0;
  }
  return static_cast<uint32_t>(GetWindowTextA(item, text, size));
}

// As user32 has it for a window that is not a dialog of the dialog manager: Enter presses the
// focused push button, else the dialog's default id (DM_GETDEFID) or IDOK; Escape sends IDCANCEL;
// Tab and Shift+Tab walk the tab stops; a letter (with Alt, or on a control that takes no text)
// presses the button whose label has it after the '&'.
bool IsDialogMessageA(Hwnd dialog, Msg* message) {
  if (message == nullptr || dialog == 0 || !IsWithin(message->Window, dialog)) return false;
  const Hwnd focus = GetFocus();
  std::vector<Hwnd> controls = Descendants(dialog);
  if (message->Message == WmKeyDown) {
    if (message->Wparam == VkTab) {
      std::vector<Hwnd> stops;
      for (Hwnd c : controls)
        if ((StyleOf(c) & WsTabStop) != 0 && IsWindowVisible(c)) stops.push_back(c);
      if (!stops.empty()) {
        const bool back = ShiftIsDown();
        size_t next = back ? stops.size() - 1 : 0;
        for (size_t i = 0; i < stops.size(); ++i)
          if (stops[i] == focus) next = back ? (i + stops.size() - 1) % stops.size() : (i + 1) % stops.size();
        SetFocus(stops[next]);
      }
      return true;
    }
    if (message->Wparam == VkReturn) {
      if (focus != 0 && focus != dialog && IsWithin(focus, dialog) && IsPushButton(focus)) {
        Click(focus);
        return true;
      }
      const LResult defId = SendMessageA(dialog, DmGetDefId, 0, 0);
      if (HiWord(static_cast<uintptr_t>(defId)) == DcHasDefId) {
        const uint16_t id = LoWord(static_cast<uintptr_t>(defId));
        SendMessageA(dialog, WmCommand, MakeWParam(id, BnClicked), static_cast<LParam>(GetDlgItem(dialog, id)));
      } else {
        SendMessageA(dialog, WmCommand, IdOk, static_cast<LParam>(GetDlgItem(dialog, IdOk)));
      }
      return true;
    }
    if (message->Wparam == VkEscape) {
      SendMessageA(dialog, WmCommand, IdCancel, static_cast<LParam>(GetDlgItem(dialog, IdCancel)));
      return true;
    }
  }
  const bool alt = message->Message == WmSysChar;
  if (alt || (message->Message == WmChar && (focus == 0 || !IsClass(focus, L"EDIT")))) {
    const wchar_t key = Upper(static_cast<wchar_t>(message->Wparam));
    for (Hwnd c : controls) {
      if (!IsPushButton(c) || !IsWindowVisible(c)) continue;
      std::wstring label = sim::WindowTitle(c);
      size_t amp = label.find(L'&');
      if (amp != std::wstring::npos && amp + 1 < label.size() && Upper(label[amp + 1]) == key) {
        SetFocus(c);
        Click(c);
        return true;
      }
    }
    if (alt || (focus != 0 && IsPushButton(focus))) return true;
  }
  TranslateMessage(message);
  DispatchMessageA(message);
  return true;
}

}  // namespace platform
