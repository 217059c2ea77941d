// Rectangle arithmetic of the simulated window system and GDI. Rectangles are half-open: the
// right and bottom edges are outside.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

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

// What of `a` lies outside `hole`: up to four bands, above, below, left and right of it.
inline std::vector<Rect> Subtract(const Rect& a, const Rect& hole) {
  const Rect cut = Intersect(a, hole);
  if (IsEmpty(cut)) return {a};
  std::vector<Rect> out;
  const Rect bands[4] = {{a.Left, a.Top, a.Right, cut.Top},
                         {a.Left, cut.Bottom, a.Right, a.Bottom},
                         {a.Left, cut.Top, cut.Left, cut.Bottom},
                         {cut.Right, cut.Top, a.Right, cut.Bottom}};
  for (const Rect& band : bands)
    if (!IsEmpty(band)) out.push_back(band);
  return out;
}

}  // namespace sim
}  // namespace platform
