// Kernel object handles of the sim: one table for every kind, so that a handle of one kind is
// refused by calls of another.
#pragma once

#include <cstdint>

#include "platform/handles.h"

namespace platform {
namespace sim {

enum class HandleKind { Device, Token, ScManager, Service };

Handle OpenHandle(HandleKind kind, uint32_t value);
// The value of an open handle of that kind.
bool LookupHandle(Handle handle, HandleKind kind, uint32_t& value);
bool CloseHandleOfKind(Handle handle, HandleKind kind);

}  // namespace sim
}  // namespace platform
