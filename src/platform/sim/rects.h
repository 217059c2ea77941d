// Rectangle arithmetic of the simulated window system and GDI. Rectangles are half-open: the
// right and bottom edges are outside.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/gdi.h"

namespace platform {
namespace sim {

inline bool IsEmpty(const Rect& r) { return r.Right <= r.Left || r.Bottom <= r.Top; }

inline bool Same(const Rect& a, const Rect& b) {
  return a.Left == b.Left && a.Top == b.Top && a.Right == b.Right && a.Bottom == b.Bottom;
}

// What the two have in common; an empty result is all zeros, as IntersectRect leaves it.
inline Rect Intersect(const Rect& a, const Rect& b) {
  const Rect r{std::max(a.Left, b.Left), std::max(a.Top, b.Top), std::min(a.Right, b.Right),
               std::min(a.Bottom, b.Bottom)};
  return IsEmpty(r) ? Rect{} : r;
}

// The smallest rectangle holding both; an empty one adds nothing.
inline Rect Union(const Rect& a, const Rect& b) {
  if (IsEmpty(a)) return b;
  if (IsEmpty(b)) return a;
  return Rect{std::min(a.Left, b.Left), std::min(a.Top, b.Top), std::max(a.Right, b.Right),
              std::max(a.Bottom, b.Bottom)};
}

inline Rect Offset(const Rect& r, int32_t dx, int32_t dy) {
  return Rect{r.Left + dx, r.Top + dy, r.Right + dx, r.Bottom + dy};
}

inline bool Within(const Rect& inner, const Rect& outer) {
  return inner.Left >= outer.Left && inner.Top >= outer.Top && inner.Right <= outer.Right &&
         inner.Bottom <= outer.Bottom;
}

}  // namespace sim
}  // namespace platform
