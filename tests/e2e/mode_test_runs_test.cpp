// ModeTest unattended on the built-in machine: a calibration run and the field runs after it in the
// same folder, with the records of ZR_VIDEO.DAT checked byte for byte and the files left behind.
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

class ModeTestRuns : public ScreenRuns {
 protected:
  ProcessResult Run(const std::vector<std::string>& args) { return ScreenRuns::Run("ModeTest", args); }
};

TEST_F(ModeTestRuns, GenericCalibrationThenVerifyPassesAndMismatchFails) {
  ProcessResult calibration = Run({"-interactive=false", "-Calibrate=true", "-CreateGenericCalibration=true"});
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  EXPECT_NE(calibration.Stdout.find("LogMessage 3 3 \"\" \"\"\nLogMessage 3 201 \"\" \"\"\n"), std::string::npos);
  EXPECT_EQ(calibration.Stdout.find("UpdatePercentage 100"), std::string::npos);

  // Calibration walks every row the machine has; a missing one is skipped with its Debug line.
  const std::vector<Calibrated> modes = CalibratedModes(calibration.Stdout);
  EXPECT_EQ(modes.size(), Count(calibration.Stdout, "LogMessage 14 204 "));
  EXPECT_NE(calibration.Stdout.find("LogMessage 14 203 \"2048x1536x32\" \"\"\n"), std::string::npos);
  EXPECT_EQ(calibration.Stdout.find("LogMessage 14 206 \"2048x1536"), std::string::npos);
  const Bytes expected = ExpectedRecords(modes, 0xFFFFFFFF, 0x4003);
  // The built-in machine has 37 of the 64 rows: no 24 bits above 1024 wide, no 1792 and up but 1920x1080/1200.
  ASSERT_EQ(modes.size(), 37u);
  EXPECT_EQ(modes.front().Mode, "640x480x8");
  const Bytes file = Read("ZR_VIDEO.DAT");
  EXPECT_EQ(file, expected);
  // Different modes give different cards: the sums are not all one value.
  std::set<uint32_t> sums;
  for (const Calibrated& mode : modes) sums.insert(mode.Sum);
  EXPECT_GT(sums.size(), modes.size() / 2);
  EXPECT_EQ(FilesLeft(), std::set<std::string>{"ZR_VIDEO.DAT"});

  ProcessResult field = Run({"-interactive=false", "-Mode800x600x32=true", "-Mode1024x768x16=true"});
  EXPECT_EQ(field.Status, 0) << field.Stdout;
  EXPECT_NE(field.Stdout.find("UpdatePercentage 45\nLogMessage 3 3 \"\" \"\"\nUpdatePercentage 100\n"),
            std::string::npos);
  EXPECT_EQ(Count(field.Stdout, "LogMessage 14 210 "), 2u);
  EXPECT_EQ(field.Stdout.find("LogMessage 8 209"), std::string::npos);
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), file);  // a field run only reads

  // A record that no longer matches the screen: shown again once (-Retries 1), then the failure.
  size_t at = 0;
  while (at < file.size() && !(WordAt(file, at + 8) == 32 && WordAt(file, at + 12) == 800)) at += 32;
  ASSERT_LT(at, file.size());
  Bytes tampered = file;
  tampered[at + 20] ^= 0x01;
  Write("ZR_VIDEO.DAT", tampered);
  ProcessResult mismatch = ScreenRuns::Run(
      "ModeTest", {"-interactive=false", "-Mode800x600x32=true", "-Mode1024x768x16=true"}, "",
      {{"RASTERSCAN_DEBUG_OUTPUT", "1"}});
  EXPECT_EQ(mismatch.Status, 1);
  EXPECT_EQ(Count(mismatch.Stdout, "LogMessage 8 209 \"\" \"\"\n"), 2u);
  // Each mismatch tells a debugger the stored sum and the one the screen gave.
  char told[128];
  std::snprintf(told, sizeof told,
                "warning: OutputDebugString: Checksum mismatch: test 0x4003, mode 800x600x32, stored 0x%08x, found 0x%08x\n",
                WordAt(tampered, at + 20), WordAt(file, at + 20));
  EXPECT_EQ(Count(mismatch.Stderr, told), 2u) << mismatch.Stderr;
  EXPECT_EQ(Count(mismatch.Stdout, "LogMessage 8 20000 \"Retrying due to Checksum failure...\" \"\"\n"), 1u);
  // The failing mode stops the walk: 1024x768x16 is never shown.
  EXPECT_EQ(mismatch.Stdout.find("\"1024x768x16\""), std::string::npos);
  EXPECT_NE(mismatch.Stdout.find("UpdatePercentage 45\nReportFailure 990408\nEndOfTest\n"), std::string::npos);
  // Without the analysis switches a failing screen leaves no files.
  EXPECT_EQ(FilesLeft(), std::set<std::string>{"ZR_VIDEO.DAT"});
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), tampered);
}

TEST_F(ModeTestRuns, ControllerCalibrationUpdatesInPlaceAndAMissingModeFailsTheCompare) {
  ProcessResult first = Run({"-interactive=false", "-Calibrate=true"});
  ASSERT_EQ(first.Status, 0) << first.Stdout;
  const Bytes file = Read("ZR_VIDEO.DAT");
  ASSERT_EQ(file.size() % 32, 0u);
  ASSERT_GT(file.size(), 0u);
  // The built-in machine's controller: vendor 0x102B, device 0x0534.
  for (size_t at = 0; at < file.size(); at += 32) EXPECT_EQ(WordAt(file, at), 0x102B0534u) << "record " << at / 32;

  // A record the run never stores survives a second calibration, and the others stay in place.
  Bytes extra = file;
  const Bytes foreign = Record(0xFFFFFFFF, 0x4003, 1, 1, 8, 7);
  extra.insert(extra.begin(), foreign.begin(), foreign.end());
  Write("ZR_VIDEO.DAT", extra);
  ProcessResult second = Run({"-interactive=false", "-Calibrate=true"});
  ASSERT_EQ(second.Status, 0) << second.Stdout;
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), extra);

  // Only 640x480 records: a field run in 800x600 finds none for its mode.
  Write("ZR_VIDEO.DAT", Bytes(file.begin(), file.begin() + 4 * 32));
  ProcessResult field = Run({"-interactive=false", "-Mode800x600x16=true"});
  EXPECT_EQ(field.Status, 1);
  EXPECT_NE(field.Stdout.find("LogMessage 8 217 \"800x600x16\" \"\"\nTestFailed 990661 \"\"\nEndOfTest\n"),
            std::string::npos);
}

TEST_F(ModeTestRuns, CalibrationCapturesEveryScreenButTheEightBitOnes) {
  ProcessResult run = Run({"-interactive=false", "-Calibrate=true", "-CaptureScreen=true"});
  ASSERT_EQ(run.Status, 0) << run.Stdout;
  const std::set<std::string> files = FilesLeft();
  EXPECT_EQ(files.count("ModeTest_800_600_32_0.bmp"), 1u);
  EXPECT_EQ(files.count("ModeTest_1024_768_16_0.bmp"), 1u);
  EXPECT_EQ(files.count("ModeTest_800_600_8_0.bmp"), 0u);
  const Bytes bitmap = Read("ModeTest_800_600_32_0.bmp");
  ASSERT_GT(bitmap.size(), 54u);
  EXPECT_EQ(bitmap[0], 'B');
  EXPECT_EQ(bitmap[1], 'M');
  EXPECT_EQ(WordAt(bitmap, 18), 800u);
}

}  // namespace
