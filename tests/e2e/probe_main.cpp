// A diagnostic that holds only test-only subtests, so that every way a run can end reaches the
// real manager and output channel.
#include <cstdio>
#include <string>

#include "framework/ControlFiles.h"
#include "framework/DiagnosticManager.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestDiag.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "text/TextHelpers.h"

namespace {

class ProbeTest : public KestDiag {
 public:
  ProbeTest() {
    SetDescription("Test-only subtest that ends as -Behaviour says.");
    AddArgument("-Behaviour", KestArgument::TypeString, "pass", "How the run ends.",
                new KestConstraint("pass,fail,throw-value,throw-pointer,throw-int,throw-string,throw-cstring,"
                                   "throw-other,poll,timed,categories"));
    AddArgument("-Level", KestArgument::TypeString, "", "A required text.", nullptr, ArgumentFlag::Required);
    AddArgument("-Retries", KestArgument::TypeInteger, "1", "Number of retries incase of a failure.",
                new KestConstraint(1, 10));
    AddArgument("-SleepType", KestArgument::TypeString, "standby", "Type of feature to be tested.",
                new KestConstraint("suspend,standby,off"));
    AddArgument("-Ratio", KestArgument::TypeDouble, "1.5", "A double in a range.",
                new KestConstraint(0.5, 2.5), ArgumentFlag::GuiHidden);
    AddArgument("-Offset", KestArgument::TypeLargeInteger, "0", "A large integer, not negative.",
                new KestConstraint(int64_t{0}, KestConstraint::EqualToOrGreaterThan));
    AddArgument("-Verbose", KestArgument::TypeBoolean, "false", "A plain switch.");
    AddArgument("-Secret", KestArgument::TypeString, "", "Left out of the help.", nullptr, ArgumentFlag::Hidden);
    AddArgument("-Wait", KestArgument::TypeInteger, "0", "Milliseconds to sleep in the run.",
                new KestConstraint(int32_t{0}, KestConstraint::EqualToOrGreaterThan));
  }

  bool Run() override {
    Kestout::UpdatePercentage(0);
    Kestout::LogMessage(CategorySubtests, 2, "");
    Kestout::LogMessage(CategoryDebug, 20000, "Retries=" + ToText(GetArgumentInt("-Retries", 7)));
    Kestout::LogMessage(CategoryDebug, 20000, "Verbose=" + std::string(GetArgumentBool("-Verbose", true) ? "1" : "0"));
    Kestout::LogMessage(CategoryDebug, 20000, "Level=" + GetArgumentString("-Level", "none"));
    const std::string behaviour = ToLower(GetArgumentString("-Behaviour", "pass"));
    const auto wait = static_cast<uint32_t>(GetArgumentInt("-Wait", 0));
    if (behaviour == "fail") {
      Kestout::ReportFailure("990999");
      return false;
    }
    if (behaviour == "throw-value") {
      KestException exception(990100);
      exception.AddMessage(CategoryDeviceErrors, 68, "first\r\nline");
      exception.AddMessage(CategoryServiceErrors, KestMessage::NoMessage, "never shown");
      exception.AddMessage(CategoryWarnings, 36, "");
      throw exception;
    }
    if (behaviour == "throw-pointer") throw new KestException(995000);
    if (behaviour == "throw-int") throw 20472;
    if (behaviour == "throw-string") throw std::string("990777");
    if (behaviour == "throw-cstring") throw "990555";
    if (behaviour == "throw-other") throw 3.5;
    if (behaviour == "poll") {
      Kestout::LogMessage(CategoryDebug, 20000, "polling");
      // Bounded so that a lost signal fails the test instead of hanging it.
      for (int i = 0; i < 3000 && !IsStopRequested(); ++i) platform::Sleep(10);
      StopIfRequested();
      Kestout::ReportFailure("990998");
      return false;
    }
    if (behaviour == "categories") {
      // The debug form names categories 1 to 15 only.
      for (int32_t category : {0, 1, 15, 16, -1}) Kestout::LogMessage(category, 7, "c" + ToText(category));
    }
    if (behaviour == "timed") {
      StartTimer();
      platform::Sleep(wait);
      StopTimer();
    } else {
      platform::Sleep(wait);
    }
    Kestout::LogMessage(CategorySubtests, 3, "");
    Kestout::UpdatePercentage(100);
    return true;
  }
};

// A subtest with no arguments of its own.
class PlainProbe : public KestDiag {
 public:
  PlainProbe() { SetDescription("Test-only subtest without arguments."); }
  bool Run() override { return true; }
};

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  if (!platform::Startup(error)) {
    std::fprintf(stderr, "probe-diagnostic: %s\n", error.c_str());
    return 1;
  }
  DiagnosticManager manager(argc, argv, "1.2.3, probe\n   (kest: 3.28.0)\n   (ms : 3.26.0)", "Probe");
  DiagnosticManager::RegisterTest("ProbeTest", new ProbeTest);
  DiagnosticManager::RegisterTest("PlainProbe", new PlainProbe);
  DiagnosticManager::RegisterTest("Nothing", nullptr);
  return manager.Run();
}
