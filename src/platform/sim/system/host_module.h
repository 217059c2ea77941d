// Shared objects of the host, opened by the sim for its own modules and for the libraries a program
// loads by name.
#pragma once

#include <string>

namespace platform {
namespace sim {

// dlopen of a host path, every symbol bound at once and kept to the module; null with the reason.
void* OpenHostModule(const std::string& hostPath, std::string& error);

}  // namespace sim
}  // namespace platform
