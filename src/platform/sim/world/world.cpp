#include "platform/sim/world.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/machine.h"
#include "platform/sim/world/operator.h"
#include "platform/sim/system/power_sim.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace platform {
namespace sim {

namespace {

// Which events of the machine in force have happened: each happens once, and a machine put in
// force starts with none.
struct EventRecord {
  std::mutex Lock;
  uint32_t Generation = ~0u;
  std::vector<bool> Happened;  // by the event's place in the machine's list
};

EventRecord& Record() {
  static EventRecord record;
  return record;
}

// The events not yet happened that `due` picks, in the machine's order, marked as happened.
template <typename Due>
std::vector<const MapEvent*> TakeDue(Due due) {
  const Machine& machine = CurrentMachine();
  EventRecord& record = Record();
  std::lock_guard<std::mutex> hold(record.Lock);
  if (record.Generation != MachineGeneration() || record.Happened.size() != machine.Events.size()) {
    record.Generation = MachineGeneration();
    record.Happened.assign(machine.Events.size(), false);
  }
  std::vector<const MapEvent*> taken;
  for (size_t i = 0; i < machine.Events.size(); ++i) {
    if (record.Happened[i] || !due(machine.Events[i])) continue;
    record.Happened[i] = true;
    taken.push_back(&machine.Events[i]);
  }
  return taken;
}

// Made by someone else than the program, so a write-protected medium of the program's does not
// stop it.
void DropKillFile(const std::string& path) {
  if (std::FILE* file = std::fopen(ResolvePath(path).c_str(), "wb")) std::fclose(file);
}

void BreakConsole() {
  std::raise(SIGINT);
  // The break is handled on a thread of its own, as on Windows; give it time to land before the
  // program looks again.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

// The process ends on the console handler's thread once what the run changed is put back; the
// program itself does nothing more meanwhile, as a program does whose window was closed under it.
[[noreturn]] void CloseConsole() {
  std::raise(SIGHUP);
  for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

void Happen(const MapEvent& event) {
  switch (event.Action) {
    case MapEvent::Kind::KillFile:
      DropKillFile(event.Path);
      break;
    case MapEvent::Kind::ConsoleBreak:
      BreakConsole();
      break;
    case MapEvent::Kind::ConsoleClose:
      CloseConsole();
  }
}

// Events set for a time since the start: the shell may drop a kill file while a window waits.
bool TimedEventsAct(uint32_t now, uint32_t& wakeAt) {
  const uint32_t start = CurrentMachine().StartTick;
  const std::vector<const MapEvent*> due = TakeDue([&](const MapEvent& event) {
    if (event.AtMap != 0 || event.AtPolicyWrite != 0) return false;
    const uint32_t at = start + event.AtTime;
    if (static_cast<int32_t>(now - at) >= 0) return true;
    if (static_cast<int32_t>(at - wakeAt) < 0) wakeAt = at;
    return false;
  });
  for (const MapEvent* event : due) Happen(*event);
  return !due.empty();
}

}  // namespace

bool WorldTurn(uint32_t now, uint32_t& wakeAt) {
  if (TimedEventsAct(now, wakeAt)) return true;
  UpdateMonitor(now);
  if (!OperatorAct(now, wakeAt)) return false;
  // The operator's keys and clicks are the machine's input: they wake the monitor.
  InputSeen(now);
  return true;
}

void BlockMapped(uint32_t count) {
  for (const MapEvent* event : TakeDue([&](const MapEvent& e) { return e.AtMap == count; })) Happen(*event);
}

void PolicyWritten(uint32_t count) {
  for (const MapEvent* event : TakeDue([&](const MapEvent& e) { return e.AtPolicyWrite == count; })) Happen(*event);
}

void WindowsInUse() {
  static std::once_flag installed;
  std::call_once(installed, [] {
    SetDisplayChangeHook([](const AdapterState&) {
      const AdapterState& primary = DisplayModel::Get().Primary();
      // What was on the screen no longer holds: the text read off it is forgotten and every
      // window paints again.
      ForgetAllTextRuns(primary.FrameBuffer);
      platform::InvalidateRect(0, nullptr, true);
      BroadcastDisplayChange(static_cast<uint32_t>(primary.Current.Mode.Bits), primary.Current.Mode.Width,
                             primary.Current.Mode.Height);
    });
  });
}

void WindowLeavesScreen(const std::wstring& title) { SaveScreenshot(title); }

}  // namespace sim
}  // namespace platform
