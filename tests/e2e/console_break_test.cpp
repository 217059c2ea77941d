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
  ASSERT_GE(result.Stdout.size(), tail.size());
  EXPECT_EQ(result.Stdout.substr(result.Stdout.size() - tail.size()), tail);
}

TEST(ConsoleBreak, CtrlCStopsAPollingSubtest) { ExpectStoppedBy(SIGINT); }

TEST(ConsoleBreak, CtrlBreakStopsAPollingSubtest) { ExpectStoppedBy(SIGTERM); }

}  // namespace
