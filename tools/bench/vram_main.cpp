// Write-read-compare throughput of the video memory walk on simulated video memory, against a
// minimal volatile byte loop doing the same eight patterns over the same mapped buffer. Both
// run in turns in one process; the best of each is kept, and the ratio is printed.
//   bench-vram [megabytes] [rounds]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "hardware/Devio.h"
#include "platform/sim/machine.h"
#include "subtests/ExtendedVideoMemoryTest.h"

namespace {

const char* const kMachine =
    "[Driver]\nService=running\n"
    "[PCI 01:00.0]\nVendor=0x102B\nDevice=0x0534\nClass=0x030000\nBar0=memory prefetchable 0xD0000000 64M\n";

constexpr uint32_t Block = 0x100000;

unsigned long mismatches = 0;

void Count(void*, const ExtendedVideoMemoryTest::Mismatch&, bool) { ++mismatches; }

// The yardstick: the same patterns, the same save and restore, nothing else.
__attribute__((noinline)) bool MinimalLoop(volatile uint8_t* memory, uint32_t length) {
  static const uint8_t patterns[8] = {0x00, 0xA5, 0x5A, 0x55, 0xAA, 0x00, 0xFF, 0x00};
  bool good = true;
  for (uint32_t i = 0; i < length; ++i) {
    const uint8_t saved = memory[i];
    for (uint8_t pattern : patterns) {
      memory[i] = pattern;
      if (memory[i] != pattern) good = false;
    }
    memory[i] = saved;
  }
  return good;
}

template <typename Walk>
double Seconds(CDevio& devio, uint32_t megabytes, Walk walk) {
  auto start = std::chrono::steady_clock::now();
  for (uint32_t mb = 0; mb < megabytes; ++mb) {
    MapRequest record;
    uintptr_t mapped = devio.MapPhysicalMemory(0xD0000000 + mb * Block, Block, &record);
    if (!mapped) {
      std::fprintf(stderr, "map failed\n");
      std::exit(1);
    }
    if (!walk(reinterpret_cast<volatile uint8_t*>(mapped))) ++mismatches;
    devio.UnmapPhysicalMemory(record);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  uint32_t megabytes = argc > 1 ? static_cast<uint32_t>(std::atoi(argv[1])) : 64;
  int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  megabytes = std::min<uint32_t>(std::max<uint32_t>(megabytes, 1), 64);
  platform::sim::MachineText text;
  platform::sim::Machine machine;
  std::string error;
  if (!platform::sim::ParseMachineText(kMachine, text, error) || !platform::sim::BuildMachine(text, machine, error)) {
    std::fprintf(stderr, "machine: %s\n", error.c_str());
    return 1;
  }
  platform::sim::SetCurrentMachine(machine);
  CDevio devio;
  if (!devio.IsDriverOpen()) return 1;

  double walk = 1e9, minimal = 1e9;
  for (int round = 0; round < rounds; ++round) {
    walk = std::min(walk, Seconds(devio, megabytes, [](volatile uint8_t* m) {
      return ExtendedVideoMemoryTest::SequentialWRC(m, Block, 1, 3, Count, nullptr);
    }));
    minimal = std::min(minimal, Seconds(devio, megabytes, [](volatile uint8_t* m) { return MinimalLoop(m, Block); }));
  }
  std::printf("memory walked:        %u MB, best of %d rounds\n", megabytes, rounds);
  std::printf("walk (SequentialWRC): %.1f MB/s\n", megabytes / walk);
  std::printf("minimal byte loop:    %.1f MB/s\n", megabytes / minimal);
  std::printf("ratio walk/minimal:   %.2f\n", minimal / walk);
  if (mismatches) std::printf("mismatches:           %lu (sound memory should have none)\n", mismatches);
  return mismatches ? 1 : 0;
}
