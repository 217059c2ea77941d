// VideoPowerManagementTest runs judged by what they leave behind: the power policy the machine
// keeps across programs (its policy file) after a pass and a failure (the stops are in the ways out
// suite), and the screenshots of a monitor that went dark or never did. Beside them RotationTest,
// whose countdown must stand in the middle of the screen however it turned.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rgb_picture.h"
#include "screen_runs.h"

namespace {

using namespace screen_runs;

class PowerRuns : public ScreenRuns {
 protected:
  // A machine on the virtual clock whose policy, starting at `timeout` seconds, is kept in
  // policy.txt beside it; `extra` goes on in its [Power] section.
  std::string WithPolicy(uint32_t timeout, const std::string& extra = "") {
    std::ofstream(Folder + "/policy.txt") << timeout << "\n";
    std::ofstream(Folder + "/power.ini") << "[Clock]\nMode=virtual\n[Power]\nPolicyFile=policy.txt\n" << extra;
    return Folder + "/power.ini";
  }
  ProcessResult RunWith(const std::string& machine, const std::string& script) {
    return Run("VideoPowerManagementTest", {}, machine, {{"RASTERSCAN_OPERATOR", script}});
  }
};

TEST_F(PowerRuns, TheTimeoutIsPutBackAsFoundExceptOneSecondWhichComesBackAsTwo) {
  const struct {
    uint32_t Before;
    const char* After;
  } cases[] = {{600, "600\n"}, {0, "0\n"}, {1, "2\n"}, {2, "2\n"}, {3600, "3600\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Before);
    const ProcessResult run = RunWith(WithPolicy(c.Before), "answer ok; say-if-blank");
    EXPECT_EQ(run.Status, 0) << run.Stdout << run.Stderr;
    EXPECT_EQ(ReadText("policy.txt"), c.After);
  }
}

// Whether a PNG screenshot is black all over; fails the test when it cannot be read.
bool AllBlack(const std::string& path) {
  const RgbPicture picture = ReadRgbPicture(path);
  EXPECT_FALSE(picture.Empty()) << path;
  if (picture.Empty()) return false;
  for (uint8_t byte : picture.Pixels)
    if (byte != 0) return false;
  return true;
}

TEST_F(PowerRuns, TheDarkScreenIsInTheScreenshotsOnlyWhenTheMonitorWentDark) {
  const ProcessResult shot = Run("VideoPowerManagementTest", {}, WithPolicy(600),
                                 {{"RASTERSCAN_OPERATOR", "answer ok; say-if-blank"},
                                  {"RASTERSCAN_SCREENSHOTS", Folder + "/shots"}});
  ASSERT_EQ(shot.Status, 0);
  const std::vector<std::string> pictures = Pictures("shots");
  // The announcement, the dark screen, the question: the prompts show on a lit screen.
  ASSERT_EQ(pictures.size(), 3u);
  EXPECT_NE(pictures[1].find("monitor_off"), std::string::npos) << pictures[1];
  EXPECT_TRUE(AllBlack(Folder + "/" + pictures[1]));
  EXPECT_FALSE(AllBlack(Folder + "/" + pictures[0]));
  EXPECT_FALSE(AllBlack(Folder + "/" + pictures[2]));

  const ProcessResult never = Run("VideoPowerManagementTest", {"-Retries=1"}, WithPolicy(900, "MonitorBlanks=false\n"),
                                  {{"RASTERSCAN_OPERATOR", "answer ok; say-if-blank; answer ok; say-if-blank"},
                                   {"RASTERSCAN_SCREENSHOTS", Folder + "/never"}});
  EXPECT_EQ(never.Status, 1);
  EXPECT_EQ(Count(never.Stdout, "LogMessage 7 19 \"\" \"\"\n"), 2u) << never.Stdout;
  // A failing run puts the time-out back too.
  EXPECT_EQ(ReadText("policy.txt"), "900\n");
  const std::vector<std::string> lit = Pictures("never");
  EXPECT_EQ(lit.size(), 4u);
  for (const std::string& picture : lit) {
    EXPECT_EQ(picture.find("monitor_off"), std::string::npos) << picture;
    EXPECT_FALSE(AllBlack(Folder + "/" + picture)) << picture;
  }
}

TEST_F(PowerRuns, TheRotationCountdownStaysInTheMiddleOfEachTurnedScreenAndIsInItsPictures) {
  const ProcessResult run =
      Run("RotationTest", {}, "",
          {{"RASTERSCAN_OPERATOR", "wait 1500; rotate; wait 1500; rotate; wait 1500; rotate; wait 1500; rotate"},
           {"RASTERSCAN_SCREENSHOTS", Folder + "/turns"}});
  ASSERT_EQ(run.Status, 0) << run.Stdout;
  const std::vector<std::string> pictures = Pictures("turns");
  // Before each of the four turns, then the countdown's panel and its frame as they close.
  ASSERT_EQ(pictures.size(), 6u);
  for (size_t i = 0; i < pictures.size(); ++i) {
    SCOPED_TRACE(pictures[i]);
    const RgbPicture picture = ReadRgbPicture(Folder + "/" + pictures[i]);
    ASSERT_FALSE(picture.Empty());
    // Portrait after the first and the third turn.
    EXPECT_EQ(picture.Width, i == 1 || i == 3 ? 768 : 1024);
    int left = picture.Width, right = -1, top = picture.Height, bottom = -1;
    for (int y = 0; y < picture.Height; ++y)
      for (int x = 0; x < picture.Width; ++x) {
        const uint8_t* p = picture.At(x, y);
        if (p[0] == 0 && p[1] == 0 && p[2] == 0) continue;
        left = std::min(left, x), right = std::max(right, x), top = std::min(top, y), bottom = std::max(bottom, y);
      }
    // The 540 by 290 frame, whole and in the middle: what is not black lies inside its border.
    EXPECT_EQ(right - left + 1, 538);
    EXPECT_EQ(bottom - top + 1, 288);
    EXPECT_EQ(left - 1, picture.Width / 2 - 270);
    EXPECT_EQ(top - 1, picture.Height / 2 - 145);
  }
}

}  // namespace
