// BltTest, LineTest and PaletteTest unattended: calibration on a good machine, field runs in the
// same folder, and the faults the analysis has to find.
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rgb_picture.h"
#include "screen_runs.h"

namespace {

using namespace screen_runs;

// The built-in machine's controller: vendor 0x102B, device 0x0534.
constexpr uint32_t kController = 0x102B0534;

// A display with three modes keeps the calibration walks and their dumps small.
const char kSmallDisplay[] =
    "[Display.1]\n"
    "Modes=640x480x32,800x600x8,800x600x16\n"
    "Current=800x600x16\n";

class ScreenSubtestRuns : public ScreenRuns {
 protected:
  void SetUp() override {
    ScreenRuns::SetUp();
    if (IsSkipped()) return;
    MakeMedia();
    Small = Machine("small.ini", kSmallDisplay);
    Kit = FilesLeft();
  }
  // The media kit's files and the machine file, with what a run adds.
  std::set<std::string> KitAnd(std::set<std::string> more) const {
    more.insert(Kit.begin(), Kit.end());
    return more;
  }
  std::string Small;
  std::set<std::string> Kit;
};

// The colour of a pixel of a bottom-up 24 or 32-bit BMP file, as 0xRRGGBB.
uint32_t BmpPixel(const Bytes& file, int32_t x, int32_t y) {
  const uint32_t offset = WordAt(file, 10);
  const int32_t width = static_cast<int32_t>(WordAt(file, 18));
  const int32_t height = static_cast<int32_t>(WordAt(file, 22));
  const uint32_t bytes = (file[28] | file[29] << 8) / 8u;
  const size_t stride = (static_cast<size_t>(width) * bytes + 3) & ~size_t{3};
  const size_t at = offset + static_cast<size_t>(height - 1 - y) * stride + static_cast<size_t>(x) * bytes;
  return static_cast<uint32_t>(file.at(at + 2)) << 16 | static_cast<uint32_t>(file.at(at + 1)) << 8 | file.at(at);
}

TEST_F(ScreenSubtestRuns, BltCalibrationConfirmsAndUpdatesInPlaceAndTheFieldRunPasses) {
  const ProcessResult calibration = Run("BltTest", {"-interactive=false", "-Calibrate=true"}, Small);
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  // The main pass, then ten confirmation rounds that have no failed mode to show.
  EXPECT_EQ(Count(calibration.Stdout, "UpdatePercentage 55\nUpdatePercentage 58\nUpdatePercentage 65\n"), 10u);
  EXPECT_NE(calibration.Stdout.find("UpdatePercentage 90\nLogMessage 5 36 \"\" \"\"\nLogMessage 3 3 \"\" \"\"\n"
                                    "LogMessage 3 201 \"\" \"\"\n"),
            std::string::npos);
  const std::vector<Calibrated> modes = CalibratedModes(calibration.Stdout);
  ASSERT_EQ(modes.size(), 3u);
  EXPECT_EQ(modes[0].Mode, "640x480x32");
  const Bytes file = Read("ZR_VIDEO.DAT");
  EXPECT_EQ(file, ExpectedRecords(modes, kController, 0x20));
  EXPECT_NE(modes[1].Sum, modes[2].Sum);

  const ProcessResult again = Run("BltTest", {"-interactive=false", "-Calibrate=true"}, Small);
  ASSERT_EQ(again.Status, 0);
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), file);

  const ProcessResult field = Run("BltTest", {"-interactive=false", "-Mode800x600x8=true", "-Mode640x480x32=true"}, Small);
  EXPECT_EQ(field.Status, 0) << field.Stdout;
  EXPECT_EQ(Count(field.Stdout, "LogMessage 14 210 "), 2u);
  EXPECT_EQ(field.Stdout.find("UpdatePercentage 55"), std::string::npos);  // no rounds outside calibration
  EXPECT_EQ(FilesLeft(), KitAnd({"ZR_VIDEO.DAT"}));
}

TEST_F(ScreenSubtestRuns, BltAnalysisFindsThePlantedPixelAndTheCaptureShowsTheWipedScreen) {
  ASSERT_EQ(Run("BltTest", {"-interactive=false", "-Calibrate=true", "-AnalyzeOnCalibrate=true"}, Small).Status, 0);
  // One dump of each calibrated mode: resolution 1 at depth 4, resolution 3 at depths 1 and 2.
  const std::set<std::string> dumps{"BLT104.CAL", "BLT301.CAL", "BLT302.CAL"};
  for (const std::string& name : dumps) EXPECT_EQ(FilesLeft().count(name), 1u) << name;
  const Bytes calibrated = Read("BLT104.CAL");
  ASSERT_EQ(calibrated.size(), 640u * 480u * 4u);

  const ProcessResult field = Run("BltTest",
                                  {"-interactive=false", "-Mode640x480x32=true", "-AnalyzeFault=true",
                                   "-AnalyzeEnable=true", "-AnalyzeLogFile=true", "-CaptureScreen=true", "-Retries=0"},
                                  Small);
  EXPECT_EQ(field.Status, 1);
  EXPECT_NE(field.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << field.Stdout;

  // The red pixel at (99, 100) is the only difference; the 32-bit record joins its first two lines with "n".
  const size_t at = (100u * 640u + 99u) * 4u;
  const uint32_t expected = WordAt(calibrated, at);
  ASSERT_NE(expected, 0x00FF0000u);
  char record[256];
  std::snprintf(record, sizeof record,
                "*******************\n Record Number : 1 n X offset  : 99\n Y offset  : 100\n Expected      : %x\n"
                " Actual        : ff0000\n ********************\n",
                expected);
  EXPECT_EQ(ReadText("BLT104.LOG"),
            std::string(record) + "*******************\n FINAL ANALYSIS\n Total Pixel Errors : 1\n ********************\n");
  const Bytes failed = Read("BLT104.FAL");
  ASSERT_EQ(failed.size(), calibrated.size());
  EXPECT_EQ(WordAt(failed, at), 0x00FF0000u);

  // The dump walk left the screen black, with the red notice at the top left on it.
  const Bytes capture = Read("BltTest_640_480_32_0.bmp");
  ASSERT_GT(capture.size(), 54u);
  EXPECT_EQ(WordAt(capture, 18), 640u);
  for (const auto& [x, y] : std::vector<std::pair<int, int>>{{99, 100}, {320, 240}, {639, 479}, {0, 479}, {639, 0}})
    EXPECT_EQ(BmpPixel(capture, x, y), 0u) << x << "," << y;
  int red = 0;
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 200; ++x) red += BmpPixel(capture, x, y) == 0xFF0000u ? 1 : 0;
  EXPECT_GT(red, 20);
}

TEST_F(ScreenSubtestRuns, PaletteCalibrationThenFieldRunsAndFourWindowsOnAMismatch) {
  const ProcessResult calibration =
      Run("PaletteTest", {"-interactive=false", "-Calibrate=true", "-Resolution=800x600x8"}, Small);
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  const std::vector<Calibrated> modes = CalibratedModes(calibration.Stdout);
  ASSERT_EQ(modes.size(), 1u);
  EXPECT_EQ(modes[0].Mode, "800x600x8");
  Bytes file = Read("ZR_VIDEO.DAT");
  EXPECT_EQ(file, ExpectedRecords(modes, kController, 0x1000));

  // "current" is the screen at the start, 800x600x16 on this machine: a second record.
  const ProcessResult current = Run("PaletteTest", {"-interactive=false", "-Calibrate=true", "-Resolution=Current"}, Small);
  ASSERT_EQ(current.Status, 0) << current.Stdout;
  const std::vector<Calibrated> second = CalibratedModes(current.Stdout);
  ASSERT_EQ(second.size(), 1u);
  EXPECT_EQ(second[0].Mode, "800x600x16");
  file = Read("ZR_VIDEO.DAT");
  ASSERT_EQ(file.size(), 64u);

  const ProcessResult field = Run("PaletteTest", {"-interactive=false", "-Resolution=800X600X8"}, Small);
  EXPECT_EQ(field.Status, 0) << field.Stdout;

  file[20] ^= 0x01;
  Write("ZR_VIDEO.DAT", file);
  // -Retries 1: each pass shows the window again once, and the run tries the pass twice.
  const ProcessResult mismatch = Run("PaletteTest", {"-interactive=false", "-Resolution=800x600x8"}, Small);
  EXPECT_EQ(mismatch.Status, 1);
  EXPECT_EQ(Count(mismatch.Stdout, "LogMessage 14 204 \"\" \"\"\n"), 4u);
  EXPECT_EQ(Count(mismatch.Stdout, "LogMessage 8 20000 \"Retrying due to Checksum failure...\" \"\"\n"), 2u);
  EXPECT_NE(mismatch.Stdout.find("UpdatePercentage 90\nReportFailure 990408\nEndOfTest\n"), std::string::npos)
      << mismatch.Stdout;
}

TEST_F(ScreenSubtestRuns, AStuckFrameBufferPixelFailsEveryScreenSubtestAndTheAnalysisNamesIt) {
  const std::string stuck = Machine("stuck.ini", std::string(kSmallDisplay) + "StuckPixel=300,200,0x5A\n");
  const std::vector<std::string> calibrate{"-interactive=false", "-Calibrate=true", "-AnalyzeOnCalibrate=true"};
  for (const char* subtest : {"ModeTest", "BltTest", "LineTest"}) ASSERT_EQ(Run(subtest, calibrate, Small).Status, 0);
  ASSERT_EQ(Run("PaletteTest", {"-interactive=false", "-Calibrate=true", "-Resolution=800x600x8"}, Small).Status, 0);
  // A good machine passes what it calibrated.
  ASSERT_EQ(Run("ModeTest", {"-interactive=false", "-Mode640x480x32=true"}, Small).Status, 0);
  ASSERT_EQ(Run("LineTest", {"-interactive=false", "-Mode800x600x16=true"}, Small).Status, 0);

  const std::vector<std::string> analyze{"-interactive=false", "-Mode640x480x32=true", "-AnalyzeEnable=true",
                                         "-AnalyzeLogFile=true", "-CaptureScreen=true"};
  const std::string retry = "LogMessage 8 20000 \"Retrying due to Checksum failure...\" \"\"\n";
  for (const auto& [subtest, dump] : std::vector<std::pair<std::string, std::string>>{{"ModeTest", "MODE104"},
                                                                                       {"BltTest", "BLT104"}}) {
    SCOPED_TRACE(subtest);
    const ProcessResult run = Run(subtest, analyze, stuck);
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(Count(run.Stdout, retry), 1u);
    EXPECT_NE(run.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << run.Stdout;
    // The retry's dumps replace the first ones: the log names the one stuck pixel.
    const uint32_t expected = WordAt(Read(dump + ".CAL"), (200u * 640u + 300u) * 4u);
    ASSERT_NE(expected, 0x5A5A5A5Au);
    char record[256];
    std::snprintf(record, sizeof record,
                  "*******************\n Record Number : 1 n X offset  : 300\n Y offset  : 200\n Expected      : %x\n"
                  " Actual        : 5a5a5a5a\n ********************\n",
                  expected);
    EXPECT_EQ(ReadText(dump + ".LOG"), std::string(record) + "*******************\n FINAL ANALYSIS\n"
                                                              " Total Pixel Errors : 1\n ********************\n");
    // Each try's screen is captured after the wipe; the stuck pixel shows on the black.
    for (const char* attempt : {"_0.bmp", "_1.bmp"}) {
      const Bytes capture = Read(subtest + "_640_480_32" + attempt);
      ASSERT_GT(capture.size(), 54u) << attempt;
      EXPECT_EQ(BmpPixel(capture, 300, 200), 0x5A5A5Au);
      EXPECT_EQ(BmpPixel(capture, 301, 200), 0u);
      EXPECT_EQ(BmpPixel(capture, 300, 201), 0u);
    }
  }

  const ProcessResult line = Run("LineTest", {"-interactive=false", "-Mode800x600x16=true"}, stuck);
  EXPECT_EQ(line.Status, 1);
  EXPECT_EQ(Count(line.Stdout, retry), 1u);
  EXPECT_NE(line.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << line.Stdout;

  const ProcessResult palette = Run("PaletteTest", {"-interactive=false", "-Resolution=800x600x8"}, stuck);
  EXPECT_EQ(palette.Status, 1);
  EXPECT_EQ(Count(palette.Stdout, retry), 2u);
  EXPECT_NE(palette.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << palette.Stdout;
}

// A wrong key brings the prompt: a window in the middle of the screen, above the test card, which
// the operator answers with OK; then the right digit passes.
TEST_F(ScreenSubtestRuns, AWrongKeyShowsThePromptOverTheCardAndTheRunGoesOnAfterOk) {
  const ProcessResult run = Run("LineTest", {"-Mode800x600x32=true"}, "",
                                {{"RASTERSCAN_OPERATOR", "wrong-digit; answer ok; digit"},
                                 {"RASTERSCAN_SCREENSHOTS", Folder + "/shots"}});
  ASSERT_EQ(run.Status, 0) << run.Stdout;
  EXPECT_NE(run.Stdout.find("LogMessage 3 3 \"\" \"\"\nUpdatePercentage 100\n"), std::string::npos);
  // The prompt's picture (named after its title, the subtest), then the card's as its window goes.
  const std::vector<std::string> shots = Pictures("shots");
  ASSERT_EQ(shots.size(), 2u);
  EXPECT_EQ(shots[0], "shots/0001-LineTest.png");
  const RgbPicture promptShot = ReadRgbPicture(Folder + "/" + shots[0]);
  const RgbPicture cardShot = ReadRgbPicture(Folder + "/" + shots[1]);
  ASSERT_FALSE(promptShot.Empty() || cardShot.Empty());
  ASSERT_EQ(promptShot.Width, 800);
  ASSERT_EQ(cardShot.Width, 800);
  const int width = cardShot.Width, height = cardShot.Height;
  const uint8_t* prompt = promptShot.Pixels.data();
  const uint8_t* card = cardShot.Pixels.data();
  // 540 by 290 in the middle: everything else is the card as it was.
  const int left = 400 - 270, top = 300 - 145;
  size_t inside = 0, changedInside = 0, changedOutside = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const size_t at = (static_cast<size_t>(y) * width + x) * 3;
      const bool changed = prompt[at] != card[at] || prompt[at + 1] != card[at + 1] || prompt[at + 2] != card[at + 2];
      const bool in = x >= left && x < left + 540 && y >= top && y < top + 290;
      inside += in;
      (in ? changedInside : changedOutside) += changed;
    }
  EXPECT_EQ(changedOutside, 0u);
  EXPECT_GT(changedInside, inside / 5);
  // The framed text box of the prompt: its left edge a black line 270 pixels high, which the card
  // does not have there.
  auto black = [&](const uint8_t* rgb, int x, int y) {
    const size_t at = (static_cast<size_t>(y) * width + x) * 3;
    return rgb[at] == 0 && rgb[at + 1] == 0 && rgb[at + 2] == 0;
  };
  int edgeInPrompt = 0, edgeInCard = 0;
  for (int y = top + 10; y < top + 280; ++y) {
    edgeInPrompt += black(prompt, left + 10, y);
    edgeInCard += black(card, left + 10, y);
  }
  EXPECT_EQ(edgeInPrompt, 270);
  EXPECT_LT(edgeInCard, 270);
}

// A lock that hands out a buffer of the driver's own reads a blank screen whatever the card shows:
// its sum of 0 is stored by no calibration and verifies against no record, not even one of 0.
TEST_F(ScreenSubtestRuns, ABlankReadOfTheScreenIsNeitherStoredNorAccepted) {
  const std::string machine = std::string(MACHINES_DIR) + "/display-lock-own-buffer.ini";
  const std::string refusal = "LogMessage 8 20000 \"The screen read back as all zeros in ";
  for (const char* subtest : {"ModeTest", "LineTest"}) {
    const ProcessResult calibration = Run(subtest, {"-interactive=false", "-Calibrate=true"}, machine);
    EXPECT_EQ(calibration.Status, 1) << calibration.Stdout;
    EXPECT_NE(calibration.Stdout.find(refusal + "640x480x8: its sum is neither stored nor compared\" \"\"\n"),
              std::string::npos)
        << calibration.Stdout;
    EXPECT_EQ(calibration.Stdout.find("LogMessage 14 206 "), std::string::npos);
    EXPECT_EQ(FilesLeft().count("ZR_VIDEO.DAT"), 0u) << subtest;
  }

  Write("ZR_VIDEO.DAT", Record(0xFFFFFFFF, 0x4003, 1024, 768, 32, 0));
  const ProcessResult field = Run("ModeTest", {"-interactive=false", "-Mode1024x768x32=true"}, machine);
  EXPECT_EQ(field.Status, 1);
  EXPECT_EQ(Count(field.Stdout, refusal + "1024x768x32: its sum is neither stored nor compared\" \"\"\n"), 2u)
      << field.Stdout;  // and once more on the retry
  EXPECT_EQ(field.Stdout.find("LogMessage 8 207 "), std::string::npos);
  EXPECT_NE(field.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << field.Stdout;
}

}  // namespace
