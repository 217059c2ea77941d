#include "framework/ErrorLines.h"

#include <cstdio>

namespace {

void WriteLine(const char* prefix, const std::string& text) {
  // The protocol so far goes first, so that the line stands where it happened.
  std::fflush(stdout);
  std::fprintf(stderr, "%s %s\n", prefix, text.c_str());
  std::fflush(stderr);
}

}  // namespace

void WriteWarningLine(const std::string& text) { WriteLine("warning:", text); }
void WriteErrorLine(const std::string& text) { WriteLine("error:", text); }
void WarnNothingTested(const std::string& reason) { WriteWarningLine("nothing tested: " + reason); }
void WarnAnswerCutShort(const std::string& question) {
  WriteWarningLine("answer cut short by a stop request: " + question);
}
