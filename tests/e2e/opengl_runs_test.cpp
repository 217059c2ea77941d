// OpenGL3DRenderingTest end to end: the cube calibrated and verified unattended, judged by the
// scripted operator, and every way the run fails.
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

constexpr uint32_t kController = 0x102B0534;  // the built-in machine's display controller
constexpr uint32_t kOpenGLTest = 0x4007;

const char kSmallDisplay[] =
    "[Display.1]\n"
    "Modes=640x480x32,800x600x8,800x600x16\n"
    "Current=800x600x16\n";

// A second adapter, off the desktop until -ActiveDisplay attaches it.
const char kTwoDisplays[] =
    "[Display.1]\n"
    "Modes=640x480x32,800x600x8,800x600x16\n"
    "Current=800x600x16\n"
    "[Display.2]\n"
    "Description=Second Display Adapter\n"
    "Attached=false\n"
    "Modes=640x480x32,800x600x32\n"
    "Current=640x480x32\n";

const char kRetry[] = "LogMessage 8 20000 \"Retrying due to Checksum failure...\" \"\"\n";

class OpenGLRuns : public ScreenRuns {
 protected:
  void SetUp() override {
    ScreenRuns::SetUp();
    if (IsSkipped()) return;
    MakeMedia();
    Small = Machine("small.ini", kSmallDisplay);
  }
  ProcessResult Run(std::vector<std::string> args, const std::string& machine,
                    const std::map<std::string, std::string>& environment = {}) {
    return ScreenRuns::Run("OpenGL3DRenderingTest", std::move(args), machine, environment);
  }
  ProcessResult Operator(const std::string& script, std::vector<std::string> args, const std::string& shots = "") {
    std::map<std::string, std::string> environment{{"RASTERSCAN_OPERATOR", script}};
    if (!shots.empty()) environment["RASTERSCAN_SCREENSHOTS"] = Folder + "/" + shots;
    return Run(std::move(args), Small, environment);
  }
  std::string Small;
};

std::string Tail(const std::string& out, size_t lines) {
  size_t at = out.size();
  for (size_t n = 0; n <= lines && at != std::string::npos && at > 0; ++n) at = out.rfind('\n', at - 1);
  return at == std::string::npos ? out : out.substr(at + 1);
}

TEST_F(OpenGLRuns, CalibrationStoresEveryModeTheFieldRunVerifiesAndASecondCalibrationChangesNothing) {
  const std::vector<std::string> modes{"-Mode640x480x32=true", "-Mode800x600x8=true", "-Mode800x600x16=true"};
  std::vector<std::string> calibrate{"-interactive=false", "-Calibrate=true", "-CaptureScreen=true"};
  calibrate.insert(calibrate.end(), modes.begin(), modes.end());
  const ProcessResult calibration = Run(calibrate, Small);
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  EXPECT_NE(calibration.Stdout.find("UpdatePercentage 90\nLogMessage 3 3 \"\" \"\"\nLogMessage 3 201 \"\" \"\"\n"),
            std::string::npos);
  const std::vector<Calibrated> stored = CalibratedModes(calibration.Stdout);
  ASSERT_EQ(stored.size(), 3u);
  EXPECT_EQ(stored[1].Mode, "800x600x8");
  const Bytes file = Read("ZR_VIDEO.DAT");
  EXPECT_EQ(file, ExpectedRecords(stored, kController, kOpenGLTest));
  EXPECT_NE(stored[0].Sum, stored[2].Sum);
  // A pass is captured only while calibrating, named by its mode and try.
  for (const char* name : {"OpenGL_640_480_32_0.bmp", "OpenGL_800_600_16_0.bmp"})
    EXPECT_GT(Read(name).size(), 54u) << name;

  // The same frames on the same machine: the same sums, run after run, whatever Mesa is asked
  // for (the rasterizer is pinned, the thread count changes nothing).
  const ProcessResult again = Run({"-interactive=false", "-Calibrate=true", "-Mode800x600x16=true"}, Small,
                                  {{"GALLIUM_DRIVER", "softpipe"}, {"LP_NUM_THREADS", "1"}});
  ASSERT_EQ(again.Status, 0);
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), file);

  std::remove((Folder + "/OpenGL_800_600_16_0.bmp").c_str());
  std::vector<std::string> field{"-interactive=false", "-CaptureScreen=true", "-ConvertVideo=true",
                                 "-Mode800x600x16=true"};
  const ProcessResult verification = Run(field, Small);
  EXPECT_EQ(verification.Status, 0) << verification.Stdout;
  EXPECT_EQ(Count(verification.Stdout, "LogMessage 14 210 \"800x600x16\" \"\"\n"), 1u);
  EXPECT_EQ(Count(verification.Stdout, kRetry), 0u);
  // No capture of a pass outside calibration; the records as text.
  EXPECT_EQ(FilesLeft().count("OpenGL_800_600_16_0.bmp"), 0u);
  char line[160];
  std::snprintf(line, sizeof line, "Controller=0x%x Test=0x4007 Width=800 Height=600 BPP=8 Checksum=0x%x \n",
                kController, stored[1].Sum);
  EXPECT_NE(ReadText("zr_video.txt").find(line), std::string::npos) << ReadText("zr_video.txt");
}

TEST_F(OpenGLRuns, AStuckPixelFailsAfterOneRetryWithACaptureOfEachTryAndAnUncalibratedModeHasNoRecord) {
  ASSERT_EQ(Run({"-interactive=false", "-Calibrate=true", "-Mode640x480x32=true"}, Small).Status, 0);
  const std::string stuck = Machine("stuck.ini", std::string(kSmallDisplay) + "StuckPixel=320,240,0x5A\n");
  const ProcessResult run = Run({"-interactive=false", "-CaptureScreen=true", "-Mode640x480x32=true"}, stuck);
  EXPECT_EQ(run.Status, 1);
  EXPECT_EQ(Count(run.Stdout, kRetry), 1u);
  EXPECT_EQ(Count(run.Stdout, "LogMessage 8 209 \"\" \"\"\n"), 2u);
  EXPECT_NE(run.Stdout.find("UpdatePercentage 90\nReportFailure 990408\nEndOfTest\n"), std::string::npos)
      << run.Stdout;
  for (const char* name : {"OpenGL_640_480_32_0.bmp", "OpenGL_640_480_32_1.bmp"}) {
    const Bytes capture = Read(name);
    ASSERT_GT(capture.size(), 54u) << name;
    EXPECT_EQ(WordAt(capture, 18), 640u);
  }

  // A mode that was never calibrated has no record to compare with.
  const ProcessResult uncalibrated = Run({"-interactive=false", "-Mode800x600x16=true"}, Small);
  EXPECT_EQ(uncalibrated.Status, 1);
  EXPECT_NE(uncalibrated.Stdout.find("LogMessage 8 217 \"800x600x16\" \"\"\nTestFailed 990661 \"\"\n"),
            std::string::npos)
      << uncalibrated.Stdout;

  // Without -VerifyChecksum the frames alone pass, whatever the sum.
  const ProcessResult unchecked = Run({"-interactive=false", "-VerifyChecksum=false", "-Mode640x480x32=true"}, stuck);
  EXPECT_EQ(unchecked.Status, 0) << unchecked.Stdout;
  EXPECT_EQ(Count(unchecked.Stdout, "LogMessage 14 210 "), 0u);
}

TEST_F(OpenGLRuns, TheOperatorJudgesTheCubeByItsDigit) {
  const ProcessResult digit = Operator("digit;keypad-digit", {"-Mode640x480x32=true", "-Mode800x600x8=true"}, "shots");
  EXPECT_EQ(digit.Status, 0) << digit.Stdout;
  EXPECT_EQ(Pictures("shots").size(), 2u);

  // -Retries 1: the first wrong key is forgiven, the second ends the window.
  const ProcessResult wrong = Operator("wrong-digit;answer ok;wrong-digit;answer ok", {"-Mode640x480x32=true"});
  EXPECT_EQ(wrong.Status, 1);
  EXPECT_NE(wrong.Stdout.find("UpdatePercentage 90\nReportFailure 990370\nEndOfTest\n"), std::string::npos)
      << wrong.Stdout;
  EXPECT_EQ(Count(wrong.Stdout, kRetry), 0u);  // the operator's keys decide: no second window
  const ProcessResult forgiven =
      Operator("wrong-digit;answer ok;digit", {"-Mode640x480x32=true", "-Retries=1"});
  EXPECT_EQ(forgiven.Status, 0) << forgiven.Stdout;

  // F1 ends the walk after its mode: the second window is never shown.
  const ProcessResult rejected = Operator("F1", {"-Mode640x480x32=true", "-Mode800x600x8=true"}, "rejected");
  EXPECT_EQ(rejected.Status, 1);
  EXPECT_EQ(Pictures("rejected").size(), 1u);
  EXPECT_EQ(Tail(rejected.Stdout, 3), "LogMessage 7 73 \"\" \"\"\nTestFailed 990358 \"\"\nEndOfTest\n");
  EXPECT_EQ(Count(rejected.Stdout, "UpdatePercentage 50\n"), 0u);
}

TEST_F(OpenGLRuns, AnAdapterWithoutOpenGLEndsTheWindowWithoutAVerdictAsF1) {
  const std::string none = Machine("none.ini", std::string(kSmallDisplay) + "OpenGL=false\n");
  for (const char* script : {"digit", "nothing"}) {
    const ProcessResult run = Run({"-Mode640x480x32=true"}, none, {{"RASTERSCAN_OPERATOR", script}});
    EXPECT_EQ(run.Status, 1) << script;
    EXPECT_EQ(Tail(run.Stdout, 3), "LogMessage 7 73 \"\" \"\"\nTestFailed 990358 \"\"\nEndOfTest\n") << script;
    // The protocol blames the picture; standard error says once that there was none to judge.
    EXPECT_EQ(run.Stderr, "error: no OpenGL context: the driver offers no OpenGL pixel format\n") << script;
  }
  // Unattended it cannot pass either, not even without the checksum.
  const ProcessResult unattended = Run({"-interactive=false", "-VerifyChecksum=false", "-Mode640x480x32=true"}, none);
  EXPECT_EQ(unattended.Status, 1);
  EXPECT_EQ(Count(unattended.Stderr, "error: no OpenGL context: "), 1u) << unattended.Stderr;
}

TEST_F(OpenGLRuns, RunsThatEndBeforeAnyWindow) {
  const ProcessResult noMode = Run({"-interactive=false", "-Calibrate=true"}, Small);
  EXPECT_EQ(noMode.Status, 1);
  EXPECT_NE(noMode.Stdout.find("UpdatePercentage 10\nLogMessage 8 97 \"\" \"\"\nReportFailure 990514\nEndOfTest\n"),
            std::string::npos)
      << noMode.Stdout;

  const ProcessResult noFile = Run({"-interactive=false", "-Mode640x480x32=true"}, Small);
  EXPECT_EQ(noFile.Status, 1);
  EXPECT_NE(noFile.Stdout.find("TestFailed 990695 \"\"\n"), std::string::npos) << noFile.Stdout;
  EXPECT_NE(noFile.Stdout.find("LogMessage 8 15 \"ZR_VIDEO.DAT\" \"\"\n"), std::string::npos);

  const ProcessResult noDisplay = Operator("digit", {"-Display=1", "-Mode640x480x32=true"});
  EXPECT_EQ(noDisplay.Status, 1);
  EXPECT_NE(noDisplay.Stdout.find("UpdatePercentage 90\nReportFailure 990368\nEndOfTest\n"), std::string::npos)
      << noDisplay.Stdout;

  const ProcessResult noDriver = ScreenRuns::Run("OpenGL3DRenderingTest", {"-Calibrate=true", "-Mode640x480x32=true"},
                                                 std::string(MACHINES_DIR) + "/no-driver.ini");
  EXPECT_EQ(noDriver.Status, 1);
  EXPECT_NE(noDriver.Stdout.find("TestFailed 020472 \"\"\n"), std::string::npos) << noDriver.Stdout;

  std::remove((Folder + "/texture3.bmp").c_str());
  const ProcessResult noTexture = Operator("digit", {"-Mode640x480x32=true"});
  EXPECT_EQ(noTexture.Status, 1);
  EXPECT_NE(noTexture.Stdout.find("LogMessage 7 30 \"Texture3.bmp\" \"\"\n"), std::string::npos) << noTexture.Stdout;
  EXPECT_NE(noTexture.Stdout.find("TestFailed 990618 \"\"\n"), std::string::npos);
}

TEST_F(OpenGLRuns, AKillFileWhileTheDigitIsUpEndsTheRunBehindTheWindow) {
  // The window has no timer for it: the confirmed mode ends, then the run stops.
  const ProcessResult run = Run({"-Mode640x480x32=true"}, std::string(MACHINES_DIR) + "/window-kill-file.ini",
                                {{"RASTERSCAN_OPERATOR", "wait 6000;digit"}});
  EXPECT_EQ(run.Status, 1);
  EXPECT_NE(run.Stdout.find("UpdatePercentage 90\nLogMessage 8 1 \"\" \"\"\nTestFailed 995000 \"\"\nEndOfTest\n"),
            std::string::npos)
      << run.Stdout;
}

TEST_F(OpenGLRuns, EveryActiveDisplayIsTestedAndThePrimaryTakesTheWindowOnRequest) {
  const std::string two = Machine("two.ini", kTwoDisplays);
  const std::vector<std::string> all{"-interactive=false", "-TestAll=true", "-ActiveDisplay=true",
                                     "-Mode640x480x32=true"};
  std::vector<std::string> calibrate = all;
  calibrate.push_back("-Calibrate=true");
  const ProcessResult calibration = Run(calibrate, two);
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  // One window on each monitor, each judged.
  EXPECT_EQ(Count(calibration.Stdout, "LogMessage 14 210 \"640x480x32\" \"\"\n"), 2u);
  const ProcessResult verification = Run(all, two);
  EXPECT_EQ(verification.Status, 0) << verification.Stdout;
  EXPECT_EQ(Count(verification.Stdout, "LogMessage 14 210 \"640x480x32\" \"\"\n"), 2u);
  EXPECT_EQ(verification.Stderr.find("nothing tested"), std::string::npos) << verification.Stderr;

  // No monitor at all: the pass that the protocol gives is said on standard error to be empty.
  const std::string headless = Machine("headless.ini", "[Display.1]\nModes=640x480x32,800x600x32\nCurrent=640x480x32\n"
                                                       "[Monitor.1]\nDisplay=1\nConnected=false\n");
  std::vector<std::string> both = all;
  both.push_back("-Mode800x600x32=true");
  both.push_back("-VerifyChecksum=false");
  const ProcessResult none = Run(both, headless);
  EXPECT_EQ(none.Status, 0) << none.Stdout;
  EXPECT_EQ(Count(none.Stdout, "LogMessage 14 210 "), 0u);
  EXPECT_EQ(none.Stderr, "warning: nothing tested: no display monitor to draw on\n");

  // The second monitor, once attached, is display 1; -PrimaryDisp puts its window on the primary,
  // where the operator reads the digit.
  const ProcessResult primary = Run({"-ActiveDisplay=true", "-Display=1", "-PrimaryDisp=true", "-Mode640x480x32=true"},
                                    two, {{"RASTERSCAN_OPERATOR", "digit"}});
  EXPECT_EQ(primary.Status, 0) << primary.Stdout;
}

}  // namespace
