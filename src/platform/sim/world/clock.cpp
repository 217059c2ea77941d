#include "platform/clock.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/sim/world/clock_state.h"
#include "platform/sim/machine.h"
#include "platform/sim/system/thread_sim.h"

namespace platform {

namespace {

std::atomic<uint32_t> virtualTick{0};
std::chrono::steady_clock::time_point realStart = std::chrono::steady_clock::now();

}  // namespace

namespace sim {

void ResetClock() {
  virtualTick = CurrentMachine().StartTick;
  realStart = std::chrono::steady_clock::now();
}

}  // namespace sim

uint32_t GetTickCount() {
  const sim::Machine& machine = sim::CurrentMachine();
  if (machine.VirtualClock) return virtualTick.load();
  auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - realStart);
  return machine.StartTick + static_cast<uint32_t>(elapsed.count());
}

void Sleep(uint32_t milliseconds) {
  sim::EndIfTerminated();
  if (sim::CurrentMachine().VirtualClock && sim::OnHelperThread()) {
    // A helper thread waits for the program's thread to move the clock on.
    const uint32_t start = virtualTick.load();
    while (virtualTick.load() - start < milliseconds) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      sim::EndIfTerminated();
    }
    return;
  }
  if (sim::CurrentMachine().VirtualClock) {
    virtualTick += milliseconds;
    // Time passes at once, but other threads (the console handler) still get to run.
    std::this_thread::yield();
    return;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  sim::EndIfTerminated();
}

}  // namespace platform
