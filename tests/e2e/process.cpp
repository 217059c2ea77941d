#include "process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <ftw.h>
#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

RunningProcess::RunningProcess(const ProcessOptions& options) {
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) throw std::runtime_error("pipe failed");
  std::map<std::string, std::string> env;
  for (char** e = environ; *e; ++e) {
    std::string entry = *e;
    size_t eq = entry.find('=');
    if (eq != std::string::npos) env[entry.substr(0, eq)] = entry.substr(eq + 1);
  }
  for (const auto& [key, value] : options.Environment) env[key] = value;
  std::vector<std::string> envText;
  for (const auto& [key, value] : env) envText.push_back(key + "=" + value);

  // Held in this thread across the fork, so that the child holds them from its first instruction:
  // a stop sent at once cannot reach it before it blocks them itself.
  sigset_t stops, previous;
  sigemptyset(&stops);
  sigaddset(&stops, SIGINT);
  sigaddset(&stops, SIGTERM);
  if (options.StopsHeldAtStart) pthread_sigmask(SIG_BLOCK, &stops, &previous);
  Pid = fork();
  if (options.StopsHeldAtStart && Pid != 0) pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (Pid < 0) throw std::runtime_error("fork failed");
  if (Pid == 0) {
    dup2(out[1], 1);
    dup2(err[1], 2);
    int devnull = open("/dev/null", O_RDONLY);
    if (devnull >= 0) dup2(devnull, 0);
    close(out[0]), close(out[1]), close(err[0]), close(err[1]);
    if (!options.WorkingDirectory.empty() && chdir(options.WorkingDirectory.c_str()) != 0) _exit(126);
    std::vector<char*> argv, envp;
    for (const auto& a : options.Argv) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    for (const auto& e : envText) envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
    // The program is found by path, as a shell would, when it has no slash (a launcher).
    execvpe(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  StdoutFd = out[0];
  StderrFd = err[0];
}

RunningProcess::~RunningProcess() {
  if (Pid > 0) {
    kill(Pid, SIGKILL);
    waitpid(Pid, nullptr, 0);
  }
  if (StdoutFd >= 0) close(StdoutFd);
  if (StderrFd >= 0) close(StderrFd);
}

bool RunningProcess::ReadSome(int timeoutMilliseconds) {
  pollfd fds[2] = {{StdoutFd, POLLIN, 0}, {StderrFd, POLLIN, 0}};
  int n = poll(fds, 2, timeoutMilliseconds);
  if (n <= 0) return n == 0 || errno == EINTR;
  bool open = false;
  char buffer[4096];
  for (int i = 0; i < 2; ++i) {
    int& fd = i == 0 ? StdoutFd : StderrFd;
    if (fd < 0) continue;
    if (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) {
      ssize_t got = read(fd, buffer, sizeof buffer);
      if (got > 0) {
        (i == 0 ? Result.Stdout : Result.Stderr).append(buffer, static_cast<size_t>(got));
      } else {
        close(fd);
        fd = -1;
      }
    }
    if (fd >= 0) open = true;
  }
  return open;
}

bool RunningProcess::WaitForOutput(const std::string& text, int timeoutSeconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  while (Result.Stdout.find(text) == std::string::npos) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    if ((StdoutFd < 0 && StderrFd < 0) || !ReadSome(100)) return Result.Stdout.find(text) != std::string::npos;
  }
  return true;
}

void RunningProcess::Signal(int signalNumber) {
  if (Pid > 0) kill(Pid, signalNumber);
}

void RunningProcess::CloseStdout() {
  if (StdoutFd >= 0) close(StdoutFd);
  StdoutFd = -1;
}

ProcessResult RunningProcess::Finish(int timeoutSeconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  int status = 0;
  bool exited = false;
  while (!exited) {
    if (std::chrono::steady_clock::now() > deadline) {
      Result.TimedOut = true;
      kill(Pid, SIGKILL);
      waitpid(Pid, &status, 0);
      break;
    }
    if (StdoutFd >= 0 || StderrFd >= 0) ReadSome(50);
    else usleep(10000);
    exited = waitpid(Pid, &status, WNOHANG) == Pid;
  }
  // What the child wrote before it ended; a helper it left behind (wineserver) may hold the
  // pipes open, so stop at the first quiet moment instead of waiting for their end.
  while ((StdoutFd >= 0 || StderrFd >= 0) && ReadSome(200)) {
    pollfd fds[2] = {{StdoutFd, POLLIN, 0}, {StderrFd, POLLIN, 0}};
    if (poll(fds, 2, 200) <= 0) break;
  }
  Pid = -1;
  Result.Status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return Result;
}

ProcessResult RunProcess(const ProcessOptions& options) {
  RunningProcess process(options);
  return process.Finish(options.TimeoutSeconds);
}

std::string MakeScratchDirectory() {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/raster-scan-e2e-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (!mkdtemp(buffer.data())) throw std::runtime_error("mkdtemp failed");
  return buffer.data();
}

void RemoveDirectory(const std::string& path) {
  nftw(
      path.c_str(), [](const char* p, const struct stat*, int, FTW*) { return remove(p); }, 16, FTW_DEPTH | FTW_PHYS);
}
