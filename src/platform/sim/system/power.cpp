#include "platform/power.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/clock.h"
#include "platform/sim/host/host_file.h"
#include "platform/sim/machine.h"
#include "platform/sim/system/power_sim.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/world.h"

namespace platform {
namespace sim {

namespace {

struct PowerState {
  std::recursive_mutex Lock;
  uint32_t Generation = ~0u;
  uint8_t Ac[SystemPowerPolicySize] = {};
  uint8_t Dc[SystemPowerPolicySize] = {};
  uint32_t LastInput = 0;
  bool Dark = false;
  uint32_t Darkenings = 0;
  uint32_t Writes = 0;
};

PowerState& State() {
  static PowerState state;
  return state;
}

uint32_t WordAt(const uint8_t* record, uint32_t offset) {
  uint32_t value = 0;
  std::memcpy(&value, record + offset, 4);
  return value;
}

void PutWord(uint8_t* record, uint32_t offset, uint32_t value) { std::memcpy(record + offset, &value, 4); }

// The stored time-out of the policy file: a decimal number of seconds.
bool ReadPolicyFile(const std::string& path, uint32_t& seconds) {
  std::string text;
  std::string error;
  if (!ReadHostFile(path, 64, text, error)) return false;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);
  if (end == text.c_str() || value > 0xFFFFFFFFul) {
    std::fprintf(stderr, "warning: power policy file '%s' holds no time-out; the machine file's is used\n", path.c_str());
    return false;
  }
  seconds = static_cast<uint32_t>(value);
  return true;
}

void WritePolicyFile(const std::string& path, uint32_t seconds) {
  std::string error;
  if (!WriteHostFile(path, std::to_string(seconds) + "\n", error))
    std::fprintf(stderr, "error: cannot write the power policy file '%s': %s\n", path.c_str(), error.c_str());
}

// The state of the machine in force; a machine put in force starts afresh. Call with the lock held.
PowerState& Fresh() {
  PowerState& s = State();
  if (s.Generation == MachineGeneration()) return s;
  const Machine& machine = CurrentMachine();
  s.Generation = MachineGeneration();
  uint32_t timeout = machine.Power.VideoTimeout;
  if (!machine.Power.PolicyFile.empty()) ReadPolicyFile(machine.Power.PolicyFile, timeout);
  std::memset(s.Ac, 0, sizeof s.Ac);
  PutWord(s.Ac, 0, 1);  // Revision
  PutWord(s.Ac, VideoTimeoutOffset, timeout);
  std::memcpy(s.Dc, s.Ac, sizeof s.Dc);
  // On battery the display goes dark sooner, as the usual plans have it.
  PutWord(s.Dc, VideoTimeoutOffset, 300);
  s.LastInput = machine.StartTick;
  s.Dark = false;
  s.Darkenings = 0;
  s.Writes = 0;
  return s;
}

// Whether input idle since LastInput has reached the AC time-out at `now`.
bool IdlePastTimeout(const PowerState& s, uint32_t now) {
  const uint32_t timeout = WordAt(s.Ac, VideoTimeoutOffset);
  if (timeout == 0 || !CurrentMachine().Power.MonitorBlanks) return false;
  return uint64_t{now - s.LastInput} >= uint64_t{timeout} * 1000;
}

}  // namespace

void UpdateMonitor(uint32_t now) {
  bool wentDark = false;
  {
    PowerState& s = State();
    std::lock_guard<std::recursive_mutex> hold(s.Lock);
    Fresh();
    if (!s.Dark && IdlePastTimeout(s, now)) {
      s.Dark = true;
      ++s.Darkenings;
      wentDark = true;
    }
  }
  if (wentDark) SaveScreenshot(L"monitor off");
}

void InputSeen(uint32_t now) {
  UpdateMonitor(now);
  PowerState& s = State();
  std::lock_guard<std::recursive_mutex> hold(s.Lock);
  s.LastInput = now;
  s.Dark = false;
}

bool MonitorDark() {
  PowerState& s = State();
  std::lock_guard<std::recursive_mutex> hold(s.Lock);
  return Fresh().Dark;
}

uint32_t MonitorDarkenings() {
  PowerState& s = State();
  std::lock_guard<std::recursive_mutex> hold(s.Lock);
  return Fresh().Darkenings;
}

uint32_t PolicyVideoTimeout() {
  PowerState& s = State();
  std::lock_guard<std::recursive_mutex> hold(s.Lock);
  return WordAt(Fresh().Ac, VideoTimeoutOffset);
}

}  // namespace sim

uint32_t CallNtPowerInformation(int32_t level, const void* input, uint32_t inputSize, void* output,
                                uint32_t outputSize) {
  using namespace sim;
  if (level != SystemPowerPolicyAc && level != SystemPowerPolicyDc) return StatusInvalidParameter;
  if (input == nullptr && output == nullptr) return StatusInvalidParameter;
  const uint32_t now = GetTickCount();
  UpdateMonitor(now);
  const PowerSettings& settings = CurrentMachine().Power;
  uint32_t writes = 0;
  {
    PowerState& s = State();
    std::lock_guard<std::recursive_mutex> hold(s.Lock);
    Fresh();
    uint8_t* record = level == SystemPowerPolicyAc ? s.Ac : s.Dc;
    if (input != nullptr) {
      if (inputSize < SystemPowerPolicySize) return StatusInvalidParameter;
      if (settings.Fails != PowerSettings::Failing::None) return StatusAccessDenied;
      std::memcpy(record, input, SystemPowerPolicySize);
      writes = ++s.Writes;
      if (level == SystemPowerPolicyAc) {
        // A time-out that the idle time has not reached lights the monitor again.
        if (s.Dark && !IdlePastTimeout(s, now)) s.Dark = false;
        if (!settings.PolicyFile.empty()) WritePolicyFile(settings.PolicyFile, WordAt(s.Ac, VideoTimeoutOffset));
      }
    }
    if (output != nullptr) {
      if (outputSize < SystemPowerPolicySize) return StatusBufferTooSmall;
      if (settings.Fails == PowerSettings::Failing::Read) return StatusAccessDenied;
      std::memcpy(output, record, SystemPowerPolicySize);
    }
  }
  // The new time-out may already be reached.
  UpdateMonitor(now);
  if (writes != 0) PolicyWritten(writes);
  return StatusSuccess;
}

}  // namespace platform
