#include "platform/handles.h"

#include <map>

#include "platform/sim/system/handle_table.h"
#include "platform/sim/system/thread_sim.h"

namespace platform {

namespace {

thread_local uint32_t lastError = 0;

struct Entry {
  sim::HandleKind Kind;
  uint32_t Value;
};

std::map<Handle, Entry>& Table() {
  static std::map<Handle, Entry> table;
  return table;
}

}  // namespace

namespace sim {

Handle OpenHandle(HandleKind kind, uint32_t value) {
  static Handle next = 0x100;
  Handle handle = next;
  next += 4;
  Table()[handle] = Entry{kind, value};
  return handle;
}

bool LookupHandle(Handle handle, HandleKind kind, uint32_t& value) {
  auto found = Table().find(handle);
  if (found == Table().end() || found->second.Kind != kind) {
    SetLastError(ErrorInvalidHandle);
    return false;
  }
  value = found->second.Value;
  return true;
}

bool CloseHandleOfKind(Handle handle, HandleKind kind) {
  auto found = Table().find(handle);
  if (found == Table().end() || found->second.Kind != kind) {
    SetLastError(ErrorInvalidHandle);
    return false;
  }
  Table().erase(found);
  return true;
}

}  // namespace sim

bool CloseHandle(Handle handle) {
  if (sim::CloseThreadHandle(handle)) return true;
  auto found = Table().find(handle);
  if (found == Table().end() ||
      (found->second.Kind != sim::HandleKind::Device && found->second.Kind != sim::HandleKind::Token)) {
    SetLastError(ErrorInvalidHandle);
    return false;
  }
  Table().erase(found);
  return true;
}

uint32_t GetLastError() { return lastError; }

void SetLastError(uint32_t error) { lastError = error; }

}  // namespace platform
