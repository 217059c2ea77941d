// The process-wide map of command-line arguments: lowered name to value text.
#pragma once

#include <map>
#include <string>

class CmdLineParser {
 public:
  virtual ~CmdLineParser();

  // The singleton, made on the first call from that call's arguments; later calls' arguments
  // have no effect.
  static CmdLineParser& Instance(int argc = 1, const char* const* argv = DefaultArgv());

  // The value of `name` (any case); `defaultValue` when the name was not given at all.
  std::string Get(const std::string& name, const std::string& defaultValue) const;
  bool IsBooleanArgument(const std::string& name) const;
  std::map<std::string, std::string> GetArguments() const { return Arguments; }
  const std::string& GetProgramName() const { return ProgramName; }

  // Parses a command line into `out` (the singleton's own parse, reachable for tests).
  static void Parse(int argc, const char* const* argv, std::map<std::string, std::string>& out);

 private:
  CmdLineParser(int argc, const char* const* argv);
  static const char* const* DefaultArgv();

  std::map<std::string, std::string> Arguments;
  std::string ProgramName;
};

// "true" or "false" in any case.
bool IsBooleanWord(const std::string& text);
