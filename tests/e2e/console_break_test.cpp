// A console break during a run reaches the subtest through its poll: the process is not ended
// by the signal, and the run closes with the stop code and one EndOfTest.
#include <csignal>

#include <gtest/gtest.h>

#include "e2e_config.h"
#include "process.h"

namespace {

void ExpectStoppedBy(int signalNumber) {
  const E2eTarget target = E2eTarget::Current();
  if (target.UnderLauncher()) GTEST_SKIP() << "signals reach the sim backend only";
  ProcessOptions options;
  options.Argv = {target.Probe, "-subtest=ProbeTest", "-Level=x", "-Behaviour=poll"};
  options.WorkingDirectory = "/tmp";
  // The real clock: the probe's poll really waits between looks.
  RunningProcess probe(options);
  ASSERT_TRUE(probe.WaitForOutput("LogMessage 14 20000 \"polling\" \"\"\n", 30));
  probe.Signal(signalNumber);
  ProcessResult result = probe.Finish(30);
  EXPECT_EQ(result.Status, 1);
  const std::string tail = "LogMessage 14 20000 \"polling\" \"\"\n"
                           "LogMessage 8 1 \"\" \"\"\n"
                           "TestFailed 995000 \"\"\n"
                           "EndOfTest\n";
  EXPECT_EQ(LastBytes(result.Stdout, tail.size()), tail);
}

TEST(ConsoleBreak, CtrlCStopsAPollingSubtest) { ExpectStoppedBy(SIGINT); }

TEST(ConsoleBreak, CtrlBreakStopsAPollingSubtest) { ExpectStoppedBy(SIGTERM); }

// GPUTest on the real clock: the clip plays in real time, two seconds at double speed. A Ctrl+C
// while it plays does not cut the playback short; the poll after it ends the run, the rate judged.
TEST(ConsoleBreak, CtrlCDuringPlaybackStopsGPUTestAtItsLastPoll) {
  const E2eTarget target = E2eTarget::Current();
  if (target.UnderLauncher()) GTEST_SKIP() << "signals reach the sim backend only";
  const std::string scratch = MakeScratchDirectory();
  ProcessOptions media;
  media.Argv = {MAKE_MEDIA, scratch};
  ASSERT_EQ(RunProcess(media).Status, 0);
  ProcessOptions options;
  options.Argv = {target.Program, "-subtest=GPUTest"};
  options.WorkingDirectory = scratch;
  RunningProcess run(options);
  ASSERT_TRUE(run.WaitForOutput("UpdatePercentage 50\n", 30));
  run.Signal(SIGINT);
  ProcessResult result = run.Finish(30);
  RemoveDirectory(scratch);
  EXPECT_EQ(result.Status, 1);
  EXPECT_NE(result.Stdout.find("LogMessage 6 215 \""), std::string::npos) << result.Stdout;
  const std::string tail = "UpdatePercentage 60\n"
                           "UpdatePercentage 80\n"
                           "LogMessage 8 1 \"\" \"\"\n"
                           "TestFailed 995000 \"\"\n"
                           "EndOfTest\n";
  EXPECT_EQ(LastBytes(result.Stdout, tail.size()), tail);
}

}  // namespace
