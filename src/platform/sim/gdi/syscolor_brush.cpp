#include "platform/syscolor_brush.h"

#include <map>
#include <mutex>

#include "platform/sim/gdi/gdi_sim.h"

namespace platform {

// A solid brush of the system colour, made once per index: its LOGBRUSH carries the colour that
// the simulated window system paints with.
HBrush GetSysColorBrush(int32_t index) {
  if (index < 0 || index > 30) return 0;
  static std::mutex lock;
  static std::map<int32_t, HBrush> brushes;
  std::lock_guard<std::mutex> guard(lock);
  HBrush& brush = brushes[index];
  if (brush == 0) brush = CreateSolidBrush(sim::SystemColor(index));
  return brush;
}

}  // namespace platform
