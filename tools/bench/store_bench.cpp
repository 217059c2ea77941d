// Store rate and fleet query time over a depot's worth of runs: N runs of the 18 steps of the
// main job (the fixture runs, good and stuck pixel) from many PCs and three adapter models,
// written by several connections at once as a depot's PCs would, then the fleet page's queries.
// Usage: bench-store URL RUNS [WRITERS]
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <thread>

#include "../fleet/Fleet.h"
#include "RunRecord.h"
#include "Schema.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

std::unique_ptr<store::Connection> Open(const std::string& url) {
  return url.rfind("sqlite:", 0) == 0 ? store::OpenSqlite(url.substr(7)) : store::OpenPostgres(url);
}

store::RunRecord Template(const std::string& file) {
  std::ifstream in(file);
  std::vector<std::string> problems;
  return store::FromResults(nlohmann::json::parse(in), "", true, problems);  // pictures stay out
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: bench-store URL RUNS [WRITERS]" << std::endl;
    return 2;
  }
  std::string url = argv[1];
  const int runs = std::stoi(argv[2]);
  const int writers = argc > 3 ? std::stoi(argv[3]) : 4;
  const std::string data = RASTERSCAN_SOURCE_DIR "/tests/shell/store/data/";
  const store::RunRecord templates[] = {Template(data + "good/results.json"), Template(data + "stuck-pixel/results.json")};
  const char* models[] = {"Lumora GX 7300", "Matrox G200eR2", "Vantage Pro 560"};
  {
    auto db = Open(url);
    store::Migrate(*db);
  }

  Clock::time_point start = Clock::now();
  std::vector<std::thread> threads;
  for (int w = 0; w < writers; ++w) {
    threads.emplace_back([&, w] {
      auto db = Open(url);
      for (int i = w; i < runs; i += writers) {
        store::RunRecord run = templates[i % 7 == 0 ? 1 : 0];  // one run in seven on a faulty PC
        char day[16];
        std::snprintf(day, sizeof day, "2026-%02d-%02d", 9 + (i / 40000) % 3, 1 + (i / 1300) % 28);
        run.runId = "bench-" + std::to_string(i);
        run.pc = "pc-" + std::to_string(i % 2000);
        run.startedAt = std::string(day) + "T" + std::to_string(10 + i % 10) + ":00:00Z";
        run.adapter = models[(i % 2000) % 3];
        run.adapters[0].name = run.adapter;
        for (store::StepRecord& step : run.steps) step.startedAt = run.startedAt;
        store::Write(*db, run);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  double writing = Seconds(start);
  long long steps = static_cast<long long>(runs) * 18;
  std::printf("store: %d runs, %lld steps, %d writers: %.1f s, %.0f steps/s\n", runs, steps, writers, writing,
              static_cast<double>(steps) / writing);

  // What autovacuum does after a day of runs on a depot's server.
  auto db = Open(url);
  start = Clock::now();
  db->Script(db->GetDialect() == store::Dialect::Postgres ? "VACUUM ANALYZE" : "ANALYZE");
  std::printf("%s: %.1f s\n", db->GetDialect() == store::Dialect::Postgres ? "VACUUM ANALYZE" : "ANALYZE", Seconds(start));
  start = Clock::now();
  fleet::FleetData fleetData = fleet::QueryFleet(*db);
  double aggregates = Seconds(start);
  start = Clock::now();
  fleet::AddFailedSteps(*db, fleetData, "");
  double latest = Seconds(start);
  std::printf("fleet queries: aggregates %.2f s, failed steps of %zu PCs' latest runs %.2f s, together %.2f s\n",
              aggregates, fleetData.latest.size(), latest, aggregates + latest);
  return 0;
}
