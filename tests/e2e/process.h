// Runs the program under test as a child process.
#pragma once

#include <map>
#include <string>
#include <vector>

struct ProcessResult {
  int Status = -1;  // exit status, or 128 + signal
  std::string Stdout;
  std::string Stderr;
  bool TimedOut = false;
};

struct ProcessOptions {
  std::vector<std::string> Argv;  // Argv[0] is the program to start and its argv[0]
  std::string WorkingDirectory;
  std::map<std::string, std::string> Environment;  // added to (or replacing in) the inherited one
  int TimeoutSeconds = 60;
  // SIGINT and SIGTERM held from before the program starts: one sent early lands when the program
  // first lets it in, however fast or slow its start is.
  bool StopsHeldAtStart = false;
};

ProcessResult RunProcess(const ProcessOptions& options);

// A child whose standard output is read as it comes.
class RunningProcess {
 public:
  explicit RunningProcess(const ProcessOptions& options);
  ~RunningProcess();
  // Reads until `text` has appeared in standard output or the time is up; true when it did.
  bool WaitForOutput(const std::string& text, int timeoutSeconds);
  void Signal(int signalNumber);
  // Stops reading standard output, as a reader that has seen enough does: the program's later
  // writes meet a closed pipe.
  void CloseStdout();
  ProcessResult Finish(int timeoutSeconds);

 private:
  bool ReadSome(int timeoutMilliseconds);
  int Pid = -1;
  int StdoutFd = -1;
  int StderrFd = -1;
  ProcessResult Result;
};

// The last `size` bytes of `text`, all of it when it is shorter.
inline std::string LastBytes(const std::string& text, size_t size) {
  return text.size() < size ? text : text.substr(text.size() - size);
}

// How often `what` occurs in `text`.
inline size_t Count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// A fresh empty folder under the system's temporary folder.
std::string MakeScratchDirectory();
void RemoveDirectory(const std::string& path);
