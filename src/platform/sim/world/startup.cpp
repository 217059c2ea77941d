#include "platform/platform.h"
#include "platform/gdi.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/machine.h"

namespace platform {

bool Startup(std::string& error) {
  if (!sim::LoadMachine(error)) return false;
  sim::ResetClock();
  // The display context and DirectDraw's GetDC both draw on the primary frame buffer.
  sim::SetDisplaySurface([] { return &sim::PrimaryFrameBuffer(); });
  sim::SetSurfaceDcHooks({[](sim::Surface& surface) {
                            return sim::CreateSurfaceDC(surface, {0, 0}, {0, 0, surface.Width, surface.Height});
                          },
                          [](uintptr_t dc) { DeleteDC(dc); }});
  return true;
}

}  // namespace platform
