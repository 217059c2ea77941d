// Painting: update areas that gather until the window paints, exposure of what a window uncovers,
// and device contexts that draw into the window's part of the primary frame buffer.
#include "platform/window.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/gdi/rects.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"

namespace platform {
namespace sim {

Surface& ScreenSurface() { return PrimaryFrameBuffer(); }

namespace wnd {

void InvalidateLocked(Window& w, const Rect* rect, bool erase, bool children) {
  Rect area = rect ? Intersect(*rect, ClientOf(w)) : ClientOf(w);
  if (!IsEmpty(area)) {
    std::vector<Rect> holes;
    for (const Rect& hole : w.Holes)
      if (IsEmpty(Intersect(hole, area))) holes.push_back(hole);
    w.Holes.swap(holes);
    w.Update = w.HasUpdate ? Union(w.Update, area) : area;
    w.HasUpdate = true;
    w.Erase = w.Erase || erase;
  }
  if (!children) return;
  for (Hwnd c : w.Children) {
    Window* child = Find(c);
    if (child == nullptr) continue;
    Rect inChild = Offset(Intersect(area, child->Bounds), -child->Bounds.Left, -child->Bounds.Top);
    if (!IsEmpty(inChild)) InvalidateLocked(*child, &inChild, erase, (child->Style & WsClipChildren) == 0);
  }
}

void ExposeLocked(const Rect& screenArea, Hwnd except) {
  if (IsEmpty(screenArea)) return;
  for (Hwnd top : S().ZOrder) {
    Window* w = Find(top);
    if (w == nullptr || top == except || !w->Visible) continue;
    Rect local = Offset(Intersect(screenArea, w->Bounds), -w->Bounds.Left, -w->Bounds.Top);
    if (!IsEmpty(local)) InvalidateLocked(*w, &local, true, true);
  }
}

namespace {

Hdc MakeWindowDc(Hwnd handle, const Rect* localClip) {
  Rect origin;
  Rect clip;
  {
    Guard hold(S().Lock);
    if (handle == 0 || handle == DesktopHandle) {
      Rect all = ScreenSize();
      return sim::CreateSurfaceDC(sim::ScreenSurface(), Point{0, 0}, all);
    }
    Window* w = Find(handle);
    if (w == nullptr) return 0;
    origin = ScreenRectOf(*w);
    clip = VisibleScreenRect(*w);
    if (localClip != nullptr) clip = Intersect(clip, Offset(*localClip, origin.Left, origin.Top));
  }
  return sim::CreateSurfaceDC(sim::ScreenSurface(), Point{origin.Left, origin.Top}, clip);
}

}  // namespace
}  // namespace wnd
}  // namespace sim

using namespace sim::wnd;

bool UpdateWindow(Hwnd window) {
  std::vector<Hwnd> order;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) return false;
    // The window and then its children, as far as they wait for paint.
    std::vector<Hwnd> pending{window};
    while (!pending.empty()) {
      Hwnd h = pending.front();
      pending.erase(pending.begin());
      Window* x = Find(h);
      if (x == nullptr || !x->Visible) continue;
      if (x->HasUpdate) order.push_back(h);
      pending.insert(pending.end(), x->Children.begin(), x->Children.end());
    }
  }
  for (Hwnd h : order) {
    bool still = false;
    {
      Guard hold(S().Lock);
      Window* x = Find(h);
      still = x != nullptr && x->HasUpdate;
    }
    if (still) Send(h, WmPaint, 0, 0);
  }
  return true;
}

bool InvalidateRect(Hwnd window, const Rect* rect, bool erase) {
  Guard hold(S().Lock);
  if (window == 0) {
    for (auto& entry : S().Windows) InvalidateLocked(entry.second, nullptr, erase, false);
    return true;
  }
  Window* w = Find(window);
  if (w == nullptr) return false;
  InvalidateLocked(*w, rect, erase, (w->Style & WsClipChildren) == 0);
  return true;
}

bool ValidateRect(Hwnd window, const Rect* rect) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) return false;
  if (!w->HasUpdate) return true;
  if (rect == nullptr) {
    w->HasUpdate = false;
    w->Erase = false;
    w->Holes.clear();
    return true;
  }
  // The update area is one rectangle: it shrinks where `rect` takes a whole band off one side.
  Rect& u = w->Update;
  const Rect& v = *rect;
  const Rect before = u;
  if (v.Left <= u.Left && v.Right >= u.Right) {
    if (v.Top <= u.Top && v.Bottom > u.Top) u.Top = std::min(v.Bottom, u.Bottom);
    else if (v.Bottom >= u.Bottom && v.Top < u.Bottom) u.Bottom = std::max(v.Top, u.Top);
  } else if (v.Top <= u.Top && v.Bottom >= u.Bottom) {
    if (v.Left <= u.Left && v.Right > u.Left) u.Left = std::min(v.Right, u.Right);
    else if (v.Right >= u.Right && v.Left < u.Right) u.Right = std::max(v.Left, u.Left);
  }
  if (sim::IsEmpty(u)) {
    w->HasUpdate = false;
    w->Erase = false;
    w->Holes.clear();
  } else if (sim::Same(before, u)) {
    // A part from the middle: kept as a hole, which the erase leaves alone.
    const Rect hole = sim::Intersect(v, u);
    if (!sim::IsEmpty(hole)) w->Holes.push_back(hole);
  }
  return true;
}

bool RedrawWindow(Hwnd window, const Rect* rect, uintptr_t region, uint32_t flags) {
  if (region != 0) return false;
  std::vector<Hwnd> targets;
  {
    Guard hold(S().Lock);
    if (window == 0 || window == DesktopHandle) targets = S().ZOrder;
    else if (Find(window) != nullptr) targets.push_back(window);
    else return false;
    for (Hwnd t : targets) {
      Window* w = Find(t);
      if ((flags & RdwInvalidate) != 0) InvalidateLocked(*w, rect, (flags & RdwErase) != 0, (flags & RdwAllChildren) != 0);
    }
  }
  for (Hwnd t : targets) {
    if ((flags & RdwValidate) != 0) ValidateRect(t, rect);
    if ((flags & (RdwUpdateNow | RdwEraseNow)) != 0) UpdateWindow(t);
  }
  return true;
}

Hdc BeginPaint(Hwnd window, PaintStruct* paint) {
  if (paint == nullptr) return 0;
  Rect area;
  bool erase = false;
  std::vector<Rect> pieces;
  {
    Guard hold(S().Lock);
    Window* w = Find(window);
    if (w == nullptr) return 0;
    area = w->HasUpdate ? sim::Intersect(w->Update, ClientOf(*w)) : Rect{};
    erase = w->HasUpdate && w->Erase;
    pieces.push_back(area);
    for (const Rect& hole : w->Holes) {
      std::vector<Rect> next;
      for (const Rect& piece : pieces)
        for (const Rect& rest : sim::Subtract(piece, hole)) next.push_back(rest);
      pieces.swap(next);
    }
    w->HasUpdate = false;
    w->Erase = false;
    w->Holes.clear();
  }
  // The context draws only where the window waited for paint, as the system's update region does;
  // the background is erased piece by piece around what was validated from the middle.
  Hdc dc = MakeWindowDc(window, &area);
  *paint = PaintStruct{};
  paint->Dc = dc;
  paint->Paint = area;
  bool erased = erase;
  if (erase && pieces.size() == 1 && sim::Same(pieces[0], area)) {
    erased = Send(window, WmEraseBkgnd, static_cast<WParam>(dc), 0) != 0;
  } else if (erase) {
    for (const Rect& piece : pieces) {
      Hdc pieceDc = MakeWindowDc(window, &piece);
      erased = Send(window, WmEraseBkgnd, static_cast<WParam>(pieceDc), 0) != 0 && erased;
      DeleteDC(pieceDc);
    }
  }
  paint->Erase = erase && !erased ? 1 : 0;
  return dc;
}

bool EndPaint(Hwnd, const PaintStruct* paint) {
  if (paint != nullptr && paint->Dc != 0) DeleteDC(paint->Dc);
  return true;
}

namespace {

// The window behind each context of GetDC, for the OpenGL contexts that draw for it.
std::mutex& WindowDcLock() {
  static std::mutex lock;
  return lock;
}
std::map<Hdc, Hwnd>& WindowDcs() {
  static std::map<Hdc, Hwnd> dcs;
  return dcs;
}

}  // namespace

Hwnd sim::WindowOfDc(Hdc dc) {
  std::lock_guard<std::mutex> hold(WindowDcLock());
  auto it = WindowDcs().find(dc);
  return it == WindowDcs().end() ? 0 : it->second;
}

Hdc GetDC(Hwnd window) {
  const Hdc dc = MakeWindowDc(window, nullptr);
  if (dc != 0 && window != 0) {
    std::lock_guard<std::mutex> hold(WindowDcLock());
    WindowDcs()[dc] = window;
  }
  return dc;
}

int32_t ReleaseDC(Hwnd, Hdc dc) {
  {
    std::lock_guard<std::mutex> hold(WindowDcLock());
    WindowDcs().erase(dc);
  }
  return dc != 0 && DeleteDC(dc) ? 1 : 0;
}

}  // namespace platform
