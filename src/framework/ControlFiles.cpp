#include "framework/ControlFiles.h"

#include <string>

#include "framework/DiagnosticManager.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/system.h"
#include "text/TextHelpers.h"

namespace {

// True when the file reads, in text mode up to its first NUL, as exactly `word`: a line break
// after the word makes it another word.
bool Holds(const std::string& path, const char* word) {
  std::string text;
  return ReadTextFile(path, text) && text == word;
}

// The shell's data folder, or empty when ProgramData is not set.
std::string DataDirectory() {
  std::string programData;
  if (!platform::GetEnv("ProgramData", programData) || programData.empty()) return "";
  return programData + "\\Quixar\\QX Lumora Hardware Diagnostics";
}

}  // namespace

bool IsTerminationRequested() {
  const std::string data = DataDirectory();
  if (!data.empty()) {
    if (Holds(data + "\\lumora.ctl", "terminate")) return true;
    if (FileExists(data + "\\kill.ctl")) return true;
  }
  return Holds("\\lumora.ctl", "terminate") || FileExists("\\kill.ctl") || FileExists(".\\kill.ctl");
}

bool IsPauseRequested() { return Holds("\\lumora.ctl", "pause"); }

bool IsResumeRequested() { return Holds("\\lumora.ctl", "resume"); }

bool IsStopRequested() { return IsTerminationRequested() || IsConsoleInterrupted(); }

void StopIfRequested() {
  if (!IsStopRequested()) return;
  Kestout::LogMessage(CategoryServiceErrors, 1, "");
  throw new KestException(995000);
}
