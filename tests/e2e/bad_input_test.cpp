// Any command line gives the framework's messages and a defined exit status: nothing crashes,
// overruns or hangs, and a run closes with exactly one EndOfTest.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e_config.h"
#include "process.h"

namespace {

ProcessResult RunProbe(const std::vector<std::string>& args) {
  const E2eTarget target = E2eTarget::Current();
  ProcessOptions options;
  options.Argv = target.Command(target.Probe);
  options.Argv.insert(options.Argv.end(), args.begin(), args.end());
  options.WorkingDirectory = "/tmp";
  options.Environment = target.Environment();
  ProcessResult result = RunProcess(options);
  result.Stdout = target.Normalize(result.Stdout);
  return result;
}

// A Windows command line holds at most 32,767 characters.
size_t LongLength(size_t wanted) { return E2eTarget::Current().UnderLauncher() ? wanted / 8 : wanted; }

// A long value, a long unknown name, values full of equals signs: each carried whole.
TEST(BadInput, LongWordsAndEqualsSignsAreCarriedWhole) {
  const std::string value(LongLength(100000), 'v');
  const std::string name(LongLength(50000), 'N');
  const struct {
    std::vector<std::string> Arguments;
    int Status;
    std::string Said;
  } cases[] = {
      {{"-Level=" + value}, 0, "LogMessage 14 20000 \"Level=" + value + "\" \"\"\n"},
      // An unknown name is reported lowered.
      {{"-Level=x", "-" + name + "=1"}, 1,
       "LogMessage 15 20003 \"-" + std::string(name.size(), 'n') +
           "\" \"\"\nLogMessage 15 20002 \"\" \"\"\nTestFailed 990520\nEndOfTest\n"},
      {{"-Level====a=b=="}, 0, "\"Level====a=b==\""},
      {{"-Level====a=b==", "-Retries==3"}, 1, "LogMessage 15 20005 \"-retries\" \"\"\n"},  // "=3" is no integer
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Arguments.back().substr(0, 20));
    std::vector<std::string> args{"-subtest=ProbeTest"};
    args.insert(args.end(), c.Arguments.begin(), c.Arguments.end());
    const ProcessResult result = RunProbe(args);
    EXPECT_EQ(result.Status, c.Status);
    EXPECT_NE(result.Stdout.find(c.Said), std::string::npos);
  }
}

TEST(BadInput, BytesAboveAsciiPassThroughUnchanged) {
  const E2eTarget target = E2eTarget::Current();
  if (target.UnderLauncher()) GTEST_SKIP() << "the launcher converts arguments through its code page";
  ProcessResult result = RunProbe({"-subtest=ProbeTest", "-Level=\xE9\xFF\x80", "-\xC9T\xC9=1"});
  EXPECT_EQ(result.Status, 1);
  EXPECT_EQ(result.Stdout,
            "LogMessage 15 20003 \"-\xC9t\xC9\" \"\"\nLogMessage 15 20002 \"\" \"\"\nTestFailed 990520\nEndOfTest\n");
}

// Random command lines built from the words the framework reacts to: every run ends with
// status 0 or 1, and a run that got past the answers ends with one EndOfTest.
TEST(BadInput, RandomCommandLinesAlwaysEndCleanly) {
  const E2eTarget target = E2eTarget::Current();
  const int runs = target.UnderLauncher() ? 10 : 150;
  const std::vector<std::string> names = {"-subtest", "-help", "-version", "-debug", "-catalog", "-dictionary",
                                          "-description", "-diagconf", "-Level", "-Retries", "-Ratio",
                                          "-Offset", "-Behaviour", "-SleepType", "-Verbose", "", "-", "-x"};
  const std::vector<std::string> values = {"", "true", "FALSE", "ProbeTest", "PlainProbe", "0x", "-", "1.5", "=",
                                           "a=b", "-0x1F0", "11", "\xE9", "pass", "fail", " standby", "maybe"};
  std::mt19937 random(20261123);
  for (int run = 0; run < runs; ++run) {
    std::vector<std::string> args;
    size_t count = random() % 6;
    for (size_t i = 0; i < count; ++i) {
      std::string word = names[random() % names.size()];
      if (random() % 4 != 0) word += "=" + values[random() % values.size()];
      args.push_back(word);
    }
    ProcessResult result = RunProbe(args);
    std::string line;
    for (const auto& a : args) line += " [" + a + "]";
    ASSERT_FALSE(result.TimedOut) << line;
    ASSERT_TRUE(result.Status == 0 || result.Status == 1) << line << " status " << result.Status;
    size_t ends = Count(result.Stdout, "EndOfTest\n");
    ASSERT_LE(ends, 1u) << line;
    if (ends == 1) {
      const std::string tail = "EndOfTest\n";
      ASSERT_EQ(result.Stdout.substr(result.Stdout.size() - tail.size()), tail) << line;
    }
    ASSERT_TRUE(result.Stderr.empty()) << line << ": " << result.Stderr;
  }
}

}  // namespace
