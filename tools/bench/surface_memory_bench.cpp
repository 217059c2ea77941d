// Throughput of VideoMemoryTest's fill and compare of one pattern over a 1920x1080x32 frame buffer,
// against memset plus memcmp of the same bytes; the ratio (memset plus memcmp time over the test's
// time, so 1 is as fast) is printed after the table. The test should reach at least 0.5.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/sim/surface.h"
#include "subtests/VideoMemoryTest.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr uint8_t kPattern = 0x5A;

// The frame buffer as the simulated machine makes it, on its own zeroed pages.
struct FrameBuffer {
  platform::sim::Surface Surface;
  FrameBuffer() { Surface.Allocate(kWidth, kHeight, 32); }
  uint8_t* Bytes() { return Surface.Pixels.data(); }
  size_t Size() const { return Surface.Pixels.size(); }
};

void MemsetMemcmp(benchmark::State& state) {
  FrameBuffer screen;
  const std::vector<uint8_t> expected(screen.Size(), kPattern);
  for (auto _ : state) {
    std::memset(screen.Bytes(), kPattern, screen.Size());
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(std::memcmp(screen.Bytes(), expected.data(), screen.Size()));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(screen.Size()));
}

void FillAndCompare(benchmark::State& state) {
  FrameBuffer screen;
  const platform::sim::Surface& s = screen.Surface;
  const uint32_t rowBytes = static_cast<uint32_t>(s.Width * s.BytesPerPixel());
  for (auto _ : state) {
    VideoMemoryTest::FillPattern(screen.Bytes(), s.Pitch, rowBytes, static_cast<uint32_t>(s.Height), kPattern);
    benchmark::DoNotOptimize(
        VideoMemoryTest::ComparePattern(screen.Bytes(), s.Pitch, rowBytes, static_cast<uint32_t>(s.Height), kPattern));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(screen.Size()));
}

BENCHMARK(MemsetMemcmp)->Unit(benchmark::kMillisecond);
BENCHMARK(FillAndCompare)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's time per iteration so that the ratio comes from this one run.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) Times[run.benchmark_name()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> Times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto base = reporter.Times.find("MemsetMemcmp");
  const auto test = reporter.Times.find("FillAndCompare");
  if (base == reporter.Times.end() || test == reporter.Times.end() || test->second <= 0) return 0;
  std::printf("fill and compare: %.2f of the throughput of memset plus memcmp\n", base->second / test->second);
  return 0;
}
