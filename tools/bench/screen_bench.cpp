// The screen walks on a 1920x1080x32 primary surface of the simulated display: the checksum against
// memcpy of the same bytes, and the pixel compare of two dumps made by the dump walks. The checksum
// ratio is printed after the table; the compare's time is printed for tools/bench-screen.sh, which
// times cmp -l on the same two files.
//   bench-screen [folder for the dumps, kept] [benchmark flags]
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/display_config.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/machine.h"
#include "screen/DirectDrawSession.h"
#include "screen/FailureAnalysis.h"

namespace {

namespace fs = std::filesystem;

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr int kChangedBytes = 300;

// The built-in display put in 1920x1080x32 on the virtual clock, its contexts wired as at the
// program's start, and a session holding the primary surface.
struct Display {
  DirectDrawSession Session;
  bool Ready = false;
  Display() {
    platform::sim::Machine machine;
    machine.VirtualClock = true;
    platform::sim::SetCurrentMachine(machine);
    platform::sim::ResetClock();
    platform::sim::DisplayConfig config = platform::sim::DefaultDisplayConfig();
    config.Adapters[0].Current = {kWidth, kHeight, 32};
    platform::sim::SetDisplayConfig(config);
    platform::sim::SetDisplaySurface([] { return &platform::sim::PrimaryFrameBuffer(); });
    platform::sim::SetSurfaceDcHooks({[](platform::sim::Surface& s) {
                                        return platform::sim::CreateSurfaceDC(s, {0, 0}, {0, 0, s.Width, s.Height});
                                      },
                                      [](uintptr_t dc) { platform::DeleteDC(dc); }});
    Session.Create()->SetCooperation(1)->CreatePrimarySurface();
    Ready = Session.LastResult == 0 && Frame().Width == kWidth && Frame().Height == kHeight && Frame().Bits == 32;
  }
  ~Display() { Session.ReleaseSurfaces()->ReleaseDirectDraw(); }
  static platform::sim::Surface& Frame() { return platform::sim::PrimaryFrameBuffer(); }
  // A picture that is not flat, so that the sum and the dumps see varied bytes.
  static void Paint() {
    for (int32_t y = 0; y < kHeight; ++y) {
      uint8_t* row = Frame().Row(y);
      for (int32_t i = 0; i < kWidth * 4; ++i) row[i] = static_cast<uint8_t>(i * 7 + y * 13);
    }
  }
};

Display* TheDisplay = nullptr;
std::string CalName, FalName, LogName;

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

void ChecksumSurface(benchmark::State& state) {
  Display::Paint();
  DirectDrawSession& session = TheDisplay->Session;
  for (auto _ : state) {
    session.ChecksumSurface();
    benchmark::DoNotOptimize(session.Checksum);
  }
  if (session.LastResult != 0) state.SkipWithError("the surface could not be locked");
  state.SetBytesProcessed(state.iterations() * FrameBytes());
}

void ComparePixelDumps(benchmark::State& state) {
  for (auto _ : state) ::ComparePixelDumps(CalName, FalName, LogName, TheDisplay->Session);
  state.SetBytesProcessed(state.iterations() * FrameBytes() * 2);
}

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(ChecksumSurface)->Unit(benchmark::kMillisecond);
BENCHMARK(ComparePixelDumps)->Unit(benchmark::kMillisecond)->UseRealTime();

// A good screen into the .CAL and a screen with a few hundred scattered bytes changed into the
// .FAL, both by the dump walks, in the working directory.
bool MakeDumps() {
  std::string cal, fal, log;
  if (!GetDumpFileNames(AnalysisSubtest::ModeTest, kWidth, kHeight, 32, cal, fal, log)) return false;
  Display::Paint();
  TheDisplay->Session.DumpSurfaceWhite(cal);
  Display::Paint();
  std::mt19937 random(1920);
  std::uniform_int_distribution<int32_t> row(0, kHeight - 1), column(0, kWidth * 4 - 1);
  for (int n = 0; n < kChangedBytes; ++n) Display::Frame().Row(row(random))[column(random)] ^= 0x5A;
  TheDisplay->Session.DumpSurfaceBlack(fal);
  if (TheDisplay->Session.LastResult != 0) return false;
  const fs::path here = fs::current_path();
  CalName = (here / cal).string();
  FalName = (here / fal).string();
  LogName = (here / log).string();
  return fs::file_size(CalName) == static_cast<uintmax_t>(FrameBytes()) &&
         fs::file_size(FalName) == static_cast<uintmax_t>(FrameBytes());
}

// Keeps each benchmark's time per iteration so that the figures come from this one run.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  // Without colour codes, as the script reads the output.
  RatioReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (!run.error_occurred) Times[run.benchmark_name()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> Times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // A folder given is kept for the caller's cmp; otherwise a scratch one goes at the end.
  fs::path folder;
  const bool keep = argc > 1;
  if (keep) {
    folder = argv[1];
    fs::create_directories(folder);
  } else {
    char pattern[] = "/tmp/bench-screen-XXXXXX";
    if (mkdtemp(pattern) == nullptr) return 1;
    folder = pattern;
  }
  folder = fs::absolute(folder);
  const fs::path previous = fs::current_path();
  fs::current_path(folder);

  int status = 0;
  {
    Display display;
    TheDisplay = &display;
    AnalysisLogEnabled = 1;  // records as under -AnalyzeLogFile
    if (!display.Ready || !MakeDumps()) {
      std::fprintf(stderr, "bench-screen: the 1920x1080x32 screen or its dumps could not be made\n");
      status = 1;
    } else {
      RatioReporter reporter;
      benchmark::RunSpecifiedBenchmarks(&reporter);
      std::fflush(stdout);
      const auto memcpyTime = reporter.Times.find("Memcpy");
      const auto sumTime = reporter.Times.find("ChecksumSurface");
      const auto compareTime = reporter.Times.find("ComparePixelDumps/real_time");
      const double seconds = 1e-3;  // the table's unit
      const double gigabytes = static_cast<double>(FrameBytes()) / 1e9;
      if (memcpyTime != reporter.Times.end() && sumTime != reporter.Times.end())
        std::printf("ChecksumSurface   %.2f x memcpy throughput (%.2f GB/s against %.2f GB/s)\n",
                    memcpyTime->second / sumTime->second, gigabytes / (sumTime->second * seconds),
                    gigabytes / (memcpyTime->second * seconds));
      if (compareTime != reporter.Times.end())
        std::printf("ComparePixelDumps %.3f ms per compare of %s and %s (%d bytes changed)\n", compareTime->second,
                    CalName.c_str(), FalName.c_str(), kChangedBytes);
    }
    TheDisplay = nullptr;
  }
  platform::sim::SetSurfaceDcHooks({});
  platform::sim::SetDisplaySurface(nullptr);
  fs::current_path(previous);
  if (!keep) fs::remove_all(folder);
  return status;
}
