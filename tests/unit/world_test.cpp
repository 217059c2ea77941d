// The events of a machine file: each happens once, set off only by its own trigger (a map count or
// the time since the start), and a machine put in force again starts with none happened.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "platform/sim/world/clock_state.h"
#include "platform/sim/machine.h"
#include "platform/sim/world/operator.h"
#include "platform/sim/world.h"

using platform::sim::Machine;
using platform::sim::MapEvent;

namespace {

MapEvent KillFile(uint32_t atMap, uint32_t atTime, const std::string& path) {
  MapEvent event;
  event.Action = MapEvent::Kind::KillFile;
  event.AtMap = atMap;
  event.AtTime = atTime;
  event.Path = path;
  return event;
}

class WorldEvents : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/raster-scan-world-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    machine_.DriveRoot = root_;
    machine_.VirtualClock = true;
    machine_.StartTick = 1000;
    std::string error;
    platform::sim::SetOperatorScript("", error);  // an operator that only waits
  }
  void TearDown() override {
    platform::sim::SetCurrentMachine(Machine{});
    platform::sim::ResetClock();
    for (const char* name : {"early.ctl", "late.ctl", "mapped.ctl", "also.ctl", "timed.ctl"})
      std::remove((root_ + "/" + name).c_str());
    rmdir(root_.c_str());
  }

  // Whether the event made the file; takes it away, so that a second making shows.
  bool Made(const std::string& name) { return std::remove((root_ + "/" + name).c_str()) == 0; }

  static bool Turn(uint32_t now, uint32_t& wakeAt) {
    wakeAt = now + 3600000;
    return platform::sim::WorldTurn(now, wakeAt);
  }

  std::string root_;
  Machine machine_;
};

TEST_F(WorldEvents, TimedEventsHappenOnceWhenTheirTimeHasCome) {
  machine_.Events = {KillFile(0, 5000, "\\late.ctl"), KillFile(0, 2000, "\\early.ctl")};
  platform::sim::SetCurrentMachine(machine_);
  uint32_t wakeAt = 0;

  EXPECT_FALSE(Turn(1000, wakeAt));
  EXPECT_EQ(wakeAt, 3000u);  // the sooner one, counted from the start tick
  EXPECT_TRUE(Turn(3000, wakeAt));
  EXPECT_TRUE(Made("early.ctl"));
  EXPECT_FALSE(Made("late.ctl"));
  EXPECT_EQ(wakeAt, 6000u);

  EXPECT_FALSE(Turn(4000, wakeAt));
  EXPECT_FALSE(Made("early.ctl"));
  EXPECT_TRUE(Turn(9000, wakeAt));  // late: what is overdue still happens
  EXPECT_TRUE(Made("late.ctl"));

  // The same machine put in force again is a new run.
  platform::sim::SetCurrentMachine(machine_);
  EXPECT_TRUE(Turn(9000, wakeAt));
  EXPECT_TRUE(Made("early.ctl"));
  EXPECT_TRUE(Made("late.ctl"));
}

TEST_F(WorldEvents, MapEventsHappenOnceAtTheirCountAndNeverByTime) {
  machine_.Events = {KillFile(2, 0, "\\mapped.ctl"), KillFile(0, 0, "\\timed.ctl"), KillFile(2, 0, "\\also.ctl")};
  platform::sim::SetCurrentMachine(machine_);
  uint32_t wakeAt = 0;

  platform::sim::BlockMapped(1);
  EXPECT_FALSE(Made("mapped.ctl"));
  EXPECT_FALSE(Made("timed.ctl"));
  platform::sim::BlockMapped(2);
  EXPECT_TRUE(Made("mapped.ctl"));
  EXPECT_TRUE(Made("also.ctl"));
  EXPECT_FALSE(Made("timed.ctl"));

  EXPECT_TRUE(Turn(1000, wakeAt));
  EXPECT_TRUE(Made("timed.ctl"));
  EXPECT_FALSE(Made("mapped.ctl"));
}

}  // namespace
