// Every way a run that changes the machine can end, judged by what the machine is left with: its
// display mode (the mode file), its display configuration (the paths' state file) and its power
// policy (the policy file). A pass, a failure, a kill file, a closed window and a closed console
// all leave them as they were found.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

// A closed console ends the process as SIGHUP's default would: 128 + 1.
constexpr int kClosedStatus = 129;
const char kStartMode[] = "\\\\.\\DISPLAY1 1024x768x32 60 attached 0,0 registry 1024x768x32 60 attached 0,0\n";

class WaysOut : public ScreenRuns {
 protected:
  void SetUp() override {
    ScreenRuns::SetUp();
    if (IsSkipped()) return;
    MakeMedia();
    CopyIn(MESSAGES_FILE, "raster-scan.msg");
  }
  // The built-in machine keeping its mode in mode.txt, with `events` as its [Events].
  std::string ModeMachine(const std::string& events) const {
    return Machine("mode.ini", "[DisplayPaths]\nModeFile=mode.txt\n[Events]\n" + events);
  }
  // A machine of machines/ with both display state files, `extra` at its end.
  std::string PortMachine(const std::string& name, const std::string& extra) const {
    std::ofstream(Folder + "/ports.ini", std::ios::binary) << TextOf(std::string(MACHINES_DIR) + "/" + name + ".ini")
                                                           << "\n[DisplayPaths]\nStateFile=paths.txt\nModeFile=mode.txt\n" << extra;
    CopyIn(std::string(MACHINES_DIR) + "/videoport/" + name + ".ini", "videoport.ini");
    return Folder + "/ports.ini";
  }
};

// One way a run can end: machine events, the operator's script, the status it ends with.
struct WayOut {
  const char* Way;
  std::string Events;
  std::string Script;
  int Status;
};

TEST_F(WaysOut, RotationTestPutsTheModeBackHoweverItEnds) {
  const WayOut cases[] = {
      {"pass", "", "rotate; rotate; rotate; rotate", 0},
      {"time up", "", "rotate; nothing; answer ok; nothing", 1},
      {"window closed", "", "rotate; close", 1},
      {"kill file", "KillFileAtTime=5000 .\\kill.ctl\n", "rotate; nothing; answer ok; nothing", 1},
      {"console closed", "ConsoleCloseAtTime=5000\n", "rotate; wait 60000", kClosedStatus},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Way);
    std::remove((Folder + "/kill.ctl").c_str());
    std::remove((Folder + "/mode.txt").c_str());
    const ProcessResult run = Run("RotationTest", {"-InitialResolution=800x600x32", "-Timeout=10"},
                                  ModeMachine(c.Events), {{"RASTERSCAN_OPERATOR", c.Script}});
    EXPECT_EQ(run.Status, c.Status) << run.Stdout << run.Stderr;
    // The run did change the mode: the first turn is reported from the mode it set.
    EXPECT_NE(run.Stdout.find("Current Resolution: 600x800x32"), std::string::npos) << run.Stdout;
    EXPECT_EQ(ReadText("mode.txt"), kStartMode);
  }
}

TEST_F(WaysOut, AScreenSubtestPutsTheStartModeBackOnAPassAFailureAndAClosedConsole) {
  const WayOut cases[] = {
      {"pass", "", "digit; digit", 0},
      {"F1 on the second card", "", "digit; F1", 1},
      // Closed while the operator looks at the first card, in 640x480x32.
      {"console closed", "ConsoleCloseAtTime=3000\n", "wait 60000", kClosedStatus},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Way);
    std::remove((Folder + "/mode.txt").c_str());
    const ProcessResult run = Run("ModeTest", {"-Mode640x480x32=true", "-Mode800x600x16=true"}, ModeMachine(c.Events),
                                  {{"RASTERSCAN_OPERATOR", c.Script}});
    EXPECT_EQ(run.Status, c.Status) << run.Stdout << run.Stderr;
    EXPECT_NE(run.Stdout.find("LogMessage 14 202 \"640x480x32\""), std::string::npos);
    EXPECT_EQ(ReadText("mode.txt"), kStartMode);
    if (c.Status != kClosedStatus) continue;
    EXPECT_EQ(run.Stdout.find("EndOfTest"), std::string::npos);
    EXPECT_EQ(run.Stderr, "error: the console was closed: the run ended without a verdict, with what it had "
                          "changed on the machine put back\n");
  }
}

TEST_F(WaysOut, GraphicsPortTestPutsTheStartConfigurationBackOnEveryWayOut) {
  const std::string atStart =
      "\\\\.\\DISPLAY1 4 1 active 0,0 primary\n\\\\.\\DISPLAY1 4 2 inactive\n\\\\.\\DISPLAY1 0 1 inactive\n"
      "\\\\.\\DISPLAY1 5 1 inactive\n";
  const struct {
    const char* Way;
    std::string Extra;
    int Status;
    std::string Ending;
  } cases[] = {
      // The third port's configuration is refused, with DVI 2 alone on the desktop.
      {"refused", "RefuseSet=3\n", 1, "LogMessage 8 8 \"WIN32 Error occured 1610 \" \"\"\nTestFailed 990666 \"\"\n"},
      {"console closed", "[Events]\nConsoleCloseAtTime=200\n", kClosedStatus, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Way);
    std::remove((Folder + "/paths.txt").c_str());
    const ProcessResult run = Run("GraphicsPortTest", {"-INISection=connected"}, PortMachine("ports-three-monitors", c.Extra),
                                {{"RASTERSCAN_OPERATOR", "digit; digit; digit"}});
    EXPECT_EQ(run.Status, c.Status) << run.Stdout << run.Stderr;
    if (!c.Ending.empty()) {
      EXPECT_EQ(LastBytes(run.Stdout, c.Ending.size() + 10), c.Ending + "EndOfTest\n");
    }
    EXPECT_EQ(ReadText("paths.txt"), atStart);
  }
}

// Each stop lands right after the time-out went to 2 seconds, or later while the operator waits.
TEST_F(WaysOut, AStopOrAClosedConsolePutsThePowerPolicyBack) {
  const struct {
    const char* Events;
    const char* Script;
    int Status;
    const char* Said;  // on standard output
  } cases[] = {
      // The kill file is seen after the time-out is put back: the run ends with 24.
      {"KillFileAtPolicyWrite=1 .\\kill.ctl\n", "answer ok; say-if-blank", 1, "LogMessage 8 24 \"\" \"\"\nEndOfTest\n"},
      // The configured prompts watch for Ctrl+C: each ends at once, and each attempt puts it back.
      {"ConsoleBreakAtPolicyWrite=1\n", "answer ok", 1, "Process received request to terminate."},
      {"ConsoleCloseAtPolicyWrite=1\n", "answer ok; wait 60000", kClosedStatus, ""},
      {"ConsoleCloseAtTime=3000\n", "answer ok; wait 60000", kClosedStatus, ""},
  };
  std::ofstream(Folder + "/diagconf.ini") << "[WindowSettings]\n";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Events);
    std::remove((Folder + "/kill.ctl").c_str());
    std::ofstream(Folder + "/policy.txt") << "1200\n";
    const std::string machine = Folder + "/power.ini";
    std::ofstream(machine) << "[Clock]\nMode=virtual\n[Power]\nPolicyFile=policy.txt\n[Events]\n" << c.Events;
    const ProcessResult run = Run("VideoPowerManagementTest", {}, machine, {{"RASTERSCAN_OPERATOR", c.Script}});
    EXPECT_EQ(run.Status, c.Status) << run.Stdout << run.Stderr;
    EXPECT_NE(run.Stdout.find(c.Said), std::string::npos) << run.Stdout;
    EXPECT_EQ(ReadText("policy.txt"), "1200\n");
  }
}

}  // namespace
