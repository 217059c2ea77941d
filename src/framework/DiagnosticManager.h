// The registry of subtests and the one operation that turns a command line into a verdict.
#pragma once

#include <map>
#include <string>

class KestDiag;

class DiagnosticManager {
 public:
  DiagnosticManager(int argc, const char* const* argv, const std::string& version, const std::string& name);
  virtual ~DiagnosticManager();
  DiagnosticManager(const DiagnosticManager&) = delete;
  DiagnosticManager& operator=(const DiagnosticManager&) = delete;

  static void RegisterTest(const std::string& name, KestDiag* test);
  static KestDiag* FindTest(const std::string& name);
  static std::string GetTestNames();

  const std::string& GetVersion() const { return Version; }
  std::string GetUsage(const std::string& testNames) const;
  std::string GetCatalog(int indent) const;
  std::string GetDictionary() const;

  // The version banner on one line: line breaks as ", ", single blanks, no parentheses.
  static std::string FlattenVersion(const std::string& version);

  // The process exit status: 0 or 1.
  int Run();

 private:
  int RunTest(KestDiag* test);

  std::string Version;
  std::string Name;
  static std::map<std::string, KestDiag*>& Tests;
};

// The console control handler the manager installs.
int HandleConsoleEvent(uint32_t eventType);

// True once a console break reached a selected test.
bool IsConsoleInterrupted();
// True under Windows PE.
bool IsMiniNT();
bool IsWindows7();
