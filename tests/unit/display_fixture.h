// Simulated displays for the display tests: small machines built in code, and a scope that puts
// one in force on the virtual clock.
#pragma once

#include <string>

#include "platform/clock.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/display_config.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/machine.h"

namespace display_test {

using platform::sim::AdapterConfig;
using platform::sim::AdapterKind;
using platform::sim::DisplayConfig;
using platform::sim::ModeSize;

inline AdapterConfig Adapter(const std::string& description, bool primary, bool attached) {
  AdapterConfig a;
  a.Description = description;
  a.Primary = primary;
  a.Attached = attached;
  a.Modes = {{640, 480, 8}, {640, 480, 16}, {800, 600, 16}, {800, 600, 32}, {1024, 768, 16}, {1024, 768, 32}};
  a.Monitors.push_back({});
  return a;
}

inline AdapterConfig Pseudo(AdapterKind kind) {
  AdapterConfig a;
  a.Kind = kind;
  a.Description = kind == AdapterKind::Mirror ? "Mirror Driver" : "Remote Display";
  a.Attached = false;
  return a;
}

inline DisplayConfig OneAdapter() {
  DisplayConfig c;
  c.Adapters.push_back(Adapter("Card A", true, true));
  return c;
}

// A primary and a second adapter, attached or not.
inline DisplayConfig TwoAdapters(bool secondAttached) {
  DisplayConfig c;
  c.Adapters.push_back(Adapter("Card A", true, true));
  AdapterConfig second = Adapter("Card B", false, secondAttached);
  second.Current = {800, 600, 32};
  second.PositionX = 1024;
  c.Adapters.push_back(second);
  return c;
}

// Puts a display in force on the virtual clock; the built-in one comes back afterwards.
class DisplayScope {
 public:
  explicit DisplayScope(const DisplayConfig& config) {
    platform::sim::Machine machine;
    machine.VirtualClock = true;
    platform::sim::SetCurrentMachine(machine);
    platform::sim::ResetClock();
    platform::sim::SetDisplayConfig(config);
  }
  ~DisplayScope() {
    platform::sim::SetCurrentMachine(platform::sim::Machine{});
    platform::sim::ResetClock();
    platform::sim::SetDisplayConfig(platform::sim::DefaultDisplayConfig());
  }
  DisplayScope(const DisplayScope&) = delete;
  DisplayScope& operator=(const DisplayScope&) = delete;

  platform::sim::DisplayModel& Model() { return platform::sim::DisplayModel::Get(); }
  platform::sim::AdapterState& AdapterAt(size_t i) { return Model().Adapters()[i]; }
};

}  // namespace display_test
