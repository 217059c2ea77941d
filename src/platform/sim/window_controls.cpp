// The system's control classes as far as the program's prompts need them, and the dialog
// keyboard handling of IsDialogMessage. Labels are drawn with GDI text, so that what a control
// shows is on the screen and in the text record like anything else drawn.
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/window_sim.h"
#include "platform/window.h"

namespace platform {

namespace {

constexpr int32_t FontOffset = 0;  // where a control keeps its WM_SETFONT font
constexpr int32_t ControlExtra = static_cast<int32_t>(sizeof(intptr_t));
constexpr uint32_t ButtonTypeMask = 0x0F;
constexpr WParam IdOk = 1;
constexpr WParam IdCancel = 2;

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
  if (frame) {
    HBrush black = GetStockObject(BlackBrush);
    Rect edges[4] = {{client.Left, client.Top, client.Right, client.Top + 1},
                     {client.Left, client.Bottom - 1, client.Right, client.Bottom},
                     {client.Left, client.Top, client.Left + 1, client.Bottom},
                     {client.Right - 1, client.Top, client.Right, client.Bottom}};
    for (const Rect& edge : edges) FillRect(dc, &edge, black);
  }
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

LResult PLATFORM_CALLBACK ScrollBarProc(Hwnd window, uint32_t message, WParam wParam, LParam lParam) {
  return DefWindowProcA(window, message, wParam, lParam);
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
  for (Hwnd w = window; w != 0; w = (StyleOf(w) & WsChild) ? GetParent(w) : 0)
    if (w == ancestor) return true;
  return false;
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
        size_t next = 0;
        for (size_t i = 0; i < stops.size(); ++i)
          if (stops[i] == focus) next = (i + 1) % stops.size();
        SetFocus(stops[next]);
      }
      return true;
    }
    if (message->Wparam == VkReturn) {
      Hwnd target = 0;
      if (focus != 0 && IsWithin(focus, dialog) && IsPushButton(focus)) target = focus;
      for (Hwnd c : controls)
        if (target == 0 && IsClass(c, L"BUTTON") && (StyleOf(c) & ButtonTypeMask) == BsDefPushButton) target = c;
      if (target != 0) Click(target);
      else SendMessageA(dialog, WmCommand, IdOk, 0);
      return true;
    }
    if (message->Wparam == VkEscape) {
      SendMessageA(dialog, WmCommand, IdCancel, 0);
      return true;
    }
  }
  if (message->Message == WmChar && (focus == 0 || !IsClass(focus, L"EDIT"))) {
    // A letter picks the button whose label has it after the '&'.
    const wchar_t key = Upper(static_cast<wchar_t>(message->Wparam));
    for (Hwnd c : controls) {
      if (!IsPushButton(c)) continue;
      std::wstring label = sim::WindowTitle(c);
      size_t amp = label.find(L'&');
      if (amp != std::wstring::npos && amp + 1 < label.size() && Upper(label[amp + 1]) == key) {
        SetFocus(c);
        Click(c);
        return true;
      }
    }
    if (focus != 0 && IsPushButton(focus)) return true;
  }
  TranslateMessage(message);
  DispatchMessageA(message);
  return true;
}

}  // namespace platform
