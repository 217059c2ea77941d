// The simulated power policy and monitor: the policy record as CallNtPowerInformation reads and
// writes it, the faults of a machine file, a monitor that goes dark when idle past the time-out and
// wakes on input or a longer time-out; and RotationTest's orientation rule (the rest of both
// subtests' rules is checked end to end).
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/power.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/machine.h"
#include "platform/sim/system/power_sim.h"
#include "subtests/RotationTest.h"
#include "subtests/VideoPowerManagementTest.h"

using namespace platform;
using platform::sim::Machine;
using platform::sim::PowerSettings;

namespace {

struct Policy {
  uint8_t Bytes[SystemPowerPolicySize] = {};
  uint32_t VideoTimeout() const {
    uint32_t value = 0;
    std::memcpy(&value, Bytes + VideoTimeoutOffset, 4);
    return value;
  }
  void SetVideoTimeout(uint32_t value) { std::memcpy(Bytes + VideoTimeoutOffset, &value, 4); }
};

uint32_t Read(Policy& policy, int32_t level = SystemPowerPolicyAc) {
  return CallNtPowerInformation(level, nullptr, 0, policy.Bytes, SystemPowerPolicySize);
}
uint32_t Write(const Policy& policy, int32_t level = SystemPowerPolicyAc) {
  return CallNtPowerInformation(level, policy.Bytes, SystemPowerPolicySize, nullptr, 0);
}

class PowerPolicy : public ::testing::Test {
 protected:
  // A machine on the virtual clock with the given power settings, started at tick 1000.
  void Start(const PowerSettings& power) {
    Machine machine;
    machine.VirtualClock = true;
    machine.StartTick = 1000;
    machine.Power = power;
    sim::SetCurrentMachine(machine);
    sim::ResetClock();
  }
  void TearDown() override {
    sim::SetCurrentMachine(Machine{});
    sim::ResetClock();
  }
  static PowerSettings WithTimeout(uint32_t seconds) {
    PowerSettings power;
    power.VideoTimeout = seconds;
    return power;
  }
};

TEST_F(PowerPolicy, TheRecordIsReadAndWrittenWholeAtEachLevel) {
  Start(WithTimeout(600));
  Policy ac;
  ASSERT_EQ(Read(ac), StatusSuccess);
  EXPECT_EQ(ac.VideoTimeout(), 600u);
  // The rest of the record is kept as written, and battery power has a policy of its own.
  ac.SetVideoTimeout(2);
  ac.Bytes[212] = 0x5A;
  ASSERT_EQ(Write(ac), StatusSuccess);
  Policy again;
  ASSERT_EQ(Read(again), StatusSuccess);
  EXPECT_EQ(std::memcmp(again.Bytes, ac.Bytes, SystemPowerPolicySize), 0);
  Policy dc;
  ASSERT_EQ(Read(dc, SystemPowerPolicyDc), StatusSuccess);
  EXPECT_NE(dc.VideoTimeout(), 2u);
  EXPECT_EQ(sim::PolicyVideoTimeout(), 2u);

  // Short buffers, no buffer at all and other levels are refused, and change nothing.
  uint8_t small[SystemPowerPolicySize - 1] = {};
  EXPECT_EQ(CallNtPowerInformation(SystemPowerPolicyAc, nullptr, 0, small, sizeof small), StatusBufferTooSmall);
  EXPECT_EQ(CallNtPowerInformation(SystemPowerPolicyAc, small, sizeof small, nullptr, 0), StatusInvalidParameter);
  EXPECT_EQ(CallNtPowerInformation(SystemPowerPolicyAc, nullptr, 0, nullptr, 0), StatusInvalidParameter);
  EXPECT_EQ(CallNtPowerInformation(5, nullptr, 0, again.Bytes, SystemPowerPolicySize), StatusInvalidParameter);
  EXPECT_EQ(sim::PolicyVideoTimeout(), 2u);
}

TEST_F(PowerPolicy, AFailingPolicyRefusesWhatTheMachineFileSays) {
  PowerSettings power = WithTimeout(300);
  power.Fails = PowerSettings::Failing::Write;
  Start(power);
  Policy policy;
  ASSERT_EQ(Read(policy), StatusSuccess);
  policy.SetVideoTimeout(2);
  EXPECT_EQ(Write(policy), StatusAccessDenied);
  EXPECT_EQ(sim::PolicyVideoTimeout(), 300u);

  power.Fails = PowerSettings::Failing::Read;
  Start(power);
  EXPECT_EQ(Read(policy), StatusAccessDenied);
  EXPECT_EQ(Write(policy), StatusAccessDenied);
}

TEST_F(PowerPolicy, TheMonitorGoesDarkWhenIdlePastTheTimeoutAndWakes) {
  Start(WithTimeout(600));
  Policy policy;
  ASSERT_EQ(Read(policy), StatusSuccess);
  sim::InputSeen(GetTickCount());
  policy.SetVideoTimeout(2);
  ASSERT_EQ(Write(policy), StatusSuccess);
  Sleep(1999);
  sim::UpdateMonitor(GetTickCount());
  EXPECT_FALSE(sim::MonitorDark());
  Sleep(1);
  sim::UpdateMonitor(GetTickCount());
  EXPECT_TRUE(sim::MonitorDark());
  EXPECT_EQ(sim::MonitorDarkenings(), 1u);

  // Input wakes it; idle again past the time-out, it goes dark a second time.
  sim::InputSeen(GetTickCount());
  EXPECT_FALSE(sim::MonitorDark());
  Sleep(3000);
  sim::UpdateMonitor(GetTickCount());
  EXPECT_EQ(sim::MonitorDarkenings(), 2u);

  // Putting back a time-out the idle time has not reached wakes it; one it has keeps it dark.
  policy.SetVideoTimeout(3);
  ASSERT_EQ(Write(policy), StatusSuccess);
  EXPECT_TRUE(sim::MonitorDark());
  policy.SetVideoTimeout(600);
  ASSERT_EQ(Write(policy), StatusSuccess);
  EXPECT_FALSE(sim::MonitorDark());
  policy.SetVideoTimeout(0);  // never
  ASSERT_EQ(Write(policy), StatusSuccess);
  Sleep(100000000);
  sim::UpdateMonitor(GetTickCount());
  EXPECT_FALSE(sim::MonitorDark());
  EXPECT_EQ(sim::MonitorDarkenings(), 2u);
}

TEST_F(PowerPolicy, AMonitorWithoutPowerSavingNeverGoesDark) {
  PowerSettings power = WithTimeout(2);
  power.MonitorBlanks = false;
  Start(power);
  Sleep(60000);
  sim::UpdateMonitor(GetTickCount());
  EXPECT_FALSE(sim::MonitorDark());
  EXPECT_EQ(sim::MonitorDarkenings(), 0u);
}

TEST_F(PowerPolicy, APolicyFileKeepsTheTimeoutAcrossMachines) {
  char pattern[] = "/tmp/raster-scan-power-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string path = std::string(pattern) + "/policy.txt";
  std::ofstream(path) << "45\n";
  PowerSettings power = WithTimeout(600);
  power.PolicyFile = path;
  Start(power);
  EXPECT_EQ(sim::PolicyVideoTimeout(), 45u);
  Policy policy;
  ASSERT_EQ(Read(policy), StatusSuccess);
  policy.SetVideoTimeout(0);
  ASSERT_EQ(Write(policy), StatusSuccess);
  Start(power);  // the next run of the program
  EXPECT_EQ(sim::PolicyVideoTimeout(), 0u);
  std::remove(path.c_str());
  rmdir(pattern);
}

TEST(MachinePower, SectionsAreCheckedKeyByKey) {
  const auto build = [](const std::string& text, Machine& machine, std::string& error) {
    sim::MachineText parsed;
    return sim::ParseMachineText(text, parsed, error) && sim::BuildMachine(parsed, machine, error);
  };
  Machine machine;
  std::string error;
  ASSERT_TRUE(build("[Power]\nVideoTimeout=0\nPolicyFails=Write\nMonitorBlanks=false\n[Rotation]\nTurn=600x800x32\n"
                    "[Events]\nKillFileAtPolicyWrite=1 .\\kill.ctl\nConsoleBreakAtPolicyWrite2=3\n",
                    machine, error))
      << error;
  EXPECT_EQ(machine.Power.VideoTimeout, 0u);
  EXPECT_EQ(machine.Power.Fails, PowerSettings::Failing::Write);
  EXPECT_FALSE(machine.Power.MonitorBlanks);
  EXPECT_EQ(machine.Rotation.Turn, sim::RotationSettings::Kind::Mode);
  EXPECT_EQ(machine.Rotation.Portrait.Height, 800);
  // Keys come in the order of their names; neither event waits for a map or a time.
  ASSERT_EQ(machine.Events.size(), 2u);
  EXPECT_EQ(machine.Events[0].Action, sim::MapEvent::Kind::ConsoleBreak);
  EXPECT_EQ(machine.Events[0].AtPolicyWrite, 3u);
  EXPECT_EQ(machine.Events[1].AtPolicyWrite, 1u);
  EXPECT_EQ(machine.Events[1].AtMap, 0u);
  EXPECT_FALSE(build("[Power]\nPolicyFails=sometimes\n", machine, error));
  EXPECT_EQ(error, "line 2: bad value 'sometimes' for 'policyfails' in [power]");
  EXPECT_FALSE(build("[Rotation]\nTurn=sideways\n", machine, error));
  EXPECT_FALSE(build("[Events]\nKillFileAtPolicyWrite=0 .\\kill.ctl\n", machine, error));
}

// A change that keeps the shape the screen had is a bad turn; a square screen never is.
TEST(RotationRules, TheOrientationRule) {
  EXPECT_TRUE(KeepsOrientation(1024, 768, true));
  EXPECT_FALSE(KeepsOrientation(768, 1024, true));
  EXPECT_TRUE(KeepsOrientation(768, 1024, false));
  EXPECT_FALSE(KeepsOrientation(1024, 768, false));
  EXPECT_FALSE(KeepsOrientation(1024, 1024, true));
  EXPECT_FALSE(KeepsOrientation(1024, 1024, false));
}

}  // namespace
