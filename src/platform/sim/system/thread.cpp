// Threads of the program on the simulated machine. A terminated thread ends at its next sleep
// (a helper thread of the program polls and sleeps; it does not run on without one). On the
// virtual clock a helper thread's sleep does not move time on: it waits until the program's own
// thread has moved the clock that far, so that a helper's timing follows the program's.
#include "platform/thread.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/sim/system/thread_sim.h"

namespace platform {

namespace {

struct SimThread {
  std::atomic<bool> Running{true};
  std::atomic<bool> Terminated{false};
  std::atomic<uint32_t> ExitCode{StillActive};
  uint32_t TerminateCode = 0;
  uint32_t Id = 0;
};

// Thrown at a terminated thread's next sleep, caught at its base.
struct ThreadTerminated {};

std::mutex tableLock;

std::map<Handle, std::shared_ptr<SimThread>>& Table() {
  static std::map<Handle, std::shared_ptr<SimThread>> table;
  return table;
}

thread_local std::shared_ptr<SimThread> current;

std::shared_ptr<SimThread> Find(Handle handle) {
  std::lock_guard<std::mutex> hold(tableLock);
  auto found = Table().find(handle);
  return found == Table().end() ? nullptr : found->second;
}

}  // namespace

namespace sim {

bool OnHelperThread() { return current != nullptr; }

void EndIfTerminated() {
  if (current != nullptr && current->Terminated) throw ThreadTerminated();
}

}  // namespace sim

Handle CreateThread(ThreadProc proc, void* parameter, uint32_t* threadId) {
  static Handle nextHandle = 0x7000;
  static uint32_t nextId = 0x1A00;
  auto thread = std::make_shared<SimThread>();
  Handle handle = 0;
  {
    std::lock_guard<std::mutex> hold(tableLock);
    handle = nextHandle += 4;
    thread->Id = nextId += 4;
    Table()[handle] = thread;
  }
  if (threadId != nullptr) *threadId = thread->Id;
  try {
    std::thread([thread, proc, parameter] {
      current = thread;
      uint32_t code = 0;
      try {
        code = proc(parameter);
      } catch (const ThreadTerminated&) {
        code = thread->TerminateCode;
      }
      thread->ExitCode = code;
      thread->Running = false;
      current.reset();
    }).detach();
  } catch (const std::system_error&) {
    std::lock_guard<std::mutex> hold(tableLock);
    Table().erase(handle);
    return 0;
  }
  return handle;
}

bool GetExitCodeThread(Handle handle, uint32_t& exitCode) {
  std::shared_ptr<SimThread> thread = Find(handle);
  if (thread == nullptr) return false;
  exitCode = thread->ExitCode;
  return true;
}

bool TerminateThread(Handle handle, uint32_t exitCode) {
  std::shared_ptr<SimThread> thread = Find(handle);
  if (thread == nullptr || thread.get() == current.get()) return false;
  thread->TerminateCode = exitCode;
  thread->Terminated = true;
  // It is gone when the call returns, as on Windows: at most one of its sleeps away.
  while (thread->Running) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

namespace sim {

bool CloseThreadHandle(Handle handle) {
  std::lock_guard<std::mutex> hold(tableLock);
  return Table().erase(handle) == 1;
}

}  // namespace sim

}  // namespace platform
