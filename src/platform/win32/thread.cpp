#include "platform/thread.h"

#include <windows.h>

namespace platform {

namespace {

struct Start {
  ThreadProc Proc;
  void* Parameter;
};

DWORD WINAPI RunThread(LPVOID start) {
  const Start s = *static_cast<Start*>(start);
  delete static_cast<Start*>(start);
  return s.Proc(s.Parameter);
}

}  // namespace

Handle CreateThread(ThreadProc proc, void* parameter, uint32_t* threadId) {
  DWORD id = 0;
  Start* start = new Start{proc, parameter};
  HANDLE thread = ::CreateThread(nullptr, 0, RunThread, start, 0, &id);
  if (thread == nullptr) {
    delete start;
    return 0;
  }
  if (threadId != nullptr) *threadId = id;
  // The test keeps a handle with all access of its own.
  HANDLE own = nullptr;
  const bool duplicated = ::DuplicateHandle(::GetCurrentProcess(), thread, ::GetCurrentProcess(), &own,
                                            THREAD_ALL_ACCESS, FALSE, 0) != FALSE;
  ::CloseHandle(thread);
  return duplicated ? reinterpret_cast<Handle>(own) : 0;
}

bool GetExitCodeThread(Handle thread, uint32_t& exitCode) {
  DWORD code = 0;
  if (!::GetExitCodeThread(reinterpret_cast<HANDLE>(thread), &code)) return false;
  exitCode = code;
  return true;
}

bool TerminateThread(Handle thread, uint32_t exitCode) {
  return ::TerminateThread(reinterpret_cast<HANDLE>(thread), exitCode) != FALSE;
}

}  // namespace platform
