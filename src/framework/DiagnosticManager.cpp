#include "framework/DiagnosticManager.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "framework/CmdLineParser.h"
#include "framework/KestDiag.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "framework/PutBack.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/system.h"
#include "text/TextHelpers.h"

// The test objects live until the process ends, and so does the registry that leads to them.
std::map<std::string, KestDiag*>& DiagnosticManager::Tests = *new std::map<std::string, KestDiag*>;

namespace {

// Console events that reached a selected test. Appended to only by the console handler's
// thread; other threads read only the count.
constexpr size_t kMaxConsoleEvents = 64;
uint32_t ConsoleEvents[kMaxConsoleEvents];
std::atomic<size_t> ConsoleEventCount{0};
// Cleared by the manager's constructor, set again when `Run` starts: in between the tests are
// being registered.
std::atomic<bool> RegistryComplete{true};

const char* const kCheckedSwitches[] = {"-debug", "-help", "-description", "-version", "-catalog"};

bool FlagSet(const CmdLineParser& line, const char* name) { return ToLower(line.Get(name, "false")) == "true"; }

}  // namespace

int HandleConsoleEvent(uint32_t eventType) {
  if (eventType == platform::CtrlCloseEvent || eventType == platform::CtrlLogoffEvent ||
      eventType == platform::CtrlShutdownEvent) {
    // The process ends when this returns, whatever it returns: what the run changed is put back
    // now, since the run gets no other chance to do it.
    const bool changed = PutBack::Pending() != 0;
    PutBack::UndoAll();
    std::fprintf(stderr, "error: the console was %s: the run ended without a verdict%s\n",
                 eventType == platform::CtrlCloseEvent ? "closed" : "ended by a logoff or shutdown",
                 changed ? ", with what it had changed on the machine put back" : "");
    std::fflush(stderr);
    return 1;
  }
  if (eventType != platform::CtrlCEvent && eventType != platform::CtrlBreakEvent) return 1;
  // A stop during start-up is judged once every test is registered, so that it is neither taken
  // for a stop without a test nor read from a registry that is still being filled. This runs on
  // the console handler's own thread, which may wait.
  while (!RegistryComplete.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  if (DiagnosticManager::FindTest(CmdLineParser::Instance().Get("-subtest", ""))) {
    size_t at = ConsoleEventCount.load();
    if (at < kMaxConsoleEvents) {
      ConsoleEvents[at] = eventType;
      ConsoleEventCount.store(at + 1);
    }
  } else {
    Kestout::LogMessage(CategoryStatus, 1, "");
  }
  return 1;
}

bool IsConsoleInterrupted() { return ConsoleEventCount.load() != 0; }

bool IsMiniNT() {
  return platform::RegOpenKeyForRead(platform::RegistryRoot::LocalMachine, "System\\ControlSet001\\Control\\miniNT");
}

bool IsWindows7() {
  platform::OsVersionInfo info;
  if (!platform::GetOsVersion(info, true) && !platform::GetOsVersion(info, false)) return false;
  return info.PlatformId == platform::VerPlatformWin32Nt && info.MajorVersion == 6 && info.MinorVersion == 1;
}

DiagnosticManager::DiagnosticManager(int argc, const char* const* argv, const std::string& version,
                                     const std::string& name)
    : Version(version), Name(name) {
  RegistryComplete.store(false);
  platform::SetConsoleCtrlHandler(HandleConsoleEvent, true);
  CmdLineParser::Instance(argc, argv);
}

DiagnosticManager::~DiagnosticManager() = default;

void DiagnosticManager::RegisterTest(const std::string& name, KestDiag* test) {
  if (!test) return;
  Tests[name] = test;
  test->SetName(name);
}

KestDiag* DiagnosticManager::FindTest(const std::string& name) {
  auto found = Tests.find(name);
  return found == Tests.end() ? nullptr : found->second;
}

std::string DiagnosticManager::GetTestNames() {
  std::string names;
  for (const auto& entry : Tests) {
    if (!names.empty()) names += " | ";
    names += entry.first;
  }
  return names;
}

std::string DiagnosticManager::GetUsage(const std::string& testNames) const {
  return "Usage:\n\n" + CmdLineParser::Instance().GetProgramName() +
         " [<parameter>]*\n"
         "where parameter is one of the following:\n"
         "-subtest=<testname>     Name of the test ( " +
         testNames +
         " )\n"
         "-version=true|false     Default is false\n"
         "-help=true|false        Default is false\n"
         "-description=true|false Default is false\n"
         "-locale=<locale>        Default is en_US\n"
         "-debug=true|false       Default is false\n"
         "-catalog=true|false     Print XML description of diagnostic / test - Default is false\n"
         "-diagconf=<filename>    Optional parameter to define a diagnostic resource file name. Used for CPC field "
         "to customize look and feel.\n";
}

std::string DiagnosticManager::FlattenVersion(const std::string& version) {
  std::string flat = version;
  ReplaceAll(flat, "\n", ", ");
  ReplaceAll(flat, "  ", " ");
  ReplaceAll(flat, "(", "");
  ReplaceAll(flat, ")", "");
  ReplaceAll(flat, " :", ":");
  return flat;
}

std::string DiagnosticManager::GetCatalog(int /*indent*/) const {
  const std::string& program = CmdLineParser::Instance().GetProgramName();
  std::string text = "<DIAGNOSTIC";
  if (!Name.empty()) text += " Name=\"" + Name + "\"";
  if (!Version.empty()) text += " Version=\"" + FlattenVersion(Version) + "\"";
  if (!program.empty()) text += " FileName=\"" + program + "\"";
  text += ">\n";
  for (const auto& entry : Tests) text += entry.second->GetCatalog(2) + "\n";
  return text + "</DIAGNOSTIC>";
}

std::string DiagnosticManager::GetDictionary() const {
  std::string text = "[en_US]\nName = TBC\nDescription = TBC\n";
  for (const auto& entry : Tests) text += entry.second->GetDictionary();
  return text;
}

int DiagnosticManager::Run() {
  RegistryComplete.store(true);
  const CmdLineParser& line = CmdLineParser::Instance();
  const std::string subtest = line.Get("-subtest", "");

  for (const char* name : kCheckedSwitches) {
    std::string value = line.Get(name, "");
    if (!value.empty() && !IsBooleanWord(value)) {
      Kestout::Print(std::string("Invalid value for parameter ") + name);
      Kestout::Print(GetUsage(""));
      return 1;
    }
  }

  const bool help = FlagSet(line, "-help");
  const bool description = FlagSet(line, "-description");
  const bool version = FlagSet(line, "-version");
  const bool catalog = FlagSet(line, "-catalog");
  const bool dictionary = FlagSet(line, "-dictionary");

  KestDiag* test = FindTest(subtest);

  if (version) Kestout::Print(line.GetProgramName() + "\nVersion: " + Version);
  if (catalog) {
    std::string text = test ? test->GetCatalog(0) : GetCatalog(0);
    Kestout::Print(!text.empty() ? text : test ? "<TEST_INFORMATION_NOT_AVAILABLE/>" : "<TEST_NOT_AVAILABLE/>");
  }
  if (dictionary) {
    std::string text = test ? test->GetDictionary() : GetDictionary();
    Kestout::Print(!text.empty() ? text : test ? "<TEST_INFORMATION_NOT_AVAILABLE/>" : "<TEST_NOT_AVAILABLE/>");
  }
  if (description) {
    Kestout::Print("QX Kest diagnostics");
    Kestout::Print("");
    Kestout::Print("Version: " + Version);
    if (test) Kestout::Print(test->GetDescription());
  }
  if (help) {
    Kestout::Print(GetUsage(test ? subtest : GetTestNames()));
    if (test) Kestout::Print(test->GetArgumentSummary());
  }
  if (help || description || version || catalog || dictionary) {
    std::fflush(stdout);
    return 0;
  }

  int status = 1;
  try {
    status = RunTest(test);
  } catch (KestException& exception) {
    exception.Report();
  } catch (KestException* exception) {
    if (exception) {
      exception->Report();
      delete exception;
    } else {
      Kestout::TestFailed("990518");
    }
  } catch (int code) {
    Kestout::TestFailed(static_cast<uint32_t>(code), "");
  } catch (std::string& text) {
    Kestout::TestFailed(text);
  } catch (const char* text) {
    Kestout::TestFailed(static_cast<uint32_t>(std::atol(text ? text : "")), "");
  } catch (...) {
    Kestout::TestFailed("990518");
  }
  Kestout::EndOfTest();
  return status;
}

// The run of a test up to its verdict; the caller writes the closing sequence.
int DiagnosticManager::RunTest(KestDiag* test) {
  if (!test) {
    Kestout::LogMessage(CategoryInvalid, 20001, GetTestNames());
    Kestout::TestFailed("990521");
    return 1;
  }
  if (!test->ValidateArguments()) {
    Kestout::LogMessage(CategoryInvalid, 20002, "");
    Kestout::TestFailed("990520");
    return 1;
  }
  const std::string& program = CmdLineParser::Instance().GetProgramName();
  if (!program.empty()) Kestout::LogMessage(CategoryDebug, 20000, "diagnostic: " + program);
  if (!Version.empty()) Kestout::LogMessage(CategoryDebug, 20000, "version: " + FlattenVersion(Version));
  test->LogArguments(CategoryDebug, 20000);

  uint32_t before = platform::GetTickCount();
  bool passed = test->Run();
  uint32_t after = platform::GetTickCount();
  if (!passed) return 1;
  if (!test->HasOwnTiming())
    Kestout::LogMessage(CategoryDebug, 20000,
                        "Test execution time: " + std::to_string(static_cast<int32_t>(after - before)) +
                            " milliseconds");
  return 0;
}
