#include <gtest/gtest.h>

#include "framework/DiagnosticManager.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/console.h"

namespace {

template <typename Action>
std::string Captured(Action action) {
  ::testing::internal::CaptureStdout();
  action();
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(Kestout, LogMessageFlattensLineBreaks) {
  EXPECT_EQ(Captured([] { Kestout::LogMessage(14, 20000, "abc"); }), "LogMessage 14 20000 \"abc\" \"\"\n");
  EXPECT_EQ(Captured([] { Kestout::LogMessage(5, 7, "a\r\nb\n\rc\rd\"e"); }),
            "LogMessage 5 7 \"a b  c d\"e\" \"\"\n");
  EXPECT_EQ(Captured([] { Kestout::LogMessage(-1, 4294967295u, int32_t{-42}); }),
            "LogMessage -1 4294967295 \"-42\" \"\"\n");
  EXPECT_EQ(Captured([] { Kestout::LogMessage(3, 2, static_cast<const char*>(nullptr)); }),
            "LogMessage 3 2 \"\" \"\"\n");
}

TEST(Kestout, PercentagesAreClamped) {
  EXPECT_EQ(Captured([] {
              Kestout::UpdatePercentage(101);
              Kestout::UpdatePercentage(-1);
              Kestout::UpdatePercentage(37);
            }),
            "UpdatePercentage 100\nUpdatePercentage 0\nUpdatePercentage 37\n");
}

TEST(KestException, ReportSkipsUnnumberedMessagesAndSurvivesCopies) {
  KestException original(990356);
  original.AddMessage(7, 68, "");
  original.AddMessage(8, KestMessage::NoMessage, "hidden");
  KestException copy = original;
  copy.AddMessage(5, 36, "w");
  original = KestException(1);  // the copy keeps its own messages
  EXPECT_EQ(Captured([&] { copy.Report(); }),
            "LogMessage 7 68 \"\" \"\"\nLogMessage 5 36 \"w\" \"\"\nTestFailed 990356 \"\"\n");
}

TEST(ConsoleEvents, BreakWithNoTestSelectedIsLoggedNotRecorded) {
  // No subtest is selected in this process.
  EXPECT_EQ(Captured([] { EXPECT_TRUE(HandleConsoleEvent(platform::CtrlCEvent)); }), "LogMessage 6 1 \"\" \"\"\n");
  EXPECT_EQ(Captured([] { EXPECT_TRUE(HandleConsoleEvent(platform::CtrlCloseEvent)); }), "");
  EXPECT_FALSE(IsConsoleInterrupted());
}
