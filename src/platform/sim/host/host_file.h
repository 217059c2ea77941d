// Files of the host that describe the simulated machine: the machine file and what it names.
#pragma once

#include <cstddef>
#include <string>

namespace platform {
namespace sim {

// The whole content of a readable regular file of at most `limit` bytes. A folder, a device or a
// pipe is refused, since it would read as nothing or never end; `error` then says why.
bool ReadHostFile(const std::string& path, size_t limit, std::string& content, std::string& error);

// Writes `content` as the whole of the file at `path`: under a temporary name beside it first,
// then moved into place, so that a reader never sees a part of it and a full disk leaves the old
// file; false with `error` saying why.
bool WriteHostFile(const std::string& path, const std::string& content, std::string& error);

}  // namespace sim
}  // namespace platform
