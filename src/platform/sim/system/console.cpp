#include "platform/console.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace platform {

namespace {

std::mutex handlersLock;
std::condition_variable handlerAdded;
std::vector<ConsoleCtrlHandler> handlers;
bool anyHandlerAdded = false;
int signalPipe[2] = {-1, -1};
constexpr int kCloseGraceSeconds = 5;

void OnSignal(int signalNumber) {
  unsigned char event = signalNumber == SIGINT    ? static_cast<unsigned char>(CtrlCEvent)
                        : signalNumber == SIGHUP ? static_cast<unsigned char>(CtrlCloseEvent)
                                                 : static_cast<unsigned char>(CtrlBreakEvent);
  ssize_t written = write(signalPipe[1], &event, 1);
  (void)written;
}

// As Windows does, the handlers run one by one, the last added first, on a thread that is not
// the one the signal interrupted; when none handles the event the process ends. A stop that comes
// before the program has added its first handler waits for it, so that no stop in the first
// moments of a run ends the process without its closing lines.
void DispatchEvents() {
  for (;;) {
    unsigned char event = 0;
    ssize_t got = read(signalPipe[0], &event, 1);
    if (got < 0) continue;
    if (got == 0) return;
    std::vector<ConsoleCtrlHandler> current;
    {
      std::unique_lock<std::mutex> hold(handlersLock);
      handlerAdded.wait(hold, [] { return anyHandlerAdded; });
      current.assign(handlers.rbegin(), handlers.rend());
    }
    if (event == CtrlCloseEvent) {
      // As Windows does with a closed console: the handlers get a few seconds, then the process
      // ends whatever they answered.
      std::thread([] {
        std::this_thread::sleep_for(std::chrono::seconds(kCloseGraceSeconds));
        std::_Exit(129);
      }).detach();
    }
    bool handled = false;
    for (ConsoleCtrlHandler handler : current) {
      if (handler(event)) {
        handled = true;
        break;
      }
    }
    if (event == CtrlCloseEvent) std::_Exit(129);
    if (!handled) std::_Exit(event == CtrlCEvent ? 130 : 143);
  }
}

void StartDispatcher() {
  // A reader that goes away (a closed pipe) makes writes fail, as on Windows, instead of ending
  // the process in the middle of a run.
  signal(SIGPIPE, SIG_IGN);
  // A file grown past the size limit fails its write, as a full disk does, instead of ending the
  // process with a half-written file.
  signal(SIGXFSZ, SIG_IGN);
  if (pipe(signalPipe) != 0) return;
  fcntl(signalPipe[0], F_SETFD, FD_CLOEXEC);
  fcntl(signalPipe[1], F_SETFD, FD_CLOEXEC);
  std::thread(DispatchEvents).detach();
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // The terminal going away is the closed console window.
  sigaction(SIGHUP, &action, nullptr);
  // A stop must reach the handler whatever mask the starting process left behind.
  sigset_t stops;
  sigemptyset(&stops);
  sigaddset(&stops, SIGINT);
  sigaddset(&stops, SIGTERM);
  sigaddset(&stops, SIGHUP);
  pthread_sigmask(SIG_UNBLOCK, &stops, nullptr);
}

std::once_flag started;

// Stops are caught from the program's first moment, before main.
[[maybe_unused]] const bool caughtAtStart = (std::call_once(started, StartDispatcher), true);

}  // namespace

bool SetConsoleCtrlHandler(ConsoleCtrlHandler handler, bool add) {
  if (!handler) return false;
  std::call_once(started, StartDispatcher);
  std::lock_guard<std::mutex> hold(handlersLock);
  if (add) {
    handlers.push_back(handler);
    anyHandlerAdded = true;
    handlerAdded.notify_all();
    return true;
  }
  for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
    if (*it == handler) {
      handlers.erase(std::next(it).base());
      return true;
    }
  }
  return false;
}

}  // namespace platform
