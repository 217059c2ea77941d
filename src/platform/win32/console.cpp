#include "platform/console.h"

#include <windows.h>

#include <mutex>
#include <vector>

namespace platform {

namespace {

std::mutex handlersLock;
std::vector<ConsoleCtrlHandler> handlers;

// One real handler forwards to ours, so that our handler type needs no Windows calling convention.
BOOL WINAPI Forward(DWORD eventType) {
  std::vector<ConsoleCtrlHandler> current;
  {
    std::lock_guard<std::mutex> hold(handlersLock);
    current.assign(handlers.rbegin(), handlers.rend());
  }
  for (ConsoleCtrlHandler handler : current)
    if (handler(eventType)) return TRUE;
  return FALSE;
}

}  // namespace

bool SetConsoleCtrlHandler(ConsoleCtrlHandler handler, bool add) {
  if (!handler) return false;
  std::lock_guard<std::mutex> hold(handlersLock);
  if (add) {
    if (handlers.empty() && !::SetConsoleCtrlHandler(Forward, TRUE)) return false;
    handlers.push_back(handler);
    return true;
  }
  for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
    if (*it == handler) {
      handlers.erase(std::next(it).base());
      if (handlers.empty()) ::SetConsoleCtrlHandler(Forward, FALSE);
      return true;
    }
  }
  return false;
}

}  // namespace platform
