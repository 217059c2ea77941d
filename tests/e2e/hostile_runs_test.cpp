// Runs under conditions a technician does not choose: two calibrations in one folder at once, a
// reader that stops reading, a stop in the first moments, a machine file that is no file, a
// folder that cannot be written. Each still ends in the protocol's way, and nothing is lost.
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

class HostileRuns : public ScreenRuns {
 protected:
  // The built-in machine on a write-protected medium: nothing the program opens can be written.
  std::string WriteProtectedMachine() const {
    std::string text = TextOf(std::string(MACHINES_DIR) + "/default.ini");
    const size_t files = text.find("[Files]\n");
    EXPECT_NE(files, std::string::npos);
    text.insert(files + 8, "WriteProtected=true\n");
    const std::string path = Folder + "/write-protected.ini";
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  // The 32-byte records of the store, as a set.
  std::set<Bytes> Records(const Bytes& file) const {
    std::set<Bytes> records;
    for (size_t at = 0; at + 32 <= file.size(); at += 32) records.insert(Bytes(file.begin() + at, file.begin() + at + 32));
    return records;
  }
};

const std::vector<std::string> kGenericCalibration = {"-interactive=false", "-Calibrate=true",
                                                      "-CreateGenericCalibration=true"};

TEST_F(HostileRuns, TwoCalibrationsInOneFolderAtOnceKeepEveryRecord) {
  for (int round = 0; round < 6; ++round) {
    std::remove((Folder + "/ZR_VIDEO.DAT").c_str());
    RunningProcess mode(Options("ModeTest", kGenericCalibration));
    RunningProcess line(Options("LineTest", kGenericCalibration));
    const ProcessResult modeRun = mode.Finish(120);
    const ProcessResult lineRun = line.Finish(120);
    ASSERT_EQ(modeRun.Status, 0) << modeRun.Stdout;
    ASSERT_EQ(lineRun.Status, 0) << lineRun.Stdout;

    const Bytes modeRecords = ExpectedRecords(CalibratedModes(modeRun.Stdout), 0xFFFFFFFF, 0x4003);
    const Bytes lineRecords = ExpectedRecords(CalibratedModes(lineRun.Stdout), 0xFFFFFFFF, 0x40);
    ASSERT_FALSE(modeRecords.empty());
    ASSERT_FALSE(lineRecords.empty());
    std::set<Bytes> expected = Records(modeRecords);
    const std::set<Bytes> fromLine = Records(lineRecords);
    expected.insert(fromLine.begin(), fromLine.end());
    const Bytes file = Read("ZR_VIDEO.DAT");
    EXPECT_EQ(file.size(), modeRecords.size() + lineRecords.size()) << "round " << round;
    EXPECT_EQ(Records(file), expected) << "round " << round;
  }
}

TEST_F(HostileRuns, AClosedOutputPipeDoesNotStopTheRunOrItsRecords) {
  RunningProcess run(Options("ModeTest", kGenericCalibration));
  ASSERT_TRUE(run.WaitForOutput("\n", 30));
  run.CloseStdout();
  const ProcessResult result = run.Finish(120);
  EXPECT_EQ(result.Status, 0) << result.Stderr;
  // Every record of the machine's 37 modes was stored although nobody read a line.
  const Bytes file = Read("ZR_VIDEO.DAT");
  EXPECT_EQ(file.size(), 37u * 32u);
  for (size_t at = 0; at < file.size(); at += 32) EXPECT_EQ(WordAt(file, at + 4), 0x4003u);
}

TEST_F(HostileRuns, AStopInTheFirstMomentsEndsTheRunTheProtocolsWay) {
  std::mt19937 random(1123);
  std::uniform_int_distribution<int> delay(0, 50);
  const std::string closing = "LogMessage 8 1 \"\" \"\"\nTestFailed 995000 \"\"\nEndOfTest\n";
  for (int run = 0; run < 12; ++run) {
    ProcessOptions options = Options("ExtendedVideoMemoryTest", {});
    options.StopsHeldAtStart = true;
    const int milliseconds = delay(random);
    RunningProcess process(options);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    process.Signal(run % 2 == 0 ? SIGINT : SIGTERM);
    const ProcessResult result = process.Finish(60);
    EXPECT_EQ(result.Status, 1) << "stopped after " << milliseconds << " ms";
    EXPECT_EQ(LastBytes(result.Stdout, closing.size()), closing) << "stopped after " << milliseconds << " ms";
  }
}

TEST_F(HostileRuns, AMachineFileThatIsNoRegularFileIsRefused) {
  mkfifo((Folder + "/pipe.ini").c_str(), 0600);
  const struct {
    std::string Path;
    std::string Reason;
  } cases[] = {{Folder, "it is a folder"},
               {"/dev/zero", "it is not a regular file"},
               {Folder + "/pipe.ini", "it is not a regular file"},
               {Folder + "/absent.ini", "No such file or directory"}};
  for (const auto& c : cases) {
    const ProcessResult result = RunProcess(Options("ModeTest", kGenericCalibration, c.Path));
    EXPECT_EQ(result.Status, 1) << c.Path;
    EXPECT_EQ(result.Stdout, "") << c.Path;
    EXPECT_EQ(result.Stderr, "error: cannot read machine file '" + c.Path + "': " + c.Reason + "\n");
  }
  EXPECT_EQ(FilesLeft(), std::set<std::string>{"pipe.ini"});
}

TEST_F(HostileRuns, ARecordThatCannotBeWrittenIsNamedOnStandardError) {
  const std::vector<std::string> calibrate = {"-interactive=false", "-Calibrate=true", "-Mode800x600x32=true"};
  const std::string writeProtected = WriteProtectedMachine();
  const std::string line = "error: cannot write the calibration record to ";
  const std::string reason = "ZR_VIDEO.DAT: Read-only file system\n";

  // No store yet: the read-back fails as the protocol says, and the reason is on standard error.
  ProcessResult first = Run("ModeTest", calibrate, writeProtected);
  EXPECT_EQ(first.Status, 1);
  EXPECT_NE(first.Stdout.find("LogMessage 8 216 \"\" \"\"\nTestFailed 990660 \"\"\nEndOfTest\n"), std::string::npos)
      << first.Stdout;
  EXPECT_EQ(first.Stderr.find(line), 0u) << first.Stderr;
  EXPECT_NE(first.Stderr.find(reason), std::string::npos) << first.Stderr;
  EXPECT_EQ(FilesLeft(), std::set<std::string>{"write-protected.ini"});

  // Older records: the protocol blames the screen (990408), standard error names the file once,
  // however many records could not be written, and the store is left as it was.
  ASSERT_EQ(Run("ModeTest", calibrate).Status, 0);
  Bytes older = Read("ZR_VIDEO.DAT");
  for (size_t at = 0; at < older.size(); at += 32) older[at + 20] ^= 0x01;
  Write("ZR_VIDEO.DAT", older);
  ProcessResult second = Run("ModeTest", calibrate, writeProtected);
  EXPECT_EQ(second.Status, 1);
  EXPECT_NE(second.Stdout.find("ReportFailure 990408\nEndOfTest\n"), std::string::npos) << second.Stdout;
  EXPECT_EQ(Count(second.Stdout, "LogMessage 14 206 "), 2u);
  EXPECT_EQ(Count(second.Stderr, line), 1u) << second.Stderr;
  EXPECT_EQ(Count(second.Stderr, reason), 1u);
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), older);
}

// Text input that is no file, or larger than any real one, is refused unread with the failure of a
// file that cannot be read; nothing waits for a pipe or reads without end.
TEST_F(HostileRuns, InputThatIsNoFileOrTooLargeIsRefusedUnread) {
  MakeMedia();
  const std::string machine = Folder + "/ports.ini";
  CopyIn(std::string(MACHINES_DIR) + "/ports-three-monitors.ini", "ports.ini");
  mkfifo((Folder + "/videoport.ini").c_str(), 0600);
  mkfifo((Folder + "/diagconf.ini").c_str(), 0600);
  // Past the bound, and a line the parser would take for a section.
  std::ofstream(Folder + "/large.ini", std::ios::binary) << "[connected]\n235,DVI,Matrox G200eR2\n"
                                                         << std::string(9u << 20, '\0');
  const struct {
    std::string Subtest;
    std::vector<std::string> Args;
    std::string Ending;
  } cases[] = {
      {"GraphicsPortTest", {"-INISection=connected"},
       "LogMessage 8 222 \".\\videoport.ini\" \"\"\nTestFailed 990811 \"\"\nEndOfTest\n"},
      {"GraphicsPortTest", {"-INISection=connected", "-INIFile=\\dev\\zero"},
       "LogMessage 8 222 \"\\dev\\zero\" \"\"\nTestFailed 990811 \"\"\nEndOfTest\n"},
      {"GraphicsPortTest", {"-INISection=connected", "-INIFile=large.ini"},
       "LogMessage 8 222 \"large.ini\" \"\"\nTestFailed 990811 \"\"\nEndOfTest\n"},
      {"GPUTest", {"-diagconf=diagconf.ini"},
       "LogMessage 15 20006 \"-diagconf\" \"\"\nLogMessage 15 20002 \"\" \"\"\nTestFailed 990520\nEndOfTest\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Args.back());
    ProcessOptions options = Options(c.Subtest, c.Args, machine);
    options.TimeoutSeconds = 20;
    const ProcessResult result = RunProcess(options);
    EXPECT_FALSE(result.TimedOut);
    EXPECT_EQ(result.Status, 1);
    EXPECT_EQ(LastBytes(result.Stdout, c.Ending.size()), c.Ending);
  }
}

// Where the protocol gives a failure no code, standard error says why.
TEST_F(HostileRuns, AFailureWithoutACodeSaysWhyOnStandardError) {
  MakeMedia();
  std::ofstream(Folder + "/videoport.ini") << "[connected]\n235,\"DVI,Matrox G200eR2\n";
  const std::string machine = Folder + "/ports.ini";
  CopyIn(std::string(MACHINES_DIR) + "/ports-three-monitors.ini", "ports.ini");
  const ProcessResult quote = RunProcess(Options("GraphicsPortTest", {"-INISection=connected"}, machine));
  EXPECT_EQ(quote.Status, 1);
  EXPECT_EQ(quote.Stderr, "error: .\\videoport.ini: section [connected] stops at a line with a quote that is not "
                          "closed, '235,\"DVI,Matrox G200eR2': it and the lines after it are not read\n");
  const ProcessResult controller = RunProcess(Options("GPUTest", {"-Controller=foo"}));
  EXPECT_EQ(controller.Status, 1);
  EXPECT_EQ(controller.Stderr, "error: -Controller=foo names no display adapter of this machine (it has \"Matrox "
                               "G200eR2\"): nothing was played\n");
}

// A disk that fills (here a file-size limit of 200 KB) fails the writes that do not fit: each is
// said on standard error, and no file is left cut short or under a temporary name.
TEST_F(HostileRuns, AFullDiskLeavesNoHalfFileAndSaysSo) {
  ProcessOptions options = Options("ModeTest", {"-interactive=false", "-Calibrate=true", "-CreateGenericCalibration=true",
                                                "-CaptureScreen=true", "-AnalyzeAlways=true"});
  options.Argv.insert(options.Argv.begin(), {"/bin/sh", "-c", "ulimit -f 200 && exec \"$0\" \"$@\""});
  const ProcessResult result = RunProcess(options);
  EXPECT_EQ(result.Status, 0) << result.Stderr;
  for (const char* picture : {"ModeTest_640_480_32_0.bmp", "ModeTest_1024_768_32_0.bmp"})
    EXPECT_NE(result.Stderr.find(std::string(picture) + ": File too large\n"), std::string::npos) << result.Stderr;
  EXPECT_EQ(Count(result.Stderr, "error: cannot write "), Count(result.Stderr, "\n"));
  // What is there is whole: the store holds every mode's record, the small pictures their size.
  EXPECT_EQ(Read("ZR_VIDEO.DAT").size(), 37u * 32u);
  for (const std::string& name : FilesLeft()) {
    EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
    if (name.size() > 4 && name.substr(name.size() - 4) == ".bmp") {
      const Bytes bitmap = Read(name);
      ASSERT_GE(bitmap.size(), 6u) << name;
      EXPECT_EQ(WordAt(bitmap, 2), bitmap.size()) << name;
    }
  }
}

}  // namespace
