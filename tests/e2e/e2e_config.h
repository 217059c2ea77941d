// Which build the end-to-end tests run, and how.
#pragma once

#include <cctype>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "process.h"

struct E2eTarget {
  std::string Program;
  std::string Probe;
  std::string Launcher;

  static E2eTarget Current() {
    E2eTarget target;
    target.Program = FromEnvironment("RASTERSCAN_E2E_PROGRAM", DEFAULT_PROGRAM);
    target.Probe = FromEnvironment("RASTERSCAN_E2E_PROBE", DEFAULT_PROBE);
    target.Launcher = FromEnvironment("RASTERSCAN_E2E_LAUNCHER", "");
    return target;
  }

  bool UnderLauncher() const { return !Launcher.empty(); }

  std::vector<std::string> Command(const std::string& program) const {
    if (Launcher.empty()) return {program};
    return {Launcher, program};
  }

  // Every run gets the virtual clock, so that timings in transcripts are exact.
  std::map<std::string, std::string> Environment() const {
    return {{"RASTERSCAN_CLOCK", "virtual"}, {"WINEDEBUG", "-all"}};
  }

  // The name the program sees as its own: natively the path it was started by; under a launcher
  // whatever the launcher passes, read off the version answer.
  std::string ProgramName(const std::string& program) const {
    if (Launcher.empty()) return program;
    static std::map<std::string, std::string> learned;
    auto found = learned.find(program);
    if (found != learned.end()) return found->second;
    ProcessOptions options;
    options.Argv = Command(program);
    options.Argv.push_back("-version=true");
    options.Environment = Environment();
    std::string out = Normalize(RunProcess(options).Stdout);
    return learned[program] = out.substr(0, out.find('\n'));
  }

  // Windows writes text-mode line ends.
  std::string Normalize(const std::string& text) const {
    if (Launcher.empty()) return text;
    std::string out;
    for (size_t i = 0; i < text.size(); ++i)
      if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out.push_back(text[i]);
    return out;
  }

  // The Windows build runs on the real clock, where a run's execution time is whatever the busy
  // machine took: compared in a transcript, every such time reads 0.
  std::string WithoutRunTimes(const std::string& text) const {
    if (Launcher.empty()) return text;
    std::string out = text;
    static const std::string kTime = "\"Test execution time: ";
    for (size_t at = out.find(kTime); at != std::string::npos; at = out.find(kTime, at + 1)) {
      const size_t digits = at + kTime.size();
      size_t end = digits;
      while (end < out.size() && std::isdigit(static_cast<unsigned char>(out[end]))) ++end;
      if (end > digits && out.compare(end, 13, " milliseconds") == 0) out.replace(digits, end - digits, "0");
    }
    return out;
  }

 private:
  static std::string FromEnvironment(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
  }
};
