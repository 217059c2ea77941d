// Firmware tables are untrusted bytes: any buffer must decode without reading outside it, without
// looping, and within the record limits.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "hardware/SMBIOSDiscovery.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An exact-size heap copy, so that a read one past the end is caught.
  std::unique_ptr<uint8_t[]> copy(new uint8_t[size ? size : 1]);
  if (size) std::memcpy(copy.get(), data, size);
  const SMBIOSDiscovery decoded(copy.get(), size);
  if (decoded.GetProcessorCount() > SMBIOSDiscovery::MaxProcessors) std::abort();
  if (decoded.GetMemoryDeviceCount() > SMBIOSDiscovery::MaxMemoryDevices) std::abort();
  if (decoded.GetSystemId().size() > 4) std::abort();
  if (decoded.GetPopulatedSockets() > decoded.GetProcessorCount()) std::abort();
  return 0;
}
