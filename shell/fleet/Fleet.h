// The depot's view of its store: runs and failures per day, failure rate per subtest and adapter
// model, the most frequent failures in words, each PC's latest verdict. Written as fleet.html
// (with Chart.js beside it, so the page works offline) and as a table for a terminal.
#pragma once

#include <string>
#include <vector>

#include "../store/Database.h"

namespace fleet {

struct DayCount {
  std::string day;
  long long runs = 0, failedRuns = 0;
};
struct FailureRate {
  std::string subtest, adapter;
  long long steps = 0, failures = 0;
};
struct FrequentFailure {
  std::string subtest, reason;
  long long count = 0;
};
struct FailedStep {
  int ordinal = 0;
  std::string subtest, verdict, reason;
  std::string picture;  // a link relative to the page, or empty
};
struct LatestRun {
  std::string pc, runId, startedAt, state, adapter;
  long long failures = 0;
  std::vector<FailedStep> failed;
};
struct FleetData {
  std::vector<DayCount> days;
  std::vector<FailureRate> rates;
  std::vector<FrequentFailure> frequent;
  std::vector<LatestRun> latest;
};

// The aggregates alone: fast over the whole store.
FleetData QueryFleet(store::Connection& db);
// Adds to each latest run its failed steps and, into `pictureFolder` (relative to the page in
// `pageFolder`), the pictures that failed.
void AddFailedSteps(store::Connection& db, FleetData& data, const std::string& pageFolder);

std::string FleetTable(const FleetData& data);
std::string FleetPage(const FleetData& data);

// fleet.html and chart.js into `folder`, written under temporary names and renamed. Returns the
// page's path. Throws std::runtime_error when Chart.js is missing.
std::string WriteFleet(store::Connection& db, const std::string& folder, FleetData& data);

}  // namespace fleet
