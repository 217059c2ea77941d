// ModeTest unattended on the built-in machine: a calibration run and the field runs after it in the
// same folder, with the records of ZR_VIDEO.DAT checked byte for byte and the files left behind.
#include <dirent.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e_config.h"
#include "process.h"

namespace {

using Bytes = std::vector<unsigned char>;

class ModeTestRuns : public ::testing::Test {
 protected:
  void SetUp() override {
    if (E2eTarget::Current().UnderLauncher()) GTEST_SKIP() << "speaks of the simulated machine";
    Folder = MakeScratchDirectory();
  }
  void TearDown() override {
    if (!Folder.empty()) RemoveDirectory(Folder);
  }

  ProcessResult Run(std::vector<std::string> args) {
    const E2eTarget target = E2eTarget::Current();
    ProcessOptions options;
    options.Argv = target.Command(target.Program);
    args.insert(args.begin(), "-subtest=ModeTest");
    options.Argv.insert(options.Argv.end(), args.begin(), args.end());
    options.WorkingDirectory = Folder;
    options.Environment = target.Environment();
    return RunProcess(options);
  }

  Bytes Read(const std::string& name) const {
    std::ifstream in(Folder + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  void Write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(Folder + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  std::set<std::string> FilesLeft() const {
    std::set<std::string> names;
    if (DIR* dir = opendir(Folder.c_str())) {
      while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') names.insert(entry->d_name);
      closedir(dir);
    }
    return names;
  }

  std::string Folder;
};

void PutWord(Bytes& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<unsigned char>(value >> shift));
}

uint32_t WordAt(const Bytes& bytes, size_t at) {
  return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
         static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

Bytes Record(uint32_t controller, uint32_t width, uint32_t height, uint32_t bits, uint32_t checksum) {
  Bytes out;
  PutWord(out, controller);
  PutWord(out, 0x4003);
  PutWord(out, bits);
  PutWord(out, width);
  PutWord(out, height);
  PutWord(out, checksum);
  out.resize(32, 0);
  return out;
}

// Every mode the run calibrated, with the sum it logged ("%8x") for it, in the order of the run.
struct Calibrated {
  std::string Mode;
  uint32_t Sum;
};
std::vector<Calibrated> CalibratedModes(const std::string& out) {
  std::vector<Calibrated> modes;
  const std::regex block("LogMessage 14 206 \"(\\d+x\\d+x\\d+)\" \"\"\n"
                         "LogMessage 14 210 \"\\1\" \"\"\n"
                         "LogMessage 14 207 \" *([0-9a-f]+)\" \"\"\n"
                         "LogMessage 14 208 \" *\\2\" \"\"\n");
  for (std::sregex_iterator it(out.begin(), out.end(), block), end; it != end; ++it)
    modes.push_back({(*it)[1], static_cast<uint32_t>(std::stoul((*it)[2], nullptr, 16))});
  return modes;
}

size_t Count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

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
  Bytes expected;
  for (const Calibrated& mode : modes) {
    unsigned width = 0, height = 0, bits = 0;
    ASSERT_EQ(std::sscanf(mode.Mode.c_str(), "%ux%ux%u", &width, &height, &bits), 3);
    const Bytes record = Record(0xFFFFFFFF, width, height, bits, mode.Sum);
    expected.insert(expected.end(), record.begin(), record.end());
  }
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
  ProcessResult mismatch = Run({"-interactive=false", "-Mode800x600x32=true", "-Mode1024x768x16=true"});
  EXPECT_EQ(mismatch.Status, 1);
  EXPECT_EQ(Count(mismatch.Stdout, "LogMessage 8 209 \"\" \"\"\n"), 2u);
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
  const Bytes foreign = Record(0xFFFFFFFF, 1, 1, 8, 7);
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
