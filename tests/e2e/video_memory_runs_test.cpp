// VideoMemoryTest runs whose outcome is told by more than one transcript can say: each step of
// the set-up that fails ends with its code after its own percentage, retries against a byte that
// reads wrong a few times, the patterns as the screen shows them, and runs that repeat exactly on
// the virtual clock.
#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rgb_picture.h"
#include "screen_runs.h"

namespace {

using namespace screen_runs;

class VideoMemoryRuns : public ScreenRuns {
 protected:
  // The built-in machine with a display of its own: 1024x768x24 is the mode the test takes.
  std::string Display(const std::string& name, const std::string& keys) {
    return Machine(name, "[Display.1]\nModes=640x480x8,1024x768x16,1024x768x24,1024x768x32\n"
                         "Current=1024x768x32\n" + keys);
  }

  // The built-in machine started a day later, with `extra` sections.
  std::string NextDay(const std::string& extra) const {
    std::string text = TextOf(std::string(MACHINES_DIR) + "/default.ini");
    const std::string start = "StartTick=0\n";
    const size_t at = text.find(start);
    EXPECT_NE(at, std::string::npos);
    text.replace(at, start.size(), "StartTick=86400000\n");
    const std::string path = Folder + "/next-day.ini";
    std::ofstream(path, std::ios::binary) << text << "\n" << extra;
    return path;
  }
};

const std::string kPassed = "LogMessage 3 3 \"\" \"\"\nUpdatePercentage 100\n";

TEST_F(VideoMemoryRuns, EachFailingStepEndsWithItsCodeAfterItsPercentageOnEveryTry) {
  const struct {
    const char* Keys;
    const char* Percentage;  // the last one before the failure
    const char* Code;
  } cases[] = {
      {"DirectDraw=false\n", "60", "990362"},
      {"DirectDrawFails=SetCooperativeLevel\n", "65", "990363"},
      {"Refuse=1024x768x24\n", "70", "990364"},
      {"DirectDrawFails=SetDisplayMode\n", "70", "990364"},
      {"DirectDrawFails=CreateSurface\n", "80", "990365"},
      {"DirectDrawFails=Unlock\n", "86", "990366"},
      // Lock: the transcript of machines/display-lock-fails.ini.
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Keys);
    const ProcessResult run = Run("VideoMemoryTest", {}, Display("failing.ini", c.Keys));
    EXPECT_EQ(run.Status, 1);
    const std::string closing =
        std::string("UpdatePercentage ") + c.Percentage + "\nReportFailure " + c.Code + "\nEndOfTest\n";
    EXPECT_EQ(LastBytes(run.Stdout, closing.size()), closing) << run.Stdout;
    // The retry failed the same way; a window that went left the next one free to take the screen.
    EXPECT_EQ(Count(run.Stdout, std::string("UpdatePercentage ") + c.Percentage + "\n"), 2u) << run.Stdout;
    EXPECT_EQ(Count(run.Stdout, "UpdatePercentage 55\n"), 2u) << run.Stdout;
    EXPECT_EQ(Count(run.Stdout, "LogMessage 6 45 "), 0u) << "no pattern was written";
  }
}

TEST_F(VideoMemoryRuns, EveryRetryMustPassForAFailureToCountAsIntermittent) {
  // Wrong on the first pass only: all three retries pass.
  const ProcessResult once =
      Run("VideoMemoryTest", {"-Retries=3"}, std::string(MACHINES_DIR) + "/display-memory-flaky-absorbed.ini");
  EXPECT_EQ(once.Status, 0) << once.Stdout;
  EXPECT_EQ(Count(once.Stdout, "LogMessage 6 45 "), 4u);
  EXPECT_NE(once.Stdout.find("UpdatePercentage 95\nLogMessage 5 36 \"\" \"\"\n" + kPassed), std::string::npos)
      << once.Stdout;

  // Wrong on the first two passes: the first retry fails, and that ends the run, retries left or not.
  const ProcessResult twice =
      Run("VideoMemoryTest", {"-Retries=3"}, std::string(MACHINES_DIR) + "/display-memory-flaky-failing.ini");
  EXPECT_EQ(twice.Status, 1);
  EXPECT_EQ(Count(twice.Stdout, "LogMessage 6 45 "), 2u);
  EXPECT_EQ(Count(twice.Stdout, "LogMessage 5 36 "), 0u);
  EXPECT_EQ(Count(twice.Stdout, "ReportFailure"), 0u) << "a bad byte has no code";
}

TEST_F(VideoMemoryRuns, TheScreenShowsTheRandomBytesThenEachPattern) {
  const ProcessResult run =
      Run("VideoMemoryTest", {}, "", {{"RASTERSCAN_SCREENSHOTS", Folder + "/shots"}});
  ASSERT_EQ(run.Status, 0) << run.Stdout;
  const std::vector<std::string> shots = Pictures("shots");
  // One picture per lock that changed the screen, and one as the window goes.
  ASSERT_EQ(shots.size(), 10u);
  const uint8_t patterns[8] = {0x00, 0xA5, 0x5A, 0x55, 0xAA, 0x00, 0xFF, 0x00};
  for (size_t shot = 0; shot < 9; ++shot) {
    SCOPED_TRACE(shots[shot]);
    const RgbPicture picture = ReadRgbPicture(Folder + "/" + shots[shot]);
    ASSERT_FALSE(picture.Empty());
    EXPECT_EQ(picture.Width, 1024);
    EXPECT_EQ(picture.Height, 768);
    const uint8_t* rgb = picture.Pixels.data();
    const size_t bytes = picture.Pixels.size();
    const size_t top = static_cast<size_t>(std::count(rgb, rgb + bytes, 255));
    if (shot == 0) {
      // Random bytes, never 255: rand() modulo 255.
      EXPECT_EQ(top, 0u);
      EXPECT_NE(std::count(rgb, rgb + bytes, rgb[0]), static_cast<std::ptrdiff_t>(bytes));
    } else {
      // In 24 bits a pattern byte is each of blue, green and red.
      EXPECT_EQ(std::count(rgb, rgb + bytes, patterns[shot - 1]), static_cast<std::ptrdiff_t>(bytes));
    }
  }
}

TEST_F(VideoMemoryRuns, TheRandomFillRepeatsWithTheClocksStartAndDiffersWithAnother) {
  // A small screen (640x480x16) keeps the pictures cheap.
  const std::string small = "[Display.1]\nModes=640x480x16,800x600x32\nCurrent=800x600x32\n";
  const std::string today = Machine("today.ini", small);
  ASSERT_EQ(Run("VideoMemoryTest", {}, today, {{"RASTERSCAN_SCREENSHOTS", Folder + "/a"}}).Status, 0);
  ASSERT_EQ(Run("VideoMemoryTest", {}, today, {{"RASTERSCAN_SCREENSHOTS", Folder + "/b"}}).Status, 0);
  ASSERT_EQ(Run("VideoMemoryTest", {}, NextDay(small), {{"RASTERSCAN_SCREENSHOTS", Folder + "/c"}}).Status, 0);
  const std::vector<std::string> a = Pictures("a"), b = Pictures("b"), c = Pictures("c");
  ASSERT_EQ(a.size(), 10u);
  ASSERT_EQ(b.size(), 10u);
  ASSERT_EQ(c.size(), 10u);
  for (size_t shot = 0; shot < a.size(); ++shot) EXPECT_EQ(Read(a[shot]), Read(b[shot])) << a[shot];
  EXPECT_NE(Read(a[0]), Read(c[0]));
  EXPECT_EQ(Read(a[1]), Read(c[1]));
}

TEST_F(VideoMemoryRuns, AStopRequestAtTheStartEndsTheRunBeforeTheScreenIsTaken) {
  Write("kill.ctl", {});
  const ProcessResult run = Run("VideoMemoryTest", {});
  EXPECT_EQ(run.Status, 1);
  EXPECT_NE(run.Stdout.find("UpdatePercentage 1\nLogMessage 8 1 \"\" \"\"\nTestFailed 995000 \"\"\nEndOfTest\n"),
            std::string::npos)
      << run.Stdout;
  EXPECT_EQ(Count(run.Stdout, "LogMessage 3 2 "), 0u);
}

}  // namespace
