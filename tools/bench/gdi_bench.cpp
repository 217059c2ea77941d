// Throughput of the sim GDI's fill and bit-block transfer on a 1920x1080x32 surface, against memcpy
// of the same bytes; the ratios (GDI time over memcpy time) are printed after the table.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

struct Screen {
  platform::sim::Surface Surface;
  platform::Hdc Dc = 0;
  Screen() {
    Surface.Allocate(kWidth, kHeight, 32);
    Dc = platform::sim::CreateSurfaceDC(Surface, {0, 0}, {0, 0, kWidth, kHeight});
  }
  ~Screen() { platform::DeleteDC(Dc); }
};

int64_t FrameBytes() { return int64_t{kWidth} * kHeight * 4; }

void Memcpy(benchmark::State& state) {
  std::vector<uint8_t> from(static_cast<size_t>(FrameBytes()), 0x5A), to(static_cast<size_t>(FrameBytes()));
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * FrameBytes());
}

void FillRect(benchmark::State& state) {
  Screen screen;
  const platform::HBrush brush = platform::CreateSolidBrush(0x32FF9B);
  const platform::Rect all{0, 0, kWidth, kHeight};
  for (auto _ : state) {
    platform::FillRect(screen.Dc, &all, brush);
    benchmark::ClobberMemory();
  }
  platform::DeleteObject(brush);
  state.SetBytesProcessed(state.iterations() * FrameBytes());
}

// A whole frame from a memory bitmap to the screen, with the operation given.
void Blit(benchmark::State& state, uint32_t rop) {
  Screen screen;
  const platform::Hdc memory = platform::CreateCompatibleDC(screen.Dc);
  const platform::HBitmap bitmap = platform::CreateCompatibleBitmap(screen.Dc, kWidth, kHeight);
  const platform::HGdiObj old = platform::SelectObject(memory, bitmap);
  const platform::HBrush brush = platform::CreateSolidBrush(0x32FF9B);
  platform::SelectObject(screen.Dc, brush);
  for (auto _ : state) {
    platform::BitBlt(screen.Dc, 0, 0, kWidth, kHeight, memory, 0, 0, rop);
    benchmark::ClobberMemory();
  }
  platform::SelectObject(memory, old);
  platform::DeleteObject(bitmap);
  platform::DeleteDC(memory);
  platform::DeleteObject(brush);
  state.SetBytesProcessed(state.iterations() * FrameBytes());
}

void BitBltSrcCopy(benchmark::State& state) { Blit(state, platform::SrcCopy); }
void BitBltSrcInvert(benchmark::State& state) { Blit(state, platform::SrcInvert); }
void BitBltMergeCopy(benchmark::State& state) { Blit(state, platform::MergeCopy); }

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(FillRect)->Unit(benchmark::kMillisecond);
BENCHMARK(BitBltSrcCopy)->Unit(benchmark::kMillisecond);
BENCHMARK(BitBltSrcInvert)->Unit(benchmark::kMillisecond);
BENCHMARK(BitBltMergeCopy)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's time per iteration so that the ratios come from this one run.
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
  const auto base = reporter.Times.find("Memcpy");
  if (base == reporter.Times.end() || base->second <= 0) return 0;
  for (const auto& entry : reporter.Times) {
    if (entry.first == "Memcpy") continue;
    std::printf("%-18s %.2f x memcpy time\n", entry.first.c_str(), entry.second / base->second);
  }
  return 0;
}
